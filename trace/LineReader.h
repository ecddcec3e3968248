// SPDX-License-Identifier: Apache-2.0
// Lines of a stream, one at a time and never more of one than there is room for.
#pragma once

#include <istream>
#include <string>

namespace Trace {

constexpr std::size_t LongestLine = 8UL << 20;

class LineReader {
public:
    explicit LineReader(std::istream& input, std::size_t longest = LongestLine)
        : stream(input), most(longest) {}

    // The next line without its end, also without a carriage return. False at the end of the stream.
    bool Next(std::string& line);

    [[nodiscard]] std::size_t Number() const { return number; }  // of the line that came last, from 1
    [[nodiscard]] bool WasTooLong() const { return tooLong; }    // and has its beginning only
    [[nodiscard]] bool HadNoEnd() const { return hadNoEnd; }     // the stream ended before the line did

private:
    std::istream& stream;
    std::size_t most;
    std::size_t number = 0;
    bool tooLong = false;
    bool hadNoEnd = false;
};

}  // namespace Trace
