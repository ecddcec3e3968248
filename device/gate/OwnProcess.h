// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Device {

// This process's id. The kernel is asked once: every line of the log has it. Thread-safe.
[[nodiscard]] int OwnProcess();

}  // namespace Device
