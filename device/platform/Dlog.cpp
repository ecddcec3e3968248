#include <dlog.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "Gate.h"
#include "LogWriter.h"

using Device::Configuration;
using Device::OnBrokenDevice;
using Device::Pass;

namespace {

std::string Format(const char* format, va_list arguments) __attribute__((format(printf, 1, 0)));

std::string Format(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0) {
        return std::string("(cannot be formatted) ") + format;
    }
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
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
                Letters[priority - DLOG_VERBOSE], tag == nullptr ? "" : tag, Format(format, arguments));
        });
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
