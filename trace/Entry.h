// SPDX-License-Identifier: Apache-2.0
// What a trace consists of: entries in the order in which they happened, and what is to be said of the
// inputs.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "navo/Causes.h"
#include "trace/Hidden.h"

namespace Trace {

using Microseconds = std::int64_t;  // since 1970, UTC, or of a duration

enum class Kind {
    Request,  // client to service
    Reply,    // service to client
    Message,  // service to server and back
    Apdu,     // service to card and back
    Open,     // of the secure element
    Close,
    Note,  // what a program said of itself
};

enum class State {
    Good,
    Noted,   // worth a look, and not what made anything fail
    Failed,  // in red
};

using Fields = std::vector<std::pair<std::string, std::string>>;

// What the server made of one answer of the card.
struct Verdict {
    Seen response;
    std::string expected;
    std::string title;
    bool isAccepted = false;
};

// One attempt to reach the server, in the words of who made it.
struct Message {
    std::string name;  // "NEXTAPDU"; empty when no input says it
    std::string session;
    std::string service;
    Fields request;                        // members of the message, in their order
    std::string unread;                    // the request's body where it is no message
    bool answered = false;                 // whether any input has an answer
    std::optional<int> status;             // of HTTP
    std::string resultCode;                // that the answer has
    std::string commandSet;                // as the answer has it
    std::string responseSet;               // that the request brought
    std::string answer;                    // the body, where it is more than result and set
    std::vector<std::string> errors;       // of attempts that failed below HTTP, one line each
    std::vector<std::string> notes;        // what the server learned
    std::string remark;                    // of the server
    std::optional<Microseconds> received;  // by the server
    std::optional<Microseconds> worked;    // how long the server took
    std::vector<Verdict> verdicts;         // on the responses that the request brought
    bool repeated = false;
};

// Where an entry stands in the inputs.
struct Origin {
    std::size_t source;
    std::size_t line;
};

struct Entry {
    Kind kind = Kind::Note;
    std::optional<Microseconds> time;
    std::optional<Microseconds> duration;
    bool isEstimated = false;  // its time is that of its neighbour
    std::size_t job = 0;       // counted from 1; 0 before the first and behind none
    long process = 0;          // of the service
    std::size_t set = 0;       // number of the command set within its job
    std::size_t ordinal = 0;   // of a command within its set

    Seen command;
    Seen response;  // of an opening, the answer to reset
    bool knowsCommand = false;
    bool knowsResponse = false;
    bool isCut = false;      // an input has only a part of it
    unsigned followUps = 0;  // commands that fetched the rest of the response, where they have no entries

    std::string text;                  // of a request, reply, note, or of a failure in the program's words
    std::unique_ptr<Message> message;  // of a message

    std::string action;               // of the catalogue, that the command belongs to
    std::string expected;             // by the server, where it refused the answer
    bool isJudged = false;            // by the server
    std::vector<std::string> faults;  // ordered

    State state = State::Good;
    std::string failure;  // what went wrong, in a sentence
    std::vector<Navo::Cause> causes;

    std::vector<Origin> origins;
};

enum class Form { Unknown, DeviceRecording, ServerRecord, ServiceLog };

struct Source {
    std::string file;
    Form form = Form::Unknown;
    std::size_t lines = 0;
    std::size_t entries = 0;
    std::size_t joined = 0;  // entries that another input has too
    Microseconds shift = 0;  // by which its clock was set
    bool isCut = false;      // ends in the middle of a line
};

// What is wrong with an input; line 0 stands for all of it.
struct Problem {
    std::string file;
    std::size_t line = 0;
    std::string text;
};

// Where the time went, in parts that follow each other without a gap.
struct Totals {
    Microseconds card = 0;
    Microseconds network = 0;
    Microseconds server = 0;
    Microseconds service = 0;
    Microseconds waiting = 0;  // between jobs
    std::size_t apdus = 0;
    std::size_t messages = 0;
    std::size_t jobs = 0;
    std::size_t failures = 0;
};

struct Story {
    std::vector<Source> sources;
    std::vector<Problem> problems;
    std::vector<Entry> entries;
    Totals totals;
    std::optional<std::size_t> first;  // index of the first entry that went wrong
};

[[nodiscard]] const char* NameOf(Kind kind);
[[nodiscard]] const char* NameOf(State state);
[[nodiscard]] const char* NameOf(Form form);

// The status word of a response as four digits; empty when there is none.
[[nodiscard]] std::string StatusWordOf(const Entry& entry);

}  // namespace Trace
