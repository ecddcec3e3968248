// SPDX-License-Identifier: Apache-2.0
// Keys that STORE DATA brings: what DGI 00B9 announces, and the groups behind it with the values;
// GlobalPlatform Card 2.3.1, 11.11.4.
#pragma once

#include <map>

#include "card/KeyChange.h"

namespace Card {

// One template for each component: of a symmetric key the only one, of RSA and ECC those of a key behind each
// other.
[[nodiscard]] std::vector<KeyTemplate> ReadKeyTemplates(const Bytes& value);

// The group that brings the value of such a component; nothing for one that the template tells itself.
[[nodiscard]] std::optional<std::uint32_t> ValueGroup(const KeyTemplate& announced);

// The keys of templates and their values, by version. Secrets are encrypted. Throws a Refusal when templates
// and values do not agree.
[[nodiscard]] std::map<std::uint8_t, Keys> KeysOf(
    const std::vector<KeyTemplate>& announced, const std::vector<Bytes>& values,
    const Bytes& dataEncryptionKey);

}  // namespace Card
