// SPDX-License-Identifier: Apache-2.0
// What the example file and the manual show is true.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "device/configuration/CardProfile.h"
#include "device/configuration/Configuration.h"
#include "tests/support/TemporaryFolder.h"

using Device::Configuration;
using Device::ReadConfiguration;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr char ExamplePath[] = NAVO_DEVICE_DIR "/navo-device.conf.example";

std::vector<std::string> Problems(const Configuration& configuration) {
    std::vector<std::string> problems;
    for (const Device::Mistake& mistake : configuration.mistakes) {
        problems.push_back(Describe(configuration, mistake));
    }
    return problems;
}

// Lines such as "#key=value" become "key=value"; comments in words begin with "# ".
std::string WithEverythingSwitchedOn(const std::string& text) {
    std::istringstream lines(text);
    std::string result;
    for (std::string line; std::getline(lines, line);) {
        const bool switchedOff = line.size() > 1 && line[0] == '#' && line[1] != ' ' && line[1] != '#';
        result += (switchedOff ? line.substr(1) : line) + "\n";
    }
    return result;
}

// The blocks of the manual between ```ini and ```.
std::vector<std::string> ExamplesOf(const std::string& manual) {
    std::vector<std::string> examples;
    const std::string begin = "```ini\n";
    for (std::size_t at = manual.find(begin); at != std::string::npos; at = manual.find(begin, at)) {
        at += begin.size();
        examples.push_back(manual.substr(at, manual.find("```", at) - at));
    }
    return examples;
}

}  // namespace

TEST(ExampleFile, IsReadWithoutComplaint) {
    EXPECT_THAT(Problems(ReadConfiguration(ExamplePath, ReadFile(ExamplePath))), IsEmpty());
}

TEST(ExampleFile, ShowsNothingButWhatThePlainDeviceHasUntilALineIsSwitchedOn) {
    const Configuration plain;
    const Configuration example = ReadConfiguration(ExamplePath, ReadFile(ExamplePath));
    EXPECT_EQ(example.facts.modelName, plain.facts.modelName);
    EXPECT_EQ(example.facts.buildString, plain.facts.buildString);
    EXPECT_EQ(example.facts.deviceName, plain.facts.deviceName);
    EXPECT_EQ(example.facts.locale, plain.facts.locale);
    EXPECT_EQ(example.facts.salesCode, plain.facts.salesCode);
    EXPECT_EQ(example.embeddedElement.software.atr, plain.embeddedElement.software.atr);
    EXPECT_EQ(example.embeddedElement.software.cplc, plain.embeddedElement.software.cplc);
    EXPECT_EQ(example.embeddedElement.software.memory, plain.embeddedElement.software.memory);
    EXPECT_EQ(example.network.type, plain.network.type);
    EXPECT_EQ(example.trustEnvironment, plain.trustEnvironment);
    EXPECT_THAT(example.faults, IsEmpty());
}

TEST(ExampleFile, IsRightInEveryLineThatCanBeSwitchedOn) {
    std::string text = WithEverythingSwitchedOn(ReadFile(ExamplePath));
    const std::string placeholder = "ca-file=/tmp/keyserver/ca.pem";
    const std::size_t at = text.find(placeholder);
    ASSERT_NE(at, std::string::npos);
    text.replace(at, placeholder.size(), "ca-file=certificates/platform-root.pem");
    const Configuration configuration = ReadConfiguration(ExamplePath, text);
    EXPECT_THAT(Problems(configuration), IsEmpty());
    EXPECT_THAT(configuration.faults, SizeIs(testing::Ge(1)));
    EXPECT_THAT(configuration.embeddedElement.answers, SizeIs(testing::Ge(1)));
}

TEST(ManualPage, NamesAllSectionsAndKeysOfTheExampleFile) {
    std::string page = ReadFile(NAVO_DOCS_DIR "/man/navo-device.conf.5");
    page.erase(std::remove(page.begin(), page.end(), '\\'), page.end());
    std::istringstream lines(WithEverythingSwitchedOn(ReadFile(ExamplePath)));
    std::string section;
    for (std::string line; std::getline(lines, line);) {
        const std::string word = line.substr(0, line.find_first_of(" =]"));
        if (!line.empty() && line[0] != '#' && section != "[vconf") {
            EXPECT_THAT(page, testing::HasSubstr(word)) << line;
        }
        section = !line.empty() && line[0] == '[' ? word : section;
    }
}

// Files that the examples name lie beside the configuration.
TEST(Manual, HasExamplesThatAreReadWithoutComplaint) {
    const std::vector<std::string> examples = ExamplesOf(ReadFile(NAVO_DOCS_DIR "/virtual-device.md"));
    ASSERT_THAT(examples, SizeIs(testing::Ge(3)));
    const TemporaryFolder folder;
    std::filesystem::create_symlink(NAVO_DEVICE_DIR "/certificates", folder.Path() / "certificates");
    folder.Write("session.jsonl", "{\"time\":\"\",\"event\":\"open\",\"atr\":\"\",\"code\":0}\n");
    for (const std::string& example : examples) {
        EXPECT_THAT(Problems(ReadConfiguration(folder.Path() / "navo-device.conf", example)), IsEmpty())
            << example;
    }
}

TEST(Manual, HasProfilesThatAreReadWithoutComplaint) {
    const std::vector<std::string> examples = ExamplesOf(ReadFile(NAVO_DOCS_DIR "/card-profiles.md"));
    ASSERT_THAT(examples, SizeIs(testing::Ge(1)));
    for (const std::string& example : examples) {
        Card::Options options;
        std::vector<Device::Mistake> mistakes;
        Device::ReadCardProfileText("a.profile", example, options, mistakes);
        EXPECT_TRUE(mistakes.empty()) << Device::Describe("", mistakes.front());
    }
}
