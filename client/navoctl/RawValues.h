// SPDX-License-Identifier: Apache-2.0
// Where the command line's values go before they become a request.
#pragma once

#include <string>
#include <vector>

struct KeyValues {
    std::string name;
    std::string type;
    std::string injection;
    std::string encoding = "1";
    std::string data;
    bool hasData = false;  // also of an empty text
    std::string dataFile;
    unsigned size = 10000;
};

struct RawValues {
    double timeLimit = 0;
    std::string address;
    std::string serviceId;
    std::string fcId;
    std::string pushReq;
    std::vector<std::string> pairs;
    bool useExec = false;
    std::string scriptFile;
    std::vector<std::string> words;  // of explain and help
    KeyValues key;
};
