// SPDX-License-Identifier: Apache-2.0
#include "keyserver/http/RequestReader.h"

#include <boost/beast/core/string.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/status.hpp>
#include <boost/beast/http/string_body.hpp>
#include <cstdint>
#include <limits>

namespace KeyServer {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;

namespace {

constexpr std::uint32_t MostBytesOfHead = 65536;

// A body in chunks never ends with fewer bytes, "0\r\n\r\n", and its end in smaller pieces would meet an
// assertion of the parser.
constexpr std::size_t ShortestEndOfChunks = 5;

std::string Text(beast::string_view text) {
    return {text.data(), text.size()};
}

}  // namespace

std::string ReasonPhrase(int status) {
    return Text(http::obsolete_reason(http::int_to_status(static_cast<unsigned>(status))));
}

struct RequestReader::Parser : http::request_parser<http::string_body> {};

RequestReader::RequestReader(std::size_t mostBytesOfBody)
    : mostBytes(mostBytesOfBody), parser(std::make_unique<Parser>()) {
    parser->header_limit(MostBytesOfHead);
    // The limit of the body is looked at behind the head, which may give a better reason to refuse the
    // request.
    parser->body_limit(std::numeric_limits<std::uint64_t>::max());
}

RequestReader::~RequestReader() = default;

RequestReader::Progress RequestReader::Complain(Flaw found) {
    flaw = found;
    return Progress::Flawed;
}

void RequestReader::TakeHead() {
    const auto& head = parser->get();
    request.target = Text(head.target());
    for (const auto& field : head) {
        request.fields.emplace_back(Text(field.name_string()), Text(field.value()));
    }
    request.version = head.version();
    request.keepAlive = parser->keep_alive();
    asksToContinue = request.version >= 11 && !parser->is_done() &&
                     beast::iequals(head[http::field::expect], "100-continue");
    parser->body_limit(mostBytes);
    flaw = Flaw::Incomplete;
}

RequestReader::Progress RequestReader::Read(std::string& input) {
    for (;;) {
        if (parser->is_header_done() && !headTaken) {
            headTaken = true;
            TakeHead();
            return Progress::Head;
        }
        if (parser->is_done()) {
            request.body = std::move(parser->get().body());
            return Progress::Complete;
        }
        if (headTaken && parser->content_length().value_or(0) > mostBytes) {
            return Complain(Flaw::BodyTooLong);
        }
        const Progress progress = Advance(input);
        if (progress != Progress::Complete) {
            return progress;
        }
    }
}

// Complete when one step of the parser is.
RequestReader::Progress RequestReader::Advance(std::string& input) {
    const bool inChunks = headTaken && parser->chunked();
    if (input.size() < (inChunks ? ShortestEndOfChunks : 1)) {
        return Progress::NeedsMore;
    }
    beast::error_code error;
    input.erase(0, parser->put(asio::buffer(input), error));
    if (request.method.empty()) {
        request.method = Text(parser->get().method_string());
    }
    if (error == http::error::need_more) {
        // Such as the description of a chunk that never ends.
        return input.size() > MostBytesOfHead ? Complain(Flaw::NoHttp) : Progress::NeedsMore;
    }
    if (error == http::error::body_limit) {
        return Complain(Flaw::BodyTooLong);
    }
    if (error) {
        return Complain(error == http::error::header_limit ? Flaw::HeadTooLong : Flaw::NoHttp);
    }
    return Progress::Complete;
}

}  // namespace KeyServer
