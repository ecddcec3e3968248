// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/InstructionText.h"

#include "globalplatform/Bytes.h"
#include "globalplatform/Instruction.h"
#include "navo/Outcome.h"

std::string InstructionText(const std::string& progress) {
    const Navo::ResultMessage parts = Navo::SplitResultMessage(progress);
    const auto code = GlobalPlatform::FromHexText(parts.code);
    std::string_view name;
    if (code && code->size() == 1) {
        name = GlobalPlatform::InstructionName(GlobalPlatform::ProprietaryClassBit, code->front());
        name = name.empty() ? GlobalPlatform::InstructionName(0, code->front()) : name;
    }
    if (!name.empty()) {
        return std::string(name);
    }
    return parts.description.empty() ? "(unknown to the standards)" : parts.description;
}
