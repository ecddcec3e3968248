// SPDX-License-Identifier: Apache-2.0
// Reading of command data; what is not so is wrong data (6A80).
#pragma once

#include "card/Runtime.h"
#include "globalplatform/Tlv.h"

namespace Card {

// The fields of INSTALL, exactly `count`: each has its length in front, the last two, parameters and token,
// of one to three bytes; 11.5.2.3.
[[nodiscard]] std::vector<Bytes> Fields(const Bytes& data, std::size_t count);

[[nodiscard]] std::vector<TlvObject> Objects(const Bytes& data);

// The value of `tag` among the objects, or nothing.
[[nodiscard]] const Bytes* FindObject(const std::vector<TlvObject>& objects, std::uint32_t tag);

// Fields that a form of the command leaves out are there, and empty.
void RequireEmpty(const std::vector<Bytes>& fields, std::initializer_list<std::size_t> which);

// A domain that manages content by its own authority gets no token; 9.1.3.2.
void RefuseToken(const Bytes& token);

// Privileges of 1 or 3 bytes, in 3; 11.1.2. Those that one byte leaves out are none.
[[nodiscard]] Bytes Privileges(const Bytes& field);

}  // namespace Card
