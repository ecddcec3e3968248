// SPDX-License-Identifier: Apache-2.0
#include "common/Json.h"

#include <json-glib/json-glib.h>

#include "common/Debug.h"
#include "common/JsonGuard.h"
#include "common/Owned.h"
#include "common/Utf8.h"

namespace Na {

namespace {

using OwnedNode = OwnedBy<JsonNode, json_node_free>;
using OwnedList = OwnedBy<GList, g_list_free>;

OwnedNode ObjectNode(const std::map<std::string, std::string>& members) {
    JsonObject* const object = json_object_new();
    for (const auto& member : members) {
        json_object_set_string_member(
            object, ToValidUtf8(member.first).c_str(), ToValidUtf8(member.second).c_str());
    }
    OwnedNode node(json_node_new(JSON_NODE_OBJECT));
    json_node_take_object(node.get(), object);
    return node;
}

// The member's text, null when its value is of another kind. The object keeps it.
const gchar* TextOfMember(JsonObject* object, const gchar* name) {
    JsonNode* const value = json_object_get_member(object, name);
    const bool isText = JSON_NODE_HOLDS_VALUE(value) && json_node_get_value_type(value) == G_TYPE_STRING;
    return isText ? json_object_get_string_member(object, name) : nullptr;
}

bool Load(JsonParser* parser, const std::string& text) {
    GError* raw = nullptr;
    const bool loaded =
        json_parser_load_from_data(parser, text.data(), static_cast<gssize>(text.size()), &raw);
    const OwnedError error(raw);
    if (!loaded) {
        LogPrint(LogError, LOCATED_IN("Parse", "json_parser_load_from_data failed : %s"), error->message);
    }
    return loaded;
}

}  // namespace

Json::Json(const std::string& text) {
    if (!Parse(text)) {
        LogPrint(LogDebug, LOCATED("Json plain data parsing return error"));
    }
}

void Json::Set(const std::string& key, const std::string& value) {
    members[key] = value;
}

const std::string& Json::Get(const std::string& key) const {
    static const std::string absent;
    const auto member = members.find(key);
    return member != members.end() ? member->second : absent;
}

std::string Json::Construct() const {
    const OwnedNode root = ObjectNode(members);
    const OwnedObject<JsonGenerator> generator(json_generator_new());
    json_generator_set_root(generator.get(), root.get());
    const OwnedGlibMemory<gchar> text(json_generator_to_data(generator.get(), nullptr));
    if (!text) {
        LogPrint(LogDebug, LOCATED("Json serialization failed"));
        return {};
    }
    return text.get();
}

bool Json::Parse(const std::string& text) {
    LogPrint(LogTrace, LOCATED("data: %.120s"), text.c_str());
    const char* const reason = ReasonToRefuseJson(text);
    refused = reason != nullptr && !IsBlank(text);
    if (reason != nullptr) {
        LogPrint(LogError, LOCATED("json_parser_load_from_data failed : %s"), reason);
        return false;
    }
    const OwnedObject<JsonParser> parser(json_parser_new());
    if (!Load(parser.get(), text)) {
        return false;
    }
    JsonNode* const root = json_parser_get_root(parser.get());
    if (root == nullptr) {
        LogPrint(LogDebug, LOCATED("json_parser_get_root failed"));
        return false;
    }
    if (!JSON_NODE_HOLDS_OBJECT(root)) {
        LogPrint(LogDebug, LOCATED("json_node_get_object failed"));
        return false;
    }
    JsonObject* const object = json_node_get_object(root);
    const OwnedList names(json_object_get_members(object));
    for (const GList* item = names.get(); item != nullptr; item = item->next) {
        const auto* const name = static_cast<const gchar*>(item->data);
        const gchar* const value = TextOfMember(object, name);
        if (value == nullptr) {
            LogPrint(LogWarning, LOCATED("Error parsing JSON object"));
            LogPrint(LogTrace, LOCATED("%s value is NULL"), name);
        }
        std::string& member = members[ToValidUtf8(name)];
        member = value != nullptr ? value : "";
        if (!IsUtf8(member)) {
            member = ToValidUtf8(member);
        }
    }
    return true;
}

}  // namespace Na
