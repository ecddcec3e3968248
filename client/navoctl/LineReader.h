// SPDX-License-Identifier: Apache-2.0
// Lines that a person types, with history and completion on a terminal, or that a file holds.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "navo/Client.h"

class LineReader {
public:
    // What may stand in the place of the last word of a line that was begun.
    using Completer = std::function<std::vector<std::string>(const std::string& begun)>;

    // The cancellation outlives this.
    LineReader(const Navo::Cancellation& cancellation, Completer completer);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    // The next line without its end; nothing at the end of the input, or when it is cancelled.
    [[nodiscard]] std::optional<std::string> Next();

private:
    struct Inner;
    std::unique_ptr<Inner> inner;
};
