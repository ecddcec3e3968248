// SPDX-License-Identifier: Apache-2.0
// Objects that outlive everything.
#pragma once

#include <memory>

namespace Device {

// An object that is never destroyed: the service calls the platform before its own globals exist and until
// the very end of the process, so what the platform keeps must be there all the time. Keep the result in a
// function's static reference.
template <typename Type, typename... Arguments>
Type& Permanent(Arguments... arguments) {
    return *std::make_unique<Type>(arguments...).release();
}

}  // namespace Device
