// SPDX-License-Identifier: Apache-2.0
#include "tests/fuzz/ServiceWorld.h"

#include <cstdlib>

DeviceWorld& ServiceWorld() {
    static DeviceWorld world;
    static const bool silent = [] { return setenv("NAVO_DLOG", "/dev/null", 1) == 0; }();
    static_cast<void>(silent);
    return world;
}
