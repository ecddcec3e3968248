#include "card/Commands.h"
#include "card/LoadFileData.h"
#include "globalplatform/Aes.h"

namespace Card {

namespace {

// Blocks for data authentication ask for the hash, which binds them to the code, 11.5.2.3.1. Their signatures
// are for security domains with the privilege to verify them, of which the card has none.
LoadFile Finished(const Loading& loading) {
    const std::optional<LoadFileData> data = ReadLoadFile(loading.received);
    if (!data || (data->authenticated && loading.hash.empty())) {
        Refuse(StatusWord::WrongData);
    }
    if (!loading.hash.empty() && !SameSecret(Sha256(data->code), loading.hash)) {
        Refuse(StatusWord::WrongData);
    }
    std::optional<std::vector<Bytes>> modules = ModulesOfCode(data->code);
    if (!modules) {
        Refuse(StatusWord::WrongData);
    }
    return {loading.aid, data->code.size(), std::move(*modules)};
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
