// SPDX-License-Identifier: Apache-2.0
#include "app/tizen/DbusMaps.h"

#include <utility>
#include <vector>

#include "app/tizen/PortParts.h"
#include "common/Debug.h"
#include "common/Utf8.h"

namespace Tizen {

namespace Bus {

const char Name[] = "com.orvenco.navoa";
const char ObjectPath[] = "/com/orvenco/navoa";
const char Interface[] = "com.orvenco.navoa";
const char ProgressSignal[] = "Progress";
const char ProgressPathPrefix[] = "/navoa/client/";
const char SessionOpen[] = "Open";
const char SessionClose[] = "Close";
const char Succeeded[] = "Success";
const char Failed[] = "Failed";
const char WrongParameters[] = "Wrong parameters";

}  // namespace Bus

namespace {

const char UnknownErrorMessage[] = "10000000_An unknown Error has occurred";

// Far below what any bus takes.
constexpr std::size_t LargestReply = 8UL * 1024 * 1024;

// The text as the bus may carry it.
std::string Carried(const std::string& text) {
    std::string carried = Na::ToValidUtf8(text);
    if (carried.size() > Na::LongestReplyText) {
        LogPrint(
            LogError, LOCATED_AS(PORT_SOURCE_FILE, "SendReply", "A text of %u bytes is cut at %u"),
            static_cast<unsigned>(carried.size()), static_cast<unsigned>(Na::LongestReplyText));
        carried.resize(Na::WholeCharacters(carried, Na::LongestReplyText));
    }
    return carried;
}

OwnedVariant Sunk(GVariant* floating) {
    return OwnedVariant(g_variant_ref_sink(floating));
}

std::string TextOf(GVariant* value) {
    gsize length = 0;
    const gchar* const text = g_variant_get_string(value, &length);
    return std::string(text, length);
}

std::string MethodWithMap(const char* name, const char* argument, const char* furtherArguments) {
    return std::string("    <method name='") + name + "'>\n" + "      <arg type='a{ss}' name='" + argument +
           "' direction='in'/>\n" + furtherArguments +
           "      <arg type='a{ss}' direction='out'/>\n"
           "    </method>\n";
}

}  // namespace

std::string IntrospectionDocument() {
    return std::string("<node>\n") + "  <interface name='" + Bus::Interface + "'>\n" +
           MethodWithMap("Session", "data", "") + MethodWithMap("Cmd", "args", "") +
           MethodWithMap("Exec", "args", "      <arg type='s' name='result_tag' direction='in'/>\n") +
           "    <signal name='" + Bus::ProgressSignal + "'>\n" +
           "      <arg type='s' name='value' direction='out'/>\n"
           "    </signal>\n"
           "  </interface>\n"
           "</node>";
}

Na::RequestMap ReadMap(GVariant* dictionary) {
    Na::RequestMap map;
    GVariantIter children;
    g_variant_iter_init(&children, dictionary);
    while (const OwnedVariant child{g_variant_iter_next_value(&children)}) {
        if (!g_variant_is_of_type(child.get(), G_VARIANT_TYPE("{ss}"))) {
            LogPrint(LogTrace, LOCATED("Wrong argument type: '%s'"), g_variant_get_type_string(child.get()));
            map.clear();
            break;
        }
        const OwnedVariant key(g_variant_get_child_value(child.get(), 0));
        const OwnedVariant value(g_variant_get_child_value(child.get(), 1));
        map[TextOf(key.get())] = TextOf(value.get());
    }
    return map;
}

OwnedVariant ReplyBody(const Na::RequestMap& map) {
    std::vector<std::pair<std::string, std::string>> carried;
    std::size_t size = 0;
    for (const auto& pair : map) {
        carried.emplace_back(Carried(pair.first), Carried(pair.second));
        size += carried.back().first.size() + carried.back().second.size();
    }
    if (size > LargestReply) {
        LogPrint(
            LogError, LOCATED_AS(PORT_SOURCE_FILE, "SendReply", "A reply of %u bytes is too large"),
            static_cast<unsigned>(size));
        carried = {{Na::Key::ReturnCode, UnknownErrorMessage}};
    }
    // No exception may leave a builder behind, so all of the texts are there by now.
    GVariantBuilder pairs;
    g_variant_builder_init(&pairs, G_VARIANT_TYPE("a{ss}"));
    for (const auto& pair : carried) {
        g_variant_builder_add(&pairs, "{ss}", pair.first.c_str(), pair.second.c_str());
    }
    return Sunk(g_variant_new("(a{ss})", &pairs));
}

LastResort::LastResort() : body(ReplyBody({{Na::Key::ReturnCode, UnknownErrorMessage}})) {}

void LastResort::Answer(GDBusMethodInvocation* invocation) const noexcept {
    g_dbus_method_invocation_return_value(invocation, body.get());
}

OwnedVariant TextBody(const std::string& text) {
    // Nearly every text is carried as it is, and needs no copy to be made for that.
    const bool asItIs = text.size() <= Na::LongestReplyText && Na::IsUtf8(text);
    return Sunk(g_variant_new("(s)", asItIs ? text.c_str() : Carried(text).c_str()));
}

}  // namespace Tizen
