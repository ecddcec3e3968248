// SPDX-License-Identifier: Apache-2.0
// Faults that the server commits on demand, for tests and for people who study failures.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace KeyServer {

struct Misbehaviour {
    enum class Kind {
        Status,           // value: HTTP status instead of an answer, 503 when absent
        Delay,            // value: milliseconds before the answer
        CloseBefore,      // closes the connection instead of answering
        CloseHead,        // closes it in the middle of the answer's header fields
        CloseMiddle,      // closes it in the middle of the answer's body
        CloseAfter,       // answers, then closes it without having announced that
        ConnectionClose,  // answers with "Connection: close", then closes it
        Reset,            // resets the connection instead of answering
        Garbage,          // bytes that are no HTTP instead of an answer
        Redirect,         // value: status, 307 when absent; back to the same address
        RedirectTo,       // value: address; status 307
        ContentType,      // value: content type of the genuine answer, text/html when absent
        Empty,            // status 200 with an empty body
        NotJson,          // value: text, html, list, number, null, truncated, blank, nested or binary
        NumericCode,      // "resultCode" is a number
        NoCode,           // "resultCode" is missing
        NoCommands,       // "cApduSet" is missing
        Code,             // value: "resultCode" has this text instead
        Endless,          // the script begins again where it would have ended
        Restart           // value: milliseconds out of service; answers, then drops all connections
    };

    Kind kind = Kind::Status;
    std::string value;
    std::uint64_t from = 1;   // the first message that it spoils, counted from 1
    std::uint64_t times = 0;  // how many messages from there on; 0 is all of them

    [[nodiscard]] bool HoldsFor(std::uint64_t message) const;
    [[nodiscard]] std::uint64_t NumberOr(std::uint64_t otherwise) const;

    // As an order that ParseMisbehaviour reads.
    [[nodiscard]] std::string Text() const;
};

// Reads KIND[=VALUE][@FROM[xTIMES]], for example status=503@2x1. Throws std::invalid_argument that says what
// would be right.
Misbehaviour ParseMisbehaviour(const std::string& order);

// Makes one from its parts, checking the value. Throws std::invalid_argument.
Misbehaviour MakeMisbehaviour(const std::string& kind, const std::string& value);

// Names of all kinds, for help texts.
[[nodiscard]] std::vector<std::string> MisbehaviourKinds();

}  // namespace KeyServer
