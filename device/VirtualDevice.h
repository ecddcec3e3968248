// SPDX-License-Identifier: Apache-2.0
// The virtual device as seen from inside its own process, for tests. What the device is stands in its
// configuration file; here is what happened to it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "device/element/Exchange.h"

namespace Device {

enum class Element { Embedded, Uicc };

// The file that describes the device at the moment: NAVO_DEVICE_CONF, else the default location.
[[nodiscard]] std::string ConfigurationPath();

// What the device could not follow in its configuration, as "path:line: [section] key: problem".
[[nodiscard]] std::vector<std::string> ConfigurationMistakes();

// Calls of a platform function since its configuration was read, those that a fault answered included. The
// secure-element calls go by either name.
[[nodiscard]] std::uint64_t Calls(const std::string& function);

// Handles that were given out and not yet given back: channels, connections, SIM slots, certificate and
// package information, instances of the certificate service.
[[nodiscard]] std::size_t OpenHandles();

// What went over the element's channel since the configuration was read; at most the last 65536 exchanges and
// the last 64 MiB of text. Exchanges that a fault kept from the card are not among them.
[[nodiscard]] std::vector<Exchange> Exchanges(Element element = Element::Embedded);

// How many exchanges there were, whether or not they are still kept.
[[nodiscard]] std::uint64_t ExchangeCount(Element element = Element::Embedded);

void ForgetExchanges(Element element = Element::Embedded);

}  // namespace Device
