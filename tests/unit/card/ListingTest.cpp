// SPDX-License-Identifier: Apache-2.0
// What is on a card, in words.
#include "card/Listing.h"

#include "card/ContentStore.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/card/DomainDesk.h"

namespace {

class Listing : public DomainDesk {
protected:
    std::string Text() const { return Card::Listing(Card::ContentIn(options.stateFile), options); }

    TemporaryFolder folder;
};

}  // namespace

TEST_F(Listing, TellsOfDomainsPackagesApplicationsKeysAndMemory) {
    options.stateFile = (folder.Path() / "a.card").string();
    options.lifeCycle = 0x07;
    options.keyVersion = 255;
    Restart();
    Authenticate();
    LoadFile();
    InstallApplication();
    ASSERT_EQ(StatusOf("80E62000 0E 0000 08A000000999000102 000000"), "9000");
    ASSERT_EQ(StatusOf("80E28800 06 0102 03 5A0101"), "9000");
    ASSERT_EQ(StatusOf("80E29000 03 420199"), "9000");
    ASSERT_EQ(StatusOf("80F04080 08 A000000999000102"), "9000");
    EXPECT_EQ(
        Text(),
        "card, INITIALIZED\n"
        "    memory: 610 of 1310720 bytes in use\n"
        "issuer security domain A000000151000000\n"
        "    privileges: Security Domain, Card Lock, Card Terminate, Card Reset, CVM Management, Trusted "
        "Path, "
        "Authorized Management, Token Verification, Global Delete, Global Lock, Global Registry, Final "
        "Application, Receipt Generation\n"
        "    keys of version 255 (initial): 01 AES-128, 02 AES-128, 03 AES-128; sequence counter 1\n"
        "    failed authentications in a row: 0 of 10\n"
        "    data: 42 (1 byte)\n"
        "package A0000001515350, came with the card\n"
        "    module: A000000151535041\n"
        "package A0000009990001, 20 bytes\n"
        "    modules: its code does not say\n"
        "application A000000999000102, LOCKED, was SELECTABLE\n"
        "    from: module A000000999000101 of package A0000009990001\n"
        "    privileges: none\n"
        "    data: 0102 (3 bytes)\n");
}

TEST_F(Listing, TellsOfWhatCodeSaysOfItselfAndOfEveryKindOfKey) {
    Card::CardContent content(options);
    content.loadFiles.push_back(
        {FromHex("A0000009990001"), {}, 300, true, {1, 2}, {FromHex("A000000999000101")}});
    const auto key = [](std::vector<Card::KeyComponent> components) {
        Card::Key made;
        made.components = std::move(components);
        return made;
    };
    content.issuerDomain.keySets[0x30].keys = {
        {1, key({{0x80, Bytes(24)}})},
        {2, key({{0x85, Bytes(16)}})},
        {3, key({{0x91, Bytes(20)}})},
        {4, key({{0xA1, Bytes(128)}, {0xA0, Bytes(3)}})},
        {5, key({{0xB0, Bytes(65)}, {0xF0, Bytes(1)}})}};
    const std::string text = Card::Listing(content, options);
    EXPECT_NE(text.find("package A0000009990001, 300 bytes, version 1.2\n"), std::string::npos) << text;
    EXPECT_NE(text.find("    module: A000000999000101\n"), std::string::npos) << text;
    EXPECT_NE(
        text.find("keys of version 48: 01 DES-192, 02 TLS PSK-128, 03 HMAC-160, 04 RSA, 05 ECC; sequence"),
        std::string::npos)
        << text;
}

TEST_F(Listing, TellsOfSecurityDomainsAndOfWhatIsTheirs) {
    options.stateFile = (folder.Path() / "a.card").string();
    Restart();
    Authenticate();
    MakeDomain();
    ASSERT_EQ(Update(Domain, "", "EF03D90141"), "009000");
    ASSERT_EQ(Load(File, Domain), "009000");
    ASSERT_EQ(InstallDomain(Other, "80", "C900EF0CD702000AD8020014C8020064"), "009000");
    ASSERT_EQ(Extradite(Other, Domain), "009000");
    ASSERT_EQ(Extradite(Domain, Domain), "009000");
    ASSERT_EQ(SendWith("80F04080", Domain), "9000");
    const std::string text = Text();
    EXPECT_NE(
        text.find("security domain A0000009991001, LOCKED, was PERSONALIZED\n"
                  "    from: module A000000151535041 of package A0000001515350\n"
                  "    belongs to: itself\n"
                  "    privileges: Security Domain, Trusted Path, Authorized Management\n"
                  "    keys of version 48: 01 AES-128, 02 AES-128, 03 AES-128; sequence counter 0\n"
                  "    failed authentications in a row: 0 of 10\n"
                  "    never again: delete, update registry\n"
                  "security domain A0000009991002, SELECTABLE\n"
                  "    from: module A000000151535041 of package A0000001515350\n"
                  "    belongs to: security domain A0000009991001\n"
                  "    privileges: Security Domain, Trusted Path\n"
                  "    memory reserved: 20 bytes\n"
                  "    memory at most: 100 bytes\n"
                  "    volatile memory reserved: 10 bytes\n"),
        std::string::npos)
        << text;
    EXPECT_NE(
        text.find("package A0000009990001, 3 bytes\n    belongs to: security domain A0000009991001\n"),
        std::string::npos)
        << text;
}

TEST_F(Listing, NeedsACardThatIsThereAndDisturbsNone) {
    options.stateFile = (folder.Path() / "a.card").string();
    EXPECT_THROW(static_cast<void>(Card::ContentIn(options.stateFile)), std::runtime_error);
    EXPECT_FALSE(std::filesystem::exists(options.stateFile));
    Restart();
    EXPECT_NE(Text().find("card, SECURED\n"), std::string::npos) << "though a card uses it";
    folder.Write("b.card", "{}");
    EXPECT_THROW(static_cast<void>(Card::ContentIn((folder.Path() / "b.card").string())), std::runtime_error);
}
