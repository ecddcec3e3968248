// Card content management: the commands of an authenticated session with the issuer security domain.
#pragma once

#include <cstdint>
#include <optional>

#include "card/CardContent.h"
#include "globalplatform/CommandApdu.h"
#include "globalplatform/StatusWord.h"

namespace Card {

// Carries out one command after the other on the card's content. Each gives the response's data, or throws a
// Refusal with the status word and leaves the content as it was.
class CardManagement {
public:
    explicit CardManagement(CardContent& managedContent) : content(managedContent) {}

    // Whether this class knows the instruction.
    static bool Knows(std::uint8_t instruction);

    // `memory` is the card's whole non-volatile memory. `status` becomes another word than success when there
    // is more to ask for.
    Bytes Carry(const CommandApdu& apdu, std::uint64_t memory, StatusWord* status);

    // Gives up what a session had begun: a half-loaded file, a personalisation.
    void EndSession();

private:
    struct Loading {
        Bytes aid;
        unsigned nextBlock = 0;
        Bytes received;
    };
    struct Storing {
        Bytes aid;
        unsigned nextBlock = 0;
    };

    Bytes GetStatus(const CommandApdu& apdu, StatusWord* status);
    Bytes Delete(const CommandApdu& apdu);
    void DeleteObject(const Bytes& aid, bool withRelated);
    void DeleteKeys(const Bytes& identifier, const Bytes& version);
    Bytes Install(const CommandApdu& apdu, std::uint64_t memory);
    void InstallForLoad(const CommandApdu& apdu);
    void InstallForInstall(const CommandApdu& apdu, std::uint64_t memory, bool selectable);
    void MakeSelectable(const CommandApdu& apdu);
    void InstallForPersonalization(const CommandApdu& apdu);
    Bytes Load(const CommandApdu& apdu, std::uint64_t memory);
    void FinishLoading();
    Bytes StoreData(const CommandApdu& apdu, std::uint64_t memory);
    Bytes PutKey(const CommandApdu& apdu);
    Bytes SetStatus(const CommandApdu& apdu);
    void SetCardStatus(std::uint8_t state);
    void RequireMemory(std::uint64_t needed, std::uint64_t memory) const;
    Application& Personalized();

    CardContent& content;
    std::optional<Loading> loading;
    std::optional<Storing> storing;
    std::size_t listed = 0;  // entries that the last GET STATUS has shown
};

}  // namespace Card
