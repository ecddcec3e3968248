// SPDX-License-Identifier: Apache-2.0
// What a service is asked to do while it is measured, so many times over.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/Settings.h"
#include "bench/Stage.h"
#include "tests/support/HttpPeer.h"
#include "tests/support/TestCertificate.h"

namespace Bench {

constexpr char StatusRequest[] = "status request";
constexpr char ScriptExchange[] = "exchange of a script, one APDU";

// One kind of work. Its cost is the difference between few and many, so that start, first time and end fall
// out.
struct Work {
    std::string name;
    unsigned few;
    unsigned many;
    bool hasFloor;  // the floors know it as well
    std::function<void(Stage& stage, unsigned times)> run;
};

// A server within this process, whose answers are said beforehand.
class ScriptedServer {
public:
    ScriptedServer();

    // Directs the service to it, by HTTPS; before the service starts.
    void Serve(Stage& stage);

    // One script of so many exchanges, each but the first with so many APDUs before it.
    void Play(Stage& stage, unsigned exchanges, unsigned apdus);

    // How many of TLS were completed so far.
    int Handshakes() const { return peer.Handshakes(); }

    // One script whose only answer has so many bytes.
    void AnswerAtLength(Stage& stage, std::size_t bytes);

private:
    static void RunScript(Stage& stage);

    TestCertificate certificate{{"127.0.0.1"}};
    HttpPeer peer{certificate.ServerContext()};
};

// A status request, the queries, an APDU, an exchange, and a MiB of a server's answer.
std::vector<Work> AllWork(ScriptedServer& server);

// Starts the service, lets it work and ends it; what it left in the file of a counting or tracing command.
template <typename Count>
auto CountOf(
    Side side, const Work& work, unsigned times, ScriptedServer& server, const Settings& settings,
    void (Stage::*start)(const std::filesystem::path&), Count count) {
    const std::filesystem::path result = settings.scratch / "work.count";
    Stage stage(side);
    server.Serve(stage);
    (stage.*start)(result);
    work.run(stage, times);
    stage.End();
    return count(result);
}

}  // namespace Bench
