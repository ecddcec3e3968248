// SPDX-License-Identifier: Apache-2.0
// Lines to people and programs.
#pragma once

#include <cstdio>
#include <string>

// In one write, so that the lines of several programs on one pipe do not mix. On a terminal without control
// characters: texts of the service come in part from a server.
void WriteLine(FILE* stream, const std::string& text);

// "navoctl: text" on standard error, in colour where that is wanted.
void Complain(const std::string& text);

// Writes out what is still held. False, with a message, when standard output did not take all.
[[nodiscard]] bool FlushOutput();
