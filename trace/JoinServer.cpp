// SPDX-License-Identifier: Apache-2.0
// Puts a key server's messages among what the device tells, by the messages' texts and by the commands of
// their sets.
#include <algorithm>
#include <map>
#include <utility>

#include "trace/Align.h"
#include "trace/ApduText.h"
#include "trace/Join.h"

namespace Trace::Joining {

namespace {

std::string WithoutBlanks(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    return text;
}

std::string FieldOf(const Message& message, const std::string& name) {
    for (const auto& [key, value] : message.request) {
        if (key == name) {
            return value;
        }
    }
    return {};
}

// A log has neither the members of a message nor, where it failed, an answer.
bool AreSame(const Message& inLog, const Message& recorded) {
    if (inLog.name != recorded.name) {
        return false;
    }
    if (inLog.name == "NEXTAPDU") {
        return MayBeSameSet(WithoutBlanks(inLog.responseSet), recorded.responseSet);
    }
    return FieldOf(inLog, "serviceId").empty() ||
           WithoutBlanks(FieldOf(inLog, "serviceId")) == FieldOf(recorded, "serviceId");
}

// One command of a set that the server sent.
struct Sent {
    std::size_t message;  // index among the server's entries
    std::size_t ordinal;
    Seen command;
    std::size_t place = NoPartner;  // among the device's entries
};

class ServerJoin {
public:
    ServerJoin(Entries deviceEntries, Entries serverEntries, Story& whole)
        : device(std::move(deviceEntries)), server(std::move(serverEntries)), story(whole) {}

    Entries Run() {
        MatchMessages();
        CollectCommands();
        MatchCommands();
        SetClock();
        for (std::size_t index = 0; index < server.size(); ++index) {
            PlaceMessage(index);
        }
        TakeUpTo(device.size());
        return std::move(result);
    }

private:
    void MatchMessages();
    void CollectCommands();
    void MatchCommands();
    bool MayBe(const Sent& sent, const Entry& entry, std::size_t place) const;
    void SetClock();
    void TakeUpTo(std::size_t end);
    std::vector<Sent>::const_iterator FirstOf(std::size_t index) const;
    std::size_t PlaceFor(std::size_t index) const;
    void PlaceMessage(std::size_t index);
    void Unite(std::size_t index, Entry& inLog);
    void PlaceCommands(std::size_t index);
    void GiveVerdicts(const Entry& next);
    void CountJoined(const Entry& entry, const Entry& recorded);

    Entries device;
    Entries server;
    Story& story;
    std::vector<std::size_t> messages;  // of each of the server's, its place in the log
    std::vector<Sent> commands;
    Entries result;
    std::size_t taken = 0;                                 // of the device's entries
    std::map<std::string, std::vector<std::size_t>> sets;  // of each session, where its latest set is
};

void ServerJoin::MatchMessages() {
    std::vector<std::size_t> places;
    for (std::size_t index = 0; index < device.size(); ++index) {
        if (device[index].kind == Kind::Message) {
            places.push_back(index);
        }
    }
    Sequences sequences;
    sequences.left = server.size();
    sequences.right = places.size();
    sequences.same = [&](std::size_t left, std::size_t right) {
        return AreSame(*device[places[right]].message, *server[left].message);
    };
    const auto keyOf = [](const std::string& set) { return IsHidden(set) ? std::string() : set; };
    sequences.leftKey = [&](std::size_t left) { return keyOf(server[left].message->responseSet); };
    sequences.rightKey = [&](std::size_t right) {
        return keyOf(WithoutBlanks(device[places[right]].message->responseSet));
    };
    messages = Align(sequences);
    for (std::size_t& partner : messages) {
        partner = partner == NoPartner ? NoPartner : places[partner];
    }
}

// A set that came again was not sent again.
void ServerJoin::CollectCommands() {
    for (std::size_t index = 0; index < server.size(); ++index) {
        const Message& message = *server[index].message;
        const std::vector<std::string> items = ItemsOf(message.repeated ? "" : message.commandSet);
        for (std::size_t item = 0; item < items.size(); ++item) {
            commands.push_back({index, item + 1, SeeCommand(items[item]).value_or(Seen()), NoPartner});
        }
    }
}

// Where the log has the message, its commands stand behind it; else time decides, unless clocks differ.
bool ServerJoin::MayBe(const Sent& sent, const Entry& entry, std::size_t place) const {
    if (!entry.knowsCommand || !MayBeSame(entry.command, sent.command)) {
        return false;
    }
    const std::size_t message = messages[sent.message];
    if (message != NoPartner) {
        return place > message;
    }
    const Entry& from = server[sent.message];
    const bool haveTimes = entry.time && !entry.isEstimated && from.message->received;
    constexpr Microseconds Tolerance = 1000;  // of recordings that have milliseconds
    constexpr Microseconds Apart = 60000000;  // where clocks do not speak of the same minute
    const Microseconds ahead = haveTimes ? *from.message->received - *entry.time : 0;
    return ahead <= Tolerance || ahead > Apart;
}

void ServerJoin::MatchCommands() {
    std::vector<std::size_t> places;
    for (std::size_t index = 0; index < device.size(); ++index) {
        if (device[index].kind == Kind::Apdu) {
            places.push_back(index);
        }
    }
    Sequences sequences;
    sequences.left = commands.size();
    sequences.right = places.size();
    sequences.same = [&](std::size_t left, std::size_t right) {
        return MayBe(commands[left], device[places[right]], places[right]);
    };
    sequences.leftKey = [&](std::size_t left) { return KeyOf(commands[left].command); };
    sequences.rightKey = [&](std::size_t right) { return KeyOf(device[places[right]].command); };
    const std::vector<std::size_t> partners = Align(sequences);
    for (std::size_t index = 0; index < commands.size(); ++index) {
        commands[index].place = partners[index] == NoPartner ? NoPartner : places[partners[index]];
    }
    // The service reads the card before it asks the server, with commands that a set may begin with, too.
    for (std::size_t index = commands.size(); index-- > 1;) {
        Sent& sent = commands[index - 1];
        const std::size_t next = commands[index].place;
        if (sent.place != NoPartner && next != NoPartner && next > 0 && sent.place + 1 < next &&
            sent.message == commands[index].message && device[next - 1].kind == Kind::Apdu &&
            MayBe(sent, device[next - 1], next - 1)) {
            sent.place = next - 1;
        }
    }
}

// A set goes out before its first command and the next message comes in behind its last. The server's clock
// is set into the middle of what that allows, and left alone where it fits.
void ServerJoin::SetClock() {
    std::optional<Microseconds> most;
    std::optional<Microseconds> least;
    for (const Sent& sent : commands) {
        const Message& message = *server[sent.message].message;
        if (sent.place == NoPartner || !device[sent.place].time || !message.received) {
            continue;
        }
        const Microseconds begins = *device[sent.place].time;
        const Microseconds behind = begins - *message.received - message.worked.value_or(0);
        most = most ? std::min(*most, behind) : behind;
        if (sent.message + 1 < server.size() && server[sent.message + 1].message->received &&
            server[sent.message + 1].message->session == message.session) {
            const Microseconds before = begins + device[sent.place].duration.value_or(0) -
                                        *server[sent.message + 1].message->received;
            least = least ? std::max(*least, before) : before;
        }
    }
    constexpr Microseconds Tolerance = 2000;
    if (most && least && (*most < -Tolerance || *least > Tolerance)) {
        MoveClock(server, (*most + *least) / 2, story);
    }
}

void ServerJoin::TakeUpTo(std::size_t end) {
    for (; taken < end; ++taken) {
        result.push_back(std::move(device[taken]));
    }
}

// The first command of the message's set, or of the next that has one.
std::vector<Sent>::const_iterator ServerJoin::FirstOf(std::size_t index) const {
    return std::lower_bound(
        commands.begin(), commands.end(), index,
        [](const Sent& each, std::size_t wanted) { return each.message < wanted; });
}

// Where a message belongs that the device's inputs do not name.
std::size_t ServerJoin::PlaceFor(std::size_t index) const {
    const auto first = FirstOf(index);
    if (first != commands.end() && first->message == index && first->place != NoPartner) {
        return first->place;
    }
    std::size_t place = taken;  // behind the last command of the set before
    const std::optional<Microseconds>& received = server[index].message->received;
    while (received && place < device.size() && device[place].time && !device[place].isEstimated &&
           *device[place].time < *received) {
        ++place;
    }
    return place;
}

void ServerJoin::CountJoined(const Entry& entry, const Entry& recorded) {
    for (const Entry* each : {&entry, &recorded}) {
        if (!each->origins.empty()) {
            ++story.sources[each->origins.front().source].joined;
        }
    }
}

// What the service saw of the exchange, and what the server knows of it.
void ServerJoin::Unite(std::size_t index, Entry& inLog) {
    Entry recorded = std::move(server[index]);
    CountJoined(inLog, recorded);
    Message& message = *recorded.message;
    message.errors = std::move(inLog.message->errors);
    const bool arrived = inLog.message->answered && message.errors.empty();
    message.answered = arrived;
    if (const std::string seed = FieldOf(*inLog.message, "fcId"); !seed.empty()) {
        message.request.emplace_back("fcId (not sent)", seed);
    }
    recorded.time = inLog.time ? inLog.time : recorded.time;
    recorded.duration = inLog.duration;
    recorded.job = inLog.job;
    recorded.process = inLog.process;
    recorded.set = inLog.set != 0 ? inLog.set : recorded.set;
    recorded.origins.insert(recorded.origins.end(), inLog.origins.begin(), inLog.origins.end());
    result.push_back(std::move(recorded));
}

// The verdicts of a message are on the commands of the set before.
void ServerJoin::GiveVerdicts(const Entry& next) {
    const std::vector<Verdict>& verdicts = next.message->verdicts;
    const std::vector<std::size_t>& places = sets[next.message->session];
    for (std::size_t index = 0; index < std::min(verdicts.size(), places.size()); ++index) {
        const Verdict& verdict = verdicts[index];
        Entry& entry = result[places[index]];
        entry.isJudged = true;
        entry.action = verdict.title;
        entry.expected = verdict.isAccepted         ? ""
                         : verdict.expected.empty() ? "another answer"
                                                    : verdict.expected;
        if (!entry.knowsResponse && entry.failure.empty()) {
            entry.response = verdict.response;
            entry.knowsResponse = verdict.response.bytes.size() >= 2;
        }
    }
}

void ServerJoin::PlaceMessage(std::size_t index) {
    GiveVerdicts(server[index]);
    const std::size_t inLog = messages[index];
    if (inLog != NoPartner && inLog >= taken) {
        TakeUpTo(inLog);
        Entry entry = std::move(device[taken++]);
        Unite(index, entry);
    } else {
        TakeUpTo(std::max(taken, PlaceFor(index)));
        server[index].job = result.empty() ? 0 : result.back().job;
        result.push_back(std::move(server[index]));
    }
    if (result.back().message->answered) {
        PlaceCommands(index);
    }
}

// Those that no input of the device has are told as the server knows them.
void ServerJoin::PlaceCommands(std::size_t index) {
    const std::size_t message = result.size() - 1;
    const std::string session = result[message].message->session;
    const std::size_t set = result[message].set;
    std::vector<std::size_t> places;
    for (auto sent = FirstOf(index); sent != commands.end() && sent->message == index; ++sent) {
        if (sent->place != NoPartner && sent->place >= taken) {
            TakeUpTo(sent->place + 1);
            CountJoined(result.back(), result[message]);
        } else {
            Entry entry;
            entry.kind = Kind::Apdu;
            entry.command = sent->command;
            entry.knowsCommand = !sent->command.bytes.empty();
            entry.job = result[message].job;
            entry.origins = {result[message].origins.front()};
            result.push_back(std::move(entry));
        }
        result.back().set = set;
        result.back().ordinal = sent->ordinal;
        places.push_back(result.size() - 1);
    }
    if (!places.empty()) {
        sets[session] = std::move(places);
    }
}

}  // namespace

Entries JoinServer(Entries device, Entries server, Story& story) {
    return server.empty() ? std::move(device) : ServerJoin(std::move(device), std::move(server), story).Run();
}

// One job opens the element once, or begins with the message that opens a session.
void CompleteTimeline(Entries& entries) {
    const bool hasRequests = std::any_of(
        entries.begin(), entries.end(), [](const Entry& each) { return each.kind == Kind::Request; });
    const bool hasOpenings = std::any_of(
        entries.begin(), entries.end(), [](const Entry& each) { return each.kind == Kind::Open; });
    std::size_t job = 0;
    std::optional<Microseconds> time;
    for (const Entry& entry : entries) {
        time = entry.time;
        if (time) {
            break;
        }
    }
    for (Entry& entry : entries) {
        const bool opensSession =
            entry.message && entry.message->name != "NEXTAPDU" && !entry.message->repeated;
        job += (hasOpenings ? entry.kind == Kind::Open : opensSession) ? 1 : 0;
        entry.job = hasRequests ? entry.job : std::max<std::size_t>(job, entries.empty() ? 0 : 1);
        if (!entry.time && time) {
            entry.time = time;
            entry.isEstimated = true;
        }
        time = entry.time ? std::optional(*entry.time + (entry.isEstimated ? 0 : entry.duration.value_or(0)))
                          : time;
    }
}

}  // namespace Trace::Joining
