// SPDX-License-Identifier: Apache-2.0
// What dlopen's family leaves to its callers.
#pragma once

#include <dlfcn.h>

namespace Na {

// Why the latest call failed; empty when the loader has nothing to say.
inline const char* DynamicLoaderError() {
    const char* const error = dlerror();
    return error != nullptr ? error : "";
}

}  // namespace Na
