// SPDX-License-Identifier: Apache-2.0
// The software card by itself: what a command costs it, in the code of this process alone.
#include <memory>
#include <optional>

#include "bench/inside/Case.h"
#include "tests/support/CardHost.h"

namespace Inside {

namespace {

using GlobalPlatform::Bytes;
using GlobalPlatform::SecurityLevel;

constexpr unsigned CommandsOfARun = 500;
constexpr unsigned ListedApplications = 100;
constexpr unsigned ListsOfARun = 10;

Bytes Hex(const std::string& text) {
    return GlobalPlatform::FromHexText(text).value();
}

// A card, and the host's end of a channel to it.
struct Host {
    Card::SoftwareCard card{Card::Options()};
    std::optional<GlobalPlatform::SecureMessaging> channel;
    SecurityLevel level = SecurityLevel::None;

    void Send(const Bytes& command) { SendTo(card, command); }

    void Authenticate(SecurityLevel wanted) {
        channel = OpenChannel(card, Card::Options().keys, wanted);
        level = wanted;
    }

    Bytes Protected(const Bytes& command) {
        return GlobalPlatform::EncodeCommand(
            channel->Wrap(GlobalPlatform::ParseCommand(command).value(), level));
    }
};

void AddPlain(Cases& cases, const std::string& name, const std::string& command) {
    const auto host = std::make_shared<Host>();
    const auto run = [host, bytes = Hex(command)] {
        for (unsigned sent = 0; sent < CommandsOfARun; ++sent) {
            host->Send(bytes);
        }
    };
    run();
    cases.push_back({"card/ours/" + name, CommandsOfARun, run});
}

// The commands of a run are protected beforehand. The floor protects them: what a host spends on the same
// encryption and code.
void AddProtected(Cases& cases) {
    const std::string name = "STORE DATA, protected";
    const Bytes command = Hex("80E29000125F500F000102030405060708090A0B0C0D0E");
    const auto host = std::make_shared<Host>();
    const auto commands = std::make_shared<std::vector<Bytes>>();
    host->Authenticate(SecurityLevel::CommandMacAndDecryption);
    const auto protect = [=] {
        commands->clear();
        for (unsigned sent = 0; sent < CommandsOfARun; ++sent) {
            commands->push_back(host->Protected(command));
        }
    };
    const auto run = [=] {
        for (const Bytes& each : *commands) {
            host->Send(each);
        }
    };
    protect();
    run();
    cases.push_back({"card/ours/" + name, CommandsOfARun, run, [] {}, protect});
    const auto other = std::make_shared<Host>();
    other->Authenticate(SecurityLevel::CommandMacAndDecryption);
    cases.push_back({"card/floor/" + name, CommandsOfARun, [=] {
                         for (unsigned sent = 0; sent < CommandsOfARun; ++sent) {
                             other->Protected(command);
                         }
                     }});
}

// One operation is the whole list, of however many commands.
void AddListing(Cases& cases) {
    const auto host = std::make_shared<Host>();
    host->Authenticate(SecurityLevel::None);
    SendTo(host->card, "80E602000C07A000000999000100000000");
    SendTo(host->card, "80E8800006C4040A0B0C0D");
    for (unsigned number = 0; number < ListedApplications; ++number) {
        SendTo(
            host->card, "80E60C002007A000000999000108A00000099900010108A000000999" +
                            GlobalPlatform::HexText(GlobalPlatform::BigEndian(0x020000 + number, 3)) +
                            "010002C90000");
    }
    const auto run = [=] {
        for (unsigned list = 0; list < ListsOfARun; ++list) {
            Bytes response = SendTo(host->card, "80F24002024F0000");
            while (response[response.size() - 2] == 0x63) {
                response = SendTo(host->card, "80F24003024F0000");
            }
        }
    };
    run();
    cases.push_back({"card/ours/GET STATUS, 100 entries", ListsOfARun, run});
}

}  // namespace

void AddCard(Cases& cases) {
    AddPlain(cases, "SELECT", "00A4040008A00000015100000000");
    AddPlain(cases, "GET DATA", "80CA9F7F00");
    AddProtected(cases);
    AddListing(cases);
}

}  // namespace Inside
