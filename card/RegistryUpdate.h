// SPDX-License-Identifier: Apache-2.0
// Changes of the registry without a change of code: INSTALL [for extradition] and [for registry update],
// GlobalPlatform Card 2.3.1, 9.4.
#pragma once

#include "card/Runtime.h"

namespace Card {

[[nodiscard]] Answer InstallForExtradition(Runtime& card, const CommandApdu& command);
[[nodiscard]] Answer InstallForRegistryUpdate(Runtime& card, const CommandApdu& command);

}  // namespace Card
