#include "card/SoftwareCard.h"

#include <openssl/evp.h>

#include <algorithm>

#include "globalplatform/Tlv.h"

namespace Card {

namespace {

constexpr std::uint8_t SecureMessagingFlag = 0x04;
constexpr std::uint8_t ProprietaryFlag = 0x80;
constexpr std::uint8_t ChannelMask = 0x03;
constexpr std::uint8_t CommandMacLevel = 0x01;
constexpr std::size_t MacLength = 8;

constexpr std::uint8_t SelectInstruction = 0xA4;
constexpr std::uint8_t GetDataInstruction = 0xCA;
constexpr std::uint8_t InitializeUpdateInstruction = 0x50;
constexpr std::uint8_t ExternalAuthenticateInstruction = 0x82;

// Bytes that look random, and are the same for the same input.
Bytes Scramble(const Bytes& input, std::size_t length) {
    Bytes digest(EVP_MAX_MD_SIZE);
    unsigned digestLength = 0;
    EVP_Digest(input.data(), input.size(), digest.data(), &digestLength, EVP_sha256(), nullptr);
    digest.resize(std::min<std::size_t>(digestLength, length));
    return digest;
}

bool IsOneOf(std::uint8_t value, std::initializer_list<std::uint8_t> allowed) {
    return std::find(allowed.begin(), allowed.end(), value) != allowed.end();
}

// Object identifiers in card data: card recognition, card management 2.2, identification scheme, and the
// secure channel protocol with its options.
Bytes CardData() {
    const auto identifier = [](const char* tail) {
        Bytes bytes = *FromHexText("2A864886FC6B");
        Append(bytes, *FromHexText(tail));
        return MakeTlv(0x06, bytes);
    };
    Bytes recognition = identifier("01");
    Append(recognition, MakeTlv(0x60, identifier("02020202")));
    Append(recognition, MakeTlv(0x63, identifier("03")));
    Append(recognition, MakeTlv(0x64, identifier("040370")));
    return MakeTlv(0x66, MakeTlv(0x73, recognition));
}

// Identifier, version, type and length of each key.
Bytes KeyInformation(const CardContent& content) {
    Bytes keys;
    for (const auto& set : content.keys) {
        for (const auto& key : set.second) {
            Append(keys, MakeTlv(0xC0, {key.first, set.first, key.second.type, key.second.length}));
        }
    }
    return MakeTlv(0xE0, keys);
}

}  // namespace

SoftwareCard::SoftwareCard(Options initialOptions) : options(std::move(initialOptions)), management(content) {
    selected = content.issuerDomain.aid;
}

void SoftwareCard::Configure(Options newOptions) {
    options = std::move(newOptions);
}

void SoftwareCard::EndSession() {
    authentication = Authentication::None;
    securityLevel = 0;
    management.EndSession();
}

Bytes SoftwareCard::Reset() {
    EndSession();
    selected = content.issuerDomain.aid;
    return options.atr;
}

Bytes SoftwareCard::Transmit(const Bytes& command) {
    try {
        if (command.size() < 4) {
            throw Refusal{StatusWord::WrongLength};
        }
        // The class and the instruction are judged first: what the lengths of a command mean is up to them.
        const std::uint8_t cla = command[0];
        if ((cla & ~(ProprietaryFlag | SecureMessagingFlag | ChannelMask)) != 0) {
            throw Refusal{StatusWord::ClassNotSupported};
        }
        if ((cla & ChannelMask) != 0) {
            throw Refusal{StatusWord::ChannelNotSupported};
        }
        const std::uint8_t ins = command[1];
        if (!CardManagement::Knows(ins) &&
            !IsOneOf(
                ins, {SelectInstruction, GetDataInstruction, InitializeUpdateInstruction,
                      ExternalAuthenticateInstruction})) {
            throw Refusal{StatusWord::InstructionNotSupported};
        }
        const std::optional<CommandApdu> apdu = ParseCommand(command);
        if (!apdu) {
            throw Refusal{StatusWord::WrongLength};
        }
        return Carry(*apdu);
    } catch (const Refusal& refusal) {
        return BigEndian(static_cast<std::uint16_t>(refusal.status), 2);
    }
}

Bytes SoftwareCard::Carry(const CommandApdu& apdu) {
    // Only the command right behind it can answer a challenge.
    if (authentication == Authentication::Challenged && apdu.ins != ExternalAuthenticateInstruction) {
        authentication = Authentication::None;
    }
    return Dispatch(apdu);
}

Bytes SoftwareCard::Dispatch(CommandApdu apdu) {
    const std::optional<std::size_t> expectedLength = apdu.expectedLength;
    Bytes response;
    StatusWord status = StatusWord::Success;
    switch (apdu.ins) {
        case SelectInstruction:
            response = Select(apdu);
            break;
        case GetDataInstruction:
            response = GetData(apdu);
            break;
        case InitializeUpdateInstruction:
            response = InitializeUpdate(apdu);
            break;
        case ExternalAuthenticateInstruction:
            response = ExternalAuthenticate(apdu);
            break;
        default:
            response = Manage(std::move(apdu), &status);
            break;
    }
    return Finish(std::move(response), expectedLength, status);
}

Bytes SoftwareCard::Select(const CommandApdu& apdu) {
    if ((apdu.cla & ProprietaryFlag) != 0) {
        throw Refusal{StatusWord::ClassNotSupported};
    }
    if (apdu.p1 != 0x04 || !IsOneOf(apdu.p2, {0x00, 0x02})) {
        throw Refusal{StatusWord::WrongParameters};
    }
    const Application* application = FindSelectable(apdu.data, apdu.p2 == 0x02);
    if (application == nullptr) {
        throw Refusal{StatusWord::FileNotFound};
    }
    EndSession();
    selected = application->aid;
    Bytes information = MakeTlv(0x84, selected);
    Append(information, MakeTlv(0xA5, IssuerDomainSelected() ? MakeTlv(0x9F65, {0xFF}) : Bytes()));
    return MakeTlv(0x6F, information);
}

// The first application whose AID begins with the name, or the next behind the selected one. No name at all
// is the issuer domain. What is locked or not made selectable yet cannot be found.
Application* SoftwareCard::FindSelectable(const Bytes& name, bool next) {
    std::vector<Application*> candidates = {&content.issuerDomain};
    for (Application& application : content.applications) {
        if (application.state >= LifeCycle::Selectable && (application.state & LifeCycle::LockedFlag) == 0) {
            candidates.push_back(&application);
        }
    }
    bool passed = !next;
    for (Application* candidate : candidates) {
        if (passed && BeginsWith(candidate->aid, name)) {
            return candidate;
        }
        passed = passed || candidate->aid == selected;
    }
    return nullptr;
}

Bytes SoftwareCard::GetData(const CommandApdu& apdu) {
    const std::uint32_t tag = static_cast<std::uint32_t>(apdu.p1) << 8 | apdu.p2;
    Application* application =
        IssuerDomainSelected() ? &content.issuerDomain : content.FindApplication(selected);
    if (application != nullptr) {
        const auto stored = application->data.find(tag);
        if (stored != application->data.end()) {
            return MakeTlv(tag, stored->second);
        }
    }
    if (!IssuerDomainSelected()) {
        throw Refusal{StatusWord::ReferencedDataNotFound};
    }
    return IssuerData(tag);
}

Bytes SoftwareCard::IssuerData(std::uint32_t tag) {
    switch (tag) {
        case 0x9F7F:
            return MakeTlv(tag, options.cplc);
        case 0x0066:
            return CardData();
        case 0x00E0:
            return KeyInformation(content);
        case 0xFF21: {
            const std::uint64_t used = std::min<std::uint64_t>(content.UsedMemory(), options.memory);
            Bytes resources = MakeTlv(0x81, BigEndian(content.applications.size(), 2));
            Append(resources, MakeTlv(0x82, BigEndian(options.memory - used, 4)));
            Append(resources, MakeTlv(0x83, BigEndian(options.volatileMemory, 4)));
            return MakeTlv(tag, resources);
        }
        default:
            throw Refusal{StatusWord::ReferencedDataNotFound};
    }
}

// Key diversification data, key version and protocol, then the protocol's own fields: 28 bytes for the second
// secure channel protocol, 29 for the third.
Bytes SoftwareCard::InitializeUpdate(const CommandApdu& apdu) {
    if ((apdu.cla & ProprietaryFlag) == 0) {
        throw Refusal{StatusWord::ClassNotSupported};
    }
    if (apdu.data.size() != 8) {
        throw Refusal{StatusWord::WrongLength};
    }
    const auto keys = apdu.p1 == 0 ? content.keys.begin() : content.keys.find(apdu.p1);
    if (keys == content.keys.end()) {
        throw Refusal{StatusWord::ReferencedDataNotFound};
    }
    EndSession();
    ++sequenceCounter;
    Bytes response(options.cplc.begin(), options.cplc.begin() + 4);
    Append(response, Bytes(options.cplc.begin() + 10, options.cplc.begin() + 16));
    response.push_back(keys->first);
    Bytes seed = apdu.data;
    Append(seed, BigEndian(sequenceCounter, 4));
    Append(seed, options.cplc);
    response.push_back(0x03);
    response.push_back(0x70);
    Append(response, Scramble(seed, 16));
    authentication = Authentication::Challenged;
    return response;
}

Bytes SoftwareCard::ExternalAuthenticate(const CommandApdu& apdu) {
    if (apdu.cla != (ProprietaryFlag | SecureMessagingFlag)) {
        throw Refusal{StatusWord::ClassNotSupported};
    }
    if (authentication != Authentication::Challenged) {
        throw Refusal{StatusWord::ConditionsNotSatisfied};
    }
    authentication = Authentication::None;
    if (!IsOneOf(apdu.p1, {0x00, 0x01, 0x03, 0x11, 0x13, 0x33}) || apdu.p2 != 0) {
        throw Refusal{StatusWord::WrongParameters};
    }
    if (apdu.data.size() != 8 + MacLength) {
        throw Refusal{StatusWord::WrongLength};
    }
    authentication = Authentication::Done;
    securityLevel = apdu.p1;
    return {};
}

// A level with command codes asks for a code behind every command; it is taken off.
Bytes SoftwareCard::Manage(CommandApdu apdu, StatusWord* status) {
    if ((apdu.cla & ProprietaryFlag) == 0) {
        throw Refusal{StatusWord::ClassNotSupported};
    }
    if (!IssuerDomainSelected()) {
        throw Refusal{StatusWord::InstructionNotSupported};
    }
    if (authentication != Authentication::Done) {
        throw Refusal{StatusWord::SecurityNotSatisfied};
    }
    if ((securityLevel & CommandMacLevel) != 0) {
        if ((apdu.cla & SecureMessagingFlag) == 0 || apdu.data.size() < MacLength) {
            EndSession();
            throw Refusal{StatusWord::SecurityNotSatisfied};
        }
        apdu.data.resize(apdu.data.size() - MacLength);
    }
    return management.Carry(apdu, options.memory, status);
}

// A response has to fit the length that the command asked for, else its status word tells the right one.
Bytes SoftwareCard::Finish(
    Bytes response, const std::optional<std::size_t>& expectedLength, StatusWord status) {
    if (expectedLength && response.size() > *expectedLength) {
        const std::size_t right = response.size();
        response.clear();
        Append(
            response,
            BigEndian(static_cast<std::uint16_t>(StatusWord::WrongExpectedLength) | (right & 0xFF), 2));
        return response;
    }
    Append(response, BigEndian(static_cast<std::uint16_t>(status), 2));
    return response;
}

}  // namespace Card
