// SPDX-License-Identifier: Apache-2.0
// The service on the bus, and what it counts as a session.
#include <pwd.h>
#include <unistd.h>

#include "conformance/Kit.h"
#include "conformance/Row.h"
#include "navo/BusSight.h"
#include "navo/Vocabulary.h"

namespace Conformance {

namespace {

constexpr char Success[] = "Success";
constexpr char Failed[] = "Failed";
constexpr char WrongParameters[] = "Wrong parameters";
constexpr char WrongCommand[] = "10000001_Invalid Cmd parameter is being used";

// A session by hand, which is closed on every way out.
class OpenSession {
public:
    explicit OpenSession(const Kit& kit) : caller(kit.NewCaller()) {
        Expect(caller->Open().ReturnCode(), Success, "opening");
    }
    ~OpenSession() {
        for (; opened > 0; --opened) {
            static_cast<void>(caller->Session("Close"));
        }
    }
    OpenSession(const OpenSession&) = delete;
    OpenSession& operator=(const OpenSession&) = delete;

    Caller& operator*() const { return *caller; }
    Caller* operator->() const { return caller.get(); }

    void OpenOnceMore() {
        ++opened;
        Expect(caller->Session("Open").ReturnCode(), Failed, "opening once more");
    }
    std::string Close() {
        --opened;
        return caller->Session("Close").ReturnCode();
    }

private:
    std::unique_ptr<Caller> caller;
    int opened = 1;
};

void CanBeStarted(Kit& kit) {
    ExpectThat(Navo::LookAtBus(kit.SessionOptions()).activatable, "the bus has no activation file for it");
}

void Opens(Kit& kit) {
    OpenSession session(kit);
    const std::string owner = session->Owner();
    ExpectThat(!owner.empty(), "nobody has the service's name after an opening");
    Expect(session.Close(), Success, "closing");
}

void DescribesItself(Kit& kit) {
    const OpenSession session(kit);
    const std::string text =
        session->Anything("org.freedesktop.DBus.Introspectable", "Introspect", "()").text;
    for (const char* part : {"com.orvenco.navoa", "Session", "Cmd", "Exec", "Progress", "a{ss}"}) {
        ExpectThat(text.find(part) != std::string::npos, std::string(part) + " is missing in: " + text);
    }
}

void SecondOpeningIsRefused(Kit& kit) {
    OpenSession session(kit);
    session.OpenOnceMore();
    const std::string owner = session->Owner();
    Expect(session.Close(), Success, "the first closing");
    Expect(session->Cmd({{Navo::Key::Cmd, "66"}}).ReturnCode(), WrongCommand, "a request after it");
    Expect(session.Close(), Success, "the second closing");
    ExpectThat(session->AwaitEndOf(owner), "the service did not end after both");
}

void OtherWordsFail(Kit& kit) {
    const OpenSession session(kit);
    for (const char* word : {"", "open", "Start"}) {
        Expect(session->Session(word).ReturnCode(), Failed, "\"" + std::string(word) + "\"");
    }
}

void EveryMethodOpens(Kit& kit) {
    const auto other = kit.NewClient();
    Expect(other->AskAndAwait("Open").text, Success, "another client's opening");
    const auto caller = kit.NewCaller();
    Expect(caller->Cmd({{"Session", "Open"}, {"Cmd", "66"}}).ReturnCode(), Success, "opening by Cmd");
    Expect(caller->Exec({{"Session", "Close"}}, "tag").ReturnCode(), Success, "closing by Exec");
    Expect(caller->Cmd({{Navo::Key::Cmd, "66"}}).ReturnCode(), WrongParameters, "a request after that");
    Expect(other->AskAndAwait("Close").text, Success, "the other client's closing");
}

void NoRequestWithoutSession(Kit& kit) {
    const auto other = kit.NewClient();
    Expect(other->AskAndAwait("Open").text, Success, "another client's opening");
    const auto caller = kit.NewCaller();
    Expect(
        caller->Cmd({{Navo::Key::Cmd, "67"}}).ReturnCode(), WrongParameters, "a request without a session");
    Expect(caller->Session("Close").ReturnCode(), Success, "closing without a session");
    Expect(other->AskAndAwait("66").text, WrongCommand, "the other client's request");
    Expect(other->AskAndAwait("Close").text, Success, "the other client's closing");
}

void EndsWithTheLast(Kit& kit) {
    const auto other = kit.NewClient();
    OpenSession session(kit);
    const std::string owner = session->Owner();
    Expect(other->AskAndAwait("Open").text, Success, "another client's opening");
    Expect(session.Close(), Success, "closing");
    Expect(other->AskAndAwait("66").text, WrongCommand, "the other client's request after it");
    Expect(session->Owner(), owner, "who has the name while another client is there");
    Expect(other->AskAndAwait("Close").text, Success, "the other client's closing");
    ExpectThat(session->AwaitEndOf(owner), "it still has its name after its last client");
}

void OneConnectionIsAsGoodAsAnother(Kit& kit) {
    const OpenSession session(kit);
    const auto second = kit.NewCaller();
    Expect(second->Session("Open").ReturnCode(), Failed, "opening on another connection of the process");
    Expect(second->Cmd({{Navo::Key::Cmd, "66"}}).ReturnCode(), WrongCommand, "a request on it");
    Expect(second->Session("Close").ReturnCode(), Success, "taking the refused opening back");
}

void StrangersAreRefused(Kit& kit) {
    if (geteuid() != 0) {
        throw CannotBeTried("it takes root, who may become somebody else");
    }
    const passwd* const account = getpwnam(kit.Given().stranger.c_str());
    if (account == nullptr) {
        throw CannotBeTried("there is no account \"" + kit.Given().stranger + "\"");
    }
    const OpenSession session(kit);
    const std::string answer = kit.NewClient(account->pw_uid)->AskAndAwait("Open").text;
    if (answer == "<no-bus>") {
        throw CannotBeTried("the bus lets " + kit.Given().stranger + " not even connect");
    }
    Expect(answer, "<org.freedesktop.DBus.Error.AccessDenied>", "opening as " + kit.Given().stranger);
}

}  // namespace

std::vector<Row> SessionRows() {
    return {
        {"bus.activation", "The bus knows how to start the service", CanBeStarted},
        {"session.open", "The first opening starts the service and is answered with \"Success\"", Opens},
        {"bus.description", "The object describes its interface, with three methods and the signal",
         DescribesItself},
        {"session.refused", "A second opening is refused and counts: it takes two closings",
         SecondOpeningIsRefused},
        {"session.words", "Anything but \"Open\" and \"Close\" is answered with \"Failed\"", OtherWordsFail},
        {"session.methods", "A map with \"Session\" opens and closes by every method", EveryMethodOpens},
        {"session.none", "Without a session a request is answered with \"Wrong parameters\"",
         NoRequestWithoutSession},
        {"session.process", "All connections of a process are one client", OneConnectionIsAsGoodAsAnother},
        {"session.end", "The service stays while a client is there, and ends with the last one",
         EndsWithTheLast},
        {"callers.strangers", "Who is not let in by the policy is refused by the bus", StrangersAreRefused}};
}

}  // namespace Conformance
