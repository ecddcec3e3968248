#define G_SETTINGS_ENABLE_BACKEND
#include <gio/gio.h>
#include <gio/gsettingsbackend.h>

#include <utility>

#include "app/ServerAddress.h"
#include "common/Debug.h"
#include "common/Locations.h"
#include "common/Owned.h"

namespace Na {

namespace {

constexpr char SchemaId[] = "com.orvenco.navoa";
constexpr char AddressKey[] = "navo-url";
constexpr char RootPath[] = "/com/orv/tuvo/";
constexpr char RootGroup[] = "network";

using Settings = OwnedObject<GSettings>;
using SchemaSource = OwnedBy<GSettingsSchemaSource, g_settings_schema_source_unref>;
using Schema = OwnedBy<GSettingsSchema, g_settings_schema_unref>;
using KeyNames = OwnedBy<gchar*, g_strfreev>;

// GLib ends the process when a key is asked for that the schema lacks.
bool HasAddressKey(GSettings* settings) {
    const KeyNames names(g_settings_list_keys(settings));
    for (gchar** name = names.get(); *name != nullptr; ++name) {
        if (g_strcmp0(*name, AddressKey) == 0) {
            return true;
        }
    }
    return false;
}

// GLib ends the process when settings are made of a schema that has no path.
Settings Bind(GSettingsSchema* schema, GSettingsBackend* backend) {
    if (g_settings_schema_get_path(schema) == nullptr) {
        return nullptr;
    }
    Settings settings(g_settings_new_full(schema, backend, nullptr));
    return settings && HasAddressKey(settings.get()) ? std::move(settings) : nullptr;
}

// The settings as they are now, null when they cannot be had. The backend watches its file, so nothing may
// keep a reference to it beside the settings.
Settings _init_gs() {
    GError* raw = nullptr;
    const SchemaSource source(
        g_settings_schema_source_new_from_directory(Locations::SchemaDirectory, nullptr, FALSE, &raw));
    const OwnedError error(raw);
    if (!source) {
        LogPrint(LogError, LOCATED("Error: %s"), error->message);
        return nullptr;
    }
    const Schema schema(g_settings_schema_source_lookup(source.get(), SchemaId, FALSE));
    if (!schema) {
        LogPrint(LogError, LOCATED("Error"));
        return nullptr;
    }
    const OwnedObject<GSettingsBackend> backend(
        g_keyfile_settings_backend_new(Locations::SettingsFile, RootPath, RootGroup));
    if (!backend) {
        LogPrint(LogError, LOCATED("Error: gsb"));
        return nullptr;
    }
    Settings settings = Bind(schema.get(), backend.get());
    if (!settings) {
        LogPrint(LogError, LOCATED("Error: gs"));
    }
    return settings;
}

}  // namespace

void SetNavoAddress(const std::string& url) {
    LogPrint(LogTrace, LOCATED("Saving URL: %s to %s"), url.c_str(), AddressKey);
    const Settings settings = _init_gs();
    if (!settings) {
        LogPrint(LogError, LOCATED("Error"));
        return;
    }
    if (g_settings_set_string(settings.get(), AddressKey, url.c_str())) {
        LogPrint(LogDebug, LOCATED("New URL is saved"));
    } else {
        LogPrint(LogError, LOCATED("Error storing settings"));
    }
}

std::string GetNavoAddress() {
    const Settings settings = _init_gs();
    const OwnedGlibMemory<gchar> url(settings ? g_settings_get_string(settings.get(), AddressKey) : nullptr);
    if (!url) {
        LogPrint(LogError, LOCATED("Error reading settings"));
        return {};
    }
    LogPrint(LogTrace, LOCATED("URL: %s"), url.get());
    return url.get();
}

}  // namespace Na
