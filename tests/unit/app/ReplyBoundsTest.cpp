// SPDX-License-Identifier: Apache-2.0
// What is too large for a bus is cut or replaced; the client hears of its request in any case.
#include <gmock/gmock.h>

#include "app/tizen/DbusMaps.h"
#include "tests/support/service/PortOnBus.h"
#include "tests/support/service/ResultTexts.h"

namespace {

constexpr std::size_t Limit = 64 * 1024;
constexpr std::size_t Mebibyte = 1024 * 1024;

class ReplyBounds : public PortOnBus {
protected:
    // Has the port answer a waiting call with the text, and gives what arrives.
    std::string Arriving(const std::string& text) {
        const auto call = client->Start("Cmd", {{"Cmd", "66"}});
        Session("x");
        EXPECT_TRUE(port->SendResult(ClientId(), {{"ReturnCode", text}}));
        return Finish(call)->reply["ReturnCode"];
    }

    // The registry forgets the client, so that its calls wait.
    void OpenForDeferredReplies() {
        Session("Open");
        registry->OnClientDisconnected(port, ClientId());
        world.ForgetLog();
    }
};

TEST_F(ReplyBounds, CutATextThatIsTooLong) {
    OpenForDeferredReplies();
    for (const std::size_t size :
         {Limit, Limit + 1, Mebibyte, 8 * Mebibyte, 32 * Mebibyte + 1, 64 * Mebibyte, 100 * Mebibyte}) {
        world.ForgetLog();
        EXPECT_EQ(Arriving(std::string(size, '7')), std::string(Limit, '7')) << size;
        const std::string line = "E SendReply: A text of " + std::to_string(size) + " bytes is cut at 65536";
        EXPECT_EQ(Lines(line), size > Limit ? 1 : 0) << size;
    }
    EXPECT_EQ(Session("Close"), "Success") << "the connection to the bus lives";
}

TEST_F(ReplyBounds, CutATextAtACharactersBorder) {
    OpenForDeferredReplies();
    EXPECT_EQ(Arriving(std::string(Limit - 1, 'a') + "\xC3\xA9"), std::string(Limit - 1, 'a'));
    EXPECT_EQ(Arriving(std::string(Limit - 2, 'a') + "\xC3\xA9"), std::string(Limit - 2, 'a') + "\xC3\xA9");
    EXPECT_EQ(Arriving(std::string(Limit - 3, 'a') + "\xF0\x9F\x98\x80"), std::string(Limit - 3, 'a'));
    EXPECT_EQ(Arriving(std::string(Limit, '\xFF')).size(), Limit - Limit % 3) << "U+FFFD takes three bytes";
}

TEST_F(ReplyBounds, CutAProgressText) {
    Session("Open");
    Call("Cmd", {{"Cmd", "66"}});
    client->CollectProgress("/navoa/client/" + Pid());
    EXPECT_TRUE(port->SendProgressCode(ClientId(), std::string(40 * Mebibyte, 'p')));
    WaitUntil([&] { return !client->Progress().empty(); }, "the signal");
    EXPECT_EQ(client->Progress().front(), std::string(Limit, 'p'));
}

TEST_F(ReplyBounds, ReplaceAReplyOfTooManyTexts) {
    OpenForDeferredReplies();
    const auto call = client->Start("Cmd", {{"Cmd", "66"}});
    Session("x");
    Na::RequestMap result;
    for (int i = 0; i < 200; ++i) {
        result[std::to_string(i)] = std::string(Limit, 'x');
    }
    EXPECT_TRUE(port->SendResult(ClientId(), result));
    const Na::RequestMap expected = {{"ReturnCode", ResultText::UnknownError}};
    EXPECT_EQ(Finish(call)->reply, expected);
}

}  // namespace
