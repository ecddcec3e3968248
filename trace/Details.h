// SPDX-License-Identifier: Apache-2.0
// An entry taken apart for people: what every form of output shows of it, masked where it has to be.
#pragma once

#include <cstdint>

#include "trace/Channel.h"
#include "trace/Mask.h"

namespace Trace {

struct Row {
    unsigned depth = 0;
    std::string name;
    std::string value;    // digits or text; may be empty
    std::string meaning;  // in words; may be empty
};

using Rows = std::vector<Row>;

// What an entry's command or message is about, part by part.
struct Section {
    std::string name;  // "Command", "Response", "In the clear"
    Rows rows;
};

struct Details {
    std::string title;    // "INSTALL, for load"
    std::string outcome;  // status word, HTTP status, result code; may be empty
    std::string meaning;  // of the outcome
    std::string from;     // lane
    std::string to;
    std::string command;  // digits of an APDU
    std::string response;
    std::string failure;
    std::vector<Section> sections;
};

// Describes entries in their order, as a channel that they open has to be followed.
class Describer {
public:
    Describer(bool hides, ChannelKeys keys) : mask(hides), channel(std::move(keys)) {}

    [[nodiscard]] Details Describe(const Entry& entry);
    [[nodiscard]] Mask& Masking() { return mask; }

private:
    void DescribeCommand(const Entry& entry, Details& details);
    void DescribeMessage(const Entry& entry, Details& details);

    Mask mask;
    Channel channel;
};

// Parts of it: what bytes are, with `secrets` growing by what was hidden.
class ApduDescriber {
public:
    explicit ApduDescriber(Mask& masking) : mask(masking) {}

    [[nodiscard]] std::string Title(const Bytes& command) const;
    void Command(const Seen& seen, const Unwrapped& unwrapped, Details& details);
    void Response(const Entry& entry, const Unwrapped& unwrapped, Details& details);

    // The fields of card production life cycle data, with serial numbers hidden.
    void LifeCycleData(const Bytes& value, unsigned depth, Rows& rows);

private:
    void Data(const GlobalPlatform::CommandApdu& command, const Bytes& data, Rows& rows);
    void InstallData(const GlobalPlatform::CommandApdu& command, const Bytes& data, Rows& rows);
    bool Tree(const Bytes& data, std::uint32_t within, unsigned depth, Rows& rows);
    void Object(std::uint32_t tag, const Bytes& value, std::uint32_t within, unsigned depth, Rows& rows);
    void Plain(const std::string& name, const Bytes& value, unsigned depth, Rows& rows);
    void Secret(
        const std::string& name, const std::string& kind, const Bytes& value, unsigned depth, Rows& rows);
    void ResponseData(const GlobalPlatform::CommandApdu& command, const Bytes& data, Rows& rows);
    void ChannelAnswer(const Bytes& data, Rows& rows);
    std::string Concealed(const Bytes& whole);
    void Body(const GlobalPlatform::CommandApdu& command, const Unwrapped& unwrapped, Rows& rows);
    std::string HiddenBody(const GlobalPlatform::CommandApdu& command, const std::string& text, Rows& rows);
    std::string HiddenData(const std::string& text) const;
    void ResponseBody(
        const GlobalPlatform::CommandApdu& command, const Bytes& response, const Unwrapped& unwrapped,
        Details& details, Rows& rows);

    Mask& mask;
    std::vector<std::pair<std::string, Bytes>> secrets;  // each with its kind
};

}  // namespace Trace
