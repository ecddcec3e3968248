// SPDX-License-Identifier: Apache-2.0
// Catalogues: files that say which services manage cards, with which keys, and how.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "keyserver/provisioning/CardService.h"
#include "keyserver/service/Reading.h"

namespace KeyServer {

// `origin` names the text in messages; load files are looked for below `folder`. Throws ScriptError.
std::vector<std::shared_ptr<const CardService>> ParseCatalogue(
    const std::string& text, const std::string& origin, const std::filesystem::path& folder);

// Adds the services of a file. Throws ScriptError, also when a service is served already.
void AddCatalogueFile(const std::string& file, Catalogue& catalogue);

}  // namespace KeyServer
