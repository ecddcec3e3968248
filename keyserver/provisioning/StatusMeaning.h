// Status words in words, for the log.
#pragma once

#include <string>

namespace KeyServer {

// By ISO 7816-4, 5.1.3 and GlobalPlatform Card 2.3.1, 11.1.3; "an unknown status word" for any
// other.
std::string StatusMeaning(const std::string& statusWord);

}  // namespace KeyServer
