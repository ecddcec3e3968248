// SPDX-License-Identifier: Apache-2.0
// How the card says no.
#pragma once

#include "globalplatform/StatusWord.h"

namespace Card {

// Thrown to end the command that is being carried out.
struct Refusal {
    GlobalPlatform::StatusWord status;
};

[[noreturn]] inline void Refuse(GlobalPlatform::StatusWord status) {
    throw Refusal{status};
}

}  // namespace Card
