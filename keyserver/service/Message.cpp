// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/Message.h"

#include "keyserver/service/Json.h"

namespace KeyServer {

namespace {

constexpr char Prefix[] = "data=";

JsonValue ParseObject(const std::string& text) {
    try {
        JsonValue value = ParseJson(text);
        if (value.kind != JsonValue::Kind::Object) {
            throw WrongMessage(
                ResultCode::InvalidMessage,
                std::string("a JSON object is expected behind \"data=\", not ") + KindName(value.kind));
        }
        return value;
    } catch (const JsonError& error) {
        throw WrongMessage(ResultCode::InvalidMessage, error.what());
    }
}

}  // namespace

WrongMessage::WrongMessage(std::string resultCode, const std::string& reason)
    : std::runtime_error(reason), code(std::move(resultCode)) {}

Message::Message(const std::string& body) {
    constexpr std::size_t prefixLength = sizeof(Prefix) - 1;
    if (body.compare(0, prefixLength, Prefix) != 0) {
        throw NotAMessage(body.empty() ? "the body is empty" : "the body does not begin with \"data=\"");
    }
    JsonValue object = ParseObject(body.substr(prefixLength));
    for (auto& [name, value] : object.members) {
        if (value.kind == JsonValue::Kind::Text) {
            fields.emplace(name, std::move(value.text));
        }
    }
}

const std::string& Message::Field(const std::string& name) const {
    static const std::string absent;
    const auto found = fields.find(name);
    return found == fields.end() ? absent : found->second;
}

}  // namespace KeyServer
