#include "card/CardContent.h"

#include <algorithm>

namespace Card {

namespace {

constexpr std::uint8_t AesKey = 0x88;

template <typename Item>
Item* FindByAid(std::vector<Item>& items, const Bytes& aid) {
    const auto found =
        std::find_if(items.begin(), items.end(), [&](const Item& item) { return item.aid == aid; });
    return found == items.end() ? nullptr : &*found;
}

std::uint64_t DataMemory(const Application& application) {
    std::uint64_t size = 0;
    for (const auto& object : application.data) {
        size += object.second.size();
    }
    return size;
}

}  // namespace

// A card as its issuer hands it out: secured, with one set of three keys, and nothing installed.
CardContent::CardContent() {
    issuerDomain.aid = {0xA0, 0x00, 0x00, 0x01, 0x51, 0x00, 0x00, 0x00};
    issuerDomain.privileges = {0x9E, 0xFE, 0x80};
    issuerDomain.state = LifeCycle::CardSecured;
    keys[0x01] = {{0x01, {AesKey, 16}}, {0x02, {AesKey, 16}}, {0x03, {AesKey, 16}}};
}

LoadFile* CardContent::FindLoadFile(const Bytes& aid) {
    return FindByAid(loadFiles, aid);
}

Application* CardContent::FindApplication(const Bytes& aid) {
    return FindByAid(applications, aid);
}

bool CardContent::IsTaken(const Bytes& aid) const {
    const auto has = [&](const auto& item) { return item.aid == aid; };
    return issuerDomain.aid == aid || std::any_of(loadFiles.begin(), loadFiles.end(), has) ||
           std::any_of(applications.begin(), applications.end(), has);
}

std::uint64_t CardContent::UsedMemory() const {
    std::uint64_t used = DataMemory(issuerDomain);
    for (const LoadFile& file : loadFiles) {
        used += file.size;
    }
    for (const Application& application : applications) {
        used += application.size + DataMemory(application);
    }
    return used;
}

bool BeginsWith(const Bytes& aid, const Bytes& beginning) {
    return aid.size() >= beginning.size() && std::equal(beginning.begin(), beginning.end(), aid.begin());
}

}  // namespace Card
