// SPDX-License-Identifier: Apache-2.0
#include "device/navo-card/Options.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <vector>

#include "commandline/CommandLine.h"
#include "device/configuration/CardKeys.h"
#include "device/configuration/CardProfile.h"
#include "device/configuration/Values.h"

namespace NavoCard {

namespace {

// ISO 7816-3, 8.2: one protocol each, and the historical bytes "NAVOCARD". A reader is not left to choose the
// one in whose manner the card does not answer.
constexpr char BlockProtocolAtr[] = "3B88014E41564F434152448B";
constexpr char ByteProtocolAtr[] = "3B084E41564F43415244";
constexpr std::size_t ShortestAtr = 2;

// What the line says of the card, by the keys of a profile and in the order of the line.
struct CardLine {
    struct Value {
        std::string option;
        std::string key;
        std::string text;
    };

    std::string profile;
    std::vector<Value> values;
};

void AddReader(CLI::App& app, Options& options) {
    const char* group = "Reader";
    app.add_option("--host", options.host, "Where the virtual reader waits")
        ->type_name("HOST")
        ->capture_default_str()
        ->group(group);
    app.add_option("--port", options.port, "TCP port of the virtual reader's slot")
        ->type_name("PORT")
        ->check(CLI::Range(1, 65535).description(""))
        ->capture_default_str()
        ->group(group);
    app.add_flag(
           "--once", options.once,
           "End with the reader, and fail when there is none, instead of waiting for it")
        ->group(group);
    app.add_option("--record", options.recordFile, "Add each exchange to this file, as one line of JSON")
        ->type_name("FILE")
        ->group(group);
}

// An option that says what a key of a profile does.
struct CardOption {
    const char* name;
    const char* key;
    const char* type;
    const char* description;
    const char* usual;  // when neither line nor profile says anything
};

constexpr CardOption CardOptions[] = {
    {"--protocol", "protocol", "T=0|T=1", "Manner of the card's answers", "T=1"},
    {"--atr", "atr", "HEX", "Answer-to-reset, at most 33 bytes; by default one that offers the protocol", ""},
    {"--channel-option", "channel-option", "HEX",
     "Option i of the secure channel: 00, 10, 20, 30, 60 or 70; 10 by default", ""},
    {"--cplc", "cplc", "HEX", "Production life-cycle data, 42 bytes", ""},
    {"--memory", "free-memory", "BYTES", "Non-volatile memory of the empty card", "1310720"},
    {"--volatile-memory", "free-volatile-memory", "BYTES", "Volatile memory", "32768"}};

constexpr CardOption KeyOptions[] = {
    {"--keys", "keys", "ENC,MAC,DEK",
     "AES keys of the same 16, 24 or 32 bytes; 40 to 4F three times by default", ""},
    {"--key-version", "key-version", "NUMBER", "Their version, 1 to 127 or 255", "1"}};

void AddCardOption(CLI::App& app, CardLine& line, const CardOption& option, const char* group) {
    app.add_option_function<std::string>(
           option.name,
           [&line, &option](const std::string& text) {
               line.values.push_back({option.name, option.key, text});
           },
           option.description)
        ->type_name(option.type)
        ->default_str(option.usual)
        ->group(group);
}

void AddCard(CLI::App& app, Options& options, CardLine& line) {
    const char* group = "Card";
    app.add_option(
           "--profile", line.profile, "File that says how the card is and behaves; options go before it")
        ->type_name("FILE")
        ->group(group);
    app.add_option(
           "--state-file", options.card.stateFile,
           "File that keeps the card; without it, it lasts as long as the program")
        ->type_name("FILE")
        ->group(group);
    app.add_flag("--list", options.list, "Print what is on the card, and present it to nobody")->group(group);
    for (const CardOption& option : CardOptions) {
        AddCardOption(app, line, option, group);
    }
    for (const CardOption& option : KeyOptions) {
        AddCardOption(app, line, option, "Keys of a new card");
    }
}

// False, with all its mistakes told, when the profile cannot be followed.
bool ReadProfile(const std::string& path, Card::Options& card) {
    std::vector<Device::Mistake> mistakes;
    try {
        Device::ReadCardProfile(path, card, mistakes);
    } catch (const Device::BadValue& error) {
        std::cerr << "navo-card: " << error.what() << "\n";
        return false;
    }
    for (const Device::Mistake& mistake : mistakes) {
        std::cerr << Device::Describe(path, mistake) << "\n";
    }
    return mistakes.empty();
}

void Set(Card::Options& card, const CardLine::Value& value) {
    for (const auto& key : Device::SoftwareCardKeys(card)) {
        if (key.first == value.key) {
            try {
                key.second(value.text);
            } catch (const Device::BadValue& error) {
                throw CLI::ValidationError(value.option, error.what());
            }
        }
    }
}

// False when the profile cannot be followed. Without an answer-to-reset, the card has one of its protocol's.
bool Finish(Options& options, const CardLine& line) {
    options.card.atr.clear();
    if (!line.profile.empty() && !ReadProfile(line.profile, options.card)) {
        return false;
    }
    for (const CardLine::Value& value : line.values) {
        Set(options.card, value);
    }
    if (options.card.atr.size() < ShortestAtr) {
        const char* atr = options.card.byteProtocol ? ByteProtocolAtr : BlockProtocolAtr;
        options.card.atr = GlobalPlatform::FromHexText(atr).value();
    }
    return true;
}

}  // namespace

std::optional<Options> ParseCommandLine(int count, char** arguments, int& status) {
    Options options;
    CardLine line;
    CLI::App app(
        "Presents a GlobalPlatform card in software to the reader of vpcd, and so to pcscd.", "navo-card");
    CommandLine::Hints hints;
    CommandLine::Prepare(app, NAVO_VERSION, hints);
    AddReader(app, options);
    AddCard(app, options, line);
    app.footer("Example:\n  navo-card --state-file wallet.card\n\nSee navo-card(1).");
    if (const std::optional<int> end = CommandLine::ParseOrSay(app, count, arguments)) {
        status = *end;
        return std::nullopt;
    }
    try {
        if (Finish(options, line)) {
            return options;
        }
        status = ExitFailure;
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        CommandLine::Say(app, CommandLine::ComplaintOf(app, error.what()));
        status = ExitUsage;
        return std::nullopt;
    }
}

}  // namespace NavoCard
