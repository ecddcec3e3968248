#include "card/Commands.h"
#include "globalplatform/Tlv.h"

namespace Card {

namespace {

constexpr std::uint8_t ByName = 0x04;
constexpr std::uint8_t FirstOccurrence = 0x00;
constexpr std::uint8_t NextOccurrence = 0x02;

constexpr std::uint8_t LongestCommandData = 0xFF;

// What is locked or not made selectable yet cannot be found; 6.4.2.1.
bool IsSelectable(const Application& application) {
    return application.state >= LifeCycle::Selectable && (application.state & LifeCycle::LockedFlag) == 0;
}

std::vector<const Application*> Candidates(const CardContent& content) {
    std::vector<const Application*> candidates = {&content.issuerDomain};
    for (const Application& application : content.applications) {
        if (IsSelectable(application)) {
            candidates.push_back(&application);
        }
    }
    return candidates;
}

// The first whose AID begins with the name, or the next behind the selected one. No name is the issuer
// domain's.
const Application* Find(const Runtime& card, const Bytes& name, bool next) {
    if (name.empty() && !next) {
        return &card.Content().issuerDomain;
    }
    bool passed = !next;
    for (const Application* candidate : Candidates(card.Content())) {
        if (passed && BeginsWith(candidate->aid, name)) {
            return candidate;
        }
        passed = passed || candidate->aid == card.session.selected;
    }
    return nullptr;
}

// File control information, 11.9.3.1.
Bytes ControlInformation(const Application& application, bool issuer) {
    Bytes information = MakeTlv(0x84, application.aid);
    Append(information, MakeTlv(0xA5, issuer ? MakeTlv(0x9F65, {LongestCommandData}) : Bytes()));
    return MakeTlv(0x6F, information);
}

}  // namespace

Answer Select(Runtime& card, const CommandApdu& command) {
    if (command.p1 != ByName || (command.p2 != FirstOccurrence && command.p2 != NextOccurrence)) {
        Refuse(StatusWord::WrongParameters);
    }
    const Application* application = Find(card, command.data, command.p2 == NextOccurrence);
    if (application == nullptr) {
        Refuse(StatusWord::FileNotFound);
    }
    const bool issuer = application == &card.Content().issuerDomain;
    const bool locked = card.Content().issuerDomain.state == LifeCycle::CardLocked;
    if (locked && !issuer) {
        Refuse(StatusWord::FunctionNotSupported);
    }
    card.EndChannel();
    card.session.selected = application->aid;
    return {
        ControlInformation(*application, issuer), locked ? StatusWord::CardIsLocked : StatusWord::Success};
}

Bytes SelectedByReset(const CardContent& content) {
    for (const Application& application : content.applications) {
        if ((application.privileges.front() & CardResetPrivilege) != 0 && IsSelectable(application) &&
            content.issuerDomain.state < LifeCycle::CardLocked) {
            return application.aid;
        }
    }
    return content.issuerDomain.aid;
}

}  // namespace Card
