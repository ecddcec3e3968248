// SPDX-License-Identifier: Apache-2.0
// How a failed comparison shows a result code.
#pragma once

#include <ostream>

#include "app/ResultCode.h"

namespace Na {

inline void PrintTo(ResultCode code, std::ostream* stream) {
    *stream << static_cast<std::int32_t>(code);
}

}  // namespace Na
