// SPDX-License-Identifier: Apache-2.0
#include "trace/Join.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "trace/Align.h"

namespace Trace {

namespace {

constexpr Microseconds SmallestShift = 1000000;

// There may be very many, so what need not be copied is not.
void Append(std::vector<Entry>& entries, std::vector<Entry> more) {
    if (entries.empty()) {
        entries = std::move(more);
        return;
    }
    std::move(more.begin(), more.end(), std::back_inserter(entries));
}

// Several inputs of one form are told in the order of their times, if they have them.
void Order(std::vector<Entry>& entries) {
    const bool haveTimes =
        std::all_of(entries.begin(), entries.end(), [](const Entry& each) { return each.time.has_value(); });
    if (haveTimes) {
        std::stable_sort(entries.begin(), entries.end(), [](const Entry& left, const Entry& right) {
            return left.time < right.time;
        });
    }
}

bool IsOfCard(const Entry& entry) {
    return entry.kind == Kind::Apdu || entry.kind == Kind::Open || entry.kind == Kind::Close;
}

// A command whose bytes the log has not may be any.
bool AreSame(const Entry& inLog, const Entry& recorded) {
    if (inLog.kind != recorded.kind) {
        return false;
    }
    return inLog.kind != Kind::Apdu || !inLog.knowsCommand || MayBeSame(inLog.command, recorded.command);
}

std::string KeyOf(const Entry& entry) {
    return entry.kind == Kind::Apdu && entry.knowsCommand ? KeyOf(entry.command) : std::string();
}

std::vector<std::size_t> PlacesOfCard(const std::vector<Entry>& entries) {
    std::vector<std::size_t> places;
    for (std::size_t index = 0; index < entries.size(); ++index) {
        if (IsOfCard(entries[index])) {
            places.push_back(index);
        }
    }
    return places;
}

// For each entry of the log its partner in the recording.
std::vector<std::size_t> PartnersOf(const std::vector<Entry>& log, const std::vector<Entry>& recording) {
    const std::vector<std::size_t> places = PlacesOfCard(log);
    Sequences sequences;
    sequences.left = places.size();
    sequences.right = recording.size();
    sequences.same = [&](std::size_t left, std::size_t right) {
        return AreSame(log[places[left]], recording[right]);
    };
    sequences.leftKey = [&](std::size_t left) { return KeyOf(log[places[left]]); };
    sequences.rightKey = [&](std::size_t right) { return KeyOf(recording[right]); };
    const std::vector<std::size_t> found = Align(sequences);
    std::vector<std::size_t> partners(log.size(), NoPartner);
    for (std::size_t index = 0; index < places.size(); ++index) {
        partners[places[index]] = found[index];
    }
    return partners;
}

Microseconds ShiftBetween(
    const std::vector<Entry>& log, const std::vector<Entry>& recording,
    const std::vector<std::size_t>& partners) {
    std::vector<Microseconds> shifts;
    for (std::size_t index = 0; index < log.size(); ++index) {
        if (partners[index] != NoPartner && log[index].time && recording[partners[index]].time) {
            shifts.push_back(*recording[partners[index]].time - *log[index].time);
        }
    }
    if (shifts.empty()) {
        return 0;
    }
    const auto middle = shifts.begin() + static_cast<std::ptrdiff_t>(shifts.size() / 2);
    std::nth_element(shifts.begin(), middle, shifts.end());
    return *middle < SmallestShift && *middle > -SmallestShift ? 0 : *middle;
}

// The recording saw the card, the log knows what the command was for.
Entry Merged(Entry inLog, Entry recorded) {
    recorded.job = inLog.job;
    recorded.process = recorded.process != 0 ? recorded.process : inLog.process;
    recorded.set = inLog.set;
    recorded.ordinal = inLog.ordinal;
    recorded.time = recorded.time ? recorded.time : inLog.time;
    recorded.duration = recorded.duration ? recorded.duration : inLog.duration;
    recorded.failure = recorded.failure.empty() ? inLog.failure : recorded.failure;
    recorded.isCut = recorded.isCut && inLog.isCut;
    recorded.text = inLog.text;
    recorded.origins.insert(recorded.origins.end(), inLog.origins.begin(), inLog.origins.end());
    return recorded;
}

// Takes what the recording has alone, up to a place.
class Merge {
public:
    Merge(std::vector<Entry> logged, std::vector<Entry> recorded)
        : log(std::move(logged)), recording(std::move(recorded)) {}

    std::vector<Entry> Run(const std::vector<std::size_t>& partners) {
        std::size_t ahead = 0;  // next entry of the log that has a partner
        for (std::size_t index = 0; index < log.size(); ++index) {
            for (ahead = std::max(ahead, index); ahead < log.size() && partners[ahead] == NoPartner;) {
                ++ahead;
            }
            const std::size_t limit = ahead < log.size() ? partners[ahead] : recording.size();
            if (partners[index] != NoPartner) {
                TakeUpTo(partners[index]);
                const unsigned followUps = log[index].followUps;
                result.push_back(Merged(std::move(log[index]), std::move(recording[next++])));
                TakeFollowUps(followUps, partners, index);
            } else {
                TakeEarlier(log[index].time, limit);
                result.push_back(std::move(log[index]));
            }
        }
        TakeUpTo(recording.size());
        return std::move(result);
    }

private:
    void TakeOne() {
        recording[next].job = result.empty() ? 0 : result.back().job;
        result.push_back(std::move(recording[next++]));
    }

    void TakeUpTo(std::size_t end) {
        while (next < end) {
            TakeOne();
        }
    }

    void TakeEarlier(const std::optional<Microseconds>& time, std::size_t end) {
        while (time && next < end && recording[next].time && *recording[next].time < *time) {
            TakeOne();
        }
    }

    void TakeFollowUps(unsigned count, const std::vector<std::size_t>& partners, std::size_t index) {
        const std::size_t set = result.back().set;
        const std::size_t ordinal = result.back().ordinal;
        std::size_t limit = recording.size();
        for (std::size_t later = index + 1; later < log.size(); ++later) {
            if (partners[later] != NoPartner) {
                limit = partners[later];
                break;
            }
        }
        for (; count > 0 && next < limit && recording[next].kind == Kind::Apdu; --count) {
            TakeOne();
            result.back().set = set;
            result.back().ordinal = ordinal;
        }
    }

    std::vector<Entry> log;
    std::vector<Entry> recording;
    std::vector<Entry> result;
    std::size_t next = 0;
};

}  // namespace

namespace Joining {

void MoveClock(Entries& entries, Microseconds shift, Story& story) {
    if (shift == 0) {
        return;
    }
    for (Entry& entry : entries) {
        if (entry.time) {
            *entry.time += shift;
        }
        if (entry.message && entry.message->received) {
            *entry.message->received += shift;
        }
        for (const Origin& origin : entry.origins) {
            story.sources[origin.source].shift = shift;
        }
    }
}

Entries JoinDevice(Entries log, Entries recording, Story& story) {
    if (log.empty() || recording.empty()) {
        return log.empty() ? std::move(recording) : std::move(log);
    }
    const std::vector<std::size_t> partners = PartnersOf(log, recording);
    for (std::size_t index = 0; index < log.size(); ++index) {
        if (partners[index] != NoPartner) {
            ++story.sources[log[index].origins.front().source].joined;
            ++story.sources[recording[partners[index]].origins.front().source].joined;
        }
    }
    MoveClock(log, ShiftBetween(log, recording, partners), story);
    return Merge(std::move(log), std::move(recording)).Run(partners);
}

}  // namespace Joining

Story Join(std::vector<Reading> readings) {
    Story story;
    std::vector<Entry> log;
    std::vector<Entry> recording;
    std::vector<Entry> server;
    for (Reading& reading : readings) {
        const bool isOfServer = reading.source.form == Form::ServerRecord;
        const bool isRecorded = reading.source.form == Form::DeviceRecording;
        Append(isOfServer ? server : isRecorded ? recording : log, std::exchange(reading.entries, {}));
        std::move(reading.problems.begin(), reading.problems.end(), std::back_inserter(story.problems));
        story.sources.push_back(std::move(reading.source));
    }
    if (readings.size() > 1) {
        Order(log);
        Order(recording);
        Order(server);
    }
    Append(
        story.entries,
        Joining::JoinServer(
            Joining::JoinDevice(std::move(log), std::move(recording), story), std::move(server), story));
    Joining::CompleteTimeline(story.entries);
    return story;
}

}  // namespace Trace
