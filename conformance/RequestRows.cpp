// SPDX-License-Identifier: Apache-2.0
// Requests that no card is needed for, and the forms of the commands' replies.
#include <algorithm>

#include "conformance/Kit.h"
#include "conformance/Row.h"
#include "navo/Outcome.h"
#include "navo/Vocabulary.h"

namespace Conformance {

namespace {

using Navo::Map;

constexpr char WrongCommand[] = "10000001_Invalid Cmd parameter is being used";

std::string ReturnCodeOf(const Map& reply) {
    const auto code = reply.find(Navo::Key::ReturnCode);
    return code != reply.end() ? code->second : "no ReturnCode";
}

Map Command(long number) {
    return {{Navo::Key::Cmd, Navo::CommandText(number)}};
}

void EmptyMap(Kit& kit) {
    Expect(ReturnCodeOf(kit.Ask({})), "Wrong parameters", "an empty request");
}

void MissingCommand(Kit& kit) {
    Expect(kit.CodeOf({{Navo::Key::ServiceId, "x"}}), "10300005", "a request without Cmd");
}

void HugeCommand(Kit& kit) {
    Expect(kit.CodeOf({{Navo::Key::Cmd, "123456789ABCDEF012"}}), "10300004", "a command beyond all numbers");
}

void UnknownCommands(Kit& kit) {
    Navo::Session session(kit.SessionOptions());
    for (const char* command : {"66", "0x66", " 66Z", "", "7777", "3FE"}) {
        Expect(
            ReturnCodeOf(session.Call({{Navo::Key::Cmd, command}})), WrongCommand,
            "the command \"" + std::string(command) + "\"");
    }
}

void ExecIsCmd(Kit& kit) {
    Navo::Session session(kit.SessionOptions());
    Navo::CallOptions options;
    options.method = Navo::Method::Exec;
    options.resultTag = "a tag";
    Expect(ReturnCodeOf(session.Call({{Navo::Key::Cmd, "66"}}, options)), WrongCommand, "66 by Exec");
    session.Close();
}

void UnfitCalls(Kit& kit) {
    const auto caller = kit.NewCaller();
    Expect(caller->Open().ReturnCode(), "Success", "opening");
    const char* const interface = Navo::ServiceInterface;
    const std::string wrongType = caller->Anything(interface, "Cmd", "('67',)").error;
    const std::string noArguments = caller->Anything(interface, "Cmd", "()").error;
    const std::string noMethod = caller->Anything(interface, "Reset", "()").error;
    const std::string after = caller->Cmd({{Navo::Key::Cmd, "66"}}).ReturnCode();
    static_cast<void>(caller->Session("Close"));
    Expect(wrongType, "org.freedesktop.DBus.Error.InvalidArgs", "Cmd with a text");
    Expect(noArguments, "org.freedesktop.DBus.Error.InvalidArgs", "Cmd without arguments");
    ExpectThat(
        noMethod == "org.freedesktop.DBus.Error.UnknownMethod" ||
            noMethod == "org.freedesktop.DBus.Error.AccessDenied",
        "a method that is not there was answered with \"" + noMethod + "\"");
    Expect(after, WrongCommand, "a request after all of them");
}

bool IsHexadecimal(const std::string& text) {
    return !text.empty() && text.size() % 2 == 0 &&
           text.find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos;
}

void Cplc(Kit& kit) {
    const std::string there = ReturnCodeOf(kit.Ask(Command(Navo::Command::Cplc)));
    ExpectThat(IsHexadecimal(there), "the card's data is no hexadecimal text: " + there);
}

void Memory(Kit& kit) {
    const Map reply = kit.Ask(Command(Navo::Command::Memory));
    const auto memory = reply.find(Navo::Key::MemoryInfo);
    ExpectThat(memory != reply.end(), "there is no MemoryInfo; ReturnCode is " + ReturnCodeOf(reply));
    Expect(ReturnCodeOf(reply), memory->second, "ReturnCode beside MemoryInfo");
    ExpectThat(
        memory->second.find_first_not_of("0123456789") == std::string::npos && memory->second != "0",
        "MemoryInfo is no number of bytes: " + memory->second);
}

// Keys of the lines of a text, each with a blank.
std::string KeysOf(const std::string& text) {
    std::string keys;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string line = text.substr(at, end - at);
        keys.append(line, 0, line.find(": ")).append(" ");
        at = end + 1;
    }
    return keys;
}

void PhoneInfo(Kit& kit) {
    const bool isPrivileged = kit.IsPrivileged();
    const Map reply = kit.Ask(Command(Navo::Command::PhoneInfo));
    if (!isPrivileged) {
        Expect(ReturnCodeOf(reply), WrongCommand, "1F4 of a package that is not privileged");
        Expect(kit.CodeOf(Command(Navo::Command::SetAddress)), "10000001", "1F5 of such a package");
        return;
    }
    Expect(
        KeysOf(reply.at(Navo::Key::PhoneInfo)),
        "deviceModel location agentVersion deviceCsc deviceMnc deviceMcc deviceCodeVersion ", "phoneInfo");
}

// A number; the libraries may be there or not.
void ExpectVerdict(const Map& reply, const char* key, const std::string& of) {
    const auto verdict = reply.find(key);
    ExpectThat(verdict != reply.end(), of + " has no verdict under " + key);
    const std::string& text = verdict->second;
    ExpectThat(
        text.size() > 1 && text[0] == '-' && text.find_first_not_of("0123456789", 1) == std::string::npos,
        of + ": the verdict is no negative number: " + text);
}

void CcmScript(Kit& kit) {
    Map request = Command(Navo::Command::CcmScript);
    request[Navo::Key::CcmScriptData] = "";
    ExpectVerdict(kit.Ask(request), Navo::Key::LccmReturnCode, "an empty CCM script");
}

void Keys(Kit& kit) {
    Navo::Session session(kit.SessionOptions());
    for (const long command :
         {Navo::Command::KeyInject, Navo::Command::KeyVerify, Navo::Command::KeyUid,
          Navo::Command::KeyOpenSession, Navo::Command::KeyUnknown}) {
        ExpectVerdict(
            session.Call(Command(command)), Navo::Key::ReturnCode,
            Navo::CommandText(command) + " without arguments");
    }
}

}  // namespace

std::vector<Row> RequestRows() {
    return {
        {"request.empty", "An empty request is answered with \"Wrong parameters\"", EmptyMap},
        {"request.without-command", "A request without Cmd is answered with 10300005", MissingCommand},
        {"request.out-of-range", "A command that is no number of the machine is answered with 10300004",
         HugeCommand},
        {"request.unknown", "66 and every unknown command, however written, are answered with 10000001",
         UnknownCommands},
        {"request.exec", "Exec is Cmd, whatever its tag", ExecIsCmd},
        {"request.unfit", "A call that does not fit the interface is refused, and disturbs nothing",
         UnfitCalls}};
}

std::vector<Row> CommandRows() {
    return {
        {"command.cplc", "67 answers with the card's data, hexadecimal, in ReturnCode", Cplc},
        {"command.memory", "68 answers with a number of bytes in MemoryInfo and in ReturnCode", Memory},
        {"command.phone-info", "1F4 answers a privileged package with seven lines, others as a wrong command",
         PhoneInfo},
        {"command.ccm", "90 gives its verdict in LccmReturnCode", CcmScript},
        {"command.keys", "3F0 to 3F3 and 3FF give a verdict below 0 where arguments are missing", Keys}};
}

}  // namespace Conformance
