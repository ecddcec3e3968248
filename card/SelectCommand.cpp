// SPDX-License-Identifier: Apache-2.0
#include "card/Commands.h"
#include "card/Installation.h"
#include "card/ProgramAnswers.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/Tags.h"
#include "globalplatform/Tlv.h"

namespace Card {

namespace {

constexpr std::uint8_t LongestCommandData = 0xFF;

// What is locked or not made selectable yet cannot be found; 6.4.2.1.
bool IsSelectable(const Application& application) {
    return application.state >= LifeCycle::Selectable && (application.state & LifeCycle::LockedFlag) == 0;
}

// On a locked card there is one, 9.6.3.
std::vector<const Application*> Candidates(const CardContent& content) {
    if (content.IsLocked()) {
        return {&content.FinalApplication()};
    }
    std::vector<const Application*> candidates = {&content.issuerDomain};
    for (const Application& application : content.applications) {
        if (IsSelectable(application)) {
            candidates.push_back(&application);
        }
    }
    return candidates;
}

// The first whose AID begins with the name, or the next behind the selected one, which was searched for too.
// No name is the issuer domain's; 6.4.2.1.2.
const Application* Find(const Runtime& card, const Bytes& name, bool next) {
    if (name.empty()) {
        return &card.Content().issuerDomain;
    }
    if (next && !card.session.searched) {
        return nullptr;
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

// File control information, 11.9.3.1: each security domain tells how long commands may be.
Bytes ControlInformation(const Application& application) {
    Bytes information = MakeTlv(Tag::Name, application.aid);
    Append(
        information,
        MakeTlv(
            Tag::ControlProprietary,
            application.IsDomain() ? MakeTlv(Tag::LongestCommandData, {LongestCommandData}) : Bytes()));
    return MakeTlv(Tag::ControlInformation, information);
}

}  // namespace

Answer Select(Runtime& card, const CommandApdu& command) {
    if (command.p1 != Selection::ByName ||
        (command.p2 != Selection::First && command.p2 != Selection::Next)) {
        Refuse(StatusWord::WrongParameters);
    }
    const Application* application = Find(card, command.data, command.p2 == Selection::Next);
    const bool locked = card.Content().IsLocked();
    if (locked && (application != &card.Content().FinalApplication() || card.logicalChannel != 0)) {
        card.Close(card.logicalChannel);  // the basic one never is, 6.4.3.1.2
        Refuse(StatusWord::FunctionNotSupported);
    }
    if (application == nullptr) {
        Refuse(StatusWord::FileNotFound);
    }
    std::optional<Answer> own = locked ? std::nullopt : SelectionByProgram(card, *application, command);
    card.session = Session();
    card.session.selected = application->aid;
    card.session.searched = true;
    if (own) {
        return std::move(*own);
    }
    return {ControlInformation(*application), locked ? StatusWord::CardIsLocked : StatusWord::Success};
}

// Where what is registered is locked, the final application takes its place, 9.6.2; on a locked card, no
// registration counts.
Bytes SelectedOn(std::uint8_t number, const CardContent& content) {
    if (content.IsLocked()) {
        return content.FinalApplication().aid;
    }
    for (const Application& application : content.applications) {
        if (IsSelectedImplicitly(application, number)) {
            return IsSelectable(application) ? application.aid : content.FinalApplication().aid;
        }
    }
    return number == 0 ? content.issuerDomain.aid : SelectedOn(0, content);
}

}  // namespace Card
