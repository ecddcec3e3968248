// SPDX-License-Identifier: Apache-2.0
#include <cert-svc/ccert.h>
#include <net_connection.h>

#include <algorithm>
#include <climits>
#include <functional>

#include "device/configuration/CardSection.h"
#include "device/configuration/CertificateFile.h"
#include "device/configuration/Configuration.h"
#include "device/configuration/SectionReader.h"
#include "device/configuration/Values.h"
#include "device/names/FunctionNames.h"

namespace Device {

namespace {

// Beside the configuration, where that names no other.
constexpr char KeyFileName[] = "navo-device-keys.conf";

// Numbers beside the platform's own can be had as far as its enumerations can hold them: reading more would
// be undefined in the caller.
constexpr int HighestConnectionType = 7;
constexpr int HighestLinkState = 3;
constexpr int HighestCellularState = 7;

// Functions, because the service asks for the device before this file's own globals would exist.
const Choices& ConnectionTypes() {
    static const Choices choices = {
        {"disconnected", CONNECTION_TYPE_DISCONNECTED},
        {"wifi", CONNECTION_TYPE_WIFI},
        {"cellular", CONNECTION_TYPE_CELLULAR},
        {"ethernet", CONNECTION_TYPE_ETHERNET},
        {"bluetooth", CONNECTION_TYPE_BT}};
    return choices;
}

// Wi-Fi, Bluetooth and Ethernet number their states alike.
const Choices& LinkStates() {
    static const Choices choices = {
        {"deactivated", CONNECTION_WIFI_STATE_DEACTIVATED},
        {"disconnected", CONNECTION_WIFI_STATE_DISCONNECTED},
        {"connected", CONNECTION_WIFI_STATE_CONNECTED}};
    return choices;
}

const Choices& CellularStates() {
    static const Choices choices = {
        {"out-of-service", CONNECTION_CELLULAR_STATE_OUT_OF_SERVICE},
        {"flight-mode", CONNECTION_CELLULAR_STATE_FLIGHT_MODE},
        {"roaming-off", CONNECTION_CELLULAR_STATE_ROAMING_OFF},
        {"call-only-available", CONNECTION_CELLULAR_STATE_CALL_ONLY_AVAILABLE},
        {"available", CONNECTION_CELLULAR_STATE_AVAILABLE},
        {"connected", CONNECTION_CELLULAR_STATE_CONNECTED}};
    return choices;
}

const Choices& Visibilities() {
    static const Choices choices = {
        {"developer", CERTSVC_VISIBILITY_DEVELOPER},
        {"test", CERTSVC_VISIBILITY_TEST},
        {"public", CERTSVC_VISIBILITY_PUBLIC},
        {"partner", CERTSVC_VISIBILITY_PARTNER},
        {"partner-operator", CERTSVC_VISIBILITY_PARTNER_OPERATOR},
        {"partner-manufacturer", CERTSVC_VISIBILITY_PARTNER_MANUFACTURER},
        {"platform", CERTSVC_VISIBILITY_PLATFORM}};
    return choices;
}

// One of the maker's libraries, and what it offers.
struct Library {
    const char* file;
    std::vector<std::string> entryPoints;
};

const Library& SecureSpiLibrary() {
    static const Library library = {"liborv_sem.so", {"openSecureSpi", "closeSecureSpi", "handleCCM"}};
    return library;
}

const Library& KeyProvisioningLibrary() {
    static const Library library = {
        "liborv_dalm.so",
        {"dalm_keyInjection", "dalm_injectedKeyVerification", "dalm_readInjectedKeyUID",
         "dalm_createGetKeySession", "dalm_releaseGetKeySession"}};
    return library;
}

class Reader {
public:
    explicit Reader(const std::string& path) { configuration.path = path; }

    void Read(const Section& section);

    Configuration configuration;

private:
    std::map<std::string, std::function<void()>> ReadersOf(const Section& section);
    void ReadKeys(const Section& section, const Keys& keys) {
        SectionReader(section, configuration.mistakes).ReadKeys(keys);
    }
    void ReadDevice(const Section& section);
    void ReadVconf(const Section& section);
    void ReadSim(const Section& section);
    void ReadNetwork(const Section& section);
    void ReadCard(const Section& section);
    void LeaveOut(const std::string& parts, const Library& library);
    void ReadSecureSpi(const Section& section);
    void ReadKeyProvisioning(const Section& section);
    void ReadVisibility(const Section& section);
    void ReadPackage(const Section& section);
    void ReadFault(const Section& section);

    void Guarded(const Section& section, const Entry& entry, const std::function<void()>& action) {
        SectionReader(section, configuration.mistakes).Guarded(entry, action);
    }
    void Reject(const Section& section, const std::string& problem) {
        SectionReader(section, configuration.mistakes).Reject(problem);
    }
    std::string Path(const std::string& value) const { return PathValue(value, configuration.path); }
};

void Reader::ReadDevice(const Section& section) {
    Facts& facts = configuration.facts;
    const auto text = [](std::string& target) {
        return [&target](const std::string& value) { target = value; };
    };
    ReadKeys(
        section, {{"model-name", text(facts.modelName)},
                  {"build-string", text(facts.buildString)},
                  {"device-name", text(facts.deviceName)},
                  {"locale", text(facts.locale)},
                  {"sales-code", text(facts.salesCode)},
                  {"manufacturer", text(facts.manufacturer)},
                  {"platform-name", text(facts.platformName)},
                  {"platform-version", text(facts.platformVersion)}});
}

void Reader::ReadVconf(const Section& section) {
    for (const Entry& entry : section.entries) {
        Guarded(section, entry, [&] {
            if (entry.key.find('/') == std::string::npos) {
                throw BadValue("this is no path; write one such as db/csc/salescode");
            }
            configuration.values[entry.key] = entry.value;
        });
    }
}

void Reader::ReadSim(const Section& section) {
    if (section.name != std::to_string(configuration.sims.size())) {
        Reject(
            section, "SIM slots are numbered in order from 0; write [sim " +
                         std::to_string(configuration.sims.size()) + "]");
    }
    configuration.sims.emplace_back();
    Sim& sim = configuration.sims.back();
    ReadKeys(
        section, {{"mcc", [&](const std::string& value) { sim.mcc = DigitsValue(value, 3, 3); }},
                  {"mnc", [&](const std::string& value) { sim.mnc = DigitsValue(value, 2, 3); }},
                  {"imei", [&](const std::string& value) { sim.imei = DigitsValue(value, 14, 16); }},
                  {"roaming", [&](const std::string& value) { sim.roaming = BooleanValue(value); }}});
}

void Reader::ReadNetwork(const Section& section) {
    Network& network = configuration.network;
    const auto link = [](std::optional<int>& state) {
        return [&state](const std::string& value) {
            state = ChoiceValue(value, LinkStates(), HighestLinkState);
        };
    };
    ReadKeys(
        section, {{"type",
                   [&](const std::string& value) {
                       network.type = ChoiceValue(value, ConnectionTypes(), HighestConnectionType);
                   }},
                  {"wifi-state", link(network.wifiState)},
                  {"bluetooth-state", link(network.bluetoothState)},
                  {"ethernet-state", link(network.ethernetState)},
                  {"cellular-state",
                   [&](const std::string& value) {
                       network.cellularState = ChoiceValue(value, CellularStates(), HighestCellularState);
                   }},
                  {"proxy", [&](const std::string& value) { network.proxyIpv4 = value; }},
                  {"proxy-ipv6", [&](const std::string& value) { network.proxyIpv6 = value; }}});
}

void Reader::ReadCard(const Section& section) {
    if (!section.name.empty() && section.name != "uicc") {
        Reject(section, "there is no such card; [card] is the embedded element and [card uicc] the UICC");
        return;
    }
    CardSettings& card = section.name.empty() ? configuration.embeddedElement : configuration.uicc;
    ReadCardSection(section, configuration.path, card, configuration.mistakes);
}

void Reader::LeaveOut(const std::string& parts, const Library& library) {
    for (const std::string& part : ListValue(parts)) {
        if (part == "library") {
            configuration.libraries.leftOut.insert(library.file);
        } else if (
            std::find(library.entryPoints.begin(), library.entryPoints.end(), part) !=
            library.entryPoints.end()) {
            configuration.libraries.leftOut.insert(part);
        } else {
            std::string known = "library";
            for (const std::string& entryPoint : library.entryPoints) {
                known += ", " + entryPoint;
            }
            throw BadValue("\"" + part + "\" cannot be missing here; there are " + known);
        }
    }
}

void Reader::ReadSecureSpi(const Section& section) {
    ReadKeys(
        section, {{"missing", [&](const std::string& value) { LeaveOut(value, SecureSpiLibrary()); }},
                  {"converted-length", [&](const std::string& value) {
                       configuration.libraries.convertedLength = SignedValue(value);
                   }}});
}

void Reader::ReadKeyProvisioning(const Section& section) {
    InHouseLibraries& libraries = configuration.libraries;
    ReadKeys(
        section, {{"missing", [&](const std::string& value) { LeaveOut(value, KeyProvisioningLibrary()); }},
                  {"key-file", [&](const std::string& value) { libraries.keyFile = Path(value); }},
                  {"terminate-uid",
                   [&](const std::string& value) { libraries.terminatesUid = BooleanValue(value); }}});
}

void Reader::ReadVisibility(const Section& section) {
    for (const Entry& entry : section.entries) {
        Guarded(section, entry, [&] {
            const int visibility = ChoiceValue(entry.key, Visibilities(), INT_MAX);
            for (const std::string& part : ListValue(entry.value)) {
                if (!configuration.visibilities.emplace(FingerprintValue(part), visibility).second) {
                    throw BadValue(
                        "\"" + part + "\" stands already in this section; a root has one visibility");
                }
            }
        });
    }
}

void Reader::ReadPackage(const Section& section) {
    Package package;
    package.id = section.name;
    ReadKeys(
        section,
        {{"version", [&](const std::string& value) { package.version = value; }},
         {"distributor-root",
          [&](const std::string& value) {
              package.distributorRoot = value.empty() ? "" : CertificateText(Path(value));
          }},
         {"applications", [&](const std::string& value) { package.applications = ListValue(value); }},
         {"executables", [&](const std::string& value) {
              for (const std::string& part : ListValue(value)) {
                  package.executables.push_back(Path(part));
              }
          }}});
    if (package.id.empty()) {
        Reject(section, "a package has a name; write [package com.example.wallet]");
        return;
    }
    configuration.packages[package.id] = std::move(package);
}

void Reader::ReadFault(const Section& section) {
    Fault fault;
    bool hasResult = false;
    ReadKeys(
        section,
        {{"result",
          [&](const std::string& value) {
              hasResult = true;
              fault.result = ResultValue(value);
          }},
         {"from", [&](const std::string& value) { fault.from = NumberValue(value, 1, UINT64_MAX); }},
         {"times", [&](const std::string& value) { fault.times = NumberValue(value, 1, UINT64_MAX); }}});
    const std::string function = CanonicalFunction(section.name);
    if (!IsPlatformFunction(function)) {
        Reject(
            section,
            "no platform function has this name; write one of the service's calls, such as nfc_se_send_apdu");
    } else if (!hasResult) {
        Reject(section, "the fault has no result; add a line such as result=-1");
    } else if (!configuration.faults.emplace(function, fault).second) {
        Reject(section, "this function has a fault already, under its other name; keep one of them");
    }
}

// By the kind of the sections that each reads.
std::map<std::string, std::function<void()>> Reader::ReadersOf(const Section& section) {
    return {
        {"device", [this, &section] { ReadDevice(section); }},
        {"vconf", [this, &section] { ReadVconf(section); }},
        {"sim", [this, &section] { ReadSim(section); }},
        {"network", [this, &section] { ReadNetwork(section); }},
        {"trust",
         [this, &section] {
             ReadKeys(section, {{"ca-file", [this](const std::string& value) {
                                     configuration.trustStore = TrustStoreFile(Path(value));
                                 }}});
         }},
        {"nfc",
         [this, &section] {
             ReadKeys(section, {{"supported", [this](const std::string& value) {
                                     configuration.nfcSupported = BooleanValue(value);
                                 }}});
         }},
        {"card", [this, &section] { ReadCard(section); }},
        {"secure-spi", [this, &section] { ReadSecureSpi(section); }},
        {"key-provisioning", [this, &section] { ReadKeyProvisioning(section); }},
        {"packages",
         [this, &section] {
             ReadKeys(section, {{"trust-environment", [this](const std::string& value) {
                                     configuration.trustEnvironment = BooleanValue(value);
                                 }}});
         }},
        {"package", [this, &section] { ReadPackage(section); }},
        {"visibility", [this, &section] { ReadVisibility(section); }},
        {"fault", [this, &section] { ReadFault(section); }}};
}

void Reader::Read(const Section& section) {
    const std::map<std::string, std::function<void()>> readers = ReadersOf(section);
    const auto found = readers.find(section.kind);
    if (found == readers.end()) {
        std::string known;
        for (const auto& reader : readers) {
            known += (known.empty() ? "" : ", ") + reader.first;
        }
        Reject(section, "this section is not known; there are " + known);
        return;
    }
    const bool named = section.kind == "sim" || section.kind == "card" || section.kind == "package" ||
                       section.kind == "fault";
    if (!named && !section.name.empty()) {
        Reject(section, "this section has no name; write [" + section.kind + "]");
    }
    found->second();
}

}  // namespace

Configuration::Configuration() {
    uicc.present = false;
}

Configuration ReadConfiguration(const std::string& path, const std::string& text) {
    KeyFile file = ParseKeyFile(text);
    Reader reader(path);
    reader.configuration.libraries.keyFile = PathValue(KeyFileName, path);
    reader.configuration.mistakes = std::move(file.mistakes);
    for (const Section& section : file.sections) {
        reader.Read(section);
    }
    return std::move(reader.configuration);
}

std::string Describe(const Configuration& configuration, const Mistake& mistake) {
    return Describe(configuration.path, mistake);
}

}  // namespace Device
