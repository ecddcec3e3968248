// SPDX-License-Identifier: Apache-2.0
#include "device/vendor/KeyStore.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>

namespace Vendor {

namespace {

constexpr char Head[] =
    "# Keys of the virtual device. The key-provisioning library replaces this file at each injection.\n";

[[noreturn]] void FailOn(const std::string& path, const char* what) {
    throw std::runtime_error(path + ": cannot be " + what + ": " + std::strerror(errno));
}

// FNV-1a in 64 bits, http://www.isthe.com/chongo/tech/comp/fnv.
class Fingerprint {
public:
    void Add(std::uint8_t byte) { state = (state ^ byte) * 0x100000001B3U; }
    std::string Text() const {
        char text[17];
        std::snprintf(text, sizeof text, "%016llX", static_cast<unsigned long long>(state));
        return text;
    }

private:
    std::uint64_t state = 0xCBF29CE484222325U;
};

std::string ReadFile(const std::string& path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        if (errno == ENOENT) {
            return {};
        }
        FailOn(path, "read");
    }
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream text;
    if (S_ISREG(status.st_mode) && status.st_size > 0) {
        text << stream.rdbuf();
    }
    if (!stream || !text || !S_ISREG(status.st_mode)) {
        throw std::runtime_error(path + ": cannot be read, or is no ordinary file");
    }
    return text.str();
}

// The number of a text of one digit; 0 for any other.
int DigitOf(const std::string& text) {
    return text.size() == 1 && text[0] >= '0' && text[0] <= '9' ? text[0] - '0' : 0;
}

// Open for writing, and closed at the end.
class Draft {
public:
    explicit Draft(const std::string& draftPath)
        : path(draftPath),
          descriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR)) {
        if (descriptor < 0) {
            FailOn(path, "written");
        }
    }
    ~Draft() { close(descriptor); }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    void Write(const std::string& text) const {
        for (std::size_t done = 0; done < text.size();) {
            const ssize_t count = write(descriptor, text.data() + done, text.size() - done);
            if (count < 0 && errno != EINTR) {
                FailOn(path, "written");
            }
            done += count > 0 ? static_cast<std::size_t>(count) : 0;
        }
        if (fsync(descriptor) != 0) {
            FailOn(path, "written");
        }
    }

private:
    std::string path;
    int descriptor;
};

}  // namespace

bool IsKeyType(int type) {
    return type == 1 || type == 2;
}

bool IsInjectionType(int type) {
    return type == 1 || type == 2 || type == 4;
}

bool IsKeyName(const std::string& name) {
    const auto isControl = [](unsigned char character) { return character < 0x20 || character == 0x7F; };
    return !name.empty() && name.size() <= LongestName && Device::Trim(name) == name &&
           std::none_of(name.begin(), name.end(), isControl);
}

std::string Key::Uid() const {
    Fingerprint fingerprint;
    for (const char character : name) {
        fingerprint.Add(static_cast<std::uint8_t>(character));
    }
    fingerprint.Add(0);
    fingerprint.Add(static_cast<std::uint8_t>(type));
    fingerprint.Add(static_cast<std::uint8_t>(injectionType));
    for (const std::uint8_t byte : value) {
        fingerprint.Add(byte);
    }
    return fingerprint.Text();
}

KeyStore::KeyStore(const std::string& filePath) : path(filePath) {
    const Device::KeyFile file = Device::ParseKeyFile(ReadFile(path));
    if (!file.mistakes.empty()) {
        Damaged(file.mistakes.front().line, file.mistakes.front().problem);
    }
    for (const Device::Section& section : file.sections) {
        keys.push_back(ReadKey(section));
    }
}

void KeyStore::Damaged(unsigned line, const std::string& problem) const {
    throw std::runtime_error(path + ":" + std::to_string(line) + ": " + problem);
}

Key KeyStore::ReadKey(const Device::Section& section) const {
    std::map<std::string, std::string> values;
    for (const Device::Entry& entry : section.entries) {
        values[entry.key] = entry.value;
    }
    if (section.kind != "key" || !IsKeyName(section.name)) {
        Damaged(section.line, "this is no key; a key's heading is [key NAME]");
    }
    const std::optional<Bytes> value = Device::FromHexText(values["value"]);
    const auto type = [&](const char* key) { return DigitOf(values[key]); };
    if (values.size() != 4 || !IsKeyType(type("type")) || !IsInjectionType(type("injection")) || !value ||
        value->empty() || value->size() > LongestValue) {
        Damaged(
            section.line, section.Heading() +
                              " does not hold a type of 1 or 2, an injection of 1, 2 or 4, a uid, and a "
                              "value of 1 to 10000 bytes in hexadecimal, and nothing else");
    }
    const Key key{section.name, type("type"), type("injection"), *value};
    if (values["uid"] != key.Uid()) {
        Damaged(section.line, section.Heading() + " has not the UID that follows from its other fields");
    }
    return key;
}

const Key* KeyStore::Find(const std::string& name) const {
    const auto found =
        std::find_if(keys.begin(), keys.end(), [&](const Key& key) { return key.name == name; });
    return found != keys.end() ? &*found : nullptr;
}

std::string KeyStore::Text() const {
    std::string text = Head;
    for (const Key& key : keys) {
        text += "\n[key " + key.name + "]\ntype=" + std::to_string(key.type) +
                "\ninjection=" + std::to_string(key.injectionType) + "\nuid=" + key.Uid() +
                "\nvalue=" + Device::HexText(key.value) + "\n";
    }
    return text;
}

void KeyStore::Add(const Key& key) {
    keys.push_back(key);
    const std::string draft = path + ".new";
    Draft(draft).Write(Text());
    if (std::rename(draft.c_str(), path.c_str()) != 0) {
        FailOn(path, "replaced");
    }
}

}  // namespace Vendor
