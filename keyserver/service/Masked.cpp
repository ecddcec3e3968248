// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/Masked.h"

#include <algorithm>
#include <cctype>
#include <functional>

namespace KeyServer {

namespace {

using GlobalPlatform::Masking;
using MaskItem = std::function<std::string(const std::string& digits)>;

// What stands behind each "/" and two characters, in whatever shape the rest of the body is.
std::string MaskedSets(const std::string& body, const MaskItem& mask) {
    constexpr std::size_t MarkLength = 2;
    std::string masked;
    std::size_t at = 0;
    for (std::size_t slash = 0; (slash = body.find('/', at)) != std::string::npos;) {
        const std::size_t begin = std::min(slash + 1 + MarkLength, body.size());
        const auto first = body.begin() + static_cast<std::ptrdiff_t>(begin);
        const auto last =
            std::find_if_not(first, body.end(), [](unsigned char each) { return std::isxdigit(each) != 0; });
        masked += body.substr(at, begin - at) + mask({first, last});
        at = static_cast<std::size_t>(last - body.begin());
    }
    return masked + body.substr(at);
}

std::string WithoutSessionKey(const Masking& masking, std::string body) {
    const std::string name = "\"sessionKey\"";
    for (std::size_t at = 0; (at = body.find(name, at)) != std::string::npos;) {
        at += name.size();
        const std::size_t begin = body.find('"', at);
        const std::size_t end = begin == std::string::npos ? begin : body.find('"', begin + 1);
        if (end == std::string::npos) {
            break;
        }
        const std::string value = body.substr(begin + 1, end - begin - 1);
        if (!value.empty()) {
            body.replace(begin + 1, value.size(), masking.Alias("session key", value));
        }
    }
    return body;
}

}  // namespace

Exchange Masked(const Masking& masking, Exchange exchange) {
    const auto command = [&masking](const std::string& digits) { return masking.Command(digits); };
    const auto data = [&masking](const std::string& digits) { return masking.Data(digits); };
    exchange.request = WithoutSessionKey(masking, MaskedSets(exchange.request, data));
    exchange.answer = MaskedSets(exchange.answer, command);
    exchange.remark = masking.Sentence(exchange.remark);
    for (Verdict& verdict : exchange.verdicts) {
        verdict.command = command(verdict.command);
        verdict.response = data(verdict.response);
    }
    for (std::string& note : exchange.notes) {
        note = masking.Sentence(note);
    }
    return exchange;
}

}  // namespace KeyServer
