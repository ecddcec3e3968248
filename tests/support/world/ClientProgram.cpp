// SPDX-License-Identifier: Apache-2.0
// A client of the service in a process of its own, led by lines on its standard input: "open", "close" and
// "call" with its request as KEY=VALUE after tabs. It answers each on its standard output with "opened",
// "closed", "reply" with KEY=VALUE after tabs, or "error" with a kind and a message, and says "progress" with
// a text as it comes.
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "navo/Client.h"

namespace {

std::vector<std::string> Fields(const std::string& line) {
    std::vector<std::string> fields;
    std::size_t begin = 0;
    for (std::size_t end = 0; end != std::string::npos; begin = end + 1) {
        end = line.find('\t', begin);
        fields.push_back(line.substr(begin, end == std::string::npos ? end : end - begin));
    }
    return fields;
}

Navo::Map MapOf(const std::vector<std::string>& fields) {
    Navo::Map map;
    for (std::size_t i = 1; i < fields.size(); ++i) {
        const std::size_t sign = fields[i].find('=');
        map[fields[i].substr(0, sign)] = fields[i].substr(sign + 1);
    }
    return map;
}

class Client {
public:
    std::string Obey(const std::string& line) {
        const std::vector<std::string> fields = Fields(line);
        if (fields.front() == "open") {
            Navo::SessionOptions options;
            options.confirm = true;
            session.emplace(options);
            return "opened";
        }
        if (fields.front() == "close") {
            session->Close();
            session.reset();
            return "closed";
        }
        Navo::CallOptions options;
        options.onProgress = [](const std::string& text) { std::cout << "progress\t" << text << std::endl; };
        std::string answer = "reply";
        for (const auto& [key, value] : session->Call(MapOf(fields), options)) {
            answer.append("\t").append(key).append("=").append(value);
        }
        return answer;
    }

private:
    std::optional<Navo::Session> session;
};

}  // namespace

int main() {
    Client client;
    for (std::string line; std::getline(std::cin, line);) {
        try {
            std::cout << client.Obey(line) << std::endl;
        } catch (const Navo::ClientError& error) {
            std::cout << "error\t" << Navo::NameOf(error.Kind()) << '\t' << error.what() << std::endl;
        }
    }
    return 0;
}
