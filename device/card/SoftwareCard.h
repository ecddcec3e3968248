// A secure element in software, modelled on a GlobalPlatform card. It keeps the order of a provisioning
// session and what the session leaves behind.
#pragma once

#include <optional>

#include "card/CardContent.h"
#include "card/CardManagement.h"
#include "card/Options.h"
#include "globalplatform/CommandApdu.h"
#include "globalplatform/StatusWord.h"

namespace Card {

// Not safe for use by several threads at once.
class SoftwareCard {
public:
    // Throws std::runtime_error, with file and cause, when the state file is damaged or in use elsewhere.
    explicit SoftwareCard(Options initialOptions);

    // Takes over other options; what the card holds stays.
    void Configure(Options newOptions);

    // Warm reset: the issuer domain is selected and no session is open. The answer-to-reset.
    Bytes Reset();

    // One command APDU as ISO 7816-4 has it, of any length, even malformed. The response ends with the status
    // word.
    Bytes Transmit(const Bytes& command);

private:
    enum class Authentication { None, Challenged, Done };

    Bytes Carry(const CommandApdu& apdu);
    Bytes Dispatch(CommandApdu apdu);
    Bytes Select(const CommandApdu& apdu);
    Application* FindSelectable(const Bytes& name, bool next);
    Bytes GetData(const CommandApdu& apdu);
    Bytes IssuerData(std::uint32_t tag);
    Bytes InitializeUpdate(const CommandApdu& apdu);
    Bytes ExternalAuthenticate(const CommandApdu& apdu);
    Bytes Manage(CommandApdu apdu, StatusWord* status);
    static Bytes Finish(Bytes response, const std::optional<std::size_t>& expectedLength, StatusWord status);
    void EndSession();
    bool IssuerDomainSelected() const { return selected == content.issuerDomain.aid; }

    Options options;
    CardContent content;
    CardManagement management;

    Bytes selected;  // AID
    Authentication authentication = Authentication::None;
    std::uint8_t securityLevel = 0;
    std::uint32_t sequenceCounter = 0;
};

}  // namespace Card
