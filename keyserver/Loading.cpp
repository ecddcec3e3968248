// SPDX-License-Identifier: Apache-2.0
#include "keyserver/Loading.h"

#include <algorithm>
#include <cctype>
#include <iostream>

#include "keyserver/provisioning/CatalogueReader.h"
#include "keyserver/scripted/Script.h"

namespace KeyServer {

Catalogue Load(const Options& options) {
    Catalogue catalogue;
    Gathering gathering;
    gathering.Read([&] { catalogue = ReadCatalogue(options.scriptFiles, options.scriptFolders); });
    for (const std::string& file : options.catalogueFiles) {
        gathering.Read([&] { AddCatalogueFile(file, catalogue); });
    }
    gathering.End();
    if (!options.eligibility.empty()) {
        catalogue.eligibility = options.eligibility;
    }
    return catalogue;
}

std::vector<std::string> ServedLines(const Catalogue& catalogue) {
    std::vector<std::string> lines;
    for (const auto& service : catalogue.services) {
        for (const std::string& id : service->ServiceIds()) {
            std::string line = "serves " + id + (service->Name() == id ? "" : ": " + service->Name());
            std::replace_if(
                line.begin(), line.end(), [](unsigned char each) { return std::iscntrl(each) != 0; }, '.');
            lines.push_back(std::move(line));
        }
    }
    return lines;
}

int Check(const Options& options) {
    try {
        const Catalogue catalogue = Load(options);
        for (const std::string& line : ServedLines(catalogue)) {
            std::cout << line << "\n";
        }
        return ExitSuccess;
    } catch (const ScriptError& error) {
        const std::string mistakes = error.what();
        const auto count = std::count(mistakes.begin(), mistakes.end(), '\n') + 1;
        std::cout << mistakes << "\n";
        std::cerr << "navo-keyserver: " << count << (count == 1 ? " mistake" : " mistakes") << "\n";
        return ExitFailure;
    }
}

}  // namespace KeyServer
