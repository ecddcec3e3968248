// SPDX-License-Identifier: Apache-2.0
#include "conformance/Kit.h"

#include <glib/gstdio.h>

#include <cstdlib>
#include <filesystem>
#include <utility>

#include "conformance/Row.h"
#include "keyserver/http/Certificates.h"
#include "keyserver/scripted/Script.h"
#include "navo/Outcome.h"
#include "navo/Vocabulary.h"

namespace Conformance {

namespace {

using KeyServer::Script;
using KeyServer::ScriptCommand;
using KeyServer::ScriptStep;

constexpr char SelectIssuerDomain[] = "00A4040000";
constexpr char GetCplc[] = "80CA9F7F00";
constexpr char HalfByte[] = "9";
constexpr char SelectNobody[] = "00A404000BA00000FFFF4E6F626F647900";

ScriptStep StepOf(const std::string& apdu) {
    ScriptStep step;
    ScriptCommand command;
    command.apdu = apdu;
    command.expected = {"9000"};
    step.commands.push_back(command);
    return step;
}

std::shared_ptr<const KeyServer::Service> ServiceOf(const char* id, std::vector<ScriptStep> steps) {
    auto script = std::make_shared<Script>();
    script->name = id;
    script->serviceIds = {id};
    script->steps = std::move(steps);
    return script;
}

KeyServer::Catalogue KitCatalogue() {
    KeyServer::Catalogue catalogue;
    catalogue.services = {
        ServiceOf(ServiceId::Card, {StepOf(SelectIssuerDomain), StepOf(GetCplc)}),
        ServiceOf(ServiceId::Refused, {StepOf(SelectNobody)}),
        ServiceOf(ServiceId::Malformed, {StepOf(HalfByte)})};
    catalogue.eligibility = {KeyServer::ResultCode::Success, KeyServer::ResultCode::ForeignDevice};
    return catalogue;
}

// A folder of this process alone, which goes with it.
class PrivateFolder {
public:
    PrivateFolder() {
        std::string form = (std::filesystem::temp_directory_path() / "navo-conformance.XXXXXX").string();
        if (g_mkdtemp(form.data()) == nullptr) {
            throw CannotBeTried("no folder for a certificate could be made");
        }
        path = form;
    }
    ~PrivateFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    const std::string& Path() const { return path; }

private:
    std::string path;
};

}  // namespace

Kit::Kit(Options kitOptions) : options(std::move(kitOptions)) {}

Kit::~Kit() = default;

std::unique_ptr<Caller> Kit::NewCaller() const {
    return std::make_unique<Caller>(options.busAddress, options.patience);
}

std::unique_ptr<OtherClient> Kit::NewClient(std::optional<unsigned> user) const {
    return std::make_unique<OtherClient>(OtherClient::Order{options.busAddress, options.patience, user});
}

Navo::SessionOptions Kit::SessionOptions() const {
    Navo::SessionOptions session;
    session.busAddress = options.busAddress;
    session.timeLimit = options.patience;
    session.confirm = true;
    return session;
}

Navo::Map Kit::Ask(const Navo::Map& request) const {
    Navo::Session session(SessionOptions());
    Navo::Map reply = session.Call(request);
    session.Close();
    return reply;
}

std::string Kit::CodeOf(const Navo::Map& request) const {
    const Navo::Map reply = Ask(request);
    const auto code = reply.find(Navo::Key::ReturnCode);
    return code != reply.end() ? Navo::SplitResultMessage(code->second).code : "no ReturnCode";
}

bool Kit::IsPrivileged() {
    if (privileged < 0) {
        const Navo::Map reply = Ask({{Navo::Key::Cmd, Navo::CommandText(Navo::Command::PhoneInfo)}});
        privileged = reply.count(Navo::Key::PhoneInfo) > 0 ? 1 : 0;
    }
    return privileged == 1;
}

void Kit::StartTrusted() {
    if (options.certificate.empty()) {
        throw CannotBeTried("it takes a certificate that the service trusts (--certificate, --key)");
    }
    KeyServer::ServerOptions server;
    server.http.listen = options.listen;
    server.http.port = options.port;
    server.certificateFile = options.certificate;
    server.keyFile = options.key;
    server.log = [this](const std::string&) {
        const std::lock_guard<std::mutex> lock(mutex);
        lastMessage = g_get_monotonic_time();
    };
    trusted = std::make_unique<KeyServer::Server>(std::move(server), KitCatalogue());
    trusted->Start();
}

KeyServer::Server& Kit::Trusted() {
    if (!trusted) {
        StartTrusted();
    }
    trusted->Misbehave({});
    if (!options.isDirected) {
        Direct(AddressOf(*trusted, "https"));
    }
    return *trusted;
}

void Kit::Direct(const std::string& address) {
    if (directedTo == address) {
        return;
    }
    if (options.isDirected || !IsPrivileged()) {
        throw CannotBeTried("it takes a privileged package, which may direct the service to another server");
    }
    const std::string code = CodeOf(
        {{Navo::Key::Cmd, Navo::CommandText(Navo::Command::SetAddress)}, {Navo::Key::HostAddr, address}});
    Expect(code, "00000001", "storing the address " + address);
    directedTo = address;
}

std::unique_ptr<KeyServer::Server> Kit::NewUntrusted() const {
    const PrivateFolder folder;
    KeyServer::CertificateOrder order;
    order.folder = folder.Path();
    const std::string host = options.host.empty() ? options.listen : options.host;
    order.names.push_back(host);
    const KeyServer::CertificateFiles files = KeyServer::MakeCertificates(order);
    KeyServer::ServerOptions server;
    server.http.listen = options.listen;
    server.certificateFile = files.certificate;
    server.keyFile = files.key;
    auto started = std::make_unique<KeyServer::Server>(std::move(server), KitCatalogue());
    started->Start();
    return started;
}

std::string Kit::AddressOf(const KeyServer::Server& server, const std::string& scheme) const {
    const std::string host = options.host.empty() ? options.listen : options.host;
    return scheme + "://" + host + ":" + std::to_string(server.Port());
}

Moment Kit::LastMessage() {
    const std::lock_guard<std::mutex> lock(mutex);
    return lastMessage;
}

void Kit::Restore() {
    if (!options.restored.empty() && !directedTo.empty()) {
        Direct(options.restored);
    }
}

}  // namespace Conformance
