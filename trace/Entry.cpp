// SPDX-License-Identifier: Apache-2.0
#include "trace/Entry.h"

namespace Trace {

const char* NameOf(Kind kind) {
    switch (kind) {
        case Kind::Request:
            return "request";
        case Kind::Reply:
            return "reply";
        case Kind::Message:
            return "message";
        case Kind::Apdu:
            return "apdu";
        case Kind::Open:
            return "open";
        case Kind::Close:
            return "close";
        case Kind::Note:
            break;
    }
    return "note";
}

const char* NameOf(State state) {
    switch (state) {
        case State::Noted:
            return "noted";
        case State::Failed:
            return "failed";
        case State::Good:
            break;
    }
    return "good";
}

const char* NameOf(Form form) {
    switch (form) {
        case Form::DeviceRecording:
            return "recording of a device";
        case Form::ServerRecord:
            return "record of a key server";
        case Form::ServiceLog:
            return "log of the service";
        case Form::Unknown:
            break;
    }
    return "nothing that is known";
}

std::string StatusWordOf(const Entry& entry) {
    const Bytes& response = entry.response.bytes;
    return response.size() < 2 ? std::string() : GlobalPlatform::HexText(GlobalPlatform::Last(response, 2));
}

}  // namespace Trace
