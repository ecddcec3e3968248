// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "card/Commands.h"
#include "card/Fields.h"
#include "globalplatform/Aid.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/Sha256.h"
#include "globalplatform/Tags.h"

namespace Card {

namespace {

constexpr std::uint8_t Combined = InstallFor::Load | InstallFor::Install | InstallFor::MakeSelectable;

// P2, 11.5.2.2.
constexpr std::uint8_t NoInformation = 0x00;
constexpr std::uint8_t BeginsCombination = 0x01;
constexpr std::uint8_t EndsCombination = 0x03;

void RefuseToken(const Bytes& token) {
    // There is no security domain that could verify one; 9.1.3.1.
    if (!token.empty()) {
        Refuse(StatusWord::WrongData);
    }
}

// Memory that the parameters ask for in advance, 11.5.2.3.7: the card must have it free.
void RequireFreeMemory(const Runtime& card, const Bytes& parameters, std::uint32_t tag) {
    const std::vector<TlvObject> objects = Objects(parameters);
    const Bytes* system = FindObject(objects, Tag::SystemParameters);
    const std::vector<TlvObject> limits = system == nullptr ? std::vector<TlvObject>() : Objects(*system);
    const Bytes* needed = FindObject(limits, tag);
    if (needed == nullptr) {
        return;
    }
    if (needed->size() != 2 && needed->size() != 4) {
        Refuse(StatusWord::WrongData);
    }
    std::uint64_t size = 0;
    for (const std::uint8_t byte : *needed) {
        size = size << 8 | byte;
    }
    if (size > FreeMemory(card.Content(), card.options)) {
        Refuse(StatusWord::NotEnoughMemory);
    }
}

// Fields of 11.5.2.3.1: load file, security domain, hash, parameters, token.
void InstallForLoad(Runtime& card, const CommandApdu& command) {
    const std::vector<Bytes> fields = Fields(command.data, 5);
    const Bytes& hash = fields[2];
    if (!IsAid(fields[0]) || (!hash.empty() && hash.size() != Sha256Length)) {
        Refuse(StatusWord::WrongData);
    }
    RefuseToken(fields[4]);
    if (!fields[1].empty() && fields[1] != card.Content().issuerDomain.aid) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    if (card.Content().IsTaken(fields[0])) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    RequireFreeMemory(card, fields[3], Tag::CodeMemory);
    Loading loading;
    loading.aid = fields[0];
    loading.hash = hash;
    loading.combined = command.p1 == Combined;
    card.session.loading = std::move(loading);
}

// Only one application has the privilege of card reset; others that the card could not honour are
// refused, 6.6.
void RequirePrivileges(const CardContent& content, const Bytes& privileges) {
    const bool others =
        (privileges[0] & ~CardResetPrivilege) != 0 || privileges[1] != 0 || privileges[2] != 0;
    if (others) {
        Refuse(StatusWord::WrongData);
    }
    const bool taken = std::any_of(
        content.applications.begin(), content.applications.end(),
        [](const Application& each) { return (each.privileges[0] & CardResetPrivilege) != 0; });
    if (privileges[0] != 0 && taken) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
}

void RequireModule(const CardContent& content, const Bytes& loadFile, const Bytes& module) {
    const LoadFile* file = content.FindLoadFile(loadFile);
    if (file == nullptr) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    const bool named = std::find(file->modules.begin(), file->modules.end(), module) != file->modules.end();
    if (!file->modules.empty() && !named) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
}

// Fields of 11.5.2.3.2: load file, module, application, privileges, parameters, token.
void InstallForInstall(Runtime& card, const CommandApdu& command) {
    const std::vector<Bytes> fields = Fields(command.data, 6);
    Application application;
    application.aid = fields[2].empty() ? fields[1] : fields[2];
    application.loadFile = fields[0];
    application.module = fields[1];
    application.privileges = Privileges(fields[3]);
    application.parameters = fields[4].size();
    if ((command.p1 & InstallFor::MakeSelectable) != 0) {
        application.state = LifeCycle::Selectable;
    }
    if (!IsAid(application.aid) || !IsAid(application.module)) {
        Refuse(StatusWord::WrongData);
    }
    RefuseToken(fields[5]);
    RequireModule(card.Content(), application.loadFile, application.module);
    RequirePrivileges(card.Content(), application.privileges);
    if (card.Content().IsTaken(application.aid)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    RequireFreeMemory(card, fields[4], Tag::InstanceMemory);
    CardContent changed = card.Content();
    changed.applications.push_back(std::move(application));
    card.Commit(std::move(changed));
}

// Both parts of a combined process name the same load file, 11.5.2.2.
void EndCombination(Runtime& card, const CommandApdu& command) {
    const Bytes loaded = std::move(card.session.combinedFile);
    card.session.combinedFile.clear();
    if (loaded.empty() || Fields(command.data, 6)[0] != loaded) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    InstallForInstall(card, command);
}

// Fields of 11.5.2.3.3; the first two are empty.
void InstallForMakeSelectable(Runtime& card, const CommandApdu& command) {
    const std::vector<Bytes> fields = Fields(command.data, 6);
    RefuseToken(fields[5]);
    CardContent changed = card.Content();
    Application* application = changed.FindApplication(fields[2]);
    if (application == nullptr) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    if (application->state != LifeCycle::Installed) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    application->state = LifeCycle::Selectable;
    card.Commit(std::move(changed));
}

// Fields of 11.5.2.3.6; all but the application are empty. STORE DATA goes to the application then.
void InstallForPersonalization(Runtime& card, const CommandApdu& command) {
    const std::vector<Bytes> fields = Fields(command.data, 6);
    const Application* application = card.Content().FindApplication(fields[2]);
    if (application == nullptr) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    if ((application->state & LifeCycle::LockedFlag) != 0) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    Storing storing;
    storing.aid = application->aid;
    card.session.storing = std::move(storing);
}

}  // namespace

Answer Install(Runtime& card, const CommandApdu& command) {
    switch (command.p1 << 8 | command.p2) {
        case InstallFor::Load << 8 | NoInformation:
        case Combined << 8 | BeginsCombination:
            InstallForLoad(card, command);
            break;
        case InstallFor::Install << 8 | NoInformation:
        case (InstallFor::Install | InstallFor::MakeSelectable) << 8 | NoInformation:
            InstallForInstall(card, command);
            break;
        case Combined << 8 | EndsCombination:
            EndCombination(card, command);
            break;
        case InstallFor::MakeSelectable << 8 | NoInformation:
            InstallForMakeSelectable(card, command);
            break;
        case InstallFor::Personalization << 8 | NoInformation:
            InstallForPersonalization(card, command);
            break;
        default:
            Refuse(StatusWord::WrongParameters);
    }
    return NoConfirmation();
}

}  // namespace Card
