// SPDX-License-Identifier: Apache-2.0
// One command APDU, many times, to the card in a reader, with nothing between the caller and pcscd but its
// own library. Prints the microseconds that one took.
//   navo-floor-pcsc READER APDU COUNT
#include <winscard.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

void Require(LONG result, const char* what) {
    if (result != SCARD_S_SUCCESS) {
        throw std::runtime_error(std::string(what) + ": " + pcsc_stringify_error(result));
    }
}

// A card of one's own, until the end.
class Card {
public:
    explicit Card(const char* reader) {
        Require(SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context), "context");
        const DWORD anyProtocol = SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1;
        Require(
            SCardConnect(context, reader, SCARD_SHARE_EXCLUSIVE, anyProtocol, &handle, &protocol), reader);
    }
    ~Card() {
        SCardDisconnect(handle, SCARD_LEAVE_CARD);
        SCardReleaseContext(context);
    }
    Card(const Card&) = delete;
    Card& operator=(const Card&) = delete;

    void Transmit(const std::vector<unsigned char>& command) {
        unsigned char response[MAX_BUFFER_SIZE_EXTENDED];
        DWORD length = sizeof response;
        const SCARD_IO_REQUEST* header = protocol == SCARD_PROTOCOL_T0 ? SCARD_PCI_T0 : SCARD_PCI_T1;
        Require(
            SCardTransmit(handle, header, command.data(), command.size(), nullptr, response, &length),
            "transmit");
    }

private:
    SCARDCONTEXT context = 0;
    SCARDHANDLE handle = 0;
    DWORD protocol = 0;
};

std::vector<unsigned char> BytesOf(const std::string& digits) {
    std::vector<unsigned char> bytes;
    for (std::size_t at = 0; at < digits.size(); at += 2) {
        bytes.push_back(static_cast<unsigned char>(std::stoul(digits.substr(at, 2), nullptr, 16)));
    }
    return bytes;
}

double MicrosecondsEach(Card& card, const std::vector<unsigned char>& command, unsigned count) {
    const auto begin = std::chrono::steady_clock::now();
    for (unsigned sent = 0; sent < count; ++sent) {
        card.Transmit(command);
    }
    const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - begin;
    return taken.count() / count;
}

}  // namespace

int main(int count, char** words) {
    if (count != 4) {
        std::fprintf(stderr, "usage: navo-floor-pcsc READER APDU COUNT\n");
        return EXIT_FAILURE;
    }
    try {
        Card card(words[1]);
        card.Transmit({0x00, 0xA4, 0x04, 0x00, 0x00});
        std::printf(
            "%.3f\n", MicrosecondsEach(card, BytesOf(words[2]), static_cast<unsigned>(std::stoul(words[3]))));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "navo-floor-pcsc: %s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
