// SPDX-License-Identifier: Apache-2.0
// What an application developer gets: the installed tree and the examples that are built and run with it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

#include "tests/support/world/World.h"

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr char Cplc[] =
    "4F5257310001506001005061AABBCCDD00424F5050654F4550664F4950700000000A4F5350710000000B";

std::string WholeText(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class Installed : public ::testing::Test {
protected:
    void SetUp() override {
        const World::Result result = world.Run(
            {NAVO_CMAKE, "--install", NAVO_BUILD_DIR, "--prefix", first.string(), "--component", "client"});
        ASSERT_EQ(result.status, 0) << result.errors;
        fs::rename(first, prefix);  // nothing in it may remember where it was put first
    }

    std::string Example(const std::string& name) const { return NAVO_EXAMPLES_DIR "/" + name; }

    World::Result WithPaths(const std::vector<std::string>& command) {
        std::vector<std::string> all = {
            "env", "PATH=" + (prefix / "bin").string() + ":/usr/bin:/bin",
            "PYTHONPATH=" + (prefix / "lib/python3/dist-packages").string()};
        all.insert(all.end(), command.begin(), command.end());
        return world.Run(all);
    }

    bool HasPythonBus() { return WithPaths({"python3", "-c", "import gi"}).status == 0; }

    World world;
    fs::path first = world.Folder() / "first";
    fs::path prefix = world.Folder() / "prefix";
};

TEST_F(Installed, BuildsTheExamplesByCMakeAndRunsThem) {
    const std::string folder = (world.Folder() / "examples").string();
    const World::Result configured = world.Run(
        {NAVO_CMAKE, "-G", "Ninja", "-S", Example("cpp"), "-B", folder,
         "-DCMAKE_PREFIX_PATH=" + prefix.string()});
    ASSERT_EQ(configured.status, 0) << configured.output << configured.errors;
    for (const char* example : {"async", "cplc", "run", "monitor"}) {
        const World::Result built = world.Run({NAVO_CMAKE, "--build", folder, "--target", example});
        ASSERT_EQ(built.status, 0) << built.output << built.errors;
    }

    world.Device().SetCplc(Cplc);
    EXPECT_EQ(world.Run({folder + "/cplc"}).output, std::string(Cplc) + "\n");
    const std::string answers = world.Run({folder + "/async"}).output;
    EXPECT_THAT(answers, testing::StartsWith("cplc: " + std::string(Cplc) + "\nmemory: "));
    world.StartKeyServer();
    const World::Result run = world.Run({folder + "/run", "demo.card"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("A4_Select Service\n"));
    const World::Result failed = world.Run({folder + "/run", "no.such"});
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.errors, HasSubstr("10300004"));
    const auto monitor = world.Start({folder + "/monitor"});
    EXPECT_TRUE(Eventually([&] { return monitor->Output() == "watching\n"; })) << monitor->Errors();
    EXPECT_EQ(world.Run({folder + "/cplc"}).status, 0);
    EXPECT_EQ(monitor->WaitForEnd(), 0);
    EXPECT_THAT(monitor->Output(), HasSubstr("session  Open\n"));
}

TEST_F(Installed, CompilesByPkgConfig) {
    const std::string modules = "PKG_CONFIG_PATH=" + (prefix / NAVO_LIBDIR / "pkgconfig").string();
    const std::string program = (world.Folder() / "by-pkg-config").string();
    const World::Result built = world.Run(
        {"sh", "-c",
         modules + " && export PKG_CONFIG_PATH && c++ -std=c++17 " + Example("cpp/cplc.cpp") + " -o " +
             program + " $(pkg-config --cflags --libs navo-client) -Wl,-rpath," +
             (prefix / NAVO_LIBDIR).string()});
    ASSERT_EQ(built.status, 0) << built.errors;
    EXPECT_EQ(world.Run({program}).status, 0);
}

TEST_F(Installed, HasASharedLibraryThatShowsWhatItsHeadersDo) {
    const std::string library = (prefix / NAVO_LIBDIR / "libnavo-client.so").string();
    // A function that goes or changes breaks who was built with it: then the library needs a new number.
    std::istringstream listed(world.Run({"nm", "-D", "-C", "--defined-only", library}).output);
    std::set<std::string> shown;
    for (std::string line; std::getline(listed, line);) {
        const std::size_t at = line.find(" T ");
        if (at != std::string::npos) {
            shown.insert(line.substr(at + 3));
        }
    }
    std::istringstream kept(WholeText(NAVO_CLIENT_SYMBOLS));
    std::set<std::string> expected;
    for (std::string line; std::getline(kept, line);) {
        if (line[0] != '#') {
            expected.insert(line);
        }
    }
    EXPECT_EQ(shown, expected);
    EXPECT_THAT(world.Run({"readelf", "-d", library}).output, HasSubstr("soname: [libnavo-client.so.1]"));
}

TEST_F(Installed, NamesNoPlaceOfTheTreeThatItCameFrom) {
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(prefix)) {
        const fs::path extension = entry.path().extension();
        if (extension == ".pc" || extension == ".cmake" || extension == ".py") {
            const std::string text = WholeText(entry.path());
            EXPECT_THAT(text, Not(HasSubstr(first.string()))) << entry.path();
            EXPECT_THAT(text, Not(HasSubstr(NAVO_EXAMPLES_DIR))) << entry.path();
        }
    }
}

TEST_F(Installed, RunsThePythonExamples) {
    if (!HasPythonBus()) {
        GTEST_SKIP() << "Python has no gi";
    }
    world.Device().SetCplc(Cplc);
    const World::Result cplc = WithPaths({"python3", Example("python/cplc.py")});
    EXPECT_EQ(cplc.output, std::string(Cplc) + "\n") << cplc.errors;
    world.StartKeyServer();
    const World::Result run = WithPaths({"python3", Example("python/run.py"), "demo.card"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("A4_Select Service\n"));
    EXPECT_THAT(run.output, HasSubstr("done\n"));
    const World::Result failed = WithPaths({"python3", Example("python/run.py"), "no.such"});
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.errors, HasSubstr("JobFailed: 10300004"));
}

TEST_F(Installed, RunsTheBashExamples) {
    world.Device().SetCplc(Cplc);
    EXPECT_EQ(WithPaths({Example("bash/cplc.sh")}).output, std::string(Cplc) + "\n");
    world.StartKeyServer();
    const World::Result run = WithPaths({Example("bash/run.sh"), "demo.card"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("A4_Select Service\n"));
}

}  // namespace
