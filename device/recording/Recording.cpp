// SPDX-License-Identifier: Apache-2.0
#include "device/recording/Recording.h"

#include <array>
#include <cstdint>
#include <ctime>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>

namespace Device {

namespace {

using Json = nlohmann::ordered_json;
using Kind = RecordedEvent::Kind;

constexpr char Open[] = "open";
constexpr char Exchange[] = "exchange";
constexpr char Close[] = "close";

constexpr auto Lowest = std::numeric_limits<int>::min();
constexpr auto Highest = static_cast<unsigned>(std::numeric_limits<int>::max());

// UTC by ISO 8601 with the fraction of a second in units of `perSecond`, a power of ten.
std::string Timestamp(std::chrono::system_clock::time_point time, std::int64_t perSecond) {
    const std::int64_t microseconds =
        std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count();
    const std::time_t seconds = static_cast<std::time_t>(microseconds / 1000000);
    std::tm parts = {};
    gmtime_r(&seconds, &parts);
    std::array<char, 64> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::string fraction = std::to_string(perSecond + microseconds % 1000000 / (1000000 / perSecond));
    fraction.front() = '.';
    return std::string(text.data(), length) + fraction + "Z";
}

[[noreturn]] void Refuse(const std::string& problem) {
    throw std::runtime_error(problem);
}

// The library keeps numbers from 0 on as unsigned ones.
bool IsCode(const Json& number) {
    return number.is_number_unsigned() ? number.get<std::uint64_t>() <= Highest
                                       : number.get<std::int64_t>() >= Lowest;
}

// One line, whose members are taken one after the other; what is left in the end is not known.
class Line {
public:
    explicit Line(const std::string& text) : object(Json::parse(text, nullptr, false)) {
        if (!object.is_object()) {
            Refuse("this is no JSON object");
        }
        left = object.size();
    }

    std::string Text(const char* name) {
        const Json& value = Take(name);
        if (!value.is_string()) {
            Refuse(std::string("\"") + name + "\" is no text");
        }
        return value.get<std::string>();
    }

    Bytes Hexadecimal(const char* name) {
        const std::optional<Bytes> bytes = FromHexText(Text(name));
        if (!bytes) {
            Refuse(std::string("\"") + name + "\" is not written in hexadecimal digits");
        }
        return *bytes;
    }

    int Number(const char* name) {
        const Json& value = Take(name);
        if (!value.is_number_integer() || !IsCode(value)) {
            Refuse(std::string("\"") + name + "\" is no whole number of 32 bits");
        }
        return value.get<int>();
    }

    // What a recording from before it was measured has not.
    void SkipMeasurement() {
        if (object.find("received") != object.end()) {
            Text("received");
        }
        for (const char* const name : {"durationMicroseconds", "process", "session", "ordinal"}) {
            if (object.find(name) != object.end() && !Take(name).is_number_unsigned()) {
                Refuse(std::string("\"") + name + "\" is no whole number");
            }
        }
    }

    void RequireNothingElse() const {
        if (left != 0) {
            Refuse(
                "a member is not known; an open has atr, an exchange command and response, both have code");
        }
    }

private:
    const Json& Take(const char* name) {
        const auto found = object.find(name);
        if (found == object.end()) {
            Refuse(std::string("\"") + name + "\" is missing");
        }
        --left;
        return *found;
    }

    Json object;
    std::size_t left = 0;
};

Kind KindOf(const std::string& name) {
    if (name == Open) {
        return Kind::Open;
    }
    if (name == Exchange) {
        return Kind::Exchange;
    }
    if (name != Close) {
        Refuse("\"" + name + "\" is no event; there are open, exchange and close");
    }
    return Kind::Close;
}

RecordedEvent EventOf(const std::string& text) {
    Line line(text);
    line.Text("time");
    RecordedEvent event;
    event.kind = KindOf(line.Text("event"));
    if (event.kind == Kind::Exchange) {
        event.command = line.Hexadecimal("command");
    }
    if (event.kind != Kind::Close) {
        event.code = line.Number("code");
        if (event.code != 0) {
            event.message = line.Text("message");
        } else {
            event.answer = line.Hexadecimal(event.kind == Kind::Open ? "atr" : "response");
        }
    }
    line.SkipMeasurement();
    line.RequireNothingElse();
    return event;
}

// Whether a session is open behind the event.
bool SessionAfter(const RecordedEvent& event, bool sessionBefore) {
    if (event.kind == Kind::Open) {
        return event.code == 0;
    }
    if (!sessionBefore) {
        Refuse("no session is open here; an open that succeeded comes first");
    }
    return event.kind == Kind::Exchange;
}

void Describe(Json& object, const RecordedEvent& event, const char* answerName) {
    if (event.code == 0) {
        object[answerName] = HexText(event.answer);
    }
    object["code"] = event.code;
    if (event.code != 0) {
        object["message"] = event.message;
    }
}

void Describe(Json& object, const Measurement& measured) {
    object["received"] = Timestamp(measured.received, 1000000);
    object["durationMicroseconds"] = measured.duration.count();
    object["process"] = measured.process;
    object["session"] = measured.session;
    if (measured.ordinal != 0) {
        object["ordinal"] = measured.ordinal;
    }
}

}  // namespace

std::string RecordingLine(
    const RecordedEvent& event, std::chrono::system_clock::time_point time,
    const std::optional<Measurement>& measured) {
    Json object = {{"time", Timestamp(time, 1000)}};
    switch (event.kind) {
        case Kind::Open:
            object["event"] = Open;
            Describe(object, event, "atr");
            break;
        case Kind::Exchange:
            object["event"] = Exchange;
            object["command"] = HexText(event.command);
            Describe(object, event, "response");
            break;
        case Kind::Close:
            object["event"] = Close;
            break;
    }
    if (measured) {
        Describe(object, *measured);
    }
    return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::vector<RecordedEvent> ReadRecording(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw std::runtime_error(file + ": the recording cannot be opened");
    }
    std::vector<RecordedEvent> events;
    bool session = false;
    std::size_t number = 0;
    for (std::string text; std::getline(stream, text);) {
        ++number;
        try {
            events.push_back(EventOf(text));
            session = SessionAfter(events.back(), session);
        } catch (const std::exception& problem) {
            throw std::runtime_error(file + ":" + std::to_string(number) + ": " + problem.what());
        }
        events.back().line = number;
    }
    if (stream.bad()) {
        throw std::runtime_error(file + ": the recording cannot be read to its end");
    }
    if (events.empty()) {
        throw std::runtime_error(file + ": the recording is empty");
    }
    return events;
}

}  // namespace Device
