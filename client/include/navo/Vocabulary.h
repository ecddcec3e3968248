// SPDX-License-Identifier: Apache-2.0
// Names that the service and its clients share on the bus.
#pragma once

namespace Navo {

// Where the service is: one object with one interface on the system bus.
constexpr char ServiceName[] = "com.orvenco.navoa";
constexpr char ServicePath[] = "/com/orvenco/navoa";
constexpr char ServiceInterface[] = "com.orvenco.navoa";

// Keys of requests and replies. All values are text.
namespace Key {
constexpr char Session[] = "Session";  // belongs to opening and closing; no request carries it
constexpr char Cmd[] = "Cmd";          // command, hexadecimal
constexpr char ServiceId[] = "ServiceId";
constexpr char FcId[] = "FcId";
constexpr char PushReq[] = "pushReq";
constexpr char HostAddr[] = "hostAddr";
constexpr char CcmScriptData[] = "CcmScriptData";
constexpr char EncodingType[] = "encodingType";
constexpr char DalmDataSize[] = "dalmDataSize";
constexpr char DalmData[] = "dalmData";  // request and reply
constexpr char KeyName[] = "keyName";
constexpr char KeyType[] = "keyType";
constexpr char InjectionType[] = "injectionType";

// What a request may have.
constexpr const char* OfRequests[] = {Cmd,          ServiceId,    FcId,     PushReq, HostAddr, CcmScriptData,
                                      EncodingType, DalmDataSize, DalmData, KeyName, KeyType,  InjectionType};

constexpr char ReturnCode[] = "ReturnCode";  // in every reply
constexpr char MemoryInfo[] = "MemoryInfo";
constexpr char PhoneInfo[] = "phoneInfo";
constexpr char LccmReturnCode[] = "LccmReturnCode";
}  // namespace Key

// Commands, as numbers; on the wire they are hexadecimal text ("1F4"), see CommandText in Outcome.h.
namespace Command {
constexpr long RunScript = 0x65;
constexpr long SeStatus = 0x66;
constexpr long Cplc = 0x67;
constexpr long Memory = 0x68;
constexpr long Eligibility = 0x69;
constexpr long CcmScript = 0x90;
constexpr long PhoneInfo = 0x1F4;   // privileged clients only
constexpr long SetAddress = 0x1F5;  // privileged clients only
constexpr long KeyInject = 0x3F0;
constexpr long KeyVerify = 0x3F1;
constexpr long KeyUid = 0x3F2;
constexpr long KeyOpenSession = 0x3F3;
constexpr long KeyReleaseSession = 0x3F4;
constexpr long KeyUnknown = 0x3FF;
}  // namespace Command

}  // namespace Navo
