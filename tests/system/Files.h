// SPDX-License-Identifier: Apache-2.0
// What the project ships for the system around the service, and how it is filled in.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

// A file of the folder data/.
std::string ShippedFile(const std::string& name);

// One that names the program's folder.
std::string ShippedFile(const std::string& name, const std::string& programFolder);

// The drop-in for devices with every line in force that is offered.
std::string DropInWithEverything();

// With the policies of a folder.
std::string SystemBusConfiguration(const std::filesystem::path& policies);

// What the device makers' page says to write to open the service to the group "secure-element".
std::string PolicyOfThePage();

// Whether the program is on the test's search path.
bool IsInstalled(const std::string& program);
