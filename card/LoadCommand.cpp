// SPDX-License-Identifier: Apache-2.0
#include "card/Commands.h"
#include "globalplatform/Aes.h"
#include "globalplatform/Digest.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/LoadFile.h"

namespace Card {

namespace {

// Blocks for data authentication name a security domain that verifies them, and encrypted code one that can
// read it, 11.6.2.3; the card has none. LOAD knows no wrong data, table 11-60: what the file is not is a
// condition.
LoadFile Finished(const Loading& loading) {
    const std::optional<LoadFileParts> parts = ParseLoadFile(loading.received);
    const bool plain = parts && !parts->dataBlock.empty() && parts->before.empty();
    const std::optional<CodeDescription> code = plain ? DescribeCode(parts->dataBlock) : std::nullopt;
    const bool rightName = code && (!code->known || code->package == loading.aid);
    const bool rightHash =
        plain && (loading.hash.empty() ||
                  SameSecret(DigestOfLength(parts->dataBlock, loading.hash.size()), loading.hash));
    if (!rightName || !rightHash) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    return {loading.aid, parts->dataBlock.size(), code->known, code->version, code->modules};
}

// In a combined process, the file waits for its application.
void Finish(Runtime& card, const Loading& loading) {
    LoadFile file = Finished(loading);
    if (loading.combined) {
        card.session.loaded = std::move(file);
        return;
    }
    CardContent changed = card.Content();
    changed.loadFiles.push_back(std::move(file));
    card.Commit(std::move(changed));
}

}  // namespace

// A block that is refused ends the loading, and nothing of it stays. There is no block behind FF.
Answer Load(Runtime& card, const CommandApdu& command) {
    if (!card.session.loading) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    Loading loading = std::move(*card.session.loading);
    card.session.loading.reset();
    if (command.p2 != loading.nextBlock) {
        Refuse(StatusWord::WrongParameters);
    }
    if (command.data.empty()) {
        Refuse(StatusWord::WrongLength);
    }
    if (loading.received.size() + command.data.size() > FreeMemory(card.Content(), card.options)) {
        Refuse(StatusWord::NotEnoughMemory);
    }
    Append(loading.received, command.data);
    ++loading.nextBlock;
    if ((command.p1 & LastBlockFlag) != 0) {
        Finish(card, loading);
    } else {
        card.session.loading = std::move(loading);
    }
    return NoConfirmation();
}

}  // namespace Card
