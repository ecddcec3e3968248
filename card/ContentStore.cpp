// SPDX-License-Identifier: Apache-2.0
#include "card/ContentStore.h"

#include <stdexcept>

#include "card/Refusal.h"
#include "card/StateText.h"

namespace Card {

ContentStore::ContentStore(const Options& options) : content(options) {
    if (options.stateFile.empty()) {
        return;
    }
    file.emplace(options.stateFile);
    const std::optional<std::string> text = file->Read();
    if (!text) {
        file->Write(EncodeState(content));
        return;
    }
    try {
        content = DecodeState(*text);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error("state file " + file->Path() + " is damaged: " + error.what());
    }
}

void ContentStore::Commit(CardContent changed) {
    if (file) {
        try {
            file->Write(EncodeState(changed));
        } catch (const std::runtime_error&) {
            Refuse(StatusWord::MemoryFailure);
        }
    }
    content = std::move(changed);
}

}  // namespace Card
