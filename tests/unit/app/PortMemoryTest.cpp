// SPDX-License-Identifier: Apache-2.0
// A call is answered though memory lacks at any moment of it. This program's allocator fails to order.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>

#include "common/HttpExchange.h"
#include "tests/support/service/PortOnBus.h"
#include "tests/support/service/ResultTexts.h"

namespace {

constexpr int Never = std::numeric_limits<int>::max();

int planned = Never;    // which allocation of the next call fails, counted from 0
int countdown = Never;  // while a call is served
bool failed = false;
int answers = 0;
bool nameFillsItsRoom = false;

// A memory checker such as valgrind puts its own allocator in place of this program's.
bool CanRunShort() {
    countdown = 0;
    try {
        delete new int();
    } catch (const std::bad_alloc&) {
        return true;
    }
    countdown = Never;
    return false;
}

class PortWithoutMemory : public PortOnBus {
protected:
    void SetUp() override {
        if (!CanRunShort()) {
            GTEST_SKIP() << "another allocator is in place of this program's";
        }
    }

    // Serves one call of which the given allocation fails, and returns its answer.
    std::string CallWithFailure(int allocation, const std::string& method, const Na::RequestMap& arguments) {
        planned = allocation;
        failed = false;
        answers = 0;
        std::string answer = Call(method, arguments);
        EXPECT_EQ(answers, 1) << allocation;
        return answer;
    }
};

TEST_F(PortWithoutMemory, AnswersEveryRequest) {
    Session("Open");
    int allocation = 0;
    do {
        const std::string answer = CallWithFailure(allocation, "Cmd", {{"Cmd", "66"}});
        EXPECT_EQ(
            answer, failed && answer != ResultText::WrongCommand ? ResultText::UnknownError
                                                                 : ResultText::WrongCommand);
        ++allocation;
    } while (failed);
    EXPECT_GT(allocation, 10);
    EXPECT_EQ(Call("Cmd", {{"Cmd", "66"}}), ResultText::WrongCommand) << "the session goes on";
}

TEST_F(PortWithoutMemory, OpensASessionWholeOrNotAtAll) {
    int allocation = 0;
    std::string answer;
    do {
        answer = CallWithFailure(allocation, "Session", {{"Session", "Open"}});
        const bool opened = registry->ClientCount() == 1;
        EXPECT_EQ(Call("Cmd", {{"Cmd", "66"}}), opened ? ResultText::WrongCommand : "Wrong parameters")
            << allocation;
        if (opened) {
            EXPECT_EQ(Session("Close"), "Success");
        }
        EXPECT_EQ(registry->ClientCount(), 0U) << allocation;
        ++allocation;
    } while (failed);
    EXPECT_EQ(answer, "Success");
}

TEST_F(PortWithoutMemory, ClosesASessionWholeOrNotAtAll) {
    int allocation = 0;
    do {
        EXPECT_EQ(Session("Open"), "Success");
        CallWithFailure(allocation, "Session", {{"Session", "Close"}});
        const bool open = registry->ClientCount() == 1;
        EXPECT_EQ(Call("Cmd", {{"Cmd", "66"}}), open ? ResultText::WrongCommand : "Wrong parameters");
        if (open) {
            EXPECT_EQ(Session("Close"), "Success");
        }
        ++allocation;
    } while (failed);
}

TEST_F(PortOnBus, EndsAPackageNameThatFillsItsRoom) {
    nameFillsItsRoom = true;
    EXPECT_EQ(Session("Open"), "Success");
    EXPECT_EQ(Session("Close"), "Success");
    nameFillsItsRoom = false;
    EXPECT_THAT(
        world.LocatedLog(),
        testing::Contains(
            "D _handle_method_call: Registering client " + std::string(254, 'x') + "_" + Pid()));
}

TEST_F(PortWithoutMemory, TakesAnAnswerOfAServerToItsEndAndFailsTheAttempt) {
    Na::HttpExchange exchange;
    exchange.BeginAttempt();
    char chunk[] = "an answer";
    countdown = 0;
    const std::size_t taken = Na::curl_write_cb(chunk, 1, sizeof chunk, &exchange.received);
    countdown = Never;
    EXPECT_EQ(taken, sizeof chunk);
    EXPECT_EQ(exchange.EndAttempt(CURLE_OK), CURLE_OUT_OF_MEMORY);
    exchange.BeginAttempt();
    EXPECT_EQ(exchange.EndAttempt(CURLE_OK), CURLE_OK) << "the next attempt is another";
}

}  // namespace

void* operator new(std::size_t size) {
    if (countdown != Never && countdown-- == 0) {
        countdown = Never;
        failed = true;
        throw std::bad_alloc();
    }
    if (void* const memory = std::malloc(size > 0 ? size : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

extern "C" {

// The first thing that the port asks of the platform for each call, and the last thing that it asks of the
// bus.
int __real_aul_app_get_pkgname_bypid(int pid, char* name, int length);
gboolean __real_g_main_context_iteration(GMainContext* context, gboolean mayBlock);
void __real_g_dbus_method_invocation_return_value(GDBusMethodInvocation* invocation, GVariant* parameters);

int __wrap_aul_app_get_pkgname_bypid(int pid, char* name, int length) {
    const int result = __real_aul_app_get_pkgname_bypid(pid, name, length);
    if (nameFillsItsRoom) {
        std::fill(name, name + length, 'x');
        return 0;
    }
    countdown = planned;
    planned = Never;
    return result;
}

// Serves the call, and nothing of the test's own: its reply comes in a later turn.
gboolean __wrap_g_main_context_iteration(GMainContext* context, gboolean mayBlock) {
    const gboolean dispatched = __real_g_main_context_iteration(context, mayBlock);
    countdown = Never;
    return dispatched;
}

void __wrap_g_dbus_method_invocation_return_value(GDBusMethodInvocation* invocation, GVariant* parameters) {
    ++answers;
    __real_g_dbus_method_invocation_return_value(invocation, parameters);
}

}  // extern "C"
