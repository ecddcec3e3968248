// SPDX-License-Identifier: Apache-2.0
// What a trace is made of: the first byte says how many lines of the rest are a second input.
#include <cstdint>
#include <sstream>
#include <string>

#include "tests/fuzz/FuzzTarget.h"
#include "trace/Html.h"
#include "trace/Join.h"
#include "trace/Judge.h"

namespace {

constexpr Trace::Microseconds Now = 1772366400000000;

std::string Written(
    void (*write)(std::ostream&, const Trace::Story&, Trace::Describer&), const Trace::Story& story) {
    Trace::Describer describer(true, {});
    std::ostringstream stream;
    write(stream, story, describer);
    return stream.str();
}

std::size_t CountOf(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

Trace::Reading Read(const std::string& text, std::size_t number) {
    std::istringstream stream(text);
    return Trace::ReadInput(stream, "input", number, Now);
}

void RequirePage(const Trace::Story& story) {
    const std::string page = Written(Trace::WriteHtml, story);
    Require(CountOf(page, "</script>") == 3, "nothing of an input ends a script of the page");
    Require(CountOf(page, "<script") == 3, "nothing of an input begins a script of the page");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    std::string second;
    for (std::uint8_t lines = input.Byte() % 32; lines > 0; --lines) {
        second += input.Line() + "\n";
    }
    std::vector<Trace::Reading> readings;
    readings.push_back(Read(input.Rest(), 0));
    readings.push_back(Read(second, 1));
    const std::size_t entries = readings[0].entries.size() + readings[1].entries.size();
    Trace::Story story = Trace::Join(std::move(readings));
    Trace::Judge(story);
    Trace::AddUp(story);
    Require(story.totals.failures == 0 || story.first.has_value(), "what failed has a first");
    Require(story.entries.size() * 2 >= entries, "two inputs are joined, and no more");
    RequirePage(story);
    for (const auto write : {Trace::WriteText, Trace::WriteJson, Trace::WriteMermaid, Trace::WriteHar}) {
        Require(!Written(write, story).empty(), "there is always an output");
    }
    return 0;
}
