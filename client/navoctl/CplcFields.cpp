// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/CplcFields.h"

#include <algorithm>
#include <cstddef>

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

// Dates are four decimal digits: the last one of the year, then the day of the year.
std::string MeaningOfDate(const std::string& date) {
    const bool isDecimal =
        std::all_of(date.begin(), date.end(), [](char digit) { return digit >= '0' && digit <= '9'; });
    const int day = isDecimal ? std::stoi(date.substr(1)) : 0;
    if (day < 1 || day > 366) {
        return {};
    }
    return "day " + std::to_string(day) + " of a year ending in " + date.substr(0, 1);
}

}  // namespace

std::vector<CplcField> DecodeCplc(const std::string& cplc) {
    std::vector<CplcField> fields;
    if (cplc.size() != 2 * CplcBytes) {
        return fields;
    }
    std::size_t at = 0;
    for (const Layout& field : Fields) {
        const std::string value = cplc.substr(at, 2 * field.bytes);
        fields.push_back(
            {field.key, field.label, value, field.isDate ? MeaningOfDate(value) : std::string()});
        at += 2 * field.bytes;
    }
    return fields;
}
