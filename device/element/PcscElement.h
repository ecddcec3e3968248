// SPDX-License-Identifier: Apache-2.0
// A card in a reader, as a secure element of the device.
#pragma once

#include <memory>

#include "device/element/PcscConnection.h"
#include "device/element/SecureElement.h"
#include "device/recording/ElementFailure.h"

namespace Device {

// Connected from the first channel's open to the last one's close. A card that is lost in between stays lost
// until then: every command fails with the cause of the loss, and the next open begins with a new context.
class PcscElement : public SecureElement {
public:
    explicit PcscElement(ReaderSettings readerSettings);
    ~PcscElement() override;

    Bytes Open() override;
    void Close() noexcept override;
    bool IsLost() const override { return loss.has_value(); }
    Bytes Transmit(const Bytes& command) override;

private:
    void Disconnect() noexcept;

    ReaderSettings settings;
    std::unique_ptr<PcscConnection> connection;
    std::optional<ElementFailure> loss;
};

}  // namespace Device
