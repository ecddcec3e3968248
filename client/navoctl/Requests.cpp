// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/Requests.h"

#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

#include "navo/Outcome.h"

namespace {

const std::map<std::string, long>& Queries() {
    static const std::map<std::string, long> queries = {
        {"cplc", Navo::Command::Cplc},
        {"memory", Navo::Command::Memory},
        {"se-status", Navo::Command::SeStatus},
        {"eligibility", Navo::Command::Eligibility},
        {"phone-info", Navo::Command::PhoneInfo},
    };
    return queries;
}

// Throws WrongValue for a key that comes twice.
Navo::Map MapOf(const std::vector<std::string>& pairs) {
    Navo::Map map;
    for (const std::string& pair : pairs) {
        const std::size_t at = pair.find('=');
        if (!map.emplace(pair.substr(0, at), pair.substr(at + 1)).second) {
            throw WrongValue("the key '" + pair.substr(0, at) + "' is given twice");
        }
    }
    return map;
}

// Whole content of a file. Throws WrongValue.
std::string ContentOf(const std::string& path) {
    std::ifstream file;
    if (path != "-") {
        file.open(path, std::ios::binary);
    }
    std::istream& stream = path == "-" ? std::cin : file;
    std::ostringstream content;
    if (!stream || (stream.peek() != std::istream::traits_type::eof() && !(content << stream.rdbuf())) ||
        stream.bad()) {
        throw WrongValue("'" + path + "' cannot be read: " + std::strerror(errno));
    }
    return content.str();
}

// Hexadecimal digits of a script without the blanks between them.
std::string DigitsOf(const std::string& path) {
    std::string digits;
    unsigned line = 1;
    for (const char character : ContentOf(path)) {
        if (std::isxdigit(static_cast<unsigned char>(character)) != 0) {
            digits += character;
        } else if (std::isspace(static_cast<unsigned char>(character)) == 0) {
            throw WrongValue(
                "'" + path + "', line " + std::to_string(line) + ": a script has hexadecimal digits only");
        }
        line += character == '\n' ? 1 : 0;
    }
    if (digits.size() % 2 != 0) {
        throw WrongValue("'" + path + "' ends in the middle of a byte");
    }
    return digits;
}

// Data from a file without the line feed at its end, which belongs to the file.
std::string DataOf(const std::string& path) {
    std::string data = ContentOf(path);
    if (!data.empty() && data.back() == '\n') {
        data.pop_back();
    }
    return data;
}

void FillKeyRequest(Arguments& arguments, const KeyValues& values) {
    using namespace Navo;
    const std::string& name = arguments.name;
    arguments.request = {{Key::KeyName, values.name}, {Key::KeyType, values.type}};
    if (name == "key inject") {
        arguments.command = Command::KeyInject;
        if (values.hasData || !values.dataFile.empty()) {
            arguments.request[Key::DalmData] =
                values.dataFile.empty() ? values.data : DataOf(values.dataFile);
            arguments.request[Key::EncodingType] = values.encoding;
        }
    } else if (name == "key verify") {
        arguments.command = Command::KeyVerify;
    } else if (name == "key uid") {
        arguments.command = Command::KeyUid;
        arguments.request[Key::DalmDataSize] = std::to_string(values.size);
    } else if (name == "key get") {
        arguments.command = Command::KeyOpenSession;
        arguments.request[Key::DalmDataSize] = std::to_string(values.size);
        arguments.request[Key::EncodingType] = values.encoding;
    } else {
        arguments.command = Command::KeyReleaseSession;
        arguments.request.clear();
    }
    if (!values.injection.empty()) {
        arguments.request[Key::InjectionType] = values.injection;
    }
}

}  // namespace

void FillRequest(Arguments& arguments, const RawValues& values) {
    using namespace Navo;
    if (arguments.name == "raw") {
        arguments.request = MapOf(values.pairs);
        arguments.command = CommandOf(arguments.request).value_or(0);
        arguments.method = values.useExec ? Method::Exec : Method::Cmd;
        return;
    }
    arguments.words = values.words;
    if (arguments.name == "run") {
        arguments.command = Command::RunScript;
        arguments.request = {
            {Key::ServiceId, values.serviceId}, {Key::FcId, values.fcId}, {Key::PushReq, values.pushReq}};
    } else if (arguments.name == "set-address") {
        arguments.command = Command::SetAddress;
        arguments.request = {{Key::HostAddr, values.address}};
    } else if (arguments.name == "ccm") {
        arguments.command = Command::CcmScript;
        arguments.request = {{Key::CcmScriptData, DigitsOf(values.scriptFile)}};
    } else if (arguments.name.compare(0, 4, "key ") == 0) {
        FillKeyRequest(arguments, values.key);
    }
    const auto query = Queries().find(arguments.name);
    if (query != Queries().end()) {
        arguments.command = query->second;
    }
    arguments.request[Key::Cmd] = CommandText(arguments.command);
}
