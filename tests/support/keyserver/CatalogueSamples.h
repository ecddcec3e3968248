// SPDX-License-Identifier: Apache-2.0
// Catalogues that several tests use.
#pragma once

#include <string>

#include "keyserver/provisioning/CatalogueReader.h"
#include "tests/support/TemporaryFolder.h"

constexpr char SampleKeys[] = R"([
    {"version": "01", "enc": "11111111111111111111111111111111", "mac": "22222222222222222222222222222222",
     "dek": "33333333333333333333333333333333"},
    {"version": "31", "enc": "41414141414141414141414141414141", "mac": "42424242424242424242424242424242",
     "dek": "43434343434343434343434343434343"}])";

inline std::string CatalogueText(const std::string& actions, const std::string& more = "") {
    return std::string(R"({"cardKeys": )") + SampleKeys +
           R"(, "services": [{"serviceId": "s", "actions": [)" + actions + "]" +
           (more.empty() ? "" : ", " + more) + "}]}";
}

inline std::shared_ptr<const KeyServer::CardService> ServiceOf(
    const std::string& actions, const std::string& more = "", const std::filesystem::path& folder = {}) {
    return KeyServer::ParseCatalogue(CatalogueText(actions, more), "sample", folder).front();
}
