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
    const Bytes selected = session.selected;
    session = Session();
    session.selected = selected;
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
