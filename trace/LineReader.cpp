// SPDX-License-Identifier: Apache-2.0
#include "trace/LineReader.h"

namespace Trace {

bool LineReader::Next(std::string& line) {
    line.clear();
    tooLong = false;
    std::streambuf& buffer = *stream.rdbuf();
    constexpr int End = std::char_traits<char>::eof();
    int character = buffer.sbumpc();
    if (character == End) {
        return false;
    }
    ++number;
    for (; character != End && character != '\n'; character = buffer.sbumpc()) {
        if (line.size() < most) {
            line += static_cast<char>(character);
        } else {
            tooLong = true;
        }
    }
    hadNoEnd = character == End;
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return true;
}

}  // namespace Trace
