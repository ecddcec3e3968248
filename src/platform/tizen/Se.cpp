// SPDX-License-Identifier: Apache-2.0
#include "app/SeReader.h"
#include "common/Debug.h"
#include "platform/tizen/SeReader_NFC.h"

std::unique_ptr<Na::ISeReader> Na::CreateSeReader(int kind) {
    LogPrint(LogDebug, LOCATED("Creating a SE Reader of type %d"), kind);
    std::unique_ptr<ISeReader> reader = std::make_unique<Tizen23::SeReaderNfc>();
    // The factory looks at what it made through the interface, and has a line for a reader of another class.
    auto* const nfcReader = dynamic_cast<Tizen23::SeReaderNfc*>(reader.get());
    if (nfcReader == nullptr) {
        LogPrint(LogDebug, LOCATED("Internal error: dynamic_cast returned nullptr"));
    } else if (nfcReader->Initialize(kind)) {
        return reader;
    }
    LogPrint(LogDebug, LOCATED("Failed: SE type %d is not supported"), kind);
    return nullptr;
}
