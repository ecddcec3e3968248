// SPDX-License-Identifier: Apache-2.0
#include "device/gate/Aliases.h"

#include "device/gate/Permanent.h"

namespace Device {

const GlobalPlatform::Masking& Aliases() {
    static const GlobalPlatform::Masking& aliases = Permanent<GlobalPlatform::Masking>();
    return aliases;
}

}  // namespace Device
