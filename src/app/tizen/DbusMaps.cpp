#include "app/tizen/DbusMaps.h"

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
    GVariantBuilder pairs;
    g_variant_builder_init(&pairs, G_VARIANT_TYPE("a{ss}"));
    for (const auto& pair : map) {
        g_variant_builder_add(
            &pairs, "{ss}", Na::ToValidUtf8(pair.first).c_str(), Na::ToValidUtf8(pair.second).c_str());
    }
    return Sunk(g_variant_new("(a{ss})", &pairs));
}

OwnedVariant TextBody(const std::string& text) {
    return Sunk(g_variant_new("(s)", Na::ToValidUtf8(text).c_str()));
}

}  // namespace Tizen
