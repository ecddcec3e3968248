// SPDX-License-Identifier: Apache-2.0
// "navoctl doctor": one look at each thing that the service needs.
#pragma once

#include <string>
#include <vector>

#include "client/navoctl/Arguments.h"
#include "client/navoctl/ServiceSight.h"
#include "navo/Client.h"

enum class Health {
    Good,
    Bad,
    Unknown,  // not looked at, because something before it failed, or because this user may not look
};

struct Finding {
    const char* what;  // one word for people and programs: "bus"
    Health health;
    std::string text;    // what was seen
    std::string remedy;  // what to do; empty where nothing is to be done
};

// Looks at everything and prints it; the exit status, 1 when something is bad.
[[nodiscard]] int Doctor(const Arguments& arguments, const Navo::Cancellation& cancellation);

// The single looks. Those at the service take its session, null where there is none.
[[nodiscard]] Finding LookAtSchema(const ServiceSight& service);
[[nodiscard]] Finding LookAtAddress(const ServiceSight& service);
[[nodiscard]] Finding LookAtServer(const ServiceSight& service);
[[nodiscard]] Finding LookAtCard(const ServiceSight& service, Navo::Session* session);
[[nodiscard]] Finding LookAtClock();
