// SPDX-License-Identifier: Apache-2.0
// The stored address where nothing can be written: on a small file system of the test's own, or where files
// may not grow.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>

#include "app/ServerAddress.h"
#include "common/Locations.h"
#include "tests/support/service/DeviceWorld.h"

using testing::Contains;

namespace fs = std::filesystem;

namespace {

constexpr char Former[] = "https://former.example";
constexpr char StoringFailed[] = "E SetNavoAddress: Error storing settings";

void WriteFile(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}

// Gives this process mounts of its own, each with a type, which valgrind wants to see; false where the system
// forbids it.
bool HasOwnMounts() {
    static const bool own = [] {
        const std::string user = std::to_string(getuid());
        const std::string group = std::to_string(getgid());
        if (unshare(CLONE_NEWNS) != 0) {
            if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
                return false;
            }
            WriteFile("/proc/self/setgroups", "deny");
            WriteFile("/proc/self/uid_map", user + " " + user + " 1");
            WriteFile("/proc/self/gid_map", group + " " + group + " 1");
        }
        return mount(nullptr, "/", "", MS_REC | MS_PRIVATE, nullptr) == 0;
    }();
    return own;
}

class FullDisk : public testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(folder);
        if (!HasOwnMounts() || mount("small", folder.c_str(), "tmpfs", 0, "size=64k,nr_inodes=12") != 0) {
            GTEST_SKIP() << "this place allows no mounts of one's own: " << std::strerror(errno);
        }
        mounted = true;
        Na::SetNavoAddress(Former);
        ASSERT_EQ(Na::GetNavoAddress(), Former);
        world.ForgetLog();
    }

    ~FullDisk() override {
        for (bool more = mounted; more;) {
            more = umount2(file.c_str(), MNT_DETACH) == 0;
        }
        if (mounted) {
            umount2(folder.c_str(), MNT_DETACH);
        }
    }

    // Writes until the file system takes no more, then takes so many bytes back.
    void Fill(off_t left = 0) {
        const int filler = open((folder / "filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        const std::string block(1024, 'x');
        while (write(filler, block.data(), block.size()) > 0) {
        }
        EXPECT_EQ(ftruncate(filler, lseek(filler, 0, SEEK_END) - left), 0);
        close(filler);
    }

    void FillNames() {
        for (int i = 0; std::ofstream(folder / std::to_string(i)); ++i) {
        }
    }

    void ExpectTheFormerAddressAfterStoring(const std::string& address) {
        Na::SetNavoAddress(address);
        EXPECT_THAT(world.LocatedLog(), Contains(StoringFailed));
        EXPECT_EQ(Na::GetNavoAddress(), Former);
    }

    DeviceWorld world;
    const fs::path file = Locations::SettingsFile;
    const fs::path folder = file.parent_path();
    bool mounted = false;
};

TEST_F(FullDisk, KeepsTheFormerAddress) {
    Fill();
    ExpectTheFormerAddressAfterStoring("https://new.example");
}

TEST_F(FullDisk, KeepsTheFormerAddressWhenItFillsInTheMiddle) {
    Fill(4096);
    ExpectTheFormerAddressAfterStoring("https://" + std::string(20000, 'n'));
}

TEST_F(FullDisk, KeepsTheFormerAddressWhenNoNameIsLeft) {
    FillNames();
    ExpectTheFormerAddressAfterStoring("https://new.example");
}

TEST_F(FullDisk, KeepsTheFormerAddressWhenItMayOnlyBeRead) {
    ASSERT_EQ(mount(nullptr, folder.c_str(), "", MS_REMOUNT | MS_RDONLY, nullptr), 0);
    ExpectTheFormerAddressAfterStoring("https://new.example");
}

TEST_F(FullDisk, KeepsTheFormerAddressWhenTheFileCannotBeReplaced) {
    ASSERT_EQ(mount(file.c_str(), file.c_str(), "", MS_BIND, nullptr), 0);
    ExpectTheFormerAddressAfterStoring("https://new.example");
}

TEST_F(FullDisk, StoresAgainOnceThereIsRoom) {
    Fill();
    Na::SetNavoAddress("https://lost.example");
    fs::remove(folder / "filler");
    Na::SetNavoAddress("https://new.example");
    EXPECT_EQ(Na::GetNavoAddress(), "https://new.example");
    EXPECT_FALSE(fs::exists(file.string() + ".former"));
}

// For as long as it stands, this process may write to no file.
class NoGrowth {
public:
    NoGrowth() : former(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit none = {0, limit.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
    }
    ~NoGrowth() {
        setrlimit(RLIMIT_FSIZE, &limit);
        std::signal(SIGXFSZ, former);
    }
    NoGrowth(const NoGrowth&) = delete;
    NoGrowth& operator=(const NoGrowth&) = delete;

private:
    rlimit limit = {};
    void (*former)(int);
};

class GrowthRefused : public testing::Test {
protected:
    GrowthRefused() { Na::SetNavoAddress(Former); }

    // The log is a file too, and says nothing of it.
    static void StoreInVain() {
        const NoGrowth refused;
        Na::SetNavoAddress("https://new.example");
    }

    DeviceWorld world;
    const fs::path file = Locations::SettingsFile;
};

TEST_F(GrowthRefused, KeepsTheFormerAddress) {
    StoreInVain();
    EXPECT_EQ(Na::GetNavoAddress(), Former);
}

TEST_F(GrowthRefused, LeavesNoFileWhereNoneWas) {
    fs::remove(file);
    StoreInVain();
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(Na::GetNavoAddress(), "");
}

TEST_F(GrowthRefused, KeepsAFileThatHeldNoAddress) {
    fs::remove(file);
    WriteFile(file, "[other]\nname='value'\n");
    StoreInVain();
    std::ifstream kept(file);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), {}), "[other]\nname='value'\n");
}

class InterruptedWrite : public testing::Test {
protected:
    InterruptedWrite() {
        Na::SetNavoAddress(Former);
        fs::create_hard_link(file, former);
    }

    DeviceWorld world;
    const fs::path file = Locations::SettingsFile;
    const fs::path former = file.string() + ".former";
};

TEST_F(InterruptedWrite, GivesTheFormerAddressBackFromAnEmptyFile) {
    fs::remove(file);
    WriteFile(file, "");
    EXPECT_EQ(Na::GetNavoAddress(), Former);
    EXPECT_FALSE(fs::exists(former));
}

TEST_F(InterruptedWrite, KeepsTheNewAddressOnceItWasWritten) {
    fs::remove(file);
    WriteFile(file, "[network]\nnavo-url='https://new.example'\n");
    EXPECT_EQ(Na::GetNavoAddress(), "https://new.example");
    EXPECT_FALSE(fs::exists(former));
}

}  // namespace
