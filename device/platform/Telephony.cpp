// SPDX-License-Identifier: Apache-2.0
#include <telephony.h>

#include <map>
#include <mutex>

#include "device/gate/Gate.h"
#include "device/gate/HandleTable.h"
#include "device/gate/Permanent.h"
#include "device/platform/CText.h"

using Device::Call;
using Device::Configuration;
using Device::Sim;

namespace {

Device::HandleTable<std::size_t>& Slots() {
    static auto& table = Device::Permanent<Device::HandleTable<std::size_t>>();
    return table;
}

// The handles that each telephony_init gave out, by the array it filled: the array itself is the caller's to
// spoil.
class Lists {
public:
    void Add(telephony_h* array, std::vector<telephony_h> handles) {
        const std::lock_guard<std::mutex> lock(mutex);
        lists[array] = std::move(handles);
    }

    std::optional<std::vector<telephony_h>> Remove(telephony_h* array) {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto found = lists.find(array);
        if (found == lists.end()) {
            return std::nullopt;
        }
        std::vector<telephony_h> handles = std::move(found->second);
        lists.erase(found);
        return handles;
    }

private:
    std::mutex mutex;
    std::map<telephony_h*, std::vector<telephony_h>> lists;
};

Lists& TheLists() {
    static Lists& lists = Device::Permanent<Lists>();
    return lists;
}

// Answers `*output` for the SIM behind the handle; `answer` gives the code.
template <typename Output, typename GiveAnswer>
int Ask(const char* function, telephony_h handle, Output* output, GiveAnswer answer) {
    return Call(function, TELEPHONY_ERROR_OPERATION_FAILED, [&](const Configuration& device) -> int {
        const std::shared_ptr<std::size_t> slot = Slots().Find(handle);
        if (!slot || output == nullptr) {
            return TELEPHONY_ERROR_INVALID_PARAMETER;
        }
        return *slot < device.sims.size() ? answer(device.sims[*slot]) : TELEPHONY_ERROR_SIM_NOT_AVAILABLE;
    });
}

// The network knows nothing of a slot without a SIM.
template <typename GiveAnswer>
int OnNetwork(const Sim& sim, GiveAnswer answer) {
    if (sim.mcc.empty()) {
        return TELEPHONY_ERROR_SIM_NOT_AVAILABLE;
    }
    answer();
    return TELEPHONY_ERROR_NONE;
}

}  // namespace

int telephony_init(telephony_handle_list_s* list) {
    return Call("telephony_init", TELEPHONY_ERROR_OPERATION_FAILED, [&](const Configuration& device) -> int {
        if (list == nullptr) {
            return TELEPHONY_ERROR_INVALID_PARAMETER;
        }
        const std::size_t count = device.sims.size();
        auto* array = static_cast<telephony_h*>(std::calloc(count + 1, sizeof(telephony_h)));
        if (array == nullptr) {
            return TELEPHONY_ERROR_OUT_OF_MEMORY;
        }
        for (std::size_t slot = 0; slot < count; ++slot) {
            array[slot] = static_cast<telephony_h>(Slots().Add(std::make_shared<std::size_t>(slot)));
        }
        TheLists().Add(array, std::vector<telephony_h>(array, array + count));
        list->count = static_cast<unsigned>(count);
        list->handle = array;
        return TELEPHONY_ERROR_NONE;
    });
}

int telephony_deinit(telephony_handle_list_s* list) {
    return Device::Release("telephony_deinit", TELEPHONY_ERROR_OPERATION_FAILED, [&]() -> int {
        if (list == nullptr) {
            return TELEPHONY_ERROR_INVALID_PARAMETER;
        }
        const std::optional<std::vector<telephony_h>> handles = TheLists().Remove(list->handle);
        if (!handles) {
            return TELEPHONY_ERROR_INVALID_PARAMETER;
        }
        for (const telephony_h handle : *handles) {
            Slots().Remove(handle);
        }
        std::free(list->handle);
        list->handle = nullptr;
        list->count = 0;
        return TELEPHONY_ERROR_NONE;
    });
}

int telephony_network_get_mcc(telephony_h handle, char** mcc) {
    return Ask("telephony_network_get_mcc", handle, mcc, [&](const Sim& sim) {
        return OnNetwork(sim, [&] { *mcc = Device::NewText(sim.mcc); });
    });
}

int telephony_network_get_mnc(telephony_h handle, char** mnc) {
    return Ask("telephony_network_get_mnc", handle, mnc, [&](const Sim& sim) {
        return OnNetwork(sim, [&] { *mnc = Device::NewText(sim.mnc); });
    });
}

int telephony_network_get_roaming_status(telephony_h handle, bool* status) {
    return Ask("telephony_network_get_roaming_status", handle, status, [&](const Sim& sim) {
        return OnNetwork(sim, [&] { *status = sim.roaming; });
    });
}

int telephony_modem_get_imei(telephony_h handle, char** imei) {
    return Ask("telephony_modem_get_imei", handle, imei, [&](const Sim& sim) -> int {
        if (sim.imei.empty()) {
            return TELEPHONY_ERROR_OPERATION_FAILED;
        }
        *imei = Device::NewText(sim.imei);
        return TELEPHONY_ERROR_NONE;
    });
}
