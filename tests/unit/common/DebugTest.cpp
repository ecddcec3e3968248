// SPDX-License-Identifier: Apache-2.0
#include "common/Debug.h"

#include <glib.h>
#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

#include "tests/support/service/DeviceWorld.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

#define NAVO_SOURCE_FILE "/src/common/Example.cpp"

TEST(LogPrint, WritesErrorsInfosAndDebugLines) {
    const DeviceWorld world;
    LogPrint(LogError, "error %d", 1);
    LogPrint(LogInfo, "info: %s", "two");
    LogPrint(LogDebug, "debug");
    EXPECT_THAT(world.Log(), ElementsAre("E/error 1", "I/info: two", "D/debug"));
}

TEST(LogPrint, DropsWarningsAndTraces) {
    const DeviceWorld world;
    LogPrint(LogWarning, "warning");
    LogPrint(LogTrace, "trace");
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST(LogPrint, DropsLevelsThatDoNotExist) {
    const DeviceWorld world;
    for (const int level : {-1, 0, 6, 100}) {
        LogPrint(level, "level %d", level);
    }
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST(LogPrint, DoesNotFormatWhatItDrops) {
    const DeviceWorld world;
    const char* const unreadable = reinterpret_cast<const char*>(1);
    LogPrint(LogTrace, "%s", unreadable);
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST(LogPrint, WritesUnderTheTag) {
    const DeviceWorld world;
    LogPrint(LogInfo, "tagged");
    std::ifstream file(getenv("NAVO_DLOG"));
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_THAT(text, HasSubstr("I/NavoAgent("));
    EXPECT_STREQ(LOGGING_TAG, "NavoAgent");
}

TEST(LogPrint, WritesUnderTheTagOfTheMoment) {
    const DeviceWorld world;
    const char* const usual = LOGGING_TAG;
    LOGGING_TAG = "Wrist";
    LogPrint(LogInfo, "renamed");
    LOGGING_TAG = usual;
    std::ifstream file(getenv("NAVO_DLOG"));
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_THAT(text, HasSubstr("I/Wrist("));
}

constexpr int LineOfSayWhere = __LINE__ + 2;
void SayWhere() {
    LogPrint(LogDebug, LOCATED("here %d"), 5);
}

TEST(LogPrint, TellsFileLineAndFunction) {
    const DeviceWorld world;
    SayWhere();
    EXPECT_THAT(
        world.Log(),
        ElementsAre("D/[/src/common/Example.cpp:" + std::to_string(LineOfSayWhere) + " SayWhere] here 5"));
}

TEST(LogPrint, CanStandUnderAnotherName) {
    const DeviceWorld world;
    LogPrint(LogDebug, LOCATED_AS("/src/app/Agent.cpp", "Do", ""));
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D Do: "));
}

// The start-up objects of the program hold a capture too; a second one works the same.
TEST(GlibLogging, SwallowsGlibsMessages) {
    const DeviceWorld world;
    testing::internal::CaptureStderr();
    {
        const GlibLogging capture;
        g_log("GLib", G_LOG_LEVEL_CRITICAL, "critical of GLib");
        g_log("GLib-GIO", G_LOG_LEVEL_WARNING, "warning of another domain");
        g_message("message without a domain");
        g_base64_encode(nullptr, 5);  // a broken precondition inside of GLib
    }
    g_log("Other", G_LOG_LEVEL_WARNING, "the default handler stays replaced");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_THAT(world.Log(), IsEmpty());
}

}  // namespace
