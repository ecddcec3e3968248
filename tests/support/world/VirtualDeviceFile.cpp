// SPDX-License-Identifier: Apache-2.0
#include "tests/support/world/VirtualDeviceFile.h"

#include <glib.h>

#include <fstream>
#include <stdexcept>
#include <utility>

#include "tests/support/Process.h"

namespace fs = std::filesystem;

namespace {

// Upper-case SHA-256 fingerprint of the first certificate of a PEM file.
std::string FingerprintOf(const fs::path& certificate) {
    const std::string text = TextOf(certificate);
    const std::string begin = "-----BEGIN CERTIFICATE-----";
    const std::size_t from = text.find(begin);
    const std::size_t to = text.find("-----END CERTIFICATE-----");
    if (from == std::string::npos || to == std::string::npos) {
        throw std::runtime_error(certificate.string() + ": holds no certificate");
    }
    const std::string armour = text.substr(from + begin.size(), to - from - begin.size());
    gsize size = 0;
    guchar* bytes = g_base64_decode(armour.c_str(), &size);
    char* checksum = g_compute_checksum_for_data(G_CHECKSUM_SHA256, bytes, size);
    std::string fingerprint = checksum;
    g_free(checksum);
    g_free(bytes);
    for (char& digit : fingerprint) {
        digit = g_ascii_toupper(digit);
    }
    return fingerprint;
}

}  // namespace

VirtualDeviceFile::VirtualDeviceFile(fs::path configuration) : file(std::move(configuration)) {
    fs::create_directories(file.parent_path());
    sections["device"] = {
        {"model-name", "Test Wearable"},
        {"build-string", "TESTBUILD1"},
        {"locale", "en_GB"},
        {"sales-code", "TST"}};
    sections["sim 0"] = {{"mcc", "262"}, {"mnc", "01"}, {"imei", "350000000000006"}};
    sections["network"] = {{"type", "wifi"}, {"wifi-state", "connected"}};
    sections["packages"] = {{"trust-environment", "true"}};
    Save();
}

void VirtualDeviceFile::UnplugNetwork() {
    Set("network", "type", "disconnected");
}

void VirtualDeviceFile::UseProxy(const std::string& address) {
    Set("network", "proxy", address);
}

void VirtualDeviceFile::TrustCertificatesOf(const fs::path& certificates) {
    Set("trust", "ca-file", certificates);
}

void VirtualDeviceFile::RemoveSecureElement() {
    Set("card", "present", "false");
}

void VirtualDeviceFile::LetCardAnswer(const std::string& command, const std::string& answers) {
    Set("card", "answer " + command, answers);
}

void VirtualDeviceFile::SetFreeMemory(unsigned long bytes) {
    Set("card", "free-memory", std::to_string(bytes));
}

void VirtualDeviceFile::SetCplc(const std::string& bytes) {
    Set("card", "cplc", bytes);
}

void VirtualDeviceFile::Break(const std::string& function, const std::string& result, unsigned from) {
    sections["fault " + function]["from"] = std::to_string(from);
    Set("fault " + function, "result", result);
}

void VirtualDeviceFile::Repair(const std::string& function) {
    sections.erase("fault " + function);
    Save();
}

void VirtualDeviceFile::Install(const std::string& package, const fs::path& executable, Privilege privilege) {
    sections["package " + package]["executables"] = executable;
    Install(package, privilege);
}

void VirtualDeviceFile::Install(const std::string& package, Privilege privilege) {
    const fs::path folder = NAVO_DEVICE_CERTIFICATES_DIR;
    const bool isPlatform = privilege == Privilege::Platform;
    const fs::path root = folder / (isPlatform ? "platform-root.pem" : "public-root.pem");
    sections["visibility"][isPlatform ? "platform" : "public"] = FingerprintOf(root);
    Set("package " + package, "distributor-root", root);
}

void VirtualDeviceFile::Set(const std::string& section, const std::string& key, const std::string& value) {
    sections[section][key] = value;
    Save();
}

void VirtualDeviceFile::SetCard(const std::map<std::string, std::string>& entries) {
    sections["card"] = entries;
    Save();
}

void VirtualDeviceFile::Save() const {
    const fs::path draft = file.string() + ".new";
    {
        std::ofstream stream(draft, std::ios::binary);
        for (const auto& [section, entries] : sections) {
            stream << '[' << section << "]\n";
            for (const auto& [key, value] : entries) {
                stream << key << '=' << value << '\n';
            }
        }
    }
    fs::rename(draft, file);
}
