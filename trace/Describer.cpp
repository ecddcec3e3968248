// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdlib>

#include "globalplatform/CardWords.h"
#include "globalplatform/StatusMeaning.h"
#include "navo/Vocabulary.h"
#include "trace/ApduText.h"
#include "trace/Clock.h"
#include "trace/Details.h"

namespace Trace {

namespace {

constexpr char Client[] = "client";
constexpr char Service[] = "service";
constexpr char Server[] = "server";
constexpr char Card[] = "card";

constexpr std::size_t LongestAnswer = 2000;  // that is shown of a body that is no answer

struct NamedCommand {
    long number;
    const char* name;
};

constexpr NamedCommand Commands[] = {
    {Navo::Command::RunScript, "run a script of the server"},
    {Navo::Command::SeStatus, "status of the secure element"},
    {Navo::Command::Cplc, "card production life cycle data"},
    {Navo::Command::Memory, "free memory of the secure element"},
    {Navo::Command::Eligibility, "eligibility"},
    {Navo::Command::CcmScript, "CCM script"},
    {Navo::Command::PhoneInfo, "phone information"},
    {Navo::Command::SetAddress, "set the server's address"},
    {Navo::Command::KeyInject, "inject a key"},
    {Navo::Command::KeyVerify, "verify a key"},
    {Navo::Command::KeyUid, "key identifier"},
    {Navo::Command::KeyOpenSession, "read a key"},
    {Navo::Command::KeyReleaseSession, "release a key"},
};

std::string CommandName(const std::string& text) {
    const long number = std::strtol(text.c_str(), nullptr, 16);
    for (const NamedCommand& each : Commands) {
        if (each.number == number) {
            return each.name;
        }
    }
    return "an unknown command";
}

// Members that are the service's own and hold no secret.
bool IsPlain(const std::string& name) {
    constexpr const char* Names[] = {"msgCd", "UUID", "msgTime", "serviceId", "agentVersion", "location"};
    return name.rfind("device", 0) == 0 ||
           std::find(std::begin(Names), std::end(Names), name) != std::end(Names);
}

std::string Upper(std::string text) {
    text[0] = static_cast<char>(text[0] >= 'a' && text[0] <= 'z' ? text[0] - 'a' + 'A' : text[0]);
    return text;
}

// A response of a set as one line; what it holds stands with its command.
std::string ResponseLine(const std::string& item) {
    const std::string word = item.size() < 4 ? item : item.substr(item.size() - 4);
    if (IsHidden(item)) {
        return word + " behind bytes that the input hides";
    }
    const std::size_t bytes = item.size() < 4 ? 0 : (item.size() - 4) / 2;
    return word + (bytes == 0 ? "" : " behind " + std::to_string(bytes) + " bytes");
}

// Secrets that the service makes of the card's data are hidden by their bytes, as the card's answer has them.
std::string HideDigits(Mask& mask, const std::string& kind, const std::string& digits) {
    const std::optional<Bytes> bytes = GlobalPlatform::FromHexText(digits);
    return bytes ? mask.Hide(kind, *bytes) : mask.HideText(kind, digits);
}

class MessageDescriber {
public:
    MessageDescriber(Mask& masking, const Entry& described)
        : mask(masking), entry(described), message(*described.message) {}

    void Describe(Details& details) {
        details.sections.push_back(Request());
        if (message.answered && message.errors.empty()) {
            details.sections.push_back(Answer());
        }
        Section delivery = Delivery();
        if (!delivery.rows.empty()) {
            details.sections.push_back(std::move(delivery));
        }
        if (!message.notes.empty()) {
            Section notes{"What the server learned", {}};
            for (const std::string& note : message.notes) {
                notes.rows.push_back({0, "", "", mask.Words(note)});
            }
            details.sections.push_back(std::move(notes));
        }
    }

private:
    Section Request() {
        Section section{"Request", {}};
        for (const auto& [name, value] : message.request) {
            AddMember(name, value, section.rows);
        }
        const bool isInFields = std::any_of(
            message.request.begin(), message.request.end(),
            [](const auto& each) { return each.first == "rApduSet"; });
        if (!isInFields && !message.responseSet.empty()) {
            AddMember("rApduSet", message.responseSet, section.rows);
        }
        if (!message.unread.empty()) {
            section.rows.push_back(
                {0, "body", mask.Words(message.unread.substr(0, LongestAnswer)), "no message"});
        }
        return section;
    }

    void AddMember(const std::string& name, const std::string& value, Rows& rows) {
        if (name == "rApduSet") {
            AddResponses(value, rows);
        } else if (name == "sessionKey" || name.rfind("fcId", 0) == 0) {
            rows.push_back(
                {0, name, HideDigits(mask, name == "sessionKey" ? "session key" : "seed", value), ""});
        } else if (name == "seId" || name == "cplc") {
            rows.push_back({0, name, HideDigits(mask, "card", value), ""});
            const std::optional<Bytes> bytes = GlobalPlatform::FromHexText(value);
            if (name == "cplc" && bytes && bytes->size() > 3) {
                // With its tag and length, as GET DATA gives it.
                ApduDescriber(mask).LifeCycleData(GlobalPlatform::Last(*bytes, bytes->size() - 3), 1, rows);
            }
        } else {
            rows.push_back({0, name, IsPlain(name) ? value : mask.Words(value), ""});
        }
    }

    void AddResponses(const std::string& set, Rows& rows) {
        const std::string failure = RelayFailureOf(set);
        if (!failure.empty()) {
            rows.push_back({0, "rApduSet", "", "the service relayed nothing: " + failure});
            return;
        }
        const std::vector<std::string> items = ItemsOf(set);
        rows.push_back({0, "rApduSet", "", std::to_string(items.size()) + " responses"});
        for (std::size_t index = 0; index < items.size(); ++index) {
            rows.push_back({1, "response " + std::to_string(index + 1), ResponseLine(items[index]), ""});
        }
    }

    Section Answer() {
        Section section{"Answer", {}};
        if (message.status) {
            section.rows.push_back({0, "HTTP status", std::to_string(*message.status), ""});
        }
        if (!message.resultCode.empty()) {
            const auto causes = Navo::CausesOf(message.resultCode, Navo::CauseKind::ResultCode);
            section.rows.push_back(
                {0, "resultCode", mask.Words(message.resultCode),
                 causes.empty() ? "" : causes.front().meaning});
        }
        const std::vector<std::string> items = ItemsOf(message.commandSet);
        if (!items.empty()) {
            section.rows.push_back({0, "cApduSet", "", std::to_string(items.size()) + " commands"});
        }
        for (std::size_t index = 0; index < items.size(); ++index) {
            const std::optional<Seen> seen = SeeCommand(items[index]);
            const std::string title =
                seen && !seen->bytes.empty() ? ApduDescriber(mask).Title(seen->bytes) : "malformed";
            section.rows.push_back(
                {1, "command " + std::to_string(index + 1), items[index].substr(0, 8), title});
        }
        if (!message.answer.empty()) {
            section.rows.push_back({0, "body", mask.Words(message.answer.substr(0, LongestAnswer)), ""});
        }
        return section;
    }

    Section Delivery() {
        Section section{"Delivery", {}};
        Rows& rows = section.rows;
        for (std::size_t index = 0; index < message.errors.size(); ++index) {
            rows.push_back(
                {0, "attempt " + std::to_string(index + 1), "", mask.Words(message.errors[index])});
        }
        if (message.received) {
            rows.push_back({0, "received by the server", IsoTime(*message.received), ""});
        }
        if (message.worked) {
            rows.push_back({0, "time at the server", DurationText(*message.worked), ""});
        }
        for (const std::string& fault : entry.faults) {
            rows.push_back(
                {0, "fault ordered", mask.Words(fault), "the server misbehaved as it was told to"});
        }
        if (message.repeated) {
            rows.push_back({0, "repeated", "", "the message came again, and so did its answer"});
        }
        if (!message.remark.empty()) {
            rows.push_back({0, "remark of the server", "", mask.Words(message.remark)});
        }
        return section;
    }

    Mask& mask;
    const Entry& entry;
    const Message& message;
};

void Between(Details& details, const char* from, const char* to) {
    details.from = from;
    details.to = to;
}

}  // namespace

void Describer::DescribeCommand(const Entry& entry, Details& details) {
    Between(details, Service, Card);
    ApduDescriber describer(mask);
    const Unwrapped unwrapped = channel.Follow(entry);
    if (entry.knowsCommand) {
        details.title = describer.Title(entry.command.bytes);
        describer.Command(entry.command, unwrapped, details);
    } else {
        details.title = entry.text.empty() && !entry.failure.empty() ? "a command"
                        : entry.text.empty() ? "a command of the service's own, which the log does not show"
                                             : "no command: " + mask.Words(entry.text);
    }
    if (entry.knowsResponse) {
        describer.Response(entry, unwrapped, details);
        details.outcome = StatusWordOf(entry);
        details.meaning = GlobalPlatform::StatusMeaning(details.outcome);
    } else if (entry.isCut) {
        details.outcome = "cut";
        details.meaning = "the input has only a part of it";
    }
    if (entry.followUps > 0) {
        details.sections.push_back(
            {"Follow-ups",
             {{0, "fetched by", std::to_string(entry.followUps), "further commands of the service"}}});
    }
}

void Describer::DescribeMessage(const Entry& entry, Details& details) {
    Between(details, Service, Server);
    const Message& message = *entry.message;
    details.title = message.name.empty() ? "a request that is no message" : message.name;
    if (!message.service.empty()) {
        details.title += " for " + mask.Words(message.service);
    }
    if (message.status && *message.status != 200) {
        details.outcome = std::to_string(*message.status);
    } else {
        details.outcome = mask.Words(message.resultCode.substr(0, 64));
    }
    MessageDescriber(mask, entry).Describe(details);
}

Details Describer::Describe(const Entry& entry) {
    Details details;
    switch (entry.kind) {
        case Kind::Apdu:
            DescribeCommand(entry, details);
            break;
        case Kind::Message:
            DescribeMessage(entry, details);
            break;
        case Kind::Request:
            Between(details, Client, Service);
            details.title = "command " + entry.text + ", " + CommandName(entry.text);
            break;
        case Kind::Reply:
            Between(details, Service, Client);
            details.title = "reply";
            details.outcome = mask.Words(entry.text);
            break;
        case Kind::Open:
        case Kind::Close:
            static_cast<void>(channel.Follow(entry));
            Between(details, Service, Card);
            details.title = entry.kind == Kind::Open ? "open the secure element" : "close the secure element";
            if (entry.kind == Kind::Open && !entry.response.bytes.empty()) {
                const std::string answer = GlobalPlatform::HexText(entry.response.bytes);
                Section section{"Answer to reset", {{0, "ATR", answer, ""}}};
                for (const std::string& words : GlobalPlatform::AtrWords(answer)) {
                    section.rows.push_back({1, "", "", words});
                }
                details.sections.push_back(std::move(section));
            }
            break;
        case Kind::Note:
            Between(details, Service, Service);
            details.title = mask.Words(Upper(entry.text));
            break;
    }
    details.failure = mask.Words(entry.failure);
    return details;
}

}  // namespace Trace
