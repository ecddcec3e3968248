// SPDX-License-Identifier: Apache-2.0
// A caller that sends the service exactly what it is told to, fit or unfit, and judges nothing.
#pragma once

#include <gio/gio.h>

#include <chrono>
#include <string>

#include "navo/Client.h"

namespace Conformance {

struct Answer {
    Navo::Map values;   // of a reply
    std::string error;  // D-Bus name of an error; empty for a reply
    std::string text;   // the reply as text, or the error's message

    // Value under "ReturnCode"; without a reply the error, in angle brackets.
    [[nodiscard]] std::string ReturnCode() const;
};

// A connection of its own. All callers of a process are one client to the service.
class Caller {
public:
    // Throws Navo::ClientError when the bus does not let it in.
    Caller(const std::string& address, std::chrono::milliseconds limitOfAnswers);
    ~Caller();
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

    Answer Session(const std::string& action);
    // Opens as a client has to that may meet a service on its way out: again, once that one has gone.
    Answer Open();
    Answer Cmd(const Navo::Map& request);
    Answer Exec(const Navo::Map& request, const std::string& tag);

    // `arguments` is a tuple as GVariant's text form has it.
    Answer Anything(const char* interface, const char* member, const char* arguments);

    // Unique name of who has the service's name; empty when nobody has.
    [[nodiscard]] std::string Owner();
    // Whether the owner goes within the limit of answers.
    [[nodiscard]] bool AwaitEndOf(const std::string& owner);

private:
    [[nodiscard]] bool IsKnown();
    Answer Send(const char* interface, const char* member, GVariant* arguments);
    static void OnOwnerChange(
        GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant*, gpointer);

    const int limit;  // ms
    GMainContext* context;
    GDBusConnection* connection = nullptr;
    guint subscription = 0;
};

}  // namespace Conformance
