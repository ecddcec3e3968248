// GET STATUS: the lists of what is on the card.
#include <algorithm>

#include "card/CardManagement.h"
#include "globalplatform/Tlv.h"

namespace Card {

namespace {

constexpr std::size_t LongestResponse = 256;

Bytes TagListEntry(const Application& application) {
    Bytes entry = MakeTlv(0x4F, application.aid);
    Append(entry, MakeTlv(0x9F70, {application.state}));
    Append(entry, MakeTlv(0xC5, application.privileges));
    if (!application.loadFile.empty()) {
        Append(entry, MakeTlv(0xC4, application.loadFile));
    }
    return MakeTlv(0xE3, entry);
}

Bytes TagListEntry(const LoadFile& file) {
    Bytes entry = MakeTlv(0x4F, file.aid);
    Append(entry, MakeTlv(0x9F70, {LifeCycle::Loaded}));
    return MakeTlv(0xE3, entry);
}

Bytes PlainEntry(const Bytes& aid, std::uint8_t state, std::uint8_t privileges) {
    Bytes entry = {static_cast<std::uint8_t>(aid.size())};
    Append(entry, aid);
    Append(entry, {state, privileges});
    return entry;
}

// Entries of the objects whose AID begins with the searched one, in the form that was asked for.
class Listing {
public:
    Listing(Bytes aidBeginning, bool asTagList) : searched(std::move(aidBeginning)), tagged(asTagList) {}

    void Add(const Application& application) {
        if (BeginsWith(application.aid, searched)) {
            entries.push_back(
                tagged ? TagListEntry(application)
                       : PlainEntry(application.aid, application.state, application.privileges.front()));
        }
    }

    void Add(const LoadFile& file) {
        if (BeginsWith(file.aid, searched)) {
            entries.push_back(tagged ? TagListEntry(file) : PlainEntry(file.aid, LifeCycle::Loaded, 0));
        }
    }

    std::vector<Bytes> entries;

private:
    Bytes searched;
    bool tagged;
};

}  // namespace

// A list that is longer than a response goes on with the next command.
Bytes CardManagement::GetStatus(const CommandApdu& apdu, StatusWord* status) {
    if ((apdu.p2 & ~0x03) != 0) {
        throw Refusal{StatusWord::WrongParameters};
    }
    const std::optional<std::vector<TlvObject>> criteria = ParseTlv(apdu.data);
    if (!criteria || criteria->empty() || criteria->front().tag != 0x4F) {
        throw Refusal{StatusWord::WrongData};
    }
    Listing listing(criteria->front().value, (apdu.p2 & 0x02) != 0);
    switch (apdu.p1) {
        case 0x80:
            listing.Add(content.issuerDomain);
            break;
        case 0x40:
            for (const Application& application : content.applications) {
                listing.Add(application);
            }
            break;
        case 0x20:
        case 0x10:
            for (const LoadFile& file : content.loadFiles) {
                listing.Add(file);
            }
            break;
        default:
            throw Refusal{StatusWord::WrongParameters};
    }
    const bool next = (apdu.p2 & 0x01) != 0;
    std::size_t at = next ? listed : 0;
    if (at >= listing.entries.size()) {
        throw Refusal{StatusWord::ReferencedDataNotFound};
    }
    Bytes response;
    const std::size_t room = std::min(apdu.expectedLength.value_or(LongestResponse), LongestResponse);
    while (at < listing.entries.size() && response.size() + listing.entries[at].size() <= room) {
        Append(response, listing.entries[at++]);
    }
    listed = at;
    *status = at < listing.entries.size() ? StatusWord::MoreDataAvailable : StatusWord::Success;
    return response;
}

}  // namespace Card
