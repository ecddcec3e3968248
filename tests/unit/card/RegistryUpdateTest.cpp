// SPDX-License-Identifier: Apache-2.0
// Extradition and registry update. Clauses are those of GlobalPlatform Card 2.3.1.
#include "tests/unit/card/DomainDesk.h"

namespace {

class RegistryUpdate : public DomainDesk {
protected:
    RegistryUpdate() {
        LoadFile();
        InstallApplication();
        MakeDomain(Domain);
    }
};

}  // namespace

// 9.4.1: applications and files, whatever their state, by the domain that has them or one above it.
TEST_F(RegistryUpdate, GivesContentToAnotherDomain) {
    EXPECT_EQ(SendWith("80F04080", Application), "9000");
    EXPECT_EQ(Extradite(Application, Domain), "009000");
    EXPECT_EQ(Extradite(File, Domain), "009000");
    EXPECT_EQ(DomainOf(Application) + DomainOf(File, "20"), std::string(Domain) + Domain);
    EXPECT_EQ(StateOf(Application), "87");
    EXPECT_EQ(Extradite(Application, Issuer), "009000");
    EXPECT_EQ(DomainOf(Application), Issuer);
    EnterDomain();
    EXPECT_EQ(Extradite(Application, Domain), "6985");  // not its own
    EXPECT_EQ(Extradite(File, Issuer), "009000");
}

// 9.4.1 and 7.2: what does not exist, what takes nothing, and the issuer domain, which belongs to itself.
TEST_F(RegistryUpdate, RefusesAnExtraditionThatCannotBe) {
    EXPECT_EQ(Extradite("A0000009990009", Domain), "6A88");
    EXPECT_EQ(Extradite(Application, Other), "6A88");
    EXPECT_EQ(Extradite(Application, Application), "6A88");
    EXPECT_EQ(Extradite(Issuer, Domain), "6985");
    EXPECT_EQ(Extradite(Application, ""), "6A80");
    EXPECT_EQ(Extradite("", Domain), "6A80");
    EXPECT_EQ(SendWith("80E61000", Field(Domain) + "01AA" + Field(Application) + "000000"), "6A80");
    EXPECT_EQ(SendWith("80E61000", Field(Domain) + "00" + Field(Application) + "00B600"), "6A80");
    EXPECT_EQ(SendWith("80E61000", Field(Domain) + "00" + Field(Application) + "000001AA"), "6A80");
    EXPECT_EQ(SendWith("80F0408F", Domain), "9000");
    EXPECT_EQ(Extradite(Application, Domain), "6985");  // locked, 5.3.2.4
}

// 7.2: a domain that is given to itself is the root of a hierarchy, which the others only lock and delete by
// their global privileges; none gets below itself.
TEST_F(RegistryUpdate, MakesADomainTheRootOfItsOwnHierarchy) {
    EnterDomain();
    ASSERT_EQ(InstallDomain(Other), "009000");
    EnterIssuer();
    Personalize(Other, DomainKey);
    EXPECT_EQ(Extradite(Domain, Other), "6985");
    EXPECT_EQ(Extradite(Domain, Domain), "009000");
    EXPECT_EQ(DomainOf(Domain), Domain);
    EXPECT_EQ(Extradite(Other, Issuer), "6985");
    EXPECT_EQ(SendWith("80F0408F", Domain), "9000");
    EXPECT_EQ(SendWith("80F0400F", Domain), "9000");
    EnterDomain();
    EXPECT_EQ(Send("80F24000 02 4F00 00"), "07A00000099910010F8007A00000099910020F809000");
    EXPECT_EQ(Delete(Other), "009000");
    EnterIssuer();
    EXPECT_EQ(Delete(Domain), "009000");
}

// 9.4.2: the privileges that are given are those that the application has then.
TEST_F(RegistryUpdate, GivesAndTakesPrivileges) {
    EXPECT_EQ(Update(Application, "040000"), "009000");
    EXPECT_EQ(PrivilegesOf(Application), "040000");
    EXPECT_EQ(Update(Domain, "84C000"), "6985");  // one holder of card reset, 6.6.2
    EXPECT_EQ(Update(Application, "00"), "009000");
    EXPECT_EQ(Update(Domain, "84C000"), "009000");
    EXPECT_EQ(Update(Application, ""), "009000");
    EXPECT_EQ(PrivilegesOf(Application), "000000");
    EXPECT_EQ(Update(Application, "80"), "6A80");
    EXPECT_EQ(Update(Domain, "00"), "6A80");
    EXPECT_EQ(Update(Issuer, "80C000"), "6985");
    EXPECT_EQ(Update(File, "00"), "6A88");
    EXPECT_EQ(Update("A0000009", "00"), "6A80");
    EXPECT_EQ(Update(Domain, "808000"), "009000");
    EnterDomain();
    EXPECT_EQ(Load("A0000009990007", ""), "6985");  // manages nothing any more
    EXPECT_EQ(Update(Application, "00"), "6985");
}

// 6.4.1 and 11.5.2.3.5: parameters of implicit selection add up, for what can be selected.
TEST_F(RegistryUpdate, AddsImplicitSelection) {
    EXPECT_EQ(Update(Application, "", "EF03CF0141"), "009000");
    EXPECT_EQ(Update(Application, "", "EF03CF0142"), "009000");
    EXPECT_EQ(Send("80F24002 0E 4F08A000000999000102 5C02CF4F 00").substr(24, 12), "CF0141CF0142");
    EXPECT_EQ(Update(Domain, "", "EF03CF0142"), "6985");
    ASSERT_EQ(
        SendWith(
            "80E60400", Field(File) + Field("A000000999000101") + Field("A000000999000103") + "010002C90000"),
        "009000");
    EXPECT_EQ(Update("A000000999000103", "", "EF03CF0143"), "6985");
    EXPECT_EQ(Update("A000000999000103", "04"), "6985");
    ASSERT_EQ(Send("0070000201"), "9000");
    EXPECT_EQ(Send("82500000 08 0102030405060708 00"), "6D00");
    ASSERT_EQ(Send("0070800200"), "9000");
    EXPECT_EQ(SendWith("80F04080", Application), "9000");
    ASSERT_EQ(Send("0070000201"), "9000");
    EXPECT_EQ(StatusOf("82500000 08 0102030405060708 00"), "9000");  // the final application, 9.6.2
}

// 11.5.2.3.5: with another domain it is an extradition too, and all is done or nothing.
TEST_F(RegistryUpdate, IsDoneWholeOrNotAtAll) {
    EXPECT_EQ(Update(Application, "10", "", Other), "6A88");
    EXPECT_EQ(PrivilegesOf(Application), "000000");
    EXPECT_EQ(Update(Application, "80", "", Domain), "6A80");
    EXPECT_EQ(DomainOf(Application), Issuer);
    EXPECT_EQ(Update(Application, "10", "", Domain), "009000");
    EXPECT_EQ(DomainOf(Application) + PrivilegesOf(Application), std::string(Domain) + "100000");
}

// Table 11-53: a domain loses for good what it is restricted in.
TEST_F(RegistryUpdate, RestrictsADomain) {
    EXPECT_EQ(Update(Application, "", "EF03D90101"), "6A80");  // manages nothing anyway
    EXPECT_EQ(Update(Domain, "", "EF04D9020001"), "6A80");
    EXPECT_EQ(Extradite(Application, Domain), "009000");
    EXPECT_EQ(Update(Domain, "", "EF03D90121"), "009000");
    EXPECT_EQ(Update(Domain, "", "EF03D90102"), "009000");
    EnterDomain();
    EXPECT_EQ(Delete(Application), "6985");
    EXPECT_EQ(SendWith("80E62000", "0000" + Field(Application) + "000000"), "6985");
    EXPECT_EQ(Load("A0000009990007", ""), "6985");
    EXPECT_EQ(InstallDomain(Other), "009000");
    EXPECT_EQ(Update(Other, "808800"), "009000");
}

// 9.1.3.5: who has global lock restricts the whole card, which cannot be taken back.
TEST_F(RegistryUpdate, RestrictsTheWholeCard) {
    EnterDomain();
    EXPECT_EQ(Update("", "", "EF03D90101"), "6985");
    EnterIssuer();
    EXPECT_EQ(Update("", "", "EF00"), "6A80");
    EXPECT_EQ(Update("", "00", "EF03D90101"), "6A80");
    EXPECT_EQ(Update("", "", "EF06D90101CF0141"), "6A80");
    EXPECT_EQ(Update("", "", "EF03D90111"), "009000");
    EXPECT_EQ(Delete(Application), "6985");
    EXPECT_EQ(Extradite(Application, Domain), "6985");
    EXPECT_EQ(Update(Application, "10", "", Domain), "009000");
    EXPECT_EQ(Update("", "", "EF03D90100"), "009000");
    EXPECT_EQ(Delete(Application), "6985");
}
