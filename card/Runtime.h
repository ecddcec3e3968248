// SPDX-License-Identifier: Apache-2.0
// A card under power: its content, and what a reset makes it forget.
#pragma once

#include <map>
#include <optional>

#include "card/ContentStore.h"
#include "card/Refusal.h"
#include "globalplatform/CommandApdu.h"
#include "globalplatform/Scp03.h"
#include "globalplatform/StatusWord.h"

namespace Card {

// The basic logical channel and three supplementary ones.
constexpr std::uint8_t LogicalChannels = 4;

// What a command gives: data, and a word that is success or a warning.
struct Answer {
    Bytes data;
    StatusWord status = StatusWord::Success;
};

// Between INITIALIZE UPDATE and EXTERNAL AUTHENTICATE.
struct Challenge {
    Association keyOwner;  // the domain whose keys these are
    Bytes hostCryptogram;
    SecureMessaging messaging;
    Bytes dataEncryptionKey;
};

struct Channel {
    SecureMessaging messaging;
    SecurityLevel agreed;     // by EXTERNAL AUTHENTICATE
    SecurityLevel level;      // in an R-MAC session, more than that
    Bytes dataEncryptionKey;  // the static one of the set that opened the channel
};

// A command that comes in parts, as far as it has come.
struct Chain {
    CommandApdu beginning;  // the first part's header
    Bytes data;
};

// By whose authority content is managed; 9.1.3.
struct Mandate {
    Association manager;
    bool delegated = false;  // by a token, and so answered with a confirmation
    Bytes tokenNumber;
    std::size_t leastDigestLength = 0;  // of a load file that the token is for
};

struct Loading {
    Bytes aid;
    Association domain;  // that gets the file
    Bytes hash;          // of the code, or empty
    bool combined = false;
    Bytes order;  // what a token that comes later is over, too
    Mandate mandate;
    unsigned nextBlock = 0;
    Bytes received;
};

// In a combined process that goes on with its installation.
struct Loaded {
    LoadFile file;
    std::size_t hashLength = 0;  // 0 without a hash
    Bytes order;
};

// A key, or a component of one, that STORE DATA announces before its value, 11.11.4.
struct KeyTemplate {
    std::uint8_t type = 0;
    std::size_t length = 0;  // of the value without its padding
    std::uint8_t identifier = 0;
    std::uint8_t version = 0;
    Bytes usage;
    Bytes access;
    Bytes checkValue;
    Bytes reference;  // of a curve, in place of a value
};

struct Storing {
    unsigned nextBlock = 0;
    std::uint8_t structure = 0;
    Bytes remainder;  // the beginning of an object that goes on in the next block
    std::vector<KeyTemplate> announced;
    std::vector<Bytes> keyValues;  // of the first that are announced, one for each
};

struct Listing {
    std::uint8_t subset = 0;
    Bytes criteria;
    std::size_t shown = 0;
};

struct Session {
    Bytes selected;         // AID
    bool searched = false;  // by SELECT, so that the next one can be searched for
    std::optional<Listing> listing;

    std::optional<Challenge> challenge;
    std::optional<Channel> channel;
    bool aborted = false;  // the channel, but not terminated: nothing is carried out until it is
    std::optional<Chain> chain;
    std::optional<Loading> loading;
    std::optional<Loaded> loaded;
    Bytes personalized;  // whom STORE DATA goes to; empty: the domain itself
    std::optional<Storing> storing;
};

struct Runtime {
    explicit Runtime(const Options& initialOptions);

    const CardContent& Content() const { return store.Content(); }

    // What is selected on this channel; nothing when it was deleted. A domain, or nothing when it is none.
    const Application* Selected() const { return Content().FindSelectable(session.selected); }
    const Application* SelectedDomain() const { return Content().FindDomain(session.selected); }

    // Terminates the secure channel and what was begun in it; the selection and its listing stay.
    void EndChannel();

    // Aborts the secure channel: Amendment D, 5.6. Until it is terminated, every command is refused.
    void AbortChannel();

    // Makes the changed content last. Refuses it when it takes more memory than there is, or than an
    // application may have.
    void Commit(CardContent changed);

    // Makes the session of a logical channel the one that commands see. False when it is not open.
    [[nodiscard]] bool Enter(std::uint8_t number);

    // Closes a supplementary channel; from it, to the basic one, which stays.
    void Close(std::uint8_t number);

    [[nodiscard]] bool IsOpen(std::uint8_t number) const {
        return number == logicalChannel || others.count(number) != 0;
    }

    // As after a reset: the basic channel alone, with this selected.
    void Restart(const Bytes& selected);

    Options options;
    ContentStore store;
    Session session;                  // of the logical channel that the command came on
    std::uint8_t logicalChannel = 0;  // which that is
    std::map<std::uint8_t, Session> others;
};

}  // namespace Card
