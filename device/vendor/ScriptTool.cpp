// SPDX-License-Identifier: Apache-2.0
// navo-ccm-script: writes CCM scripts from commands that a person can write, and reads them back.
#include <algorithm>
#include <exception>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "device/vendor/CcmScript.h"

namespace {

using Vendor::Bytes;

constexpr char Usage[] =
    R"(Usage: navo-ccm-script [--decode] < INPUT > OUTPUT

Reads command APDUs in hexadecimal, one on a line, and writes the CCM script that the virtual device's
secure-SPI library converts into them, in hexadecimal on one line. With --decode, the other way round.
Blanks, empty lines and everything from a # to the end of its line do not count.
)";

bool IsBlank(char character) {
    return character == ' ' || character == '\t' || character == '\r';
}

// The lines of a text without comments and blanks; empty ones stay, so that they can be counted.
std::vector<std::string> ReadLines(std::istream& input) {
    std::vector<std::string> lines;
    for (std::string line; std::getline(input, line);) {
        line.resize(std::min(line.find('#'), line.size()));
        line.erase(std::remove_if(line.begin(), line.end(), IsBlank), line.end());
        lines.push_back(line);
    }
    return lines;
}

Bytes BytesOfLine(const std::vector<std::string>& lines, std::size_t index) {
    const std::optional<Bytes> bytes = Device::FromHexText(lines[index]);
    if (!bytes) {
        throw std::runtime_error(
            "line " + std::to_string(index + 1) + ": write whole bytes in hexadecimal digits");
    }
    return *bytes;
}

std::string Encode(const std::vector<std::string>& lines) {
    Bytes list;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const Bytes apdu = BytesOfLine(lines, i);
        if (apdu.empty()) {
            continue;
        }
        try {
            Device::Append(list, Vendor::PackApdus({apdu}));
        } catch (const Vendor::BadScript& error) {
            throw std::runtime_error("line " + std::to_string(i + 1) + ": " + error.what());
        }
    }
    return Device::HexText(Vendor::MakeScript(list)) + "\n";
}

std::string Decode(const std::vector<std::string>& lines) {
    Bytes script;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        Device::Append(script, BytesOfLine(lines, i));
    }
    std::string text;
    for (const Bytes& apdu : Vendor::UnpackApdus(Vendor::PackedListOf(script))) {
        text += Device::HexText(apdu) + "\n";
    }
    return text;
}

}  // namespace

int main(int count, char** values) {
    const std::string option = count > 1 ? values[1] : "";
    if (count > 2 || (!option.empty() && option != "--decode" && option != "--help")) {
        std::cerr << Usage;
        return 2;
    }
    if (option == "--help") {
        std::cout << Usage;
        return 0;
    }
    try {
        const std::vector<std::string> lines = ReadLines(std::cin);
        std::cout << (option.empty() ? Encode(lines) : Decode(lines)) << std::flush;
        return std::cout ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << "navo-ccm-script: " << error.what() << "\n";
        return 1;
    }
}
