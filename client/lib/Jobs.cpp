// SPDX-License-Identifier: Apache-2.0
#include "navo/Jobs.h"

#include <charconv>
#include <cstdint>
#include <utility>

namespace Navo {
namespace {

constexpr char WrongCommand[] = "10000001";

std::string TextOf(const Outcome& failure) {
    std::string text = failure.message;
    if (!failure.explanation.empty()) {
        text += (text.empty() ? "" : ": ") + failure.explanation;
    }
    return text;
}

Outcome SuccessOf(long command, const Map& reply) {
    Outcome outcome = Interpret(command, reply);
    if (!outcome.success) {
        throw JobFailed(std::move(outcome));
    }
    return outcome;
}

template <typename Number>
Number NumberIn(const std::string& text) {
    Number number = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stopped != end) {
        throw ClientError(ErrorKind::UnexpectedReply, "the reply has \"" + text + "\" where a number stands");
    }
    return number;
}

template <long command>
void Done(const Map& reply) {
    SuccessOf(command, reply);
}

template <long command>
std::string ValueIn(const Map& reply) {
    return SuccessOf(command, reply).value;
}

template <long command>
int VerdictIn(const Map& reply) {
    return NumberIn<int>(SuccessOf(command, reply).message);
}

std::int64_t BytesIn(const Map& reply) {
    return NumberIn<std::int64_t>(SuccessOf(Command::Memory, reply).value);
}

// The one answer to this command says that there is none.
void AnyAnswer(const Map& reply) {
    Outcome outcome = Interpret(Command::SeStatus, reply);
    if (outcome.code != WrongCommand) {
        throw JobFailed(std::move(outcome));
    }
}

template <typename Type>
std::string Number(Type type) {
    return std::to_string(static_cast<int>(type));
}

template <typename Value>
Job<Value> Make(long command, Value (*read)(const Map& reply), Map request = {}) {
    request[Key::Cmd] = CommandText(command);
    return {std::move(request), read};
}

}  // namespace

JobFailed::JobFailed(Outcome failure)
    : ClientError(ErrorKind::JobFailed, TextOf(failure)), result(std::move(failure)) {}

JobFailed::~JobFailed() = default;

namespace Jobs {

Job<void> RunScript(const ScriptOrder& order) {
    return Make(
        Command::RunScript, Done<Command::RunScript>,
        {{Key::ServiceId, order.serviceId}, {Key::FcId, order.fcId}, {Key::PushReq, order.pushReq}});
}

Job<void> SeStatus() {
    return Make(Command::SeStatus, AnyAnswer);
}

Job<std::string> Cplc() {
    return Make(Command::Cplc, ValueIn<Command::Cplc>);
}

Job<std::int64_t> FreeMemory() {
    return Make(Command::Memory, BytesIn);
}

Job<void> CheckEligibility() {
    return Make(Command::Eligibility, Done<Command::Eligibility>);
}

Job<int> PlayCcmScript(const std::string& digits) {
    return Make(Command::CcmScript, VerdictIn<Command::CcmScript>, {{Key::CcmScriptData, digits}});
}

Job<std::string> PhoneInfo() {
    return Make(Command::PhoneInfo, ValueIn<Command::PhoneInfo>);
}

Job<void> SetAddress(const std::string& address) {
    return Make(Command::SetAddress, Done<Command::SetAddress>, {{Key::HostAddr, address}});
}

Job<int> InjectKey(const KeyName& key, InjectionType injection, const std::optional<KeyText>& data) {
    Map request = {
        {Key::KeyName, key.name}, {Key::KeyType, Number(key.type)}, {Key::InjectionType, Number(injection)}};
    if (data) {
        request[Key::DalmData] = data->text;
        request[Key::EncodingType] = Number(data->encoding);
    }
    return Make(Command::KeyInject, VerdictIn<Command::KeyInject>, std::move(request));
}

Job<int> VerifyKey(const KeyName& key, InjectionType injection) {
    return Make(
        Command::KeyVerify, VerdictIn<Command::KeyVerify>,
        {{Key::KeyName, key.name},
         {Key::KeyType, Number(key.type)},
         {Key::InjectionType, Number(injection)}});
}

Job<std::string> KeyUid(const KeyName& key, InjectionType injection, int mostBytes) {
    return Make(
        Command::KeyUid, ValueIn<Command::KeyUid>,
        {{Key::KeyName, key.name},
         {Key::KeyType, Number(key.type)},
         {Key::InjectionType, Number(injection)},
         {Key::DalmDataSize, std::to_string(mostBytes)}});
}

Job<std::string> GetKey(const KeyName& key, EncodingType encoding, int mostBytes) {
    return Make(
        Command::KeyOpenSession, ValueIn<Command::KeyOpenSession>,
        {{Key::KeyName, key.name},
         {Key::KeyType, Number(key.type)},
         {Key::EncodingType, Number(encoding)},
         {Key::DalmDataSize, std::to_string(mostBytes)}});
}

Job<int> ReleaseKey() {
    return Make(Command::KeyReleaseSession, VerdictIn<Command::KeyReleaseSession>);
}

}  // namespace Jobs
}  // namespace Navo
