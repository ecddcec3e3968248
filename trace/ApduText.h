// SPDX-License-Identifier: Apache-2.0
// Sets of commands and responses as the service and its server exchange them: items of "/", two characters
// and an APDU in hexadecimal digits.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Trace {

// The items without what stands before each APDU; nothing is checked.
[[nodiscard]] std::vector<std::string> ItemsOf(std::string_view set);

// The words of a service that relayed nothing, "SD API Exception."; empty for a set of responses.
[[nodiscard]] std::string RelayFailureOf(const std::string& set);

// What keeps the service from sending the commands of a set, with the command's number from 1; empty when
// nothing does.
[[nodiscard]] std::string MistakeIn(std::string_view set);

// Whether both may be the same set: nothing that both show differs.
[[nodiscard]] bool MayBeSameSet(std::string_view left, std::string_view right);

}  // namespace Trace
