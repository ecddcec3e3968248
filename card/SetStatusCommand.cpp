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
        Refuse(StatusWord::WrongParameters);
    }
    if (!MayBecome(content.issuerDomain.state, state)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    content.issuerDomain.state = state;
}

// Locking keeps the state below, and unlocking brings it back, 5.3.1.3. Else an application that can be
// selected goes to a state of its own, 5.3.1.4.
void SetApplicationState(CardContent& content, const Bytes& aid, std::uint8_t state) {
    Application* application = content.FindApplication(aid);
    if (application == nullptr) {
        const bool issuer = aid == content.issuerDomain.aid;
        Refuse(issuer ? StatusWord::ConditionsNotSatisfied : StatusWord::ReferencedDataNotFound);
    }
    const bool lock = (state & LifeCycle::LockedFlag) != 0;
    const bool locked = (application->state & LifeCycle::LockedFlag) != 0;
    const bool ownState = (state & LifeCycle::Selectable) == LifeCycle::Selectable;
    if (lock != locked) {
        application->state ^= LifeCycle::LockedFlag;
    } else if (lock || application->state < LifeCycle::Selectable || !ownState) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    } else {
        application->state = state;
    }
}

}  // namespace

Answer SetStatus(Runtime& card, const CommandApdu& command) {
    CardContent changed = card.Content();
    switch (command.p1) {
        case StatusTarget::IssuerDomain:
            SetCardState(changed, command.p2);
            break;
        case StatusTarget::Application:
            SetApplicationState(changed, command.data, command.p2);
            break;
        case StatusTarget::DomainAndItsApplications:
            // The issuer domain is the only one, and it has the card's state.
            Refuse(
                command.data == changed.issuerDomain.aid ? StatusWord::ConditionsNotSatisfied
                                                         : StatusWord::ReferencedDataNotFound);
        default:
            Refuse(StatusWord::WrongParameters);
    }
    card.Commit(std::move(changed));
    return {};
}

}  // namespace Card
