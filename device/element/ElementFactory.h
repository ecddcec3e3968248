// SPDX-License-Identifier: Apache-2.0
// Makes the secure element that the device's file asks for.
#pragma once

#include <memory>

#include "device/element/SecureElement.h"

namespace Device {

// The element behind the back-end that the settings choose.
[[nodiscard]] std::unique_ptr<SecureElement> MakeSecureElement(const CardSettings& settings);

// Whether an element that was made with some settings can go on with others.
[[nodiscard]] bool SuitsSameElement(const CardSettings& made, const CardSettings& wanted);

}  // namespace Device
