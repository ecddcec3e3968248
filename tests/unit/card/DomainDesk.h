// SPDX-License-Identifier: Apache-2.0
// A card whose issuer domain has an open session, and supplementary security domains with keys of their own.
#pragma once

#include "tests/unit/card/CardDesk.h"

class DomainDesk : public CardDesk {
protected:
    DomainDesk() { Authenticate(); }

    static constexpr char Issuer[] = "A000000151000000";
    static constexpr char Package[] = "A0000001515350";
    static constexpr char Module[] = "A000000151535041";
    static constexpr char Domain[] = "A0000009991001";
    static constexpr char Other[] = "A0000009991002";
    static constexpr char File[] = "A0000009990001";  // as LoadFile and InstallApplication have them
    static constexpr char Application[] = "A000000999000102";
    static constexpr char IssuerKey[] = "404142434445464748494A4B4C4D4E4F";
    static constexpr char DomainKey[] = "505152535455565758595A5B5C5D5E5F";

    std::string InstallDomain(
        const std::string& aid, const std::string& privileges = "80",
        const std::string& parameters = "C900") {
        return SendWith(
            "80E60C00",
            Field(Package) + Field(Module) + Field(aid) + Field(privileges) + Field(parameters) + "00");
    }

    // Another application of the file that LoadFile brings.
    std::string InstallNext(
        const std::string& aid, const std::string& privileges = "00",
        const std::string& parameters = "C900") {
        return SendWith(
            "80E60C00", Field(File) + Field("A000000999000101") + Field(aid) + Field(privileges) +
                            Field(parameters) + "00");
    }

    std::string Load(const std::string& aid, const std::string& domain) {
        const std::string begun = SendWith("80E60200", Field(aid) + Field(domain) + "000000");
        return begun == "009000" ? Send("80E88000 05 C403616263") : begun;
    }

    void Enter(const std::string& aid, const std::string& key) {
        const Bytes value = FromHex(key);
        hostKeys = {value, value, value};
        ASSERT_EQ(StatusIn(SendWith("00A40400", aid)), "9000") << aid;
        Authenticate();
    }

    void EnterIssuer() { Enter(Issuer, IssuerKey); }
    void EnterDomain(const std::string& aid = Domain) { Enter(aid, DomainKey); }

    // Keys of its own, of version 30, and the state that says so; then the issuer domain again. Until then,
    // those of the domain above serve it.
    void Personalize(const std::string& aid, const std::string& keyAbove = IssuerKey) {
        Enter(aid, keyAbove);
        const std::string key = KeyField(DomainKey);
        ASSERT_EQ(StatusIn(SendWith("80D80081", "30" + key + key + key)), "9000");
        ASSERT_EQ(SendWith("80F0400F", aid), "9000");
        EnterIssuer();
    }

    void MakeDomain(const std::string& aid = Domain, const std::string& privileges = "80C000") {
        ASSERT_EQ(InstallDomain(aid, privileges), "009000");
        Personalize(aid);
    }

    std::string Extradite(const std::string& aid, const std::string& domain) {
        return SendWith("80E61000", Field(domain) + "00" + Field(aid) + "000000");
    }

    std::string Update(
        const std::string& aid, const std::string& privileges, const std::string& parameters = "",
        const std::string& domain = "") {
        return SendWith(
            "80E64000", Field(domain) + "00" + Field(aid) + Field(privileges) + Field(parameters) + "00");
    }

    std::string Delete(const std::string& aid, const std::string& p2 = "00") {
        return SendWith("80E400" + p2, "4F" + Field(aid));
    }

    // The value of a tag in the entry of GET STATUS, of one length byte; empty when there is no entry.
    std::string Entry(const std::string& aid, const std::string& tag, const std::string& p1 = "40") {
        const std::string entry = SendWith("80F2" + p1 + "02", "4F" + Field(aid));
        const std::size_t at = entry.find(tag);
        if (at == std::string::npos || StatusIn(entry) != "9000") {
            return "";
        }
        const std::size_t length = std::stoul(entry.substr(at + tag.size(), 2), nullptr, 16);
        return entry.substr(at + tag.size() + 2, 2 * length);
    }

    std::string StateOf(const std::string& aid) { return Entry(aid, "9F70"); }
    std::string PrivilegesOf(const std::string& aid) { return Entry(aid, "C5"); }
    std::string DomainOf(const std::string& aid, const std::string& p1 = "40") {
        return Entry(aid, "CC", p1);
    }
};
