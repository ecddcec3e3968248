// SPDX-License-Identifier: Apache-2.0
// Every location that the service fixes. NAVO_SYSROOT is empty on a device; a developer's build puts a
// folder in front of all of them.
#pragma once

namespace Locations {

// Whether this build runs on a device, and not on a developer's desk.
constexpr bool AreTheDevices = sizeof NAVO_SYSROOT == 1;

// Holds gschemas.compiled with the schema of the stored server address.
constexpr char SchemaDirectory[] = NAVO_SYSROOT "/usr/apps/com.orvenco.navoa/shared/res/gsettings";

// GLib key file with the stored server address.
constexpr char SettingsFile[] = NAVO_SYSROOT "/opt/usr/data/com.orvenco.navoa/.pref/tuvo";

// One cookie file for each client, in Netscape format.
constexpr char CookieDirectory[] = NAVO_SYSROOT "/tmp/com.orvenco.navoa/.ssid";

// The maker's in-house libraries, loaded at run time.
constexpr char SecureSpiLibrary[] = NAVO_SYSROOT "/usr/lib/liborv_sem.so";
constexpr char KeyProvisioningLibrary[] = NAVO_SYSROOT "/usr/lib/liborv_dalm.so";

}  // namespace Locations
