// SPDX-License-Identifier: Apache-2.0
#include "card/Runtime.h"

#include "card/Memory.h"

namespace Card {

namespace {

Options Checked(const Options& options) {
    Check(options);
    return options;
}

}  // namespace

Runtime::Runtime(const Options& initialOptions) : options(Checked(initialOptions)), store(options) {}

void Runtime::EndChannel() {
    Session rest;
    rest.selected = std::move(session.selected);
    rest.searched = session.searched;
    rest.listing = std::move(session.listing);
    session = std::move(rest);
}

void Runtime::AbortChannel() {
    EndChannel();
    session.aborted = true;
}

bool Runtime::Enter(std::uint8_t number) {
    if (number == logicalChannel) {
        return true;
    }
    const auto entered = others.find(number);
    if (entered == others.end()) {
        return false;
    }
    Session left = std::move(session);
    session = std::move(entered->second);
    others.erase(entered);
    others.emplace(logicalChannel, std::move(left));
    logicalChannel = number;
    return true;
}

void Runtime::Close(std::uint8_t number) {
    if (number == 0) {
        return;
    }
    if (number == logicalChannel) {
        static_cast<void>(Enter(0));
    }
    others.erase(number);
}

void Runtime::Restart(const Bytes& selected) {
    others.clear();
    logicalChannel = 0;
    session = Session();
    session.selected = selected;
}

void Runtime::Commit(CardContent changed) {
    RequireMemory(Content(), changed, options);
    store.Commit(std::move(changed));
}

}  // namespace Card
