// SPDX-License-Identifier: Apache-2.0
// A card under power: its content, and what a reset makes it forget.
#pragma once

#include <optional>

#include "card/ContentStore.h"
#include "card/Refusal.h"
#include "globalplatform/CommandApdu.h"
#include "globalplatform/Scp03.h"
#include "globalplatform/StatusWord.h"

namespace Card {

// What a command gives: data, and a word that is success or a warning.
struct Answer {
    Bytes data;
    StatusWord status = StatusWord::Success;
};

// Between INITIALIZE UPDATE and EXTERNAL AUTHENTICATE.
struct Challenge {
    Bytes hostCryptogram;
    SecureMessaging messaging;
    Bytes dataEncryptionKey;
};

struct Channel {
    SecureMessaging messaging;
    SecurityLevel level;
    Bytes dataEncryptionKey;  // the static one of the set that opened the channel
};

struct Loading {
    Bytes aid;
    Bytes hash;  // of the code, or empty
    bool combined = false;
    unsigned nextBlock = 0;
    Bytes received;
};

struct Storing {
    Bytes aid;
    unsigned nextBlock = 0;
    std::uint8_t structure = 0;
    Bytes remainder;  // the beginning of an object that goes on in the next block
};

struct Listing {
    std::uint8_t subset = 0;
    Bytes criteria;
    std::size_t shown = 0;
};

struct Session {
    Bytes selected;  // AID
    std::optional<Challenge> challenge;
    std::optional<Channel> channel;
    std::optional<Loading> loading;
    std::optional<Storing> storing;
    std::optional<Listing> listing;
    Bytes combinedFile;  // loaded in a combined process that goes on with its installation
};

struct Runtime {
    explicit Runtime(const Options& initialOptions);

    const CardContent& Content() const { return store.Content(); }
    bool IssuerSelected() const { return session.selected == Content().issuerDomain.aid; }

    // Ends the secure channel and what was begun in it; the selection stays.
    void EndChannel();

    // Makes the changed content last. Refuses it when it takes more memory than there is.
    void Commit(CardContent changed);

    Options options;
    ContentStore store;
    Session session;
};

}  // namespace Card
