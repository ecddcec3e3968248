// A secure element in software, modelled on a GlobalPlatform card. It keeps the order of a provisioning
// session and what the session leaves behind, for as long as the process lives. It holds no real keys: any
// cryptogram opens a session, and message authentication codes are taken off but not verified.
#pragma once

#include <optional>

#include "card/CardContent.h"
#include "card/CardManagement.h"
#include "card/SecureElement.h"
#include "globalplatform/CommandApdu.h"
#include "globalplatform/StatusWord.h"

namespace Device {

class SoftwareCard : public SecureElement {
public:
    explicit SoftwareCard(const CardSettings& initialSettings);

    void Configure(const CardSettings& newSettings) override;
    Bytes Reset() override;
    Bytes Transmit(const Bytes& command) override;

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

    CardSettings settings;
    CardContent content;
    CardManagement management;

    Bytes selected;  // AID
    Authentication authentication = Authentication::None;
    std::uint8_t securityLevel = 0;
    std::uint32_t sequenceCounter = 0;
};

}  // namespace Device
