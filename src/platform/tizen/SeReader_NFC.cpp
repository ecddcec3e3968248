// SPDX-License-Identifier: Apache-2.0
#include "platform/tizen/SeReader_NFC.h"

#include <tizen_error.h>

#include "app/ResultCode.h"
#include "common/Debug.h"
#include "common/Owned.h"
#include "common/tizen/Compat.h"

namespace Tizen23 {

using Na::ResultCode;
using Na::SetResultCode;

namespace {

// Embedded element and UICC. Other kinds have none.
constexpr int EmbeddedType = NFC_SE_TYPE_ESE;
constexpr int UiccType = NFC_SE_TYPE_UICC;

// Not every release has a name of its own for a missing permission among the NFC errors; the number is the
// same in all.
bool IsAccessRefused(int error) {
    return error == NFC_ERROR_SECURITY_RESTRICTED || error == NFC_ERROR_NOT_SUPPORTED ||
           error == TIZEN_ERROR_PERMISSION_DENIED;
}

}  // namespace

SeReaderNfc::~SeReaderNfc() {
    openCount = 0;
    if (handle != nullptr) {
        Compat::CloseSecureElement(handle);
        handle = nullptr;
    }
}

bool SeReaderNfc::Initialize(int kind) {
    seType = EmbeddedType;
    if (kind == 2) {
        seType = UiccType;
    } else if (kind != 0 && kind != 1) {
        return false;
    }
    // Through the interface, as every later caller does.
    ISeReader& probe = *this;
    const bool opened = probe.Open();
    probe.Close();
    if (!opened) {
        seType = EmbeddedType;
    }
    return opened;
}

bool SeReaderNfc::IsPresent() {
    const bool supported = nfc_manager_is_supported();
    if (!supported) {
        LogPrint(LogError, LOCATED("NFC stack is not supported on device"));
    }
    return supported;
}

bool SeReaderNfc::Open() {
    SetResultCode(ResultCode::UnknownError);
    LogPrint(LogDebug, LOCATED("Opening SE"));
    if (handle != nullptr) {
        LogPrint(LogDebug, LOCATED("Secure Element is already opened"));
        SetResultCode(ResultCode::ElementOpened);
        ++openCount;
        return true;
    }
    const int error = Compat::OpenSecureElement(static_cast<nfc_se_type_e>(seType), &handle);
    if (error != NFC_ERROR_NONE) {
        handle = nullptr;  // whatever the platform left there is no channel
    }
    if (IsAccessRefused(error)) {
        SetResultCode(ResultCode::ElementRefused);
        return false;
    }
    if (error != NFC_ERROR_NONE) {
        LogPrint(
            LogError, LOCATED("SE of type %d open is failed with result: %s"), seType,
            get_error_message(error));
        return false;
    }
    ReadAtr();
    SetResultCode(ResultCode::ElementOpened);
    LogPrint(LogDebug, LOCATED("Starting to work with SE of type: %d"), seType);
    ++openCount;
    return true;
}

// The buffer stays the platform's. A failure leaves the answer of an earlier open.
void SeReaderNfc::ReadAtr() {
    unsigned char* answer = nullptr;
    unsigned length = 0;
    if (Compat::GetAtr(handle, &answer, &length) == NFC_ERROR_NONE && answer != nullptr) {
        atr = reinterpret_cast<const char*>(answer);
    }
}

void SeReaderNfc::Close() {
    LogPrint(LogDebug, LOCATED("Closing SE"));
    if (handle == nullptr) {
        LogPrint(LogDebug, LOCATED("Secure Element is already closed"));
        return;
    }
    if (--openCount != 0) {
        return;
    }
    if (Compat::CloseSecureElement(handle) == NFC_ERROR_NONE) {
        handle = nullptr;
    } else {
        SetResultCode(ResultCode::ElementNotClosed);
    }
}

Na::Bytes SeReaderNfc::Apdu(const Na::Bytes& command) {
    LogPrint(LogDebug, LOCATED("Sending command to SE"));
    SetResultCode(ResultCode::UnknownError);
    if (handle == nullptr) {
        LogPrint(LogDebug, LOCATED("SE not opened"));
        return Na::Bytes();
    }
    unsigned char* answer = nullptr;
    unsigned length = 0;
    // The platform reads the command only, although its declaration does not say so.
    const int error = Compat::SendApdu(
        handle, const_cast<unsigned char*>(command.data()), static_cast<unsigned>(command.size()), &answer,
        &length);
    if (error != NFC_ERROR_NONE) {
        LogPrint(LogError, LOCATED("APDU send error: %s"), get_error_message(error));
        SetResultCode(ResultCode::NoApdu);
        return Na::Bytes();
    }
    const Na::OwnedMemory<unsigned char> owned(answer);
    SetResultCode(ResultCode::Done);
    return answer != nullptr ? Na::Bytes(answer, answer + length) : Na::Bytes();
}

_NFC_MANAGER_LIFECYCLE::_NFC_MANAGER_LIFECYCLE() {
    const int error = Compat::InitializeNfc();
    if (error != NFC_ERROR_NONE) {
        LogPrint(LogError, LOCATED("Fatal: NFC Manager initialization error. %s"), get_error_message(error));
    }
}

_NFC_MANAGER_LIFECYCLE::~_NFC_MANAGER_LIFECYCLE() {
    nfc_manager_deinitialize();
}

}  // namespace Tizen23
