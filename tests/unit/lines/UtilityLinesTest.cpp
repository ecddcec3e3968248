// SPDX-License-Identifier: Apache-2.0
// What the small facilities tell of their work.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <cstdio>
#include <deque>
#include <fstream>

#include "common/Utils.h"
#include "tests/support/service/AllLines.h"
#include "tests/support/service/DeviceWorld.h"

namespace {

using testing::ElementsAre;

// What the next waits without a timeout give at once; without any, the system waits. The link option --wrap
// leads the service's calls here.
std::deque<int> waitResults;

class FolderLines : public testing::Test {
protected:
    FolderLines() { AllLines().clear(); }

    const DeviceWorld world;
    const std::string root = world.Path().string();
};

// The line with the address of the event that writes it.
std::string Line(const std::string& text, const Na::CompletionEvent& event) {
    char address[32];
    std::snprintf(address, sizeof address, "%p", static_cast<const void*>(&event));
    return text + address;
}

}  // namespace

extern "C" {

int __real_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex);
int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex);

int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    if (waitResults.empty()) {
        return __real_pthread_cond_wait(condition, mutex);
    }
    const int result = waitResults.front();
    waitResults.pop_front();
    return result;
}

}  // extern "C"

TEST_F(FolderLines, ShowEachFolderFromTheOutermostMissingOne) {
    EXPECT_TRUE(Na::SystemMkDir(root + "/b/c/"));
    EXPECT_THAT(
        LinesOfSource("common/Utils.cpp"),
        ElementsAre(
            "T SystemMkDir: Creating parent folder: " + root + "/b",
            "T SystemMkDir: Creating parent folder: " + root,
            "T SystemMkDir: Path '" + root + "' already exists", "T SystemMkDir: mkdir " + root + "/b",
            "T SystemMkDir: mkdir " + root + "/b/c"));
}

TEST_F(FolderLines, SayThatAPathExistsWithoutItsSlashesAtTheEnd) {
    EXPECT_TRUE(Na::SystemMkDir(root + "//"));
    EXPECT_THAT(
        LinesOfSource("common/Utils.cpp"), ElementsAre("T SystemMkDir: Path '" + root + "' already exists"));
}

TEST_F(FolderLines, SayThatAFolderBelowTheRootHasNoParent) {
    EXPECT_FALSE(Na::SystemMkDir("/no-such-folder-at-the-top"));
    EXPECT_THAT(
        LinesOfSource("common/Utils.cpp"),
        ElementsAre("D SystemMkDir: Internal error", "T SystemMkDir: Can't determine parent folder path"));
}

TEST_F(FolderLines, SayInTheSystemsWordsThatAPathCannotBeLookedAt) {
    std::ofstream(world.Path() / "file") << "x";
    const std::string path = root + "/file/b";
    EXPECT_FALSE(Na::SystemMkDir(path));
    EXPECT_THAT(
        LinesOfSource("common/Utils.cpp"),
        ElementsAre(
            "T SystemMkDir: Error obtaining info for path " + path + ": Not a directory",
            "D SystemMkDir: Path '" + path + "' is not a dir"));
}

TEST(EventLines, ShowTheEventAtEachStep) {
    AllLines().clear();
    Na::CompletionEvent event;
    event.Start();
    event.Done();
    event.Wait(0);
    event.Wait(5);
    EXPECT_THAT(
        LinesOfSource("common/Utils.cpp"),
        ElementsAre(
            Line("T Start: Start ", event), Line("T Done: Up ", event), Line("T Wait: ", event),
            Line("T Wait: Wait ", event), Line("T Wait: Finished ", event), Line("T Wait: ", event),
            Line("T Wait: Wait ", event), "T Wait: Waiting for Done", Line("T Wait: Finished ", event)));
}

TEST(EventLines, ShowEachWaitWithoutATimeoutAndTheErrorThatEndsIt) {
    Na::CompletionEvent event;
    event.Start();
    AllLines().clear();
    waitResults = {0, EINVAL};
    event.Wait(0);
    EXPECT_THAT(
        LinesOfSource("common/Utils.cpp"),
        ElementsAre(
            Line("T Wait: ", event), Line("T Wait: Wait ", event), "T Wait: Waiting for Done",
            "T Wait: Waiting for Done", "T Wait: cond_wait aborted: " + std::to_string(EINVAL),
            Line("T Wait: Finished ", event)));
}
