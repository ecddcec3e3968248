// SPDX-License-Identifier: Apache-2.0
// The entry points of liborv_dalm.so: injected keys, and the session in which one of them is read.
#include <algorithm>

#include "device/vendor/EntryPoint.h"
#include "device/vendor/KeyData.h"
#include "device/vendor/KeyResult.h"
#include "device/vendor/KeyStore.h"

namespace {

using namespace Vendor;

// Injection types: given data is the key; a key is generated where no data is given; sealed data is kept as
// it is, because this device has nothing to open it with.
constexpr int GeneratedInjection = 2;

// Lives as long as the library is loaded.
bool sessionIsOpen = false;

// Serves a call whose refusals carry their own results.
template <typename Work>
int ServeKeys(const char* entryPoint, Work work) noexcept {
    return Serve(entryPoint, StoreFailure, [&](const NavoLibrarySettings& settings) {
        try {
            return work(settings);
        } catch (const Refusal& refusal) {
            Report(entryPoint, refusal.what());
            return static_cast<int>(refusal.result);
        }
    });
}

std::string NameOf(const char* keyName) {
    std::string name = keyName != nullptr ? keyName : "";
    if (!IsKeyName(name)) {
        throw Refusal(
            BadName, "a key's name has 1 to 128 bytes, no control characters, and no blank at an end");
    }
    return name;
}

void CheckTypes(int injectionType, int keyType) {
    if (!IsInjectionType(injectionType)) {
        throw Refusal(WrongType, "there is no injection type " + std::to_string(injectionType));
    }
    if (!IsKeyType(keyType)) {
        throw Refusal(WrongType, "there is no key type " + std::to_string(keyType));
    }
}

Key FindKey(const KeyStore& store, const std::string& name, int keyType) {
    const Key* const key = store.Find(name);
    if (key == nullptr) {
        throw Refusal(NoSuchKey, "there is no key \"" + name + "\"");
    }
    if (key->type != keyType) {
        throw Refusal(WrongType, "key \"" + name + "\" is of another key type");
    }
    return *key;
}

Key FindInjectedKey(const KeyStore& store, const std::string& name, int injectionType, int keyType) {
    CheckTypes(injectionType, keyType);
    const Key key = FindKey(store, name, keyType);
    if (key.injectionType != injectionType) {
        throw Refusal(WrongType, "key \"" + name + "\" was injected in another way");
    }
    return key;
}

int Inject(Key key, const Bytes& data, int encoding, const std::string& keyFile) {
    CheckTypes(key.injectionType, key.type);
    KeyStore store(keyFile);
    if (store.Find(key.name) != nullptr) {
        throw Refusal(KeyExists, "there is a key \"" + key.name + "\" already");
    }
    key.value = Decode(data, encoding);
    if (key.value.empty() && key.injectionType == GeneratedInjection) {
        key.value = RandomKey();
    }
    if (key.value.empty() || key.value.size() > LongestValue) {
        throw Refusal(BadData, "a key has 1 to 10000 bytes");
    }
    store.Add(key);
    return KeyDone;
}

// Copies data out where it fits, with `spare` bytes beside it; the amount.
int GiveOut(const Bytes& data, std::size_t spare, void* output, int size) {
    if (output == nullptr || size < 0 || data.size() + spare > static_cast<std::size_t>(size)) {
        throw Refusal(
            BufferTooSmall,
            "the data takes " + std::to_string(data.size() + spare) + " bytes, not " + std::to_string(size));
    }
    std::copy(data.begin(), data.end(), static_cast<unsigned char*>(output));
    return static_cast<int>(data.size());
}

}  // namespace

NAVO_ENTRY_POINT int dalm_keyInjection(
    unsigned char injectionType, unsigned char keyType, const char* keyName, const unsigned char* data,
    int length, unsigned char encoding) {
    return ServeKeys("dalm_keyInjection", [&](const NavoLibrarySettings& settings) {
        if (length < 0 || (data == nullptr && length > 0)) {
            throw Refusal(BadData, "there is no data of " + std::to_string(length) + " bytes");
        }
        return Inject(
            Key{NameOf(keyName), keyType, injectionType, {}}, Bytes(data, data + length), encoding,
            settings.keyFile);
    });
}

NAVO_ENTRY_POINT int dalm_injectedKeyVerification(int injectionType, int keyType, const char* keyName) {
    return ServeKeys("dalm_injectedKeyVerification", [&](const NavoLibrarySettings& settings) {
        FindInjectedKey(KeyStore(settings.keyFile), NameOf(keyName), injectionType, keyType);
        return static_cast<int>(KeyDone);
    });
}

NAVO_ENTRY_POINT int dalm_readInjectedKeyUID(
    unsigned char injectionType, unsigned char keyType, const char* keyName, char* output, int size) {
    return ServeKeys("dalm_readInjectedKeyUID", [&](const NavoLibrarySettings& settings) {
        const Key key = FindInjectedKey(KeyStore(settings.keyFile), NameOf(keyName), injectionType, keyType);
        const std::string uid = key.Uid();
        const std::size_t terminator = settings.terminatesUid ? 1 : 0;
        const int length = GiveOut(Bytes(uid.begin(), uid.end()), terminator, output, size);
        if (settings.terminatesUid) {
            output[length] = '\0';
        }
        return length;
    });
}

NAVO_ENTRY_POINT int dalm_createGetKeySession(
    unsigned char keyType, const char* keyName, unsigned char* output, int size, unsigned char encoding) {
    return ServeKeys("dalm_createGetKeySession", [&](const NavoLibrarySettings& settings) {
        if (sessionIsOpen) {
            throw Refusal(SessionIsOpen, "a get-key session is open already; release it first");
        }
        const Key key = FindKey(KeyStore(settings.keyFile), NameOf(keyName), keyType);
        const int amount = GiveOut(Encode(key.value, encoding), 0, output, size);
        sessionIsOpen = true;
        return amount;
    });
}

NAVO_ENTRY_POINT int dalm_releaseGetKeySession() {
    return ServeKeys("dalm_releaseGetKeySession", [](const NavoLibrarySettings&) {
        if (!sessionIsOpen) {
            throw Refusal(NoSession, "no get-key session is open");
        }
        sessionIsOpen = false;
        return static_cast<int>(KeyDone);
    });
}
