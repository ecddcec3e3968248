// SPDX-License-Identifier: Apache-2.0
#include "navo/Causes.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "client/lib/CauseTable.h"
#include "globalplatform/StatusMeaning.h"

namespace Navo {
namespace {

constexpr CauseKind Kinds[] = {CauseKind::ResultCode, CauseKind::StatusWord, CauseKind::HttpStatus,
                               CauseKind::CcmVerdict, CauseKind::KeyVerdict, CauseKind::Error};

bool IsHexadecimal(char digit) {
    return std::isxdigit(static_cast<unsigned char>(digit)) != 0;
}

// A result message by its code, a status word as the tables have it.
std::string Normalised(const std::string& text) {
    std::string code = text.substr(0, text.find('_'));
    if (code.size() == 6 && code[0] == '0' && (code[1] == 'x' || code[1] == 'X')) {
        code.erase(0, 2);
    }
    if (code.size() == 4 && std::all_of(code.begin(), code.end(), IsHexadecimal)) {
        std::transform(code.begin(), code.end(), code.begin(), [](unsigned char digit) {
            return static_cast<char>(std::toupper(digit));
        });
    }
    return code;
}

bool HasFamilies(CauseKind kind) {
    return kind == CauseKind::ResultCode || kind == CauseKind::StatusWord || kind == CauseKind::HttpStatus;
}

bool Fits(std::string_view row, const std::string& code, CauseKind kind) {
    const bool isFamily = HasFamilies(kind);
    const auto fits = [isFamily](char inRow, char inCode) {
        return inRow == inCode || (isFamily && inRow == 'x' && IsHexadecimal(inCode));
    };
    return row.size() == code.size() && std::equal(row.begin(), row.end(), code.begin(), fits);
}

// The key library may return any number; those that nobody knows are its own.
bool IsLibrarysOwn(std::string_view row, const std::string& code) {
    return row == "-x" && code.size() > 1 && code.size() <= 11 && code[0] == '-' && code[1] != '0' &&
           std::all_of(code.begin() + 1, code.end(), [](unsigned char digit) { return std::isdigit(digit); });
}

std::string Sentence(std::string_view words) {
    std::string sentence(words);
    sentence.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(sentence.front())));
    return sentence + ".";
}

Cause CauseOf(const CauseRow& row, CauseKind kind) {
    const std::string meaning =
        row.meaning != nullptr ? row.meaning : Sentence(GlobalPlatform::StatusMeaning(row.code));
    return {kind, row.code, meaning, row.lookAt};
}

}  // namespace

const char* NameOf(CauseKind kind) {
    switch (kind) {
        case CauseKind::ResultCode:
            return "result code";
        case CauseKind::StatusWord:
            return "status word of the card";
        case CauseKind::HttpStatus:
            return "HTTP status of the server";
        case CauseKind::CcmVerdict:
            return "verdict on a CCM script";
        case CauseKind::KeyVerdict:
            return "verdict of the key library";
        case CauseKind::Error:
            return "error of the client";
    }
    return "unknown";
}

std::vector<Cause> CausesOf(const std::string& code, CauseKind kind) {
    const std::string normalised = Normalised(code);
    for (const CauseRow& row : CauseRows(kind)) {
        if (Fits(row.code, normalised, kind) ||
            (kind == CauseKind::KeyVerdict && IsLibrarysOwn(row.code, normalised))) {
            return {CauseOf(row, kind)};
        }
    }
    return {};
}

std::vector<Cause> CausesOf(const std::string& code) {
    std::vector<Cause> causes;
    for (const CauseKind kind : Kinds) {
        for (Cause& cause : CausesOf(code, kind)) {
            causes.push_back(std::move(cause));
        }
    }
    return causes;
}

std::vector<Cause> AllCauses() {
    std::vector<Cause> causes;
    for (const CauseKind kind : Kinds) {
        for (const CauseRow& row : CauseRows(kind)) {
            causes.push_back(CauseOf(row, kind));
        }
    }
    return causes;
}

}  // namespace Navo
