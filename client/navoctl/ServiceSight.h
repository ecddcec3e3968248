// SPDX-License-Identifier: Apache-2.0
// What can be seen of the service from outside: its process, its log, its stored address. All of it is a look
// at files that may belong to somebody else, so each part may be missing.
#pragma once

#include <optional>
#include <string>

class ServiceSight {
public:
    // `processId` of the service as the bus tells it; 0 where nobody knows.
    explicit ServiceSight(long processId);

    // Where a person finds the log: "journalctl -u navoagent", or a file's name.
    [[nodiscard]] std::string LogPlace() const;

    // Of the log what was written since this object was made, when it is a file that may be read.
    [[nodiscard]] std::string NewLogText() const;

    // Folder that stands in front of the service's fixed locations, empty on a device; nothing when a service
    // for the desk is not there to be asked for its own.
    const std::optional<std::string>& Root() const { return root; }

    // The stored address of the server; empty when none is stored, nothing when it cannot be read.
    [[nodiscard]] std::optional<std::string> StoredAddress() const;

    // The file that describes the virtual device; empty on a device or when it cannot be seen.
    [[nodiscard]] std::string DeviceFile() const;

private:
    [[nodiscard]] std::string Variable(const std::string& name) const;

    std::string process;  // "/proc/2817"; empty when unknown
    std::optional<std::string> root;
    std::string logFile;
    long logSize = 0;
};

// Line of a log that says why a server was not reached, in the words of a person; empty when there is none.
[[nodiscard]] std::string TransportReason(const std::string& logText);
