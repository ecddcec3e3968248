// SPDX-License-Identifier: Apache-2.0
#include "keyserver/http/Connection.h"

#include <boost/asio/post.hpp>
#include <utility>

namespace KeyServer {

namespace asio = boost::asio;

namespace {

constexpr std::chrono::seconds HandshakeTime{10};
constexpr std::chrono::seconds SendTime{30};
constexpr std::chrono::milliseconds LeaveTime{500};
constexpr char Permission[] = "HTTP/1.1 100 Continue\r\n\r\n";

}  // namespace

Connection::Connection(
    std::uint64_t ownNumber, asio::ip::tcp::socket socket, const HttpOptions& hostOptions,
    ConnectionOwner& hostOwner, ConnectionTable& hostTable)
    : number(ownNumber),
      transport(std::move(socket)),
      timer(transport.Executor()),
      options(hostOptions),
      owner(hostOwner),
      table(hostTable) {}

template <typename Function>
auto Connection::Kept(Function function) {
    return [self = shared_from_this(), function = std::move(function)](auto... arguments) {
        if (!self->ended) {
            function(arguments...);
        }
    };
}

void Connection::Begin() {
    asio::post(transport.Executor(), Kept([this] { Open(); }));
}

void Connection::Open() {
    if (dismissed) {
        End();
        return;
    }
    Admission admission = owner.Admit(number);
    if (admission.kind == Admission::Kind::Reset) {
        transport.CloseWithReset();
    }
    if (admission.kind != Admission::Kind::Serve) {
        End();
    } else if (admission.ssl) {
        Secure(std::move(admission.ssl));
    } else {
        AwaitRequest();
    }
}

void Connection::Secure(SslHandle ssl) {
    Enter(proven ? Phase::Waiting : Phase::Opening);
    Limit(HandshakeTime);
    transport.Secure(std::move(ssl), Kept([this](bool greeted) {
                         if (!greeted) {
                             GiveUpGreeting();
                             return;
                         }
                         owner.Greeted(number);
                         AwaitRequest();
                     }));
}

void Connection::GiveUpGreeting() {
    if (dismissed) {
        owner.NotGreeted(number, "another connection needed its place, or none is served any more");
    } else {
        owner.NotGreeted(number, overdue ? "the client takes too long" : transport.Problem());
    }
    End();
}

void Connection::AwaitRequest() {
    Enter(proven ? Phase::Waiting : Phase::Opening);
    reader = std::make_unique<RequestReader>(options.mostBytes);
    reader->Request().connection = number;
    if (dismissed) {
        TakeLeave();
    } else if (!transport.Input().empty()) {
        BeginRequest();
    } else {
        Limit(options.keepAlive);
        transport.Receive(Kept([this](Transport::Received outcome) {
            if (outcome == Transport::Received::Bytes && !MustEnd()) {
                BeginRequest();
            } else {
                TakeLeave();
            }
        }));
    }
}

void Connection::BeginRequest() {
    Limit(options.requestTime);
    ReadRequest();
}

void Connection::ReadRequest() {
    switch (reader->Read(transport.Input())) {
        case RequestReader::Progress::NeedsMore:
            ReceiveMore();
            break;
        case RequestReader::Progress::Head:
            TakeHead();
            break;
        case RequestReader::Progress::Complete:
            proven = true;
            Enter(Phase::Answering);
            Transmit(owner.Answer(reader->Request()));
            break;
        case RequestReader::Progress::Flawed:
            Refuse(reader->WhatIsWrong());
            break;
    }
}

void Connection::TakeHead() {
    if (std::optional<Transmission> refusal = owner.Judge(reader->Request())) {
        Transmit(std::move(*refusal));
    } else if (reader->AsksToContinue()) {
        transport.Send(Permission, Kept([this](bool) { ReadRequest(); }));
    } else {
        ReadRequest();
    }
}

void Connection::ReceiveMore() {
    if (dismissed) {
        TakeLeave();
        return;
    }
    if (overdue) {
        Refuse(Flaw::TooSlow);
        return;
    }
    transport.Receive(Kept([this](Transport::Received outcome) {
        if (outcome == Transport::Received::Bytes) {
            ReadRequest();
        } else if (outcome == Transport::Received::End) {
            Refuse(reader->WhatIsWrong());
        } else if (MustEnd()) {
            ReceiveMore();
        } else {
            End();
        }
    }));
}

void Connection::Refuse(Flaw flaw) {
    Transmit(owner.Refuse(reader->Request(), flaw));
}

void Connection::Transmit(Transmission next) {
    Enter(Phase::Answering);
    transmission = std::move(next);
    Pause(transmission.pause, [this] {
        if (transmission.begin) {
            transmission.begin();
        }
        SendBytes();
    });
}

void Connection::SendBytes() {
    if (transmission.bytes.empty()) {
        FinishTransmission(true);
        return;
    }
    if (!transmission.inHalves) {
        Send(transmission.bytes, [this] { FinishTransmission(true); });
        return;
    }
    const std::size_t half = transmission.bytes.size() / 2;
    Send(transmission.bytes.substr(0, half), [this, half] {
        Pause(transmission.pause, [this, half] {
            Send(transmission.bytes.substr(half), [this] { FinishTransmission(true); });
        });
    });
}

void Connection::Send(const std::string& bytes, std::function<void()> next) {
    Enter(Phase::Sending);
    Limit(SendTime);
    transport.Send(bytes, Kept([this, next = std::move(next)](bool sent) {
                       if (sent) {
                           next();
                       } else {
                           FinishTransmission(false);
                       }
                   }));
}

void Connection::FinishTransmission(bool sent) {
    if (!sent) {
        End();
        return;
    }
    Transmission done = std::exchange(transmission, {});
    if (done.then == Transmission::Then::Reset) {
        transport.CloseWithReset();
        End();
    } else if (done.then == Transmission::Then::Close || dismissed) {
        TakeLeave();
    } else if (done.then == Transmission::Then::Ignore) {
        Discard(options.keepAlive);
    } else if (done.secure) {
        Secure(std::move(done.secure));
    } else {
        AwaitRequest();
    }
}

void Connection::Dismiss(ConnectionTable::Dismissal reason) {
    asio::post(transport.Executor(), Kept([this, reason] { Take(reason); }));
}

void Connection::Abort() {
    asio::post(transport.Executor(), Kept([this] { End(); }));
}

void Connection::Take(ConnectionTable::Dismissal reason) {
    const bool busy = phase == Phase::Answering || phase == Phase::Sending;
    dismissed = true;
    hurried = hurried || reason == ConnectionTable::Dismissal::ForGood ||
              (reason == ConnectionTable::Dismissal::ForRoom && !busy);
    if (!busy) {
        transport.Cancel();
    } else if (pausing && hurried) {
        timer.cancel();
    }
}

// Closing with bytes unread would reset the connection, and the peer might lose the last answer: so it takes
// what the peer still sends for a moment.
void Connection::TakeLeave() {
    const bool justAnswered = phase == Phase::Sending;
    transport.SayGoodbye();
    if (hurried && !justAnswered) {
        End();
        return;
    }
    Discard(LeaveTime);
}

void Connection::Discard(std::chrono::milliseconds time) {
    Enter(Phase::Leaving);
    Limit(time);
    transport.Discard(Kept([this](bool) { End(); }));
}

void Connection::End() {
    ended = true;
    timer.cancel();
    transport.Close();
    if (transmission.undelivered) {
        transmission.undelivered();
    }
    table.Leave(number);
}

void Connection::Enter(Phase next) {
    phase = next;
    table.SetPhase(number, next);
}

void Connection::Pause(std::chrono::milliseconds time, std::function<void()> next) {
    if (time.count() == 0 || hurried) {
        next();
        return;
    }
    pausing = true;
    SetTimer(time, [this, next = std::move(next)](bool) {
        pausing = false;
        next();
    });
}

// Gives up what is being awaited, and what is awaited from then on until the next limit, after this time.
void Connection::Limit(std::chrono::milliseconds time) {
    overdue = false;
    SetTimer(time, [this](bool expired) {
        if (!expired) {
            return;
        }
        overdue = true;
        if (phase == Phase::Sending || phase == Phase::Leaving) {
            End();
        } else {
            transport.Cancel();
        }
    });
}

void Connection::SetTimer(std::chrono::milliseconds time, std::function<void(bool)> action) {
    const std::uint64_t mine = ++timers;
    timer.expires_after(time);
    timer.async_wait(Kept([this, mine, action = std::move(action)](const boost::system::error_code& error) {
        if (mine == timers) {
            action(!error);
        }
    }));
}

}  // namespace KeyServer
