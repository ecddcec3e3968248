// SPDX-License-Identifier: Apache-2.0
// The platform's error numbers, by name and with their texts.
#pragma once

#include <optional>
#include <string>

namespace Device {

// Number of an enumerator such as "NFC_ERROR_OPERATION_FAILED".
[[nodiscard]] std::optional<int> ErrorCodeNamed(const std::string& name);

// "Unknown error" for a number that no module knows. Lives as long as the program.
[[nodiscard]] const char* ErrorText(int code);

}  // namespace Device
