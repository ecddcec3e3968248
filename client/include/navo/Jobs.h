// SPDX-License-Identifier: Apache-2.0
// The service's commands as typed calls: what each takes, and what it gives.
//
//     Navo::Session session;
//     std::string cplc = session.Do(Navo::Jobs::Cplc());
//     session.Do(Navo::Jobs::RunScript({"WALLET-01", "ISSUE"}));
//
// A job is a value. It belongs to no session, may be carried out any number of times, and an AsyncSession
// takes the same ones. All texts are UTF-8 without zero bytes.
//
// Besides what a session throws, each of them ends with JobFailed when the service ran it and reported a
// failure. The successes that the service itself cannot tell from failures are named with their job.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "navo/Client.h"
#include "navo/Export.h"
#include "navo/Outcome.h"

namespace Navo {

// The service ran the job and says that it failed. Its Kind is ErrorKind::JobFailed, its text the service's
// own code and words. CausesOf(error.Result().code) has what to look at.
class NAVO_API JobFailed : public ClientError {
public:
    // Takes the outcome over.
    explicit JobFailed(Outcome failure);
    ~JobFailed() override;

    // What the service said: a code, a verdict, an explanation.
    const Outcome& Result() const { return result; }

private:
    Outcome result;
};

// A request, and how its reply is read. Value is void where the success is all there is to know.
template <typename Value>
struct Job {
    // As Session::Call takes it.
    Map request;

    // Throws JobFailed, or ClientError (UnexpectedReply) for a reply that the service never gives.
    Value (*read)(const Map& reply);
};

// One function for each command. None of them throws: a text that the bus cannot carry is the session's to
// refuse.
namespace Jobs {

// What the server needs to find its script. The texts are the server's business; empty ones are sent as such.
struct ScriptOrder {
    // Identifier of the service, such as "WALLET-01".
    std::string serviceId;

    // Identifier of the function or card, such as "ISSUE".
    std::string fcId = {};

    // What the server sent by push, passed back to it.
    std::string pushReq = {};
};

// Lets the server run its script; takes seconds to minutes, with progress for each card command. Success is
// also reported where the card refused to give its CPLC, so that nothing was run (no progress came then),
// where the server's answer held no result, and where the responses were too long to send.
[[nodiscard]] NAVO_API Job<void> RunScript(const ScriptOrder& order);

// Does nothing in the service. Its success says that the service answers and knows this session.
[[nodiscard]] NAVO_API Job<void> SeStatus();

// The card production life cycle data: hexadecimal digits, two for each byte, in the card's order. A card by
// the standard has 42 bytes.
[[nodiscard]] NAVO_API Job<std::string> Cplc();

// Free memory of the secure element, in bytes, above 0. None at all cannot be told from an element that gave
// no answer, and is a JobFailed.
[[nodiscard]] NAVO_API Job<std::int64_t> FreeMemory();

// Lets the server check whether this device may use its services. Success is also reported where the card
// refused to give its CPLC.
[[nodiscard]] NAVO_API Job<void> CheckEligibility();

// Plays a CCM script: hexadecimal digits, two for each byte, at most 92160 bytes, with progress for each
// command. Gives the verdict, 0 where every command was accepted.
[[nodiscard]] NAVO_API Job<int> PlayCcmScript(const std::string& digits);

// For privileged clients: what the service knows of the device, seven lines "key: value".
[[nodiscard]] NAVO_API Job<std::string> PhoneInfo();

// For privileged clients: stores the address of the key-management server, "HOST" or "HOST:PORT".
[[nodiscard]] NAVO_API Job<void> SetAddress(const std::string& address);

// Numbers of the key commands. What they mean is the business of the maker's key-provisioning library; the
// names are those of the library that comes with the virtual device.
enum class KeyType { Symmetric = 1, Asymmetric = 2 };

// How a key comes to be.
enum class InjectionType { Given = 1, Generated = 2, Sealed = 4 };

// How key data is written as text. Binary data comes back only where it happens to be UTF-8.
enum class EncodingType { Hexadecimal = 1, Binary = 2, Base64 = 4 };

// The most data that a key command gives or takes: characters when injected, bytes when asked for.
constexpr int MostKeyData = 10000;

// By what the maker's library knows a key.
struct KeyName {
    // Its name, as any text.
    std::string name;

    // Of which type it is.
    KeyType type;
};

// Key data and how it is written.
struct KeyText {
    // At most MostKeyData characters.
    std::string text;

    // How that is written.
    EncodingType encoding = EncodingType::Hexadecimal;
};

// Injects a key. Without data the library makes it, or takes it from elsewhere. Gives what the library
// returned, 0 or more.
[[nodiscard]] NAVO_API Job<int> InjectKey(
    const KeyName& key, InjectionType injection, const std::optional<KeyText>& data = {});

// Verifies that a key was injected so. Gives what the library returned, 0 or more.
[[nodiscard]] NAVO_API Job<int> VerifyKey(const KeyName& key, InjectionType injection);

// The UID of an injected key, as the library writes it; `mostBytes` is the room for it, 1 to MostKeyData.
[[nodiscard]] NAVO_API Job<std::string> KeyUid(
    const KeyName& key, InjectionType injection, int mostBytes = MostKeyData);

// Opens a get-key session and gives the key, written as asked for. That session belongs to the service and
// lasts until ReleaseKey or the service's end. `mostBytes` is the room for the key, 1 to MostKeyData.
[[nodiscard]] NAVO_API Job<std::string> GetKey(
    const KeyName& key, EncodingType encoding = EncodingType::Hexadecimal, int mostBytes = MostKeyData);

// Ends the get-key session. Gives what the library returned, 0 or more.
[[nodiscard]] NAVO_API Job<int> ReleaseKey();

}  // namespace Jobs
}  // namespace Navo
