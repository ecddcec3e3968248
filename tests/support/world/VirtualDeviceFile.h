// SPDX-License-Identifier: Apache-2.0
// The virtual device's configuration file, in the words of what a person does to a device. Each change is on
// the disk when the call returns and holds from the service's next platform call on.
#pragma once

#include <filesystem>
#include <map>
#include <string>

enum class Privilege { Regular, Platform };

class VirtualDeviceFile {
public:
    // An ordinary device: secure element present, Wi-Fi connected, one SIM.
    explicit VirtualDeviceFile(std::filesystem::path configuration);

    const std::filesystem::path& Path() const { return file; }

    void UnplugNetwork();
    void UseProxy(const std::string& address);
    void TrustCertificatesOf(const std::filesystem::path& certificates);

    void RemoveSecureElement();
    // Answers as the device's manual writes them: "6A82", "9000*2, card".
    void LetCardAnswer(const std::string& command, const std::string& answers);
    void SetFreeMemory(unsigned long bytes);
    void SetCplc(const std::string& bytes);

    // Makes a platform function return `result`; the name of an error or a number.
    void Break(const std::string& function, const std::string& result, unsigned from = 1);
    void Repair(const std::string& function);

    // Processes that run `executable` belong to the package from now on.
    void Install(const std::string& package, const std::filesystem::path& executable, Privilege privilege);

    // A process whose environment has NAVO_PACKAGE is that package.
    void Install(const std::string& package, Privilege privilege);

    void Set(const std::string& section, const std::string& key, const std::string& value);

    // The section [card] with these keys and nothing else.
    void SetCard(const std::map<std::string, std::string>& entries);

private:
    void Save() const;

    std::filesystem::path file;
    std::map<std::string, std::map<std::string, std::string>> sections;
};
