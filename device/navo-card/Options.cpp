// SPDX-License-Identifier: Apache-2.0
#include "device/navo-card/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <stdexcept>
#include <vector>

#include "commandline/CommandLine.h"
#include "globalplatform/Aes.h"
#include "globalplatform/Scp03.h"

namespace NavoCard {

namespace {

using Card::CplcLength;
using Card::LongestAtr;
using GlobalPlatform::AesKeyLength;
using GlobalPlatform::Bytes;
using GlobalPlatform::LongestAesKey;

// ISO 7816-3, 8.2: one protocol each, and the historical bytes "NAVOCARD". A reader is not left to choose the
// one in whose manner the card does not answer.
constexpr char BlockProtocolAtr[] = "3B88014E41564F434152448B";
constexpr char ByteProtocolAtr[] = "3B084E41564F43415244";

// What needs a look before it is an option of the card.
struct RawOptions {
    std::string protocol = "T=1";
    std::string atr;
    std::string cplc;
    std::string keys;
    unsigned keyVersion = 0;
    std::string channelOption;
};

Bytes HexadecimalValue(
    const std::string& name, const std::string& text, std::size_t lowest, std::size_t highest) {
    const std::optional<Bytes> bytes = GlobalPlatform::FromHexText(text);
    if (!bytes || bytes->size() < lowest || bytes->size() > highest) {
        const std::string range = lowest == highest
                                      ? std::to_string(lowest)
                                      : std::to_string(lowest) + " to " + std::to_string(highest);
        throw CLI::ValidationError(name, "write " + range + " bytes in hexadecimal digits");
    }
    return *bytes;
}

// A comma needs no quotes in a shell; the device's description has semicolons.
GlobalPlatform::StaticKeys KeysValue(std::string text) {
    std::replace(text.begin(), text.end(), ';', ',');
    const std::vector<std::string> parts = CLI::detail::split(text, ',');
    if (parts.size() != 3) {
        throw CLI::ValidationError("--keys", "write three keys, ENC,MAC,DEK");
    }
    GlobalPlatform::StaticKeys keys;
    keys.encryption = HexadecimalValue("--keys", parts[0], AesKeyLength, LongestAesKey);
    keys.mac = HexadecimalValue("--keys", parts[1], AesKeyLength, LongestAesKey);
    keys.dataEncryption = HexadecimalValue("--keys", parts[2], AesKeyLength, LongestAesKey);
    if (!GlobalPlatform::AreChannelKeys(keys)) {
        throw CLI::ValidationError("--keys", "write three keys of the same 16, 24 or 32 bytes");
    }
    return keys;
}

std::uint8_t ChannelOptionValue(const std::string& text) {
    const std::uint8_t option = HexadecimalValue("--channel-option", text, 1, 1).front();
    if (!GlobalPlatform::IsChannelOption(option)) {
        throw CLI::ValidationError("--channel-option", "write 00, 10, 20, 30, 60 or 70");
    }
    return option;
}

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

void AddCard(CLI::App& app, Options& options, RawOptions& raw) {
    const char* group = "Card";
    app.add_option(
           "--state-file", options.card.stateFile,
           "File that keeps the card; without it, it lasts as long as the program")
        ->type_name("FILE")
        ->group(group);
    app.add_option("--protocol", raw.protocol, "Manner of the card's answers")
        ->type_name("T=0|T=1")
        ->check(CLI::IsMember({"T=0", "T=1"}))
        ->capture_default_str()
        ->group(group);
    app.add_option(
           "--atr", raw.atr, "Answer-to-reset, at most 33 bytes; by default one that offers the protocol")
        ->type_name("HEX")
        ->group(group);
    app.add_option(
           "--channel-option", raw.channelOption,
           "Option i of the secure channel: 00, 10, 20, 30, 60 or 70; 10 by default")
        ->type_name("HEX")
        ->group(group);
    app.add_option("--cplc", raw.cplc, "Production life-cycle data, 42 bytes")
        ->type_name("HEX")
        ->group(group);
    app.add_option("--memory", options.card.memory, "Non-volatile memory of the empty card")
        ->type_name("BYTES")
        ->capture_default_str()
        ->group(group);
    app.add_option("--volatile-memory", options.card.volatileMemory, "Volatile memory")
        ->type_name("BYTES")
        ->capture_default_str()
        ->group(group);
}

void AddKeys(CLI::App& app, RawOptions& raw) {
    const char* group = "Keys of a new card";
    app.add_option(
           "--keys", raw.keys, "AES keys of the same 16, 24 or 32 bytes; 40 to 4F three times by default")
        ->type_name("ENC,MAC,DEK")
        ->group(group);
    app.add_option("--key-version", raw.keyVersion, "Their version")
        ->type_name("NUMBER")
        ->check(CLI::Range(1, int{Card::HighestKeyVersion}) | CLI::IsMember({int{Card::InitialKeyVersion}}))
        ->capture_default_str()
        ->group(group);
}

void Finish(Options& options, const RawOptions& raw) {
    options.card.byteProtocol = raw.protocol == "T=0";
    const std::string atr = options.card.byteProtocol ? ByteProtocolAtr : BlockProtocolAtr;
    options.card.atr = HexadecimalValue("--atr", raw.atr.empty() ? atr : raw.atr, 2, LongestAtr);
    if (!raw.cplc.empty()) {
        options.card.cplc = HexadecimalValue("--cplc", raw.cplc, CplcLength, CplcLength);
    }
    if (!raw.keys.empty()) {
        options.card.keys = KeysValue(raw.keys);
    }
    if (!raw.channelOption.empty()) {
        options.card.channelOption = ChannelOptionValue(raw.channelOption);
    }
    options.card.keyVersion = static_cast<std::uint8_t>(raw.keyVersion);
}

}  // namespace

std::optional<Options> ParseCommandLine(int count, char** arguments, int& status) {
    Options options;
    RawOptions raw;
    raw.keyVersion = options.card.keyVersion;
    CLI::App app(
        "Presents a GlobalPlatform card in software to the reader of vpcd, and so to pcscd.", "navo-card");
    CommandLine::Hints hints;
    CommandLine::Prepare(app, NAVO_VERSION, hints);
    AddReader(app, options);
    AddCard(app, options, raw);
    AddKeys(app, raw);
    app.footer("Example:\n  navo-card --state-file wallet.card\n\nSee navo-card(1).");
    CommandLine::Complaint complaint;
    if (const std::optional<int> end = CommandLine::Parse(app, count, arguments, complaint)) {
        status = *end;
        if (status != ExitSuccess) {
            CommandLine::Say(app, complaint);
        }
        return std::nullopt;
    }
    try {
        Finish(options, raw);
        return options;
    } catch (const CLI::ParseError& error) {
        CommandLine::Say(app, CommandLine::ComplaintOf(app, error.what()));
        status = ExitUsage;
        return std::nullopt;
    }
}

}  // namespace NavoCard
