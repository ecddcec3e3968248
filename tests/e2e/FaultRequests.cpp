// SPDX-License-Identifier: Apache-2.0
#include "tests/e2e/FaultRequests.h"

#include <algorithm>

#include "tests/support/world/Script.h"

namespace {

constexpr char TestService[] = "test.service";
constexpr char Query[] = "80CA9F7F00";

}  // namespace

Navo::Map RequestOf(Command command) {
    switch (command) {
        case Command::Script:
            return {{"Cmd", "65"}, {"ServiceId", TestService}, {"FcId", "A"}, {"pushReq", "p"}};
        case Command::Cplc:
            return {{"Cmd", "67"}};
        case Command::Memory:
            return {{"Cmd", "68"}};
        case Command::Eligibility:
            return {{"Cmd", "69"}};
        case Command::PhoneInfo:
            break;
    }
    return {{"Cmd", "1F4"}};
}

std::string FourCommands() {
    return ScriptOf({{Query}, {Query, Query}, {Query}});
}

int DescriptorsAtRest(pid_t service) {
    constexpr int Looks = 20;
    int lowest = World::HoldingsOf(service).descriptors;
    int looks = 0;
    Eventually([&] {
        const int now = World::HoldingsOf(service).descriptors;
        looks = now < lowest ? 0 : looks + 1;
        lowest = std::min(now, lowest);
        return looks == Looks;
    });
    return lowest;
}
