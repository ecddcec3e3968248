// SPDX-License-Identifier: Apache-2.0
#include "navo/Outcome.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "navo/Causes.h"

namespace Navo {
namespace {

constexpr char Done[] = "00000001";
constexpr char DoneWithLateNfc[] = "00000002";
constexpr char WrongCommand[] = "10000001";

const std::string* Find(const Map& reply, const char* key) {
    const auto found = reply.find(key);
    return found != reply.end() ? &found->second : nullptr;
}

bool IsDone(const std::string& code) {
    return code == Done || code == DoneWithLateNfc;
}

bool IsHexadecimalBytes(const std::string& text) {
    const auto isDigit = [](unsigned char character) { return std::isxdigit(character) != 0; };
    return !text.empty() && text.size() % 2 == 0 && std::all_of(text.begin(), text.end(), isDigit);
}

std::optional<long> WholeNumber(const std::string& text) {
    long number = 0;
    const char* end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stopped != end) {
        return std::nullopt;
    }
    return number;
}

// Script, eligibility, stored address and unknown commands: the result message is the result.
Outcome JudgeMessage(Outcome outcome) {
    outcome.success = IsDone(outcome.code);
    return outcome;
}

// A CPLC comes in the place of the result message and has no "_".
Outcome JudgeCplc(Outcome outcome) {
    if (IsHexadecimalBytes(outcome.message)) {
        return {true, outcome.message, "", "", outcome.message, ""};
    }
    if (IsDone(outcome.code)) {
        outcome.explanation = "The secure element was reached and refused to give its CPLC.";
    }
    return outcome;
}

Outcome JudgeMemory(Outcome outcome, const Map& reply) {
    if (const std::string* amount = Find(reply, Key::MemoryInfo)) {
        return {true, outcome.message, "", "", *amount, ""};
    }
    if (outcome.message == "0") {
        outcome.code.clear();
        outcome.explanation =
            "The secure element could not be opened or asked, or has no memory left: the service does not "
            "tell these apart.";
    }
    return outcome;
}

void ExplainPrivilege(Outcome& outcome) {
    if (outcome.code == WrongCommand) {
        outcome.explanation = "Only privileged clients may use this command.";
    }
}

Outcome JudgePhoneInfo(Outcome outcome, const Map& reply) {
    if (const std::string* text = Find(reply, Key::PhoneInfo)) {
        outcome.success = true;
        outcome.value = *text;
    }
    ExplainPrivilege(outcome);
    return outcome;
}

Outcome JudgeSetAddress(Outcome outcome) {
    outcome.success = outcome.code == Done;
    ExplainPrivilege(outcome);
    return outcome;
}

Outcome JudgeSeStatus(Outcome outcome) {
    outcome.explanation = "The service knows this command, does nothing for it, and always answers so.";
    return outcome;
}

constexpr char NoVerdict[] = "The job ended before there was a verdict.";
constexpr char NoText[] =
    "The library returned data that is no UTF-8 text, which the bus cannot carry; ask for another encoding.";

// What a number below zero means, in the words of the table of causes.
std::string ReasonFor(const std::string& verdict, CauseKind kind) {
    const std::vector<Cause> causes = CausesOf(verdict, kind);
    return causes.empty() ? std::string() : causes.front().meaning;
}

// CCM scripts leave the result message as the card left it, and their verdict beside it.
Outcome JudgeCcmScript(Outcome outcome, const Map& reply) {
    const std::string* const verdict = Find(reply, Key::LccmReturnCode);
    const std::optional<long> number = verdict != nullptr ? WholeNumber(*verdict) : std::nullopt;
    if (!number) {
        outcome.explanation = NoVerdict;
        return outcome;
    }
    outcome.success = *number >= 0;
    if (!outcome.success) {
        outcome.explanation = ReasonFor(*verdict, CauseKind::CcmVerdict);
    }
    if (!outcome.success && !IsDone(outcome.code) && !outcome.description.empty()) {
        outcome.explanation += " The service says: " + outcome.description + ".";
    }
    outcome.message = *verdict;
    outcome.code = *verdict;
    outcome.description.clear();
    return outcome;
}

// Key provisioning ends as done in any case; its verdict stands where others have the result message.
Outcome JudgeKey(Outcome outcome, long command, const Map& reply) {
    const std::optional<long> number = WholeNumber(outcome.message);
    if (!number) {
        outcome.explanation = NoVerdict;
        return outcome;
    }
    const std::string* const data = Find(reply, Key::DalmData);
    const bool returnsData = command == Command::KeyUid || command == Command::KeyOpenSession;
    outcome.code = outcome.message;
    outcome.success = *number >= 0;
    if (*number < 0) {
        outcome.explanation = ReasonFor(outcome.message, CauseKind::KeyVerdict);
    } else if (data != nullptr) {
        outcome.value = *data;
    } else if (returnsData && *number > 0) {
        outcome.success = false;
        outcome.explanation = NoText;
    }
    return outcome;
}

}  // namespace

ResultMessage SplitResultMessage(const std::string& text) {
    const std::size_t at = text.find('_');
    if (at == std::string::npos) {
        return {text, "", false};
    }
    return {text.substr(0, at), text.substr(at + 1), true};
}

Outcome Interpret(long command, const Map& reply) {
    const std::string* text = Find(reply, Key::ReturnCode);
    if (text == nullptr) {
        return {false, "", "", "", "", "The reply has no \"ReturnCode\"; this service always gives one."};
    }
    ResultMessage message = SplitResultMessage(*text);
    const Outcome failure{false, *text, message.code, message.description, "", ""};
    switch (command) {
        case Command::Cplc:
            return JudgeCplc(failure);
        case Command::Memory:
            return JudgeMemory(failure, reply);
        case Command::SeStatus:
            return JudgeSeStatus(failure);
        case Command::PhoneInfo:
            return JudgePhoneInfo(failure, reply);
        case Command::SetAddress:
            return JudgeSetAddress(failure);
        case Command::CcmScript:
            return JudgeCcmScript(failure, reply);
        case Command::KeyInject:
        case Command::KeyVerify:
        case Command::KeyUid:
        case Command::KeyOpenSession:
        case Command::KeyReleaseSession:
        case Command::KeyUnknown:
            return JudgeKey(failure, command, reply);
        default:
            return JudgeMessage(failure);
    }
}

std::optional<long> CommandOf(const Map& request) {
    const std::string* text = Find(request, Key::Cmd);
    if (text == nullptr) {
        return std::nullopt;
    }
    errno = 0;
    const long command = std::strtol(text->c_str(), nullptr, 16);
    if (errno != 0) {
        return std::nullopt;
    }
    return command;
}

std::string CommandText(long command) {
    char text[2 * sizeof command + 2];
    std::snprintf(text, sizeof text, "%lX", static_cast<unsigned long>(command));
    return text;
}

}  // namespace Navo
