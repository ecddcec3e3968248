// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "trace/Clock.h"
#include "trace/Output.h"

namespace Trace {

namespace {

constexpr std::size_t TitleWidth = 58;

// Characters, not bytes.
std::size_t WidthOf(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char character) {
        return (static_cast<unsigned char>(character) & 0xC0U) != 0x80;
    }));
}

std::string Padded(const std::string& text, std::size_t width) {
    const std::size_t length = WidthOf(text);
    return text + std::string(width > length ? width - length : 0, ' ');
}

std::string LeftPadded(const std::string& text, std::size_t width) {
    const std::size_t length = WidthOf(text);
    return std::string(width > length ? width - length : 0, ' ') + text;
}

// One line, without what a terminal would obey.
std::string Printable(std::string text) {
    for (char& character : text) {
        const auto code = static_cast<unsigned char>(character);
        character = code < 0x20 || code == 0x7F ? ' ' : character;
    }
    return text;
}

void WriteSources(std::ostream& stream, const Story& story) {
    for (const Source& source : story.sources) {
        stream << "  " << source.file << ": " << NameOf(source.form) << ", "
               << Counted(source.lines, "line", "lines") << ", "
               << Counted(source.entries, "entry", "entries");
        if (story.sources.size() > 1) {
            stream << ", " << source.joined << " also in another input";
        }
        if (source.shift != 0) {
            stream << ", clock set by " << (source.shift < 0 ? "-" : "+")
                   << DurationText(source.shift < 0 ? -source.shift : source.shift);
        }
        stream << (source.isCut ? ", ends in the middle of a line" : "") << "\n";
    }
}

void WriteTotals(std::ostream& stream, const Story& story) {
    const Totals& totals = story.totals;
    stream << Counted(totals.apdus, "APDU", "APDUs") << ", "
           << Counted(totals.messages, "message", "messages") << ", " << Counted(totals.jobs, "job", "jobs")
           << "; card " << DurationText(totals.card) << ", network " << DurationText(totals.network)
           << ", server " << DurationText(totals.server) << ", service " << DurationText(totals.service)
           << ", waiting " << DurationText(totals.waiting) << "\n";
}

void WriteProblems(std::ostream& stream, const Story& story, Mask& mask) {
    for (const Problem& problem : story.problems) {
        stream << problem.file << ":" << (problem.line != 0 ? std::to_string(problem.line) + ":" : "") << " "
               << Printable(mask.Words(problem.text)) << "\n";
    }
}

std::string LineOf(std::size_t number, const Entry& entry, const Details& details) {
    const char* const mark = entry.state == State::Failed ? "✗" : entry.state == State::Noted ? "!" : " ";
    const std::string time = entry.time ? TimeOfDay(*entry.time) : "";
    const std::string duration = entry.duration ? DurationText(*entry.duration) : "";
    std::string lanes = details.from;
    if (details.from != details.to) {
        lanes += " → " + details.to;
    }
    const std::string place =
        entry.ordinal == 0 ? "" : std::to_string(entry.set) + "." + std::to_string(entry.ordinal);
    return std::string(mark) + LeftPadded(std::to_string(number), 6) + "  " +
           Padded((entry.isEstimated && entry.time ? "~" : " ") + time, 17) + Padded(lanes, 18) +
           LeftPadded(duration, 10) + "  " + Padded(place, 7) + Padded(Printable(details.title), TitleWidth) +
           "  " + Printable(OutcomeText(entry, details));
}

void WriteSections(std::ostream& stream, const Details& details) {
    for (const Section& section : details.sections) {
        stream << "  " << section.name << "\n";
        for (const Row& row : section.rows) {
            const std::string name = std::string(std::size_t{2} * row.depth, ' ') + row.name;
            stream << "    " << Padded(name, 30) << (row.name.empty() ? "" : " ") << Printable(row.value)
                   << (row.value.empty() || row.meaning.empty() ? "" : "  ") << Printable(row.meaning)
                   << "\n";
        }
    }
}

void WriteFirst(std::ostream& stream, const Story& story, const Details& details) {
    const Entry& entry = story.entries[*story.first];
    stream << "\nThe first thing that went wrong is entry " << *story.first + 1 << ", "
           << Printable(details.title) << ":\n  " << Printable(details.failure) << "\n";
    for (const Navo::Cause& cause : entry.causes) {
        stream << "  " << cause.code << ", " << NameOf(cause.kind) << ": " << cause.meaning << "\n";
        if (!cause.lookAt.empty()) {
            stream << "  Look at: " << cause.lookAt << "\n";
        }
    }
    for (const Origin& origin : entry.origins) {
        stream << "  " << PlaceOf(story, origin) << "\n";
    }
    WriteSections(stream, details);
}

}  // namespace

std::string Counted(std::size_t count, const std::string& one, const std::string& many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string PlaceOf(const Story& story, const Origin& origin) {
    return story.sources[origin.source].file + ":" + std::to_string(origin.line);
}

std::string OutcomeText(const Entry& entry, const Details& details) {
    if (entry.state == State::Failed && entry.kind != Kind::Reply) {
        return details.failure;
    }
    return details.outcome + (details.meaning.empty() ? "" : " " + details.meaning);
}

void WriteText(std::ostream& stream, const Story& story, Describer& describer) {
    WriteTotals(stream, story);
    WriteSources(stream, story);
    WriteProblems(stream, story, describer.Masking());
    if (!describer.Masking().IsOn()) {
        stream << "Nothing is masked: this text holds secrets.\n";
    }
    // The entries come behind what is said of one of them, and are described once, in their order.
    std::vector<std::string> lines;
    for (std::size_t index = 0; index < story.entries.size(); ++index) {
        const Details details = describer.Describe(story.entries[index]);
        lines.push_back(LineOf(index + 1, story.entries[index], details));
        if (story.first == index) {
            WriteFirst(stream, story, details);
        }
    }
    if (!story.first && !story.entries.empty()) {
        stream << "\nNothing went wrong.\n";
    }
    stream << "\n";
    for (const std::string& line : lines) {
        stream << line.substr(0, line.find_last_not_of(' ') + 1) << "\n";
    }
}

}  // namespace Trace
