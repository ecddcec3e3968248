// SPDX-License-Identifier: Apache-2.0
#include "device/element/TransportZero.h"

#include <nfc.h>

#include "device/recording/ElementFailure.h"
#include "globalplatform/CommandApdu.h"

namespace Device {

namespace {

constexpr std::size_t MostData = 255;
constexpr std::size_t MostExpected = 256;

Bytes Header(const GlobalPlatform::CommandApdu& apdu) {
    return {apdu.cla, apdu.ins, apdu.p1, apdu.p2};
}

}  // namespace

Bytes TransportCommand(const Bytes& command) {
    const std::optional<GlobalPlatform::CommandApdu> apdu = GlobalPlatform::ParseCommand(command);
    if (!apdu) {
        return command;
    }
    if (apdu->data.size() > MostData) {
        throw ElementFailure(
            NFC_ERROR_NOT_SUPPORTED, "the card speaks T=0, which carries at most 255 bytes of data, not " +
                                         std::to_string(apdu->data.size()));
    }
    Bytes transported = Header(*apdu);
    if (!apdu->data.empty()) {
        // 12.2.4 and 12.2.5: the expected length stays behind; the card announces its answer.
        transported.push_back(static_cast<std::uint8_t>(apdu->data.size()));
        Append(transported, apdu->data);
    } else {
        // 12.2.2: no data at all is a length of zero. 12.2.3 and 12.2.7: a zero asks for 256 bytes, and for
        // more.
        const std::size_t expected = apdu->expectedLength.value_or(0);
        transported.push_back(expected < MostExpected ? static_cast<std::uint8_t>(expected) : 0);
    }
    return transported;
}

}  // namespace Device
