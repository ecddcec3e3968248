#include "app/ResultCode.h"

namespace {

using Na::ResultCodeEntry;
using Na::ResultCodeTable;
using Na::UnknownResultCode;

struct CurrentResult {
    std::int32_t code = UnknownResultCode;
    std::string text;
};

CurrentResult& Current() {
    static CurrentResult current;
    return current;
}

// First row with that key, or the sentinel.
const ResultCodeEntry& RowOf(std::int32_t code) {
    const ResultCodeEntry* row = ResultCodeTable;
    while (row->code != UnknownResultCode && row->code != code) {
        ++row;
    }
    return *row;
}

// First row with that text, or null. Asked for each command that is reported, so most rows are passed by
// their first character alone.
const ResultCodeEntry* RowOf(const std::string& text) {
    const char first = text.c_str()[0];
    for (const ResultCodeEntry* row = ResultCodeTable; row->code != UnknownResultCode; ++row) {
        if (row->codeText[0] == first && text == row->codeText) {
            return row;
        }
    }
    return nullptr;
}

}  // namespace

void Na::SetResultCode(std::int32_t code) {
    Current().code = code;
    Current().text = FindCodeText(code);
}

void Na::SetResultCodeText(const std::string& text) {
    Current().code = FindCode(text);
    Current().text = text;
}

std::int32_t Na::GetResultCode() {
    return Current().code;
}

const std::string& Na::GetResultCodeText() {
    return Current().text;
}

const char* Na::FindCodeText(std::int32_t code) {
    return RowOf(code).codeText;
}

std::int32_t Na::FindCode(const std::string& text) {
    const ResultCodeEntry* const row = RowOf(text);
    return row != nullptr ? row->code : UnknownResultCode;
}

const char* Na::FindDescription(const std::string& text) {
    const ResultCodeEntry* const row = RowOf(text);
    return row != nullptr ? row->description : nullptr;
}

std::string Na::GetResultMessage() {
    static std::string message;
    message = Current().text;
    if (const char* const description = FindDescription(Current().text)) {
        message.append("_").append(description);
    }
    return message;
}

std::string Na::FormatCodeMessage(std::int32_t code) {
    const ResultCodeEntry& row = RowOf(code);
    return std::string(row.codeText) + "_" + row.description;
}
