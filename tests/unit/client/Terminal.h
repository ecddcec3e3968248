// SPDX-License-Identifier: Apache-2.0
// A terminal for a program.
#pragma once

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

// A terminal's two ends; reading goes on until the program has left its end.
class Terminal {
public:
    Terminal() : ownEnd(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        if (ownEnd < 0 || grantpt(ownEnd) != 0 || unlockpt(ownEnd) != 0) {
            return;
        }
        char name[128];
        if (ptsname_r(ownEnd, name, sizeof name) == 0) {
            programsEnd = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
        }
    }
    ~Terminal() { close(ownEnd); }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    bool IsThere() const { return programsEnd >= 0; }
    int ProgramsEnd() const { return programsEnd; }
    std::string ReadAll() const {
        std::string text;
        char buffer[512];
        for (ssize_t count = 0; (count = read(ownEnd, buffer, sizeof buffer)) > 0;) {
            text.append(buffer, static_cast<std::size_t>(count));
        }
        return text;
    }

private:
    int ownEnd;
    int programsEnd = -1;
};
