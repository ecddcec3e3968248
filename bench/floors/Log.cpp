// SPDX-License-Identifier: Apache-2.0
#include "bench/floors/Log.h"

#include <dlog.h>

#include <cstdarg>

namespace {

constexpr char Tag[] = "NavoAgent";
bool silent = false;

}  // namespace

void Floor::BeSilent() {
    silent = true;
}

void Floor::Debug(const char* format, ...) {
    if (silent) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    dlog_vprint(DLOG_DEBUG, Tag, format, arguments);
    va_end(arguments);
}

void Floor::Info(const char* format, ...) {
    if (silent) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    dlog_vprint(DLOG_INFO, Tag, format, arguments);
    va_end(arguments);
}
