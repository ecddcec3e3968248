// SPDX-License-Identifier: Apache-2.0
// What the configuration file says about the device.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "card/Options.h"
#include "device/configuration/KeyFile.h"
#include "device/names/Bytes.h"

namespace Device {

// An empty text means that the platform has no answer.
struct Facts {
    std::string modelName = "NAVO Virtual Wearable";
    std::string buildString = "NAVOVW1ATA1";
    std::string deviceName = "Virtual Wearable";
    std::string locale = "en_GB";
    std::string salesCode = "NAV";
    std::string manufacturer = "Orvenco";
    std::string platformName = "Tizen";
    std::string platformVersion = "2.3.1";
};

// One SIM slot. Without a country code the slot is empty, but the modem's IMEI is there.
struct Sim {
    std::string mcc;
    std::string mnc;
    std::string imei;
    bool roaming = false;
};

// Numbers are those of the connection API, so that a state outside its lists can be had too.
struct Network {
    int type = 1;
    std::optional<int> wifiState;
    std::optional<int> cellularState;
    std::optional<int> bluetoothState;
    std::optional<int> ethernetState;
    std::string proxyIpv4;
    std::string proxyIpv6;
};

// One of the answers to a command, and for how many times it is given; without a number for ever.
struct ScriptedAnswer {
    Bytes response;
    bool fromCard = false;  // the card itself answers, `response` is unused
    std::optional<std::uint64_t> times;
};

// Answers to the commands whose text is `pattern`, or begins with it.
struct AnswerRule {
    std::string pattern;  // upper-case hexadecimal digits
    bool prefix = false;
    std::vector<ScriptedAnswer> answers;
};

enum class BackEnd { Software, Pcsc, Replay };

// Protocols of ISO 7816-3 that a card may be spoken to in.
enum class CardProtocol { Any, T0, T1 };

// Which card of which reader, and how.
struct ReaderSettings {
    std::string name;  // or a part of it; empty for the first reader with a card
    bool exclusive = true;
    CardProtocol protocol = CardProtocol::Any;

    bool operator==(const ReaderSettings& other) const {
        return name == other.name && exclusive == other.exclusive && protocol == other.protocol;
    }
};

struct CardSettings {
    bool present = true;
    BackEnd backEnd = BackEnd::Software;
    Card::Options software;
    bool namesKeys = false;  // by itself, not in a profile
    ReaderSettings reader;
    std::string recordingFile;  // to replay
    std::string recordFile;     // where all exchanges go; empty: nowhere
    std::vector<AnswerRule> answers;
};

// The maker's two in-house libraries; docs/in-house-libraries.md.
struct InHouseLibraries {
    std::set<std::string, std::less<>> leftOut;   // file names of libraries, and entry points
    std::optional<std::int32_t> convertedLength;  // what a conversion reports instead of the right length
    std::string keyFile;
    bool terminatesUid = true;
};

struct Package {
    std::string id;
    std::optional<std::string> version;
    std::optional<std::string> distributorRoot;  // base64 of the certificate's DER form
    std::vector<std::string> applications;
    std::vector<std::string> executables;
};

struct Fault {
    int result = 0;
    std::uint64_t from = 1;
    std::optional<std::uint64_t> times;

    [[nodiscard]] bool AppliesTo(std::uint64_t call) const {
        return call >= from && (!times || call - from < *times);
    }
};

struct Configuration {
    std::string path;
    std::uint64_t number = 0;  // of the reading in this process; another number means another file
    Facts facts;
    std::map<std::string, std::string> values;  // by vconf key
    std::vector<Sim> sims;
    Network network;
    std::string trustStore;  // certificates that HTTPS trusts; empty: libcurl's own
    bool nfcSupported = true;
    CardSettings embeddedElement;
    CardSettings uicc;
    InHouseLibraries libraries;
    bool trustEnvironment = false;
    std::map<std::string, Package> packages;
    std::map<std::string, int> visibilities;           // by upper-case SHA-256 fingerprint of the root
    std::map<std::string, Fault, std::less<>> faults;  // by canonical function name
    std::vector<Mistake> mistakes;

    // A device whose description cannot be followed works nowhere, so that no mistake passes unnoticed.
    [[nodiscard]] bool Broken() const { return !mistakes.empty(); }

    // The plain device: what holds when the file says nothing else.
    Configuration();
};

// `path` stands in front of relative file names inside the text.
[[nodiscard]] Configuration ReadConfiguration(const std::string& path, const std::string& text);

// "path:line: [section] key: problem".
[[nodiscard]] std::string Describe(const Configuration& configuration, const Mistake& mistake);

}  // namespace Device
