// SPDX-License-Identifier: Apache-2.0
// Answers the agent's messages; knows nothing of HTTP but status numbers. Used by all threads of the server.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "keyserver/http/Reply.h"
#include "keyserver/service/Dialogue.h"
#include "keyserver/service/Journal.h"
#include "keyserver/service/Mutex.h"
#include "keyserver/service/SessionTable.h"

namespace KeyServer {

class KeyService {
public:
    // The journal must outlive the service.
    KeyService(Catalogue catalogue, SessionLimits limits, Journal& journal);

    // Answers the body of one POST; `connection` is its number, for the journal.
    Reply Answer(const std::string& body, std::uint64_t connection);

    // Serves this from the next opening on. Sessions that are open go on as they began.
    void Serve(Catalogue catalogue);

    // Faults by the number of the message, counted over all sessions from now on. They replace earlier ones.
    void Misbehave(std::vector<Misbehaviour> misbehaviours);

    std::uint64_t Messages() const { return messages; }
    std::uint64_t Sessions() const { return sessions; }

private:
    struct Call;

    std::vector<Misbehaviour> ActiveMisbehaviours();
    void Process(Call& call);
    void Dispatch(Call& call, const Message& message);
    void Initialize(Call& call, const Message& message);
    void Next(Call& call, const Message& message);
    void CheckEligibility(Call& call);
    std::shared_ptr<const Catalogue> Served();
    std::shared_ptr<const Service> ServiceFor(const Message& opening);
    void OpenSession(Call& call, const Message& opening);
    template <typename Move>
    void Advance(Call& call, const std::shared_ptr<Session>& session, bool repeated, Move move);

    Journal& journal;
    SessionTable table;
    std::atomic<std::uint64_t> messages{0};
    std::atomic<std::uint64_t> sessions{0};
    Mutex mutex;
    std::shared_ptr<const Catalogue> catalogue GUARDED_BY(mutex);
    std::vector<Misbehaviour> misbehaviours GUARDED_BY(mutex);
    std::uint64_t messagesSinceOrder GUARDED_BY(mutex) = 0;
    std::size_t eligibilityTurn GUARDED_BY(mutex) = 0;
};

}  // namespace KeyServer
