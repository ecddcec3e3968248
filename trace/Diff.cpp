// SPDX-License-Identifier: Apache-2.0
#include "trace/Diff.h"

#include <algorithm>

#include "globalplatform/Instruction.h"
#include "trace/Output.h"

namespace Trace {

namespace {

using GlobalPlatform::CommandApdu;
namespace Instruction = GlobalPlatform::Instruction;

// What of one step is compared.
struct Step {
    std::size_t entry;
    Details details;
    std::string command;  // that is the same in every run of the same thing
    std::string answer;
};

std::string HeaderOf(const CommandApdu& command) {
    return GlobalPlatform::HexText({command.cla, command.ins, command.p1, command.p2});
}

bool IsOfChannel(const CommandApdu& command) {
    return (command.cla & GlobalPlatform::ProprietaryClassBit) != 0 &&
           (command.ins == Instruction::InitializeUpdate || command.ins == Instruction::ExternalAuthenticate);
}

void Compare(const Entry& entry, const Unwrapped& unwrapped, Step& step) {
    const auto command = GlobalPlatform::ParseCommand(entry.command.bytes);
    const bool isOfChannel = command && IsOfChannel(*command);
    if (isOfChannel) {
        step.command = HeaderOf(*command);
    } else if (command && unwrapped.command) {
        step.command = HeaderOf(*command) + GlobalPlatform::HexText(unwrapped.command->data);
    } else if (command && unwrapped.isProtected) {
        step.command = HeaderOf(*command) + " with " + std::to_string(command->data.size()) + " bytes";
    } else {
        step.command = ComparableText(entry.command);
    }
    const bool varies = isOfChannel || (unwrapped.hasProtectedResponse && !unwrapped.response);
    if (unwrapped.response) {
        step.answer = GlobalPlatform::HexText(*unwrapped.response) + StatusWordOf(entry);
    } else {
        step.answer = varies ? StatusWordOf(entry) : ComparableText(entry.response);
    }
    if (!entry.knowsResponse) {
        step.answer = entry.failure;
    }
}

// Commands and messages in their order.
std::vector<Step> StepsOf(const Story& story, Describer& describer, const ChannelKeys& keys) {
    std::vector<Step> steps;
    Channel channel(keys);
    for (std::size_t index = 0; index < story.entries.size(); ++index) {
        const Entry& entry = story.entries[index];
        Step step{index, describer.Describe(entry), "", ""};
        const Unwrapped unwrapped = channel.Follow(entry);
        if (entry.kind == Kind::Apdu && entry.knowsCommand) {
            Compare(entry, unwrapped, step);
        } else if (entry.kind == Kind::Message) {
            step.command = entry.message->name;
            step.answer = step.details.outcome;
        } else {
            continue;
        }
        steps.push_back(std::move(step));
    }
    return steps;
}

void Show(std::ostream& stream, char mark, const Step& step, bool isAnswer) {
    stream << mark << " entry " << step.entry + 1 << ": " << step.details.title;
    const std::string& digits = isAnswer ? step.details.response : step.details.command;
    stream << (digits.empty() ? "" : "  ") << digits;
    if (isAnswer) {
        stream << "  => " << step.details.outcome
               << (step.details.meaning.empty() ? "" : " " + step.details.meaning)
               << (step.details.failure.empty() ? "" : "; " + step.details.failure);
    }
    stream << "\n";
}

class Difference {
public:
    Difference(std::ostream& target, const std::vector<Step>& one, const std::vector<Step>& other)
        : stream(target), left(one), right(other) {}

    bool Write() {
        const bool commands = WriteFirst("command", false);
        const bool answers = WriteFirst("answer", true);
        if (commands && answers) {
            stream << Counted(left.size(), "step is", "steps are") << " the same\n";
        }
        return commands && answers;
    }

private:
    // An answer counts only up to the first command that differs: behind it, others answer to others.
    bool WriteFirst(const std::string& what, bool isAnswer) {
        const std::size_t both = std::min(left.size(), right.size());
        for (std::size_t index = 0; index < both; ++index) {
            const bool sameCommand = left[index].command == right[index].command;
            const bool differs =
                isAnswer ? sameCommand && left[index].answer != right[index].answer : !sameCommand;
            if (differs) {
                stream << "The first " << what << " that differs is step " << index + 1 << ":\n";
                Show(stream, '-', left[index], isAnswer);
                Show(stream, '+', right[index], isAnswer);
                return false;
            }
            if (!sameCommand) {
                return true;
            }
        }
        if (!isAnswer && left.size() != right.size()) {
            const bool leftGoesOn = left.size() > right.size();
            stream << "The " << (leftGoesOn ? "first" : "second") << " goes on with step " << both + 1
                   << ":\n";
            Show(stream, leftGoesOn ? '-' : '+', (leftGoesOn ? left : right)[both], false);
            return false;
        }
        return true;
    }

    std::ostream& stream;
    const std::vector<Step>& left;
    const std::vector<Step>& right;
};

}  // namespace

// One mask for both, so that what is the same has the same alias.
bool WriteDifference(
    std::ostream& stream, const Story& left, const Story& right, bool hides, const ChannelKeys& keys) {
    Describer describer(hides, keys);
    const std::vector<Step> one = StepsOf(left, describer, keys);
    const std::vector<Step> other = StepsOf(right, describer, keys);
    return Difference(stream, one, other).Write();
}

}  // namespace Trace
