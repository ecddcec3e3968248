// The result-code table and the service's single current result.
//
// Every layer that fails sets the current result; the Agent reports it when a job ends. All of this belongs
// to the main-loop thread.
#pragma once

#include <cstdint>
#include <string>

namespace Na {

// One row of the table. The texts are owned by the table and never null.
struct ResultCodeEntry {
    std::int32_t code;        // key by which the program sets a result
    const char* codeText;     // what clients see, 8 digits; may be empty
    const char* description;  // English; may be empty
};

// Ends the table, and is the current code before anything was set.
constexpr std::int32_t UnknownResultCode = 999999999;

extern const ResultCodeEntry ResultCodeTable[];

// Makes `code` current, with the table's text for it (empty when the table does not know it).
void SetResultCode(std::int32_t code);

// Makes `text` current as given, with the code of the first row of that text (999999999 without one).
void SetResultCodeText(const std::string& text);

std::int32_t GetResultCode();
const std::string& GetResultCodeText();

// Text of a key, empty when unknown.
const char* FindCodeText(std::int32_t code);

// Key of a text, 999999999 when unknown.
std::int32_t FindCode(const std::string& text);

// Description of the first row with that text; null when no row has it.
const char* FindDescription(const std::string& text);

// The current text, "_" and its description; the bare text when no row has it.
std::string GetResultMessage();

// Text of a key, "_" and its description.
std::string FormatCodeMessage(std::int32_t code);

}  // namespace Na
