// SPDX-License-Identifier: Apache-2.0
#include <pkgmgr-info.h>

#include <mutex>

#include "device/gate/Gate.h"
#include "device/gate/HandleTable.h"
#include "device/gate/Permanent.h"

using Device::Call;
using Device::Configuration;
using Device::Package;

namespace {

// What was read of a package, kept as it was then: texts that were handed out live here.
struct Record {
    std::optional<Package> package;
};

Device::HandleTable<Record>& CertificateRecords() {
    static auto& table = Device::Permanent<Device::HandleTable<Record>>();
    return table;
}

Device::HandleTable<Record>& PackageRecords() {
    static auto& table = Device::Permanent<Device::HandleTable<Record>>();
    return table;
}

int Destroy(const char* function, Device::HandleTable<Record>& table, void* handle) {
    return Device::Release(function, PMINFO_R_ERROR, [&]() -> int {
        return table.Remove(handle) ? PMINFO_R_OK : PMINFO_R_EINVAL;
    });
}

}  // namespace

int pkgmgrinfo_pkginfo_create_certinfo(pkgmgrinfo_certinfo_h* handle) {
    return Call("pkgmgrinfo_pkginfo_create_certinfo", PMINFO_R_ERROR, [&](const Configuration&) -> int {
        if (handle == nullptr) {
            return PMINFO_R_EINVAL;
        }
        *handle = CertificateRecords().Add(std::make_shared<Record>());
        return PMINFO_R_OK;
    });
}

int pkgmgrinfo_pkginfo_load_certinfo(const char* pkgid, pkgmgrinfo_certinfo_h handle) {
    return Call("pkgmgrinfo_pkginfo_load_certinfo", PMINFO_R_ERROR, [&](const Configuration& device) -> int {
        const std::shared_ptr<Record> record = CertificateRecords().Find(handle);
        if (!record || pkgid == nullptr || *pkgid == '\0') {
            return PMINFO_R_EINVAL;
        }
        const auto package = device.packages.find(pkgid);
        if (package == device.packages.end()) {
            return PMINFO_R_ERROR;
        }
        record->package = package->second;
        return PMINFO_R_OK;
    });
}

// A certificate that the package does not have is a null value. Only the distributor's root is described.
int pkgmgrinfo_pkginfo_get_cert_value(
    pkgmgrinfo_certinfo_h handle, pkgmgrinfo_cert_type cert_type, const char** cert_value) {
    return Call("pkgmgrinfo_pkginfo_get_cert_value", PMINFO_R_ERROR, [&](const Configuration&) -> int {
        const std::shared_ptr<Record> record = CertificateRecords().Find(handle);
        if (!record || cert_value == nullptr || cert_type < PMINFO_AUTHOR_ROOT_CERT ||
            cert_type > PMINFO_DISTRIBUTOR2_SIGNER_CERT) {
            return PMINFO_R_EINVAL;
        }
        if (!record->package) {
            return PMINFO_R_ERROR;
        }
        const std::optional<std::string>& root = record->package->distributorRoot;
        *cert_value = cert_type == PMINFO_DISTRIBUTOR_ROOT_CERT && root ? root->c_str() : nullptr;
        return PMINFO_R_OK;
    });
}

int pkgmgrinfo_pkginfo_destroy_certinfo(pkgmgrinfo_certinfo_h handle) {
    return Destroy("pkgmgrinfo_pkginfo_destroy_certinfo", CertificateRecords(), handle);
}

int pkgmgrinfo_pkginfo_get_pkginfo(const char* pkgid, pkgmgrinfo_pkginfo_h* handle) {
    return Call("pkgmgrinfo_pkginfo_get_pkginfo", PMINFO_R_ERROR, [&](const Configuration& device) -> int {
        if (pkgid == nullptr || *pkgid == '\0' || handle == nullptr) {
            return PMINFO_R_EINVAL;
        }
        const auto package = device.packages.find(pkgid);
        if (package == device.packages.end()) {
            return PMINFO_R_ERROR;
        }
        *handle = PackageRecords().Add(std::make_shared<Record>(Record{package->second}));
        return PMINFO_R_OK;
    });
}

// The text belongs to the handle, although its type would let the caller write to it.
int pkgmgrinfo_pkginfo_get_version(pkgmgrinfo_pkginfo_h handle, char** version) {
    return Call("pkgmgrinfo_pkginfo_get_version", PMINFO_R_ERROR, [&](const Configuration&) -> int {
        const std::shared_ptr<Record> record = PackageRecords().Find(handle);
        if (!record || version == nullptr) {
            return PMINFO_R_EINVAL;
        }
        std::optional<std::string>& text = record->package->version;
        if (!text) {
            return PMINFO_R_ERROR;
        }
        *version = text->data();
        return PMINFO_R_OK;
    });
}

int pkgmgrinfo_pkginfo_destroy_pkginfo(pkgmgrinfo_pkginfo_h handle) {
    return Destroy("pkgmgrinfo_pkginfo_destroy_pkginfo", PackageRecords(), handle);
}
