// SPDX-License-Identifier: Apache-2.0
#include "device/element/ElementFactory.h"

#include "device/element/PcscElement.h"
#include "device/element/ReplayElement.h"
#include "device/element/SoftwareElement.h"

namespace Device {

std::unique_ptr<SecureElement> MakeSecureElement(const CardSettings& settings) {
    switch (settings.backEnd) {
        case BackEnd::Pcsc:
            return std::make_unique<PcscElement>(settings.reader);
        case BackEnd::Replay:
            return std::make_unique<ReplayElement>(settings.recordingFile);
        default:
            return std::make_unique<SoftwareElement>(settings);
    }
}

bool SuitsSameElement(const CardSettings& made, const CardSettings& wanted) {
    return made.backEnd == wanted.backEnd && made.reader == wanted.reader &&
           made.recordingFile == wanted.recordingFile && made.software.stateFile == wanted.software.stateFile;
}

}  // namespace Device
