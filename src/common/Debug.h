// SPDX-License-Identifier: Apache-2.0
// The service's one logging call.
#pragma once

// Levels of LogPrint. Only Error, Info and Debug reach the log; lines of the other two stay in the code
// and cost a call.
enum LogLevel { LogError = 1, LogWarning = 2, LogInfo = 3, LogDebug = 4, LogTrace = 5 };

// Tag of every line of the service; writable, so that a program that embeds the service can name its own.
extern const char* LOGGING_TAG;

// Writes one line to the platform's log. `format` is handed on unformatted, so a line that its level
// suppresses costs no formatting. Thread-safe.
void LogPrint(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Format and leading arguments of a line that tells its place: LogPrint(LogDebug, LOCATED("cmd: %x"), n).
// NAVO_SOURCE_FILE is the source's path from the project's root and comes from the build.
#define LOCATED(format) LOCATED_IN(__func__, format)

// The same for a line that stands under the name of the function that a helper works for.
#define LOCATED_IN(function, format) LOCATED_AS(NAVO_SOURCE_FILE, function, format)

// The same for a line that stands under another file's name, too.
#define LOCATED_AS(file, function, format) "[%s:%d %s] " format, file, __LINE__, function

// While it lives, GLib's own messages go to the service's log, at a level that the filter drops, instead of
// standard error. GLib's default handler stays replaced afterwards.
class GlibLogging {
public:
    GlibLogging();
    ~GlibLogging();
    GlibLogging(const GlibLogging&) = delete;
    GlibLogging& operator=(const GlibLogging&) = delete;

private:
    unsigned handlerId;
};
