// SPDX-License-Identifier: Apache-2.0
// Names that the service and its clients share on the bus.
#pragma once

namespace Navo {

constexpr char ServiceName[] = "com.orvenco.navoa";       // on the system bus
constexpr char ServicePath[] = "/com/orvenco/navoa";      // of its one object
constexpr char ServiceInterface[] = "com.orvenco.navoa";  // the object's one interface

// Keys of requests and replies. All values are text.
namespace Key {
constexpr char Session[] = "Session";              // belongs to opening and closing; no request carries it
constexpr char Cmd[] = "Cmd";                      // command, hexadecimal
constexpr char ServiceId[] = "ServiceId";          // of a script: for which service
constexpr char FcId[] = "FcId";                    // of a script: for which function or card
constexpr char PushReq[] = "pushReq";              // of a script: what the server pushed
constexpr char HostAddr[] = "hostAddr";            // the new server address
constexpr char CcmScriptData[] = "CcmScriptData";  // the CCM script, hexadecimal
constexpr char EncodingType[] = "encodingType";    // of key data: 1, 2 or 4
constexpr char DalmDataSize[] = "dalmDataSize";    // room for key data, bytes, decimal
constexpr char DalmData[] = "dalmData";            // request and reply
constexpr char KeyName[] = "keyName";              // name of a key
constexpr char KeyType[] = "keyType";              // of a key: 1 or 2
constexpr char InjectionType[] = "injectionType";  // of a key: 1, 2 or 4

// What a request may have.
constexpr const char* OfRequests[] = {Cmd,          ServiceId,    FcId,     PushReq, HostAddr, CcmScriptData,
                                      EncodingType, DalmDataSize, DalmData, KeyName, KeyType,  InjectionType};

constexpr char ReturnCode[] = "ReturnCode";          // in every reply
constexpr char MemoryInfo[] = "MemoryInfo";          // free memory, bytes, decimal
constexpr char PhoneInfo[] = "phoneInfo";            // phone information, lines
constexpr char LccmReturnCode[] = "LccmReturnCode";  // verdict on a CCM script, decimal
}  // namespace Key

// Commands, as numbers; on the wire they are hexadecimal text ("1F4"), see CommandText in Outcome.h.
namespace Command {
constexpr long RunScript = 0x65;           // a script that the server drives
constexpr long SeStatus = 0x66;            // nothing: always answered as wrong
constexpr long Cplc = 0x67;                // card production life cycle data
constexpr long Memory = 0x68;              // free memory of the secure element
constexpr long Eligibility = 0x69;         // whether the device may use the services
constexpr long CcmScript = 0x90;           // plays a CCM script
constexpr long PhoneInfo = 0x1F4;          // privileged clients only
constexpr long SetAddress = 0x1F5;         // privileged clients only
constexpr long KeyInject = 0x3F0;          // injects a key
constexpr long KeyVerify = 0x3F1;          // verifies an injected key
constexpr long KeyUid = 0x3F2;             // UID of an injected key
constexpr long KeyOpenSession = 0x3F3;     // opens a get-key session
constexpr long KeyReleaseSession = 0x3F4;  // releases the get-key session
constexpr long KeyUnknown = 0x3FF;         // a key command that no library has
}  // namespace Command

}  // namespace Navo
