// SPDX-License-Identifier: Apache-2.0
// Writes one JSON object, member by member.
#pragma once

#include <memory>
#include <string>

class JsonWriter {
public:
    JsonWriter();
    ~JsonWriter();
    JsonWriter(const JsonWriter&) = delete;
    JsonWriter& operator=(const JsonWriter&) = delete;

    // An empty text is left out.
    void Add(const char* key, const std::string& text);
    void AddAlways(const char* key, const std::string& text);
    void Add(const char* key, bool value);
    void AddNumber(const char* key, long number);

    // A member that is an object, or a list of such; members that follow belong to it until its end.
    void Begin(const char* key);
    void End();
    void BeginList(const char* key);
    void BeginItem();
    void EndList();

    // A text as an item of a list.
    void AddItem(const std::string& text);

    // The whole object, in several lines or in one, without a line feed at its end. Nothing may be added any
    // more.
    [[nodiscard]] std::string Text(bool pretty = true);

private:
    struct Inner;
    std::unique_ptr<Inner> inner;
};
