// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/LineReader.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

#if NAVO_LINE_EDITING
#include <histedit.h>

#include <clocale>
#include <cwchar>
#endif

namespace {

constexpr int LookMilliseconds = 200;  // how long a cancellation may go unnoticed

// Whether there is something to read; false when it is cancelled.
bool WaitForInput(const Navo::Cancellation& cancellation) {
    while (!cancellation.IsCancelled()) {
        pollfd input = {STDIN_FILENO, POLLIN, 0};
        const int count = poll(&input, 1, LookMilliseconds);
        if (count > 0 || (count < 0 && errno != EINTR)) {
            return true;
        }
    }
    return false;
}

// One byte; nothing at the end.
std::optional<char> ReadByte(const Navo::Cancellation& cancellation) {
    char byte = 0;
    if (!WaitForInput(cancellation) || read(STDIN_FILENO, &byte, 1) != 1) {
        return std::nullopt;
    }
    return byte;
}

#if NAVO_LINE_EDITING

struct EditEnd {
    void operator()(EditLine* edit) const { el_end(edit); }
};
struct HistoryEnd {
    void operator()(History* history) const { history_end(history); }
};

#endif

}  // namespace

struct LineReader::Inner {
    Inner(const Navo::Cancellation& givenCancellation, Completer givenCompleter)
        : cancellation(givenCancellation), completer(std::move(givenCompleter)) {}

    const Navo::Cancellation& cancellation;
    Completer completer;
#if NAVO_LINE_EDITING
    std::unique_ptr<History, HistoryEnd> history{history_init()};
    std::unique_ptr<EditLine, EditEnd> edit;

    static Inner& Of(EditLine* edit) {
        void* data = nullptr;
        el_get(edit, EL_CLIENTDATA, &data);
        return *static_cast<Inner*>(data);
    }

    static const char* Prompt(EditLine*) { return "navo> "; }

    // One character of as many bytes as the locale says.
    static int ReadCharacter(EditLine* edit, wchar_t* character) {
        std::mbstate_t state{};
        for (;;) {
            const std::optional<char> byte = ReadByte(Of(edit).cancellation);
            if (!byte) {
                return 0;
            }
            const std::size_t length = std::mbrtowc(character, &*byte, 1, &state);
            if (length != static_cast<std::size_t>(-2)) {
                return length == static_cast<std::size_t>(-1) ? -1 : 1;
            }
        }
    }

    // Goes on as far as all candidates agree; shows them where they do not.
    static unsigned char Complete(EditLine* edit, int) {
        const LineInfo* const line = el_line(edit);
        const std::string begun(line->buffer, line->cursor);
        const std::vector<std::string> candidates = Of(edit).completer(begun);
        if (candidates.empty()) {
            return CC_ERROR;
        }
        const std::size_t typed = begun.size() - (begun.find_last_of(' ') + 1);
        std::string common = candidates.front();
        for (const std::string& candidate : candidates) {
            const auto differs =
                std::mismatch(common.begin(), common.end(), candidate.begin(), candidate.end());
            common.erase(differs.first, common.end());
        }
        if (common.size() > typed) {
            const bool isWhole = candidates.size() == 1 && common.back() != '=' && common.back() != '/';
            el_insertstr(edit, (common.substr(typed) + (isWhole ? " " : "")).c_str());
            return CC_REFRESH;
        }
        std::fputc('\n', stdout);
        for (const std::string& candidate : candidates) {
            std::fprintf(stdout, "%s  ", candidate.c_str());
        }
        std::fputc('\n', stdout);
        return CC_REDISPLAY;
    }

    void SetUp() {
        std::setlocale(LC_CTYPE, "");  // what a character is on this terminal
        HistEvent event{};
        ::history(history.get(), &event, H_SETSIZE, 500);
        edit.reset(el_init("navoctl", stdin, stdout, stderr));
        el_set(edit.get(), EL_CLIENTDATA, this);
        el_set(edit.get(), EL_PROMPT, Prompt);
        el_set(edit.get(), EL_EDITOR, "emacs");
        el_set(edit.get(), EL_SIGNAL, 0);
        el_set(edit.get(), EL_HIST, ::history, history.get());
        el_set(edit.get(), EL_GETCFN, ReadCharacter);
        el_set(edit.get(), EL_ADDFN, "navo-complete", "Complete a word", Complete);
        el_set(edit.get(), EL_BIND, "^I", "navo-complete", nullptr);
    }

    // A key may be among what was typed: the history lasts as long as the program and goes into no file.
    std::optional<std::string> Edited() {
        int count = 0;
        const char* const text = el_gets(edit.get(), &count);
        if (text == nullptr || count <= 0) {
            return std::nullopt;
        }
        std::string line(text, static_cast<std::size_t>(count));
        if (line.find_first_not_of(" \n") != std::string::npos) {
            HistEvent event{};
            ::history(history.get(), &event, H_ENTER, text);
        }
        if (!line.empty() && line.back() == '\n') {
            line.pop_back();
        }
        return line;
    }
#endif

    std::optional<std::string> Plain() const {
        std::string line;
        for (;;) {
            const std::optional<char> byte = ReadByte(cancellation);
            if (!byte) {
                return line.empty() ? std::nullopt : std::optional<std::string>(line);
            }
            if (*byte == '\n') {
                return line;
            }
            line += *byte;
        }
    }
};

LineReader::LineReader(const Navo::Cancellation& cancellation, Completer completer)
    : inner(std::make_unique<Inner>(cancellation, std::move(completer))) {
#if NAVO_LINE_EDITING
    if (isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0) {
        inner->SetUp();
    }
#endif
}

LineReader::~LineReader() = default;

std::optional<std::string> LineReader::Next() {
#if NAVO_LINE_EDITING
    if (inner->edit != nullptr) {
        return inner->Edited();
    }
#endif
    return inner->Plain();
}
