// SPDX-License-Identifier: Apache-2.0
// A caller that speaks to the service without the client library: what it sends is exactly what was asked
// for.
#pragma once

#include <gio/gio.h>

#include <map>
#include <string>
#include <vector>

struct BusAnswer {
    std::map<std::string, std::string> values;  // of a reply
    std::string error;                          // D-Bus name of an error; empty for a reply
    std::string text;                           // the reply as GVariant text, or the error's message

    // Value under "ReturnCode"; the error when there is no reply.
    std::string ReturnCode() const;
};

// A connection of its own. The service knows callers by their process, so all callers of a test are the same
// client, also the client library's sessions.
class BusCaller {
public:
    using Map = std::map<std::string, std::string>;

    // Throws std::runtime_error when the bus does not let it in.
    explicit BusCaller(const std::string& address);
    ~BusCaller();
    BusCaller(const BusCaller&) = delete;
    BusCaller& operator=(const BusCaller&) = delete;

    BusAnswer Session(const std::string& action) { return Call("Session", {{"Session", action}}); }
    BusAnswer Call(const std::string& method, const Map& map);
    BusAnswer Exec(const Map& map, const std::string& resultTag);

    // To that instance alone, never starting another.
    BusAnswer CallInstance(const std::string& uniqueName, const std::string& method, const Map& map);

    BusAnswer CallAnything(
        const std::string& interface, const std::string& method, const std::string& arguments);

    // Any method of the bus with one text argument.
    BusAnswer AskBus(const std::string& method, const std::string& argument);
    // Lets the bus read its configuration and its activation files again; false when it does not.
    bool ReloadBus();
    bool TakeName(const std::string& name);
    std::string OwnerOf(const std::string& name);
    pid_t ProcessOf(const std::string& name);

    // "PATH TEXT" of each signal "Progress" since this was first called.
    std::vector<std::string> Progress();

private:
    BusAnswer Send(
        const std::string& destination, const std::string& path, const std::string& interface,
        const std::string& method, GVariant* arguments, bool mayStart);

    GMainContext* context;
    GDBusConnection* connection = nullptr;
    unsigned subscription = 0;
    std::vector<std::string> progress;
};
