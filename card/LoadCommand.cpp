// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "card/Commands.h"
#include "globalplatform/Aes.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/LoadFile.h"
#include "globalplatform/Sha256.h"

namespace Card {

namespace {

// Blocks for data authentication ask for the hash, which binds them to the code, 11.5.2.3.1. Their signatures
// are for security domains with the privilege to verify them, of which the card has none.
LoadFile Finished(const Loading& loading) {
    const std::optional<LoadFileParts> parts = ParseLoadFile(loading.received);
    const bool whole = parts && !parts->dataBlock.empty() &&
                       std::all_of(parts->before.begin(), parts->before.end(), IsAuthenticationBlock);
    if (!whole || (!parts->before.empty() && loading.hash.empty())) {
        Refuse(StatusWord::WrongData);
    }
    if (!loading.hash.empty() && !SameSecret(Sha256(parts->dataBlock), loading.hash)) {
        Refuse(StatusWord::WrongData);
    }
    std::optional<std::vector<Bytes>> modules = ModulesOfCode(parts->dataBlock);
    if (!modules) {
        Refuse(StatusWord::WrongData);
    }
    return {loading.aid, parts->dataBlock.size(), std::move(*modules)};
}

}  // namespace

// A block that is refused ends the loading, and nothing of it stays.
Answer Load(Runtime& card, const CommandApdu& command) {
    if (!card.session.loading) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    Loading loading = std::move(*card.session.loading);
    card.session.loading.reset();
    const bool last = command.p1 == LastBlockFlag;
    if ((!last && command.p1 != 0) || command.p2 != (loading.nextBlock & 0xFF)) {
        Refuse(StatusWord::WrongParameters);
    }
    if (command.data.empty()) {
        Refuse(StatusWord::WrongData);
    }
    if (loading.received.size() + command.data.size() > FreeMemory(card.Content(), card.options)) {
        Refuse(StatusWord::NotEnoughMemory);
    }
    Append(loading.received, command.data);
    ++loading.nextBlock;
    if (!last) {
        card.session.loading = std::move(loading);
        return NoConfirmation();
    }
    CardContent changed = card.Content();
    changed.loadFiles.push_back(Finished(loading));
    card.Commit(std::move(changed));
    if (loading.combined) {
        card.session.combinedFile = loading.aid;
    }
    return NoConfirmation();
}

}  // namespace Card
