// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/JsonWriter.h"

#include <json-glib/json-glib.h>

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

using Text = std::unique_ptr<char, TextFree>;

Text Valid(const std::string& text) {
    return Text(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
}

}  // namespace

struct JsonWriter::Inner {
    std::unique_ptr<JsonBuilder, ObjectUnref> builder{json_builder_new()};

    JsonBuilder* Named(const char* key) const { return json_builder_set_member_name(builder.get(), key); }
};

JsonWriter::JsonWriter() : inner(std::make_unique<Inner>()) {
    json_builder_begin_object(inner->builder.get());
}

JsonWriter::~JsonWriter() = default;

void JsonWriter::Add(const char* key, const std::string& text) {
    if (!text.empty()) {
        AddAlways(key, text);
    }
}

void JsonWriter::AddAlways(const char* key, const std::string& text) {
    json_builder_add_string_value(inner->Named(key), Valid(text).get());
}

void JsonWriter::Add(const char* key, bool value) {
    json_builder_add_boolean_value(inner->Named(key), value ? TRUE : FALSE);
}

void JsonWriter::AddNumber(const char* key, long number) {
    json_builder_add_int_value(inner->Named(key), number);
}

void JsonWriter::Begin(const char* key) {
    json_builder_begin_object(inner->Named(key));
}

void JsonWriter::End() {
    json_builder_end_object(inner->builder.get());
}

void JsonWriter::BeginList(const char* key) {
    json_builder_begin_array(inner->Named(key));
}

void JsonWriter::BeginItem() {
    json_builder_begin_object(inner->builder.get());
}

void JsonWriter::EndList() {
    json_builder_end_array(inner->builder.get());
}

void JsonWriter::AddItem(const std::string& text) {
    json_builder_add_string_value(inner->builder.get(), Valid(text).get());
}

std::string JsonWriter::Text(bool pretty) {
    End();
    const std::unique_ptr<JsonNode, NodeFree> root(json_builder_get_root(inner->builder.get()));
    const std::unique_ptr<JsonGenerator, ObjectUnref> generator(json_generator_new());
    json_generator_set_pretty(generator.get(), pretty ? TRUE : FALSE);
    json_generator_set_root(generator.get(), root.get());
    const ::Text text(json_generator_to_data(generator.get(), nullptr));
    return text.get();
}
