// SPDX-License-Identifier: Apache-2.0
#include "trace/ApduText.h"

#include <algorithm>

#include "trace/Hidden.h"

namespace Trace {

namespace {

constexpr std::size_t ItemPrefix = 3;
constexpr std::size_t LongestApdu = 65544;  // in digits
constexpr std::string_view FailureMark = "21_";

}  // namespace

std::vector<std::string> ItemsOf(std::string_view set) {
    std::vector<std::string> items;
    for (std::size_t begin = 0; begin < set.size();) {
        const std::size_t end = std::min(set.find('/', begin + 1), set.size());
        const std::size_t first = std::min(begin + ItemPrefix, end);
        items.emplace_back(set.substr(first, end - first));
        begin = end;
    }
    return items;
}

std::string RelayFailureOf(const std::string& set) {
    return set.rfind(FailureMark, 0) == 0 ? set.substr(FailureMark.size()) : std::string();
}

std::string MistakeIn(std::string_view set) {
    const std::vector<std::string> items = ItemsOf(set);
    for (std::size_t index = 0; index < items.size(); ++index) {
        const std::string& item = items[index];
        const std::string which = "command " + std::to_string(index + 1) + " of the set ";
        if (item.size() < 2 || item.size() > LongestApdu) {
            return which + "has " + std::to_string(item.size()) + " digits";
        }
        if (!SeeCommand(item)) {
            return which + "is not written in pairs of hexadecimal digits";
        }
    }
    return {};
}

bool MayBeSameSet(std::string_view left, std::string_view right) {
    if (!IsHidden(left) && !IsHidden(right)) {
        return left == right;
    }
    const std::vector<std::string> ones = ItemsOf(left);
    const std::vector<std::string> others = ItemsOf(right);
    return ones.size() == others.size() &&
           std::equal(ones.begin(), ones.end(), others.begin(), MayBeSameText);
}

}  // namespace Trace
