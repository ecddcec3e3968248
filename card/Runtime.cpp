// SPDX-License-Identifier: Apache-2.0
#include "card/Runtime.h"

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

// What takes no more memory than before is let through also on a card whose memory was made smaller.
void Runtime::Commit(CardContent changed) {
    const std::uint64_t needed = changed.UsedMemory();
    if (needed > options.memory && needed > Content().UsedMemory()) {
        Refuse(StatusWord::NotEnoughMemory);
    }
    store.Commit(std::move(changed));
}

}  // namespace Card
