// SPDX-License-Identifier: Apache-2.0
// The key-management server's protocol: three messages, each one HTTPS POST of a flat JSON object.
#pragma once

#include <string>

#include "common/Http.h"
#include "common/Json.h"

namespace Na {

// Speaks to the server for the length of one job. Every operation leaves the outcome in the current result:
// the server's "resultCode", an HTTP status, or the code of a transport failure.
class NavoProxy {
public:
    // An empty URL means the stored address, and without one the built-in default. A proxy that cannot read
    // the stored one sends nothing.
    explicit NavoProxy(const std::string& url = std::string());
    virtual ~NavoProxy() = default;
    NavoProxy(const NavoProxy&) = delete;
    NavoProxy& operator=(const NavoProxy&) = delete;

    // Upper-case hexadecimal SHA-256 over both values, each repeated past `length` characters, cut to the
    // shorter and combined by XOR. Empty when a value is empty.
    static std::string GetSessionKey(const std::string& val1, const std::string& val2, std::size_t length);

    // Sends one message and returns the body of the answer, empty on any failure. `context` is the
    // port-qualified client id and names the client's cookies.
    std::string SendRequest(const std::string& context, const Json& message);

    // Members of the answer to the latest message, none when it failed: nobody has to read it once more.
    const Json& LatestAnswer() const { return answer; }

    // Begins a session with a new UUID. `sessionSeed` goes into the session key and is not sent itself.
    std::string InitializeApdu(
        const std::string& context, const std::string& seId, const std::string& serviceId,
        const std::string& cplc, const std::string& sessionSeed, const std::string& pushReq);

    // Continues the session that InitializeApdu began.
    std::string NextApdu(const std::string& context, const std::string& seId, const std::string& rApduSet);

    // Asks up to three times while the server says to wait. The flag is always false: judge by the current
    // result.
    bool Eligibility(const std::string& context, const std::string& seId);

private:
    std::string url;
    bool isServerKnown = true;  // false when an address is stored and cannot be read: no other is talked to
    std::string uuid;           // of the current session; empty before InitializeApdu
    Json answer;                // members of the latest answer
};

}  // namespace Na
