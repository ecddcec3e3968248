// SPDX-License-Identifier: Apache-2.0
// A key-provisioning library that does nothing but write each call down: a line of the file "calls" in the
// working directory, with the arguments in their order.
#include <cstddef>
#include <cstdio>
#include <cstring>

#define ENTRY_POINT extern "C" __attribute__((visibility("default")))

namespace {

constexpr int Result = 2;

void Write(const char* line) {
    if (std::FILE* const file = std::fopen("calls", "a")) {
        std::fprintf(file, "%s\n", line);
        std::fclose(file);
    }
}

}  // namespace

ENTRY_POINT int dalm_keyInjection(
    unsigned char injectionType, unsigned char keyType, const char* keyName, const unsigned char* data,
    int length, unsigned char encoding) {
    char line[256];
    int end = std::snprintf(line, sizeof line, "inject %u %u %s ", injectionType, keyType, keyName);
    if (data == nullptr) {
        end += std::snprintf(line + end, sizeof line - end, "null");
    }
    for (int i = 0; data != nullptr && i < length; ++i) {
        end += std::snprintf(line + end, sizeof line - end, "%02X", data[i]);
    }
    std::snprintf(line + end, sizeof line - end, " %d %u", length, encoding);
    Write(line);
    return Result;
}

ENTRY_POINT int dalm_injectedKeyVerification(int injectionType, int keyType, const char* keyName) {
    char line[256];
    std::snprintf(line, sizeof line, "verify %d %d %s", injectionType, keyType, keyName);
    Write(line);
    return Result;
}

ENTRY_POINT int dalm_readInjectedKeyUID(
    unsigned char injectionType, unsigned char keyType, const char* keyName, char* output, int size) {
    char line[256];
    std::snprintf(line, sizeof line, "uid %u %u %s %d", injectionType, keyType, keyName, size);
    Write(line);
    std::memset(output, std::strcmp(keyName, "binary") == 0 ? 0xFF : 'X', static_cast<std::size_t>(size));
    output[size / 2] = '\0';
    return Result;
}

ENTRY_POINT int dalm_createGetKeySession(
    unsigned char keyType, const char* keyName, unsigned char* output, int size, unsigned char encoding) {
    char line[256];
    std::snprintf(line, sizeof line, "open %u %s %d %u", keyType, keyName, size, encoding);
    Write(line);
    std::memset(output, 'Z', static_cast<std::size_t>(size));
    return Result;
}

ENTRY_POINT int dalm_releaseGetKeySession() {
    Write("release");
    return Result;
}
