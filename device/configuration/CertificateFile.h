// SPDX-License-Identifier: Apache-2.0
// Certificates in files and in memory.
#pragma once

#include <string>

#include "device/names/Bytes.h"

namespace Device {

// Base64 text, without armour or line breaks, of the DER form of the first certificate of a PEM file. Throws
// BadValue when there is none.
[[nodiscard]] std::string CertificateText(const std::string& path);

// The path itself, if it is a PEM file with at least one certificate. Throws BadValue otherwise.
[[nodiscard]] std::string TrustStoreFile(const std::string& path);

// Upper-case SHA-256 fingerprint of a certificate in DER form; empty when it is none, or more than one.
[[nodiscard]] std::string Fingerprint(const Bytes& der);

// Nothing but base64 digits and padding is accepted; empty otherwise.
[[nodiscard]] Bytes FromBase64(const std::string& text);

}  // namespace Device
