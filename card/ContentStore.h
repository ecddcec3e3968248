// SPDX-License-Identifier: Apache-2.0
// A card's content, in memory and in its file.
#pragma once

#include <optional>

#include "card/CardContent.h"
#include "card/StateFile.h"

namespace Card {

// What a state file holds, without a claim on it: a card that uses it replaces it as a whole. Throws
// std::runtime_error, with file and cause, when there is none, or a damaged one.
[[nodiscard]] CardContent ContentIn(const std::string& stateFile);

class ContentStore {
public:
    // Takes the content from the state file, or writes that of a new card into it. Throws std::runtime_error,
    // with file and cause, when the file is damaged, in use elsewhere or not to be written; a damaged file
    // stays as it is.
    explicit ContentStore(const Options& options);

    const CardContent& Content() const { return content; }

    // When it returns, the changed content lasts. Throws Refusal (memory failure) when it cannot be written,
    // and the content is as before.
    void Commit(CardContent changed);

private:
    std::optional<StateFile> file;
    CardContent content;
};

}  // namespace Card
