// SPDX-License-Identifier: Apache-2.0
// What the shared library shows; all else in it is hidden.
#pragma once

// In front of what others may use.
#define NAVO_API __attribute__((visibility("default")))

// What is inside of something shown, and still the library's own.
#define NAVO_HIDDEN __attribute__((visibility("hidden")))
