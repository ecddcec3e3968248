// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/CplcFields.h"

#include <gtest/gtest.h>

#include <string>

using GlobalPlatform::CplcField;
using GlobalPlatform::DecodeCplc;

namespace {

const char Cplc[] =
    "4790"       // IC fabricator
    "6340"       // IC type
    "4091"       // operating system
    "8125"       // released
    "0000"       // level
    "2123"       // IC fabricated
    "001A2B3C"   // serial number
    "4D5E"       // batch
    "4812"       // module fabricator
    "2124"       // packaged
    "4813"       // ICC manufacturer
    "2366"       // embedded
    "4814"       // pre-personalizer
    "2367"       // pre-personalized: no year has such a day
    "00000001"   // equipment
    "4815"       // personalizer
    "21A7"       // personalized: no decimal number
    "00000002";  // equipment

std::string ValueOf(const std::vector<CplcField>& fields, const std::string& key) {
    for (const CplcField& field : fields) {
        if (field.key == key) {
            return field.value;
        }
    }
    return "no such field";
}

}  // namespace

TEST(CplcFields, CoverAllBytesInOrder) {
    const std::vector<CplcField> fields = DecodeCplc(Cplc);
    std::string joined;
    for (const CplcField& field : fields) {
        joined += field.value;
    }
    EXPECT_EQ(fields.size(), 18U);
    EXPECT_EQ(joined, Cplc);
}

TEST(CplcFields, StandWhereTheStandardPutsThem) {
    const std::vector<CplcField> fields = DecodeCplc(Cplc);
    EXPECT_EQ(ValueOf(fields, "icFabricator"), "4790");
    EXPECT_EQ(ValueOf(fields, "icFabricationDate"), "2123");
    EXPECT_EQ(ValueOf(fields, "icSerialNumber"), "001A2B3C");
    EXPECT_EQ(ValueOf(fields, "icBatchIdentifier"), "4D5E");
    EXPECT_EQ(ValueOf(fields, "icPersonalizationEquipment"), "00000002");
}

TEST(CplcFields, ReadDatesAsOfTheLastTenYearsAndSaySo) {
    const std::vector<CplcField> fields = DecodeCplc(Cplc, 2026);
    EXPECT_EQ(fields.at(5).meaning, "2022-05-03 if it is of 2017 to 2026");
    EXPECT_EQ(DecodeCplc(Cplc, 2022).at(5).meaning, "2022-05-03 if it is of 2013 to 2022");
    EXPECT_EQ(DecodeCplc(Cplc, 2021).at(5).meaning, "2012-05-02 if it is of 2012 to 2021");
    EXPECT_EQ(DecodeCplc(Cplc, 2012).at(11).meaning, "2012-12-31 if it is of 2003 to 2012");
    EXPECT_EQ(fields.at(11).meaning, "day 366 of a year ending in 2");
    EXPECT_EQ(fields.at(13).meaning, "");
    EXPECT_EQ(fields.at(16).meaning, "");
    EXPECT_EQ(fields.at(6).meaning, "");
}

TEST(CplcFields, AreNotGuessedFromDataOfAnotherLength) {
    EXPECT_TRUE(DecodeCplc("").empty());
    EXPECT_TRUE(DecodeCplc(std::string(Cplc) + "00").empty());
}
