// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "card/Commands.h"
#include "card/Delegation.h"
#include "card/Fields.h"
#include "card/Hierarchy.h"
#include "card/Installation.h"
#include "card/Memory.h"
#include "card/RegistryUpdate.h"
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

// The domain that gets the file: another one has to take it; 9.3.5.
Association ReceivingDomain(const CardContent& content, const Application& manager, const Bytes& aid) {
    const bool other = !aid.empty() && aid != manager.aid;
    return content.AssociationWith(other ? AcceptingDomain(content, aid) : manager);
}

// What a token is for has a hash, as strong as the token; 11.5.2.3.1 and table C-3.
void RequireHash(const Mandate& mandate, std::size_t length) {
    if (length < mandate.leastDigestLength) {
        Refuse(StatusWord::WrongData);
    }
}

// Fields of 11.5.2.3.1: load file, security domain, hash, parameters, token.
Answer InstallForLoad(Runtime& card, const CommandApdu& command) {
    const std::vector<Bytes> fields = Fields(command.data, 5);
    const Bytes& hash = fields[2];
    if (!IsAid(fields[0]) || (!hash.empty() && !IsDigestLength(hash.size()))) {
        Refuse(StatusWord::WrongData);
    }
    const LoadParameters parameters = ReadLoadParameters(fields[3]);
    const Application& manager = Manager(card, command.p1);
    Loading loading;
    loading.domain = ReceivingDomain(card.Content(), manager, fields[1]);
    if (card.Content().IsTaken(fields[0])) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    if (parameters.memory > FreeMemory(card.Content(), card.options) ||
        parameters.volatileMemory > FreeVolatileMemory(card.Content(), card.options)) {
        Refuse(StatusWord::NotEnoughMemory);
    }
    loading.aid = fields[0];
    loading.hash = hash;
    loading.combined = command.p1 == Combined;
    Order order = InstallOrder(command, fields);
    if (loading.combined) {
        RefuseToken(fields[4]);  // it comes with the last command, 11.5.2.3.1
    } else {
        loading.mandate = RequireMandate(card, manager, order);
        RequireHash(loading.mandate, hash.size());
    }
    loading.order = std::move(order.text);
    card.session.loading = std::move(loading);
    return NoConfirmation();
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

// Who it belongs to: a domain to the one that installs it, another application to the domain of its file,
// which has to agree; 9.3.3 and 9.3.6.
Association InstalledIn(const CardContent& content, const Application& manager, const LoadFile& file) {
    const Application& owner = *content.Associated(file.domain);
    if (owner.aid != manager.aid && !IsOperational(content, owner)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    return file.CameWithTheCard() ? content.AssociationWith(manager) : file.domain;
}

// Fields of 11.5.2.3.2: load file, module, application, privileges, parameters, token. In a combined process
// the file is the one that was loaded, and need not be named.
Application InstalledBy(
    const CardContent& content, const Application& manager, const std::vector<Bytes>& fields,
    const Bytes& loadedFile, bool selectable) {
    const Bytes& name = fields[0].empty() ? loadedFile : fields[0];
    if ((!name.empty() && !IsAid(name)) || !IsAid(fields[1]) || !IsAid(fields[2])) {
        Refuse(StatusWord::WrongData);
    }
    const LoadFile& file = FileOf(content, name, fields[1]);
    Application application;
    application.aid = fields[2];
    application.module = fields[1];
    application.loadFile = file.aid;
    application.privileges = ReadPrivileges(fields[3], file.CameWithTheCard());
    application.parameters = fields[4].size();
    application.domain = InstalledIn(content, manager, file);
    if (!selectable && application.Has(Privilege::CardReset)) {
        Refuse(StatusWord::WrongData);
    }
    if (content.IsTaken(application.aid)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    return application;
}

// The content is the card's, in a combined process with the file that was loaded.
Answer InstallForInstall(
    Runtime& card, const CommandApdu& command, CardContent changed, const Loaded& loaded = {}) {
    const std::vector<Bytes> fields = Fields(command.data, 6);
    const bool selectable = (command.p1 & InstallFor::MakeSelectable) != 0;
    InstallParameters parameters = ReadInstallParameters(fields[4], selectable);
    const Application& manager = Manager(card, command.p1);
    Application application = InstalledBy(changed, manager, fields, loaded.file.aid, selectable);
    const Mandate mandate = RequireMandate(card, manager, InstallOrder(command, fields, loaded.order));
    if (!loaded.order.empty()) {
        RequireHash(mandate, loaded.hashLength);
    }
    if (parameters.memory.reserved > FreeMemory(changed, card.options) ||
        parameters.volatileMemory.reserved > FreeVolatileMemory(changed, card.options)) {
        Refuse(StatusWord::NotEnoughMemory);
    }
    application.memory = parameters.memory;
    application.volatileMemory = parameters.volatileMemory;
    RequireSingleHolder(changed, application);
    if (selectable) {
        MakeSelectable(changed, application, parameters.implicitSelection);
    }
    std::vector<Bytes> confirmed = {application.loadFile, application.aid};
    if (!loaded.order.empty()) {
        confirmed.push_back(changed.Associated(loaded.file.domain)->aid);
    }
    changed.applications.push_back(std::move(application));
    return CommitAndConfirm(card, std::move(changed), mandate, confirmed);
}

// The loaded file comes to be with its application, or not at all; 9.3.8. It may be named again.
Answer EndCombination(Runtime& card, const CommandApdu& command, const std::optional<Loaded>& loaded) {
    const Bytes name = Fields(command.data, 6)[0];
    if (!loaded || (!name.empty() && name != loaded->file.aid) || card.Content().IsTaken(loaded->file.aid) ||
        card.Content().Associated(loaded->file.domain) == nullptr) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    CardContent changed = card.Content();
    changed.loadFiles.push_back(loaded->file);
    return InstallForInstall(card, command, std::move(changed), *loaded);
}

// Fields of 11.5.2.3.3; the first two are empty.
Answer InstallForMakeSelectable(Runtime& card, const CommandApdu& command) {
    const std::vector<Bytes> fields = Fields(command.data, 6);
    RequireEmpty(fields, {0, 1});
    const Bytes implicitSelection = ReadSelectionParameters(fields[4]);
    const bool cardReset = (FromBigEndian(Privileges(fields[3])) & Privilege::CardReset) != 0;
    const Application& manager = Manager(card, command.p1);
    CardContent changed = card.Content();
    Application* application = changed.FindApplication(fields[2]);
    if (application == nullptr) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    RequireConsent(changed, application->domain, manager);
    const Mandate mandate = RequireMandate(card, manager, InstallOrder(command, fields));
    if (application->state != LifeCycle::Installed) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    Application selectable = *application;
    if (cardReset) {
        selectable.privileges =
            BigEndian(FromBigEndian(selectable.privileges) | Privilege::CardReset, PrivilegesLength);
    }
    MakeSelectable(changed, selectable, implicitSelection);
    *application = std::move(selectable);
    const std::vector<Bytes> confirmed = {application->loadFile, application->aid};
    return CommitAndConfirm(card, std::move(changed), mandate, confirmed);
}

// Fields of 11.5.2.3.6; all but the application are empty. STORE DATA goes to the application then, which
// has to be the domain's own; 6.7 and 7.3.2.
Answer InstallForPersonalization(Runtime& card, const CommandApdu& command) {
    card.session.personalized.clear();
    card.session.storing.reset();
    const std::vector<Bytes> fields = Fields(command.data, 6);
    RequireEmpty(fields, {0, 1, 3, 4, 5});
    const CardContent& content = card.Content();
    const Application& domain = *card.SelectedDomain();
    const bool restricted = IsRestricted(content, domain, InstallFor::Personalization);
    if (restricted || !domain.Has(Privilege::TrustedPath)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    const Application* application = content.FindApplication(fields[2]);
    if (application == nullptr) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    if (application->IsLocked() || application->domain != content.AssociationWith(domain)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    card.session.personalized = application->aid;
    return NoConfirmation();
}

}  // namespace

Answer Install(Runtime& card, const CommandApdu& command) {
    const std::optional<Loaded> loaded = std::move(card.session.loaded);
    card.session.loaded.reset();
    switch (command.p1 << 8 | command.p2) {
        case InstallFor::Load << 8 | NoInformation:
        case Combined << 8 | BeginsCombination:
            return InstallForLoad(card, command);
        case InstallFor::Install << 8 | NoInformation:
        case (InstallFor::Install | InstallFor::MakeSelectable) << 8 | NoInformation:
            return InstallForInstall(card, command, card.Content());
        case Combined << 8 | EndsCombination:
            return EndCombination(card, command, loaded);
        case InstallFor::MakeSelectable << 8 | NoInformation:
            return InstallForMakeSelectable(card, command);
        case InstallFor::Personalization << 8 | NoInformation:
            return InstallForPersonalization(card, command);
        case InstallFor::Extradition << 8 | NoInformation:
            return InstallForExtradition(card, command);
        case InstallFor::RegistryUpdate << 8 | NoInformation:
            return InstallForRegistryUpdate(card, command);
        default:
            Refuse(StatusWord::WrongParameters);
    }
}

}  // namespace Card
