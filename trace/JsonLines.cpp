// SPDX-License-Identifier: Apache-2.0
#include "trace/JsonLines.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "trace/ApduText.h"

namespace Trace {

namespace {

using Json = nlohmann::ordered_json;

constexpr char BodyPrefix[] = "data=";

std::string TextOf(const Json& object, const char* name) {
    const auto found = object.find(name);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::optional<std::int64_t> NumberOf(const Json& object, const char* name) {
    const auto found = object.find(name);
    return found != object.end() && found->is_number() ? std::optional(found->get<std::int64_t>())
                                                       : std::nullopt;
}

bool Is(const Json& object, const char* name) {
    const auto found = object.find(name);
    return found != object.end() && found->is_boolean() && found->get<bool>();
}

std::vector<std::string> TextsOf(const Json& object, const char* name) {
    std::vector<std::string> texts;
    const auto found = object.find(name);
    if (found != object.end() && found->is_array()) {
        for (const Json& each : *found) {
            texts.push_back(each.is_string() ? each.get<std::string>() : each.dump());
        }
    }
    return texts;
}

Bytes HexadecimalOf(const Json& object, const char* name) {
    const std::optional<Bytes> bytes = GlobalPlatform::FromHexText(TextOf(object, name));
    if (!bytes) {
        throw std::runtime_error(std::string("\"") + name + "\" is not written in hexadecimal digits");
    }
    return *bytes;
}

// An entry begins when what it is about was received, which older recordings do not tell.
void TakeTimes(const Json& object, Entry& entry) {
    const std::optional<Microseconds> written = ReadIsoTime(TextOf(object, "time"));
    const std::optional<Microseconds> received = ReadIsoTime(TextOf(object, "received"));
    entry.time = received ? received : written;
    entry.duration = NumberOf(object, "durationMicroseconds");
    entry.process = static_cast<long>(NumberOf(object, "process").value_or(0));
}

void TakeAnswer(const Json& object, const char* name, Entry& entry) {
    if (NumberOf(object, "code").value_or(0) != 0) {
        entry.failure = TextOf(object, "message");
        entry.failure = entry.failure.empty() ? "no message" : entry.failure;
        return;
    }
    if (object.find(name) != object.end()) {
        entry.response.bytes = HexadecimalOf(object, name);
        entry.knowsResponse = true;
    } else {
        entry.isCut = true;
    }
}

Entry DeviceEntry(const Json& object) {
    Entry entry;
    TakeTimes(object, entry);
    const std::string event = TextOf(object, "event");
    if (event == "open") {
        entry.kind = Kind::Open;
        TakeAnswer(object, "atr", entry);
    } else if (event == "close") {
        entry.kind = Kind::Close;
    } else if (event == "exchange") {
        entry.kind = Kind::Apdu;
        entry.command.bytes = HexadecimalOf(object, "command");
        entry.knowsCommand = !entry.command.bytes.empty();
        TakeAnswer(object, "response", entry);
    } else {
        throw std::runtime_error("\"" + event + "\" is no event of a device's recording");
    }
    if (!entry.failure.empty()) {
        entry.failure =
            (entry.kind == Kind::Open ? "The secure element did not open: " : "The card gave no answer: ") +
            entry.failure;
    }
    return entry;
}

void TakeRequest(const std::string& body, Message& message) {
    const Json object = body.rfind(BodyPrefix, 0) == 0
                            ? Json::parse(body.begin() + (sizeof BodyPrefix - 1), body.end(), nullptr, false)
                            : Json();
    if (!object.is_object()) {
        message.unread = body;
        return;
    }
    for (const auto& [name, value] : object.items()) {
        message.request.emplace_back(name, value.is_string() ? value.get<std::string>() : value.dump());
    }
    message.responseSet = TextOf(object, "rApduSet");
}

// The service undoes URL escapes before it reads an answer.
std::string Unescaped(const std::string& text) {
    std::string plain;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const std::optional<Bytes> byte = text[index] == '%' && index + 2 < text.size()
                                              ? GlobalPlatform::FromHexText(text.substr(index + 1, 2))
                                              : std::nullopt;
        plain += byte && byte->size() == 1 ? static_cast<char>(byte->front()) : text[index];
        index += byte && byte->size() == 1 ? 2 : 0;
    }
    return plain;
}

void TakeAnswer(const std::string& body, Message& message) {
    const Json object = Json::parse(Unescaped(body), nullptr, false);
    if (object.is_object()) {
        message.resultCode = TextOf(object, "resultCode");
        message.commandSet = TextOf(object, "cApduSet");
    }
    if (!object.is_object() || message.resultCode.empty()) {
        message.answer = body;
    }
}

Verdict VerdictOf(const Json& object) {
    Verdict verdict;
    verdict.response = SeeResponse(TextOf(object, "response")).value_or(Seen());
    verdict.expected = TextOf(object, "expected");
    verdict.title = TextOf(object, "title");
    verdict.isAccepted = Is(object, "accepted");
    return verdict;
}

Entry ServerEntry(const Json& object) {
    Entry entry;
    entry.kind = Kind::Message;
    TakeTimes(object, entry);
    entry.process = 0;  // of the server
    entry.set = static_cast<std::size_t>(NumberOf(object, "set").value_or(0));
    entry.faults = TextsOf(object, "misbehaviours");
    entry.message = std::make_unique<Message>();
    Message& message = *entry.message;
    message.name = TextOf(object, "msgCd");
    message.session = TextOf(object, "session");
    message.service = TextOf(object, "service");
    message.answered = true;
    message.status = static_cast<int>(NumberOf(object, "status").value_or(200));
    TakeRequest(TextOf(object, "request"), message);
    TakeAnswer(TextOf(object, "answer"), message);
    message.remark = TextOf(object, "remark");
    message.notes = TextsOf(object, "notes");
    message.repeated = Is(object, "repeated");
    message.received = entry.time;
    message.worked = entry.duration;
    entry.duration.reset();
    const auto verdicts = object.find("verdicts");
    if (verdicts != object.end() && verdicts->is_array()) {
        for (const Json& each : *verdicts) {
            message.verdicts.push_back(VerdictOf(each));
        }
    }
    return entry;
}

// "__REALTIME_TIMESTAMP" is a number of microseconds, written as a text.
JsonLine JournalLine(const Json& object) {
    JsonLine line;
    line.form = Form::ServiceLog;
    const std::string time = TextOf(object, "__REALTIME_TIMESTAMP");
    if (const std::optional<std::int64_t> number = Scanner(time).Number(1, 18)) {
        line.time = *number;
    }
    const std::string process = TextOf(object, "_PID");
    line.process = static_cast<long>(Scanner(process).Number(1, 9).value_or(0));
    line.text = TextOf(object, "MESSAGE");
    return line;
}

}  // namespace

JsonLine ReadJsonLine(const std::string& text) {
    const Json object = Json::parse(text, nullptr, false);
    if (!object.is_object()) {
        throw std::runtime_error("this is no JSON object; the line is damaged or cut");
    }
    JsonLine line;
    if (object.find("event") != object.end()) {
        line.form = Form::DeviceRecording;
        line.entries.push_back(DeviceEntry(object));
    } else if (object.find("msgCd") != object.end() && object.find("request") != object.end()) {
        line.form = Form::ServerRecord;
        line.entries.push_back(ServerEntry(object));
    } else if (object.find("MESSAGE") != object.end()) {
        return JournalLine(object);
    } else {
        throw std::runtime_error(
            "this is a line of no recording: a device's has \"event\", a key server's \"msgCd\" and "
            "\"request\", a journal's \"MESSAGE\"");
    }
    return line;
}

}  // namespace Trace
