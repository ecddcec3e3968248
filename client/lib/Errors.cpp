// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>
#include <utility>

#include "client/lib/Bus.h"
#include "navo/Client.h"

namespace Navo {

const char* NameOf(ErrorKind kind) {
    switch (kind) {
        case ErrorKind::NoBus:
            return "no-bus";
        case ErrorKind::ServiceUnreachable:
            return "service-unreachable";
        case ErrorKind::SessionRefused:
            return "session-refused";
        case ErrorKind::SessionLost:
            return "session-lost";
        case ErrorKind::ServiceEnded:
            return "service-ended";
        case ErrorKind::TimedOut:
            return "timed-out";
        case ErrorKind::Cancelled:
            return "cancelled";
        case ErrorKind::UnexpectedReply:
            return "unexpected-reply";
        case ErrorKind::InvalidRequest:
            return "invalid-request";
        case ErrorKind::JobFailed:
            return "job-failed";
    }
    return "unknown";
}

ClientError::ClientError(ErrorKind errorKind, const std::string& message, std::string errorName)
    : std::runtime_error(message), kind(errorKind), busError(std::move(errorName)) {}

ClientError::~ClientError() = default;

Cancellation::Cancellation() : inner(std::make_unique<Inner>()) {
    inner->cancellable.reset(g_cancellable_new());
}

Cancellation::~Cancellation() = default;

void Cancellation::Cancel() {
    g_cancellable_cancel(inner->cancellable.get());
}

bool Cancellation::IsCancelled() const {
    return g_cancellable_is_cancelled(inner->cancellable.get()) != FALSE;
}

}  // namespace Navo
