// SPDX-License-Identifier: Apache-2.0
#pragma once

// What navoctl ends with. After a signal it ends by that signal.
namespace ExitStatus {
constexpr int Success = 0;
constexpr int Failure = 1;  // reported by the service; or a result that could not be written
constexpr int WrongUsage = 2;
constexpr int Unreachable = 3;  // no bus, no service, no answer
}  // namespace ExitStatus
