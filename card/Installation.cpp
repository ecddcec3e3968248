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
std::uint64_t Reserved(
    const std::vector<TlvObject>& system, std::uint32_t reservedTag, std::uint32_t quotaTag) {
    const std::uint64_t reserved = MemorySize(system, reservedTag);
    const std::uint64_t quota = MemorySize(system, quotaTag);
    if (FindObject(system, quotaTag) != nullptr && quota < reserved) {
        Refuse(StatusWord::WrongData);
    }
    return reserved;
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
    if (application.implicitSelection.empty() && application.HasCardReset() &&
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
    read.reservedMemory = Reserved(system, Tag::ReservedMemory, Tag::InstanceMemory);
    read.reservedVolatileMemory = Reserved(system, Tag::ReservedVolatileMemory, Tag::VolatileQuota);
    read.implicitSelection = ImplicitSelection(system);
    if (!read.implicitSelection.empty() && !selectable) {
        Refuse(StatusWord::WrongData);
    }
    return read;
}

Bytes ReadSelectionParameters(const Bytes& parameters) {
    return ImplicitSelection(SystemParameters(parameters));
}

Bytes ApplicationPrivileges(const Bytes& field, bool selectable) {
    Bytes privileges = Privileges(field);
    const bool others =
        (privileges[0] & ~CardResetPrivilege) != 0 || privileges[1] != 0 || privileges[2] != 0;
    if (others || (privileges[0] != 0 && !selectable)) {
        Refuse(StatusWord::WrongData);
    }
    return privileges;
}

void MakeSelectable(const CardContent& content, Application& application, const Bytes& implicitSelection) {
    application.state = LifeCycle::Selectable;
    Append(application.implicitSelection, implicitSelection);
    const Bytes places = Places(application);
    const bool taken =
        std::any_of(content.applications.begin(), content.applications.end(), [&](const Application& each) {
            const bool resets = application.HasCardReset() && each.HasCardReset();
            return each.aid != application.aid && (resets || Meet(places, Places(each)));
        });
    if (taken) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
}

bool IsSelectedImplicitly(const Application& application, std::uint8_t logicalChannel) {
    return Meet(Places(application), {static_cast<std::uint8_t>(Contact | logicalChannel)});
}

}  // namespace Card
