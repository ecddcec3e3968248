// SPDX-License-Identifier: Apache-2.0
// The packed list of APDUs that the secure-SPI library makes of a script: four bytes of length that the
// library reports, then what it leaves in the buffer.
#include <algorithm>

#include "app/Lccm.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/ServiceWorld.h"

namespace {

constexpr std::size_t LongestRecord = 257;

std::string& Converted() {
    static std::string bytes;
    return bytes;
}

std::int32_t& ReportedLength() {
    static std::int32_t length = 0;
    return length;
}

int Accept() {
    return 1;
}

// The library converts in place and never gives more than it was given.
int Convert(unsigned char* buffer, std::int32_t* length) {
    const std::size_t room = std::min(Converted().size(), static_cast<std::size_t>(std::max(*length, 0)));
    std::copy(Converted().begin(), Converted().begin() + static_cast<std::ptrdiff_t>(room), buffer);
    *length = ReportedLength();
    return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ServiceWorld();
    FuzzInput input(data, size);
    ReportedLength() = static_cast<std::int32_t>(input.Number(4));
    Converted() = input.Rest();
    const Na::Lccm::LibraryState library = {nullptr, Accept, Accept, Convert};
    std::vector<std::string> apdus;
    Na::Lccm::handleScript(library, Na::Bytes(Converted().size(), 0xA5), apdus);
    std::size_t bytes = 0;
    for (const std::string& apdu : apdus) {
        Require(apdu.size() % 2 == 0, "an APDU is whole bytes");
        bytes += apdu.size() / 2 + 2;
    }
    const auto list = static_cast<std::size_t>(std::max(ReportedLength(), 0));
    Require(
        apdus.empty() || bytes <= list + LongestRecord, "APDUs are taken from the list and its last record");
    return 0;
}
