// SPDX-License-Identifier: Apache-2.0
// A world whose secure element is a card in a reader of the real pcscd.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/world/CardInReader.h"
#include "tests/support/world/PrivatePcscd.h"
#include "tests/support/world/Script.h"
#include "tests/support/world/World.h"

class ReaderWorld : public ::testing::Test {
protected:
    void SetUp() override {
        if (!PrivatePcscd::Impediment().empty()) {
            GTEST_SKIP() << "no pcscd here: " << PrivatePcscd::Impediment();
        }
        service = std::make_unique<PrivatePcscd>(world.Folder());
        world.Device().SetCard({{"back-end", "pcsc"}});
    }

    // A key server with one set of commands for each of these, and what became of them.
    KeyServerProcess& Serve(const std::vector<std::vector<std::string>>& steps) {
        return world.StartKeyServer({"--script", world.Write("script.json", ScriptOf(steps))});
    }
    World::Job RunScript() const { return world.RunScript("test.service"); }

    // The CPLC as a client gets it.
    std::string AskCplc() const { return world.Ask({{"Cmd", "67"}}).at("ReturnCode"); }

    static std::string PlainCplc() { return GlobalPlatform::HexText(CardInReader::Plain().cplc); }

    World world;
    std::unique_ptr<PrivatePcscd> service;
};
