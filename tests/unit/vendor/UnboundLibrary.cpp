// SPDX-License-Identifier: Apache-2.0
// A library that needs a function which nobody has: it can only be loaded by those who do not bind it at
// once.
extern "C" int nobodyHasThisFunction();

#define ENTRY_POINT extern "C" __attribute__((visibility("default")))

ENTRY_POINT int openSecureSpi() {
    return nobodyHasThisFunction();
}

ENTRY_POINT int dalm_releaseGetKeySession() {
    return nobodyHasThisFunction();
}
