// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <memory>

#include "app/NavoProxy.h"
#include "app/ResultCode.h"
#include "app/ServerAddress.h"
#include "common/Locations.h"
#include "device/VirtualDevice.h"
#include "tests/support/service/DeviceWorld.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace fs = std::filesystem;

namespace {

constexpr char Saved[] = "D SetNavoAddress: New URL is saved";
constexpr char CannotRead[] = "E GetNavoAddress: Error reading settings";

// Watches that this process has on files.
std::size_t Watches() {
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator("/proc/self/fdinfo")) {
        std::ifstream stream(entry.path());
        for (std::string line; std::getline(stream, line);) {
            count += line.compare(0, 8, "inotify ") == 0 ? 1 : 0;
        }
    }
    return count;
}

mode_t ModeOf(const fs::path& path) {
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

class ServerAddress : public testing::Test {
protected:
    // Puts another schema in the place of the shipped one.
    void CompileSchema(const std::string& schemas) {
        const fs::path folder = Locations::SchemaDirectory;
        fs::remove(folder / "gschemas.compiled");
        std::ofstream(folder / "test.gschema.xml") << "<schemalist>" << schemas << "</schemalist>";
        const std::string command = "glib-compile-schemas " + folder.string();
        ASSERT_EQ(system(command.c_str()), 0);
    }

    const fs::path settingsFile = Locations::SettingsFile;
    DeviceWorld world;
};

// Lets nothing be opened for as long as it lives.
class NoDescriptors {
public:
    NoDescriptors() {
        getrlimit(RLIMIT_NOFILE, &before);
        const rlimit none = {0, before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &before); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

private:
    rlimit before = {};
};

TEST_F(ServerAddress, IsReadableWhileNothingIsStored) {
    EXPECT_TRUE(Na::IsNavoAddressReadable());
    fs::create_directories(settingsFile.parent_path());
    EXPECT_TRUE(Na::IsNavoAddressReadable());
    world.RemoveSettingsSchema();
    EXPECT_TRUE(Na::IsNavoAddressReadable());
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST_F(ServerAddress, IsNotReadableWithoutADescriptor) {
    Na::SetNavoAddress("https://kms.example");
    bool readable = true;
    {
        const NoDescriptors none;
        readable = Na::IsNavoAddressReadable();
    }
    EXPECT_FALSE(readable);
}

TEST_F(ServerAddress, IsNotReadableWhereItLeadsInACircle) {
    fs::create_directories(settingsFile.parent_path());
    fs::create_symlink(settingsFile, settingsFile);
    EXPECT_FALSE(Na::IsNavoAddressReadable());
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(StartsWith("E IsNavoAddressReadable: The stored address cannot be read: ")));
}

TEST_F(ServerAddress, IsNeverReplacedByTheBuiltInOneWhenItCannotBeRead) {
    Na::SetNavoAddress("https://kms.example");
    const Na::NavoProxy known;  // a sanitizer takes a descriptor for its first look at an object's type
    std::unique_ptr<Na::NavoProxy> proxy;
    {
        const NoDescriptors none;
        proxy = std::make_unique<Na::NavoProxy>();
    }
    const std::uint64_t connections = Device::Calls("connection_create");
    EXPECT_EQ(proxy->NextApdu("dbus;client_1", "SEID", "1/9000"), "");
    EXPECT_EQ(Na::GetResultMessage(), "10000000_An unknown Error has occurred");
    EXPECT_EQ(Device::Calls("connection_create"), connections);
}

TEST_F(ServerAddress, IsEmptyWhileNothingIsStored) {
    EXPECT_EQ(Na::GetNavoAddress(), "");
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST_F(ServerAddress, IsReadBackAsItWasStored) {
    for (const char* url :
         {"https://kms.example:8443", "no URL at all", "caf\xC3\xA9 'quoted' \"twice\" \\", ""}) {
        world.ForgetLog();
        Na::SetNavoAddress(url);
        EXPECT_THAT(world.LocatedLog(), ElementsAre(Saved));
        EXPECT_EQ(Na::GetNavoAddress(), url);
    }
}

TEST_F(ServerAddress, StandsInItsGroupOfTheKeyFile) {
    Na::SetNavoAddress("https://kms.example");
    EXPECT_THAT(ReadFile(settingsFile), HasSubstr("[network]\nnavo-url='https://kms.example'\n"));
}

TEST_F(ServerAddress, CanBeEditedInTheFile) {
    fs::create_directories(settingsFile.parent_path());
    std::ofstream(settingsFile) << "[network]\nnavo-url='https://edited.example'\n";
    EXPECT_EQ(Na::GetNavoAddress(), "https://edited.example");
}

TEST_F(ServerAddress, IsKeptFromOtherUsers) {
    Na::SetNavoAddress("https://kms.example");
    EXPECT_EQ(ModeOf(settingsFile), 0600U);
    EXPECT_EQ(ModeOf(settingsFile.parent_path()), 0700U);
}

TEST_F(ServerAddress, LeavesNoWatchBehind) {
    for (int i = 0; i < 20; ++i) {
        Na::SetNavoAddress("https://kms.example");
        Na::GetNavoAddress();
    }
    EXPECT_EQ(Watches(), 0U);
}

TEST_F(ServerAddress, IsEmptyWithoutACompiledSchema) {
    world.RemoveSettingsSchema();
    EXPECT_EQ(Na::GetNavoAddress(), "");
    EXPECT_THAT(world.LocatedLog(), ElementsAre(StartsWith("E _init_gs: Error: "), CannotRead));
}

TEST_F(ServerAddress, IsNotStoredWithoutACompiledSchema) {
    world.RemoveSettingsSchema();
    Na::SetNavoAddress("https://kms.example");
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(StartsWith("E _init_gs: Error: "), "E SetNavoAddress: Error"));
    EXPECT_FALSE(fs::exists(settingsFile));
}

TEST_F(ServerAddress, IsEmptyWhenTheCompiledSchemaIsDamaged) {
    std::ofstream(fs::path(Locations::SchemaDirectory) / "gschemas.compiled", std::ios::trunc) << "damaged";
    EXPECT_EQ(Na::GetNavoAddress(), "");
    EXPECT_THAT(world.LocatedLog(), ElementsAre(StartsWith("E _init_gs: Error: "), CannotRead));
}

TEST_F(ServerAddress, IsEmptyWhenOnlyOtherSchemasAreThere) {
    CompileSchema(R"(<schema id="com.example.other" path="/other/"></schema>)");
    EXPECT_EQ(Na::GetNavoAddress(), "");
    Na::SetNavoAddress("https://kms.example");
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre("E _init_gs: Error", CannotRead, "E _init_gs: Error", "E SetNavoAddress: Error"));
}

TEST_F(ServerAddress, IsEmptyWhenTheSchemaLacksTheKey) {
    CompileSchema(
        R"(<schema id="com.orvenco.navoa" path="/com/orv/tuvo/"><key name="other" type="s"><default>''</default></key></schema>)");
    EXPECT_EQ(Na::GetNavoAddress(), "");
    Na::SetNavoAddress("https://kms.example");
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre("E _init_gs: Error: gs", CannotRead, "E _init_gs: Error: gs", "E SetNavoAddress: Error"));
    EXPECT_EQ(Watches(), 0U);
}

TEST_F(ServerAddress, IsEmptyWhenTheSchemaHasNoPath) {
    CompileSchema(
        R"(<schema id="com.orvenco.navoa"><key name="navo-url" type="s"><default>''</default></key></schema>)");
    EXPECT_EQ(Na::GetNavoAddress(), "");
    EXPECT_THAT(world.LocatedLog(), ElementsAre("E _init_gs: Error: gs", CannotRead));
}

TEST_F(ServerAddress, IsEmptyWhenTheSchemaHasTheKeyAsANumber) {
    CompileSchema(
        R"(<schema id="com.orvenco.navoa" path="/com/orv/tuvo/"><key name="navo-url" type="i"><default>5</default></key></schema>)");
    EXPECT_EQ(Na::GetNavoAddress(), "");
    Na::SetNavoAddress("https://kms.example");
    EXPECT_THAT(world.LocatedLog(), ElementsAre(CannotRead, "E SetNavoAddress: Error storing settings"));
}

TEST_F(ServerAddress, MayHaveAnotherDefaultInTheSchema) {
    CompileSchema(
        R"(<schema id="com.orvenco.navoa" path="/com/orv/tuvo/"><key name="navo-url" type="s"><default>'https://default.example'</default></key></schema>)");
    EXPECT_EQ(Na::GetNavoAddress(), "https://default.example");
}

TEST_F(ServerAddress, CannotBeStoredBelowAFile) {
    std::ofstream(world.Path() / "opt") << "no folder";
    Na::SetNavoAddress("https://kms.example");
    EXPECT_THAT(world.LocatedLog(), ElementsAre("E SetNavoAddress: Error storing settings"));
    EXPECT_EQ(Na::GetNavoAddress(), "");
}

TEST_F(ServerAddress, CannotBeStoredWhereAFolderStands) {
    fs::create_directories(settingsFile);
    Na::SetNavoAddress("https://kms.example");
    EXPECT_THAT(world.LocatedLog(), ElementsAre("E SetNavoAddress: Error storing settings"));
    EXPECT_EQ(Na::GetNavoAddress(), "");
}

TEST_F(ServerAddress, SurvivesADamagedKeyFile) {
    fs::create_directories(settingsFile.parent_path());
    for (const std::string& damage :
         {std::string("garbage"), std::string(5000, '\0'), std::string("[network]\nnavo-url='"),
          std::string("[network]\nnavo-url=\xFF\xFE")}) {
        std::ofstream(settingsFile, std::ios::trunc | std::ios::binary) << damage;
        EXPECT_NO_FATAL_FAILURE(Na::GetNavoAddress());
        Na::SetNavoAddress("https://kms.example");
        EXPECT_EQ(Na::GetNavoAddress(), "https://kms.example");
    }
}

TEST_F(ServerAddress, IsNotStoredWhenItIsNoUtf8) {
    Na::SetNavoAddress("https://kms.example");
    world.ForgetLog();
    Na::SetNavoAddress("https://\xFF");
    EXPECT_THAT(world.LocatedLog(), ElementsAre("E SetNavoAddress: Error storing settings"));
    EXPECT_EQ(Na::GetNavoAddress(), "https://kms.example");
}

}  // namespace
