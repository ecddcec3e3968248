// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/Json.h"

#include <json-glib/json-glib.h>

#include <memory>

#include "client/navoctl/CplcFields.h"

namespace {

struct ObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
struct NodeFree {
    void operator()(JsonNode* node) const { json_node_free(node); }
};
struct TextFree {
    void operator()(char* text) const { g_free(text); }
};

class Writer {
public:
    Writer() : builder(json_builder_new()) { json_builder_begin_object(builder.get()); }

    void Add(const char* key, const std::string& text) {
        if (!text.empty()) {
            AddAlways(key, text);
        }
    }
    void AddAlways(const char* key, const std::string& text) {
        const std::unique_ptr<char, TextFree> valid(
            g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
        json_builder_set_member_name(builder.get(), key);
        json_builder_add_string_value(builder.get(), valid.get());
    }
    void Add(const char* key, bool value) {
        json_builder_set_member_name(builder.get(), key);
        json_builder_add_boolean_value(builder.get(), value);
    }
    void Begin(const char* key) {
        json_builder_set_member_name(builder.get(), key);
        json_builder_begin_object(builder.get());
    }
    void End() { json_builder_end_object(builder.get()); }

    std::string Text() {
        End();
        const std::unique_ptr<JsonNode, NodeFree> root(json_builder_get_root(builder.get()));
        const std::unique_ptr<JsonGenerator, ObjectUnref> generator(json_generator_new());
        json_generator_set_pretty(generator.get(), TRUE);
        json_generator_set_root(generator.get(), root.get());
        const std::unique_ptr<char, TextFree> text(json_generator_to_data(generator.get(), nullptr));
        return text.get();
    }

private:
    std::unique_ptr<JsonBuilder, ObjectUnref> builder;
};

}  // namespace

std::string JsonOf(const Arguments& arguments, const Navo::Outcome& outcome, const Navo::Map& reply) {
    Writer writer;
    writer.Add("command", arguments.name);
    writer.Add("success", outcome.success);
    writer.Add("code", outcome.code);
    writer.Add("description", outcome.description);
    writer.Add("value", outcome.value);
    writer.Add("explanation", outcome.explanation);
    if (arguments.fields && outcome.success) {
        writer.Begin("fields");
        for (const CplcField& field : DecodeCplc(outcome.value)) {
            writer.AddAlways(field.key.c_str(), field.value);
        }
        writer.End();
    }
    writer.Begin("reply");
    for (const auto& [key, value] : reply) {
        writer.AddAlways(key.c_str(), value);
    }
    writer.End();
    return writer.Text();
}

std::string JsonOf(const Arguments& arguments, const Navo::ClientError& error) {
    Writer writer;
    writer.Add("command", arguments.name);
    writer.Add("success", false);
    writer.Begin("error");
    writer.Add("kind", std::string(Navo::NameOf(error.Kind())));
    writer.Add("message", std::string(error.what()));
    writer.Add("busError", error.BusError());
    writer.End();
    return writer.Text();
}
