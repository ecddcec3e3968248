// SPDX-License-Identifier: Apache-2.0
// All that the options name to be served, read as one.
#pragma once

#include <string>
#include <vector>

#include "keyserver/Options.h"
#include "keyserver/service/Dialogue.h"

namespace KeyServer {

// Throws ScriptError with every mistake of every file.
[[nodiscard]] Catalogue Load(const Options& options);

// A line for each service: "serves demo.card: look at the card".
[[nodiscard]] std::vector<std::string> ServedLines(const Catalogue& catalogue);

// Reads everything and prints what is wrong with it; the exit status.
[[nodiscard]] int Check(const Options& options);

}  // namespace KeyServer
