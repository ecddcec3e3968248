// SPDX-License-Identifier: Apache-2.0
#include "bench/inside/PlainPlatform.h"

#include <dlog.h>
#include <fcntl.h>
#include <nfc.h>
#include <nfc_internal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

Inside::Logged logged;

}  // namespace

const Inside::Logged& Inside::WrittenToLog() {
    return logged;
}

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" {
int __wrap_dlog_vprint(log_priority prio, const char* tag, const char* fmt, va_list ap)
    __attribute__((format(printf, 3, 0)));
int __wrap_dlog_print(log_priority prio, const char* tag, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
int __wrap_nfc_se_send_apdu_internal(
    nfc_se_h handle, unsigned char* cmd, unsigned int cmd_len, unsigned char** resp, unsigned int* resp_len);
}

int __wrap_dlog_vprint(log_priority, const char*, const char* fmt, va_list ap) {
    static const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    std::array<char, 4096> line;  // the longest that a log takes; left as it is, for it is written over
    const int length = std::vsnprintf(line.data(), line.size(), fmt, ap);
    const std::size_t kept = std::min(static_cast<std::size_t>(length), line.size() - 1);
    ++logged.lines;
    logged.characters += kept;
    return static_cast<int>(write(nowhere, line.data(), kept));
}

int __wrap_dlog_print(log_priority prio, const char* tag, const char* fmt, ...) {
    va_list arguments;
    va_start(arguments, fmt);
    const int result = __wrap_dlog_vprint(prio, tag, fmt, arguments);
    va_end(arguments);
    return result;
}

int __wrap_nfc_se_send_apdu_internal(
    nfc_se_h, unsigned char* cmd, unsigned int cmd_len, unsigned char** resp, unsigned int* resp_len) {
    *resp = static_cast<unsigned char*>(std::malloc(cmd_len));
    std::copy_n(cmd, cmd_len, *resp);
    (*resp)[cmd_len - 2] = 0x90;
    (*resp)[cmd_len - 1] = 0x00;
    *resp_len = cmd_len;
    return NFC_ERROR_NONE;
}
// NOLINTEND(bugprone-reserved-identifier)
