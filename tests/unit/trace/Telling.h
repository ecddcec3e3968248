// SPDX-License-Identifier: Apache-2.0
// Stories of inputs that a test writes down.
#pragma once

#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "trace/Join.h"
#include "trace/Judge.h"
#include "trace/Output.h"

constexpr Trace::Microseconds Noon = 1772366400000000;  // 2026-03-01T12:00:00Z

inline Trace::Reading Read(const std::string& text, std::size_t number = 0) {
    std::istringstream stream(text);
    return Trace::ReadInput(stream, "input" + std::to_string(number), number, Noon);
}

inline Trace::Story Tell(const std::vector<std::string>& inputs) {
    std::vector<Trace::Reading> readings;
    for (const std::string& input : inputs) {
        readings.push_back(Read(input, readings.size()));
    }
    Trace::Story story = Trace::Join(std::move(readings));
    Trace::Judge(story);
    Trace::AddUp(story);
    return story;
}

using Writer = void (*)(std::ostream&, const Trace::Story&, Trace::Describer&);

inline std::string Written(Writer write, const Trace::Story& story, bool hides = true) {
    Trace::Describer describer(hides, {});
    std::ostringstream stream;
    write(stream, story, describer);
    return stream.str();
}

// With "*" for what differs in each run of an alias.
inline std::string WithoutDigests(const std::string& text) {
    return std::regex_replace(text, std::regex(" [0-9A-F]{8}\\}"), " *}");
}

// Each entry as a word and what tells it from others, in their order.
inline std::vector<std::string> Course(const Trace::Story& story) {
    std::vector<std::string> course;
    for (const Trace::Entry& entry : story.entries) {
        std::string line = NameOf(entry.kind);
        line += entry.kind == Trace::Kind::Apdu ? " " + TextOf(entry.command) : "";
        line += entry.message ? " " + entry.message->name : "";
        course.push_back(line + (entry.state == Trace::State::Failed ? " FAILED" : ""));
    }
    return course;
}

// What a service writes of a script with one set of two commands; each line behind `prefix`.
inline std::string ScriptLog(const std::string& prefix) {
    const std::vector<std::string> lines = {
        "info: Client connected: 4711",
        "[/src/app/Agent.cpp:104 ConstructJob] cmd: 65",
        "info: Execute",
        "[/src/platform/tizen/SeReader_NFC.cpp:64 Open] Opening SE",
        "[/src/platform/tizen/SeReader_NFC.cpp:87 Open] Starting to work with SE of type: 1",
        "[/src/platform/tizen/SeReader_NFC.cpp:118 SendApdu] Sending command to SE",
        "[/src/app/jobs/ServerScript.cpp:58 BeginSession] Job execution: sid demo.card; fid ISSUE; req ",
        "[/src/app/Network.cpp:39 ConnectionUp] Trying to set up Internet connection",
        "[/src/app/jobs/ServerScript.cpp:71 RunCommandSet] cAPDU: /0100A4040000/0180CA006600",
        "[/src/app/Agent.cpp:62 SendApdu] CAPDU: 00A4040000 [10]",
        "[/src/platform/tizen/SeReader_NFC.cpp:118 SendApdu] Sending command to SE",
        "[/src/app/Agent.cpp:62 SendApdu] CAPDU: 80CA006600 [10]",
        "[/src/platform/tizen/SeReader_NFC.cpp:118 SendApdu] Sending command to SE",
        "[/src/platform/tizen/SeReader_NFC.cpp:118 SendApdu] Sending command to SE",
        "[/src/app/jobs/ServerScript.cpp:47 Execute] rAPDU: /019000/01660173019000",
        "[/src/app/Network.cpp:39 ConnectionUp] Trying to set up Internet connection",
        "info: Done. Sending status to Client",
        "[/src/app/Agent.cpp:139 Do] Job execution status: 00000001_The job has done successfully",
    };
    std::string text;
    for (const std::string& line : lines) {
        text += prefix;
        text += line;
        text += "\n";
    }
    return text;
}
