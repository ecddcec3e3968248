// SPDX-License-Identifier: Apache-2.0
// Messages and scripts that several tests use.
#pragma once

#include <string>

#include "keyserver/Server.h"
#include "keyserver/scripted/Script.h"

constexpr char SampleCplc[] = "9F7F2A4790504740919102170000640000112233445566778899AABBCCDDEEFF0011223344";
constexpr char SampleSeId[] = "9F7F2A479050474091910217000064000011";

inline std::string Opening(
    const std::string& session, const std::string& service = "two.steps", const std::string& more = "") {
    return "data={\"UUID\":\"" + session + "\",\"cplc\":\"" + SampleCplc +
           "\",\"msgCd\":\"INITIALIZEAPDU\",\"msgTime\":\"240131235959\",\"seId\":\"" + SampleSeId +
           "\",\"serviceId\":\"" + service + "\"" + more + "}";
}

inline std::string Responding(const std::string& session, const std::string& responseSet) {
    return "data={\"UUID\":\"" + session +
           "\",\"msgCd\":\"NEXTAPDU\",\"msgTime\":\"240131235959\",\"rApduSet\":\"" + responseSet +
           "\",\"seId\":\"" + SampleSeId + "\"}";
}

inline std::string Asking(const std::string& session = "E1") {
    return "data={\"UUID\":\"" + session + "\",\"msgCd\":\"ELIGIBILITY\",\"seId\":\"" + SampleSeId + "\"}";
}

// Two steps: a SELECT, then two commands of which the second may find nothing.
constexpr char TwoSteps[] = R"({
  "serviceId": "two.steps",
  "steps": [
    {"comment": "select", "commands": [{"apdu": "00A4040000", "expect": ["9000", "61xx"]}]},
    {"comment": "delete", "commands": [
      {"apdu": "80CA00E000", "expect": "9000"},
      {"apdu": "80E40000054F03A0000000", "expect": ["9000", "6A88"]}]}
  ]
})";

constexpr char FirstAnswer[] = R"({"resultCode":"00000000","cApduSet":"/0100A4040000"})";
constexpr char SecondAnswer[] =
    R"({"resultCode":"00000000","cApduSet":"/0180CA00E000/0180E40000054F03A0000000"})";
constexpr char FinalAnswer[] = R"({"resultCode":"00000001"})";

inline KeyServer::Catalogue CatalogueOf(const std::string& script) {
    KeyServer::Catalogue catalogue;
    auto parsed = std::make_shared<const KeyServer::Script>(KeyServer::ParseScript(script, "sample"));
    catalogue.eligibility = parsed->eligibility;
    catalogue.services.push_back(parsed);
    return catalogue;
}
