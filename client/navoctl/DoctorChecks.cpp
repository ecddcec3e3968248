// SPDX-License-Identifier: Apache-2.0
#include <gio/gio.h>
#include <sys/stat.h>

#include <ctime>
#include <fstream>
#include <memory>

#include "client/navoctl/AddressCheck.h"
#include "client/navoctl/Doctor.h"
#include "client/navoctl/TlsProbe.h"
#include "navo/Causes.h"
#include "navo/Outcome.h"

namespace {

constexpr char SchemaFolder[] = "/usr/apps/com.orvenco.navoa/shared/res/gsettings";
constexpr char SchemaId[] = "com.orvenco.navoa";
constexpr std::time_t LongAgo = 1704067200;  // 2024-01-01, before there was this program

struct SourceUnref {
    void operator()(GSettingsSchemaSource* source) const { g_settings_schema_source_unref(source); }
};
struct SchemaUnref {
    void operator()(GSettingsSchema* schema) const { g_settings_schema_unref(schema); }
};

// Value of a key of the device's description; empty when there is none.
std::string DeviceValue(const std::string& file, const std::string& section, const std::string& key) {
    std::ifstream stream(file);
    bool isThere = false;
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty() && line.front() == '[') {
            isThere = line == "[" + section + "]";
        } else if (isThere && line.compare(0, key.size() + 1, key + "=") == 0) {
            return line.substr(key.size() + 1);
        }
    }
    return {};
}

// What the service talks to as its card.
std::string CardName(const ServiceSight& service) {
    const std::string file = service.DeviceFile();
    if (file.empty()) {
        return "the secure element";
    }
    const std::string backEnd = DeviceValue(file, "card", "back-end");
    if (backEnd != "pcsc") {
        return backEnd == "replay" ? "the recorded card" : "the software card";
    }
    const std::string reader = DeviceValue(file, "card", "reader");
    return "the card in the reader" + (reader.empty() ? "" : " '" + reader + "'");
}

}  // namespace

Finding LookAtSchema(const ServiceSight& service) {
    if (!service.Root()) {
        return {"schema", Health::Unknown, "where the service has its files is not known without it", ""};
    }
    const std::string folder = *service.Root() + SchemaFolder;
    const std::string remedy = "Install the package again; by hand: glib-compile-schemas --strict " + folder;
    struct stat information{};
    if (stat((folder + "/gschemas.compiled").c_str(), &information) != 0) {
        return {"schema", Health::Bad, "there is no " + folder + "/gschemas.compiled", remedy};
    }
    const std::unique_ptr<GSettingsSchemaSource, SourceUnref> source(
        g_settings_schema_source_new_from_directory(folder.c_str(), nullptr, FALSE, nullptr));
    const std::unique_ptr<GSettingsSchema, SchemaUnref> schema(
        source != nullptr ? g_settings_schema_source_lookup(source.get(), SchemaId, FALSE) : nullptr);
    if (schema == nullptr || g_settings_schema_has_key(schema.get(), "navo-url") == FALSE) {
        return {"schema", Health::Bad, folder + " does not hold the service's settings", remedy};
    }
    return {"schema", Health::Good, "the service's settings are in " + folder, ""};
}

Finding LookAtAddress(const ServiceSight& service) {
    const std::optional<std::string> address = service.StoredAddress();
    if (!address) {
        return {
            "address", Health::Unknown, "the stored address cannot be read by this user",
            "Run this as root or as the service's user to see it."};
    }
    if (address->empty()) {
        return {"address", Health::Good, "none is stored; the service asks the address that is built in", ""};
    }
    const std::vector<std::string> mistakes = MistakesOf(*address);
    if (!mistakes.empty() && TakeApart(*address).scheme != "http") {
        return {
            "address", Health::Bad, *address + ": " + mistakes.front(),
            "navoctl set-address https://HOST[:PORT]"};
    }
    return {"address", Health::Good, *address + (mistakes.empty() ? "" : ", which is not encrypted"), ""};
}

Finding LookAtServer(const ServiceSight& service) {
    const std::optional<std::string> address = service.StoredAddress();
    if (!address || address->empty()) {
        return {"server", Health::Unknown, "no stored address to connect to", ""};
    }
    const std::string trust = DeviceValue(service.DeviceFile(), "trust", "ca-file");
    const TlsProbe probe = ProbeServer(*address, trust);
    const std::string certificate = probe.certificate.empty() ? "" : " (" + probe.certificate + ")";
    if (probe.connected) {
        return {"server", Health::Good, *address + " is reached" + certificate, ""};
    }
    const std::string remedy =
        !probe.certificateRefused
            ? "Start the server, or look at the network and the address."
            : "Let the certificate be for the host's name and signed by an authority in " +
                  (trust.empty() ? "the system's store (update-ca-certificates)." : trust + ".");
    return {"server", Health::Bad, *address + ": " + probe.problem + certificate, remedy};
}

Finding LookAtCard(const ServiceSight& service, Navo::Session* session) {
    if (session == nullptr) {
        return {"card", Health::Unknown, "without a session nobody can ask", ""};
    }
    const Navo::Map reply = session->Call({{Navo::Key::Cmd, Navo::CommandText(Navo::Command::Cplc)}});
    const Navo::Outcome outcome = Navo::Interpret(Navo::Command::Cplc, reply);
    if (outcome.success) {
        return {"card", Health::Good, CardName(service) + " answers", ""};
    }
    const std::vector<Navo::Cause> causes = Navo::CausesOf(outcome.code, Navo::CauseKind::ResultCode);
    const std::string remedy =
        causes.empty() ? "See the service's log: " + service.LogPlace() : causes.front().lookAt;
    return {"card", Health::Bad, CardName(service) + ": " + outcome.message, remedy};
}

Finding LookAtClock() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    char text[64];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &parts);
    if (now < LongAgo) {
        return {
            "clock", Health::Bad, "it says " + std::string(text) + ", when no certificate of today was valid",
            "Set the clock."};
    }
    return {"clock", Health::Good, text, ""};
}
