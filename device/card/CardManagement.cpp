#include "card/CardManagement.h"

#include <algorithm>

#include "globalplatform/Tlv.h"

namespace Card {

namespace {

constexpr std::uint8_t DeleteInstruction = 0xE4;
constexpr std::uint8_t InstallInstruction = 0xE6;
constexpr std::uint8_t LoadInstruction = 0xE8;
constexpr std::uint8_t StoreDataInstruction = 0xE2;
constexpr std::uint8_t PutKeyInstruction = 0xD8;
constexpr std::uint8_t SetStatusInstruction = 0xF0;
constexpr std::uint8_t GetStatusInstruction = 0xF2;

// Purposes of INSTALL.
constexpr std::uint8_t ForLoad = 0x02;
constexpr std::uint8_t ForInstall = 0x04;
constexpr std::uint8_t ForMakeSelectable = 0x08;
constexpr std::uint8_t ForPersonalization = 0x20;

constexpr std::uint8_t LastBlockFlag = 0x80;
constexpr std::uint8_t LoadBlockTag = 0xC4;
constexpr std::uint8_t AuthenticationBlockTag = 0xE2;
constexpr std::uint8_t AidTag = 0x4F;

[[noreturn]] void Refuse(StatusWord status) {
    throw Refusal{status};
}

bool IsAid(const Bytes& bytes) {
    return bytes.size() >= 5 && bytes.size() <= 16;
}

// The answer of a command that changed something: no confirmation follows.
Bytes NoConfirmation() {
    return {0x00};
}

// Exactly `count` length-value fields.
std::vector<Bytes> Fields(const Bytes& data, std::size_t count) {
    std::vector<Bytes> fields;
    LengthValueReader reader(data);
    while (fields.size() < count) {
        std::optional<Bytes> field = reader.Next();
        if (!field) {
            Refuse(StatusWord::WrongData);
        }
        fields.push_back(std::move(*field));
    }
    if (!reader.AtEnd()) {
        Refuse(StatusWord::WrongData);
    }
    return fields;
}

std::vector<TlvObject> Objects(const Bytes& data) {
    std::optional<std::vector<TlvObject>> objects = ParseTlv(data);
    if (!objects) {
        Refuse(StatusWord::WrongData);
    }
    return std::move(*objects);
}

// Data grouping identifiers of two bytes, lengths of one byte or of FF and two more.
std::vector<TlvObject> DataGroups(const Bytes& data) {
    std::vector<TlvObject> groups;
    LengthValueReader reader(data);
    while (!reader.AtEnd()) {
        const std::optional<Bytes> identifier = reader.Take(2);
        std::optional<Bytes> length = reader.Take(1);
        if (length && length->front() == 0xFF) {
            length = reader.Take(2);
        }
        std::size_t size = 0;
        for (const std::uint8_t byte : length.value_or(Bytes())) {
            size = size * 256 + byte;
        }
        std::optional<Bytes> value = length ? reader.Take(size) : std::nullopt;
        if (!identifier || !value) {
            Refuse(StatusWord::WrongData);
        }
        const std::uint32_t tag = static_cast<std::uint32_t>(identifier->front()) << 8 | identifier->back();
        groups.push_back({tag, std::move(*value)});
    }
    return groups;
}

}  // namespace

bool CardManagement::Knows(std::uint8_t instruction) {
    switch (instruction) {
        case DeleteInstruction:
        case InstallInstruction:
        case LoadInstruction:
        case StoreDataInstruction:
        case PutKeyInstruction:
        case SetStatusInstruction:
        case GetStatusInstruction:
            return true;
        default:
            return false;
    }
}

Bytes CardManagement::Carry(const CommandApdu& apdu, std::uint64_t memory, StatusWord* status) {
    if (apdu.ins != LoadInstruction) {
        loading.reset();
    } else {
        return Load(apdu, memory);
    }
    switch (apdu.ins) {
        case GetStatusInstruction:
            return GetStatus(apdu, status);
        case DeleteInstruction:
            return Delete(apdu);
        case InstallInstruction:
            return Install(apdu, memory);
        case StoreDataInstruction:
            return StoreData(apdu, memory);
        case PutKeyInstruction:
            return PutKey(apdu);
        case SetStatusInstruction:
            return SetStatus(apdu);
        default:
            Refuse(StatusWord::InstructionNotSupported);
    }
}

void CardManagement::EndSession() {
    loading.reset();
    storing.reset();
    listed = 0;
}

void CardManagement::RequireMemory(std::uint64_t needed, std::uint64_t memory) const {
    if (content.UsedMemory() + needed > memory) {
        Refuse(StatusWord::NotEnoughMemory);
    }
}

Bytes CardManagement::Delete(const CommandApdu& apdu) {
    if (apdu.p1 != 0 || (apdu.p2 != 0x00 && apdu.p2 != 0x80)) {
        Refuse(StatusWord::WrongParameters);
    }
    const std::vector<TlvObject> objects = Objects(apdu.data);
    Bytes identifier;
    Bytes version;
    for (const TlvObject& object : objects) {
        if (object.tag == AidTag && objects.size() == 1) {
            DeleteObject(object.value, apdu.p2 == 0x80);
            return NoConfirmation();
        }
        (object.tag == 0xD0 ? identifier : version) = object.value;
        if ((object.tag != 0xD0 && object.tag != 0xD2) || object.value.size() != 1) {
            Refuse(StatusWord::WrongData);
        }
    }
    DeleteKeys(identifier, version);
    return NoConfirmation();
}

void CardManagement::DeleteObject(const Bytes& aid, bool withRelated) {
    auto& applications = content.applications;
    const auto remove = [&](auto&& predicate) {
        applications.erase(
            std::remove_if(applications.begin(), applications.end(), predicate), applications.end());
    };
    if (content.FindApplication(aid) != nullptr) {
        remove([&](const Application& each) { return each.aid == aid; });
        return;
    }
    if (content.FindLoadFile(aid) == nullptr) {
        Refuse(
            aid == content.issuerDomain.aid ? StatusWord::ConditionsNotSatisfied
                                            : StatusWord::ReferencedDataNotFound);
    }
    const auto isOfFile = [&](const Application& each) { return each.loadFile == aid; };
    if (!withRelated && std::any_of(applications.begin(), applications.end(), isOfFile)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    remove(isOfFile);
    auto& files = content.loadFiles;
    files.erase(
        std::remove_if(files.begin(), files.end(), [&](const LoadFile& each) { return each.aid == aid; }),
        files.end());
}

// One key of a version, or without an identifier all of them. The card keeps its last keys.
void CardManagement::DeleteKeys(const Bytes& identifier, const Bytes& version) {
    if (version.empty()) {
        Refuse(StatusWord::WrongData);
    }
    const auto set = content.keys.find(version.front());
    if (set == content.keys.end() || (!identifier.empty() && set->second.count(identifier.front()) == 0)) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    const bool wholeSet = identifier.empty() || set->second.size() == 1;
    if (wholeSet && content.keys.size() == 1) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    if (wholeSet) {
        content.keys.erase(set);
    } else {
        set->second.erase(identifier.front());
    }
}

Bytes CardManagement::Install(const CommandApdu& apdu, std::uint64_t memory) {
    if (apdu.p2 != 0) {
        Refuse(StatusWord::WrongParameters);
    }
    switch (apdu.p1) {
        case ForLoad:
            InstallForLoad(apdu);
            break;
        case ForInstall:
            InstallForInstall(apdu, memory, false);
            break;
        case ForInstall | ForMakeSelectable:
            InstallForInstall(apdu, memory, true);
            break;
        case ForMakeSelectable:
            MakeSelectable(apdu);
            break;
        case ForPersonalization:
            InstallForPersonalization(apdu);
            break;
        default:
            Refuse(StatusWord::WrongParameters);
    }
    return NoConfirmation();
}

// Fields: load file, security domain, hash, parameters, token.
void CardManagement::InstallForLoad(const CommandApdu& apdu) {
    const std::vector<Bytes> fields = Fields(apdu.data, 5);
    if (!IsAid(fields[0])) {
        Refuse(StatusWord::WrongData);
    }
    if (!fields[1].empty() && fields[1] != content.issuerDomain.aid) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    if (content.IsTaken(fields[0])) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    loading = Loading{fields[0], 0, {}};
}

// Fields: load file, module, application, privileges, parameters, token.
void CardManagement::InstallForInstall(const CommandApdu& apdu, std::uint64_t memory, bool selectable) {
    const std::vector<Bytes> fields = Fields(apdu.data, 6);
    const Bytes& aid = fields[2].empty() ? fields[1] : fields[2];
    if (!IsAid(aid) || !IsAid(fields[1]) || (fields[3].size() != 1 && fields[3].size() != 3)) {
        Refuse(StatusWord::WrongData);
    }
    Objects(fields[4]);
    if (content.FindLoadFile(fields[0]) == nullptr) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    if (content.IsTaken(aid)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    Application application;
    application.aid = aid;
    application.loadFile = fields[0];
    application.module = fields[1];
    application.privileges = fields[3];
    application.state = selectable ? LifeCycle::Selectable : LifeCycle::Installed;
    application.size = InstanceMemory + fields[4].size();
    RequireMemory(application.size, memory);
    content.applications.push_back(std::move(application));
}

void CardManagement::MakeSelectable(const CommandApdu& apdu) {
    const std::vector<Bytes> fields = Fields(apdu.data, 6);
    Application* application = content.FindApplication(fields[2]);
    if (application == nullptr) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    if (application->state != LifeCycle::Installed) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    application->state = LifeCycle::Selectable;
}

void CardManagement::InstallForPersonalization(const CommandApdu& apdu) {
    const std::vector<Bytes> fields = Fields(apdu.data, 6);
    if (content.FindApplication(fields[2]) == nullptr) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    storing = Storing{fields[2], 0};
}

Bytes CardManagement::Load(const CommandApdu& apdu, std::uint64_t memory) {
    if (!loading) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    Loading current = std::move(*loading);
    loading.reset();
    const bool last = apdu.p1 == LastBlockFlag;
    if ((!last && apdu.p1 != 0) || apdu.p2 != (current.nextBlock & 0xFF)) {
        Refuse(StatusWord::WrongParameters);
    }
    RequireMemory(current.received.size() + apdu.data.size(), memory);
    Append(current.received, apdu.data);
    ++current.nextBlock;
    loading = std::move(current);
    if (last) {
        FinishLoading();
    }
    return NoConfirmation();
}

// The file is one load block, behind any authentication blocks.
void CardManagement::FinishLoading() {
    const Loading finished = std::move(*loading);
    loading.reset();
    const std::vector<TlvObject> objects = Objects(finished.received);
    const bool wellFormed = !objects.empty() && objects.back().tag == LoadBlockTag &&
                            !objects.back().value.empty() &&
                            std::all_of(objects.begin(), objects.end() - 1, [](const TlvObject& each) {
                                return each.tag == AuthenticationBlockTag;
                            });
    if (!wellFormed) {
        Refuse(StatusWord::WrongData);
    }
    content.loadFiles.push_back({finished.aid, objects.back().value.size()});
}

// The application that is being personalised, else the issuer domain itself.
Application& CardManagement::Personalized() {
    Application* application = storing ? content.FindApplication(storing->aid) : nullptr;
    return application == nullptr ? content.issuerDomain : *application;
}

Bytes CardManagement::StoreData(const CommandApdu& apdu, std::uint64_t memory) {
    if (!storing) {
        storing = Storing{content.issuerDomain.aid, 0};
    }
    if (apdu.p2 != (storing->nextBlock & 0xFF)) {
        storing.reset();
        Refuse(StatusWord::WrongParameters);
    }
    std::vector<TlvObject> objects;
    switch (apdu.p1 & 0x18) {
        case 0x08:
            objects = DataGroups(apdu.data);
            break;
        case 0x10:
            objects = Objects(apdu.data);
            break;
        case 0x00:
            break;  // of a form that only the application knows; nothing can be read back
        default:
            Refuse(StatusWord::WrongParameters);
    }
    RequireMemory(apdu.data.size(), memory);
    Application& target = Personalized();
    for (TlvObject& object : objects) {
        target.data[object.tag] = std::move(object.value);
    }
    ++storing->nextBlock;
    if ((apdu.p1 & LastBlockFlag) != 0) {
        storing.reset();
    }
    return {};
}

// New version, then for each key its type, its value and its check value.
Bytes CardManagement::PutKey(const CommandApdu& apdu) {
    LengthValueReader reader(apdu.data);
    const std::optional<Bytes> version = reader.Take(1);
    if (!version || version->front() == 0 || version->front() > 0x7F) {
        Refuse(StatusWord::WrongData);
    }
    KeySet keys;
    Bytes confirmation = *version;
    std::uint8_t identifier = apdu.p2 & 0x7F;
    while (!reader.AtEnd()) {
        const std::optional<Bytes> type = reader.Take(1);
        const std::optional<Bytes> value = reader.Next();
        const std::optional<Bytes> checkValue = value ? reader.Next() : std::nullopt;
        if (!type || !checkValue || value->empty()) {
            Refuse(StatusWord::WrongData);
        }
        keys[identifier++] = Key{type->front(), static_cast<std::uint8_t>(value->size())};
        Append(confirmation, *checkValue);
    }
    if (keys.empty()) {
        Refuse(StatusWord::WrongData);
    }
    if (apdu.p1 != 0 && content.keys.count(apdu.p1) == 0) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    if (apdu.p1 != version->front() && content.keys.count(version->front()) != 0) {
        Refuse(StatusWord::WrongData);
    }
    if (apdu.p1 != 0) {
        content.keys.erase(apdu.p1);
    }
    content.keys[version->front()] = std::move(keys);
    return confirmation;
}

Bytes CardManagement::SetStatus(const CommandApdu& apdu) {
    if (apdu.p1 == 0x80) {
        SetCardStatus(apdu.p2);
        return {};
    }
    if (apdu.p1 != 0x40 && apdu.p1 != 0x60) {
        Refuse(StatusWord::WrongParameters);
    }
    Application* application = content.FindApplication(apdu.data);
    if (application == nullptr) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    const bool lock = (apdu.p2 & LifeCycle::LockedFlag) != 0;
    const bool locked = (application->state & LifeCycle::LockedFlag) != 0;
    if (lock != locked) {
        application->state ^= LifeCycle::LockedFlag;
    } else if (lock || application->state < LifeCycle::Selectable || (apdu.p2 & 0x07) != 0x07) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    } else {
        application->state = apdu.p2;
    }
    return {};
}

// A card's life goes one way, but for the lock.
void CardManagement::SetCardStatus(std::uint8_t state) {
    std::uint8_t& current = content.issuerDomain.state;
    const bool unlocks = current == LifeCycle::CardLocked && state == LifeCycle::CardSecured;
    const bool known = state == LifeCycle::CardInitialized || state == LifeCycle::CardSecured ||
                       state == LifeCycle::CardLocked || state == LifeCycle::CardTerminated;
    if (!known) {
        Refuse(StatusWord::WrongParameters);
    }
    if (state <= current && !unlocks) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    current = state;
}

}  // namespace Card
