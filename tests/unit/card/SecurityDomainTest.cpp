// SPDX-License-Identifier: Apache-2.0
// Supplementary security domains: their installation, keys, sessions and states, and what they may do with
// the content of others. Clauses are those of GlobalPlatform Card 2.3.1.
#include "tests/unit/card/DomainDesk.h"

namespace {

class SecurityDomains : public DomainDesk {};

}  // namespace

// 9.3.6 and table 6-2: made of the package that came with the card, with trusted path where one byte of
// privileges leaves that open; 9.3.3: associated with the domain that installs it.
TEST_F(SecurityDomains, AreInstalledFromThePackageOfTheCard) {
    EXPECT_EQ(InstallDomain(Domain), "009000");
    EXPECT_EQ(PrivilegesOf(Domain), "808000");
    EXPECT_EQ(StateOf(Domain), "07");
    EXPECT_EQ(DomainOf(Domain), Issuer);
    EXPECT_EQ(Entry(Domain, "C4"), Package);
    EXPECT_EQ(InstallDomain(Other, "80400F"), "009000");
    EXPECT_EQ(PrivilegesOf(Other), "804000");  // bits for future use are passed over, table 11-9
    EXPECT_EQ(InstallDomain(Domain), "6985");
    EXPECT_EQ(Delete(Package), "6985");  // 9.5.2: something was made of it
    EXPECT_EQ(Delete(Package, "80"), "009000");
    EXPECT_EQ(InstallDomain(Domain), "6A88");
    EXPECT_EQ(StateOf(Domain), "");
}

// 6.6.2 and table 6-1: what needs a security domain, and what this card could not honour.
TEST_F(SecurityDomains, HavePrivilegesThatGoTogether) {
    LoadFile();
    for (const char* privileges : {"00", "04", "004000", "800020", "800010", "8000"}) {
        EXPECT_EQ(InstallDomain(Domain, privileges), "6A80") << privileges;
    }
    for (const char* privileges : {"80", "008000", "004000", "001000"}) {
        EXPECT_EQ(InstallNext(Application, privileges), "6A80") << privileges;
    }
    EXPECT_EQ(InstallNext(Application, "1A0D00"), "009000");
    EXPECT_EQ(PrivilegesOf(Application), "1A0D00");
    EXPECT_EQ(InstallDomain(Domain, "9ADD00"), "009000");
}

// 5.3.2: what is not personalized can be selected, and nothing is associated with it.
TEST_F(SecurityDomains, TakeNothingBeforeTheyArePersonalized) {
    ASSERT_EQ(InstallDomain(Domain, "80C000"), "009000");
    EXPECT_EQ(Load(File, Domain), "6985");
    EXPECT_EQ(Load(File, Other), "6A88");
    LoadFile();
    InstallApplication();
    EXPECT_EQ(Load("A0000009990003", Application), "6A88");  // no domain, 9.3.5
    EXPECT_EQ(Extradite(Application, Domain), "6985");
    Enter(Domain, IssuerKey);
    EXPECT_EQ(Load("A0000009990003", ""), "6985");
    EXPECT_EQ(Delete(Application), "6985");
    Personalize(Domain);
    EXPECT_EQ(Extradite(Application, Domain), "009000");
    EXPECT_EQ(DomainOf(Application), Domain);
}

// Table 11-82: each domain tells how long a command may be. 11.3.3.1: what it knows of itself.
TEST_F(SecurityDomains, TellOfThemselves) {
    ASSERT_EQ(InstallDomain(Domain), "009000");
    EXPECT_EQ(SendWith("00A40400", Domain), "6F0F8407A0000009991001A5049F6501FF9000");
    EXPECT_EQ(Send("80CA00E000"), "E0009000");
    EXPECT_EQ(StatusOf("80CA006600"), "9000");
    EXPECT_EQ(StatusOf("80CA00C100"), "9000");
    EXPECT_EQ(StatusOf("80CA00CF00"), "9000");
    for (const char* absent : {"80CA004200", "80CA004500", "80CA006700", "80CA9F7F00", "80CA00C200"}) {
        EXPECT_EQ(Send(absent), "6A88") << absent;
    }
    Authenticate();
    EXPECT_EQ(Send("80E29000 06 4204 01020304"), "9000");
    EXPECT_EQ(Send("80CA004200"), "4204010203049000");
    EXPECT_EQ(Send("80E29000 09 4F07 A0000009991003"), "6A80");  // only the issuer domain is renamed
    EnterIssuer();
    EXPECT_EQ(Send("80CA004200"), "420599990100019000");
    EXPECT_EQ(Send("80CA006700").substr(26, 20), "8103FFFFC082031E0F00");
}

// 7.3.1 and 10.3: as long as a domain has no keys, those of the next one above serve it; Amendment
// D, 6.2.2.1: the challenge is made with the AID of the selected one.
TEST_F(SecurityDomains, OpenChannelsWithTheKeysAboveUntilTheyHaveOwn) {
    ASSERT_EQ(InstallDomain(Domain), "009000");
    ASSERT_EQ(StatusIn(SendWith("00A40400", Domain)), "9000");
    const std::string answer = Send("80500000 08 0102030405060708 00");
    const Bytes counter = FromHex(answer.substr(58, 6));
    EXPECT_EQ(
        answer.substr(26, 16), GlobalPlatform::HexText(GlobalPlatform::DeriveCardChallenge(
                                   hostKeys.encryption, counter, FromHex(Domain))));
    EXPECT_EQ(Send("80CA00C100"), "C103" + answer.substr(58, 6) + "9000");
    Personalize(Domain);
    ASSERT_EQ(StatusIn(SendWith("00A40400", Domain)), "9000");
    EXPECT_EQ(Send("80500100 08 0102030405060708 00"), "6A88");
    EXPECT_EQ(Send("80500000 08 0102030405060708 00").substr(20, 6), "300310");
    EXPECT_EQ(Send("80CA00C100"), "C1030000019000");
    EnterDomain();
    EXPECT_EQ(Send("80E40000 03 D20130"), "6985");  // the last set stays
    EXPECT_EQ(Send("80CA00E000"), "E012C00401308810C00402308810C004033088109000");
    EnterIssuer();
    EXPECT_EQ(Send("80CA00E000"), "E012C00401018810C00402018810C004030188109000");
}

// 9.6.7: each domain counts who fails at its own keys.
TEST_F(SecurityDomains, CountFailedAuthenticationsByThemselves) {
    options.authenticationAttempts = 1;
    MakeDomain();
    card->Configure(options);
    hostKeys = {FromHex(DomainKey), FromHex(DomainKey), FromHex(DomainKey)};
    ASSERT_EQ(StatusIn(SendWith("00A40400", Domain)), "9000");
    Initialize();
    hostCryptogram[0] ^= 1;
    EXPECT_EQ(Send(Authentication()), "6300");
    EXPECT_EQ(Send("80500000 08 0102030405060708 00"), "6983");
    EnterIssuer();
}

// 10.2.3: one session belongs to one logical channel, and another domain's to another.
TEST_F(SecurityDomains, HaveSessionsSideBySide) {
    MakeDomain();
    ASSERT_EQ(Send("0070000001"), "019000");
    ASSERT_EQ(StatusIn(SendWith("01A40400", Domain)), "9000");
    EXPECT_EQ(StatusOf("81500000 08 0102030405060708 00"), "9000");
    EXPECT_EQ(StatusOf("80F28000 02 4F00 00"), "9000");
    EXPECT_EQ(StatusOf("81F24000 02 4F00 00"), "6982");
    EXPECT_EQ(Delete(Domain), "6985");  // 9.5.1: it is selected on another channel
}

// 5.3.2, figure 5-3 and 11.10.2.2: a domain says that it is personalized, and locks itself; it never unlocks
// itself, and does nothing while it is locked.
TEST_F(SecurityDomains, GoThroughTheirStates) {
    ASSERT_EQ(InstallDomain(Domain, "80C000"), "009000");
    EXPECT_EQ(SendWith("80F0400F", Domain), "6985");  // by the issuer domain, it can only be locked
    Enter(Domain, IssuerKey);
    EXPECT_EQ(SendWith("80F04007", Domain), "6985");
    EXPECT_EQ(SendWith("80F04003", Domain), "6985");
    EXPECT_EQ(SendWith("80F0400F", Domain), "9000");
    EXPECT_EQ(SendWith("80F0400F", Domain), "6985");  // it is so already
    EXPECT_EQ(StateOf(Domain), "0F");
    EXPECT_EQ(SendWith("80F0408F", Domain), "9000");
    EXPECT_EQ(SendWith("80F0400F", Domain), "6985");
    EXPECT_EQ(Send("80CA00E000"), "6985");
    EXPECT_EQ(SendWith("00A40400", Domain), "6A82");
    EnterIssuer();
    EXPECT_EQ(StateOf(Domain), "8F");
    EXPECT_EQ(Load(File, Domain), "6985");
    EXPECT_EQ(SendWith("80F04003", Domain), "9000");  // whatever the other bits say, it is as before
    EXPECT_EQ(StateOf(Domain), "0F");
}

// 9.3.5, 9.3.6 and 9.6.5: a domain with authorized management has content of its own, and sees it alone.
TEST_F(SecurityDomains, ManageTheirOwnContent) {
    MakeDomain();
    ASSERT_EQ(Load("A0000009990007", ""), "009000");
    EnterDomain();
    LoadFile();
    InstallApplication();
    EXPECT_EQ(DomainOf(File, "20"), Domain);
    EXPECT_EQ(DomainOf(Application), Domain);
    EXPECT_EQ(DomainOf(Domain), Issuer);
    EXPECT_EQ(Entry("A0000009990007", "4F", "20"), "");
    EXPECT_EQ(Send("80F28002 02 4F00 00"), "6A86");
    EXPECT_EQ(Send("80CA2F00 02 5C00 00"), "610A4F08A0000009990001029000");
    EXPECT_EQ(SendWith("80F04080", Application), "9000");
    EXPECT_EQ(SendWith("80F04080", Issuer), "6985");
    EXPECT_EQ(Send("80F0807F"), "6985");
    EXPECT_EQ(Send("80F080FF"), "6985");
    EXPECT_EQ(Delete("A0000009990007"), "6985");
    EXPECT_EQ(Delete(File, "80"), "009000");
    EnterIssuer();
    EXPECT_EQ(Send("80F28002 02 4F00 00").substr(0, 4), "E31D");
}

// 9.6.5 and table 11-33: with global registry, all of it.
TEST_F(SecurityDomains, SeeEverythingWithGlobalRegistry) {
    LoadFile();
    InstallApplication();
    MakeDomain(Domain, "808400");
    EnterDomain();
    EXPECT_EQ(DomainOf(Application), Issuer);
    EXPECT_EQ(StatusOf("80F28002 02 4F00 00"), "9000");
    EXPECT_EQ(Send("80CA2F00 02 5C00 00").substr(0, 20), "610A4F08A00000099900");
    EXPECT_EQ(Load("A0000009990007", ""), "6985");  // neither authorized nor delegated, 9.1.3
    EXPECT_EQ(Delete(Application), "6985");
}

// 9.3.5: another domain's file; 9.3.6: what is no domain belongs to the domain of its file.
TEST_F(SecurityDomains, GetFilesFromOthers) {
    MakeDomain();
    EXPECT_EQ(Load(File, Domain), "009000");
    EXPECT_EQ(DomainOf(File, "20"), Domain);
    InstallApplication();
    EXPECT_EQ(DomainOf(Application), Domain);
    EnterDomain();
    EXPECT_EQ(InstallDomain(Other), "009000");
    EXPECT_EQ(DomainOf(Other), Domain);
    EXPECT_EQ(Load("A0000009990007", Issuer), "009000");
    EnterIssuer();
    EXPECT_EQ(DomainOf("A0000009990007", "20"), Issuer);
    EXPECT_EQ(SendWith("80F0408F", Domain), "9000");
    EXPECT_EQ(InstallNext("A000000999000103"), "6985");  // the file's domain has to agree
}

// 5.3.2.4: a domain may be locked while a file is on its way to it.
TEST_F(SecurityDomains, GetNoFileOnceTheyAreLocked) {
    MakeDomain();
    ASSERT_EQ(Send("0070000001"), "019000");
    ASSERT_EQ(StatusOf("01A4040000"), "9000");
    const std::string update = Send("81500000 08 0102030405060708 00");
    const Bytes challenge = FromHex(update.substr(26, 16));
    const auto keys = GlobalPlatform::DeriveSessionKeys(hostKeys, FromHex("0102030405060708"), challenge);
    channel.emplace(keys);
    hostCryptogram = GlobalPlatform::HostCryptogram(keys, FromHex("0102030405060708"), challenge);
    std::string authentication = Authentication();
    authentication[1] = '5';
    ASSERT_EQ(Send(authentication), "9000");
    ASSERT_EQ(SendWith("80E60200", Field(File) + Field(Domain) + "000000"), "009000");
    ASSERT_EQ(SendWith("81F0408F", Domain), "9000");
    EXPECT_EQ(Send("80E88000 05 C403616263"), "6985");
}

// 9.5.1: a domain stays as long as something is associated with it; 9.5.3: with its own content it goes.
TEST_F(SecurityDomains, AreDeletedWhenNothingIsTheirs) {
    MakeDomain();
    ASSERT_EQ(Load(File, Domain), "009000");
    EXPECT_EQ(Delete(Domain), "6985");
    InstallApplication();
    EXPECT_EQ(Delete(File), "6985");
    EXPECT_EQ(Delete(Package, "80"), "6985");
    EXPECT_EQ(Delete(File, "80"), "009000");
    EXPECT_EQ(StateOf(Application), "");
    EXPECT_EQ(Delete(Domain), "009000");
}

// 9.1.3.4 and 9.5: what belongs to others goes by global delete alone.
TEST_F(SecurityDomains, DeleteWhatIsNotTheirsWithGlobalDelete) {
    LoadFile();
    InstallApplication();
    MakeDomain(Domain, "80C000");
    MakeDomain(Other, "80D000");
    EnterDomain(Domain);
    EXPECT_EQ(Delete(Application), "6985");
    EXPECT_EQ(Delete(File, "80"), "6985");
    EnterDomain(Other);
    EXPECT_EQ(Delete(Application), "009000");
    EXPECT_EQ(Delete(File), "009000");
    EXPECT_EQ(Delete(File), "6A82");
}

// 9.1.3.5 and 9.6.2: what belongs to others is locked by global lock alone.
TEST_F(SecurityDomains, LockWhatIsNotTheirsWithGlobalLock) {
    LoadFile();
    InstallApplication();
    MakeDomain(Domain, "808000");
    MakeDomain(Other, "808800");
    EnterDomain(Domain);
    EXPECT_EQ(SendWith("80F04080", Application), "6985");
    EXPECT_EQ(SendWith("80F06080", Issuer), "6985");
    EnterDomain(Other);
    EXPECT_EQ(SendWith("80F04080", Application), "9000");
    EXPECT_EQ(SendWith("80F04000", Application), "9000");
    EXPECT_EQ(SendWith("80F04080", "A000000999000109"), "6A88");
}

// 9.6.2 and 11.10.2.1: a domain with all that is below it, each with its own state underneath.
TEST_F(SecurityDomains, AreLockedWithTheirHierarchy) {
    MakeDomain();
    ASSERT_EQ(Load(File, Domain), "009000");
    InstallApplication();
    EnterDomain();
    ASSERT_EQ(InstallDomain(Other), "009000");
    ASSERT_EQ(SendWith("80F04080", Other), "9000");
    EnterIssuer();
    EXPECT_EQ(SendWith("80F06080", Domain), "9000");
    EXPECT_EQ(StateOf(Domain) + StateOf(Application) + StateOf(Other), "8F8787");
    EXPECT_EQ(SendWith("80F06000", Domain), "9000");
    EXPECT_EQ(StateOf(Domain) + StateOf(Application) + StateOf(Other), "0F0707");
    EXPECT_EQ(SendWith("80F06080", Application), "6985");
    EXPECT_EQ(SendWith("80F06080", "A000000999000109"), "6A88");
    EnterDomain();
    EXPECT_EQ(SendWith("80F06080", Domain), "9000");
    EXPECT_EQ(SendWith("80F06000", Domain), "6985");
}

// 9.6.3: the card is locked and unlocked by who has card lock, ended by who has card terminate.
TEST_F(SecurityDomains, LockAndEndTheCardWithThePrivilege) {
    MakeDomain(Domain, "9A8000");
    EnterDomain();
    EXPECT_EQ(Send("80F0807F"), "9000");
    EXPECT_EQ(Send("80F0800F"), "9000");
    EXPECT_EQ(Send("80F080FF"), "9000");
    EXPECT_EQ(Send("80CAFF2100").substr(0, 4), "FF21");
}

// 6.6.2, 9.6.2 and 9.6.3: one holder, which is never locked, and alone is selected on a locked card.
TEST_F(SecurityDomains, LeaveTheFinalApplicationOnALockedCard) {
    LoadFile();
    EXPECT_EQ(InstallNext(Application, "000200"), "009000");
    EXPECT_EQ(Send("80F28002 02 4F00 00").substr(36, 6), "9EFC80");
    EXPECT_EQ(InstallNext("A000000999000103", "000200"), "6985");
    EXPECT_EQ(SendWith("80F04080", Application), "6985");
    EXPECT_EQ(SendWith("80F06080", Issuer), "9000");
    EXPECT_EQ(StateOf(Application), "07");
    EXPECT_EQ(Send("80F0807F"), "9000");
    EXPECT_EQ(Send("00A4040000"), "6A81");
    EXPECT_EQ(StatusIn(SendWith("00A40400", Application)), "6283");
    card->Reset();
    EXPECT_EQ(Send("80500000 08 0102030405060708 00"), "6D00");
}

// 6.7 and 7.3.2: a domain passes commands on to its own applications, with trusted path.
TEST_F(SecurityDomains, PersonalizeOnlyWhatIsTheirOwn) {
    const auto personalization = [this](const std::string& aid) {
        return SendWith("80E62000", "0000" + Field(aid) + "000000");
    };
    LoadFile();
    InstallApplication();
    MakeDomain(Domain, "80C000");
    MakeDomain(Other, "804000");
    EXPECT_EQ(Extradite(Application, Domain), "009000");
    EXPECT_EQ(personalization(Application), "6985");
    EnterDomain();
    EXPECT_EQ(personalization(Application), "009000");
    EXPECT_EQ(Send("80E28800 05 0101 02 AABB"), "9000");
    EXPECT_EQ(personalization(Other), "6985");
    EnterIssuer();
    EXPECT_EQ(Extradite(Application, Other), "009000");
    EnterDomain(Other);
    EXPECT_EQ(personalization(Application), "6985");
    ASSERT_EQ(StatusIn(SendWith("00A40400", Application)), "9000");
    EXPECT_EQ(Send("80CA010100"), "010102AABB9000");
}

// 7.3.1 and 11.11.4: first keys come through the domain above, encrypted with its key.
TEST_F(SecurityDomains, GetTheirFirstKeysFromTheDomainAbove) {
    ASSERT_EQ(InstallDomain(Domain), "009000");
    ASSERT_EQ(SendWith("80E62000", "0000" + Field(Domain) + "000000"), "009000");
    std::string templates;
    std::string values;
    for (const char* identifier : {"01", "02", "03"}) {
        const std::string key = KeyField(DomainKey);
        templates += "B9" + Field(
                                "950118800188810110"
                                "8201" +
                                std::string(identifier) +
                                "830130"
                                "8403" +
                                key.substr(key.size() - 6));
        values += "811310" + key.substr(6, 32);
    }
    EXPECT_EQ(SendWith("80E28800", "00B9" + Field(templates) + values), "9000");
    EnterDomain();
    EXPECT_EQ(StatusOf("80F24002 02 4F00 00"), "9000");
    EnterIssuer();
    EXPECT_EQ(Send("80CA00E000"), "E012C00401018810C00402018810C004030188109000");
}

// 9.7: a quota is a ceiling of what an application stores, what is reserved is its own from the beginning,
// and deletion gives both back.
TEST_F(SecurityDomains, KeepToTheirMemory) {
    LoadFile();
    const unsigned long before = FreeMemory();
    ASSERT_EQ(InstallNext(Application, "00", "C900EF04D8020064"), "009000");
    EXPECT_EQ(FreeMemory(), before - 512 - 8 - 100);
    ASSERT_EQ(SendWith("80E62000", "0000" + Field(Application) + "000000"), "009000");
    ASSERT_EQ(SendWith("80E28800", "01015A" + std::string(2 * 90, 'A')), "9000");
    EXPECT_EQ(FreeMemory(), before - 512 - 8 - 100);
    ASSERT_EQ(SendWith("80E62000", "0000" + Field(Application) + "000000"), "009000");
    ASSERT_EQ(SendWith("80E28800", "010214" + std::string(2 * 20, 'A')), "9000");
    EXPECT_EQ(FreeMemory(), before - 512 - 8 - 118);
    EXPECT_EQ(Delete(Application), "009000");
    EXPECT_EQ(FreeMemory(), before);
    ASSERT_EQ(InstallNext(Application, "00", "C900EF04C8020014"), "009000");
    ASSERT_EQ(SendWith("80E62000", "0000" + Field(Application) + "000000"), "009000");
    EXPECT_EQ(SendWith("80E20800", "010110" + std::string(2 * 16, 'A')), "9000");
    EXPECT_EQ(SendWith("80E28801", "010201AA"), "6A84");
    ASSERT_EQ(InstallDomain(Domain, "80", "C900EF04C802001E"), "009000");
    Enter(Domain, IssuerKey);
    const std::string key = KeyField(DomainKey);
    EXPECT_EQ(SendWith("80D80081", "30" + key + key), "6A84");
    EXPECT_EQ(StatusIn(SendWith("80D80081", "30" + key)), "9000");
}

// 9.7: volatile memory that is reserved is nobody else's.
TEST_F(SecurityDomains, KeepToTheirVolatileMemory) {
    LoadFile();
    ASSERT_EQ(InstallNext(Application, "00", "C900EF04D7027000"), "009000");
    EXPECT_EQ(Send("80CAFF2100").substr(30, 8), "00001000");
    EXPECT_EQ(InstallNext("A000000999000103", "00", "C900EF04D7021001"), "6A84");
    EXPECT_EQ(Send("80E60200 12 07A0000009990007 00 00 06EF04C7021001 00"), "6A84");
    EXPECT_EQ(Delete(Application), "009000");
    EXPECT_EQ(Send("80CAFF2100").substr(30, 8), "00008000");
}
