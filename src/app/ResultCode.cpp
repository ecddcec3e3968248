// SPDX-License-Identifier: Apache-2.0
#include "app/ResultCode.h"

#include <array>
#include <limits>

namespace {

using Na::ResultCode;
using Na::ResultCodeEntry;
using Na::ResultCodeTable;

struct CurrentResult {
    ResultCode code = ResultCode::Unknown;
    std::string text;
};

CurrentResult& Current() {
    static CurrentResult current;
    return current;
}

bool IsLast(const ResultCodeEntry& row) {
    return row.code == static_cast<std::int32_t>(ResultCode::Unknown);
}

// First row with that key, or the last one.
const ResultCodeEntry& RowOf(ResultCode code) {
    const ResultCodeEntry* row = ResultCodeTable;
    while (!IsLast(*row) && row->code != static_cast<std::int32_t>(code)) {
        ++row;
    }
    return *row;
}

using Beginnings = std::array<const ResultCodeEntry*, std::numeric_limits<unsigned char>::max() + 1>;

// For each character the first row whose text begins with it; null where there is none.
Beginnings FindBeginnings() {
    Beginnings beginnings = {};
    for (const ResultCodeEntry* row = ResultCodeTable; !IsLast(*row); ++row) {
        const ResultCodeEntry*& first = beginnings[static_cast<unsigned char>(row->codeText[0])];
        first = first != nullptr ? first : row;
    }
    return beginnings;
}

// First row with that text, or null. Asked for each command that is reported, so the search begins where the
// first character does.
const ResultCodeEntry* RowOf(const std::string& text) {
    static const Beginnings beginnings = FindBeginnings();
    const char first = text.c_str()[0];
    const ResultCodeEntry* row = beginnings[static_cast<unsigned char>(first)];
    for (; row != nullptr && !IsLast(*row); ++row) {
        if (row->codeText[0] == first && text == row->codeText) {
            return row;
        }
    }
    return nullptr;
}

}  // namespace

void Na::SetResultCode(ResultCode code) {
    Current().code = code;
    Current().text = FindCodeText(code);
}

void Na::SetResultCodeText(const std::string& text) {
    Current().code = FindCode(text);
    Current().text = text;
}

Na::ResultCode Na::GetResultCode() {
    return Current().code;
}

const std::string& Na::GetResultCodeText() {
    return Current().text;
}

const char* Na::FindCodeText(ResultCode code) {
    return RowOf(code).codeText;
}

Na::ResultCode Na::FindCode(const std::string& text) {
    const ResultCodeEntry* const row = RowOf(text);
    return row != nullptr ? static_cast<ResultCode>(row->code) : ResultCode::Unknown;
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
