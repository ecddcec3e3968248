// SPDX-License-Identifier: Apache-2.0
#include "bench/floors/RelayFloor.h"

#include <dlog.h>
#include <nfc.h>
#include <nfc_internal.h>
#include <systemd/sd-bus.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace Floor {

namespace {

constexpr char Tag[] = "NavoAgent";
constexpr char Interface[] = "com.orvenco.navoa";
constexpr char Progress[] = "A4_Select Service";
constexpr std::size_t ItemPrefix = 3;  // "/" and two characters
constexpr std::size_t LongestWithoutProgress = 6;

// Place in a source as the service's lines have it: file, line, function.
#define AGENT_LINE(format) "[%s:%d %s] " format, "/src/app/Agent.cpp", 180
#define PORT_LINE(format) "[%s:%d %s] " format, "/src/app/tizen/ClientPort_dbus.cpp", 500
#define READER_LINE(format) "[%s:%d %s] " format, "/src/platform/tizen/SeReader_NFC.cpp", 115

// Of the process, on the bus that its environment names; it ends with the process.
sd_bus* SdBus() {
    static sd_bus* const bus = [] {
        sd_bus* opened = nullptr;
        if (sd_bus_open_system(&opened) < 0) {
            throw std::runtime_error("systemd's bus library does not reach the bus");
        }
        return opened;
    }();
    return bus;
}

void EmitOnGdbus(const Client& client) {
    g_dbus_connection_emit_signal(
        client.connection, nullptr, client.path.c_str(), Interface, "Progress",
        g_variant_new("(s)", Progress), nullptr);
}

void EmitOnSdBus(const Client& client) {
    if (sd_bus_emit_signal(SdBus(), client.path.c_str(), Interface, "Progress", "s", Progress) < 0) {
        throw std::runtime_error("systemd's bus library does not send the signal");
    }
}

using Emit = void (*)(const Client& client);

void EmitProgress(const Client& client, Emit emit) {
    dlog_print(DLOG_DEBUG, Tag, AGENT_LINE("Sending progress"), "SendProgress");
    dlog_print(DLOG_DEBUG, Tag, AGENT_LINE("Progress: %s"), "SendProgress", "A4");
    dlog_print(DLOG_DEBUG, Tag, AGENT_LINE("Sending progress: %s"), "SendProgress", "Select Service");
    dlog_print(DLOG_DEBUG, Tag, PORT_LINE("Sending progress to %s"), "SendProgressCode", client.id.c_str());
    dlog_print(
        DLOG_DEBUG, Tag, PORT_LINE("Sending progress to %s. %p"), "SendProgress",
        client.id.c_str() + sizeof "dbus", static_cast<void*>(client.connection));
    emit(client);
    dlog_print(DLOG_DEBUG, Tag, PORT_LINE("Sent progress"), "SendProgressCode");
}

// Each conversion is one look into a table, since nothing is faster without instructions for vectors.
struct Tables {
    std::array<unsigned char, 256> nibbles{};
    std::array<std::array<char, 2>, 256> pairs{};
};

Tables MakeTables() {
    constexpr char Digits[] = "0123456789ABCDEF";
    Tables tables;
    for (unsigned value = 0; value < 256; ++value) {
        tables.pairs[value] = {Digits[value >> 4], Digits[value & 0x0F]};
    }
    for (unsigned digit = 0; digit < 16; ++digit) {
        tables.nibbles[static_cast<unsigned char>(Digits[digit])] = static_cast<unsigned char>(digit);
    }
    return tables;
}

const Tables Table = MakeTables();

unsigned Nibble(char digit) {
    return Table.nibbles[static_cast<unsigned char>(digit)];
}

std::vector<unsigned char> Converted(const char* digits, std::size_t count) {
    std::vector<unsigned char> bytes(count / 2);
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(Nibble(digits[0]) << 4 | Nibble(digits[1]));
        digits += 2;
    }
    return bytes;
}

void AppendDigits(std::string& text, const unsigned char* bytes, std::size_t count) {
    const std::size_t begin = text.size();
    text.resize(begin + 2 * count);
    char* digit = text.data() + begin;
    for (std::size_t i = 0; i < count; ++i, digit += 2) {
        std::memcpy(digit, Table.pairs[bytes[i]].data(), 2);
    }
}

void RelayItem(const Client& client, Emit emit, const char* apdu, std::size_t length, std::string& output) {
    const int shown = static_cast<int>(length);
    dlog_print(DLOG_DEBUG, Tag, AGENT_LINE("CAPDU: %.*s [%d]"), "SendApdu", shown, apdu, shown);
    if (length > LongestWithoutProgress) {
        EmitProgress(client, emit);
    }
    dlog_print(DLOG_DEBUG, Tag, READER_LINE("Sending command to SE"), "Apdu");
    std::vector<unsigned char> command = Converted(apdu, length);
    unsigned char* response = nullptr;
    unsigned responseLength = 0;
    nfc_se_send_apdu_internal(
        nullptr, command.data(), static_cast<unsigned>(command.size()), &response, &responseLength);
    output += "/01";
    AppendDigits(output, response, responseLength);
    std::free(response);
}

std::string Relay(const Client& client, Emit emit, const std::string& commandSet) {
    std::string output;
    for (std::size_t begin = 0; begin < commandSet.size();) {
        const std::size_t found = commandSet.find('/', begin + 1);
        const std::size_t end = found == std::string::npos ? commandSet.size() : found;
        RelayItem(client, emit, commandSet.data() + begin + ItemPrefix, end - begin - ItemPrefix, output);
        begin = end;
    }
    return output;
}

}  // namespace

std::string RelaySet(const Client& client, const std::string& commandSet) {
    return Relay(client, EmitOnGdbus, commandSet);
}

std::string RelaySetOnSdBus(const Client& client, const std::string& commandSet) {
    return Relay(client, EmitOnSdBus, commandSet);
}

void FlushSdBus() {
    sd_bus_flush(SdBus());
}

}  // namespace Floor
