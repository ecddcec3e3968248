// SPDX-License-Identifier: Apache-2.0
// The server's end of one TLS connection, between the bytes of the wire and those that they carry. It moves
// none of them itself.
#pragma once

#include <cstddef>
#include <string>

#include "keyserver/http/Tls.h"

namespace KeyServer {

class TlsEngine {
public:
    // Throws std::bad_alloc.
    explicit TlsEngine(SslHandle handle);

    enum class Progress {
        Done,
        Waiting,  // for bytes from the wire
        Ended,    // the peer has said good-bye
        Failed    // Problem says why
    };

    Progress Handshake();

    // What came from the wire, and that no more will come.
    void Feed(const char* data, std::size_t size);
    void FeedEnd();

    // Appends all that can be read of what came. Waiting is the usual outcome.
    Progress Open(std::string& plain);

    // False when nothing can be said any more.
    bool Seal(const std::string& plain);
    void SealGoodbye();

    // What has to go to the wire since the last call.
    std::string TakeSealed();

    const std::string& Problem() const { return problem; }

private:
    Progress OutcomeOf(int result);

    SslHandle ssl;
    BIO* fromWire;  // owned by the handle, like the next
    BIO* toWire;
    bool greeted = false;
    bool broken = false;  // TLS must not be spoken any more after a failure
    std::string problem;
};

}  // namespace KeyServer
