// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <set>

#include "card/Commands.h"
#include "globalplatform/Aid.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/Tags.h"
#include "globalplatform/Tlv.h"

namespace Card {

namespace {

constexpr std::size_t LongestResponse = 256;

constexpr std::size_t MostModules = 255;  // their number has one byte

struct Criteria {
    Bytes aidBeginning;
    std::optional<std::set<std::uint32_t>> tags;  // those that are asked for; nothing: all
};

std::set<std::uint32_t> TagList(const Bytes& list) {
    std::set<std::uint32_t> tags;
    for (std::size_t at = 0; at < list.size(); ++at) {
        std::uint32_t tag = list[at];
        if ((tag & 0x1F) == 0x1F) {
            if (++at == list.size()) {
                Refuse(StatusWord::WrongData);
            }
            tag = tag << 8 | list[at];
        }
        tags.insert(tag);
    }
    return tags;
}

// 11.4.2.3: the AID first, then a tag list if there is one.
Criteria ReadCriteria(const Bytes& data) {
    const std::optional<std::vector<TlvObject>> objects = ParseTlv(data);
    if (!objects || objects->empty() || objects->size() > 2 || objects->front().tag != Tag::Aid ||
        objects->front().value.size() > LongestAid) {
        Refuse(StatusWord::WrongData);
    }
    Criteria criteria{objects->front().value, std::nullopt};
    if (objects->size() == 2) {
        if (objects->back().tag != Tag::TagList) {
            Refuse(StatusWord::WrongData);
        }
        criteria.tags = TagList(objects->back().value);
    }
    return criteria;
}

// The modules that a file names, or else that were installed from it.
std::vector<Bytes> ModulesOf(const CardContent& content, const LoadFile& file) {
    std::vector<Bytes> modules = file.modules;
    if (modules.empty()) {
        for (const Application& application : content.applications) {
            const bool known = std::find(modules.begin(), modules.end(), application.module) != modules.end();
            if (application.loadFile == file.aid && !known && modules.size() < MostModules) {
                modules.push_back(application.module);
            }
        }
    }
    return modules;
}

// One entry in the form of 11.4.3.1 that was asked for.
class EntryWriter {
public:
    EntryWriter(const CardContent& cardContent, const Criteria& askedFor, bool asTags)
        : content(cardContent), criteria(askedFor), tagged(asTags) {}

    Bytes Of(const Application& application) const {
        if (!tagged) {
            return Plain(application.aid, application.state, application.privileges.front());
        }
        Bytes entry = Beginning(application.aid, application.state);
        Add(entry, Tag::Privileges, application.privileges);
        if (!application.loadFile.empty()) {
            Add(entry, Tag::LoadFileAid, application.loadFile);
        }
        Add(entry, Tag::SecurityDomainAid, content.issuerDomain.aid);
        return MakeTlv(Tag::RegistryEntry, entry);
    }

    Bytes Of(const LoadFile& file, bool withModules) const {
        const std::vector<Bytes> modules = withModules ? ModulesOf(content, file) : std::vector<Bytes>();
        if (!tagged) {
            return PlainFile(file, withModules, modules);
        }
        Bytes entry = Beginning(file.aid, LifeCycle::Loaded);
        for (const Bytes& module : modules) {
            Add(entry, Tag::Name, module);
        }
        Add(entry, Tag::SecurityDomainAid, content.issuerDomain.aid);
        return MakeTlv(Tag::RegistryEntry, entry);
    }

private:
    void Add(Bytes& entry, std::uint32_t tag, const Bytes& value) const {
        if (!criteria.tags || criteria.tags->count(tag) != 0) {
            Append(entry, MakeTlv(tag, value));
        }
    }

    Bytes Beginning(const Bytes& aid, std::uint8_t state) const {
        Bytes entry;
        Add(entry, Tag::Aid, aid);
        Add(entry, Tag::LifeCycleState, {state});
        return entry;
    }

    static Bytes Plain(const Bytes& aid, std::uint8_t state, std::uint8_t privileges) {
        Bytes entry = {static_cast<std::uint8_t>(aid.size())};
        Append(entry, aid);
        Append(entry, {state, privileges});
        return entry;
    }

    static Bytes PlainFile(const LoadFile& file, bool withModules, const std::vector<Bytes>& modules) {
        Bytes entry = Plain(file.aid, LifeCycle::Loaded, 0);
        if (withModules) {
            entry.push_back(static_cast<std::uint8_t>(modules.size()));
            for (const Bytes& module : modules) {
                entry.push_back(static_cast<std::uint8_t>(module.size()));
                Append(entry, module);
            }
        }
        return entry;
    }

    const CardContent& content;
    const Criteria& criteria;
    bool tagged;
};

std::vector<Bytes> Entries(const CardContent& content, const CommandApdu& command) {
    const Criteria criteria = ReadCriteria(command.data);
    const EntryWriter writer(content, criteria, (command.p2 & StatusFlag::InTlv) != 0);
    const auto asked = [&](const Bytes& aid) { return BeginsWith(aid, criteria.aidBeginning); };
    std::vector<Bytes> entries;
    switch (command.p1) {
        case StatusSubset::IssuerDomain:  // there is one, whatever is searched for
            entries.push_back(writer.Of(content.issuerDomain));
            break;
        case StatusSubset::Applications:
            for (const Application& application : content.applications) {
                if (asked(application.aid)) {
                    entries.push_back(writer.Of(application));
                }
            }
            break;
        case StatusSubset::LoadFiles:
        case StatusSubset::LoadFilesAndModules:
            for (const LoadFile& file : content.loadFiles) {
                if (asked(file.aid)) {
                    entries.push_back(writer.Of(file, command.p1 == StatusSubset::LoadFilesAndModules));
                }
            }
            break;
        default:
            Refuse(StatusWord::WrongParameters);
    }
    return entries;
}

// How many entries were shown by the commands before; a search goes on only where it began.
std::size_t Shown(const Session& session, const CommandApdu& command) {
    if ((command.p2 & StatusFlag::Next) == 0) {
        return 0;
    }
    if (!session.listing || session.listing->subset != command.p1 ||
        session.listing->criteria != command.data) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    return session.listing->shown;
}

}  // namespace

// A list that is longer than a response goes on with the next command.
Answer GetStatus(Runtime& card, const CommandApdu& command) {
    if ((command.p2 & ~(StatusFlag::Next | StatusFlag::InTlv)) != 0) {
        Refuse(StatusWord::WrongParameters);
    }
    const std::vector<Bytes> entries = Entries(card.Content(), command);
    std::size_t at = Shown(card.session, command);
    if (at >= entries.size()) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    const std::size_t room =
        std::max(LongestResponse, command.extended ? command.expectedLength.value_or(0) : 0);
    Answer answer;
    do {
        Append(answer.data, entries[at++]);
    } while (at < entries.size() && answer.data.size() + entries[at].size() <= room);
    if (at < entries.size()) {
        answer.status = StatusWord::MoreDataAvailable;
    }
    // The same part is asked for again when the expected length was too short for it.
    if (answer.data.size() <= command.expectedLength.value_or(LongestResponse)) {
        card.session.listing = Listing{command.p1, command.data, at};
    }
    return answer;
}

}  // namespace Card
