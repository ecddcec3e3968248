// What a card holds: load files, applications, keys, stored data, and the memory that they take.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "globalplatform/Bytes.h"

namespace Card {

using namespace GlobalPlatform;

// Life-cycle states of GlobalPlatform, as they stand in GET STATUS.
namespace LifeCycle {
constexpr std::uint8_t Loaded = 0x01;
constexpr std::uint8_t Installed = 0x03;
constexpr std::uint8_t Selectable = 0x07;
constexpr std::uint8_t LockedFlag = 0x80;
constexpr std::uint8_t CardReady = 0x01;
constexpr std::uint8_t CardInitialized = 0x07;
constexpr std::uint8_t CardSecured = 0x0F;
constexpr std::uint8_t CardLocked = 0x7F;
constexpr std::uint8_t CardTerminated = 0xFF;
}  // namespace LifeCycle

struct LoadFile {
    Bytes aid;
    std::uint64_t size;  // of its code, in bytes
};

// Something that can be selected: the issuer security domain or an installed application.
struct Application {
    Bytes aid;
    Bytes loadFile;
    Bytes module;
    Bytes privileges;  // 1 or 3 bytes
    std::uint8_t state = LifeCycle::Installed;
    std::uint64_t size = 0;
    std::map<std::uint32_t, Bytes> data;  // by tag or by data grouping identifier
};

struct Key {
    std::uint8_t type;
    std::uint8_t length;
};

// Type and length of each key by its identifier; the values themselves are not kept.
using KeySet = std::map<std::uint8_t, Key>;

class CardContent {
public:
    CardContent();

    Application issuerDomain;
    std::vector<LoadFile> loadFiles;
    std::vector<Application> applications;  // in the order of their installation
    std::map<std::uint8_t, KeySet> keys;    // by version number

    LoadFile* FindLoadFile(const Bytes& aid);
    Application* FindApplication(const Bytes& aid);
    bool IsTaken(const Bytes& aid) const;

    // Bytes of non-volatile memory in use.
    std::uint64_t UsedMemory() const;
};

// What an application takes beside its stored data.
constexpr std::uint64_t InstanceMemory = 512;

bool BeginsWith(const Bytes& aid, const Bytes& beginning);

}  // namespace Card
