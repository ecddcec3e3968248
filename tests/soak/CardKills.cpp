// SPDX-License-Identifier: Apache-2.0
// Kills a process without warning while its software card changes, and looks at what the file holds: every
// change that was answered with success, and of the one under way all or nothing.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <random>
#include <stdexcept>
#include <thread>

#include "tests/soak/Promise.h"
#include "tests/support/CardHost.h"
#include "tests/support/Descriptor.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using GlobalPlatform::BigEndian;
using GlobalPlatform::Bytes;
using GlobalPlatform::HexText;
using GlobalPlatform::SecurityLevel;

constexpr std::chrono::microseconds LongestLife(30000);
constexpr std::size_t NumberLength = 4;

Card::Options CardIn(const std::string& file) {
    Card::Options options;
    options.stateFile = file;
    return options;
}

std::string Number(std::uint32_t change) {
    return HexText(BigEndian(change, NumberLength));
}

// The security domain that a change makes, and a later one deletes.
std::string DomainOf(std::uint32_t change) {
    return "A000000999" + Number(change);
}

// Changes take turns: the issuer's number, a new domain, and the end of that domain.
constexpr std::uint32_t Kinds = 3;

std::string CommandOf(std::uint32_t change) {
    switch (change % Kinds) {
        case 0:
            return "80E29000064204" + Number(change);
        case 1:
            return "80E60C002307A000000151535008A00000015153504109" + DomainOf(change) +
                   "03800000"
                   "02C90000";
        default:
            return "80E400000B4F09" + DomainOf(change - 1);
    }
}

// Of a card that was never told another.
constexpr char FirstNumber[] = "420599990100019000";

// What the card has to hold after so many changes, and what it holds.
struct Content {
    std::string number;  // as GET DATA answers
    std::string domain;  // empty: none beside the issuer's

    bool operator==(const Content& other) const { return number == other.number && domain == other.domain; }
};

Content After(std::uint32_t changes) {
    Content content{FirstNumber, {}};
    for (std::uint32_t back = 0; back < Kinds && back < changes; ++back) {
        const std::uint32_t change = changes - 1 - back;
        if (change % Kinds == 0) {
            content.number = "4204" + Number(change) + "9000";
        }
    }
    if (changes > 0 && (changes - 1) % Kinds == 1) {
        content.domain = DomainOf(changes - 1);
    }
    return content;
}

Content Held(Card::SoftwareCard& card, const Card::Options& options) {
    static_cast<void>(OpenChannel(card, options.keys, SecurityLevel::None));
    Content content;
    content.number = HexText(SendTo(card, "80CA004200"));
    const std::string domains =
        HexText(card.Transmit(GlobalPlatform::FromHexText("80F24002074F05A00000099900").value()));
    const std::size_t at = domains.find("A000000999");
    if (at != std::string::npos) {
        content.domain = domains.substr(at, 18);
    }
    return content;
}

void Tell(int told) {
    if (write(told, "+", 1) != 1) {
        _exit(1);
    }
}

// In a process of its own: a byte when it begins, changes without end, and a byte for each that the card
// answered with success.
[[noreturn]] void Change(const Card::Options& options, std::uint32_t first, int told) {
    try {
        Card::SoftwareCard card(options);
        static_cast<void>(OpenChannel(card, options.keys, SecurityLevel::None));
        Tell(told);
        for (std::uint32_t change = first;; ++change) {
            SendTo(card, CommandOf(change));
            Tell(told);
        }
    } catch (const std::exception& error) {
        std::cerr << "the card's process: " << error.what() << "\n";
    }
    _exit(1);
}

// How many changes were told of until the process was killed.
std::uint32_t KillDuringChanges(
    const Card::Options& options, std::uint32_t first, std::chrono::microseconds life) {
    auto [told, teller] = NewPipe();
    const pid_t child = fork();
    Require(child >= 0, "there is a process");
    if (child == 0) {
        Change(options, first, teller.Get());
    }
    teller.Close();
    char mark = 0;
    Require(read(told.Get(), &mark, 1) == 1, "the card's process begins");
    std::this_thread::sleep_for(life);
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    Require(
        WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL, "it was the kill that ended the card's process");
    std::uint32_t changes = 0;
    while (read(told.Get(), &mark, 1) == 1) {
        ++changes;
    }
    return changes;
}

void Kill(int count) {
    const TemporaryFolder folder;
    const Card::Options options = CardIn((folder.Path() / "card.json").string());
    std::mt19937 random(20261122);
    std::uniform_int_distribution<long> life(0, LongestLife.count());
    std::uint32_t changes = 0;
    int untold = 0;
    for (int round = 0; round < count; ++round) {
        changes += KillDuringChanges(options, changes, std::chrono::microseconds(life(random)));
        Card::SoftwareCard card(options);
        const Content content = Held(card, options);
        if (!(content == After(changes))) {
            Require(
                content == After(changes + 1),
                "after " + std::to_string(changes) + " changes the card holds them");
            ++changes;
            ++untold;
        }
    }
    std::cout << count << " kills of a card, " << changes << " changes, " << untold
              << " of them kept though nobody was told\n";
    Require(changes > static_cast<std::uint32_t>(count) / 10, "the card was at work");
}

}  // namespace

// navo-card-kills [ROUNDS]
int main(int count, char** arguments) {
    try {
        Kill(count > 1 ? std::stoi(arguments[1]) : 2000);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "navo-card-kills: " << error.what() << "\n";
        return 1;
    }
}
