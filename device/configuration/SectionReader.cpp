// SPDX-License-Identifier: Apache-2.0
#include "device/configuration/SectionReader.h"

#include "device/configuration/Values.h"

namespace Device {

void SectionReader::Guarded(const Entry& entry, const std::function<void()>& action) {
    try {
        action();
    } catch (const BadValue& error) {
        mistakes.push_back({entry.line, section.Heading() + " " + entry.key, error.what()});
    }
}

void SectionReader::ReadKeys(const Keys& keys) {
    for (const Entry& entry : section.entries) {
        Guarded(entry, [&] {
            std::string known;
            for (const auto& key : keys) {
                if (key.first == entry.key) {
                    key.second(entry.value);
                    return;
                }
                known += (known.empty() ? "" : ", ") + key.first;
            }
            throw BadValue("this key is not known here; the section has " + known);
        });
    }
}

}  // namespace Device
