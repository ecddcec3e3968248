// SPDX-License-Identifier: Apache-2.0
#include "device/gate/Aliases.h"

#include <cstdlib>
#include <cstring>

#include "device/gate/Permanent.h"

namespace Device {

const GlobalPlatform::Masking& Aliases() {
    static const GlobalPlatform::Masking& aliases = Permanent<GlobalPlatform::Masking>();
    return aliases;
}

bool ShowsSecrets() {
    const char* const variable = std::getenv("NAVO_MASK");
    return variable != nullptr && std::strcmp(variable, "none") == 0;
}

}  // namespace Device
