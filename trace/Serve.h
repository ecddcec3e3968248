// SPDX-License-Identifier: Apache-2.0
// Shows a story to a browser of this machine, and tells it when there is more.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Trace {

struct Served {
    std::vector<std::string> files;      // that are watched
    std::function<std::string()> page;   // as HTML
    std::function<std::string()> story;  // the head, then one entry a line, as the page takes it
};

// Listens on this port of the loopback interface, a free one for 0, says where on standard output and, where
// it has a name, in a file, and answers until SIGINT or SIGTERM. Throws std::system_error when it cannot.
void Serve(const Served& served, unsigned port, const std::string& portFile);

}  // namespace Trace
