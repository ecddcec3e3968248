// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/Answering.h"

#include "keyserver/service/Json.h"

namespace KeyServer {

namespace {

using Kind = Misbehaviour::Kind;

constexpr char EndpointPath[] = "/IssueCard.do";

JsonValue AnswerObject(const Turn& turn) {
    JsonValue object = JsonValue::Object();
    object.Add("resultCode", JsonValue::Text(turn.resultCode));
    if (!turn.commandSet.empty()) {
        object.Add("cApduSet", JsonValue::Text(turn.commandSet));
    }
    return object;
}

void RemoveMember(JsonValue& object, const std::string& name) {
    for (auto member = object.members.begin(); member != object.members.end(); ++member) {
        if (member->first == name) {
            object.members.erase(member);
            return;
        }
    }
}

void SpoilMembers(const Misbehaviour& misbehaviour, JsonValue& object) {
    if (misbehaviour.kind == Kind::NoCommands) {
        RemoveMember(object, "cApduSet");
    } else if (misbehaviour.kind == Kind::NoCode) {
        RemoveMember(object, "resultCode");
    } else if (misbehaviour.kind == Kind::Code) {
        RemoveMember(object, "resultCode");
        object.Add("resultCode", JsonValue::Text(misbehaviour.value));
    } else if (misbehaviour.kind == Kind::NumericCode) {
        RemoveMember(object, "resultCode");
        object.Add("resultCode", JsonValue::Number(1));
    }
}

std::string NotJson(const std::string& variant, const std::string& genuine) {
    if (variant == "html") {
        return "<html><body><h1>Please sign in</h1></body></html>";
    }
    if (variant == "list") {
        return "[" + genuine + "]";
    }
    if (variant == "number") {
        return "1";
    }
    if (variant == "null") {
        return "null";
    }
    if (variant == "truncated") {
        return genuine.substr(0, genuine.size() / 2);
    }
    if (variant == "blank") {
        return " \n";
    }
    if (variant == "nested") {
        return std::string(100000, '[');
    }
    if (variant == "binary") {
        return {'\x00', '\x01', '\xFF', '\xFE', '{', '\x80', '}'};
    }
    return "this is no JSON";
}

void SpoilBody(const Misbehaviour& misbehaviour, Reply& reply) {
    const std::uint64_t status = misbehaviour.NumberOr(misbehaviour.kind == Kind::Status ? 503 : 307);
    if (misbehaviour.kind == Kind::Status) {
        reply.status = static_cast<int>(status);
        reply.contentType = "text/plain";
        reply.body = "status " + std::to_string(status) + " to order\n";
    } else if (misbehaviour.kind == Kind::Redirect || misbehaviour.kind == Kind::RedirectTo) {
        const bool elsewhere = misbehaviour.kind == Kind::RedirectTo;
        reply.status = elsewhere ? 307 : static_cast<int>(status);
        reply.headers.emplace_back("Location", elsewhere ? misbehaviour.value : EndpointPath);
        reply.body.clear();
    } else if (misbehaviour.kind == Kind::Empty) {
        reply.body.clear();
    } else if (misbehaviour.kind == Kind::NotJson) {
        reply.body = NotJson(misbehaviour.value, reply.body);
    } else if (misbehaviour.kind == Kind::ContentType) {
        reply.contentType = misbehaviour.value.empty() ? "text/html" : misbehaviour.value;
    }
}

// The same bytes each time, so that a failure that they cause can be repeated.
std::string Garbage() {
    std::string bytes;
    unsigned state = 0x2545F491U;
    for (int i = 0; i < 256; ++i) {
        state = state * 1664525U + 1013904223U;
        bytes += static_cast<char>(state >> 24U);
    }
    return bytes;
}

void SpoilDelivery(const Misbehaviour& misbehaviour, Reply& reply) {
    Delivery& delivery = reply.delivery;
    switch (misbehaviour.kind) {
        case Kind::Delay:
            delivery.delay += std::chrono::milliseconds(misbehaviour.NumberOr(0));
            break;
        case Kind::CloseBefore:
            delivery.part = Delivery::Part::Nothing;
            delivery.closeAfterwards = true;
            break;
        case Kind::CloseHead:
            delivery.part = Delivery::Part::HalfHead;
            delivery.closeAfterwards = true;
            break;
        case Kind::CloseMiddle:
            delivery.part = Delivery::Part::HalfBody;
            delivery.closeAfterwards = true;
            break;
        case Kind::CloseAfter:
            delivery.closeAfterwards = true;
            break;
        case Kind::ConnectionClose:
            reply.headers.emplace_back("Connection", "close");
            delivery.closeAfterwards = true;
            break;
        case Kind::Reset:
            delivery.part = Delivery::Part::Nothing;
            delivery.reset = true;
            break;
        case Kind::Garbage:
            delivery.rawBytes = Garbage();
            delivery.closeAfterwards = true;
            break;
        case Kind::Restart:
            delivery.restart = std::chrono::milliseconds(misbehaviour.NumberOr(0));
            delivery.closeAfterwards = true;
            break;
        default:
            break;
    }
}

std::string EscapePercent(const std::string& text) {
    std::string escaped;
    for (const char character : text) {
        escaped += character == '%' ? std::string("%25") : std::string(1, character);
    }
    return escaped;
}

}  // namespace

Reply MakeReply(const Turn& turn, const std::vector<Misbehaviour>& misbehaviours) {
    JsonValue object = AnswerObject(turn);
    for (const Misbehaviour& misbehaviour : misbehaviours) {
        SpoilMembers(misbehaviour, object);
    }
    Reply reply;
    reply.body = EscapePercent(ToJson(object));
    for (const Misbehaviour& misbehaviour : misbehaviours) {
        SpoilBody(misbehaviour, reply);
        SpoilDelivery(misbehaviour, reply);
    }
    return reply;
}

Reply MakeRefusal(int status, const std::string& reason) {
    Reply reply;
    reply.status = status;
    reply.contentType = "text/plain";
    reply.body = reason + "\n";
    return reply;
}

bool KeepsAnswerBack(const Misbehaviour& misbehaviour) {
    switch (misbehaviour.kind) {
        case Kind::Delay:
        case Kind::CloseAfter:
        case Kind::ConnectionClose:
        case Kind::ContentType:
        case Kind::Endless:
        case Kind::Restart:
            return false;
        default:
            return true;
    }
}

}  // namespace KeyServer
