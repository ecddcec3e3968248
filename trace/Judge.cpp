// SPDX-License-Identifier: Apache-2.0
#include "trace/Judge.h"

#include <algorithm>
#include <cstdlib>
#include <map>

#include "globalplatform/StatusMeaning.h"
#include "trace/ApduText.h"

namespace Trace {

namespace {

using Navo::CauseKind;

// What libcurl calls a failure, and the service's result for it.
struct TransportFailure {
    int code;
    const char* result;
    const char* words;
};

constexpr TransportFailure TransportFailures[] = {
    {6, "10100005", "The server's name is not known"},
    {7, "10100005", "No connection to the server"},
    {28, "10100009", "The server did not answer in time"},
    {35, "10100005", "The TLS handshake failed"},
    {52, "10100019", "The server ended the connection without an answer"},
    {58, "10100007", "TLS failed: this side's certificate"},
    {60, "10100007", "TLS failed: the server's certificate is not trusted"},
    {77, "10100007", "TLS failed: the device's trust store cannot be read"},
};

const TransportFailure* Find(const std::string& error) {
    const int code = std::atoi(error.c_str());
    for (const TransportFailure& each : TransportFailures) {
        if (each.code == code) {
            return &each;
        }
    }
    return nullptr;
}

void Fail(Entry& entry, const std::string& failure, const std::string& code, CauseKind kind) {
    entry.state = State::Failed;
    entry.failure = entry.failure.empty() ? failure : entry.failure;
    entry.causes = Navo::CausesOf(code, kind);
}

std::string CodeOf(const std::string& reply) {
    return reply.substr(0, reply.find('_'));
}

// By the code of a result message, success or a value that was asked for.
bool IsGood(const std::string& reply) {
    const std::string code = CodeOf(reply);
    const bool isNegative = !reply.empty() && reply.front() == '-';
    const bool isStatus = reply.size() == 3 && Navo::CausesOf(reply, CauseKind::HttpStatus).size() == 1;
    if (isNegative || isStatus) {
        return false;
    }
    const bool isCode = code.size() == 8 && code.find_first_not_of("0123456789") == std::string::npos;
    return !isCode || code == "00000001" || code == "00000002" || code == "10400001";
}

bool EndsWell(const std::string& resultCode) {
    return resultCode == "00000001" || resultCode == "00000002";
}

// Success, or data with a remark; what the card announces and the service fetches.
bool IsGoodStatus(const std::string& word) {
    return word == "9000" || word.rfind("61", 0) == 0 || word.rfind("6C", 0) == 0 || word == "6310";
}

class Judgement {
public:
    explicit Judgement(Story& whole) : story(whole), entries(whole.entries) {}

    void Run() {
        for (std::size_t index = 0; index < entries.size(); ++index) {
            JudgeOne(index);
        }
        FindFirst();
    }

private:
    void JudgeOne(std::size_t index);
    void JudgeCommand(Entry& entry);
    void JudgeMessage(Entry& entry, std::size_t index);
    void JudgeAnswer(Entry& entry, std::size_t index);
    bool JudgeDelivery(Entry& entry, std::size_t index);
    void JudgeReply(Entry& entry);
    void BlameCommand(std::size_t behind);
    bool IsContinued(std::size_t index) const;
    std::string ReplyBehind(std::size_t index) const;
    void FindFirst();

    Story& story;
    std::vector<Entry>& entries;
};

void Judgement::JudgeOne(std::size_t index) {
    Entry& entry = entries[index];
    switch (entry.kind) {
        case Kind::Apdu:
            JudgeCommand(entry);
            break;
        case Kind::Open:
            if (!entry.failure.empty()) {
                Fail(entry, "", "10000000", CauseKind::ResultCode);
            }
            break;
        case Kind::Message:
            JudgeMessage(entry, index);
            break;
        case Kind::Reply:
            JudgeReply(entry);
            break;
        default:
            break;
    }
}

void Judgement::JudgeCommand(Entry& entry) {
    const std::string word = StatusWordOf(entry);
    if (!entry.failure.empty() && !entry.knowsResponse) {
        const bool malformed = !entry.knowsCommand && !entry.text.empty();
        Fail(entry, "", malformed ? "10100016" : "10000002", CauseKind::ResultCode);
    } else if (entry.isJudged && !entry.expected.empty()) {
        const std::string what =
            entry.action.empty() ? std::string("The command") : "\"" + entry.action + "\"";
        const std::string meaning(GlobalPlatform::StatusMeaning(word));
        const std::string failure =
            what + " was answered with " + word + ", " + meaning + "; expected " + entry.expected;
        Fail(entry, failure, word, CauseKind::StatusWord);
    } else if (entry.knowsResponse && !IsGoodStatus(word)) {
        entry.state = State::Noted;
        entry.causes = Navo::CausesOf(word, CauseKind::StatusWord);
    } else if (entry.isCut) {
        entry.state = State::Noted;
    }
}

// The code that the job ended with, which says how the service took what happened.
std::string Judgement::ReplyBehind(std::size_t index) const {
    for (std::size_t later = index + 1; later < entries.size(); ++later) {
        if (entries[later].kind == Kind::Reply) {
            return CodeOf(entries[later].text);
        }
        if (entries[later].kind == Kind::Request) {
            break;
        }
    }
    return {};
}

// Whether anything of the same job shows that the answer arrived.
bool Judgement::IsContinued(std::size_t index) const {
    for (std::size_t later = index + 1; later < entries.size() && entries[later].job == entries[index].job;
         ++later) {
        if (entries[later].kind != Kind::Note) {
            return true;
        }
    }
    return false;
}

// False when no answer of the server reached the service whole.
bool Judgement::JudgeDelivery(Entry& entry, std::size_t index) {
    const Message& message = *entry.message;
    if (!message.errors.empty()) {
        const TransportFailure* const known = Find(message.errors.front());
        const std::string reply = ReplyBehind(index);
        const std::string code = !reply.empty() && !IsGood(reply) ? reply
                                 : known != nullptr               ? known->result
                                                                  : "";
        const std::string attempts =
            message.errors.size() > 1 ? ", in " + std::to_string(message.errors.size()) + " attempts" : "";
        const std::string words = known != nullptr ? known->words : "The exchange with the server failed";
        Fail(entry, words + attempts + " (" + message.errors.front() + ")", code, CauseKind::ResultCode);
        return false;
    }
    if (!message.answered && !IsContinued(index)) {
        Fail(
            entry, "The server stays silent: no answer came before the inputs end", "10100009",
            CauseKind::ResultCode);
        return false;
    }
    return true;
}

void Judgement::JudgeMessage(Entry& entry, std::size_t index) {
    if (!JudgeDelivery(entry, index)) {
        return;
    }
    const Message& message = *entry.message;
    const int status = message.status.value_or(200);
    if (status != 200) {
        Fail(
            entry, "The server answered with HTTP status " + std::to_string(status), std::to_string(status),
            CauseKind::HttpStatus);
        return;
    }
    JudgeAnswer(entry, index);
}

void Judgement::JudgeAnswer(Entry& entry, std::size_t index) {
    const Message& message = *entry.message;
    const std::string mistake = MistakeIn(message.commandSet);
    if (!mistake.empty()) {
        Fail(entry, "The server's command set is malformed: " + mistake, "10100016", CauseKind::ResultCode);
    } else if (message.resultCode == "00000000" && message.commandSet.empty() && message.answered) {
        Fail(
            entry, "The server announced commands and sent none",
            ReplyBehind(index).empty() ? "10100016" : ReplyBehind(index), CauseKind::ResultCode);
    } else if (!message.answer.empty() && message.resultCode.empty()) {
        Fail(
            entry, "The server's answer has no result, or is no JSON object", "10100019",
            CauseKind::ResultCode);
    } else if (
        !message.resultCode.empty() && message.resultCode != "00000000" && !EndsWell(message.resultCode)) {
        if (message.resultCode == "90202001") {
            BlameCommand(index);
        }
        const std::string why = message.remark.empty() ? "" : ": " + message.remark;
        Fail(
            entry, "The server ended with " + message.resultCode + why, message.resultCode,
            CauseKind::ResultCode);
    }
}

// Without the server's own record, the first answer of the latest set that is no success is the one that it
// did not expect.
void Judgement::BlameCommand(std::size_t behind) {
    std::size_t blamed = behind;
    for (std::size_t index = behind; index-- > 0 && entries[index].kind != Kind::Message;) {
        if (entries[index].kind == Kind::Apdu && entries[index].isJudged) {
            return;
        }
        blamed = entries[index].kind == Kind::Apdu && entries[index].state == State::Noted ? index : blamed;
    }
    if (blamed != behind) {
        const std::string word = StatusWordOf(entries[blamed]);
        const std::string meaning(GlobalPlatform::StatusMeaning(word));
        Fail(entries[blamed], "The card answered with " + word + ", " + meaning, word, CauseKind::StatusWord);
    }
}

void Judgement::JudgeReply(Entry& entry) {
    if (!IsGood(entry.text)) {
        entry.state = State::Failed;
        entry.failure = "The job ended with " + entry.text;
        entry.causes = Navo::CausesOf(entry.text);
    }
}

void Judgement::FindFirst() {
    const auto failed = std::find_if(
        entries.begin(), entries.end(), [](const Entry& each) { return each.state == State::Failed; });
    if (failed != entries.end()) {
        story.first = static_cast<std::size_t>(failed - entries.begin());
    }
}

}  // namespace

void Judge(Story& story) {
    Judgement(story).Run();
}

namespace {

// The parts of time by how much they explain.
enum class Part { Card, Server, Network, Service, Waiting };

struct Span {
    Microseconds begin;
    Microseconds end;
    Part part;
};

void AddSpan(std::vector<Span>& spans, Microseconds begin, std::optional<Microseconds> duration, Part part) {
    const Microseconds length = duration.value_or(0);
    if (length > 0) {
        spans.push_back({begin, begin + length, part});
    }
}

std::vector<Span> SpansOf(const Story& story) {
    std::vector<Span> spans;
    std::map<std::size_t, std::pair<Microseconds, Microseconds>> jobs;
    for (const Entry& entry : story.entries) {
        if (!entry.time) {
            continue;
        }
        if (entry.kind == Kind::Apdu || entry.kind == Kind::Open || entry.kind == Kind::Close) {
            AddSpan(spans, *entry.time, entry.duration, Part::Card);
        } else if (entry.kind == Kind::Message) {
            AddSpan(spans, *entry.time, entry.duration, Part::Network);
        }
        Microseconds end = *entry.time + entry.duration.value_or(0);
        if (entry.message && entry.message->received) {
            AddSpan(spans, *entry.message->received, entry.message->worked, Part::Server);
            end = std::max(end, *entry.message->received + entry.message->worked.value_or(0));
        }
        const auto job = jobs.emplace(entry.job, std::pair(*entry.time, end)).first;
        job->second.first = std::min(job->second.first, *entry.time);
        job->second.second = std::max(job->second.second, end);
    }
    for (const auto& [number, job] : jobs) {
        AddSpan(spans, job.first, job.second - job.first, Part::Service);
    }
    return spans;
}

Microseconds& TotalOf(Totals& totals, Part part) {
    switch (part) {
        case Part::Card:
            return totals.card;
        case Part::Server:
            return totals.server;
        case Part::Network:
            return totals.network;
        case Part::Service:
            return totals.service;
        case Part::Waiting:
            break;
    }
    return totals.waiting;
}

// At each moment the part that explains most counts, and waiting where none does.
void Sweep(const std::vector<Span>& spans, Totals& totals) {
    struct Edge {
        Microseconds at;
        Part part;
        int step;
    };
    std::vector<Edge> edges;
    for (const Span& span : spans) {
        edges.push_back({span.begin, span.part, 1});
        edges.push_back({span.end, span.part, -1});
    }
    std::sort(
        edges.begin(), edges.end(), [](const Edge& left, const Edge& right) { return left.at < right.at; });
    std::map<Part, int> under;
    for (std::size_t index = 0; index + 1 < edges.size(); ++index) {
        under[edges[index].part] += edges[index].step;
        const auto best =
            std::find_if(under.begin(), under.end(), [](const auto& each) { return each.second > 0; });
        TotalOf(totals, best == under.end() ? Part::Waiting : best->first) +=
            edges[index + 1].at - edges[index].at;
    }
}

}  // namespace

void AddUp(Story& story) {
    Totals totals;
    std::map<std::size_t, bool> jobs;
    for (const Entry& entry : story.entries) {
        totals.apdus += entry.kind == Kind::Apdu ? 1 : 0;
        totals.messages += entry.kind == Kind::Message ? 1 : 0;
        totals.failures += entry.state == State::Failed ? 1 : 0;
        if (entry.job != 0) {
            jobs[entry.job] = true;
        }
    }
    totals.jobs = jobs.size();
    Sweep(SpansOf(story), totals);
    story.totals = totals;
}

}  // namespace Trace
