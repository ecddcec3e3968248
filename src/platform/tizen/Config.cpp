// SPDX-License-Identifier: Apache-2.0
#define G_SETTINGS_ENABLE_BACKEND
#include <fcntl.h>
#include <gio/gio.h>
#include <gio/gsettingsbackend.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
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

// The key file's second name while it is written. GLib puts the new file in the place of the old one even
// when the disk was full and the new one is empty; the old content stays reachable by this name, which needs
// no space.
constexpr char FormerFile[] = NAVO_SYSROOT "/opt/usr/data/com.orvenco.navoa/.pref/tuvo.former";

class FormerSettings {
public:
    FormerSettings() {
        unlink(FormerFile);
        error = link(Locations::SettingsFile, FormerFile) == 0 ? 0 : errno;
    }
    ~FormerSettings() { unlink(FormerFile); }
    FormerSettings(const FormerSettings&) = delete;
    FormerSettings& operator=(const FormerSettings&) = delete;

    // Whether the key file may be written. On a file system without second names nothing can be done for it.
    bool IsSafe() const { return error == 0 || error == ENOENT || error == EPERM || error == EOPNOTSUPP; }

    void PutBack() const {
        if (error == 0) {
            rename(FormerFile, Locations::SettingsFile);
        } else if (error == ENOENT) {
            unlink(Locations::SettingsFile);
        }
    }

    // A process that was killed while it wrote leaves the second name, and perhaps an empty file.
    static void Recover() {
        struct stat facts = {};
        if (lstat(FormerFile, &facts) != 0) {
            return;
        }
        if (stat(Locations::SettingsFile, &facts) != 0 || facts.st_size == 0) {
            rename(FormerFile, Locations::SettingsFile);
        } else {
            unlink(FormerFile);
        }
    }

private:
    int error;  // 0 when the second name stands
};

// Whether the key file holds the address, by what stands in it.
bool IsStored(const std::string& url) {
    const OwnedBy<GKeyFile, g_key_file_free> file(g_key_file_new());
    if (!g_key_file_load_from_file(file.get(), Locations::SettingsFile, G_KEY_FILE_NONE, nullptr)) {
        return false;
    }
    const OwnedGlibMemory<gchar> text(g_key_file_get_value(file.get(), RootGroup, AddressKey, nullptr));
    if (!text) {
        return false;
    }
    const OwnedBy<GVariant, g_variant_unref> value(
        g_variant_parse(G_VARIANT_TYPE_STRING, text.get(), nullptr, nullptr, nullptr));
    return value && url == g_variant_get_string(value.get(), nullptr);
}

bool Store(GSettings* settings, const std::string& url) {
    const FormerSettings former;
    if (!former.IsSafe()) {
        return false;
    }
    const bool stored = g_settings_set_string(settings, AddressKey, url.c_str()) != FALSE && IsStored(url);
    if (!stored) {
        former.PutBack();
    }
    return stored;
}

// True for a file that is not there, too.
bool IsReadable(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    return file >= 0 ? close(file) == 0 : errno == ENOENT || errno == ENOTDIR;
}

}  // namespace

void SetNavoAddress(const std::string& url) {
    LogPrint(LogTrace, LOCATED("Saving URL: %s to %s"), url.c_str(), AddressKey);
    const Settings settings = _init_gs();
    if (!settings) {
        LogPrint(LogError, LOCATED("Error"));
        return;
    }
    if (Store(settings.get(), url)) {
        LogPrint(LogDebug, LOCATED("New URL is saved"));
    } else {
        LogPrint(LogError, LOCATED("Error storing settings"));
    }
}

bool IsNavoAddressReadable() {
    const bool readable = IsReadable(Locations::SettingsFile) &&
                          (access(Locations::SettingsFile, F_OK) != 0 ||
                           IsReadable(std::string(Locations::SchemaDirectory) + "/gschemas.compiled"));
    if (!readable) {
        LogPrint(LogError, LOCATED("The stored address cannot be read: %s"), std::strerror(errno));
    }
    return readable;
}

std::string GetNavoAddress() {
    FormerSettings::Recover();
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
