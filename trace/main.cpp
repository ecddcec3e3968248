// SPDX-License-Identifier: Apache-2.0
// navo-trace: what went between client, service, server and card, of recordings and logs.
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "trace/Diff.h"
#include "trace/Html.h"
#include "trace/Join.h"
#include "trace/Judge.h"
#include "trace/Options.h"
#include "trace/Output.h"
#include "trace/Serve.h"

namespace {

namespace fs = std::filesystem;
using namespace Trace;

constexpr int ExitSuccess = 0;
constexpr int ExitFailure = 1;

void Say(const std::string& text) {
    std::cerr << "navo-trace: " << text << "\n";
}

Microseconds Now() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// A folder stands for its files, in the order of their names.
std::vector<std::string> FilesOf(const std::vector<std::string>& inputs) {
    std::vector<std::string> files;
    for (const std::string& input : inputs) {
        std::error_code error;
        if (!fs::is_directory(input, error)) {
            files.push_back(input);
            continue;
        }
        std::vector<std::string> inside;
        for (const fs::directory_entry& each : fs::directory_iterator(input)) {
            if (each.is_regular_file()) {
                inside.push_back(each.path().string());
            }
        }
        std::sort(inside.begin(), inside.end());
        files.insert(files.end(), inside.begin(), inside.end());
    }
    return files;
}

Story StoryOf(const std::vector<std::string>& inputs) {
    std::vector<Reading> readings;
    for (const std::string& file : FilesOf(inputs)) {
        readings.push_back(ReadFile(file, readings.size(), Now()));
    }
    Story story = Join(std::move(readings));
    Judge(story);
    AddUp(story);
    return story;
}

// Says what is wrong with the inputs; whether one of them gave nothing at all.
bool SayProblems(const Story& story, Mask& mask) {
    for (const Problem& problem : story.problems) {
        const std::string line = problem.line != 0 ? ":" + std::to_string(problem.line) : "";
        Say(problem.file + line + ": " + mask.Words(problem.text));
    }
    return std::any_of(story.sources.begin(), story.sources.end(), [&](const Source& source) {
        const bool isEmpty = source.lines == 0;
        return source.form == Form::Unknown &&
               (!isEmpty || std::any_of(
                                story.problems.begin(), story.problems.end(),
                                [&](const Problem& each) { return each.file == source.file; }));
    });
}

void Write(std::ostream& stream, const Options& options, const Story& story, Describer& describer) {
    if (options.format == "text") {
        WriteText(stream, story, describer);
    } else if (options.format == "json") {
        WriteJson(stream, story, describer);
    } else if (options.format == "mermaid") {
        WriteMermaid(stream, story, describer);
    } else if (options.format == "har") {
        WriteHar(stream, story, describer);
    } else {
        WriteHtml(stream, story, describer);
    }
}

int Show(const Options& options, const ChannelKeys& keys) {
    const Story story = StoryOf(options.inputs);
    Describer describer(options.hides, keys);
    const bool lacks = SayProblems(story, describer.Masking());
    if (options.output.empty()) {
        Write(std::cout, options, story, describer);
        std::cout.flush();
    } else {
        std::ofstream file(options.output, std::ios::binary);
        Write(file, options, story, describer);
        file.close();
        if (!file) {
            Say(options.output + ": cannot be written");
            return ExitFailure;
        }
    }
    if (!std::cout) {
        Say("standard output cannot be written");
        return ExitFailure;
    }
    return lacks ? ExitFailure : ExitSuccess;
}

int Compare(const Options& options, const ChannelKeys& keys) {
    const Story left = StoryOf({options.inputs.at(0)});
    const Story right = StoryOf({options.inputs.at(1)});
    Mask mask(options.hides);
    const bool leftLacks = SayProblems(left, mask);
    const bool rightLacks = SayProblems(right, mask);
    const bool same = WriteDifference(std::cout, left, right, options.hides, keys);
    return same && !leftLacks && !rightLacks ? ExitSuccess : ExitFailure;
}

// What a file lacks while it grows shows on the page.
std::string WrittenNow(
    const Options& options, const ChannelKeys& keys, void (*write)(std::ostream&, const Story&, Describer&)) {
    const Story story = StoryOf(options.inputs);
    Describer describer(options.hides, keys);
    std::ostringstream stream;
    write(stream, story, describer);
    return stream.str();
}

int Follow(const Options& options, const ChannelKeys& keys) {
    Serve(
        {FilesOf(options.inputs), [&] { return WrittenNow(options, keys, WriteLivePage); },
         [&] { return WrittenNow(options, keys, WriteLines); }},
        options.port, options.portFile);
    return ExitSuccess;
}

}  // namespace

int main(int count, char** arguments) {
    Options options;
    if (const std::optional<int> status = ParseOptions(count, arguments, options)) {
        return *status;
    }
    try {
        const ChannelKeys keys = options.keys.empty() ? ChannelKeys() : ReadKeys(options.keys);
        if (options.serves) {
            return Follow(options, keys);
        }
        return options.differs ? Compare(options, keys) : Show(options, keys);
    } catch (const std::exception& error) {
        Say(error.what());
        return ExitFailure;
    }
}
