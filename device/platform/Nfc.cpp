// SPDX-License-Identifier: Apache-2.0
#include <nfc.h>
#include <nfc_internal.h>
#include <tizen_error.h>

#include <atomic>

#include "device/element/CardSlot.h"
#include "device/gate/Gate.h"
#include "device/gate/HandleTable.h"
#include "device/gate/Permanent.h"
#include "device/platform/CText.h"
#include "device/recording/ElementFailure.h"

using Device::Bytes;
using Device::Call;
using Device::CardSlot;
using Device::Configuration;
using Device::OnBrokenDevice;
using Device::Pass;

namespace {

// A channel to a secure element. Owns the storage of the answer-to-reset that it lends, which ends with a
// zero byte for those who read it as a text.
class Channel {
public:
    Channel(CardSlot& openedSlot, const Configuration& device)
        : slot(openedSlot), opened(openedSlot.Open(device)), atrLength(opened.answerToReset.size()) {
        opened.answerToReset.push_back(0);
    }
    ~Channel() { slot.Close(); }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    CardSlot& slot;
    CardSlot::Opened opened;
    const std::size_t atrLength;
};

Device::HandleTable<Channel>& Channels() {
    static auto& table = Device::Permanent<Device::HandleTable<Channel>>();
    return table;
}

std::atomic<int>& Initializations() {
    static std::atomic<int> count{0};
    return count;
}

int OpenChannel(const Configuration& device, nfc_se_type_e type, nfc_se_h* handle) {
    if (!device.nfcSupported) {
        return NFC_ERROR_NOT_SUPPORTED;
    }
    if (Initializations() == 0) {
        return NFC_ERROR_NOT_INITIALIZED;
    }
    if (handle == nullptr || (type != NFC_SE_TYPE_ESE && type != NFC_SE_TYPE_UICC)) {
        return NFC_ERROR_INVALID_PARAMETER;
    }
    const bool embedded = type == NFC_SE_TYPE_ESE;
    if (!(embedded ? device.embeddedElement : device.uicc).present) {
        return NFC_ERROR_NO_DEVICE;
    }
    CardSlot& slot = embedded ? Device::EmbeddedElementSlot() : Device::UiccSlot();
    *handle = Channels().Add(std::make_shared<Channel>(slot, device));
    return NFC_ERROR_NONE;
}

// A call that reaches a secure element. What fails there has a code of its own.
template <typename Body>
int CallElement(const char* function, Body body) {
    return Call(function, NFC_ERROR_OPERATION_FAILED, [&](const Configuration& device) -> int {
        try {
            return body(device);
        } catch (const Device::ElementFailure& failure) {
            Device::ReportException(function, failure);
            return failure.Code();
        }
    });
}

bool Supported(int code) {
    set_last_result(code);
    return code == NFC_ERROR_NONE;
}

}  // namespace

int nfc_manager_initialize(void) {
    return Call("nfc_manager_initialize", NFC_ERROR_OPERATION_FAILED, [](const Configuration& device) -> int {
        if (!device.nfcSupported) {
            return NFC_ERROR_NOT_SUPPORTED;
        }
        ++Initializations();
        return NFC_ERROR_NONE;
    });
}

int nfc_manager_deinitialize(void) {
    return Device::Release("nfc_manager_deinitialize", NFC_ERROR_OPERATION_FAILED, []() -> int {
        for (int count = Initializations(); count > 0;) {
            if (Initializations().compare_exchange_weak(count, count - 1)) {
                return NFC_ERROR_NONE;
            }
        }
        return NFC_ERROR_OPERATION_FAILED;
    });
}

// A fault of any number means that there is no support; the number is the detailed code.
bool nfc_manager_is_supported(void) {
    return Pass(
        "nfc_manager_is_supported", OnBrokenDevice::Works, false,
        [](int fault) {
            set_last_result(fault);
            return false;
        },
        [](const Configuration& device) {
            const int unsupported = device.nfcSupported ? NFC_ERROR_NONE : NFC_ERROR_NOT_SUPPORTED;
            return Supported(device.Broken() ? NFC_ERROR_OPERATION_FAILED : unsupported);
        });
}

int nfc_se_open_secure_element_internal(nfc_se_type_e se_type, nfc_se_h* handle) {
    return CallElement("nfc_se_open_secure_element", [&](const Configuration& device) {
        return OpenChannel(device, se_type, handle);
    });
}

int nfc_se_send_apdu_internal(
    nfc_se_h handle, unsigned char* cmd, unsigned int cmd_len, unsigned char** resp, unsigned int* resp_len) {
    return CallElement("nfc_se_send_apdu", [&](const Configuration& device) -> int {
        const std::shared_ptr<Channel> channel = Channels().Find(handle);
        if (!channel || (cmd == nullptr && cmd_len > 0) || resp == nullptr || resp_len == nullptr) {
            return NFC_ERROR_INVALID_PARAMETER;
        }
        const Bytes command = cmd_len > 0 ? Bytes(cmd, cmd + cmd_len) : Bytes();
        const Bytes response = channel->slot.Transmit(device, channel->opened.session, command);
        *resp = Device::NewBytes(response);
        *resp_len = static_cast<unsigned>(response.size());
        return NFC_ERROR_NONE;
    });
}

int nfc_se_close_secure_element_internal(nfc_se_h handle) {
    return Device::Release("nfc_se_close_secure_element", NFC_ERROR_OPERATION_FAILED, [&]() -> int {
        return Channels().Remove(handle) ? NFC_ERROR_NONE : NFC_ERROR_INVALID_PARAMETER;
    });
}

int nfc_se_get_atr_internal(nfc_se_h handle, unsigned char** atr, unsigned int* atr_len) {
    return Call("nfc_se_get_atr", NFC_ERROR_OPERATION_FAILED, [&](const Configuration&) -> int {
        const std::shared_ptr<Channel> channel = Channels().Find(handle);
        if (!channel || atr == nullptr || atr_len == nullptr) {
            return NFC_ERROR_INVALID_PARAMETER;
        }
        *atr = channel->opened.answerToReset.data();
        *atr_len = static_cast<unsigned>(channel->atrLength);
        return NFC_ERROR_NONE;
    });
}
