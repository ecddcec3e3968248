// SPDX-License-Identifier: Apache-2.0
#include "card/Installation.h"

#include <algorithm>

#include "card/Fields.h"
#include "globalplatform/Tags.h"

namespace Card {

namespace {

// A parameter of implicit selection, 11.1.7.
constexpr std::uint8_t Contactless = 0x80;
constexpr std::uint8_t Contact = 0x40;
constexpr std::uint8_t Interfaces = Contactless | Contact;
constexpr std::uint8_t ChannelNumber = 0x1F;
constexpr std::uint8_t LastChannel = 19;

// Card reset without such a parameter, 6.4.1.
constexpr std::uint8_t FirstChannelEverywhere = Interfaces;

std::vector<TlvObject> SystemParameters(const Bytes& parameters) {
    const std::vector<TlvObject> objects = Objects(parameters);
    const Bytes* system = FindObject(objects, Tag::SystemParameters);
    return system == nullptr ? std::vector<TlvObject>() : Objects(*system);
}

// Of two or four bytes; 0 when it is not there.
std::uint64_t MemorySize(const std::vector<TlvObject>& system, std::uint32_t tag) {
    const Bytes* value = FindObject(system, tag);
    if (value == nullptr) {
        return 0;
    }
    if (value->size() != 2 && value->size() != 4) {
        Refuse(StatusWord::WrongData);
    }
    return FromBigEndian(*value);
}

// A quota reserves nothing, and is not below what is reserved; 9.7.
MemoryLimits Limits(const std::vector<TlvObject>& system, std::uint32_t reservedTag, std::uint32_t quotaTag) {
    MemoryLimits limits;
    limits.reserved = MemorySize(system, reservedTag);
    if (FindObject(system, quotaTag) != nullptr) {
        limits.quota = MemorySize(system, quotaTag);
    }
    if (limits.quota && *limits.quota < limits.reserved) {
        Refuse(StatusWord::WrongData);
    }
    return limits;
}

// They add up.
Bytes ImplicitSelection(const std::vector<TlvObject>& system) {
    Bytes parameters;
    for (const TlvObject& object : system) {
        if (object.tag != Tag::ImplicitSelection) {
            continue;
        }
        if (object.value.size() != 1 || (object.value.front() & ChannelNumber) > LastChannel) {
            Refuse(StatusWord::WrongData);
        }
        parameters.push_back(object.value.front());
    }
    return parameters;
}

// Where it is selected by itself.
Bytes Places(const Application& application) {
    if (application.implicitSelection.empty() && application.Has(Privilege::CardReset) &&
        application.state >= LifeCycle::Selectable) {
        return {FirstChannelEverywhere};
    }
    return application.implicitSelection;
}

bool Meet(std::uint8_t left, std::uint8_t right) {
    return (left & ChannelNumber) == (right & ChannelNumber) && (left & right & Interfaces) != 0;
}

bool Meet(const Bytes& left, const Bytes& right) {
    return std::any_of(left.begin(), left.end(), [&](std::uint8_t one) {
        return std::any_of(right.begin(), right.end(), [&](std::uint8_t other) { return Meet(one, other); });
    });
}

}  // namespace

LoadParameters ReadLoadParameters(const Bytes& parameters) {
    const std::vector<TlvObject> system = SystemParameters(parameters);
    return {
        MemorySize(system, Tag::CodeMemory) + MemorySize(system, Tag::InstanceMemory),
        MemorySize(system, Tag::VolatileQuota)};
}

InstallParameters ReadInstallParameters(const Bytes& parameters, bool selectable) {
    if (FindObject(Objects(parameters), Tag::ApplicationParameters) == nullptr) {
        Refuse(StatusWord::WrongData);
    }
    const std::vector<TlvObject> system = SystemParameters(parameters);
    InstallParameters read;
    read.memory = Limits(system, Tag::ReservedMemory, Tag::InstanceMemory);
    read.volatileMemory = Limits(system, Tag::ReservedVolatileMemory, Tag::VolatileQuota);
    read.implicitSelection = ImplicitSelection(system);
    if (!read.implicitSelection.empty() && !selectable) {
        Refuse(StatusWord::WrongData);
    }
    return read;
}

Bytes ReadSelectionParameters(const Bytes& parameters) {
    return ImplicitSelection(SystemParameters(parameters));
}

UpdateParameters ReadUpdateParameters(const Bytes& parameters) {
    const std::vector<TlvObject> system = SystemParameters(parameters);
    UpdateParameters read{ImplicitSelection(system), std::nullopt};
    if (const Bytes* restriction = FindObject(system, Tag::Restriction)) {
        if (restriction->size() != 1) {
            Refuse(StatusWord::WrongData);
        }
        read.restriction = restriction->front();
    }
    return read;
}

std::uint32_t PossiblePrivileges(bool domain) {
    constexpr std::uint32_t Common = Privilege::CardLock | Privilege::CardTerminate | Privilege::CardReset |
                                     Privilege::CvmManagement | Privilege::GlobalLock |
                                     Privilege::GlobalRegistry | Privilege::FinalApplication |
                                     Privilege::GlobalService;
    constexpr std::uint32_t OfDomains =
        Privilege::SecurityDomain | Privilege::TrustedPath | Privilege::AuthorizedManagement |
        Privilege::GlobalDelete | Privilege::MandatedDapVerification | Privilege::DelegatedManagement |
        Privilege::TokenVerification | Privilege::ReceiptGeneration | Privilege::CipheredLoadFile;
    return domain ? Common | OfDomains : Common;
}

// What manages by a token has neither its own authority nor that of verifying tokens or giving receipts, and
// mandated verification of load files is verification; 6.6.2.
bool GoTogether(std::uint32_t privileges) {
    constexpr std::uint32_t Delegation = Privilege::DelegatedManagement & ~Privilege::SecurityDomain;
    constexpr std::uint32_t WithoutDelegation =
        Privilege::AuthorizedManagement | Privilege::TokenVerification | Privilege::ReceiptGeneration;
    constexpr std::uint32_t Verification = Privilege::DapVerification & ~Privilege::SecurityDomain;
    constexpr std::uint32_t Mandated = Privilege::MandatedDapVerification & ~Privilege::DapVerification;
    const bool contradicts = (privileges & Delegation) != 0 && (privileges & WithoutDelegation) != 0;
    const bool lacks = (privileges & Mandated) != 0 && (privileges & Verification) == 0;
    return !contradicts && !lacks;
}

Bytes ReadPrivileges(const Bytes& field, bool domain) {
    auto privileges = static_cast<std::uint32_t>(FromBigEndian(Privileges(field))) & ~Privilege::Reserved;
    if (domain && field.size() == 1) {
        privileges |= Privilege::TrustedPath;
    }
    const bool possible = (privileges & ~PossiblePrivileges(domain)) == 0;
    if (!possible || !GoTogether(privileges) || ((privileges & Privilege::SecurityDomain) != 0) != domain) {
        Refuse(StatusWord::WrongData);
    }
    return BigEndian(privileges, PrivilegesLength);
}

void RequireSingleHolder(const CardContent& content, const Application& application) {
    for (const std::uint32_t single : {Privilege::CardReset, Privilege::FinalApplication}) {
        const Application* holder = content.HolderOf(single);
        if (application.Has(single) && holder != nullptr && holder->aid != application.aid) {
            Refuse(StatusWord::ConditionsNotSatisfied);
        }
    }
}

void MakeSelectable(const CardContent& content, Application& application, const Bytes& implicitSelection) {
    application.state = LifeCycle::Selectable;
    RequireSingleHolder(content, application);
    AddImplicitSelection(content, application, implicitSelection);
}

void AddImplicitSelection(const CardContent& content, Application& application, const Bytes& parameters) {
    Append(application.implicitSelection, parameters);
    const Bytes places = Places(application);
    const bool taken = std::any_of(
        content.applications.begin(), content.applications.end(),
        [&](const Application& each) { return each.aid != application.aid && Meet(places, Places(each)); });
    if (taken) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
}

bool IsSelectedImplicitly(const Application& application, std::uint8_t logicalChannel) {
    return Meet(Places(application), {static_cast<std::uint8_t>(Contact | logicalChannel)});
}

}  // namespace Card
