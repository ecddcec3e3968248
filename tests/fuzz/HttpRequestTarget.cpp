// SPDX-License-Identifier: Apache-2.0
// What reaches the key server's port: a stream of requests. The first byte says in pieces of which size it
// arrives, which must make no difference.
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "keyserver/http/RequestReader.h"
#include "tests/fuzz/FuzzTarget.h"

namespace {

using namespace KeyServer;
using Progress = RequestReader::Progress;
using Seen = std::vector<std::tuple<std::string, std::string, std::string>>;

constexpr std::size_t MostBytes = 4096;
constexpr std::size_t MostOfAHead = 65536;  // what a reader holds back, waiting for more

// Reads requests until the input is used up or flawed.
class Stream {
public:
    // False when it is flawed.
    bool Give(const std::string& bytes) {
        input += bytes;
        for (;;) {
            switch (reader->Read(input)) {
                case Progress::NeedsMore:
                    return true;
                case Progress::Flawed:
                    return false;
                case Progress::Head:
                    Require(!headSeen, "a head is told of once");
                    headSeen = true;
                    break;
                case Progress::Complete:
                    Take(reader->Request());
                    break;
            }
        }
    }

    const Seen& Requests() const { return seen; }

private:
    void Take(const HttpRequest& request) {
        Require(headSeen, "a head is told of before its body");
        Require(!request.method.empty() && !request.target.empty(), "a request has a method and a target");
        Require(request.body.size() <= MostBytes, "a body is not over its limit");
        seen.emplace_back(request.method, request.target, request.body);
        reader = std::make_unique<RequestReader>(MostBytes);
        headSeen = false;
    }

    std::string input;
    std::unique_ptr<RequestReader> reader = std::make_unique<RequestReader>(MostBytes);
    bool headSeen = false;
    Seen seen;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > MostOfAHead) {
        return 0;
    }
    FuzzInput input(data, size);
    const std::size_t pieceSize = input.Byte() + 1U;
    const std::string bytes = input.Rest();
    Stream whole;
    whole.Give(bytes);
    Stream pieces;
    for (std::size_t at = 0; at < bytes.size() && pieces.Give(bytes.substr(at, pieceSize)); at += pieceSize) {
    }
    // A flaw may be found now or later, but not by one and overlooked by the other.
    Require(whole.Requests() == pieces.Requests(), "requests are the same however the bytes arrive");
    return 0;
}
