// SPDX-License-Identifier: Apache-2.0
#include "keyserver/Watching.h"

#include <poll.h>
#include <pthread.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace KeyServer {

namespace {

using std::chrono::milliseconds;

// An editor writes several times, and may take a file away before it puts another in its place. What goes on
// changing is read nevertheless.
constexpr milliseconds Quiet{100};
constexpr milliseconds LongestDelay{1000};

constexpr std::uint32_t OfFiles = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE;
constexpr std::uint32_t OfFolders = IN_MOVE_SELF | IN_DELETE_SELF;
constexpr std::uint32_t OfTheWatch = IN_Q_OVERFLOW | IN_UNMOUNT;

// The folder, because who writes a file anew may put another in its place.
std::string FolderOf(const std::string& file) {
    const std::string folder = fs::path(file).parent_path().string();
    return folder.empty() ? "." : folder;
}

}  // namespace

Watching::Watching(const Options& options) {
    sigset_t awaited;
    sigemptyset(&awaited);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&awaited, number);
    }
    pthread_sigmask(SIG_BLOCK, &awaited, nullptr);
    signals = signalfd(-1, &awaited, SFD_CLOEXEC);
    if (signals < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    changes = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    folders.insert(options.scriptFolders.begin(), options.scriptFolders.end());
    for (const auto* files : {&options.scriptFiles, &options.catalogueFiles}) {
        for (const std::string& file : *files) {
            folders.insert(FolderOf(file));
            names.insert(fs::path(file).filename().string());
        }
    }
}

Watching::~Watching() {
    close(signals);
    if (changes >= 0) {
        close(changes);
    }
}

std::vector<std::string> Watching::Follow() {
    std::vector<std::string> complaints;
    for (const std::string& folder : folders) {
        if (inotify_add_watch(changes, folder.c_str(), OfFiles | OfFolders | IN_ONLYDIR) >= 0) {
            unwatched.erase(folder);
        } else if (unwatched.insert(folder).second) {
            complaints.push_back(
                folder + " cannot be watched (" + std::generic_category().message(errno) +
                "); SIGHUP reads it again");
        }
    }
    return complaints;
}

// Not what editors keep beside the files, and what this program writes itself.
bool Watching::Matters(std::uint32_t change, const std::string& name) const {
    if ((change & (OfFolders | OfTheWatch)) != 0 || names.count(name) != 0) {
        return true;
    }
    const std::string extension = fs::path(name).extension().string();
    return !name.empty() && name.front() != '.' && (extension == ".json" || extension == ".loadfile");
}

// Whether one of them matters.
bool Watching::TakeChanges() const {
    alignas(inotify_event) char buffer[4096];
    bool matters = false;
    for (ssize_t size = 0; (size = read(changes, buffer, sizeof buffer)) > 0;) {
        for (ssize_t at = 0; at < size;) {
            inotify_event event{};
            std::memcpy(&event, buffer + at, sizeof event);
            const std::string name = event.len > 0 ? buffer + at + sizeof event : "";
            matters = matters || Matters(event.mask, name);
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
    }
    return matters;
}

std::optional<Watching::Event> Watching::TakeSignal() const {
    signalfd_siginfo signal{};
    if (read(signals, &signal, sizeof signal) != sizeof signal) {
        return std::nullopt;
    }
    return signal.ssi_signo == SIGHUP ? Event::Reload : Event::End;
}

Watching::Event Watching::Next() {
    std::optional<Clock::time_point> changed;
    while (!changed || Clock::now() - *changed < LongestDelay) {
        pollfd awaited[] = {{signals, POLLIN, 0}, {changes, POLLIN, 0}};
        const int count = poll(awaited, 2, changed ? static_cast<int>(Quiet.count()) : -1);
        if (count == 0) {
            break;
        }
        if (count > 0 && (awaited[0].revents & POLLIN) != 0) {
            if (const std::optional<Event> event = TakeSignal()) {
                return *event;
            }
        }
        if (count > 0 && (awaited[1].revents & POLLIN) != 0 && TakeChanges() && !changed) {
            changed = Clock::now();
        }
    }
    return Event::Reload;
}

}  // namespace KeyServer
