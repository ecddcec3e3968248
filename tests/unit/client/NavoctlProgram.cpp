#include "tests/unit/client/NavoctlProgram.h"

#include <signal.h>

#include <stdexcept>

namespace {

using LauncherPtr = std::unique_ptr<GSubprocessLauncher, Navo::ObjectUnref>;

void IgnoreHangUp(gpointer) {
    signal(SIGHUP, SIG_IGN);
}

LauncherPtr NewLauncher(const std::string& busAddress, const ProgramSetting& setting) {
    int flags = G_SUBPROCESS_FLAGS_NONE;
    flags |= setting.outputDescriptor < 0 ? G_SUBPROCESS_FLAGS_STDOUT_PIPE : 0;
    flags |= setting.errorDescriptor < 0 ? G_SUBPROCESS_FLAGS_STDERR_PIPE : 0;
    LauncherPtr launcher(g_subprocess_launcher_new(static_cast<GSubprocessFlags>(flags)));
    g_subprocess_launcher_setenv(launcher.get(), "DBUS_SYSTEM_BUS_ADDRESS", busAddress.c_str(), TRUE);
    if (setting.outputDescriptor >= 0) {
        g_subprocess_launcher_take_stdout_fd(launcher.get(), setting.outputDescriptor);
    }
    if (setting.errorDescriptor >= 0) {
        g_subprocess_launcher_take_stderr_fd(launcher.get(), setting.errorDescriptor);
    }
    if (setting.ignoresHangUp) {
        g_subprocess_launcher_set_child_setup(launcher.get(), IgnoreHangUp, nullptr, nullptr);
    }
    return launcher;
}

// All that is left in a stream.
std::string Rest(GInputStream* stream) {
    std::string text;
    char buffer[4096];
    for (;;) {
        const gssize count = g_input_stream_read(stream, buffer, sizeof buffer, nullptr, nullptr);
        if (count <= 0) {
            return text;
        }
        text.append(buffer, static_cast<std::size_t>(count));
    }
}

}  // namespace

NavoctlProgram::NavoctlProgram(
    const std::string& busAddress, const std::vector<std::string>& arguments, const ProgramSetting& setting) {
    std::vector<const char*> words = {NAVOCTL_PROGRAM};
    for (const std::string& argument : arguments) {
        words.push_back(argument.c_str());
    }
    words.push_back(nullptr);
    const LauncherPtr launcher = NewLauncher(busAddress, setting);
    GError* error = nullptr;
    process.reset(g_subprocess_launcher_spawnv(launcher.get(), words.data(), &error));
    const Navo::ErrorPtr owned(error);
    if (process == nullptr) {
        throw std::runtime_error(owned->message);
    }
    if (GInputStream* errors = g_subprocess_get_stderr_pipe(process.get())) {
        errorLines.reset(g_data_input_stream_new(errors));
    }
}

void NavoctlProgram::Send(int signalNumber) {
    g_subprocess_send_signal(process.get(), signalNumber);
}

std::optional<std::string> NavoctlProgram::ReadErrorLine() {
    const Navo::TextPtr line(g_data_input_stream_read_line(errorLines.get(), nullptr, nullptr, nullptr));
    return line != nullptr ? std::optional<std::string>(line.get()) : std::nullopt;
}

ProgramEnd NavoctlProgram::Wait() {
    ProgramEnd end;
    // What navoctl prints is far less than a pipe holds, so one pipe after the other is no danger.
    if (GInputStream* output = g_subprocess_get_stdout_pipe(process.get())) {
        end.output = Rest(output);
    }
    if (errorLines != nullptr) {
        end.errors = Rest(G_INPUT_STREAM(errorLines.get()));
    }
    g_subprocess_wait(process.get(), nullptr, nullptr);
    if (g_subprocess_get_if_signaled(process.get())) {
        end.signal = g_subprocess_get_term_sig(process.get());
    } else {
        end.status = g_subprocess_get_exit_status(process.get());
    }
    return end;
}

ProgramEnd NavoctlProgram::Run(const std::string& busAddress, const std::vector<std::string>& arguments) {
    return NavoctlProgram(busAddress, arguments).Wait();
}
