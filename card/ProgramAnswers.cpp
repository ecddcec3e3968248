// SPDX-License-Identifier: Apache-2.0
#include "card/ProgramAnswers.h"

#include <algorithm>

#include "globalplatform/Instruction.h"
#include "globalplatform/Tlv.h"

namespace Card {

namespace {

// What an extended response carries.
constexpr std::size_t LongestAnswer = 65535;

using Counters = std::map<std::string, std::uint32_t>;

// Puts an answer together. What is missing or has no room ends it.
class Composer {
public:
    Composer(const Application& answering, const CommandApdu& answered)
        : application(answering), command(answered), counters(answering.counters) {}

    std::optional<Answer> Compose(const ProgramAnswer& answer) {
        std::optional<Bytes> data = Together(answer.parts);
        if (!data) {
            return std::nullopt;
        }
        return Answer{std::move(*data), answer.status};
    }

    const Counters& Counted() const { return counters; }

private:
    // Nothing when some of it is not there.
    std::optional<Bytes> Together(const std::vector<AnswerPart>& parts) {
        Bytes data;
        for (const AnswerPart& part : parts) {
            const std::optional<Bytes> bytes = Of(part);
            if (!bytes) {
                return std::nullopt;
            }
            if (data.size() + bytes->size() > LongestAnswer) {
                Refuse(StatusWord::WrongLength);
            }
            Append(data, *bytes);
        }
        return data;
    }

    std::optional<Bytes> Of(const AnswerPart& part) {
        switch (part.kind) {
            case AnswerPart::Kind::Literal:
                return part.bytes;
            case AnswerPart::Kind::CommandData:
                return command.data;
            case AnswerPart::Kind::ApplicationAid:
                return application.aid;
            case AnswerPart::Kind::Counter:
            case AnswerPart::Kind::NextCounter:
                return Count(part);
            case AnswerPart::Kind::StoredValue:
            case AnswerPart::Kind::StoredObject:
                return Stored(part);
            case AnswerPart::Kind::Object:
                break;
        }
        const std::optional<Bytes> value = Together(part.parts);
        return value ? std::optional<Bytes>(MakeTlv(part.tag, *value)) : std::nullopt;
    }

    // A counter that has no room in its bytes counts no more, as a card's does.
    Bytes Count(const AnswerPart& part) {
        const auto found = counters.find(part.counter);
        std::uint64_t value = found == counters.end() ? 0 : found->second;
        if (part.kind == AnswerPart::Kind::NextCounter) {
            ++value;
        }
        if (value >> (8 * part.width) != 0) {
            Refuse(StatusWord::ConditionsNotSatisfied);
        }
        if (part.kind == AnswerPart::Kind::NextCounter) {
            counters[part.counter] = static_cast<std::uint32_t>(value);
        }
        return BigEndian(value, part.width);
    }

    std::optional<Bytes> Stored(const AnswerPart& part) const {
        const auto found = application.data.find(part.path.front());
        if (found == application.data.end()) {
            return std::nullopt;
        }
        Bytes value = found->second;
        for (std::size_t at = 1; at < part.path.size(); ++at) {
            const std::optional<std::vector<TlvObject>> objects = ParseTlv(value);
            if (!objects) {
                return std::nullopt;
            }
            const auto within = std::find_if(objects->begin(), objects->end(), [&](const TlvObject& object) {
                return object.tag == part.path[at];
            });
            if (within == objects->end()) {
                return std::nullopt;
            }
            value = Bytes(within->value);
        }
        return part.kind == AnswerPart::Kind::StoredObject ? MakeTlv(part.path.back(), value) : value;
    }

    const Application& application;
    const CommandApdu& command;
    Counters counters;
};

Bytes HeaderOf(const CommandApdu& command) {
    return {
        static_cast<std::uint8_t>(command.cla & ~LogicalChannelMask), command.ins, command.p1, command.p2};
}

// Makes the counters last that an answer has counted on.
void KeepCounters(Runtime& card, const Application& application, const Counters& counted) {
    if (counted == application.counters) {
        return;
    }
    CardContent changed = card.Content();
    changed.FindApplication(application.aid)->counters = counted;
    card.Commit(std::move(changed));
}

// Security domains have code of their own. Selection by name and logical channels are the card's business
// whoever is selected.
bool IsForTheCard(const CommandApdu& command) {
    const bool interindustry = (command.cla & ProprietaryClassBit) == 0;
    const bool byName = command.ins == Instruction::Select && command.p1 == Selection::ByName;
    return interindustry && (byName || command.ins == Instruction::ManageChannel);
}

const Application* Answering(const Runtime& card, const CommandApdu& command) {
    const Session& session = card.session;
    const bool secured = session.channel || session.aborted || (command.cla & SecureMessagingClassBit) != 0;
    if (secured || card.Content().IsLocked() || IsForTheCard(command)) {
        return nullptr;
    }
    const Application* application = card.Content().FindApplication(session.selected);
    const bool answers = application != nullptr && !application->IsDomain() && !application->IsLocked();
    return answers ? application : nullptr;
}

}  // namespace

std::optional<Answer> AnswerByProgram(Runtime& card, const CommandApdu& command) {
    if (card.options.programs.empty()) {
        return std::nullopt;
    }
    const Application* application = Answering(card, command);
    const Program* program =
        application == nullptr ? nullptr : FindProgram(card.options.programs, application->aid);
    if (program == nullptr) {
        return std::nullopt;
    }
    const Bytes header = HeaderOf(command);
    for (const ProgramRule& rule : program->rules) {
        if (!rule.pattern.Matches(header, command.data)) {
            continue;
        }
        for (const ProgramAnswer& alternative : rule.answers) {
            Composer composer(*application, command);
            if (std::optional<Answer> answer = composer.Compose(alternative)) {
                KeepCounters(card, *application, composer.Counted());
                return answer;
            }
        }
    }
    return std::nullopt;
}

std::optional<Answer> SelectionByProgram(
    const Runtime& card, const Application& application, const CommandApdu& command) {
    const Program* program =
        application.IsDomain() ? nullptr : FindProgram(card.options.programs, application.aid);
    if (program != nullptr) {
        for (const ProgramAnswer& alternative : program->selection) {
            if (std::optional<Answer> answer = Composer(application, command).Compose(alternative)) {
                return answer;
            }
        }
    }
    return std::nullopt;
}

}  // namespace Card
