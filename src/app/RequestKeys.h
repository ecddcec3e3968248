// SPDX-License-Identifier: Apache-2.0
// The vocabulary of requests and replies: one definition for each key.
#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace Na {

// Payload of every request, reply and session call; keys in byte order.
using RequestMap = std::map<std::string, std::string>;

// A longer text in a reply is cut: a bus ends the connection of who sends it more than it takes.
constexpr std::size_t LongestReplyText = 64UL * 1024;

namespace Key {

// Session calls and every reply.
extern const char Session[];
extern const char ReturnCode[];

// Requests.
extern const char Cmd[];
extern const char ServiceId[];
extern const char FcId[];
extern const char PushReq[];
extern const char HostAddr[];
extern const char CcmScriptData[];
extern const char EncodingType[];
extern const char DalmDataSize[];
extern const char DalmData[];
extern const char KeyName[];
extern const char KeyType[];
extern const char InjectionType[];

// Replies.
extern const char PhoneInfo[];
extern const char MemoryInfo[];
extern const char LccmReturnCode[];

// Reserved: defined, and used by no job.
extern const char ProgressState[];
extern const char OtaUrl[];

}  // namespace Key

// Value of "Cmd", read in base 16.
enum class Command : long {
    SetJobExecutor = 0x65,
    GetSeStatus = 0x66,
    GetCplc = 0x67,
    GetMemory = 0x68,
    CheckEligibility = 0x69,
    HandleCcmData = 0x90,
    GetPhoneInfo = 0x1F4,
    SetAddress = 0x1F5,
    DalmKeyInjection = 0x3F0,
    DalmInjectedKeyVerification = 0x3F1,
    DalmReadInjectedKeyUid = 0x3F2,
    DalmCreateGetKeySession = 0x3F3,
    DalmReleaseGetKeySession = 0x3F4,
    Reserved = 0x3FE,     // privileged, and then no job
    DalmUnknown = 0x3FF,  // a key-provisioning job without an entry point
};

}  // namespace Na
