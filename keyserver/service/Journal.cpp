// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/Journal.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <system_error>

#include "keyserver/service/Json.h"
#include "keyserver/service/Masked.h"

namespace KeyServer {

namespace {

constexpr std::size_t LongestShownText = 80;

// The fraction of a second, with as many digits.
std::string FractionText(std::chrono::system_clock::time_point time, std::size_t digits) {
    using namespace std::chrono;
    const auto fraction = duration_cast<microseconds>(time.time_since_epoch()).count() % 1000000;
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), ".%06d", static_cast<int>(fraction));
    return std::string(text.data()).substr(0, digits + 1);
}

std::string TimeOfDay() {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    std::array<char, 40> text{};
    return std::string(text.data(), std::strftime(text.data(), text.size(), "%H:%M:%S", &parts)) +
           FractionText(now, 3);
}

std::string UniversalTime(std::chrono::system_clock::time_point time, std::size_t digits) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 40> text{};
    return std::string(text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts)) +
           FractionText(time, digits) + "Z";
}

constexpr std::size_t LongestSentence = 2000;

std::string Printable(std::string text) {
    if (text.size() > LongestSentence) {
        text.replace(LongestSentence, std::string::npos, "...");
    }
    for (char& character : text) {
        const bool printable = character >= 0x20 && character <= 0x7E;
        character = printable ? character : '.';
    }
    return text;
}

// One line of printable characters, whatever came over the wire. A long text keeps its end, which is where a
// response has its status word.
std::string Shown(const std::string& text) {
    constexpr std::size_t ShownEnd = 8;
    std::string shown = text;
    if (text.size() > LongestShownText) {
        shown = text.substr(0, LongestShownText - ShownEnd) + "..." + text.substr(text.size() - ShownEnd) +
                " (" + std::to_string(text.size()) + " characters)";
    }
    return Printable(shown);
}

// A card that did what it was told, or gave a warning, has not refused.
std::string Complaint(const Verdict& verdict) {
    const std::string kind = verdict.statusWord.substr(0, 2);
    const bool isDone = kind == "90" || kind == "61" || kind == "62" || kind == "63";
    return (isDone ? "unexpected, wanted " : "REFUSED, expected ") + verdict.expected;
}

std::string SessionLabel(const std::string& session) {
    return session.empty() ? "-" : Shown(session.substr(0, 8));
}

JsonValue CountOf(std::uint64_t number) {
    return JsonValue::Number(static_cast<double>(number));
}

JsonValue VerdictObject(const Verdict& verdict, std::uint64_t ordinal) {
    JsonValue object = JsonValue::Object();
    object.Add("ordinal", CountOf(ordinal));
    object.Add("command", JsonValue::Text(verdict.command));
    object.Add("response", JsonValue::Text(verdict.response));
    object.Add("statusWord", JsonValue::Text(verdict.statusWord));
    object.Add("expected", JsonValue::Text(verdict.expected));
    object.Add("accepted", JsonValue::Boolean(verdict.accepted));
    object.Add("title", JsonValue::Text(verdict.title));
    return object;
}

JsonValue ExchangeObject(const Exchange& exchange) {
    JsonValue object = JsonValue::Object();
    object.Add("time", JsonValue::Text(UniversalTime(std::chrono::system_clock::now(), 3)));
    object.Add("received", JsonValue::Text(UniversalTime(exchange.received, 6)));
    object.Add("durationMicroseconds", JsonValue::Number(static_cast<double>(exchange.duration.count())));
    object.Add("process", JsonValue::Number(getpid()));
    object.Add("job", CountOf(exchange.job));
    object.Add("set", CountOf(exchange.set));
    object.Add("connection", CountOf(exchange.connection));
    object.Add("message", CountOf(exchange.message));
    object.Add("session", JsonValue::Text(exchange.session));
    object.Add("service", JsonValue::Text(exchange.service));
    object.Add("msgCd", JsonValue::Text(exchange.msgCd));
    object.Add("request", JsonValue::Text(exchange.request));
    object.Add("status", JsonValue::Number(exchange.status));
    object.Add("resultCode", JsonValue::Text(exchange.resultCode));
    object.Add("answer", JsonValue::Text(exchange.answer));
    object.Add("remark", JsonValue::Text(exchange.remark));
    JsonValue verdicts = JsonValue::List();
    for (const Verdict& verdict : exchange.verdicts) {
        verdicts.items.push_back(VerdictObject(verdict, verdicts.items.size() + 1));
    }
    object.Add("verdicts", std::move(verdicts));
    object.Add("notes", JsonValue::List(exchange.notes));
    object.Add("misbehaviours", JsonValue::List(exchange.misbehaviours));
    object.Add("repeated", JsonValue::Boolean(exchange.repeated));
    return object;
}

bool WriteAll(int file, const std::string& text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = write(file, text.data() + written, text.size() - written);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        written += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
    return true;
}

}  // namespace

Journal::Journal(Sink lineSink, const std::string& recordFile, Secrets secrets) : sink(std::move(lineSink)) {
    if (secrets == Secrets::Masked) {
        masking.emplace();
    }
    if (recordFile.empty()) {
        return;
    }
    record = open(recordFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (record < 0) {
        throw std::system_error(errno, std::generic_category(), recordFile);
    }
}

Journal::~Journal() {
    if (record >= 0) {
        close(record);
    }
}

void Journal::Say(const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (sink) {
        sink(TimeOfDay() + " " + text);
    }
}

void Journal::Note(const Exchange& exchange) {
    if (!sink && record < 0) {
        return;
    }
    const Exchange noted = masking ? Masked(*masking, exchange) : exchange;
    const std::lock_guard<std::mutex> lock(mutex);
    if (sink) {
        SayExchange(noted);
    }
    if (record >= 0) {
        Record(noted);
    }
}

void Journal::SayExchange(const Exchange& exchange) {
    const std::string head = TimeOfDay() + " [" + SessionLabel(exchange.session) + "] ";
    sink(
        head + "<- " + (exchange.msgCd.empty() ? "no message" : Shown(exchange.msgCd)) +
        (exchange.service.empty() ? "" : " for " + exchange.service) + ", " +
        std::to_string(exchange.request.size()) + " characters (message " + std::to_string(exchange.message) +
        ", connection " + std::to_string(exchange.connection) + ")" +
        (exchange.repeated ? ", repeated" : ""));
    for (const Verdict& verdict : exchange.verdicts) {
        sink(
            head + "   " + (verdict.title.empty() ? "" : verdict.title + ": ") + Shown(verdict.command) +
            " => " + Shown(verdict.response) + "  " + (verdict.accepted ? "good" : Complaint(verdict)));
    }
    for (const std::string& note : exchange.notes) {
        sink(head + "   * " + Printable(note));
    }
    std::string line = head + "-> ";
    line += exchange.status == 200 ? Shown(exchange.resultCode) : "HTTP " + std::to_string(exchange.status);
    if (!exchange.remark.empty()) {
        line += " " + Printable(exchange.remark);
    }
    for (const std::string& misbehaviour : exchange.misbehaviours) {
        line += " [misbehaving: " + Shown(misbehaviour) + "]";
    }
    sink(line);
}

void Journal::Record(const Exchange& exchange) {
    if (!WriteAll(record, ToJson(ExchangeObject(exchange)) + "\n") && !recordFailed) {
        recordFailed = true;
        if (sink) {
            sink("the record cannot be written: " + std::generic_category().message(errno));
        }
    }
}

}  // namespace KeyServer
