// SPDX-License-Identifier: Apache-2.0
// What goes over a secure element's channel.
#pragma once

#include <string>

namespace Device {

// One command and its response, as upper-case hexadecimal text.
struct Exchange {
    std::string command;
    std::string response;

    bool operator==(const Exchange& other) const {
        return command == other.command && response == other.response;
    }
};

}  // namespace Device
