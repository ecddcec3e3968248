// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/ServiceSight.h"

#include <glib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

namespace fs = std::filesystem;

namespace {

constexpr char Sysroot[] = NAVO_SYSROOT;
constexpr char OwnFolder[] = "/proc/self/cwd";
constexpr char SettingsFile[] = "/opt/usr/data/com.orvenco.navoa/.pref/tuvo";
constexpr long MostLogText = 1 << 18;  // bytes

struct KeyFileFree {
    void operator()(GKeyFile* file) const { g_key_file_free(file); }
};
struct VariantUnref {
    void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
struct TextFree {
    void operator()(char* text) const { g_free(text); }
};

std::string LinkTarget(const std::string& link) {
    std::error_code error;
    return fs::read_symlink(link, error).string();
}

std::string ContentOf(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

bool IsFile(const std::string& path) {
    std::error_code error;
    return fs::is_regular_file(path, error);
}

// Who has the service's name may be another program, of which nothing here is true.
std::string ProcessFolder(long processId) {
    const std::string folder = "/proc/" + std::to_string(processId);
    return processId > 0 && ContentOf(folder + "/comm") == "NavoAgent\n" ? folder : "";
}

}  // namespace

ServiceSight::ServiceSight(long processId) : process(ProcessFolder(processId)), root(Sysroot) {
    if (root == OwnFolder) {
        root = process.empty() ? std::nullopt : std::optional<std::string>(LinkTarget(process + "/cwd"));
    }
    logFile = Variable("NAVO_DLOG");
    if (logFile.empty() && !process.empty()) {
        logFile = LinkTarget(process + "/fd/2");
    }
    if (!IsFile(logFile)) {
        logFile.clear();
    }
    std::error_code error;
    logSize = logFile.empty() ? 0 : static_cast<long>(fs::file_size(logFile, error));
}

std::string ServiceSight::Variable(const std::string& name) const {
    if (process.empty()) {
        return {};
    }
    std::istringstream variables(ContentOf(process + "/environ"));
    for (std::string variable; std::getline(variables, variable, '\0');) {
        if (variable.compare(0, name.size() + 1, name + "=") == 0) {
            return variable.substr(name.size() + 1);
        }
    }
    return {};
}

std::string ServiceSight::LogPlace() const {
    return logFile.empty() ? "journalctl -u navoagent" : logFile;
}

std::string ServiceSight::NewLogText() const {
    std::ifstream stream(logFile, std::ios::binary | std::ios::ate);
    const long end = stream ? static_cast<long>(stream.tellg()) : 0;
    const long begin = std::max(logSize, end - MostLogText);
    std::ostringstream text;
    if (stream && begin < end) {
        stream.seekg(begin);
        text << stream.rdbuf();
    }
    return text.str();
}

std::optional<std::string> ServiceSight::StoredAddress() const {
    if (!root) {
        return std::nullopt;
    }
    const std::string file = *root + SettingsFile;
    std::error_code missing;
    if (!fs::exists(file, missing)) {
        return missing ? std::nullopt : std::optional<std::string>("");
    }
    const std::unique_ptr<GKeyFile, KeyFileFree> settings(g_key_file_new());
    if (g_key_file_load_from_file(settings.get(), file.c_str(), G_KEY_FILE_NONE, nullptr) == FALSE) {
        return std::nullopt;
    }
    const std::unique_ptr<char, TextFree> text(
        g_key_file_get_value(settings.get(), "network", "navo-url", nullptr));
    if (text == nullptr) {
        return "";
    }
    const std::unique_ptr<GVariant, VariantUnref> value(
        g_variant_parse(G_VARIANT_TYPE_STRING, text.get(), nullptr, nullptr, nullptr));
    return value != nullptr ? std::optional<std::string>(g_variant_get_string(value.get(), nullptr))
                            : std::nullopt;
}

std::string ServiceSight::DeviceFile() const {
    const std::string named = Variable("NAVO_DEVICE_CONF");
    if (!named.empty()) {
        return named;
    }
    const std::string usual = root.value_or("") + "/etc/navo-device.conf";
    return root && IsFile(usual) ? usual : "";
}

std::string TransportReason(const std::string& logText) {
    constexpr const char* Reasons[][2] = {
        {"SSL peer certificate", "the server's certificate is not trusted, or is for another name"},
        {"certificate problem", "the server's certificate is not trusted"},
        {"Could not resolve host", "the server's name is not known"},
        {"Couldn't resolve host", "the server's name is not known"},
        {"Couldn't connect to server", "nothing listens at the server's address"},
        {"Could not connect to server", "nothing listens at the server's address"},
        {"SSL connect error", "the TLS handshake with the server broke off"},
        {"Couldn't resolve proxy", "the proxy's name is not known"},
        {"Timeout was reached", "the server did not answer in time"},
        {"Server returned nothing", "the server closed the connection without an answer"},
    };
    std::string reason;
    std::size_t last = 0;
    for (const auto& [words, meaning] : Reasons) {
        const std::size_t at = logText.rfind(words);
        if (at != std::string::npos && at >= last) {
            last = at;
            reason = meaning;
        }
    }
    return reason;
}
