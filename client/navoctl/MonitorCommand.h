// SPDX-License-Identifier: Apache-2.0
// "navoctl monitor": a line for each thing that happens around the service.
#pragma once

#include "client/navoctl/Arguments.h"
#include "navo/Client.h"

// Until it is cancelled. Throws Navo::ClientError.
void WatchTheBus(const Arguments& arguments, const Navo::Cancellation& cancellation);
