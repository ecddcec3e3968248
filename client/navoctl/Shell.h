// SPDX-License-Identifier: Apache-2.0
// "navoctl shell": several commands in one session.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "client/navoctl/Arguments.h"
#include "navo/Client.h"

// Carries out one command that needs the session, and reports what comes of it; the exit status.
using SessionCommand = std::function<int(const Arguments& arguments, Navo::Session& session)>;

// Reads commands from standard input until its end, "exit" or the cancellation; the exit status of the last
// one. The session is opened for the first command that needs it, and again after it was lost.
[[nodiscard]] int RunShell(const Navo::SessionOptions& options, const SessionCommand& command);
