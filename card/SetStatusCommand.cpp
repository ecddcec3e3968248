// SPDX-License-Identifier: Apache-2.0
// SET STATUS: GlobalPlatform Card 2.3.1, 5, 9.6 and 11.10.
#include "card/Commands.h"
#include "card/Hierarchy.h"
#include "globalplatform/Instruction.h"

namespace Card {

namespace {

// A card's life goes one way, but for its lock; 5.1.2.
bool MayBecome(std::uint8_t current, std::uint8_t state) {
    switch (state) {
        case LifeCycle::CardInitialized:
            return current == LifeCycle::CardReady;
        case LifeCycle::CardSecured:
            return current == LifeCycle::CardInitialized || current == LifeCycle::CardLocked;
        case LifeCycle::CardLocked:
            return current == LifeCycle::CardSecured;
        default:
            return state == LifeCycle::CardTerminated && current != LifeCycle::CardTerminated;
    }
}

// Production states are the issuer domain's; locks and the end are of who has the privilege, 9.6.3 and 9.6.4.
bool MaySet(const CardContent& content, const Application& domain, std::uint8_t state) {
    if (state == LifeCycle::CardTerminated) {
        return domain.Has(Privilege::CardTerminate);
    }
    const bool lock = state == LifeCycle::CardLocked;
    const bool unlock = content.issuerDomain.state == LifeCycle::CardLocked;
    return lock || unlock ? domain.Has(Privilege::CardLock) : content.IsIssuer(domain);
}

void SetCardState(CardContent& content, const Application& domain, std::uint8_t state) {
    if (!IsCardState(state)) {
        Refuse(StatusWord::WrongData);
    }
    if (!MayBecome(content.issuerDomain.state, state) || !MaySet(content, domain, state)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    content.issuerDomain.state = state;
}

// By itself, a domain says that it has what it needs, or locks itself; 5.3.2 and 11.10.2.2.
void SetOwnState(Application& domain, std::uint8_t state) {
    const bool lock = (state & LifeCycle::LockedFlag) != 0;
    const bool ready = state == LifeCycle::Personalized && domain.state == LifeCycle::Selectable;
    if (!lock && !ready) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    domain.state = lock ? static_cast<std::uint8_t>(domain.state | LifeCycle::LockedFlag) : state;
}

// Of another's state only its lock can be set, 11.10.2.2. Locking keeps the state below, and unlocking brings
// it back, 9.6.2.
void Lock(Application& application, bool lock) {
    if (application.IsLocked() != lock) {
        application.state ^= LifeCycle::LockedFlag;
    }
}

// Another's lock is of the domains above it, and of who has global lock; 9.6.2.
void SetLock(const CardContent& content, Application& application, const Application& domain, bool lock) {
    const bool above = IsBelow(content, application.domain, domain);
    if (application.IsLocked() == lock || (!above && !domain.Has(Privilege::GlobalLock))) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    Lock(application, lock);
}

Application& Target(CardContent& content, const Bytes& aid) {
    Application* application = content.FindSelectable(aid);
    if (application == nullptr) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    return *application;
}

void SetApplicationState(
    CardContent& content, const Application& domain, const Bytes& aid, std::uint8_t state) {
    Application& application = Target(content, aid);
    const bool lock = (state & LifeCycle::LockedFlag) != 0;
    const bool final = application.Has(Privilege::FinalApplication);  // is never locked, 9.6.2
    if (content.IsIssuer(application) || (lock && final)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    if (application.aid == domain.aid) {
        SetOwnState(application, state);
    } else {
        SetLock(content, application, domain, lock);
    }
}

// A domain with all that is below it, each with its own state under the lock. What is in that state already
// stays so, and so do the issuer domain, which has itself the card's state, and the final application.
void LockBelow(CardContent& content, const Application& domain, const Bytes& aid, bool lock) {
    const Application& top = Target(content, aid);
    const bool above = top.aid == domain.aid || IsBelow(content, top.domain, domain);
    if (!top.IsDomain() || (!above && !domain.Has(Privilege::GlobalLock))) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    for (Application& application : content.applications) {
        const bool belongs = application.aid == top.aid || IsBelow(content, application.domain, top);
        if (belongs && !application.Has(Privilege::FinalApplication)) {
            Lock(application, lock);
        }
    }
}

}  // namespace

Answer SetStatus(Runtime& card, const CommandApdu& command) {
    CardContent changed = card.Content();
    const Application& domain = *card.SelectedDomain();
    const bool lock = (command.p2 & LifeCycle::LockedFlag) != 0;
    switch (command.p1 & StatusTarget::Mask) {
        case StatusTarget::IssuerDomain:
            SetCardState(changed, domain, command.p2);
            break;
        case StatusTarget::Application:
            SetApplicationState(changed, domain, command.data, command.p2);
            break;
        case StatusTarget::DomainAndItsApplications:
            LockBelow(changed, domain, command.data, lock);
            break;
        default:
            Refuse(StatusWord::WrongParameters);
    }
    card.Commit(std::move(changed));
    return {};
}

}  // namespace Card
