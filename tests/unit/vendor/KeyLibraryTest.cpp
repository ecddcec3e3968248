// SPDX-License-Identifier: Apache-2.0
// The stand-in for the key-provisioning library, called as the service calls it, and its file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <fstream>
#include <memory>

#include "common/Locations.h"
#include "device/VirtualDevice.h"
#include "device/vendor/KeyResult.h"
#include "tests/unit/vendor/LibraryJobs.h"
#include "tests/unit/vendor/LoadedLibrary.h"

namespace fs = std::filesystem;

namespace {

using testing::HasSubstr;

constexpr unsigned char Hexadecimal = 1;
constexpr unsigned char Plain = 2;
constexpr unsigned char Base64 = 4;

class KeyLibrary : public testing::Test {
protected:
    KeyLibrary() {
        world.InstallInHouseLibraries();
        library = std::make_unique<LoadedLibrary>(Locations::KeyProvisioningLibrary);
    }

    int Inject(
        unsigned char injectionType, unsigned char keyType, const char* name, const std::string& data,
        unsigned char encoding = Plain) {
        return library
            ->Find<int(unsigned char, unsigned char, const char*, const unsigned char*, int, unsigned char)>(
                "dalm_keyInjection")(
                injectionType, keyType, name, reinterpret_cast<const unsigned char*>(data.data()),
                static_cast<int>(data.size()), encoding);
    }

    int Verify(int injectionType, int keyType, const char* name) {
        return library->Find<int(int, int, const char*)>("dalm_injectedKeyVerification")(
            injectionType, keyType, name);
    }

    int ReadUid(const char* name, char* output, int size) {
        return library->Find<int(unsigned char, unsigned char, const char*, char*, int)>(
            "dalm_readInjectedKeyUID")(1, 1, name, output, size);
    }

    int Open(unsigned char keyType, const char* name, void* output, int size, unsigned char encoding) {
        return library->Find<int(unsigned char, const char*, unsigned char*, int, unsigned char)>(
            "dalm_createGetKeySession")(keyType, name, static_cast<unsigned char*>(output), size, encoding);
    }

    int Release() { return library->Find<int()>("dalm_releaseGetKeySession")(); }

    fs::path KeyFile() const { return world.Path() / "etc/navo-device-keys.conf"; }

    void WriteKeys(const std::string& text) const { std::ofstream(KeyFile(), std::ios::binary) << text; }

    // Lines of the device itself, which stand beside the service's in the log.
    std::string DeviceLog() const { return ReadFile(world.Path() / "navo-device.log"); }

    DeviceWorld world;
    std::unique_ptr<LoadedLibrary> library;
};

}  // namespace

TEST_F(KeyLibrary, KeepsAKeyInItsFile) {
    EXPECT_EQ(Inject(1, 2, "wallet key", "\x01\xFF"), Vendor::KeyDone);
    const std::string text = ReadFile(KeyFile());
    EXPECT_THAT(text, testing::StartsWith("# "));
    EXPECT_THAT(
        text, testing::ContainsRegex(
                  "\n\\[key wallet key\\]\ntype=2\ninjection=1\nuid=[0-9A-F]{16}\nvalue=01FF\n"));
    EXPECT_EQ(fs::status(KeyFile()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_FALSE(fs::exists(KeyFile().string() + ".new"));
}

TEST_F(KeyLibrary, ReadsAKeyThatAPersonWrote) {
    EXPECT_EQ(Inject(1, 1, "a", "secret"), Vendor::KeyDone);
    const std::string text = ReadFile(KeyFile());
    WriteKeys("# mine\n" + text.substr(text.find("[key a]")));
    EXPECT_EQ(Verify(1, 1, "a"), Vendor::KeyDone);
    EXPECT_EQ(Inject(4, 2, "b", "other"), Vendor::KeyDone);
    EXPECT_EQ(Verify(1, 1, "a"), Vendor::KeyDone);
    EXPECT_EQ(Verify(4, 2, "b"), Vendor::KeyDone);
}

TEST_F(KeyLibrary, FindsKeysAgainAfterItWasUnloaded) {
    Inject(1, 1, "a", "secret");
    library.reset();
    EXPECT_FALSE(IsLoaded(KeyLibraryName));
    library = std::make_unique<LoadedLibrary>(Locations::KeyProvisioningLibrary);
    EXPECT_EQ(Verify(1, 1, "a"), Vendor::KeyDone);
}

TEST_F(KeyLibrary, KeepsItsKeysWhereTheConfigurationSays) {
    world.Configure("[key-provisioning]\nkey-file=elsewhere.keys\n");
    EXPECT_EQ(Inject(1, 1, "a", "secret"), Vendor::KeyDone);
    EXPECT_FALSE(fs::exists(KeyFile()));
    EXPECT_TRUE(fs::exists(KeyFile().parent_path() / "elsewhere.keys"));
}

TEST_F(KeyLibrary, TakesANameOnce) {
    EXPECT_EQ(Inject(1, 1, "a", "secret"), Vendor::KeyDone);
    const std::string before = ReadFile(KeyFile());
    EXPECT_EQ(Inject(1, 1, "a", "other"), Vendor::KeyExists);
    EXPECT_EQ(Inject(2, 2, "a", ""), Vendor::KeyExists);
    EXPECT_EQ(ReadFile(KeyFile()), before);
    EXPECT_THAT(DeviceLog(), HasSubstr("dalm_keyInjection: there is a key \"a\" already"));
}

TEST_F(KeyLibrary, RefusesNamesThatItsFileCannotHold) {
    const std::string longest(128, 'n');
    EXPECT_EQ(Inject(1, 1, longest.c_str(), "secret"), Vendor::KeyDone);
    EXPECT_EQ(Inject(1, 1, "with ] and [ and =", "secret"), Vendor::KeyDone);
    EXPECT_EQ(Inject(1, 1, "\xC3\xA9t\xC3\xA9", "secret"), Vendor::KeyDone);
    for (const std::string& name :
         {std::string(), longest + "n", std::string(" a"), std::string("a "), std::string("a\nb"),
          std::string("\x7F"), std::string("\ta")}) {
        EXPECT_EQ(Inject(1, 1, name.c_str(), "secret"), Vendor::BadName) << name;
    }
    EXPECT_EQ(Inject(1, 1, nullptr, "secret"), Vendor::BadName);
    EXPECT_EQ(Verify(1, 1, ""), Vendor::BadName);
    EXPECT_EQ(Verify(1, 1, "with ] and [ and ="), Vendor::KeyDone);
}

TEST_F(KeyLibrary, RefusesTypesThatMeanNothing) {
    for (const int injectionType : {0, 3, 5, 255}) {
        EXPECT_EQ(Inject(static_cast<unsigned char>(injectionType), 1, "a", "secret"), Vendor::WrongType);
        EXPECT_EQ(Verify(injectionType, 1, "a"), Vendor::WrongType);
    }
    for (const int keyType : {0, 3, 4}) {
        EXPECT_EQ(Inject(1, static_cast<unsigned char>(keyType), "a", "secret"), Vendor::WrongType);
        EXPECT_EQ(Verify(1, keyType, "a"), Vendor::WrongType);
    }
    EXPECT_FALSE(fs::exists(KeyFile()));
}

TEST_F(KeyLibrary, GeneratesAKeyWhereNoneIsGiven) {
    EXPECT_EQ(Inject(2, 1, "a", ""), Vendor::KeyDone);
    EXPECT_EQ(Inject(2, 1, "b", ""), Vendor::KeyDone);
    unsigned char first[64] = {};
    unsigned char second[64] = {};
    EXPECT_EQ(Open(1, "a", first, sizeof first, Hexadecimal), 32);
    Release();
    EXPECT_EQ(Open(1, "b", second, sizeof second, Hexadecimal), 32);
    EXPECT_NE(std::memcmp(first, second, 32), 0);
}

TEST_F(KeyLibrary, AsksForDataWhereItCannotGenerate) {
    EXPECT_EQ(Inject(1, 1, "a", ""), Vendor::BadData);
    EXPECT_EQ(Inject(4, 1, "a", ""), Vendor::BadData);
    EXPECT_EQ(Inject(1, 1, "a", std::string(10001, 'x')), Vendor::BadData);
    EXPECT_EQ(Inject(1, 1, "a", std::string(10000, 'x')), Vendor::KeyDone);
    const auto inject =
        library
            ->Find<int(unsigned char, unsigned char, const char*, const unsigned char*, int, unsigned char)>(
                "dalm_keyInjection");
    EXPECT_EQ(inject(1, 1, "b", nullptr, 3, Plain), Vendor::BadData);
    EXPECT_EQ(inject(1, 1, "b", reinterpret_cast<const unsigned char*>("x"), -1, Plain), Vendor::BadData);
}

TEST_F(KeyLibrary, ReadsBase64) {
    EXPECT_EQ(Inject(1, 1, "a", "AAEC", Base64), Vendor::KeyDone);
    EXPECT_EQ(Inject(1, 1, "b", "AAE=", Base64), Vendor::KeyDone);
    EXPECT_EQ(Inject(1, 1, "c", "AA==", Base64), Vendor::KeyDone);
    const std::string text = ReadFile(KeyFile());
    EXPECT_THAT(text, HasSubstr("value=000102\n"));
    EXPECT_THAT(text, HasSubstr("value=0001\n"));
    EXPECT_THAT(text, HasSubstr("value=00\n"));
    for (const char* data : {"A", "AAE", "A===", "AA=A", "AAE?", " AAE", "AAE \n", "===="}) {
        EXPECT_EQ(Inject(1, 1, "d", data, Base64), Vendor::BadData) << data;
    }
    EXPECT_EQ(Inject(1, 1, "d", "data", 3), Vendor::BadData);
}

TEST_F(KeyLibrary, GivesEachKeyAUidOfItsOwn) {
    Inject(1, 1, "a", "secret");
    Inject(1, 1, "b", "secret");
    char first[17] = {};
    char second[17] = {};
    EXPECT_EQ(ReadUid("a", first, sizeof first), 16);
    EXPECT_EQ(ReadUid("b", second, sizeof second), 16);
    EXPECT_STRNE(first, second);
    EXPECT_EQ(ReadUid("a", first, 16), Vendor::BufferTooSmall);
    EXPECT_EQ(ReadUid("a", nullptr, 100), Vendor::BufferTooSmall);
    EXPECT_EQ(ReadUid("a", first, -1), Vendor::BufferTooSmall);
    EXPECT_EQ(ReadUid("c", first, sizeof first), Vendor::NoSuchKey);
}

TEST_F(KeyLibrary, OpensOneSessionAtATime) {
    Inject(1, 1, "a", "secret");
    char output[32] = {};
    EXPECT_EQ(Release(), Vendor::NoSession);
    EXPECT_EQ(Open(2, "a", output, sizeof output, Plain), Vendor::WrongType);
    EXPECT_EQ(Open(1, "b", output, sizeof output, Plain), Vendor::NoSuchKey);
    EXPECT_EQ(Open(1, "a", output, sizeof output, 3), Vendor::BadData);
    EXPECT_EQ(Open(1, "a", output, 5, Plain), Vendor::BufferTooSmall);
    EXPECT_EQ(Release(), Vendor::NoSession);
    EXPECT_EQ(Open(1, "a", output, 6, Plain), 6);
    EXPECT_STREQ(output, "secret");
    EXPECT_EQ(Open(1, "a", output, sizeof output, Plain), Vendor::SessionIsOpen);
    EXPECT_EQ(Release(), Vendor::KeyDone);
    EXPECT_EQ(Release(), Vendor::NoSession);
    EXPECT_EQ(Open(1, "a", output, sizeof output, Base64), 8);
    EXPECT_STREQ(output, "c2VjcmV0");
}

TEST_F(KeyLibrary, ReportsADamagedFileAndLeavesItAlone) {
    Inject(1, 1, "a", "secret");
    const std::string good = ReadFile(KeyFile());
    const std::string section = good.substr(good.find("[key a]"));
    const auto replaced = [&](const std::string& from, const std::string& to) {
        std::string text = section;
        return text.replace(text.find(from), from.size(), to);
    };
    const std::string damages[] = {
        "no section at all\n",
        section + section,
        "[lock a]\ntype=1\n",
        replaced("[key a]", "[key]"),
        replaced("type=1", "type=3"),
        replaced("type=1", "type=1x"),
        replaced("type=1\n", ""),
        replaced("injection=1", "injection=3"),
        replaced("uid=", "uid=0"),
        replaced("value=", "value=0"),
        replaced("value=73", "value=74"),
        replaced("value=", "value=zz"),
        replaced("value=736563726574", "value="),
        section + "colour=green\n"};
    for (const std::string& damage : damages) {
        WriteKeys(damage);
        EXPECT_EQ(Verify(1, 1, "a"), Vendor::StoreFailure) << damage;
        EXPECT_EQ(Inject(1, 1, "b", "other"), Vendor::StoreFailure) << damage;
        EXPECT_EQ(ReadFile(KeyFile()), damage);
    }
    EXPECT_THAT(
        DeviceLog(),
        HasSubstr("navo-device-keys.conf:1: [key a] has not the UID that follows from its other fields"));
}

TEST_F(KeyLibrary, ReportsAFileThatItCannotReadOrWrite) {
    fs::create_directory(KeyFile());
    EXPECT_EQ(Verify(1, 1, "a"), Vendor::StoreFailure);
    EXPECT_THAT(DeviceLog(), HasSubstr("cannot be read, or is no ordinary file"));
    world.Configure("[key-provisioning]\nkey-file=no/such/folder/keys\n");
    EXPECT_EQ(Verify(1, 1, "a"), Vendor::NoSuchKey);
    EXPECT_EQ(Inject(1, 1, "a", "secret"), Vendor::StoreFailure);
    EXPECT_THAT(DeviceLog(), HasSubstr("keys.new: cannot be written: No such file or directory"));
}

TEST_F(KeyLibrary, KeepsTheOldFileWhenTheNewOneCannotTakeItsPlace) {
    Inject(1, 1, "a", "secret");
    fs::create_directory(KeyFile().string() + ".new");
    EXPECT_EQ(Inject(1, 1, "b", "other"), Vendor::StoreFailure);
    EXPECT_EQ(Verify(1, 1, "a"), Vendor::KeyDone);
    EXPECT_EQ(Verify(1, 1, "b"), Vendor::NoSuchKey);
}

TEST_F(KeyLibrary, FailsWhereTheDeviceHasAFault) {
    Inject(1, 1, "a", "secret");
    world.Configure("[fault dalm_injectedKeyVerification]\nresult=-9\nfrom=2\ntimes=1\n");
    EXPECT_EQ(Verify(1, 1, "a"), Vendor::KeyDone);
    EXPECT_EQ(Verify(1, 1, "a"), -9);
    EXPECT_EQ(Verify(1, 1, "a"), Vendor::KeyDone);
    EXPECT_EQ(Device::Calls("dalm_injectedKeyVerification"), 3U);
}

TEST_F(KeyLibrary, FailsOnADeviceWhoseConfigurationCannotBeFollowed) {
    world.Configure("[no-such-section]\n");
    EXPECT_EQ(Inject(1, 1, "a", "secret"), Vendor::StoreFailure);
    EXPECT_EQ(Release(), Vendor::StoreFailure);
    EXPECT_FALSE(fs::exists(KeyFile()));
}
