// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/KeyService.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "globalplatform/Sha256.h"
#include "keyserver/service/Answering.h"

namespace KeyServer {

namespace {

constexpr std::size_t SeIdLength = 36;  // of the CPLC's first characters, unless the CPLC has fewer

void CheckSecureElement(const Message& opening) {
    const std::string& seId = opening.Field("seId");
    const std::string& cplc = opening.Field("cplc");
    if (seId.empty()) {
        throw WrongMessage(ResultCode::NoSeId, "\"seId\" is missing or empty");
    }
    if (cplc.empty()) {
        throw WrongMessage(ResultCode::NoCplc, "\"cplc\" is missing or empty");
    }
    if (seId.size() != std::min(cplc.size(), SeIdLength)) {
        throw WrongMessage(
            ResultCode::WrongSeIdLength,
            "\"seId\" has " + std::to_string(seId.size()) + " characters, not 36");
    }
    if (cplc.compare(0, seId.size(), seId) != 0) {
        throw WrongMessage(ResultCode::ForeignCplc, "\"cplc\" does not begin with \"seId\"");
    }
}

Turn EndingTurn(const std::string& code, const std::string& reason) {
    Turn turn;
    turn.resultCode = code;
    turn.description = reason;
    return turn;
}

// Tells messages apart without keeping their text, which may be long.
std::string Digest(const std::string& text) {
    const GlobalPlatform::Bytes digest = GlobalPlatform::Sha256(text);
    return {digest.begin(), digest.end()};
}

bool Holds(const std::vector<Misbehaviour>& active, Misbehaviour::Kind kind) {
    return std::any_of(
        active.begin(), active.end(), [kind](const Misbehaviour& each) { return each.kind == kind; });
}

}  // namespace

// One message on its way through the service.
struct KeyService::Call {
    const std::string& body;
    Exchange exchange;
    std::vector<Misbehaviour> active;
    int refusal = 0;  // HTTP status when the request deserves no result code
    Turn turn;
    std::shared_ptr<Session> session;
    std::uint64_t sessionMessage = 0;
};

KeyService::KeyService(Catalogue served, SessionLimits limits, Journal& log)
    : journal(log), table(limits), catalogue(std::make_shared<const Catalogue>(std::move(served))) {}

void KeyService::Serve(Catalogue served) {
    const auto next = std::make_shared<const Catalogue>(std::move(served));
    const Lock lock(mutex);
    catalogue = next;
}

std::shared_ptr<const Catalogue> KeyService::Served() {
    const Lock lock(mutex);
    return catalogue;
}

void KeyService::Misbehave(std::vector<Misbehaviour> ordered) {
    const Lock lock(mutex);
    misbehaviours = std::move(ordered);
    messagesSinceOrder = 0;
}

std::vector<Misbehaviour> KeyService::ActiveMisbehaviours() {
    const Lock lock(mutex);
    const std::uint64_t message = ++messagesSinceOrder;
    std::vector<Misbehaviour> active;
    std::copy_if(
        misbehaviours.begin(), misbehaviours.end(), std::back_inserter(active),
        [message](const Misbehaviour& each) { return each.HoldsFor(message); });
    return active;
}

Reply KeyService::Answer(const std::string& body, std::uint64_t connection) {
    Call call{body, {}, ActiveMisbehaviours(), 0, {}, nullptr, 0};
    call.exchange.message = ++messages;
    call.exchange.connection = connection;
    call.exchange.request = body;
    call.exchange.received = std::chrono::system_clock::now();
    const auto begun = std::chrono::steady_clock::now();
    Process(call);
    Reply reply = call.refusal != 0 ? MakeRefusal(call.refusal, call.turn.description)
                                    : MakeReply(call.turn, call.active);
    if (call.session) {
        reply.undelivered = [session = call.session, message = call.sessionMessage] {
            const Lock lock(session->mutex);
            session->undelivered = session->undelivered || session->messages == message;
        };
    }
    call.exchange.status = reply.status;
    call.exchange.resultCode = call.turn.resultCode;
    call.exchange.answer = reply.body;
    call.exchange.remark = call.turn.description;
    call.exchange.verdicts = call.turn.verdicts;
    call.exchange.notes = call.turn.notes;
    for (const Misbehaviour& each : call.active) {
        call.exchange.misbehaviours.push_back(each.Text());
    }
    call.exchange.duration =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - begun);
    journal.Note(call.exchange);
    return reply;
}

void KeyService::Process(Call& call) {
    try {
        const Message message(call.body);
        call.exchange.session = message.Field("UUID");
        call.exchange.msgCd = message.Field("msgCd");
        Dispatch(call, message);
    } catch (const NotAMessage& error) {
        call.refusal = 400;
        call.turn.description = error.what();
    } catch (const WrongMessage& error) {
        call.turn = EndingTurn(error.Code(), error.what());
    }
}

void KeyService::Dispatch(Call& call, const Message& message) {
    const std::string& kind = call.exchange.msgCd;
    if (call.exchange.session.empty()) {
        throw WrongMessage(ResultCode::InvalidMessage, "\"UUID\" is missing or empty");
    }
    if (kind == "INITIALIZEAPDU") {
        Initialize(call, message);
    } else if (kind == "NEXTAPDU") {
        Next(call, message);
    } else if (kind == "ELIGIBILITY") {
        CheckEligibility(call);
    } else {
        throw WrongMessage(
            ResultCode::InvalidMessage,
            kind.empty() ? "\"msgCd\" is missing or empty" : "there is no message \"" + kind + "\"");
    }
}

// An opening message with a UUID that is in use is either the same one again, because its answer was lost, or
// the beginning of another session in place of the first.
void KeyService::Initialize(Call& call, const Message& message) {
    const std::shared_ptr<Session> session = table.Find(call.exchange.session);
    if (session) {
        bool same = false;
        {
            const Lock lock(session->mutex);
            same = session->lastMessage == Digest(call.body);
        }
        if (same) {
            Advance(call, session, true, [] { return Turn(); });
            return;
        }
    }
    OpenSession(call, message);
}

std::shared_ptr<const Service> KeyService::ServiceFor(const Message& opening) {
    const std::string& id = opening.Field("serviceId");
    if (id.empty()) {
        throw WrongMessage(ResultCode::NoServiceId, "\"serviceId\" is missing or empty");
    }
    std::shared_ptr<const Service> service = Served()->Find(id);
    if (service == nullptr) {
        throw WrongMessage(ResultCode::InvalidMessage, "there is no service \"" + id + "\"");
    }
    return service;
}

void KeyService::OpenSession(Call& call, const Message& opening) {
    CheckSecureElement(opening);
    const std::shared_ptr<const Service> service = ServiceFor(opening);
    auto session = std::make_shared<Session>();
    session->id = call.exchange.session;
    session->seId = opening.Field("seId");
    session->service = service;
    session->dialogue = service->Open(opening);
    session->number = ++sessions;
    table.Add(session);
    Advance(call, session, false, [&] { return session->dialogue->Begin(); });
}

void KeyService::Next(Call& call, const Message& message) {
    const std::string& seId = message.Field("seId");
    if (seId.empty()) {
        throw WrongMessage(ResultCode::NoSeId, "\"seId\" is missing or empty");
    }
    const std::string& responseText = message.Field("rApduSet");
    if (responseText.empty()) {
        throw WrongMessage(ResultCode::InvalidMessage, "\"rApduSet\" is missing or empty");
    }
    const std::shared_ptr<Session> session = table.Find(call.exchange.session);
    if (!session) {
        throw WrongMessage(
            ResultCode::StartAgain,
            "there is no such session; it was never opened, was idle for too long, or had to make room");
    }
    if (session->seId != seId) {
        throw WrongMessage(ResultCode::ForeignCplc, "\"seId\" is not the one that opened the session");
    }
    table.MarkContinued(*session);
    Advance(call, session, false, [&] {
        if (session->over) {
            return EndingTurn(ResultCode::OutOfTurn, "the session is over");
        }
        try {
            return session->dialogue->Continue(ParseResponseSet(responseText));
        } catch (const std::invalid_argument& error) {
            return EndingTurn(ResultCode::WrongResponseSet, error.what());
        }
    });
}

// Makes the move, unless the message came again because its answer was lost: then the last move stands.
template <typename Move>
void KeyService::Advance(Call& call, const std::shared_ptr<Session>& session, bool repeated, Move move) {
    const Lock lock(session->mutex);
    call.session = session;
    call.exchange.service = session->service->Name();
    call.sessionMessage = ++session->messages;
    call.exchange.job = session->number;
    call.exchange.set = session->messages;
    for (const Misbehaviour& each : session->service->Misbehaviours()) {
        if (each.HoldsFor(session->messages)) {
            call.active.push_back(each);
        }
    }
    const std::string digest = Digest(call.body);
    call.exchange.repeated = repeated || (session->undelivered && session->lastMessage == digest);
    call.turn = call.exchange.repeated ? session->lastTurn : move();
    if (call.turn.completed && Holds(call.active, Misbehaviour::Kind::Endless)) {
        std::vector<Verdict> verdicts = std::move(call.turn.verdicts);
        std::vector<std::string> notes = std::move(call.turn.notes);
        call.turn = session->dialogue->Begin();
        call.turn.verdicts = std::move(verdicts);
        call.turn.notes = std::move(notes);
    }
    session->lastMessage = digest;
    session->lastTurn = call.turn;
    session->lastTurn.verdicts.clear();
    session->lastTurn.notes.clear();
    session->undelivered = std::any_of(call.active.begin(), call.active.end(), KeepsAnswerBack);
    if (call.turn.Ends()) {
        session->over = true;
        table.MarkOver(*session);
    }
}

void KeyService::CheckEligibility(Call& call) {
    const std::shared_ptr<const Catalogue> served = Served();
    if (served->eligibility.empty()) {
        call.turn = EndingTurn(ResultCode::Success, "eligible");
        return;
    }
    const Lock lock(mutex);
    const std::size_t turn = eligibilityTurn++ % served->eligibility.size();
    call.turn = EndingTurn(
        served->eligibility[turn], "eligibility answer " + std::to_string(turn + 1) + " of " +
                                       std::to_string(served->eligibility.size()));
}

}  // namespace KeyServer
