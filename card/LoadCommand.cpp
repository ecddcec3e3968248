// SPDX-License-Identifier: Apache-2.0
#include "card/Commands.h"
#include "card/Delegation.h"
#include "card/Hierarchy.h"
#include "card/LoadVerification.h"
#include "card/Memory.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/LoadFile.h"

namespace Card {

namespace {

// LOAD knows no wrong data, table 11-60: what the file is not is a condition.
LoadFile Finished(const CardContent& content, const Loading& loading) {
    const Bytes code = VerifiedCode(content, loading);
    const std::optional<CodeDescription> description = DescribeCode(code);
    if (!description || (description->known && description->package != loading.aid)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    return {
        loading.aid,        loading.domain,       code.size(),
        description->known, description->version, description->modules,
    };
}

// Meanwhile another logical channel may have taken the name, or the domain that gets the file.
void RequireRoomFor(const CardContent& content, const Loading& loading) {
    const Application* domain = content.Associated(loading.domain);
    if (content.IsTaken(loading.aid) || domain == nullptr || !IsOperational(content, *domain)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
}

// In a combined process, the file waits for its application.
Answer Finish(Runtime& card, const Loading& loading) {
    RequireRoomFor(card.Content(), loading);
    LoadFile file = Finished(card.Content(), loading);
    if (loading.combined) {
        card.session.loaded = Loaded{std::move(file), loading.hash.size(), loading.order};
        return NoConfirmation();
    }
    CardContent changed = card.Content();
    changed.loadFiles.push_back(std::move(file));
    const Bytes domain = changed.Associated(loading.domain)->aid;
    return CommitAndConfirm(card, std::move(changed), loading.mandate, {loading.aid, domain});
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
        return Finish(card, loading);
    }
    card.session.loading = std::move(loading);
    return NoConfirmation();
}

}  // namespace Card
