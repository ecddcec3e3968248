// SPDX-License-Identifier: Apache-2.0
#include "trace/Input.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "trace/JsonLines.h"
#include "trace/LineReader.h"
#include "trace/ServiceLog.h"

namespace Trace {

namespace {

constexpr std::size_t MostProblems = 100;  // of one input; a file of another kind has one in each line

class InputReader {
public:
    InputReader(Reading& target, std::size_t sourceNumber, Microseconds moment)
        : reading(target), number(sourceNumber), now(moment), log(target.entries, sourceNumber) {}

    void Take(const std::string& text, const LineReader& lines) {
        line = lines.Number();
        ++reading.source.lines;
        if (lines.WasTooLong()) {
            Complain("the line has more than " + std::to_string(LongestLine) + " bytes; its end is left out");
        }
        try {
            if (text.find_first_not_of(" \t\v\f") == std::string::npos) {
                return;
            }
            if (text.front() == '{') {
                TakeJson(text);
            } else {
                TakeLog(text);
            }
        } catch (const std::exception& error) {
            Complain(error.what());
        }
    }

    void End(bool hadNoEnd) {
        if (left > 0) {
            reading.problems.push_back(
                {reading.source.file, 0, std::to_string(left) + " more lines cannot be read"});
        }
        // A line that was read to its end may lack nothing but the line feed.
        reading.source.isCut = hadNoEnd && lastWasWrong;
        // Nothing is wrong with an empty file: a server that no message reached has recorded none.
        if (reading.source.form == Form::Unknown && reading.problems.empty() && reading.source.lines > 0) {
            Complain(
                "nothing in this file is of a session; it takes recordings of devices and key servers, "
                "and logs of the service");
        }
    }

private:
    void Complain(const std::string& text) {
        lastWasWrong = true;
        if (reading.problems.size() >= MostProblems) {
            ++left;
            return;
        }
        reading.problems.push_back({reading.source.file, line, text});
    }

    // Entries of one input are joined with those of others by what the input is.
    void RequireForm(Form form) {
        if (reading.source.form != Form::Unknown && reading.source.form != form) {
            throw std::runtime_error(
                std::string("this is of a ") + NameOf(form) + ", and the lines before are of a " +
                NameOf(reading.source.form) + "; each wants a file of its own");
        }
        reading.source.form = form;
    }

    void TakeJson(const std::string& text) {
        lastWasWrong = false;
        JsonLine read = ReadJsonLine(text);
        RequireForm(read.form);
        if (read.form == Form::ServiceLog) {
            TakeJournal(read);
            return;
        }
        for (Entry& entry : read.entries) {
            entry.origins.push_back({number, line});
            reading.entries.push_back(std::move(entry));
        }
    }

    void TakeJournal(const JsonLine& read) {
        std::optional<LogLine> inner = ReadLogLine(read.text, now);
        if (!inner) {
            inner = LogLine();
            inner->tag = "NavoAgent";
            inner->text = read.text;
        }
        inner->time = read.time;
        inner->process = read.process;
        log.Take(*inner, line);
    }

    void TakeLog(const std::string& text) {
        lastWasWrong = false;
        const std::optional<LogLine> read = ReadLogLine(text, now);
        if (read) {
            RequireForm(Form::ServiceLog);
            log.Take(*read, line);
        } else if (reading.source.form == Form::ServiceLog || text.rfind("---------", 0) == 0) {
            log.TakeRest(text);  // of a text of several lines, or what dlogutil says of itself
        } else {
            Complain("this is neither JSON nor a line of a log in a form that is known");
        }
    }

    Reading& reading;
    std::size_t number;
    Microseconds now;
    ServiceLog log;
    std::size_t line = 0;
    std::size_t left = 0;
    bool lastWasWrong = false;
};

}  // namespace

Reading ReadInput(std::istream& stream, const std::string& file, std::size_t number, Microseconds now) {
    Reading reading;
    reading.source.file = file;
    InputReader reader(reading, number, now);
    LineReader lines(stream);
    std::string text;
    while (lines.Next(text)) {
        reader.Take(text, lines);
    }
    reader.End(lines.HadNoEnd());
    reading.source.entries = reading.entries.size();
    return reading;
}

Reading ReadFile(const std::string& file, std::size_t number, Microseconds now) {
    std::ifstream stream(file, std::ios::binary);
    // A folder opens, and then has nothing to read.
    if (!stream || (stream.peek() == std::ifstream::traits_type::eof() && stream.bad())) {
        Reading reading;
        reading.source.file = file;
        reading.problems.push_back({file, 0, std::string("cannot be read: ") + std::strerror(errno)});
        return reading;
    }
    return ReadInput(stream, file, number, now);
}

}  // namespace Trace
