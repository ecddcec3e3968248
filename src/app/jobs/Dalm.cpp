// SPDX-License-Identifier: Apache-2.0
#include "app/jobs/Dalm.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "app/ResultCode.h"
#include "common/Debug.h"
#include "common/DynamicLoader.h"
#include "common/Locations.h"
#include "common/Secret.h"
#include "common/Utf8.h"
#include "common/Utils.h"

namespace Na {

namespace {

constexpr long LargestData = 10000;
constexpr long HexadecimalEncoding = 1;
constexpr long EncodingOfNoData = 2;
constexpr long InjectionOfGivenData = 1;

// Entry points of the library.
using KeyInjection = int (*)(
    unsigned char injectionType, unsigned char keyType, const char* keyName, const unsigned char* data,
    int length, unsigned char encoding);
using InjectedKeyVerification = int (*)(int injectionType, int keyType, const char* keyName);
using ReadInjectedKeyUid =
    int (*)(unsigned char injectionType, unsigned char keyType, const char* keyName, char* output, int size);
using CreateGetKeySessionFunction = int (*)(
    unsigned char keyType, const char* keyName, unsigned char* output, int size, unsigned char encoding);
using ReleaseGetKeySession = int (*)();

// The library of the whole process.
struct Library {
    void* handle = nullptr;
    int references = 0;
};

Library& SharedLibrary() {
    static Library library;
    return library;
}

// Null for a command without an entry point.
const char* EntryPointName(std::int32_t command) {
    switch (static_cast<Command>(command)) {
        case Command::DalmKeyInjection:
            return "dalm_keyInjection";
        case Command::DalmInjectedKeyVerification:
            return "dalm_injectedKeyVerification";
        case Command::DalmReadInjectedKeyUid:
            return "dalm_readInjectedKeyUID";
        case Command::DalmCreateGetKeySession:
            return "dalm_createGetKeySession";
        case Command::DalmReleaseGetKeySession:
            return "dalm_releaseGetKeySession";
        default:
            return nullptr;
    }
}

// A parameter that has to be one of a few numbers.
struct TypeRule {
    const char* key;
    bool acceptsFour;  // besides 1 and 2
    void (*logMissing)();
    void (*logUnsupported)();
    int verdict;
};

const TypeRule InjectionTypeRule = {
    Key::InjectionType, true, [] { LogPrint(LogDebug, JOB_LOCATED("No injection type parameter")); },
    [] { LogPrint(LogDebug, JOB_LOCATED("Unsupported injection type")); }, Job_DALM::WrongInjectionType};
const TypeRule KeyTypeRule = {
    Key::KeyType, false, [] { LogPrint(LogDebug, JOB_LOCATED("No key type parameter")); },
    [] { LogPrint(LogDebug, JOB_LOCATED("Unsupported key type")); }, Job_DALM::WrongKeyType};
const TypeRule EncodingRule = {
    Key::EncodingType, true, [] { LogPrint(LogDebug, JOB_LOCATED("No encoding type parameter")); },
    [] { LogPrint(LogDebug, JOB_LOCATED("Unsupported key encoding")); }, Job_DALM::WrongEncoding};

// Reads parameters of a request in turn. The first that is missing or wrong is logged, and its verdict stays;
// nothing is read or logged after it.
class ParameterReader {
public:
    explicit ParameterReader(const RequestMap& requestData) : data(requestData) {}

    bool Failed() const { return verdict != 0; }
    int FailureVerdict() const { return verdict; }

    const std::string* Find(const char* key) const {
        const auto found = data.find(key);
        return found != data.end() ? &found->second : nullptr;
    }

    std::string KeyName() {
        const std::string* const name = Failed() ? nullptr : Find(Key::KeyName);
        if (name == nullptr) {
            Fail(Job_DALM::KeyNameMissing, [] { LogPrint(LogDebug, JOB_LOCATED("No key name parameter")); });
        }
        return name != nullptr ? *name : std::string();
    }

    long Type(const TypeRule& rule, int missingVerdict) {
        const std::string* const text = Failed() ? nullptr : Find(rule.key);
        if (text == nullptr) {
            Fail(missingVerdict, rule.logMissing);
            return 0;
        }
        const long type = StringToLong(*text, 10);
        if (type != 1 && type != 2 && !(rule.acceptsFour && type == 4)) {
            Fail(rule.verdict, rule.logUnsupported);
            LogPrint(LogTrace, JOB_LOCATED("type: %d"), static_cast<int>(type));
        }
        return type;
    }
    long Type(const TypeRule& rule) { return Type(rule, rule.verdict); }

    int Size() {
        const std::string* const text = Failed() ? nullptr : Find(Key::DalmDataSize);
        if (text == nullptr) {
            Fail(Job_DALM::SizeMissing, [] { LogPrint(LogDebug, JOB_LOCATED("No data size parameter")); });
            return 0;
        }
        const long size = StringToLong(*text, 10);
        if (size < 1 || size > LargestData) {
            Fail(Job_DALM::WrongParameter, [] {
                LogPrint(LogDebug, JOB_LOCATED("Incorrect size parameter passed"));
            });
        }
        return static_cast<int>(std::min(size, LargestData));
    }

    // Logs nothing after the first failure.
    void Fail(int failureVerdict, void (*logReason)()) {
        if (!Failed()) {
            logReason();
            verdict = failureVerdict;
        }
    }

private:
    const RequestMap& data;
    int verdict = 0;
};

unsigned char Cut(long number) {
    return static_cast<unsigned char>(number);
}

}  // namespace

Job_DALM::Job_DALM(std::unique_ptr<JobRequest> jobRequest, std::int32_t commandNumber)
    : AgentJob(std::move(jobRequest)), command(commandNumber) {}

void Job_DALM::Execute() {
    LogPrint(LogTrace, JOB_LOCATED(""));
    result[Key::ReturnCode] = IntToString(CallLibrary(), 10);
    SetResultCode(ResultCode::Done);
}

int Job_DALM::CallLibrary() {
    Library& library = SharedLibrary();
    if (library.handle == nullptr) {
        LogPrint(LogTrace, JOB_LOCATED("Loading DALM library"));
        library.handle = dlopen(Locations::KeyProvisioningLibrary, RTLD_NOW);
        if (library.handle == nullptr) {
            LogPrint(LogDebug, JOB_LOCATED("Error loading DALM library: %s"), DynamicLoaderError());
            return LibraryMissing;
        }
    }
    int verdict = LibraryMissing;
    const char* const name = EntryPointName(command);
    void* const entryPoint = name != nullptr ? dlsym(library.handle, name) : nullptr;
    if (entryPoint != nullptr) {
        verdict = CallEntryPoint(entryPoint);
    } else {
        if (name != nullptr) {
            LogPrint(LogDebug, JOB_LOCATED("Error loading symbol from library"));
        }
        LogPrint(LogError, JOB_LOCATED("Error opening function: %s"), DynamicLoaderError());
    }
    LogPrint(LogTrace, JOB_LOCATED("DALM library references: %d"), library.references);
    if (library.references == 0) {
        LogPrint(LogTrace, JOB_LOCATED("Unloading DALM library"));
        dlclose(library.handle);
        library.handle = nullptr;
    }
    return verdict;
}

int Job_DALM::CallEntryPoint(void* entryPoint) {
    int& references = SharedLibrary().references;
    switch (static_cast<Command>(command)) {
        case Command::DalmKeyInjection:
            ++references;
            return InjectKey(entryPoint);
        case Command::DalmInjectedKeyVerification:
            ++references;
            return VerifyKey(entryPoint);
        case Command::DalmReadInjectedKeyUid:
            ++references;
            return ReadKeyUid(entryPoint);
        case Command::DalmCreateGetKeySession:
            ++references;
            return CreateGetKeySession(entryPoint);
        default:
            break;
    }
    LogPrint(LogDebug, JOB_LOCATED("Calling dalm_releaseGetKeySession"));
    const int verdict = reinterpret_cast<ReleaseGetKeySession>(entryPoint)();
    --references;
    return verdict;
}

int Job_DALM::InjectKey(void* entryPoint) {
    ParameterReader read(request->data);
    const std::string keyName = read.KeyName();
    const long injectionType = read.Type(InjectionTypeRule, WrongParameter);
    std::string data;
    const CleansedAtEnd<std::string> letTextGo(data);
    long encoding = EncodingOfNoData;
    if (const std::string* const given = read.Find(Key::DalmData)) {
        data = *given;
        if ((data.empty() && injectionType == InjectionOfGivenData) || data.size() > LargestData) {
            read.Fail(WrongParameter, [] { LogPrint(LogDebug, JOB_LOCATED("Wrong key data")); });
        }
        encoding = read.Type(EncodingRule, WrongParameter);
    } else if (!read.Failed()) {
        LogPrint(LogTrace, JOB_LOCATED("No key data parameter"));
    }
    const long keyType = read.Type(KeyTypeRule, WrongParameter);
    if (read.Failed()) {
        return read.FailureVerdict();
    }
    LogPrint(LogTrace, JOB_LOCATED("Key: '%s'"), keyName.c_str());
    if (encoding == HexadecimalEncoding) {
        LogPrint(LogTrace, JOB_LOCATED("Converting data back to binary"));
    }
    Bytes bytes = encoding == HexadecimalEncoding ? HexToBytes(data) : StringToBytes(data);
    const CleansedAtEnd<Bytes> letBytesGo(bytes);
    const auto length = static_cast<int>(bytes.size());
    std::uint8_t nothing = 0;  // the library gets an address for no data, too
    const int verdict = reinterpret_cast<KeyInjection>(entryPoint)(
        Cut(injectionType), Cut(keyType), keyName.c_str(), bytes.empty() ? &nothing : bytes.data(), length,
        Cut(encoding));
    --SharedLibrary().references;
    return verdict;
}

int Job_DALM::VerifyKey(void* entryPoint) {
    ParameterReader read(request->data);
    const long injectionType = read.Type(InjectionTypeRule);
    const long keyType = read.Type(KeyTypeRule);
    const std::string keyName = read.KeyName();
    if (read.Failed()) {
        return read.FailureVerdict();
    }
    const int verdict = reinterpret_cast<InjectedKeyVerification>(entryPoint)(
        static_cast<int>(injectionType), static_cast<int>(keyType), keyName.c_str());
    --SharedLibrary().references;
    return verdict;
}

int Job_DALM::ReadKeyUid(void* entryPoint) {
    ParameterReader read(request->data);
    const long injectionType = read.Type(InjectionTypeRule);
    const long keyType = read.Type(KeyTypeRule);
    const std::string keyName = read.KeyName();
    const int size = read.Size();
    if (read.Failed()) {
        return read.FailureVerdict();
    }
    std::vector<char> output(static_cast<std::size_t>(size));
    const int verdict = reinterpret_cast<ReadInjectedKeyUid>(entryPoint)(
        Cut(injectionType), Cut(keyType), keyName.c_str(), output.data(), size);
    --SharedLibrary().references;
    if (verdict > 0) {
        ReturnData(std::string(output.begin(), std::find(output.begin(), output.end(), '\0')));
    }
    return verdict;
}

// The session keeps its reference, so the library stays loaded until 0x3F4.
int Job_DALM::CreateGetKeySession(void* entryPoint) {
    ParameterReader read(request->data);
    const long keyType = read.Type(KeyTypeRule);
    const std::string keyName = read.KeyName();
    const long encoding = read.Type(EncodingRule);
    const int size = read.Size();
    if (read.Failed()) {
        return read.FailureVerdict();
    }
    Bytes output(static_cast<std::size_t>(size));
    const CleansedAtEnd<Bytes> letGo(output);
    const int verdict = reinterpret_cast<CreateGetKeySessionFunction>(entryPoint)(
        Cut(keyType), keyName.c_str(), output.data(), size, Cut(encoding));
    if (verdict > 0) {
        // A library that claims more than the buffer holds gets what the buffer holds.
        const auto end = output.begin() + std::min(verdict, size);
        std::string data = encoding == HexadecimalEncoding
                               ? BytesToHex(output.data(), static_cast<std::size_t>(end - output.begin()))
                               : std::string(output.begin(), std::find(output.begin(), end, 0));
        const CleansedAtEnd<std::string> letTextGo(data);
        ReturnData(data);
    }
    return verdict;
}

void Job_DALM::ReturnData(const std::string& data) {
    if (IsUtf8(data)) {
        result[Key::DalmData] = data;
    } else {
        LogPrint(LogError, JOB_LOCATED("Returned key data is no UTF-8 text and stays here"));
    }
}

}  // namespace Na
