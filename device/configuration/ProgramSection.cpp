// SPDX-License-Identifier: Apache-2.0
#include "device/configuration/ProgramSection.h"

#include <algorithm>

#include "device/configuration/ProgramText.h"
#include "device/configuration/SectionReader.h"
#include "device/configuration/Values.h"
#include "globalplatform/Aid.h"

namespace Device {

namespace {

constexpr char AnswerPrefix[] = "answer ";
constexpr std::size_t MostRules = 1024;

bool Counts(const std::vector<Card::AnswerPart>& parts) {
    return std::any_of(parts.begin(), parts.end(), [](const Card::AnswerPart& part) {
        return part.kind == Card::AnswerPart::Kind::NextCounter || Counts(part.parts);
    });
}

Card::Alternatives SelectionValue(const std::string& text) {
    Card::Alternatives answers = ProgramAnswersValue(text);
    const bool counts = std::any_of(answers.begin(), answers.end(), [](const Card::ProgramAnswer& answer) {
        return Counts(answer.parts);
    });
    if (counts) {
        throw BadValue("a selection counts nothing; write counter: in place of next:");
    }
    return answers;
}

void ReadEntry(const Entry& entry, Card::Program& program) {
    if (entry.key == "select") {
        program.selection = SelectionValue(entry.value);
    } else if (entry.key.compare(0, sizeof AnswerPrefix - 1, AnswerPrefix) == 0) {
        if (program.rules.size() == MostRules) {
            throw BadValue("an application has at most " + std::to_string(MostRules) + " rules");
        }
        const Card::CommandPattern pattern = CommandPatternValue(entry.key.substr(sizeof AnswerPrefix - 1));
        program.rules.push_back({pattern, ProgramAnswersValue(entry.value)});
    } else {
        throw BadValue("this key is not known here; the section has select, answer COMMAND");
    }
}

}  // namespace

void ReadProgramSection(
    const Section& section, std::vector<Card::Program>& programs, std::vector<Mistake>& mistakes) {
    SectionReader reader(section, mistakes);
    Card::Program program;
    std::string name = section.name;
    program.beginning = !name.empty() && name.back() == '*';
    if (program.beginning) {
        name.pop_back();
    }
    program.aid = FromHexText(name).value_or(Bytes());
    const bool right = program.beginning
                           ? !program.aid.empty() && program.aid.size() <= GlobalPlatform::LongestAid
                           : GlobalPlatform::IsAid(program.aid);
    const bool known = std::any_of(programs.begin(), programs.end(), [&](const Card::Program& other) {
        return other.aid == program.aid && other.beginning == program.beginning;
    });
    if (!right) {
        reader.Reject("no application has this name; write 5 to 16 bytes, or the first ones and *");
    } else if (known) {
        reader.Reject("this application has a section already; write its rules there");
    }
    for (const Entry& entry : section.entries) {
        reader.Guarded(entry, [&] { ReadEntry(entry, program); });
    }
    programs.push_back(std::move(program));
}

}  // namespace Device
