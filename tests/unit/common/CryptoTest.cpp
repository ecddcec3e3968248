// SPDX-License-Identifier: Apache-2.0
#include "common/Crypto.h"

#include <gmock/gmock.h>

#include "tests/support/service/DeviceWorld.h"
#include "tests/unit/common/FailingLibraries.h"

using Na::Bytes;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string DigestOf(const std::string& text) {
    return Na::BytesToHex(Na::Sha256(Na::StringToBytes(text)));
}

class FailingSha256 : public testing::Test {
protected:
    ~FailingSha256() override { failingDigest = FailingDigest::None; }

    DeviceWorld world;
};

// The values are those of FIPS 180-4.
TEST(Sha256, GivesTheStandardsValues) {
    EXPECT_EQ(DigestOf("abc"), "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD");
    EXPECT_EQ(DigestOf(""), "E3B0C44298FC1C149AFBF4C8996FB92427AE41E4649B934CA495991B7852B855");
    EXPECT_EQ(
        DigestOf(std::string(1000000, 'a')),
        "CDC76E5C9914FB9281A1C7E284D73E67F1809A48A497200E046D39CCC7112CD0");
}

TEST_F(FailingSha256, GivesNothingAndSaysThatItCouldNotBegin) {
    failingDigest = FailingDigest::Init;
    EXPECT_THAT(Na::Sha256({1}), IsEmpty());
    EXPECT_THAT(world.LocatedLog(), ElementsAre("E Sha256: Error initializing SHA256 context"));
}

TEST_F(FailingSha256, GivesNothingAndSaysThatItCouldNotGoOn) {
    failingDigest = FailingDigest::Update;
    EXPECT_THAT(Na::Sha256({1}), IsEmpty());
    EXPECT_THAT(world.LocatedLog(), ElementsAre("E Sha256: Error updating SHA256"));
}

TEST_F(FailingSha256, GivesNothingAndSaysThatItCouldNotEnd) {
    failingDigest = FailingDigest::Final;
    EXPECT_THAT(Na::Sha256({1}), IsEmpty());
    EXPECT_THAT(world.LocatedLog(), ElementsAre("E Sha256: Error obtaining SHA256"));
}

}  // namespace
