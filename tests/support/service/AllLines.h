// SPDX-License-Identifier: Apache-2.0
// Every line that the service logs, those included that never reach the platform's log. The library that
// holds this leads the service's calls of LogPrint here before they go on to the platform.
#pragma once

#include <string>
#include <vector>

// Lines so far, each as the level's letter (E, W, I, D, T), a blank, and the line. The tests' own thread
// only.
std::vector<std::string>& AllLines();

// The located lines so far of one source below /src/, each as "LEVEL Function: message".
std::vector<std::string> LinesOfSource(const std::string& source);
