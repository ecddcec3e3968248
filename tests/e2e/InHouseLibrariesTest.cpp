// SPDX-License-Identifier: Apache-2.0
// Jobs that end in the maker's in-house libraries.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/service/ResultTexts.h"
#include "tests/support/world/Script.h"
#include "tests/support/world/World.h"

namespace {

using ResultText::ElementRefused;

using Navo::Map;

class CcmScript : public ::testing::Test {
protected:
    CcmScript() { world.InstallInHouseLibraries(); }

    // The script that the secure-SPI library converts into these commands.
    std::string Of(const std::string& commands) {
        const World::Result result = world.Run({"sh", "-c", "printf '" + commands + "' | " NAVO_CCM_PROGRAM});
        EXPECT_EQ(result.status, 0) << result.errors;
        return result.output.substr(0, result.output.find('\n'));
    }

    Map Play(const std::string& script) const {
        return world.Ask({{"Cmd", "90"}, {"CcmScriptData", script}});
    }

    static Map Verdict(const std::string& verdict, const std::string& result) {
        return {{"LccmReturnCode", verdict}, {"ReturnCode", result}};
    }

    World world;
};

TEST_F(CcmScript, IsPlayedToTheCard) {
    EXPECT_EQ(Play(Of("00A4040000\\n80CA9F7F00\\n")), Verdict("0", Done));
    EXPECT_TRUE(world.LogHas("command header: 80CA9F7F"));
}

TEST_F(CcmScript, EndsAtAStatusWordThatIsRefused) {
    EXPECT_EQ(Play(Of("80CA123400\\n00A4040000\\n")), Verdict("-5", Done));
    EXPECT_FALSE(world.LogHas("command header: 00A40400"));
}

TEST_F(CcmScript, ThatIsNoneIsNotConverted) {
    EXPECT_EQ(Play("00112233"), Verdict("-4", UnknownError));
    EXPECT_EQ(Play(""), Verdict("-4", UnknownError));
    EXPECT_EQ(world.Ask({{"Cmd", "90"}}), Verdict("-4", UnknownError));
}

TEST_F(CcmScript, NeedsItsLibrary) {
    world.RemoveInHouseLibraries();
    EXPECT_EQ(Play(Of("00A4040000\\n")), Verdict("-2", UnknownError));
}

TEST_F(CcmScript, NeedsTheSecureChannel) {
    world.Device().Break("openSecureSpi", "0");
    EXPECT_EQ(Play(Of("00A4040000\\n")), Verdict("-3", UnknownError));
}

TEST_F(CcmScript, NeedsTheSecureElement) {
    const std::string script = Of("00A4040000\\n");
    world.Device().Break("nfc_se_open_secure_element", "NFC_ERROR_PERMISSION_DENIED");
    EXPECT_EQ(Play(script), Verdict("-3", ElementRefused));
}

class KeyProvisioning : public ::testing::Test {
protected:
    World world;
};

TEST_F(KeyProvisioning, AlwaysAnswersWithANumberAlone) {
    const Map inject = {{"Cmd", "3F0"},        {"keyName", "wallet"},
                        {"keyType", "1"},      {"injectionType", "1"},
                        {"encodingType", "1"}, {"dalmData", "000102030405060708090A0B0C0D0E0F"}};
    EXPECT_EQ(world.Ask(inject), (Map{{"ReturnCode", "-2"}})) << "there is no library yet";
    world.InstallInHouseLibraries();
    EXPECT_EQ(world.Ask(inject), (Map{{"ReturnCode", "0"}}));
    EXPECT_EQ(world.Ask({{"Cmd", "3F0"}}), (Map{{"ReturnCode", "-12"}})) << "a key has a name";
    EXPECT_EQ(world.Ask({{"Cmd", "3FF"}}), (Map{{"ReturnCode", "-2"}}));
    EXPECT_EQ(
        world.Ask({{"Cmd", "3F2"}, {"keyName", "wallet"}, {"keyType", "3"}, {"injectionType", "1"}}),
        (Map{{"ReturnCode", "-11"}}));
}

TEST_F(KeyProvisioning, GivesAKeyBackInASession) {
    world.InstallInHouseLibraries();
    const std::string key = "000102030405060708090A0B0C0D0E0F";
    Navo::Session session(world.Options());
    EXPECT_EQ(
        session
            .Call(
                {{"Cmd", "3F0"},
                 {"keyName", "wallet"},
                 {"keyType", "1"},
                 {"injectionType", "1"},
                 {"encodingType", "1"},
                 {"dalmData", key}})
            .at("ReturnCode"),
        "0");
    EXPECT_EQ(
        session.Call(
            {{"Cmd", "3F3"},
             {"keyName", "wallet"},
             {"keyType", "1"},
             {"encodingType", "1"},
             {"dalmDataSize", "64"}}),
        (Map{{"ReturnCode", "16"}, {"dalmData", key}}));
    EXPECT_EQ(session.Call({{"Cmd", "3F4"}}), (Map{{"ReturnCode", "0"}}));
}

// Whether a process has a mapping of the library.
bool HasLoaded(pid_t process, const std::string& library) {
    return TextOf("/proc/" + std::to_string(process) + "/maps").find("/" + library) != std::string::npos;
}

TEST_F(KeyProvisioning, KeepsTheLibraryInTheServiceForTheSessionOnly) {
    constexpr char Library[] = "liborv_dalm.so";
    world.InstallInHouseLibraries();
    Navo::Session session(world.Options());
    const pid_t service = world.ServiceProcess();
    session.Call(
        {{"Cmd", "3F0"},
         {"keyName", "wallet"},
         {"keyType", "1"},
         {"injectionType", "1"},
         {"encodingType", "1"},
         {"dalmData", "C3"}});
    EXPECT_FALSE(HasLoaded(service, Library));
    const Map open = {
        {"Cmd", "3F3"},
        {"keyName", "wallet"},
        {"keyType", "1"},
        {"encodingType", "2"},
        {"dalmDataSize", "64"}};
    EXPECT_EQ(session.Call(open), (Map{{"ReturnCode", "1"}})) << "half a character is no text";
    EXPECT_TRUE(HasLoaded(service, Library));
    // The session is the service's: another client can release it.
    const auto other = world.StartClient("com.example.other");
    other->OpenSession();
    EXPECT_EQ(other->Call({{"Cmd", "3F4"}}), (Map{{"ReturnCode", "0"}}));
    other->CloseSession();
    EXPECT_FALSE(HasLoaded(service, Library));
}

TEST_F(KeyProvisioning, IsInReachOfNavoctl) {
    world.InstallInHouseLibraries();
    const auto run = [&](const std::string& words) {
        std::istringstream stream(words);
        std::vector<std::string> arguments;
        for (std::string word; stream >> word;) {
            arguments.push_back(word);
        }
        return world.Navoctl(arguments);
    };
    const std::string types = " --type symmetric --injection given";
    EXPECT_EQ(run("key inject wallet --data 48656C6C6F" + types).status, 0);
    EXPECT_EQ(run("key verify wallet" + types).output, "0\n");
    EXPECT_EQ(run("key uid wallet" + types).output.size(), 17U);
    EXPECT_EQ(run("key get wallet --type symmetric --release").output, "48656C6C6F\n");
    EXPECT_EQ(run("key get wallet --type symmetric --release --encoding text").output, "Hello\n");
    const World::Result stranger = run("key verify stranger" + types);
    EXPECT_EQ(stranger.status, 1);
    EXPECT_NE(stranger.errors.find("navoctl: key verify: -101"), std::string::npos) << stranger.errors;
    const World::Result twice = run("key release");
    EXPECT_EQ(twice.status, 1) << "the service that had the session has ended";
}

TEST_F(CcmScript, IsInReachOfNavoctl) {
    const std::string good = world.Write("good.hex", Of("00A4040000\\n80CA9F7F00\\n"));
    const World::Result played = world.Navoctl({"ccm", good});
    EXPECT_EQ(played.status, 0) << played.errors;
    EXPECT_EQ(played.output, "0\n");
    const std::string refused = world.Write("refused.hex", Of("80CA123400\\n"));
    const World::Result end = world.Navoctl({"ccm", refused});
    EXPECT_EQ(end.status, 1);
    EXPECT_NE(end.errors.find("The card refused a command"), std::string::npos) << end.errors;
}

}  // namespace
