// Every line that the service logs, those included that never reach the platform's log. The test program
// leads the service's calls of LogPrint here instead of to the platform.
#pragma once

#include <string>
#include <vector>

// Lines so far, each as the level's letter (E, W, I, D, T), a blank, and the line.
std::vector<std::string>& AllLines();
