// SPDX-License-Identifier: Apache-2.0
// What is set up before main and taken down after it.
#pragma once

namespace Tizen {

// Referring to this is what links the start-up objects: a program that does not call it may lose them.
void RequireStartUp();

}  // namespace Tizen
