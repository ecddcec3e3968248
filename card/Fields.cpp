// SPDX-License-Identifier: Apache-2.0
#include "card/Fields.h"

#include <algorithm>

namespace Card {

std::vector<Bytes> Fields(const Bytes& data, std::size_t count) {
    std::vector<Bytes> fields;
    LengthValueReader reader(data);
    while (fields.size() < count) {
        const bool isLong = count - fields.size() <= 2;
        std::optional<Bytes> field = isLong ? reader.NextLong() : reader.Next();
        if (!field) {
            Refuse(StatusWord::WrongData);
        }
        fields.push_back(std::move(*field));
    }
    if (!reader.AtEnd()) {
        Refuse(StatusWord::WrongData);
    }
    return fields;
}

std::vector<TlvObject> Objects(const Bytes& data) {
    std::optional<std::vector<TlvObject>> objects = ParseTlv(data);
    if (!objects) {
        Refuse(StatusWord::WrongData);
    }
    return std::move(*objects);
}

const Bytes* FindObject(const std::vector<TlvObject>& objects, std::uint32_t tag) {
    const auto found =
        std::find_if(objects.begin(), objects.end(), [&](const TlvObject& each) { return each.tag == tag; });
    return found == objects.end() ? nullptr : &found->value;
}

void RequireEmpty(const std::vector<Bytes>& fields, std::initializer_list<std::size_t> which) {
    for (const std::size_t at : which) {
        if (!fields[at].empty()) {
            Refuse(StatusWord::WrongData);
        }
    }
}

void RefuseToken(const Bytes& token) {
    if (!token.empty()) {
        Refuse(StatusWord::WrongData);
    }
}

Bytes Privileges(const Bytes& field) {
    if (field.size() != 1 && field.size() != PrivilegesLength) {
        Refuse(StatusWord::WrongData);
    }
    Bytes privileges = field;
    privileges.resize(PrivilegesLength);
    return privileges;
}

}  // namespace Card
