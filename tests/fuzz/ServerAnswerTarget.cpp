// SPDX-License-Identifier: Apache-2.0
// What a server sends: every byte of its answer, status line and headers included, over a real connection.
// The connection closes behind it. The device's proxy leads a redirect to another host back here.
#include <memory>

#include "app/NavoProxy.h"
#include "app/ResultCode.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/ServiceWorld.h"
#include "tests/support/HttpPeer.h"

namespace {

// A peer remembers every request, so it is replaced from time to time.
constexpr int RequestsOfAPeer = 500;

HttpPeer& Peer() {
    static std::unique_ptr<HttpPeer> peer;
    static int requests = 0;
    if (!peer || ++requests % RequestsOfAPeer == 0) {
        peer = std::make_unique<HttpPeer>();
        ServiceWorld().Configure("[network]\ntype=wifi\nproxy=" + peer->Address() + "\n");
    }
    return *peer;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    HttpPeer& peer = Peer();
    peer.Script({HttpReaction{std::string(reinterpret_cast<const char*>(data), size), true}});
    Na::SetResultCodeText("");
    Na::NavoProxy proxy(peer.Url());
    const std::string body =
        proxy.InitializeApdu("dbus;com.example.wallet_1", "seId", "service", "cplc", "seed", "00");
    const std::string code = Na::GetResultCodeText();
    Require(!code.empty(), "an exchange has an outcome");
    // An answer that is none is asked for again, and then there is one.
    Require(body.size() <= size || body == "{}", "a body is part of the answer");
    return 0;
}
