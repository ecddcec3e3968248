// SPDX-License-Identifier: Apache-2.0
// What a card holds beyond its power: load files, applications, keys, stored data, states, and the memory
// that they take.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "card/Key.h"
#include "card/Options.h"
#include "globalplatform/Bytes.h"
#include "globalplatform/LifeCycle.h"

namespace Card {

using namespace GlobalPlatform;

// Of the first byte of an application's privileges, 11.1.2.
constexpr std::uint8_t SecurityDomainPrivilege = 0x80;
constexpr std::uint8_t CardResetPrivilege = 0x04;

constexpr std::size_t PrivilegesLength = 3;
constexpr std::uint32_t GreatestSequenceCounter = 0xFFFFFF;

// By tag or by data grouping identifier.
using StoredData = std::map<std::uint32_t, Bytes>;

struct LoadFile {
    Bytes aid;
    std::uint64_t size = 0;        // of its code, in bytes
    bool describesItself = false;  // its code, with the next two; else its modules are what is installed
    Bytes version;                 // major, minor
    std::vector<Bytes> modules;
};

// Something that can be selected: the issuer security domain, which has the card's state, or an installed
// application.
struct Application {
    Bytes aid;
    Bytes loadFile;
    Bytes module;
    Bytes privileges = Bytes(PrivilegesLength);
    std::uint8_t state = LifeCycle::Installed;
    std::uint64_t parameters = 0;  // their length
    Bytes implicitSelection;       // a byte for each parameter, 11.1.7
    StoredData data;

    [[nodiscard]] bool IsLocked() const { return (state & LifeCycle::LockedFlag) != 0; }
    [[nodiscard]] bool HasCardReset() const { return (privileges.front() & CardResetPrivilege) != 0; }
};

// Keys that share a version.
struct KeySet {
    std::uint32_t sequenceCounter = 0;
    std::map<std::uint8_t, Key> keys;  // by identifier

    // Whether a secure channel can be opened with it: three AES keys of one length; Amendment D, 6.1.
    [[nodiscard]] bool Complete() const;
    [[nodiscard]] StaticKeys Static() const;  // of a complete one
};

struct CardContent {
    // A card as its issuer hands it out: one set of keys, and nothing installed.
    explicit CardContent(const Options& options);

    Application issuerDomain;
    std::vector<LoadFile> loadFiles;
    std::vector<Application> applications;    // in the order of their installation
    std::map<std::uint8_t, KeySet> keySets;   // by version
    std::uint32_t failedAuthentications = 0;  // since the last that succeeded

    // 9EFE80, but for card reset while an application has it; 6.6.2.
    [[nodiscard]] Bytes IssuerPrivileges() const;

    [[nodiscard]] const LoadFile* FindLoadFile(const Bytes& aid) const;
    [[nodiscard]] const Application* FindApplication(const Bytes& aid) const;
    [[nodiscard]] Application* FindApplication(const Bytes& aid);
    bool IsTaken(const Bytes& aid) const;

    // The complete set of the lowest version, or the end.
    [[nodiscard]] std::map<std::uint8_t, KeySet>::const_iterator FirstCompleteSet() const;

    // Bytes of non-volatile memory that are in use beyond what a card has at first.
    [[nodiscard]] std::uint64_t UsedMemory() const;
};

// What an entry takes beside its code, its parameters and its value.
constexpr std::uint64_t LoadFileMemory = 64;
constexpr std::uint64_t InstanceMemory = 512;
constexpr std::uint64_t ObjectMemory = 4;

// 0 when there is less memory than the content takes.
[[nodiscard]] std::uint64_t FreeMemory(const CardContent& content, const Options& options);

[[nodiscard]] bool BeginsWith(const Bytes& aid, const Bytes& beginning);

}  // namespace Card
