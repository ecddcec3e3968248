// SPDX-License-Identifier: Apache-2.0
#include "common/Utils.h"

#include <gmock/gmock.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <fstream>
#include <future>
#include <mutex>
#include <thread>

#include "common/Debug.h"
#include "common/ThreadSafety.h"
#include "tests/support/service/DeviceWorld.h"

using Na::Bytes;
using Na::CompletionEvent;
using Na::Mutex;
using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = std::filesystem;

namespace {

constexpr unsigned TimedOut = 0xFFFFFFFF;

bool IsFree(Mutex& mutex) {
    return std::async(
               std::launch::async,
               [&] {
                   const bool taken = pthread_mutex_trylock(mutex.Native()) == 0;
                   if (taken) {
                       pthread_mutex_unlock(mutex.Native());
                   }
                   return taken;
               })
        .get();
}

// Puts a mutex that knows its owner in the place of the plain one, as a stricter platform would have it.
void MakeStrict(Mutex& mutex) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_destroy(mutex.Native());
    pthread_mutex_init(mutex.Native(), &attributes);
    pthread_mutexattr_destroy(&attributes);
}

// The mistake is the point.
void ReleaseUnowned(Mutex& mutex) UNCHECKED_LOCKING {
    mutex.Release();
}

// Returns when the wall clock's milliseconds within the second are in the given range.
void AwaitMilliseconds(long from, long to) {
    timespec now = {};
    do {
        clock_gettime(CLOCK_REALTIME, &now);
    } while (now.tv_nsec < from * 1000000 || now.tv_nsec > to * 1000000);
}

// Takes root's power over files from this thread for as long as it lives; no change for anybody else.
class OrdinaryUser {
public:
    OrdinaryUser() : before(setfsuid(Nobody)) {}
    ~OrdinaryUser() { setfsuid(static_cast<uid_t>(before)); }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

private:
    static constexpr uid_t Nobody = 65534;
    int before;
};

mode_t ModeOf(const fs::path& path) {
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode;
}

TEST(Mutex, IsFreeUntilItIsAcquired) {
    Mutex mutex;
    EXPECT_TRUE(IsFree(mutex));
    mutex.Acquire();
    EXPECT_FALSE(IsFree(mutex));
    mutex.Release();
    EXPECT_TRUE(IsFree(mutex));
}

TEST(Mutex, CanBeMadeAcquired) {
    Mutex mutex(true);
    EXPECT_FALSE(IsFree(mutex));
}

TEST(Mutex, LocksAScope) {
    Mutex mutex;
    {
        const Na::Lock lock(mutex);
        EXPECT_FALSE(IsFree(mutex));
    }
    EXPECT_TRUE(IsFree(mutex));
}

TEST(Mutex, ReportsThatItIsReleasedByAThreadThatDoesNotOwnIt) {
    const DeviceWorld world;
    Mutex mutex;
    MakeStrict(mutex);
    ReleaseUnowned(mutex);
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre("D Release: Incorrect behaviour: current thread does not own mutex"));
}

TEST(Mutex, GoesWithoutAWordWhetherItIsFreeOrHeld) {
    const DeviceWorld world;
    {
        const Mutex free;
    }
    {
        const Mutex held(true);
    }
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST(CompletionEvent, GivesTheTimeoutItselfWhenNothingIsInProgress) {
    CompletionEvent event;
    EXPECT_EQ(event.Wait(1234), 1234U);
}

TEST(CompletionEvent, ReturnsAtOnceWithoutATimeoutWhenNothingIsInProgress) {
    CompletionEvent event;
    EXPECT_EQ(event.Wait(0), 0U);
}

TEST(CompletionEvent, IsNotInProgressAnyMoreOnceItIsDone) {
    CompletionEvent event;
    event.Start();
    event.Done();
    EXPECT_EQ(event.Wait(77), 77U);
    EXPECT_EQ(event.Wait(0), 0U);
}

TEST(CompletionEvent, CanBeDoneWithoutHavingStarted) {
    CompletionEvent event;
    event.Done();
    EXPECT_EQ(event.Wait(5), 5U);
}

TEST(CompletionEvent, RunsOutOfTimeWhileWorkIsInProgress) {
    CompletionEvent event;
    event.Start();
    AwaitMilliseconds(0, 800);  // the deadline stays within the second
    EXPECT_EQ(event.Wait(20), TimedOut);
}

TEST(CompletionEvent, GivesTheRemainingTimeWhenTheDeadlineHasTooManyNanoseconds) {
    CompletionEvent event;
    event.Start();
    AwaitMilliseconds(100, 800);
    const auto start = std::chrono::steady_clock::now();
    const unsigned remaining = event.Wait(5950);  // 950 ms more than 50 ms are not carried into the seconds
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_GT(remaining, 950U);
    EXPECT_LE(remaining, 5950U);
}

TEST(CompletionEvent, GivesZeroWhenItIsWokenBeforeTheDeadline) {
    CompletionEvent event;
    event.Start();
    AwaitMilliseconds(0, 900);
    auto waiter = std::async(std::launch::async, [&] { return event.Wait(60000); });
    event.Done();
    const unsigned result = waiter.get();
    EXPECT_TRUE(result == 0 || result == 60000) << result;  // the latter when it was done before the wait
}

TEST(CompletionEvent, WakesAThreadThatWaitsWithoutATimeout) {
    CompletionEvent event;
    event.Start();
    auto waiter = std::async(std::launch::async, [&] { return event.Wait(0); });
    event.Done();
    EXPECT_EQ(waiter.get(), 0U);
}

TEST(SystemMkDir, MakesAFolderAndItsMissingParentsForTheOwnerAlone) {
    const DeviceWorld world;
    const fs::path inner = world.Path() / "b" / "c";
    EXPECT_TRUE(Na::SystemMkDir(inner.string()));
    EXPECT_EQ(ModeOf(world.Path() / "b"), S_IFDIR | 0700U);
    EXPECT_EQ(ModeOf(inner), S_IFDIR | 0700U);
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST(SystemMkDir, IgnoresSlashesAtTheEnd) {
    const DeviceWorld world;
    EXPECT_TRUE(Na::SystemMkDir((world.Path() / "b").string() + "///"));
    EXPECT_TRUE(fs::is_directory(world.Path() / "b"));
}

TEST(SystemMkDir, TakesRepeatedSlashesForOne) {
    const DeviceWorld world;
    EXPECT_TRUE(Na::SystemMkDir(world.Path().string() + "//b///c"));
    EXPECT_TRUE(fs::is_directory(world.Path() / "b" / "c"));
}

TEST(SystemMkDir, IsContentWithAnExistingFileOfAnyKind) {
    const DeviceWorld world;
    std::ofstream(world.Path() / "file") << "x";
    EXPECT_TRUE(Na::SystemMkDir((world.Path() / "file").string()));
    EXPECT_TRUE(Na::SystemMkDir(world.Path().string()));
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST(SystemMkDir, RefusesAnEmptyPath) {
    const DeviceWorld world;
    EXPECT_FALSE(Na::SystemMkDir(""));
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D SystemMkDir: Empty path"));
}

TEST(SystemMkDir, RefusesARelativePath) {
    const DeviceWorld world;
    EXPECT_FALSE(Na::SystemMkDir("a/b"));
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D SystemMkDir: Only absolute path is supported: a/b"));
    EXPECT_FALSE(fs::exists(world.Path() / "a"));
}

TEST(SystemMkDir, NeverMakesAFolderDirectlyBelowTheRoot) {
    const DeviceWorld world;
    EXPECT_FALSE(Na::SystemMkDir("/no-such-folder-at-the-top"));
    EXPECT_FALSE(Na::SystemMkDir("/no-such-folder-at-the-top/b"));
    EXPECT_FALSE(Na::SystemMkDir("//no-such-folder-at-the-top"));
    EXPECT_FALSE(Na::SystemMkDir("/"));
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(
                                "D SystemMkDir: Internal error", "D SystemMkDir: Internal error",
                                "D SystemMkDir: Internal error", "D SystemMkDir: Internal error"));
    EXPECT_FALSE(fs::exists("/no-such-folder-at-the-top"));
}

TEST(SystemMkDir, SaysThatAPartOfThePathIsNoFolder) {
    const DeviceWorld world;
    const std::string file = (world.Path() / "file").string();
    std::ofstream(file) << "x";
    EXPECT_FALSE(Na::SystemMkDir(file + "/b"));
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D SystemMkDir: Path '" + file + "/b' is not a dir"));
}

TEST(SystemMkDir, SaysThatItIsNotPermitted) {
    const DeviceWorld world;
    const fs::path closed = world.Path() / "closed";
    fs::create_directory(closed);
    fs::permissions(closed, fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_exec);
    LogPrint(LogError, "the log's file exists from here on");
    for (const auto& entry : fs::recursive_directory_iterator(world.Path())) {
        if (entry.is_regular_file()) {
            fs::permissions(entry, fs::perms::all);
        }
    }
    fs::permissions(world.Path(), fs::perms::all);
    {
        const OrdinaryUser user;
        EXPECT_FALSE(Na::SystemMkDir((closed / "b").string()));
    }
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre("D SystemMkDir: Can't create folder '" + (closed / "b").string() + "': not permitted"));
}

TEST(SystemMkDir, SaysThatAFolderCannotBeMadeForAnyOtherReason) {
    const DeviceWorld world;
    const fs::path link = world.Path() / "link";
    fs::create_symlink(world.Path() / "nowhere" / "at-all", link);
    EXPECT_FALSE(Na::SystemMkDir(link.string()));
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D SystemMkDir: Error creating dir '" + link.string() + "'"));
}

// The system's own folder of processes takes no other folder, and says that there is no such file.
TEST(SystemMkDir, SaysNothingWhenThereIsNoPlaceForAFolder) {
    const DeviceWorld world;
    EXPECT_FALSE(Na::SystemMkDir("/proc/no-such-process"));
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST(SystemMkDir, EndsOnAPathThatTheSystemFindsTooLong) {
    const DeviceWorld world;
    std::string path = world.Path().string();
    while (path.size() < 100000) {
        path += "/x";
    }
    EXPECT_FALSE(Na::SystemMkDir(path));
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D SystemMkDir: Error creating dir '" + path + "'"));
}

TEST(IntToString, WritesPlainDecimalNumbers) {
    EXPECT_EQ(Na::IntToString(0, 10), "0");
    EXPECT_EQ(Na::IntToString(-15, 10), "-15");
    EXPECT_EQ(Na::IntToString(INT32_MIN, 10), "-2147483648");
}

TEST(IntToString, WritesAtLeastTwoHexadecimalDigits) {
    EXPECT_EQ(Na::IntToString(0, 16), "00");
    EXPECT_EQ(Na::IntToString(0xABC, 16), "ABC");
    EXPECT_EQ(Na::IntToString(-1, 16), "FFFFFFFF");
}

TEST(IntToString, RefusesAnotherBase) {
    const DeviceWorld world;
    EXPECT_EQ(Na::IntToString(5, 8), "");
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre("E IntToString: Sorry. Base other than 10 or 16 are not supported"));
}

TEST(UintToString, WritesDecimalAndHexadecimalNumbers) {
    EXPECT_EQ(Na::UintToString(4294967295U, 10), "4294967295");
    EXPECT_EQ(Na::UintToString(255, 16), "FF");
    EXPECT_EQ(Na::UintToString(5, 16), "05");
    EXPECT_EQ(Na::UintToString(4294967295U, 16), "FFFFFFFF");
}

TEST(UintToString, RefusesAnotherBase) {
    const DeviceWorld world;
    EXPECT_EQ(Na::UintToString(5, 8), "");
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre("E UintToString: Sorry. Base other than 10 or 16 are not supported"));
}

TEST(BytesToHex, WritesTwoUpperCaseDigitsForEachByte) {
    EXPECT_EQ(Na::BytesToHex(Bytes{0x00, 0x0A, 0x1B, 0xFF}), "000A1BFF");
    EXPECT_EQ(Na::BytesToHex(Bytes{}), "");
    const std::uint8_t bytes[] = {0xDE, 0xAD, 0xBE};
    EXPECT_EQ(Na::BytesToHex(bytes, 2), "DEAD");
}

TEST(HexToBytes, ReadsDigitsOfEitherCase) {
    EXPECT_EQ(Na::HexToBytes("0a1B"), (Bytes{0x0A, 0x1B}));
    EXPECT_EQ(
        Na::HexToBytes("ABCDEFabcdef0123456789"),
        (Bytes{0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF, 0x01, 0x23, 0x45, 0x67, 0x89}));
    EXPECT_EQ(Na::HexToBytes(""), Bytes{});
}

TEST(HexToBytes, EndsAnOddTextWithALowNibbleOfZero) {
    EXPECT_EQ(Na::HexToBytes("ABC"), (Bytes{0xAB, 0xC0}));
    EXPECT_EQ(Na::HexToBytes("7"), (Bytes{0x70}));
}

TEST(HexToBytes, AddsWhatOtherCharactersGive) {
    EXPECT_EQ(Na::HexToBytes("0O"), (Bytes{24}));          // 0x4F: 9 + 15
    EXPECT_EQ(Na::HexToBytes("OO"), (Bytes{0x98}));        // 24 * 16 + 24, modulo 256
    EXPECT_EQ(Na::HexToBytes("1 "), (Bytes{0x10}));        // 0x20: 0
    EXPECT_EQ(Na::HexToBytes("0?"), (Bytes{0x0F}));        // 0x3F is below the letters: 15
    EXPECT_EQ(Na::HexToBytes("\xFF\xE0"), (Bytes{0x89}));  // (9 + 15) * 16 + 9, modulo 256
}

TEST(StringToBytes, KeepsEveryByte) {
    EXPECT_EQ(Na::StringToBytes(std::string("a\0\xFF", 3)), (Bytes{'a', 0, 0xFF}));
    EXPECT_EQ(Na::StringToBytes(""), Bytes{});
}

TEST(StringToLong, ReadsTheLeadingDigits) {
    EXPECT_EQ(Na::StringToLong("42abc", 10), 42);
    EXPECT_EQ(Na::StringToLong("  -7", 10), -7);
    EXPECT_EQ(Na::StringToLong("0x1F4Z", 16), 0x1F4);
    EXPECT_EQ(Na::StringToLong("none", 10), 0);
    EXPECT_EQ(Na::StringToLong("", 16), 0);
    EXPECT_EQ(Na::StringToLong("99999999999999999999999", 10), LONG_MAX);
}

TEST(Base64, EncodesEveryByte) {
    EXPECT_EQ(Na::Base64Encode(""), "");
    EXPECT_EQ(Na::Base64Encode("f"), "Zg==");
    EXPECT_EQ(Na::Base64Encode("foobar"), "Zm9vYmFy");
    EXPECT_EQ(Na::Base64Encode(std::string("\0\xFF", 2)), "AP8=");
}

TEST(Base64, DecodesUpToTheFirstZeroByte) {
    EXPECT_EQ(Na::Base64Decode(""), "");
    EXPECT_EQ(Na::Base64Decode("Zm9vYmFy"), "foobar");
    EXPECT_EQ(Na::Base64Decode("YQBi"), "a");  // a, zero, b
    EXPECT_EQ(Na::Base64Decode("AP8="), "");
}

}  // namespace
