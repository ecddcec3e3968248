// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/CplcFields.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <ctime>

namespace GlobalPlatform {

namespace {

struct Layout {
    const char* key;
    const char* label;
    std::size_t bytes;
    bool isDate;
};

constexpr Layout Fields[] = {
    {"icFabricator", "IC fabricator", 2, false},
    {"icType", "IC type", 2, false},
    {"operatingSystemId", "Operating system", 2, false},
    {"operatingSystemReleaseDate", "Operating system released", 2, true},
    {"operatingSystemReleaseLevel", "Operating system release level", 2, false},
    {"icFabricationDate", "IC fabricated", 2, true},
    {"icSerialNumber", "IC serial number", 4, false},
    {"icBatchIdentifier", "IC batch", 2, false},
    {"icModuleFabricator", "IC module fabricator", 2, false},
    {"icModulePackagingDate", "IC module packaged", 2, true},
    {"iccManufacturer", "ICC manufacturer", 2, false},
    {"icEmbeddingDate", "IC embedded", 2, true},
    {"icPrePersonalizer", "IC pre-personalizer", 2, false},
    {"icPrePersonalizationDate", "IC pre-personalized", 2, true},
    {"icPrePersonalizationEquipment", "IC pre-personalization equipment", 4, false},
    {"icPersonalizer", "IC personalizer", 2, false},
    {"icPersonalizationDate", "IC personalized", 2, true},
    {"icPersonalizationEquipment", "IC personalization equipment", 4, false},
};

constexpr std::size_t CplcBytes = 42;

constexpr int DaysBeforeMonth[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};

bool IsLeapYear(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

std::string CalendarDate(int year, int dayOfYear) {
    const int leapDay = IsLeapYear(year) ? 1 : 0;
    int month = 12;
    while (month > 1 && DaysBeforeMonth[month - 1] + (month > 2 ? leapDay : 0) >= dayOfYear) {
        --month;
    }
    const int day = dayOfYear - DaysBeforeMonth[month - 1] - (month > 2 ? leapDay : 0);
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", year, month, day);
    return text;
}

// Dates are four decimal digits: the last one of the year, then the day of the year. The card does not tell
// the decade; the last one that is not in the future is taken, and said.
std::string MeaningOfDate(const std::string& date, int thisYear) {
    const bool isDecimal =
        std::all_of(date.begin(), date.end(), [](char digit) { return digit >= '0' && digit <= '9'; });
    const int dayOfYear = isDecimal ? std::stoi(date.substr(1)) : 0;
    if (dayOfYear < 1 || dayOfYear > 366) {
        return {};
    }
    const int year = thisYear - (thisYear - (date[0] - '0') + 10) % 10;
    if (dayOfYear == 366 && !IsLeapYear(year)) {
        return "day 366 of a year ending in " + date.substr(0, 1);
    }
    return CalendarDate(year, dayOfYear) + " if it is of " + std::to_string(thisYear - 9) + " to " +
           std::to_string(thisYear);
}

int ThisYear() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    return parts.tm_year + 1900;
}

}  // namespace

std::vector<CplcField> DecodeCplc(const std::string& cplc) {
    return DecodeCplc(cplc, ThisYear());
}

std::vector<CplcField> DecodeCplc(const std::string& cplc, int thisYear) {
    std::vector<CplcField> fields;
    if (cplc.size() != 2 * CplcBytes) {
        return fields;
    }
    std::size_t at = 0;
    for (const Layout& field : Fields) {
        const std::string value = cplc.substr(at, 2 * field.bytes);
        fields.push_back(
            {field.key, field.label, value, field.isDate ? MeaningOfDate(value, thisYear) : std::string()});
        at += 2 * field.bytes;
    }
    return fields;
}

}  // namespace GlobalPlatform
