// SPDX-License-Identifier: Apache-2.0
#include "card/ContentStore.h"

#include <stdexcept>

#include "card/Refusal.h"
#include "card/StateText.h"

namespace Card {

namespace {

CardContent Decoded(const std::string& path, const std::string& text) {
    try {
        return DecodeState(text);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error("state file " + path + " is damaged: " + error.what());
    }
}

}  // namespace

CardContent ContentIn(const std::string& stateFile) {
    const std::optional<std::string> text = ReadStateText(stateFile);
    if (!text) {
        throw std::runtime_error("state file " + stateFile + ": there is none yet");
    }
    return Decoded(stateFile, *text);
}

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
    content = Decoded(file->Path(), *text);
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
