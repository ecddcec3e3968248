#include "app/ResultCode.h"

#include <algorithm>
#include <cstring>
#include <vector>

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

// The table's rows in the order of their texts. Rows of one text keep the order that they have in the table.
class RowsByText {
public:
    RowsByText() {
        for (const ResultCodeEntry* row = ResultCodeTable; row->code != UnknownResultCode; ++row) {
            rows.push_back(row);
        }
        std::stable_sort(
            rows.begin(), rows.end(), [](const ResultCodeEntry* left, const ResultCodeEntry* right) {
                return std::strcmp(left->codeText, right->codeText) < 0;
            });
    }

    // First row with that text, or null.
    const ResultCodeEntry* Find(const std::string& text) const {
        const auto row = std::lower_bound(
            rows.begin(), rows.end(), text, [](const ResultCodeEntry* entry, const std::string& wanted) {
                return wanted.compare(entry->codeText) > 0;
            });
        return row != rows.end() && text == (*row)->codeText ? *row : nullptr;
    }

private:
    std::vector<const ResultCodeEntry*> rows;
};

// Asked for each command of a script that is reported.
const ResultCodeEntry* RowOf(const std::string& text) {
    static const RowsByText rows;
    return rows.Find(text);
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
