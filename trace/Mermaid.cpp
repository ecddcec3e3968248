// SPDX-License-Identifier: Apache-2.0
#include "trace/Clock.h"
#include "trace/Output.h"

namespace Trace {

namespace {

constexpr std::size_t LongestLabel = 120;

// A label ends with its line, and ";" and "#" mean something to the language.
std::string Label(const std::string& text) {
    std::string label;
    for (const char character : text) {
        if (label.size() >= LongestLabel && (static_cast<unsigned char>(character) & 0xC0U) != 0x80) {
            return label + "…";
        }
        const bool isSpecial = character == ';' || character == '#' || character == '<' || character == '>' ||
                               character == ':' || static_cast<unsigned char>(character) < 0x20;
        label += isSpecial ? ' ' : character;
    }
    return label;
}

void WriteAnswer(std::ostream& stream, const Entry& entry, const Details& details) {
    if (entry.kind != Kind::Apdu && entry.kind != Kind::Message) {
        return;
    }
    const bool failed = entry.state == State::Failed;
    if (details.outcome.empty() && !failed) {
        return;
    }
    const std::string duration = entry.duration ? " in " + DurationText(*entry.duration) : "";
    stream << "    " << details.to << (failed ? "--x" : "-->>") << details.from << ": "
           << Label(failed ? details.failure : details.outcome + duration) << "\n";
}

}  // namespace

void WriteMermaid(std::ostream& stream, const Story& story, Describer& describer) {
    stream
        << "sequenceDiagram\n"
           "    participant client\n    participant service\n    participant server\n    participant card\n";
    if (!describer.Masking().IsOn()) {
        stream << "    Note over client,card: Nothing is masked, this holds secrets\n";
    }
    for (std::size_t index = 0; index < story.entries.size(); ++index) {
        const Entry& entry = story.entries[index];
        const Details details = describer.Describe(entry);
        if (entry.kind == Kind::Note) {
            stream << "    Note over service: " << Label(details.title) << "\n";
        } else {
            const std::string title =
                entry.kind == Kind::Reply ? details.title + " " + details.outcome : details.title;
            stream << "    " << details.from << "->>" << details.to << ": " << Label(title) << "\n";
            WriteAnswer(stream, entry, details);
        }
        if (story.first == index) {
            stream << "    Note over client,card: the first thing that went wrong\n";
        }
    }
}

}  // namespace Trace
