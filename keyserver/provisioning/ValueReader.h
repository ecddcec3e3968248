// SPDX-License-Identifier: Apache-2.0
// Binary values of a catalogue, in hexadecimal text. All of it throws ScriptError.
#pragma once

#include "globalplatform/Bytes.h"
#include "keyserver/service/Reading.h"

namespace KeyServer {

using GlobalPlatform::Bytes;

[[nodiscard]] Bytes ReadHex(const Place& place, std::size_t least, std::size_t most);
[[nodiscard]] std::uint8_t ReadByte(const Place& place);
[[nodiscard]] Bytes ReadAid(const Place& place);

}  // namespace KeyServer
