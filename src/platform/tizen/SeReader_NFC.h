// SPDX-License-Identifier: Apache-2.0
// The secure-element reader over the platform's NFC manager.
#pragma once

#include <cstdint>
#include <string>

#include "app/SeReader.h"

namespace Tizen23 {

class SeReaderNfc : public Na::ISeReader {
public:
    SeReaderNfc() = default;
    ~SeReaderNfc() override;
    SeReaderNfc(const SeReaderNfc&) = delete;
    SeReaderNfc& operator=(const SeReaderNfc&) = delete;

    // Chooses the element for the kind and probes it by opening and closing it once.
    bool Initialize(int kind);

    bool IsPresent() override;
    bool IsReady() override { return true; }
    bool Open() override;
    void Close() override;
    Na::Bytes Apdu(const Na::Bytes& command) override;
    std::string GetAtr() override { return atr; }

private:
    void ReadAtr();

    std::uint32_t openCount = 0;  // successful Opens without a Close
    std::string atr;              // of the last real open
    void* handle = nullptr;       // the platform's channel; null while closed
    int seType = 1;               // the platform's number of the element
};

// Brings the NFC manager up and takes it down again. The program has exactly one, set up before main.
class _NFC_MANAGER_LIFECYCLE {
public:
    _NFC_MANAGER_LIFECYCLE();
    ~_NFC_MANAGER_LIFECYCLE();
    _NFC_MANAGER_LIFECYCLE(const _NFC_MANAGER_LIFECYCLE&) = delete;
    _NFC_MANAGER_LIFECYCLE& operator=(const _NFC_MANAGER_LIFECYCLE&) = delete;
};

}  // namespace Tizen23
