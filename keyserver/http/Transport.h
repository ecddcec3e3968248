// SPDX-License-Identifier: Apache-2.0
// One accepted connection, plain or TLS, as a stream of bytes. It is used on its executor only, and each call
// has to come to its end before the next; who calls keeps the transport alive until then, by what the given
// function holds.
#pragma once

#include <array>
#include <boost/asio/ip/tcp.hpp>
#include <functional>
#include <memory>
#include <string>

#include "keyserver/http/TlsEngine.h"

namespace KeyServer {

class Transport {
public:
    enum class Received { Bytes, End, Failure };
    using Done = std::function<void(bool good)>;
    using Receiver = std::function<void(Received outcome)>;

    // The socket must not block.
    explicit Transport(boost::asio::ip::tcp::socket connected);

    boost::asio::any_io_executor Executor() { return socket.get_executor(); }

    // TLS from now on, beginning with its handshake; on failure, Problem says why.
    void Secure(SslHandle ssl, Done done);

    // Appends to Input.
    void Receive(Receiver done);

    // What was received and is not used yet.
    std::string& Input() { return input; }

    void Send(const std::string& bytes, Done done);

    // What has begun ends with a failure.
    void Cancel();

    // Nothing more will be sent.
    void SayGoodbye();

    // Takes what the peer still sends and forgets it.
    void Discard(Done done);

    void Close();

    // The peer gets a reset in place of all that it has not read yet.
    void CloseWithReset();

    const std::string& Problem() const { return problem; }

private:
    using Error = boost::system::error_code;

    void Greet(Done done);
    void ReceiveForGreeting(Done done);
    void ReceiveSome(Receiver done);
    void DiscardSome(Done done);
    void Flush(Done done);
    Received Decrypt();

    boost::asio::ip::tcp::socket socket;
    std::unique_ptr<TlsEngine> tls;
    std::array<char, 16384> chunk{};
    std::string input;
    std::string output;
    std::string problem;
    bool cancelled = false;  // also when what was waited for came just before
    bool ended = false;      // the peer has said good-bye behind what is in the input
};

}  // namespace KeyServer
