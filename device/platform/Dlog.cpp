// SPDX-License-Identifier: Apache-2.0
#include <dlog.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <string>

#include "device/gate/Gate.h"
#include "device/gate/LogWriter.h"
#include "device/platform/LogSecrets.h"

using Device::Configuration;
using Device::OnBrokenDevice;
using Device::Pass;

namespace {

constexpr std::size_t UsualLength = 512;

std::string Format(const char* format, va_list arguments) __attribute__((format(printf, 1, 0)));

std::string Format(const char* format, va_list arguments) {
    std::array<char, UsualLength> usual;  // enough for all but the few lines that show a whole message
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(usual.data(), usual.size(), format, again);
    va_end(again);
    if (length < 0) {
        return std::string("(cannot be formatted) ") + format;
    }
    const auto characters = static_cast<std::size_t>(length);
    if (characters < usual.size()) {
        return std::string(usual.data(), characters);
    }
    std::string text(characters + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    return text;
}

// A fault loses the line.
int Print(const char* function, log_priority priority, const char* tag, const char* format, va_list arguments)
    __attribute__((format(printf, 4, 0)));

int Print(
    const char* function, log_priority priority, const char* tag, const char* format, va_list arguments) {
    return Pass(
        function, OnBrokenDevice::Works, static_cast<int>(DLOG_ERROR_NOT_PERMITTED),
        [](int fault) { return fault; },
        [&](const Configuration&) -> int {
            if (format == nullptr || priority < DLOG_VERBOSE || priority > DLOG_FATAL) {
                return DLOG_ERROR_INVALID_PARAMETER;
            }
            constexpr char Letters[] = "VDIWEF";
            return Device::WriteLog(
                Letters[priority - DLOG_VERBOSE], tag == nullptr ? "" : tag,
                Device::WithoutSecrets(Format(format, arguments)));
        },
        Device::Look::NowAndThen);
}

}  // namespace

int dlog_vprint(log_priority prio, const char* tag, const char* fmt, va_list ap) {
    return Print("dlog_vprint", prio, tag, fmt, ap);
}

int dlog_print(log_priority prio, const char* tag, const char* fmt, ...) {
    va_list arguments;
    va_start(arguments, fmt);
    const int result = Print("dlog_print", prio, tag, fmt, arguments);
    va_end(arguments);
    return result;
}
