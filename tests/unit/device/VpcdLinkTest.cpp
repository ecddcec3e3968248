// SPDX-License-Identifier: Apache-2.0
// The card's side of the virtual reader's protocol, against a reader of the test's.
#include "device/navo-card/VpcdLink.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <future>

namespace {

using GlobalPlatform::Bytes;
using GlobalPlatform::FromHexText;
using GlobalPlatform::HexText;

// Notes what the reader wants, and answers a command with itself and 9000.
class NotingCard : public NavoCard::InsertedCard {
public:
    void PowerOn() override { events += "on "; }
    void PowerOff() override { events += "off "; }
    void Reset() override { events += "reset "; }
    Bytes AnswerToReset() override {
        events += "atr ";
        return {0x3B, 0x00};
    }
    Bytes Transmit(const Bytes& command) override {
        events += "command ";
        if (command == Bytes{0, 0, 0, 0}) {
            return Bytes(65536);
        }
        Bytes response = command;
        GlobalPlatform::Append(response, {0x90, 0x00});
        return response;
    }

    std::string events;
};

class VpcdLink : public ::testing::Test {
protected:
    VpcdLink() : listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), stop(eventfd(0, EFD_CLOEXEC)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* const plain = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(bind(listener, plain, length), 0);
        EXPECT_EQ(getsockname(listener, plain, &length), 0);
        EXPECT_EQ(listen(listener, 1), 0);
        port = ntohs(address.sin_port);
    }
    ~VpcdLink() override {
        for (const int descriptor : {listener, stop, reader}) {
            close(descriptor);
        }
    }

    // Inserts the card; how its link ends.
    std::future<NavoCard::LinkEnd> Insert() {
        auto end = std::async(std::launch::async, [this] {
            NavoCard::VpcdLink link("127.0.0.1", port, stop);
            return link.Serve(card);
        });
        reader = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        return end;
    }

    void Send(const std::string& bytes) const {
        const Bytes raw = *FromHexText(bytes);
        EXPECT_EQ(send(reader, raw.data(), raw.size(), MSG_NOSIGNAL), static_cast<ssize_t>(raw.size()));
    }

    std::string Receive(std::size_t length) const {
        Bytes raw(length);
        EXPECT_EQ(recv(reader, raw.data(), length, MSG_WAITALL), static_cast<ssize_t>(length));
        return HexText(raw);
    }

    void Leave() {
        close(reader);
        reader = -1;
    }

    int listener;
    int stop;
    int reader = -1;
    std::uint16_t port = 0;
    NotingCard card;
};

TEST_F(VpcdLink, PassesTheReadersControlOnAndAnswersOnlyWhatWantsAnAnswer) {
    auto end = Insert();
    Send("0001 01 0001 02 0001 00 0001 04");
    EXPECT_EQ(Receive(4), "00023B00");
    Leave();
    EXPECT_EQ(end.get(), NavoCard::LinkEnd::ReaderGone);
    EXPECT_EQ(card.events, "on reset off atr ");
}

TEST_F(VpcdLink, AnswersCommandsHoweverTheirBytesArrive) {
    auto end = Insert();
    Send("00");
    Send("05 00A4");
    Send("040000 0005 80CA9F7F00");
    EXPECT_EQ(Receive(9), "000700A40400009000");
    EXPECT_EQ(Receive(9), "000780CA9F7F009000");
    Leave();
    EXPECT_EQ(end.get(), NavoCard::LinkEnd::ReaderGone);
}

TEST_F(VpcdLink, TakesAMessageOfAllTheBytesThatItsLengthCanSay) {
    auto end = Insert();
    const std::string command(std::size_t{2} * 65533, 'A');
    Send("FFFD" + command);
    EXPECT_EQ(Receive(2), "FFFF");
    EXPECT_EQ(Receive(65535), command + "9000");
    Leave();
    EXPECT_EQ(end.get(), NavoCard::LinkEnd::ReaderGone);
}

TEST_F(VpcdLink, SaysThatAResponseIsTooLongForTheReader) {
    auto end = Insert();
    Send("0004 00000000");
    EXPECT_EQ(Receive(4), "00026F00");
    Leave();
    EXPECT_EQ(end.get(), NavoCard::LinkEnd::ReaderGone);
}

TEST_F(VpcdLink, PassesOverAMessageOfNothing) {
    auto end = Insert();
    Send("0000 0001 04");
    EXPECT_EQ(Receive(4), "00023B00");
    Leave();
    EXPECT_EQ(end.get(), NavoCard::LinkEnd::ReaderGone);
    EXPECT_EQ(card.events, "atr ");
}

TEST_F(VpcdLink, AnswersACommandOfOneByteThatIsNoControl) {
    auto end = Insert();
    Send("0001 80 0001 03 0001 FF");
    EXPECT_EQ(Receive(5), "0003809000");
    EXPECT_EQ(Receive(5), "0003039000");
    EXPECT_EQ(Receive(5), "0003FF9000");
    Leave();
    EXPECT_EQ(end.get(), NavoCard::LinkEnd::ReaderGone);
    EXPECT_EQ(card.events, "command command command ");
}

TEST_F(VpcdLink, TellsAReaderThatTakesTheCardFromOneThatLetsItWait) {
    using std::chrono::milliseconds;
    NavoCard::VpcdLink link("127.0.0.1", port, stop);
    EXPECT_FALSE(link.IsTakenWithin(milliseconds(0)));  // the system took the connection, and nobody else
    EXPECT_FALSE(link.Stopped());
    reader = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    EXPECT_FALSE(link.IsTakenWithin(milliseconds(0)));
    Send("0001 04");
    EXPECT_TRUE(link.IsTakenWithin(milliseconds(10000)));
    eventfd_write(stop, 1);
    EXPECT_FALSE(link.IsTakenWithin(milliseconds(10000)));
    EXPECT_TRUE(link.Stopped());
}

TEST_F(VpcdLink, EndsWithAReaderThatGoesInTheMiddleOfAMessage) {
    auto end = Insert();
    Send("0005 00A4");
    Leave();
    EXPECT_EQ(end.get(), NavoCard::LinkEnd::ReaderGone);
    EXPECT_EQ(card.events, "");
}

TEST_F(VpcdLink, EndsWhenItIsToldTo) {
    auto end = Insert();
    Send("0001 04");
    EXPECT_EQ(Receive(4), "00023B00");
    eventfd_write(stop, 1);
    EXPECT_EQ(end.get(), NavoCard::LinkEnd::Stopped);
}

TEST_F(VpcdLink, SaysWhereThereIsNoReader) {
    close(listener);
    listener = -1;
    try {
        NavoCard::VpcdLink link("127.0.0.1", port, stop);
        FAIL() << "nobody waits there";
    } catch (const NavoCard::NoReader& error) {
        EXPECT_EQ(error.what(), "127.0.0.1 port " + std::to_string(port) + ": Connection refused");
    }
}

}  // namespace
