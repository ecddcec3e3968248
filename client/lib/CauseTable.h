// SPDX-License-Identifier: Apache-2.0
// Rows of the table of causes.
#pragma once

#include <vector>

#include "navo/Causes.h"

namespace Navo {

struct CauseRow {
    const char* code;
    const char* meaning;  // of a status word null: the standards' own words hold
    const char* lookAt;
};

// In the order in which they are looked through: a family stands behind its members.
[[nodiscard]] std::vector<CauseRow> CauseRows(CauseKind kind);

}  // namespace Navo
