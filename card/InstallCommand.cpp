// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "card/Commands.h"
#include "card/Fields.h"
#include "card/Installation.h"
#include "globalplatform/Aid.h"
#include "globalplatform/Digest.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/Tags.h"

namespace Card {

namespace {

constexpr std::uint8_t Combined = InstallFor::Load | InstallFor::Install | InstallFor::MakeSelectable;

// P2, 11.5.2.2.
constexpr std::uint8_t NoInformation = 0x00;
constexpr std::uint8_t BeginsCombination = 0x01;
constexpr std::uint8_t EndsCombination = 0x03;

// The issuer domain manages content by itself, so that a token is an error; 9.1.3.2.
void RefuseToken(const Bytes& token) {
    if (!token.empty()) {
        Refuse(StatusWord::WrongData);
    }
}

// Fields that a form of the command leaves out are there, and empty.
void RequireEmpty(const std::vector<Bytes>& fields, std::initializer_list<std::size_t> which) {
    for (const std::size_t at : which) {
        if (!fields[at].empty()) {
            Refuse(StatusWord::WrongData);
        }
    }
}

// Fields of 11.5.2.3.1: load file, security domain, hash, parameters, token.
void InstallForLoad(Runtime& card, const CommandApdu& command) {
    const std::vector<Bytes> fields = Fields(command.data, 5);
    const Bytes& hash = fields[2];
    if (!IsAid(fields[0]) || (!hash.empty() && !IsDigestLength(hash.size()))) {
        Refuse(StatusWord::WrongData);
    }
    RefuseToken(fields[4]);
    const LoadParameters parameters = ReadLoadParameters(fields[3]);
    if (!fields[1].empty() && fields[1] != card.Content().issuerDomain.aid) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    if (card.Content().IsTaken(fields[0])) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    if (parameters.memory > FreeMemory(card.Content(), card.options) ||
        parameters.volatileMemory > card.options.volatileMemory) {
        Refuse(StatusWord::NotEnoughMemory);
    }
    Loading loading;
    loading.aid = fields[0];
    loading.hash = hash;
    loading.combined = command.p1 == Combined;
    card.session.loading = std::move(loading);
}

// The file with the module; 11.5.2.3.2. Without a name, the one that says that it has the module.
const LoadFile& FileOf(const CardContent& content, const Bytes& name, const Bytes& module) {
    const auto has = [&](const LoadFile& file) {
        return std::find(file.modules.begin(), file.modules.end(), module) != file.modules.end();
    };
    const auto found =
        std::find_if(content.loadFiles.begin(), content.loadFiles.end(), [&](const LoadFile& file) {
            return name.empty() ? has(file) : file.aid == name && (!file.describesItself || has(file));
        });
    if (found == content.loadFiles.end()) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    return *found;
}

// Fields of 11.5.2.3.2: load file, module, application, privileges, parameters, token. The content is the
// card's, in a combined process with the file that was loaded, which need not be named then.
void InstallForInstall(
    Runtime& card, const CommandApdu& command, CardContent changed, const Bytes& loadedFile = {}) {
    const std::vector<Bytes> fields = Fields(command.data, 6);
    const Bytes& file = fields[0].empty() ? loadedFile : fields[0];
    const bool selectable = (command.p1 & InstallFor::MakeSelectable) != 0;
    const InstallParameters parameters = ReadInstallParameters(fields[4], selectable);
    if ((!file.empty() && !IsAid(file)) || !IsAid(fields[1]) || !IsAid(fields[2])) {
        Refuse(StatusWord::WrongData);
    }
    RefuseToken(fields[5]);
    Application application;
    application.aid = fields[2];
    application.module = fields[1];
    application.loadFile = FileOf(changed, file, fields[1]).aid;
    application.privileges = ApplicationPrivileges(fields[3], selectable);
    application.parameters = fields[4].size();
    if (changed.IsTaken(application.aid)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    if (parameters.reservedMemory > FreeMemory(changed, card.options) ||
        parameters.reservedVolatileMemory > card.options.volatileMemory) {
        Refuse(StatusWord::NotEnoughMemory);
    }
    if (selectable) {
        MakeSelectable(changed, application, parameters.implicitSelection);
    }
    changed.applications.push_back(std::move(application));
    card.Commit(std::move(changed));
}

// The loaded file comes to be with its application, or not at all; 9.3.8. It may be named again.
void EndCombination(Runtime& card, const CommandApdu& command, const std::optional<LoadFile>& loaded) {
    const Bytes name = Fields(command.data, 6)[0];
    if (!loaded || (!name.empty() && name != loaded->aid) || card.Content().IsTaken(loaded->aid)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    CardContent changed = card.Content();
    changed.loadFiles.push_back(*loaded);
    InstallForInstall(card, command, std::move(changed), loaded->aid);
}

// Fields of 11.5.2.3.3; the first two are empty.
void InstallForMakeSelectable(Runtime& card, const CommandApdu& command) {
    const std::vector<Bytes> fields = Fields(command.data, 6);
    RequireEmpty(fields, {0, 1});
    RefuseToken(fields[5]);
    const Bytes implicitSelection = ReadSelectionParameters(fields[4]);
    const bool cardReset = (Privileges(fields[3]).front() & CardResetPrivilege) != 0;
    CardContent changed = card.Content();
    Application* application = changed.FindApplication(fields[2]);
    if (application == nullptr) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    if (application->state != LifeCycle::Installed) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    Application selectable = *application;
    selectable.privileges.front() |= cardReset ? CardResetPrivilege : std::uint8_t{0};
    MakeSelectable(changed, selectable, implicitSelection);
    *application = std::move(selectable);
    card.Commit(std::move(changed));
}

// Fields of 11.5.2.3.6; all but the application are empty. STORE DATA goes to the application then.
void InstallForPersonalization(Runtime& card, const CommandApdu& command) {
    card.session.personalized.clear();
    card.session.storing.reset();
    const std::vector<Bytes> fields = Fields(command.data, 6);
    RequireEmpty(fields, {0, 1, 3, 4, 5});
    const Application* application = card.Content().FindApplication(fields[2]);
    if (application == nullptr) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    if (application->IsLocked()) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    card.session.personalized = application->aid;
}

}  // namespace

Answer Install(Runtime& card, const CommandApdu& command) {
    const std::optional<LoadFile> loaded = std::move(card.session.loaded);
    card.session.loaded.reset();
    switch (command.p1 << 8 | command.p2) {
        case InstallFor::Load << 8 | NoInformation:
        case Combined << 8 | BeginsCombination:
            InstallForLoad(card, command);
            break;
        case InstallFor::Install << 8 | NoInformation:
        case (InstallFor::Install | InstallFor::MakeSelectable) << 8 | NoInformation:
            InstallForInstall(card, command, card.Content());
            break;
        case Combined << 8 | EndsCombination:
            EndCombination(card, command, loaded);
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
