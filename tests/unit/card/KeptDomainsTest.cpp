// SPDX-License-Identifier: Apache-2.0
// Security domains of a card that is kept in a file.
#include <gmock/gmock.h>

#include <stdexcept>

#include "tests/support/TemporaryFolder.h"
#include "tests/unit/card/DomainDesk.h"

using testing::HasSubstr;

namespace {

// Domains with what belongs to them, on a card that is kept in a file.
class KeptSecurityDomains : public DomainDesk {
protected:
    KeptSecurityDomains() {
        options.stateFile = (folder.Path() / "card.json").string();
        Restart();
        Authenticate();
        LoadFile();
    }

    void Fill() {
        ASSERT_EQ(InstallNext(Application, "00", "C900EF0CC8020400D8020064C7020010"), "009000");
        MakeDomain(Domain, "80C000");
        MakeDomain(Other, "80C000");
        ASSERT_EQ(Extradite(File, Domain), "009000");
        ASSERT_EQ(Extradite(Other, Other), "009000");
        ASSERT_EQ(Update(Domain, "", "EF03D90104"), "009000");
    }

    std::string Everything() {
        return Send("80F24002 02 4F00 00") + Send("80F21002 02 4F00 00") + Send("80CAFF2100");
    }

    std::string WholeFile() {
        card.reset();
        return ReadFile(options.stateFile);
    }

    // What is said of a file with this text.
    std::string FailureOf(const std::string& text) const {
        folder.Write("card.json", text);
        try {
            const Card::SoftwareCard broken(options);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "";
    }

    const TemporaryFolder folder;
};

}  // namespace

// All of it outlasts the process.
TEST_F(KeptSecurityDomains, OutlastTheProcess) {
    Fill();
    const std::string before = Everything();
    Restart();
    EnterIssuer();
    EXPECT_EQ(Everything(), before);
    EXPECT_EQ(Extradite(Application, Other), "009000");
    EnterDomain(Domain);
    EXPECT_EQ(InstallDomain("A0000009991004"), "6985");  // restricted
}

// Nothing that cannot be is taken for a card.
TEST_F(KeptSecurityDomains, AreRefusedWhereTheyCannotBe) {
    Fill();
    ASSERT_EQ(Extradite(Application, Other), "009000");
    const std::string whole = WholeFile();
    const auto failure = [&](const std::string& from, const std::string& to) {
        std::string text = whole;
        return FailureOf(text.replace(text.find(from), from.size(), to));
    };
    const std::string own = std::string("\"domain\": \"") + Other + "\"";
    EXPECT_THAT(failure(own, "\"domain\": \"A0000009991009\""), HasSubstr("is not here"));
    EXPECT_THAT(
        failure("\"domain\": \"A0000009991001\"", "\"domain\": \"A000000999000102\""),
        HasSubstr("is not here"));
    EXPECT_THAT(failure("\"domain\": \"\"", "\"domain\": \"A0000009991009\""), HasSubstr("is not here"));
    EXPECT_THAT(failure("\"reserved\": 100", "\"reserved\": -1"), HasSubstr("no number"));
    EXPECT_THAT(failure("\"securityDomain\"", "\"domains\""), HasSubstr("has no"));
    std::string circle = whole;
    const auto put = [&](const std::string& aid, const std::string& from, const std::string& to) {
        const std::size_t entry = circle.find("\"aid\": \"" + aid + "\"");
        circle.replace(circle.find(from, entry), from.size(), to);
    };
    put(Other, own, std::string("\"domain\": \"") + Domain + "\"");
    put(Domain, "\"domain\": \"\"", own);
    EXPECT_THAT(FailureOf(circle), HasSubstr("above each other"));
}
