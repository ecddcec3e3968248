// SPDX-License-Identifier: Apache-2.0
#include "common/Debug.h"

#include <dlog.h>
#include <glib.h>

#include <cstdarg>

const char* LOGGING_TAG = "NavoAgent";

namespace {

// dlog priority of a level, or DLOG_SILENT for a level that is not written. Warnings are dropped although
// debug lines are kept.
log_priority WrittenPriority(int level) {
    switch (level) {
        case LogError:
            return DLOG_ERROR;
        case LogInfo:
            return DLOG_INFO;
        case LogDebug:
            return DLOG_DEBUG;
        default:
            return DLOG_SILENT;
    }
}

void CaptureMessage(const gchar*, GLogLevelFlags, const gchar* message, gpointer) {
    LogPrint(LogTrace, LOCATED_IN("GLogFunc", "*glib*: %s"), message);
}

}  // namespace

void LogPrint(int level, const char* format, ...) {
    const log_priority priority = WrittenPriority(level);
    if (priority == DLOG_SILENT) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    dlog_vprint(priority, LOGGING_TAG, format, arguments);
    va_end(arguments);
}

GlibLogging::GlibLogging() {
    const auto everyLevel =
        static_cast<GLogLevelFlags>(~static_cast<unsigned>(G_LOG_FLAG_RECURSION | G_LOG_FLAG_FATAL));
    handlerId = g_log_set_handler("GLib", everyLevel, CaptureMessage, nullptr);
    LogPrint(LogTrace, LOCATED("*glib*: capture logs %u"), handlerId);
    g_log_set_default_handler(CaptureMessage, nullptr);
}

GlibLogging::~GlibLogging() {
    g_log_remove_handler("GLib", handlerId);
}
