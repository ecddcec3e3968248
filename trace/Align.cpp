// SPDX-License-Identifier: Apache-2.0
#include "trace/Align.h"

#include <algorithm>
#include <utility>

namespace Trace {

namespace {

constexpr std::size_t Window = 32;

class Aligner {
public:
    explicit Aligner(const Sequences& both) : sequences(both), partners(both.left, NoPartner) {}

    std::vector<std::size_t> Partners() {
        while (left < sequences.left && right < sequences.right) {
            if (sequences.same(left, right)) {
                partners[left++] = right++;
            } else if (!MeetNearby() && !MeetFarAhead()) {
                ++left;
            }
        }
        return std::move(partners);
    }

private:
    bool AreSame(std::size_t leftAt, std::size_t rightAt) const {
        return leftAt < sequences.left && rightAt < sequences.right && sequences.same(leftAt, rightAt);
    }

    bool MeetNearby() {
        for (std::size_t distance = 1; distance <= Window; ++distance) {
            for (std::size_t ahead = 0; ahead <= distance; ++ahead) {
                if (AreSame(left + distance - ahead, right + ahead)) {
                    left += distance - ahead;
                    right += ahead;
                    return true;
                }
            }
        }
        return false;
    }

    // One alone may be there by chance.
    bool MeetFarAhead() {
        Index();
        const auto places = byKey.find(sequences.leftKey(left));
        if (places == byKey.end()) {
            return false;
        }
        const auto place = std::lower_bound(places->second.begin(), places->second.end(), right);
        if (place == places->second.end() || !AreSame(left, *place) ||
            (left + 1 < sequences.left && !AreSame(left + 1, *place + 1))) {
            return false;
        }
        right = *place;
        return true;
    }

    void Index() {
        if (isIndexed) {
            return;
        }
        isIndexed = true;
        for (std::size_t index = 0; index < sequences.right; ++index) {
            const std::string key = sequences.rightKey(index);
            if (!key.empty()) {
                byKey[key].push_back(index);
            }
        }
    }

    const Sequences& sequences;
    std::vector<std::size_t> partners;
    std::size_t left = 0;
    std::size_t right = 0;
    bool isIndexed = false;
    std::map<std::string, std::vector<std::size_t>> byKey;
};

}  // namespace

std::vector<std::size_t> Align(const Sequences& sequences) {
    return Aligner(sequences).Partners();
}

}  // namespace Trace
