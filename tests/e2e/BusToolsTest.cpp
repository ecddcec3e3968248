// SPDX-License-Identifier: Apache-2.0
// The service as people meet it who have the bus's own tools and nothing of ours.
#include <gtest/gtest.h>
#include <unistd.h>

#include <sstream>

#include "tests/support/world/World.h"

namespace {

bool IsInstalled(const std::string& program) {
    std::istringstream folders(getenv("PATH"));
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (access((folder + "/" + program).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

TEST(BusTools, GdbusOpensASessionAsksAndReadsTheDescription) {
    if (!IsInstalled("gdbus")) {
        GTEST_SKIP() << "gdbus is not installed";
    }
    World world;
    const auto gdbus = [&](const std::string& what, const std::vector<std::string>& arguments) {
        std::vector<std::string> command = {
            "gdbus", what, "--system", "--dest", "com.orvenco.navoa", "--object-path", "/com/orvenco/navoa"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return world.Run(command);
    };
    const auto call = [&](const std::string& method, const std::vector<std::string>& arguments) {
        std::vector<std::string> all = {"--method", "com.orvenco.navoa." + method};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return gdbus("call", all).output;
    };
    EXPECT_EQ(call("Session", {"{'Session': 'Open'}"}), "({'ReturnCode': 'Success'},)\n");
    // Each call is a process of its own, which is not the one that opened.
    EXPECT_EQ(call("Cmd", {"{'Cmd': '67'}"}), "({'ReturnCode': 'Wrong parameters'},)\n");
    EXPECT_EQ(call("Exec", {"{'Cmd': '67'}", "tag"}), "({'ReturnCode': 'Wrong parameters'},)\n");
    EXPECT_EQ(call("Session", {"{'Session': 'Close'}"}), "({'ReturnCode': 'Success'},)\n");

    const std::string description = gdbus("introspect", {}).output;
    for (const char* part :
         {"interface com.orvenco.navoa {", "Session(in  a{ss} data,", "Cmd(in  a{ss} args,",
          "Exec(in  a{ss} args,", "in  s result_tag,", "Progress(s value);"}) {
        EXPECT_NE(description.find(part), std::string::npos) << part << " in\n" << description;
    }
}

TEST(BusTools, BusctlOpensASessionAsksAndReadsTheDescription) {
    if (!IsInstalled("busctl")) {
        GTEST_SKIP() << "busctl is not installed";
    }
    World world;
    const auto busctl = [&](const std::vector<std::string>& arguments) {
        std::vector<std::string> command = {"busctl", "--no-pager", "--address=" + world.BusAddress()};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return world.Run(command);
    };
    const auto call = [&](const std::vector<std::string>& arguments) {
        std::vector<std::string> all = {
            "call", "com.orvenco.navoa", "/com/orvenco/navoa", "com.orvenco.navoa"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return busctl(all).output;
    };
    EXPECT_EQ(call({"Session", "a{ss}", "1", "Session", "Open"}), "a{ss} 1 \"ReturnCode\" \"Success\"\n");
    EXPECT_EQ(call({"Cmd", "a{ss}", "1", "Cmd", "67"}), "a{ss} 1 \"ReturnCode\" \"Wrong parameters\"\n");
    EXPECT_EQ(call({"Session", "a{ss}", "1", "Session", "Close"}), "a{ss} 1 \"ReturnCode\" \"Success\"\n");

    const World::Result description =
        busctl({"introspect", "com.orvenco.navoa", "/com/orvenco/navoa", "com.orvenco.navoa"});
    for (const char* part : {".Session", ".Cmd", ".Exec", ".Progress", "a{ss}s"}) {
        EXPECT_NE(description.output.find(part), std::string::npos)
            << part << " in\n"
            << description.output << description.errors;
    }
}

}  // namespace
