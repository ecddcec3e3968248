// Turns one client request into one job, runs it, and sends the client its reply.
#pragma once

#include <memory>
#include <string>

#include "app/AgentJob.h"
#include "app/RequestKeys.h"

namespace Na {

class IClientPort;
class Se;

// A client's own dispatcher. A moved-from Agent is uninitialised: it answers nothing.
class Agent {
public:
    Agent();
    ~Agent();
    Agent(Agent&& other) noexcept;
    Agent& operator=(Agent&&) = delete;

    // Entry for one request; the reply goes out through `port` before this returns.
    void Trigger_ClientData(IClientPort* port, const std::string& clientId, const RequestMap& data);

    // The client's record goes away.
    void Trigger_Shutdown();

    // A job for the command in the request; none when the current result says why not.
    std::unique_ptr<AgentJob> ConstructJob(std::unique_ptr<JobRequest> request);

    // A job of this agent has run.
    void TaskComplete();

private:
    struct Record {
        std::string text;
    };

    std::unique_ptr<Record> record;
};

// Runs a job and sends its reply. A standard exception that leaves the job ends it with 10000000.
void Do(AgentJob& job);

// Names the running job in the log; jobs are not interrupted.
void TerminateJob(const AgentJob* job);

// Reports a card command by its instruction byte (two hexadecimal digits) to the job's client.
void SendProgress(const AgentJob& job, const std::string& instruction);

// Relays a set of command APDUs to the open secure element and returns the set of responses.
//
// A set is a sequence of items, each "/", two characters that are not examined, and an APDU in hexadecimal
// text; a response item is "/", "01" and the response. A failure replaces the whole response set by a text
// that begins with "21_" and says why. An empty set gives an empty response set.
std::string SendApdu(const AgentJob& job, Se& se, const std::string& commandSet);

// Fills `cplc` and `seId` of the job's request from the card; leaves both when the card gives none.
void ReadCplc(AgentJob& job, Se& se);

}  // namespace Na
