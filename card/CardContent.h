// SPDX-License-Identifier: Apache-2.0
// What a card holds beyond its power: load files, applications, security domains with their keys, stored data
// and states.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "card/Key.h"
#include "card/Options.h"
#include "globalplatform/Bytes.h"
#include "globalplatform/LifeCycle.h"
#include "globalplatform/Privilege.h"

namespace Card {

using namespace GlobalPlatform;

constexpr std::uint32_t GreatestSequenceCounter = 0xFFFFFF;

// By tag or by data grouping identifier.
using StoredData = std::map<std::uint32_t, Bytes>;

// Which security domain an entry is associated with: its AID, or nothing for the issuer domain, so that
// another name of that changes no entry.
using Association = Bytes;

struct LoadFile {
    Bytes aid;
    Association domain;
    std::uint64_t size = 0;        // of its code, in bytes; 0 when it came with the card
    bool describesItself = false;  // its code, with the next two; else its modules are what is installed
    Bytes version;                 // major, minor
    std::vector<Bytes> modules;

    // The only file that does makes security domains.
    [[nodiscard]] bool CameWithTheCard() const { return size == 0; }
};

// Keys that share a version.
struct KeySet {
    std::uint32_t sequenceCounter = 0;
    std::map<std::uint8_t, Key> keys;  // by identifier

    // Whether a secure channel can be opened with it: three AES keys of one length; Amendment D, 6.1.
    [[nodiscard]] bool Complete() const;
    [[nodiscard]] StaticKeys Static() const;  // of a complete one
};

using KeySets = std::map<std::uint8_t, KeySet>;  // by version

// How much memory an application may have; 9.7.
struct MemoryLimits {
    std::uint64_t reserved = 0;          // its own, whether it uses it or not
    std::optional<std::uint64_t> quota;  // beyond which it gets none
};

// Something that can be selected: the issuer security domain, which has the card's state, a supplementary
// one, or another application.
struct Application {
    Bytes aid;
    Association domain;
    Bytes loadFile;
    Bytes module;
    Bytes privileges = Bytes(PrivilegesLength);
    std::uint8_t state = LifeCycle::Installed;
    std::uint64_t parameters = 0;  // their length
    Bytes implicitSelection;       // a byte for each parameter, 11.1.7
    MemoryLimits memory;
    MemoryLimits volatileMemory;
    StoredData data;
    std::map<std::string, std::uint32_t> counters;  // of its program, by name

    // Of a security domain.
    KeySets keySets;
    std::uint32_t failedAuthentications = 0;  // since the last that succeeded
    std::uint16_t confirmations = 0;          // receipts that it gave
    std::uint8_t restrictions = 0;            // of what it may still manage, 11.5.2.3.7

    [[nodiscard]] bool Has(std::uint32_t privilege) const;
    [[nodiscard]] bool IsDomain() const { return Has(Privilege::SecurityDomain); }
    [[nodiscard]] bool IsLocked() const { return (state & LifeCycle::LockedFlag) != 0; }

    // The complete set of the lowest version, or the end.
    [[nodiscard]] KeySets::const_iterator FirstCompleteSet() const;
    [[nodiscard]] bool OpensChannels() const { return FirstCompleteSet() != keySets.end(); }
};

struct CardContent {
    // A card as its issuer hands it out: one set of keys, and the file that security domains are made of.
    explicit CardContent(const Options& options);

    Application issuerDomain;
    std::vector<LoadFile> loadFiles;
    std::vector<Application> applications;  // in the order of their installation
    std::uint8_t restrictions = 0;          // of what any domain may still manage, 11.5.2.3.7

    // 9EFE80, but for what an application has that only one can have; 6.6.2.
    [[nodiscard]] Bytes IssuerPrivileges() const;

    // The application with a privilege that the issuer domain gives away, or nothing.
    [[nodiscard]] const Application* HolderOf(std::uint32_t privilege) const;

    // What can be selected on a card that is locked; 6.6.2 and 9.6.3.
    [[nodiscard]] const Application& FinalApplication() const;

    [[nodiscard]] const LoadFile* FindLoadFile(const Bytes& aid) const;
    [[nodiscard]] LoadFile* FindLoadFile(const Bytes& aid);
    [[nodiscard]] const Application* FindApplication(const Bytes& aid) const;
    [[nodiscard]] Application* FindApplication(const Bytes& aid);

    // An application or the issuer domain.
    [[nodiscard]] const Application* FindSelectable(const Bytes& aid) const;
    [[nodiscard]] Application* FindSelectable(const Bytes& aid);

    // A security domain with this AID.
    [[nodiscard]] const Application* FindDomain(const Bytes& aid) const;

    // The domain that is meant, or nothing when there is none (any more).
    [[nodiscard]] const Application* Associated(const Association& association) const;
    [[nodiscard]] Application* Associated(const Association& association);

    // How entries name that domain.
    [[nodiscard]] Association AssociationWith(const Application& domain) const;

    [[nodiscard]] bool IsIssuer(const Application& domain) const { return domain.aid == issuerDomain.aid; }

    // Also when it is terminated.
    [[nodiscard]] bool IsLocked() const { return issuerDomain.state >= LifeCycle::CardLocked; }

    bool IsTaken(const Bytes& aid) const;
};

}  // namespace Card
