// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/Hint.h"

#include <algorithm>

#include "navo/Causes.h"

namespace {

bool AsksServer(long command) {
    return command == Navo::Command::RunScript || command == Navo::Command::Eligibility;
}

bool IsHttpStatus(const std::string& code) {
    return code.size() == 3 &&
           std::all_of(code.begin(), code.end(), [](char each) { return each >= '0' && each <= '9'; });
}

Navo::CauseKind KindOf(long command, const std::string& code) {
    if (IsHttpStatus(code)) {
        return Navo::CauseKind::HttpStatus;
    }
    if (code.empty() || code.front() != '-') {
        return Navo::CauseKind::ResultCode;
    }
    return command == Navo::Command::CcmScript ? Navo::CauseKind::CcmVerdict : Navo::CauseKind::KeyVerdict;
}

// A sentence as a part of a line.
std::string Part(std::string sentence) {
    if (!sentence.empty() && sentence.back() == '.') {
        sentence.pop_back();
    }
    return sentence;
}

// What is known of a job that a server drove.
std::string ServerPart(const std::string& code, const ServiceSight& service) {
    std::string text;
    const std::optional<std::string> address = service.StoredAddress();
    if (address) {
        text += address->empty() ? "; server: the built-in address" : "; server: " + *address;
    }
    if (IsHttpStatus(code)) {
        text += "; it answered with HTTP status " + code;
    }
    const std::string reason = TransportReason(service.NewLogText());
    return text + (reason.empty() ? "" : "; the log says that " + reason);
}

}  // namespace

std::string HintFor(const Arguments& arguments, const Navo::Outcome& outcome, const ServiceSight& service) {
    const std::vector<Navo::Cause> causes =
        Navo::CausesOf(outcome.code, KindOf(arguments.command, outcome.code));
    const bool speaks = !causes.empty() && outcome.explanation.empty();
    const std::string meaning = speaks ? Part(causes.front().meaning) + "; " : "";
    const std::string server = AsksServer(arguments.command) ? ServerPart(outcome.code, service) : "";
    const std::string more = causes.empty() ? "" : "; more: navoctl explain " + outcome.code;
    return meaning + "log: " + service.LogPlace() + server + more;
}

std::string HintFor(const Navo::ClientError& error, const ServiceSight& service) {
    const std::vector<Navo::Cause> causes = Navo::CausesOf(NameOf(error.Kind()), Navo::CauseKind::Error);
    const std::string lookAt = causes.empty() ? "" : Part(causes.front().lookAt);
    return lookAt + (lookAt.empty() ? "log: " : "; log: ") + service.LogPlace();
}
