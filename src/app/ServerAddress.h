// SPDX-License-Identifier: Apache-2.0
// The stored base URL of the key-management server; the platform keeps it.
#pragma once

#include <string>

namespace Na {

// Stores the URL as given, unchecked. A failure is logged only, and leaves what was stored before.
void SetNavoAddress(const std::string& url);

// Empty when nothing is stored or nothing can be read.
std::string GetNavoAddress();

// False, with a line that says why, when something is stored that cannot be read just now: nobody may take it
// for an empty address then.
bool IsNavoAddressReadable();

}  // namespace Na
