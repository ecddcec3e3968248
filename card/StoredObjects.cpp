// SPDX-License-Identifier: Apache-2.0
#include "card/StoredObjects.h"

#include "globalplatform/Instruction.h"

namespace Card {

using namespace GlobalPlatform;

namespace {

enum class Reading { Whole, CutOff, Wrong };

// Reads numbers and values from the front of the data.
class Front {
public:
    Front(const Bytes& objectData, std::size_t beginning) : data(objectData), at(beginning) {}

    bool Has(std::size_t length) const { return data.size() - at >= length; }
    std::size_t Position() const { return at; }

    std::uint32_t Number(std::size_t width) {
        std::uint32_t number = 0;
        for (; width > 0; --width) {
            number = number << 8 | data[at++];
        }
        return number;
    }

    Bytes Take(std::size_t length) {
        const auto first = data.begin() + static_cast<std::ptrdiff_t>(at);
        at += length;
        return Bytes(first, first + static_cast<std::ptrdiff_t>(length));
    }

private:
    const Bytes& data;
    std::size_t at;
};

Reading ReadValue(Front& front, std::size_t length, TlvObject* object) {
    if (!front.Has(length)) {
        return Reading::CutOff;
    }
    object->value = front.Take(length);
    return Reading::Whole;
}

Reading ReadDataGroup(Front& front, TlvObject* object) {
    if (!front.Has(3)) {
        return Reading::CutOff;
    }
    object->tag = front.Number(2);
    std::size_t length = front.Number(1);
    if (length == 0xFF) {
        if (!front.Has(2)) {
            return Reading::CutOff;
        }
        length = front.Number(2);
    }
    return ReadValue(front, length, object);
}

// Tags of at most three bytes, lengths of at most three behind their marker.
Reading ReadBerTag(Front& front, std::uint32_t* tag) {
    if (!front.Has(1)) {
        return Reading::CutOff;
    }
    *tag = front.Number(1);
    if ((*tag & 0x1F) != 0x1F) {
        return Reading::Whole;
    }
    for (int width = 1; width < 3; ++width) {
        if (!front.Has(1)) {
            return Reading::CutOff;
        }
        *tag = *tag << 8 | front.Number(1);
        if ((*tag & 0x80) == 0) {
            return Reading::Whole;
        }
    }
    return Reading::Wrong;
}

Reading ReadBerTlv(Front& front, TlvObject* object) {
    const Reading tag = ReadBerTag(front, &object->tag);
    if (tag != Reading::Whole) {
        return tag;
    }
    if (!front.Has(1)) {
        return Reading::CutOff;
    }
    std::size_t length = front.Number(1);
    if (length >= 0x80) {
        const std::size_t width = length & 0x7F;
        if (width == 0 || width > 3) {
            return Reading::Wrong;
        }
        if (!front.Has(width)) {
            return Reading::CutOff;
        }
        length = front.Number(width);
    }
    return ReadValue(front, length, object);
}

}  // namespace

std::optional<LeadingObjects> ReadLeadingObjects(const Bytes& data, std::uint8_t structure) {
    LeadingObjects leading;
    std::size_t at = 0;
    while (at < data.size()) {
        Front front(data, at);
        TlvObject object{};
        const Reading reading = structure == DataStructure::DataGroups ? ReadDataGroup(front, &object)
                                                                       : ReadBerTlv(front, &object);
        if (reading == Reading::Wrong) {
            return std::nullopt;
        }
        if (reading == Reading::CutOff) {
            break;
        }
        leading.objects.push_back(std::move(object));
        at = front.Position();
    }
    leading.remainder = Last(data, data.size() - at);
    return leading;
}

}  // namespace Card
