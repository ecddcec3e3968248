// SPDX-License-Identifier: Apache-2.0
#include "card/Commands.h"
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

void SetCardState(CardContent& content, std::uint8_t state) {
    if (!IsCardState(state)) {
        Refuse(StatusWord::WrongData);
    }
    if (!MayBecome(content.issuerDomain.state, state)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    content.issuerDomain.state = state;
}

// Of another's state only its lock can be set, 11.10.2.2. Locking keeps the state below, and unlocking brings
// it back, 9.6.2.
void Lock(Application& application, bool lock) {
    if (application.IsLocked() != lock) {
        application.state ^= LifeCycle::LockedFlag;
    }
}

void LockApplication(CardContent& content, const Bytes& aid, bool lock) {
    Application* application = content.FindApplication(aid);
    if (application == nullptr) {
        const bool issuer = aid == content.issuerDomain.aid;
        Refuse(issuer ? StatusWord::ConditionsNotSatisfied : StatusWord::ReferencedDataNotFound);
    }
    if (application->IsLocked() == lock) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    Lock(*application, lock);
}

// All that is below the domain; the issuer domain is the only one, and has itself the card's state. What is
// in that state already stays so.
void LockBelow(CardContent& content, const Bytes& aid, bool lock) {
    if (aid != content.issuerDomain.aid) {
        const bool application = content.FindApplication(aid) != nullptr;
        Refuse(application ? StatusWord::ConditionsNotSatisfied : StatusWord::ReferencedDataNotFound);
    }
    for (Application& application : content.applications) {
        Lock(application, lock);
    }
}

}  // namespace

Answer SetStatus(Runtime& card, const CommandApdu& command) {
    CardContent changed = card.Content();
    const bool lock = (command.p2 & LifeCycle::LockedFlag) != 0;
    switch (command.p1 & StatusTarget::Mask) {
        case StatusTarget::IssuerDomain:
            SetCardState(changed, command.p2);
            break;
        case StatusTarget::Application:
            LockApplication(changed, command.data, lock);
            break;
        case StatusTarget::DomainAndItsApplications:
            LockBelow(changed, command.data, lock);
            break;
        default:
            Refuse(StatusWord::WrongParameters);
    }
    card.Commit(std::move(changed));
    return {};
}

}  // namespace Card
