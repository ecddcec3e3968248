// SPDX-License-Identifier: Apache-2.0
#include "app/RequestKeys.h"

namespace Na {
namespace Key {

const char Session[] = "Session";
const char ReturnCode[] = "ReturnCode";

const char Cmd[] = "Cmd";
const char ServiceId[] = "ServiceId";
const char FcId[] = "FcId";
const char PushReq[] = "pushReq";
const char HostAddr[] = "hostAddr";
const char CcmScriptData[] = "CcmScriptData";
const char EncodingType[] = "encodingType";
const char DalmDataSize[] = "dalmDataSize";
const char DalmData[] = "dalmData";
const char KeyName[] = "keyName";
const char KeyType[] = "keyType";
const char InjectionType[] = "injectionType";

const char PhoneInfo[] = "phoneInfo";
const char MemoryInfo[] = "MemoryInfo";
const char LccmReturnCode[] = "LccmReturnCode";

const char ProgressState[] = "ProgressState";
const char OtaUrl[] = "otaURL";

}  // namespace Key
}  // namespace Na
