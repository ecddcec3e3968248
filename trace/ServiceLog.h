// SPDX-License-Identifier: Apache-2.0
// Makes entries of what the service says in its log: requests and replies of clients, messages, card
// commands. The log has neither the members of messages nor the responses of commands that the service sends
// of its own.
#pragma once

#include "trace/LogLine.h"

namespace Trace {

class ServiceLog {
public:
    // Entries are added to `story`, as those of this source, which both outlive this.
    ServiceLog(std::vector<Entry>& story, std::size_t source) : entries(story), sourceNumber(source) {}

    // A line of the service's or of the device below it; those of other programs are passed over.
    void Take(const LogLine& line, std::size_t number);

    // A line that is none by itself, and may go on with the one before.
    void TakeRest(const std::string& text);

private:
    struct Matter;
    using Handler = void (ServiceLog::*)(const std::string& rest);

    static const Matter* Find(std::string_view text);
    Entry& Add(Kind kind);
    Entry* At(std::size_t index) { return index == None ? nullptr : &entries[index]; }
    void EndCommand();
    void EndMessage();
    void BeginMessage(const std::string& name);
    Entry* Awaited();
    void FailCommand(const std::string& words);
    void Note(const std::string& words, State state);

    void OnRequest(const std::string& rest);
    void OnOpening(const std::string& rest);
    void OnOpened(const std::string& rest);
    void OnOpenFailure(const std::string& rest);
    void OnClosing(const std::string& rest);
    void OnScript(const std::string& rest);
    void OnNetwork(const std::string& rest);
    void OnSet(const std::string& rest);
    void OnSetMissing(const std::string& rest);
    void OnCommand(const std::string& rest);
    void OnWrongCommand(const std::string& rest);
    void OnSending(const std::string& rest);
    void OnSendError(const std::string& rest);
    void OnNoResponse(const std::string& rest);
    void OnCardError(const std::string& rest);
    void OnResponses(const std::string& rest);
    void OnHttpError(const std::string& rest);
    void OnHttpDetails(const std::string& rest);
    void OnNoNetwork(const std::string& rest);
    void OnAnswerTrouble(const std::string& rest);
    void OnReply(const std::string& rest);
    void OnException(const std::string& rest);
    void OnDisappeared(const std::string& rest);

    static constexpr std::size_t None = static_cast<std::size_t>(-1);

    std::vector<Entry>& entries;
    std::size_t sourceNumber;
    LogLine now;
    std::size_t lineNumber = 0;

    std::size_t job = 0;
    std::size_t set = 0;
    std::size_t message = None;  // that waits for its answer
    std::size_t command = None;  // the latest
    bool commandIsSent = false;
    bool awaitsTime = false;            // the command's end is not known yet
    std::vector<std::size_t> commands;  // of the set under way
    bool inSet = false;
};

}  // namespace Trace
