// SPDX-License-Identifier: Apache-2.0
// What is on a card, in words.
#pragma once

#include <string>

#include "card/CardContent.h"

namespace Card {

// Lines for people; what a key or a data object holds is no part of them.
[[nodiscard]] std::string Listing(const CardContent& content, const Options& options);

}  // namespace Card
