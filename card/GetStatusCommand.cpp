// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <set>

#include "card/Commands.h"
#include "card/Fields.h"
#include "card/Hierarchy.h"
#include "globalplatform/Aes.h"
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

// 11.4.2.3: the AID first, then a tag list if there is one, among criteria that the card passes over.
Criteria ReadCriteria(const Bytes& data) {
    const std::optional<std::vector<TlvObject>> objects = ParseTlv(data);
    if (!objects || objects->empty() || objects->front().tag != Tag::Aid ||
        objects->front().value.size() > LongestAid) {
        Refuse(StatusWord::WrongData);
    }
    Criteria criteria{objects->front().value, std::nullopt};
    if (const Bytes* list = FindObject(*objects, Tag::TagList)) {
        criteria.tags = TagList(*list);
    }
    return criteria;
}

// The modules that a file names; of code that says nothing of itself, those that were installed from it.
std::vector<Bytes> ModulesOf(const CardContent& content, const LoadFile& file) {
    std::vector<Bytes> modules = file.modules;
    if (!file.describesItself) {
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
    EntryWriter(const CardContent& cardContent, const CommandApdu& command)
        : content(cardContent),
          criteria(ReadCriteria(command.data)),
          tagged((command.p2 & StatusFlag::InTlv) != 0),
          withModules((command.p1 & StatusSubset::LoadFilesAndModules) != 0) {}

    const Bytes& AidBeginning() const { return criteria.aidBeginning; }

    Bytes Of(const Application& application) const {
        if (&application == &content.issuerDomain) {
            Application issuer = application;
            issuer.privileges = content.IssuerPrivileges();
            return OfApplication(issuer);
        }
        return OfApplication(application);
    }

    Bytes Of(const LoadFile& file) const {
        const std::vector<Bytes> modules = withModules ? ModulesOf(content, file) : std::vector<Bytes>();
        if (!tagged) {
            return PlainFile(file, modules);
        }
        Bytes entry = Beginning(file.aid, LifeCycle::Loaded);
        if (!file.version.empty()) {
            Add(entry, Tag::LoadFileVersion, file.version);
        }
        for (const Bytes& module : modules) {
            Add(entry, Tag::Name, module);
        }
        Add(entry, Tag::SecurityDomainAid, content.Associated(file.domain)->aid);
        return MakeTlv(Tag::RegistryEntry, entry);
    }

private:
    Bytes OfApplication(const Application& application) const {
        if (!tagged) {
            return Plain(application.aid, application.state, application.privileges.front());
        }
        Bytes entry = Beginning(application.aid, application.state);
        Add(entry, Tag::Privileges, application.privileges);
        for (const std::uint8_t parameter : application.implicitSelection) {
            Add(entry, Tag::ImplicitSelection, {parameter});
        }
        if (!application.loadFile.empty()) {
            Add(entry, Tag::LoadFileAid, application.loadFile);
        }
        Add(entry, Tag::SecurityDomainAid, content.Associated(application.domain)->aid);
        return MakeTlv(Tag::RegistryEntry, entry);
    }

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

    Bytes PlainFile(const LoadFile& file, const std::vector<Bytes>& modules) const {
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
    Criteria criteria;
    bool tagged;
    bool withModules;
};

// What a search found: an application, or a load file.
struct Entry {
    const Application* application = nullptr;
    const LoadFile* file = nullptr;

    Bytes Written(const EntryWriter& writer) const {
        return application != nullptr ? writer.Of(*application) : writer.Of(*file);
    }
};

// A domain sees itself and what is below it; with global registry all, and the card's state too; 9.6.5.
std::vector<Entry> Entries(
    const CardContent& content, const Application& domain, std::uint8_t subset, const Bytes& aidBeginning) {
    const bool global = domain.Has(Privilege::GlobalRegistry);
    const auto asked = [&](const auto& entry) {
        return BeginsWith(entry.aid, aidBeginning) &&
               (global || entry.aid == domain.aid || IsBelow(content, entry.domain, domain));
    };
    std::vector<Entry> entries;
    switch (subset) {
        case StatusSubset::IssuerDomain:  // there is one, whatever is searched for
            if (!global) {
                Refuse(StatusWord::WrongParameters);
            }
            entries.push_back({&content.issuerDomain, nullptr});
            break;
        case StatusSubset::Applications:
            for (const Application& application : content.applications) {
                if (asked(application)) {
                    entries.push_back({&application, nullptr});
                }
            }
            break;
        case StatusSubset::LoadFiles:
        case StatusSubset::LoadFilesAndModules:
            for (const LoadFile& file : content.loadFiles) {
                if (asked(file)) {
                    entries.push_back({nullptr, &file});
                }
            }
            break;
        default:
            Refuse(StatusWord::WrongParameters);
    }
    return entries;
}

// How many entries were shown by the commands before; a search goes on only where it began, and there is but
// one issuer domain.
std::size_t Shown(const Session& session, const CommandApdu& command) {
    if ((command.p2 & StatusFlag::Next) == 0) {
        return 0;
    }
    const bool several = (command.p1 & StatusSubset::IssuerDomain) == 0;
    if (!several || !session.listing || session.listing->subset != command.p1 ||
        session.listing->criteria != command.data) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    return session.listing->shown;
}

// The plain bytes that a response of this length holds, beside its code and its padding.
std::size_t RoomIn(std::size_t length, SecurityLevel level) {
    const std::size_t taken = ProtectsResponses(level) ? ResponseMacLength : 0;
    const std::size_t room = length - std::min(length, taken);
    const std::size_t blocks = room / AesBlockLength * AesBlockLength;
    return level == SecurityLevel::BothEncrypted ? blocks - std::min<std::size_t>(blocks, 1) : room;
}

// Behind the entries that one response shows at the most.
std::size_t EndOfPart(std::size_t count, std::size_t at, std::size_t atOnce) {
    return atOnce == 0 ? count : std::min(count, at + std::min(count, atOnce));
}

// Whether the host gets this much data by this command, or by those that fetch the rest of it.
bool Arrives(const Runtime& card, const CommandApdu& command, std::size_t length) {
    const Manners& manners = card.options.manners;
    const std::size_t expected = command.expectedLength.value_or(LongestResponse);
    return manners.announcesAnswers || manners.shortLength == ShortLength::Cut ||
           length <= RoomIn(expected, card.session.channel->level);
}

}  // namespace

// A list that is longer than a response goes on with the next command.
Answer GetStatus(Runtime& card, const CommandApdu& command) {
    const EntryWriter writer(card.Content(), command);
    const std::vector<Entry> entries = Entries(
        card.Content(), *card.SelectedDomain(), command.p1 & StatusSubset::Mask, writer.AidBeginning());
    std::size_t at = Shown(card.session, command);
    if (at >= entries.size()) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    const SecurityLevel level = card.session.channel->level;
    const std::size_t asked = command.extended ? command.expectedLength.value_or(0) : 0;
    const std::size_t room = RoomIn(std::max(LongestResponse, asked), level);
    const std::size_t end = EndOfPart(entries.size(), at, card.options.manners.listedAtOnce);
    Answer answer{entries[at++].Written(writer)};
    while (at < end) {
        const Bytes entry = entries[at].Written(writer);
        if (answer.data.size() + entry.size() > room) {
            break;
        }
        Append(answer.data, entry);
        ++at;
    }
    if (at < entries.size()) {
        answer.status = StatusWord::MoreDataAvailable;
    }
    // The same part is asked for again when the expected length was too short for it.
    if (Arrives(card, command, answer.data.size())) {
        card.session.listing = Listing{command.p1, command.data, at};
    }
    return answer;
}

}  // namespace Card
