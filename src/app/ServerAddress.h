// The stored base URL of the key-management server; the platform keeps it.
#pragma once

#include <string>

namespace Na {

// Stores the URL as given, unchecked. A failure is logged only.
void SetNavoAddress(const std::string& url);

// Empty when nothing is stored or nothing can be read.
std::string GetNavoAddress();

}  // namespace Na
