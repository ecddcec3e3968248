// SPDX-License-Identifier: Apache-2.0
// The lines that the service writes about its work, written by a floor.
#pragma once

// Format and leading arguments of a line that tells its place.
#define PLACED(file, line, function, format) "[%s:%d %s] " format, file, line, function

namespace Floor {

// Nothing is written from then on.
void BeSilent();

void Debug(const char* format, ...) __attribute__((format(printf, 1, 2)));
void Info(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace Floor
