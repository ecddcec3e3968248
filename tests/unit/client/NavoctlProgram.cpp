// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/client/NavoctlProgram.h"

namespace {

// What is ignored stays so in the program that takes the shell's place.
std::vector<std::string> CommandOf(const std::vector<std::string>& arguments, const ProgramSetting& setting) {
    std::vector<std::string> command;
    if (setting.ignoresHangUp) {
        command = {"sh", "-c", "trap '' HUP && exec \"$@\"", "sh"};
    }
    command.push_back(NAVOCTL_PROGRAM);
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

Process::Surroundings SurroundingsOf(
    const TemporaryFolder& folder, const std::string& busAddress, const ProgramSetting& setting) {
    std::vector<std::string> changes = setting.environment;
    changes.push_back("DBUS_SYSTEM_BUS_ADDRESS=" + busAddress);
    return {
        folder.Path(), CleanEnvironment(changes), "navoctl", setting.outputDescriptor,
        setting.errorDescriptor};
}

}  // namespace

NavoctlProgram::NavoctlProgram(
    const std::string& busAddress, const std::vector<std::string>& arguments, const ProgramSetting& setting)
    : process(CommandOf(arguments, setting), SurroundingsOf(folder, busAddress, setting)) {}

std::optional<std::string> NavoctlProgram::ReadErrorLine() {
    std::optional<std::string> line;
    Eventually([&] {
        const bool runs = process.IsRunning();
        const std::vector<std::string> lines = LinesOf(process.Errors().substr(errorsRead));
        if (!lines.empty()) {
            line = lines.front();
        }
        return line || !runs;
    });
    errorsRead += line ? line->size() + 1 : 0;
    return line;
}

ProgramEnd NavoctlProgram::Wait() {
    ProgramEnd end;
    const std::optional<ExitStatus> status = process.WaitForEnd();
    if (status && *status < 0) {
        end.signal = -*status;
    } else {
        end.status = status.value_or(-1);
    }
    end.output = process.Output();
    end.errors = process.Errors().substr(errorsRead);
    return end;
}

ProgramEnd NavoctlProgram::Run(
    const std::string& busAddress, const std::vector<std::string>& arguments,
    const std::vector<std::string>& environment) {
    ProgramSetting setting;
    setting.environment = environment;
    return NavoctlProgram(busAddress, arguments, setting).Wait();
}
