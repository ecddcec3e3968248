// SPDX-License-Identifier: Apache-2.0
// Surroundings of a target that runs parts of the service: a folder and a device of its own, and no log.
#pragma once

#include "tests/support/service/DeviceWorld.h"

// Made at its first use, for the rest of the process.
DeviceWorld& ServiceWorld();
