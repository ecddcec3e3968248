// SPDX-License-Identifier: Apache-2.0
#include <cert-svc/ccert.h>
#include <cert-svc/cinstance.h>

#include <map>
#include <mutex>

#include "device/configuration/CertificateFile.h"
#include "device/gate/Gate.h"
#include "device/gate/HandleTable.h"
#include "device/gate/Permanent.h"

using Device::Bytes;
using Device::Call;
using Device::Configuration;
using Device::OnBrokenDevice;
using Device::Pass;

namespace {

// Owns the certificates that were made from it; each is known by its fingerprint.
class Instance {
public:
    int Add(const std::string& fingerprint) {
        const std::lock_guard<std::mutex> lock(mutex);
        certificates.emplace(++last, fingerprint);
        return last;
    }

    std::optional<std::string> Find(int number) {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto found = certificates.find(number);
        return found == certificates.end() ? std::nullopt : std::optional<std::string>(found->second);
    }

    void Remove(int number) {
        const std::lock_guard<std::mutex> lock(mutex);
        certificates.erase(number);
    }

private:
    std::mutex mutex;
    std::map<int, std::string> certificates;
    int last = 0;
};

Device::HandleTable<Instance>& Instances() {
    static auto& table = Device::Permanent<Device::HandleTable<Instance>>();
    return table;
}

Bytes DerOf(const unsigned char* memory, int length, CertSvcCertificateForm form) {
    if (form == CERTSVC_FORM_DER) {
        return Bytes(memory, memory + length);
    }
    return Device::FromBase64(
        std::string(reinterpret_cast<const char*>(memory), static_cast<std::size_t>(length)));
}

// A function without a result: with a fault it does nothing.
template <typename Body>
void Free(const char* function, Body body) {
    Pass(
        function, OnBrokenDevice::Works, 0, [](int fault) { return fault; },
        [&](const Configuration&) {
            body();
            return 0;
        });
}

}  // namespace

int certsvc_instance_new(CertSvcInstance* instance) {
    return Call("certsvc_instance_new", CERTSVC_FAIL, [&](const Configuration&) -> int {
        if (instance == nullptr) {
            return CERTSVC_WRONG_ARGUMENT;
        }
        instance->privatePtr = Instances().Add(std::make_shared<Instance>());
        return CERTSVC_SUCCESS;
    });
}

void certsvc_instance_free(CertSvcInstance instance) {
    Free("certsvc_instance_free", [&] { Instances().Remove(instance.privatePtr); });
}

int certsvc_certificate_new_from_memory(
    CertSvcInstance instance, const unsigned char* memory, int len, CertSvcCertificateForm form,
    CertSvcCertificate* certificate) {
    return Call("certsvc_certificate_new_from_memory", CERTSVC_FAIL, [&](const Configuration&) -> int {
        const std::shared_ptr<Instance> owner = Instances().Find(instance.privatePtr);
        if (!owner || memory == nullptr || len <= 0 || certificate == nullptr ||
            (form != CERTSVC_FORM_DER && form != CERTSVC_FORM_DER_BASE64)) {
            return CERTSVC_WRONG_ARGUMENT;
        }
        const std::string fingerprint = Device::Fingerprint(DerOf(memory, len, form));
        if (fingerprint.empty()) {
            return CERTSVC_FAIL;
        }
        *certificate = CertSvcCertificate{owner->Add(fingerprint), instance};
        return CERTSVC_SUCCESS;
    });
}

void certsvc_certificate_free(CertSvcCertificate certificate) {
    Free("certsvc_certificate_free", [&] {
        if (const std::shared_ptr<Instance> owner =
                Instances().Find(certificate.privateInstance.privatePtr)) {
            owner->Remove(certificate.privateHandler);
        }
    });
}

// A root that the device does not list grants nothing and fails.
int certsvc_certificate_get_visibility(CertSvcCertificate certificate, int* visibility) {
    return Call("certsvc_certificate_get_visibility", CERTSVC_FAIL, [&](const Configuration& device) -> int {
        const std::shared_ptr<Instance> owner = Instances().Find(certificate.privateInstance.privatePtr);
        const std::optional<std::string> fingerprint =
            owner ? owner->Find(certificate.privateHandler) : std::nullopt;
        if (!fingerprint || visibility == nullptr) {
            return CERTSVC_WRONG_ARGUMENT;
        }
        const auto listed = device.visibilities.find(*fingerprint);
        if (listed == device.visibilities.end()) {
            return CERTSVC_FAIL;
        }
        *visibility = listed->second;
        return CERTSVC_SUCCESS;
    });
}
