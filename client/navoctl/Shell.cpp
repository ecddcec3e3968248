// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/Shell.h"

#include <glib.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "client/navoctl/CommandModel.h"
#include "client/navoctl/ExitStatus.h"
#include "client/navoctl/Explain.h"
#include "client/navoctl/LineReader.h"
#include "client/navoctl/Output.h"
#include "client/navoctl/Parsing.h"

namespace {

struct WordsFree {
    void operator()(char** words) const { g_strfreev(words); }
};
struct ErrorFree {
    void operator()(GError* error) const { g_error_free(error); }
};

// Words of a line with quotes as shells have them; nothing, with a complaint, when a quote has no end.
std::optional<std::vector<std::string>> WordsOf(const std::string& line) {
    int count = 0;
    char** raw = nullptr;
    GError* rawError = nullptr;
    const bool isGood = g_shell_parse_argv(line.c_str(), &count, &raw, &rawError) != FALSE;
    const std::unique_ptr<char*, WordsFree> words(raw);
    const std::unique_ptr<GError, ErrorFree> error(rawError);
    if (!isGood) {
        const bool isEmpty = g_error_matches(error.get(), G_SHELL_ERROR, G_SHELL_ERROR_EMPTY_STRING) != FALSE;
        if (isEmpty) {
            return std::vector<std::string>{};
        }
        Complain(error->message);
        return std::nullopt;
    }
    return std::vector<std::string>(raw, raw + count);
}

// What the model offers behind the words of a line that was begun.
class Candidates {
public:
    Candidates() : app("", "navoctl") { BuildModel(app, arguments, values, hints); }

    std::vector<std::string> For(const std::string& begun) const {
        const std::size_t at = begun.find_last_of(' ') + 1;
        const std::string word = begun.substr(at);
        std::vector<std::string> found;
        for (const std::string& offered : CommandLine::WordsBehind(app, begun.substr(0, at), hints)) {
            if (offered.compare(0, word.size(), word) == 0) {
                found.push_back(offered);
            }
        }
        return found;
    }

private:
    CLI::App app;
    Arguments arguments;
    RawValues values;
    CommandLine::Hints hints;
};

class Shell {
public:
    Shell(const Navo::SessionOptions& sessionOptions, const SessionCommand& sessionCommand)
        : options(sessionOptions), command(sessionCommand) {}

    int Run() {
        const Candidates candidates;
        LineReader reader(
            *options.cancellation, [&candidates](const std::string& begun) { return candidates.For(begun); });
        while (const std::optional<std::string> line = reader.Next()) {
            const std::optional<std::vector<std::string>> words = WordsOf(*line);
            if (!words) {
                status = ExitStatus::WrongUsage;
            } else if (!words->empty() && (words->front() == "exit" || words->front() == "quit")) {
                break;
            } else if (!words->empty()) {
                Obey(*words);
            }
            std::fflush(stdout);
        }
        Close();
        return status;
    }

private:
    void Obey(std::vector<std::string> words) {
        words.insert(words.begin(), "navoctl");
        std::vector<char*> values;
        values.reserve(words.size());
        for (std::string& word : words) {
            values.push_back(word.data());
        }
        const std::variant<Arguments, int> parsed =
            ParseArguments(static_cast<int>(values.size()), values.data());
        if (const int* const end = std::get_if<int>(&parsed)) {
            status = *end;
            return;
        }
        const Arguments& arguments = std::get<Arguments>(parsed);
        if (arguments.name == "explain") {
            status = Explain(arguments);
        } else if (arguments.name == "shell" || arguments.name == "doctor" || arguments.name == "monitor") {
            Complain(arguments.name + ": not from within a shell, which holds this process's one session");
            status = ExitStatus::WrongUsage;
        } else {
            Ask(arguments);
        }
    }

    void Ask(const Arguments& arguments) {
        try {
            if (session == nullptr) {
                session = std::make_unique<Navo::Session>(options);
            }
            status = command(arguments, *session);
        } catch (const Navo::ClientError& error) {
            Complain(arguments.name + ": " + error.what());
            status = ExitStatus::Unreachable;
        }
        if (session != nullptr && session->ServiceConnection().empty()) {
            session.reset();  // lost: the next command opens another
        }
    }

    void Close() {
        try {
            if (session != nullptr) {
                session->Close();
            }
        } catch (const Navo::ClientError& error) {
            Complain(std::string("the service may still count this session: ") + error.what());
        }
    }

    Navo::SessionOptions options;
    const SessionCommand& command;
    std::unique_ptr<Navo::Session> session;
    int status = ExitStatus::Success;
};

}  // namespace

int RunShell(const Navo::SessionOptions& options, const SessionCommand& command) {
    return Shell(options, command).Run();
}
