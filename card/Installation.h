// SPDX-License-Identifier: Apache-2.0
// What INSTALL asks for in its privileges and parameters, and what the card makes of it. Clauses are those of
// GlobalPlatform Card 2.3.1. What cannot be is refused.
#pragma once

#include "card/Runtime.h"

namespace Card {

struct LoadParameters {
    std::uint64_t memory = 0;  // code and data, which are one here
    std::uint64_t volatileMemory = 0;
};

struct InstallParameters {
    std::uint64_t reservedMemory = 0;
    std::uint64_t reservedVolatileMemory = 0;
    Bytes implicitSelection;  // a byte for each parameter
};

// 11.5.2.3.7. Tags that are not known are passed over.
[[nodiscard]] LoadParameters ReadLoadParameters(const Bytes& parameters);

// The application's own parameters have to be there. Those for implicit selection belong to what makes
// selectable.
[[nodiscard]] InstallParameters ReadInstallParameters(const Bytes& parameters, bool selectable);

// Those of [for make selectable].
[[nodiscard]] Bytes ReadSelectionParameters(const Bytes& parameters);

// The privileges of an application that is installed. It can have card reset, and only with what makes it
// selectable, 11.5.2.3.2; others that the card could not honour are refused.
[[nodiscard]] Bytes ApplicationPrivileges(const Bytes& field, bool selectable);

// Makes the application, which may be in the content already, selectable. Only the issuer domain gives away
// card reset, 6.6.2, and the channels on which it is selected by itself, 6.4.1.
void MakeSelectable(const CardContent& content, Application& application, const Bytes& implicitSelection);

// Whether the application is registered for implicit selection on this logical channel, through the
// contacts; 6.4.1.
[[nodiscard]] bool IsSelectedImplicitly(const Application& application, std::uint8_t logicalChannel);

}  // namespace Card
