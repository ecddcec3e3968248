// SPDX-License-Identifier: Apache-2.0
// The fault matrix: one row is a request under a fault, and all that has to hold afterwards. The service, the
// virtual device and the HTTP peer live in the test's own process, so that a row costs milliseconds.
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/Agent.h"
#include "tests/support/HttpPeer.h"
#include "tests/support/service/CurlSpy.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/RecordingPort.h"
#include "tests/support/service/ResultTexts.h"

namespace Matrix {

using Map = Na::RequestMap;

// Calls from `from` on give `result`, as many as `times`, or with 0 all.
struct Fault {
    std::string function;
    std::string result;
    unsigned from = 1;
    unsigned times = 1;
};

// A job before the row's own, whose connection the service keeps, and what then becomes of that connection.
struct Earlier {
    std::string network = "type=wifi";
    std::string sections = {};
    std::string address = {};  // of the server; empty for the peer's
    std::deque<HttpReaction> reactions = {};
    std::function<void()> then = [] {};
};

// One row. The server's address, its reactions and the ends of libcurl concern the row's own request alone.
struct Case {
    std::string label;
    Map request;
    Map reply;  // all of it
    std::vector<Fault> faults = {};
    std::string network = "type=wifi";  // lines of the device's section
    Map cardAnswers = {};               // in place of, and beside, those of the ordinary card
    std::string sections = {};          // further ones of the device
    std::string address = {};           // of the server; empty for the peer's
    std::deque<HttpReaction> reactions = {};
    std::deque<CurlSpy::End> ends = {};  // of exchanges that never reach the network

    int passing = 0;  // real exchanges before those ends

    // "INITIALIZEAPDU", "NEXTAPDU " and the response set, or "ELIGIBILITY", as the peer got them; nothing
    // when that is not looked at.
    std::optional<std::vector<std::string>> sent = std::nullopt;
    std::vector<Map> before = {};  // requests to the ordinary device; nobody looks at their replies
    std::vector<Map> after = {};
    std::optional<Earlier> earlier = std::nullopt;
    Map opening = {};             // members that the first of them has
    std::size_t keeps = 0;        // handles that the platform does not take back
    int failedAttempts = -1;      // of HTTP exchanges; below 0 when that is not looked at
    std::string newAddress = {};  // the one that is stored afterwards, when another
    bool endsByException = false;
    bool meetsFaults = true;  // its request calls each function at least as often as its fault needs
};

constexpr char Cplc[] =
    "4F525731000150600100506100C0FFEE00424F5050654F4550664F495070000000014F53507100000002";
constexpr char SeId[] = "4F525731000150600100506100C0FFEE0042";
constexpr char TrustedPackage[] = "com.example.platform";

using namespace ResultText;

inline Map Status(const std::string& message) {
    return {{"ReturnCode", message}};
}

// Answers of the key-management server.
HttpReaction CommandSet(const std::string& set);
HttpReaction Result(const std::string& code);

// Requests that an ordinary device and server serve.
Map ScriptRequest();
Map Command(const std::string& code);

// Answers whether a client may do privileged work by the certificate of a package, as the client port does.
class CertifiedPort : public RecordingPort {
public:
    bool IsTrusted(const std::string& clientId) override;
};

// The world of one group of rows.
class MatrixWorld : public testing::Test {
protected:
    MatrixWorld();
    void TearDown() override;  // tells how many rows there were

    // Runs the row and then an ordinary script, and fails the test where anything that has to hold does not.
    void Check(const Case& row);
    void CheckAll(const std::vector<Case>& table);

    HttpPeer& Peer() { return *peer; }
    std::string Folder() const { return world.Path(); }

private:
    void Direct(const std::string& address);
    void Configure(const Case& row);
    Map Ask(const Map& request);
    static void CheckFaults(const Case& row);
    static void CheckLog(const Case& row);
    void CheckMessages(const Case& row);
    static void CheckFiles(const std::string& address);
    void CheckDescriptors(int before);
    void Serve(const std::vector<Map>& requests);
    void LeaveConnection(const Earlier& earlier);
    void CheckThatTheNextIsServed();

    DeviceWorld world;
    std::unique_ptr<HttpPeer> peer = std::make_unique<HttpPeer>();
    CertifiedPort port;
    Na::Agent agent;
    std::string directedTo;
    int checkedRows = 0;
    std::size_t keptSoFar = 0;  // of the whole process, which other worlds may have begun
};

}  // namespace Matrix
