// SPDX-License-Identifier: Apache-2.0
#include "bench/floors/RelayFloor.h"

#include <dlog.h>
#include <nfc.h>
#include <nfc_internal.h>

#include <array>
#include <cstdlib>
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

void EmitProgress(const Client& client) {
    dlog_print(DLOG_DEBUG, Tag, AGENT_LINE("Sending progress"), "SendProgress");
    dlog_print(DLOG_DEBUG, Tag, AGENT_LINE("Progress: %s"), "SendProgress", "A4");
    dlog_print(DLOG_DEBUG, Tag, AGENT_LINE("Sending progress: %s"), "SendProgress", "Select Service");
    dlog_print(DLOG_DEBUG, Tag, PORT_LINE("Sending progress to %s"), "SendProgressCode", client.id.c_str());
    dlog_print(
        DLOG_DEBUG, Tag, PORT_LINE("Sending progress to %s. %p"), "SendProgress",
        client.id.c_str() + sizeof "dbus", static_cast<void*>(client.connection));
    g_dbus_connection_emit_signal(
        client.connection, nullptr, client.path.c_str(), Interface, "Progress",
        g_variant_new("(s)", Progress), nullptr);
    dlog_print(DLOG_DEBUG, Tag, PORT_LINE("Sent progress"), "SendProgressCode");
}

unsigned Nibble(char digit) {
    return digit <= '9' ? static_cast<unsigned>(digit - '0') : static_cast<unsigned>(digit - 'A' + 10);
}

std::vector<unsigned char> Converted(const char* digits, std::size_t count) {
    std::vector<unsigned char> bytes(count / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(Nibble(digits[2 * i]) << 4 | Nibble(digits[2 * i + 1]));
    }
    return bytes;
}

void AppendDigits(std::string& text, const unsigned char* bytes, std::size_t count) {
    constexpr char Digits[] = "0123456789ABCDEF";
    const std::size_t begin = text.size();
    text.resize(begin + 2 * count);
    for (std::size_t i = 0; i < count; ++i) {
        text[begin + 2 * i] = Digits[bytes[i] >> 4];
        text[begin + 2 * i + 1] = Digits[bytes[i] & 0x0F];
    }
}

void RelayItem(const Client& client, const char* apdu, std::size_t length, std::string& output) {
    const int shown = static_cast<int>(length);
    dlog_print(DLOG_DEBUG, Tag, AGENT_LINE("CAPDU: %.*s [%d]"), "SendApdu", shown, apdu, shown);
    if (length > LongestWithoutProgress) {
        EmitProgress(client);
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

}  // namespace

std::string RelaySet(const Client& client, const std::string& commandSet) {
    std::string output;
    for (std::size_t begin = 0; begin < commandSet.size();) {
        const std::size_t found = commandSet.find('/', begin + 1);
        const std::size_t end = found == std::string::npos ? commandSet.size() : found;
        RelayItem(client, commandSet.data() + begin + ItemPrefix, end - begin - ItemPrefix, output);
        begin = end;
    }
    return output;
}

}  // namespace Floor
