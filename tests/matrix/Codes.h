// SPDX-License-Identifier: Apache-2.0
// Failure codes of the platform's modules as the virtual device's configuration names them.
#pragma once

#include <string>
#include <vector>

namespace Matrix {

using Codes = std::vector<std::string>;

// Codes of no module: what a caller that tells some apart has to take for any other. The last is the smallest
// of all numbers.
const Codes& ForeignCodes();

const Codes& NfcCodes();  // without those that refuse access
const Codes& NfcAccessCodes();
const Codes& ConnectionCodes();
const Codes& TelephonyCodes();
const Codes& SettingsCodes();
const Codes& SystemInfoCodes();
const Codes& VconfCodes();
const Codes& PackageInfoCodes();
const Codes& CertificateCodes();  // where 1 is the success

// The code with which a function claims to have done what it has not.
const Codes& EmptySuccess();
const Codes& EmptyCertificateSuccess();

Codes Joined(Codes first, const Codes& second);

}  // namespace Matrix
