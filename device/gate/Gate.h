// SPDX-License-Identifier: Apache-2.0
// The one way into every platform function.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "device/configuration/Configuration.h"

namespace Device {

// One call of a platform function: the configuration that holds for it, and the result that a fault gives it.
struct Visit {
    std::shared_ptr<const Configuration> device;
    std::optional<int> fault;
};

// When a call looks whether the configuration's file changed. A line of the log stands between other calls,
// which look anyway, so that it looks itself only when nothing has for a tenth of a second.
enum class Look { AtEachCall, NowAndThen };

// Reads the configuration again if its file changed, counts the call and decides whether the function's fault
// applies to it. `function` is a canonical name. Thread-safe.
[[nodiscard]] Visit Enter(const char* function, Look look);

// The same without a call: nothing is counted and no fault applies.
[[nodiscard]] Visit Enquire();

// Calls of a function since the configuration was read.
[[nodiscard]] std::uint64_t CallCount(const std::string& canonicalName);

// Called for an exception that must not leave a platform function.
void ReportException(const char* function, const std::exception& error);

// Whether a function does its work on a device whose configuration cannot be followed. Those that release
// something do, so that no mistake there becomes a leak here; so do the log and the error texts.
enum class OnBrokenDevice { Fails, Works };

// Every platform function has this shape: its fault, else its failure on a broken device, else its body. What
// the body throws becomes its failure. `faulted` makes the function's result from a fault's number.
template <typename Result, typename Faulted, typename Body>
Result Pass(
    const char* function, OnBrokenDevice broken, Result failure, Faulted faulted, Body body,
    Look look = Look::AtEachCall) noexcept {
    try {
        const Visit visit = Enter(function, look);
        if (visit.fault) {
            return faulted(*visit.fault);
        }
        if (visit.device->Broken() && broken == OnBrokenDevice::Fails) {
            return failure;
        }
        return body(*visit.device);
    } catch (const std::exception& error) {
        ReportException(function, error);
        return failure;
    }
}

// The usual case: the function returns a code, and a fault is that code.
template <typename Body>
int Call(const char* function, int failure, Body body) noexcept {
    return Pass(function, OnBrokenDevice::Fails, failure, [](int fault) { return fault; }, body);
}

// The same for a function that gives something back to the platform.
template <typename Body>
int Release(const char* function, int failure, Body body) noexcept {
    return Pass(
        function, OnBrokenDevice::Works, failure, [](int fault) { return fault; },
        [&](const Configuration&) { return body(); });
}

}  // namespace Device
