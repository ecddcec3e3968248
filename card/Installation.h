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
    MemoryLimits memory;
    MemoryLimits volatileMemory;
    Bytes implicitSelection;  // a byte for each parameter
};

struct UpdateParameters {
    Bytes implicitSelection;
    std::optional<std::uint8_t> restriction;  // of what may still be managed
};

// 11.5.2.3.7. Tags that are not known are passed over.
[[nodiscard]] LoadParameters ReadLoadParameters(const Bytes& parameters);

// The application's own parameters have to be there. Those for implicit selection belong to what makes
// selectable.
[[nodiscard]] InstallParameters ReadInstallParameters(const Bytes& parameters, bool selectable);

// Those of [for make selectable].
[[nodiscard]] Bytes ReadSelectionParameters(const Bytes& parameters);

// Those of [for registry update].
[[nodiscard]] UpdateParameters ReadUpdateParameters(const Bytes& parameters);

// What a security domain, or another application, may have on this card; of others it could honour nothing.
[[nodiscard]] std::uint32_t PossiblePrivileges(bool domain);

// The privileges of a field of one or three bytes, when they go together, 6.6.2. Where one byte leaves the
// others out, a domain has trusted path.
[[nodiscard]] Bytes ReadPrivileges(const Bytes& field, bool domain);

// Only the issuer domain gives away card reset and final application, and has them back before another gets
// them; 6.6.2.
void RequireSingleHolder(const CardContent& content, const Application& application);

// Makes the application, which may be in the content already, selectable.
void MakeSelectable(const CardContent& content, Application& application, const Bytes& implicitSelection);

// Registers for implicit selection where the issuer domain is selected by itself until then, 6.4.1; the
// parameters add up.
void AddImplicitSelection(const CardContent& content, Application& application, const Bytes& parameters);

// Whether the application is registered for implicit selection on this logical channel, through the
// contacts; 6.4.1.
[[nodiscard]] bool IsSelectedImplicitly(const Application& application, std::uint8_t logicalChannel);

}  // namespace Card
