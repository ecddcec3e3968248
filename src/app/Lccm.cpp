// SPDX-License-Identifier: Apache-2.0
#include "app/Lccm.h"

#include <algorithm>
#include <array>
#include <new>

#include "app/Se.h"
#include "common/Debug.h"
#include "common/DynamicLoader.h"
#include "common/Locations.h"

namespace Na {

namespace {

constexpr int EmbeddedElement = 0;
constexpr int SpiSuccess = 1;

constexpr std::size_t ScriptCapacity = 92160;
constexpr std::size_t ApduCapacity = 262;

// The last record of a list may claim more bytes than the list has: these read as zeros, whatever the library
// left there.
constexpr std::size_t RecordOverrun = 3 + 255;

constexpr std::size_t StatusWordLength = 4;  // in characters
constexpr std::size_t InstructionOffset = 2;
constexpr std::size_t HeaderLength = 8;

template <typename Function>
bool FindSymbol(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    return function != nullptr;
}

}  // namespace

Lccm::Lccm() {
    LogPrint(LogDebug, LOCATED("Lccm object creation."));
    state.reset(new (std::nothrow) LibraryState());
    if (state == nullptr || !loadLibrary(*state)) {
        LogPrint(LogError, LOCATED("Can not load sem library. Check path: %s"), Locations::SecureSpiLibrary);
    }
}

Lccm::~Lccm() {
    LogPrint(LogDebug, LOCATED("Lccm object destruction."));
    if (state != nullptr) {
        unloadLibrary(*state);
    }
}

bool Lccm::loadLibrary(LibraryState& state) {
    if (state.libHandle != nullptr) {
        LogPrint(LogDebug, LOCATED("Library already opened"));
        return true;
    }
    LogPrint(LogDebug, LOCATED("Loading sem library"));
    state.libHandle = dlopen(Locations::SecureSpiLibrary, RTLD_NOW);
    if (state.libHandle == nullptr) {
        LogPrint(LogError, LOCATED("Dlopen fails. %s"), DynamicLoaderError());
        unloadLibrary(state);
        return false;
    }
    LogPrint(LogTrace, LOCATED("Getting the address of openSecureSpi()"));
    if (!FindSymbol(state.libHandle, "openSecureSpi", state.openSecureSpi)) {
        LogPrint(LogError, LOCATED("Can not load openSecureSpi function. %s"), DynamicLoaderError());
        unloadLibrary(state);
        return false;
    }
    LogPrint(LogTrace, LOCATED("Getting the address of closeSecureSpi()"));
    if (!FindSymbol(state.libHandle, "closeSecureSpi", state.closeSecureSpi)) {
        LogPrint(LogError, LOCATED("Can not load closeSecureSpi function. %s"), DynamicLoaderError());
        unloadLibrary(state);
        return false;
    }
    LogPrint(LogTrace, LOCATED("Getting the address of handleCCM()"));
    if (!FindSymbol(state.libHandle, "handleCCM", state.handleCCM)) {
        LogPrint(LogError, LOCATED("Can not load handleCCM function. %s"), DynamicLoaderError());
        unloadLibrary(state);
        return false;
    }
    LogPrint(LogDebug, LOCATED("Library loaded successfully"));
    return true;
}

void Lccm::unloadLibrary(LibraryState& state) {
    if (state.libHandle != nullptr) {
        LogPrint(LogDebug, LOCATED("Unloading sem library"));
        dlclose(state.libHandle);
        state.libHandle = nullptr;
    }
}

bool Lccm::isAvaliable(const LibraryState& state) {
    if (state.openSecureSpi != nullptr && state.closeSecureSpi != nullptr && state.handleCCM != nullptr) {
        LogPrint(LogDebug, LOCATED("Lccm functionality available"));
        return true;
    }
    LogPrint(LogError, LOCATED("Lccm functionality was not loaded properly"));
    return false;
}

int Lccm::openChannel(const LibraryState& state) {
    if (state.openSecureSpi() == SpiSuccess) {
        LogPrint(LogDebug, LOCATED("Secure SPI was opened"));
        return 1;
    }
    LogPrint(LogError, LOCATED("Can not open secure SPI"));
    return 0;
}

void Lccm::closeChannel(const LibraryState& state) {
    if (state.closeSecureSpi() == SpiSuccess) {
        LogPrint(LogDebug, LOCATED("SPI channel was closed correctly"));
    } else {
        LogPrint(LogError, LOCATED("closeSecureSpi returns error"));
    }
}

int Lccm::nextApduOffset(
    const std::uint8_t* buffer, int start, int total, std::uint8_t* out, std::int32_t* outLength) {
    if (buffer == nullptr || start < 0 || out == nullptr || start >= total) {
        return -1;
    }
    const std::uint8_t* const record = buffer + start;
    const int first = record[1];
    if (first <= 0x7F) {
        LogPrint(
            LogTrace, LOCATED("start: %d, offset: %d, LEN : %X (%d)\n"), start, 0,
            static_cast<unsigned>(first), first);
        std::copy(record + 2, record + 2 + first, out);
        *outLength = first;
        return first;
    }
    const int length = record[2];
    LogPrint(
        LogTrace, LOCATED("start: %d, [%02X, %02X] offset: %d, LEN : %X (%d)\n"), first,
        static_cast<unsigned>(length), static_cast<unsigned>(start + 1), 0, static_cast<unsigned>(length),
        length);
    std::copy(record + 3, record + 3 + length, out);
    *outLength = length;
    return length + 1;
}

bool Lccm::handleScript(const LibraryState& state, const Bytes& script, std::vector<std::string>& apdus) {
    Bytes buffer(ScriptCapacity + RecordOverrun);
    if (script.size() > ScriptCapacity) {
        LogPrint(
            LogError, LOCATED("Script of %u bytes is longer than its buffer"),
            static_cast<unsigned>(script.size()));
        return false;
    }
    std::copy(script.begin(), script.end(), buffer.begin());
    auto length = static_cast<std::int32_t>(script.size());
    LogPrint(LogTrace, LOCATED(""));
    const int error = state.handleCCM(buffer.data(), &length);
    LogPrint(LogTrace, LOCATED(""));
    if (error != 0 || length < 1 || length > static_cast<std::int32_t>(ScriptCapacity)) {
        LogPrint(LogError, LOCATED("handleCCM returns an error"));
        return false;
    }
    std::fill(buffer.begin() + length, buffer.end(), static_cast<std::uint8_t>(0));
    LogPrint(LogDebug, LOCATED("Resolving received apdus"));
    std::array<std::uint8_t, ApduCapacity> apdu{};
    std::int32_t apduLength = 0;
    int offset = nextApduOffset(buffer.data(), 0, length, apdu.data(), &apduLength) + 2;
    LogPrint(LogTrace, LOCATED("offset = %d"), offset);
    if (offset < 1) {
        LogPrint(LogError, LOCATED("Bad Lccm apdus"));
        LogPrint(LogDebug, LOCATED("Apdus were successfully distinguished"));
        return true;
    }
    apdus.push_back(BytesToHex(apdu.data(), static_cast<std::size_t>(apduLength)));
    while (offset < length) {
        LogPrint(LogTrace, LOCATED(""));
        offset += nextApduOffset(buffer.data(), offset, length, apdu.data(), &apduLength) + 2;
        apdus.push_back(BytesToHex(apdu.data(), static_cast<std::size_t>(apduLength)));
        LogPrint(LogTrace, LOCATED(""));
    }
    apdu.fill(0);
    LogPrint(LogDebug, LOCATED("Apdus were successfully distinguished"));
    return true;
}

bool Lccm::apduRetCheck(const std::string& instruction, const std::string& response) {
    if (response.empty()) {
        LogPrint(LogError, LOCATED("response is empty"));
        return false;
    }
    if (response.size() < StatusWordLength) {
        LogPrint(LogError, LOCATED("invalid response"));
        return false;
    }
    const std::string statusWord = response.substr(response.size() - StatusWordLength);
    LogPrint(LogDebug, LOCATED("response sw: %s"), statusWord.c_str());
    const bool nothingToDelete = instruction == "E4" && (statusWord == "6A88" || statusWord == "6a88");
    return statusWord == "9000" || nothingToDelete;
}

int Lccm::handleCcmScript(const std::string& script) {
    if (state == nullptr) {
        LogPrint(LogError, LOCATED("Incomplete object initialization. Lccm is not available"));
        return LibraryMissing;
    }
    if (!isAvaliable(*state)) {
        return LibraryMissing;
    }
    if (openChannel(*state) != 1) {
        return ChannelRefused;
    }
    std::vector<std::string> apdus;
    const bool converted = handleScript(*state, HexToBytes(script), apdus);
    closeChannel(*state);
    if (!converted) {
        return NotConverted;
    }
    SeSession session(EmbeddedElement);
    if (!session.IsOpen()) {
        LogPrint(LogError, LOCATED("Can't establish connection with eSE"));
        return ChannelRefused;
    }
    LogPrint(LogDebug, LOCATED("Sending apdus to eSE"));
    for (const std::string& apdu : apdus) {
        const std::string instruction = apdu.substr(InstructionOffset, 2);
        LogPrint(LogDebug, LOCATED("command header: %s"), apdu.substr(0, HeaderLength).c_str());
        const std::string response = session.Element().Apdu(apdu);
        if (!apduRetCheck(instruction, response)) {
            LogPrint(LogError, LOCATED("Response with error: %s, %s"), instruction.c_str(), response.c_str());
            return ResponseRefused;
        }
    }
    return Played;
}

}  // namespace Na
