// SPDX-License-Identifier: Apache-2.0
// The last line after a failure: what it was about, and where to look.
#pragma once

#include <string>

#include "client/navoctl/Arguments.h"
#include "client/navoctl/ServiceSight.h"
#include "navo/Client.h"
#include "navo/Outcome.h"

[[nodiscard]] std::string HintFor(
    const Arguments& arguments, const Navo::Outcome& outcome, const ServiceSight& service);
[[nodiscard]] std::string HintFor(const Navo::ClientError& error, const ServiceSight& service);
