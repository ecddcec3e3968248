// SPDX-License-Identifier: Apache-2.0
#include "card/SoftwareCard.h"

#include <exception>
#include <new>
#include <thread>

#include "card/Commands.h"
#include "card/Delivery.h"
#include "card/Interpreter.h"
#include "globalplatform/Instruction.h"

namespace Card {

class SoftwareCard::Body {
public:
    explicit Body(const Options& options) : card(options) { Restart(); }

    void Restart() {
        card.Restart(SelectedOn(0, card.Content()));
        delivery.Forget();
    }

    Bytes Transmit(const Bytes& bytes) {
        if (Delivery::IsGetResponse(bytes)) {
            return delivery.Continue(bytes, card.options.byteProtocol);
        }
        delivery.Forget();
        const CommandApdu command = ReadCommand(bytes);
        if (!card.Enter(command.cla & LogicalChannelMask)) {
            Refuse(StatusWord::ChannelNotSupported);
        }
        return delivery.Deliver(Interpret(card, command), command, card.options);
    }

    void Think() const {
        if (card.options.manners.answerTime.count() > 0) {
            std::this_thread::sleep_for(card.options.manners.answerTime);
        }
    }

    Bytes Refused(StatusWord status) const {
        const bool otherWord = status == StatusWord::FileNotFound && card.options.manners.absentIsData;
        return StatusBytes(otherWord ? StatusWord::ReferencedDataNotFound : status);
    }

    Runtime card;

private:
    Delivery delivery;
};

SoftwareCard::SoftwareCard(const Options& options) : body(std::make_unique<Body>(options)) {}

SoftwareCard::~SoftwareCard() = default;

void SoftwareCard::Configure(const Options& options) {
    if (options.stateFile != body->card.options.stateFile) {
        body = std::make_unique<Body>(options);
        return;
    }
    Check(options);
    body->card.options = options;
}

Bytes SoftwareCard::Reset() {
    body->Restart();
    return body->card.options.atr;
}

Bytes SoftwareCard::Transmit(const Bytes& command) {
    body->Think();
    try {
        return body->Transmit(command);
    } catch (const Refusal& refusal) {
        return body->Refused(refusal.status);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        // The cryptographic library failed in the middle of a session that cannot go on.
        body->card.EndChannel();
        return StatusBytes(StatusWord::NoDiagnosis);
    }
}

}  // namespace Card
