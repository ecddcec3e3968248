// SPDX-License-Identifier: Apache-2.0
// Library functions that fail when a test says so; otherwise the library's own ones run.
#pragma once

// The step of the next digest that fails.
enum class FailingDigest { None, Init, Update, Final };
extern FailingDigest failingDigest;

extern bool jsonGeneratorFails;
