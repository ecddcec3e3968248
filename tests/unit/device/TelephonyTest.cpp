// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <telephony.h>

#include <array>

#include "tests/unit/device/DeviceDesk.h"

namespace {

class Telephony : public DeviceDesk {
protected:
    ~Telephony() override {
        if (list.handle != nullptr) {
            telephony_deinit(&list);
        }
    }

    void Initialize(unsigned count) {
        ASSERT_EQ(telephony_init(&list), TELEPHONY_ERROR_NONE);
        ASSERT_EQ(list.count, count);
    }

    // The text, or the code of the failure.
    static std::string Ask(int (*getter)(telephony_h, char**), telephony_h handle) {
        char* text = nullptr;
        const int result = getter(handle, &text);
        const std::string answer = result == 0 ? text : std::to_string(result);
        free(text);
        return answer;
    }

    telephony_handle_list_s list = {};
};

constexpr char TwoSims[] =
    "[sim 0]\nmcc=262\nmnc=01\nimei=350000000000006\n[sim "
    "1]\nmcc=310\nmnc=410\nimei=350000000000014\nroaming=true\n";

}  // namespace

TEST_F(Telephony, HasNoSimOnAPlainDevice) {
    Initialize(0);
}

TEST_F(Telephony, AnswersForEachSim) {
    Configure(TwoSims);
    Initialize(2);
    EXPECT_EQ(Ask(telephony_network_get_mcc, list.handle[0]), "262");
    EXPECT_EQ(Ask(telephony_network_get_mnc, list.handle[0]), "01");
    EXPECT_EQ(Ask(telephony_modem_get_imei, list.handle[0]), "350000000000006");
    EXPECT_EQ(Ask(telephony_network_get_mcc, list.handle[1]), "310");
    EXPECT_EQ(Ask(telephony_network_get_mnc, list.handle[1]), "410");
    EXPECT_EQ(Ask(telephony_modem_get_imei, list.handle[1]), "350000000000014");
    bool roaming = true;
    EXPECT_EQ(telephony_network_get_roaming_status(list.handle[0], &roaming), TELEPHONY_ERROR_NONE);
    EXPECT_FALSE(roaming);
    EXPECT_EQ(telephony_network_get_roaming_status(list.handle[1], &roaming), TELEPHONY_ERROR_NONE);
    EXPECT_TRUE(roaming);
}

TEST_F(Telephony, HasNoNetworkInAnEmptySlotButItsImei) {
    Configure("[sim 0]\nimei=350000000000006\n[sim 1]\nmcc=262\nmnc=01\n");
    Initialize(2);
    const std::string notAvailable = std::to_string(TELEPHONY_ERROR_SIM_NOT_AVAILABLE);
    bool roaming = true;
    EXPECT_EQ(Ask(telephony_network_get_mcc, list.handle[0]), notAvailable);
    EXPECT_EQ(Ask(telephony_network_get_mnc, list.handle[0]), notAvailable);
    EXPECT_EQ(
        telephony_network_get_roaming_status(list.handle[0], &roaming), TELEPHONY_ERROR_SIM_NOT_AVAILABLE);
    EXPECT_EQ(Ask(telephony_modem_get_imei, list.handle[0]), "350000000000006");
    EXPECT_EQ(
        Ask(telephony_modem_get_imei, list.handle[1]), std::to_string(TELEPHONY_ERROR_OPERATION_FAILED));
}

TEST_F(Telephony, LosesASimThatIsTakenOutMeanwhile) {
    Configure(TwoSims);
    Initialize(2);
    Configure("[sim 0]\nmcc=262\n");
    EXPECT_EQ(
        Ask(telephony_network_get_mcc, list.handle[1]), std::to_string(TELEPHONY_ERROR_SIM_NOT_AVAILABLE));
}

TEST_F(Telephony, TakesBackWhatItGaveOut) {
    Configure(TwoSims);
    Initialize(2);
    EXPECT_EQ(Device::OpenHandles(), 2U);
    const telephony_h stale = list.handle[0];
    ASSERT_EQ(telephony_deinit(&list), TELEPHONY_ERROR_NONE);
    EXPECT_EQ(list.handle, nullptr);
    EXPECT_EQ(Device::OpenHandles(), 0U);
    EXPECT_EQ(Ask(telephony_network_get_mcc, stale), std::to_string(TELEPHONY_ERROR_INVALID_PARAMETER));
    EXPECT_EQ(telephony_deinit(&list), TELEPHONY_ERROR_INVALID_PARAMETER);
}

TEST_F(Telephony, RefusesAListThatIsNotItsOwn) {
    std::array<telephony_h, 2> handles = {};
    telephony_handle_list_s foreign = {2, handles.data()};
    EXPECT_EQ(telephony_deinit(&foreign), TELEPHONY_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(telephony_deinit(nullptr), TELEPHONY_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(telephony_init(nullptr), TELEPHONY_ERROR_INVALID_PARAMETER);
}

TEST_F(Telephony, TakesEverythingBackThoughTheCallerSpoiledTheList) {
    Configure(TwoSims);
    Initialize(2);
    list.handle[0] = nullptr;
    list.count = 17;
    EXPECT_EQ(telephony_deinit(&list), TELEPHONY_ERROR_NONE);
    EXPECT_EQ(Device::OpenHandles(), 0U);
}
