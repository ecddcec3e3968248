#include "app/SeReader.h"
#include "common/Debug.h"
#include "platform/tizen/SeReader_NFC.h"

std::unique_ptr<Na::ISeReader> Na::CreateSeReader(int kind) {
    LogPrint(LogDebug, LOCATED("Creating a SE Reader of type %d"), kind);
    std::unique_ptr<ISeReader> reader(new Tizen23::SeReaderNfc);
    auto* const nfcReader = dynamic_cast<Tizen23::SeReaderNfc*>(reader.get());
    if (nfcReader == nullptr) {
        LogPrint(LogDebug, LOCATED("Internal error: dynamic_cast returned nullptr"));
    } else if (nfcReader->Initialize(kind)) {
        return reader;
    }
    LogPrint(LogDebug, LOCATED("Failed: SE type %d is not supported"), kind);
    return nullptr;
}
