// SPDX-License-Identifier: Apache-2.0
// What the shared library shows; all else in it is hidden.
#pragma once

#define NAVO_API __attribute__((visibility("default")))
