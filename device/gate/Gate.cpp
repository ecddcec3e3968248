// SPDX-License-Identifier: Apache-2.0
#include "device/gate/Gate.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <stdexcept>

#include "device/gate/LogWriter.h"
#include "device/gate/Permanent.h"
#include "device/names/FunctionNames.h"

namespace Device {

namespace {

constexpr char DefaultPath[] = NAVO_SYSROOT "/etc/navo-device.conf";
constexpr std::size_t LargestFile = 16 << 20;
constexpr std::chrono::milliseconds UnseenByLines{100};

// What tells one version of a file from another.
struct Stamp {
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec modified = {};

    bool operator==(const Stamp& other) const {
        return exists == other.exists && device == other.device && inode == other.inode &&
               size == other.size && modified.tv_sec == other.modified.tv_sec &&
               modified.tv_nsec == other.modified.tv_nsec;
    }
};

Stamp MakeStamp(const struct stat& status) {
    return Stamp{true, status.st_dev, status.st_ino, status.st_size, status.st_mtim};
}

class State {
public:
    Visit Enter(const char* function, Look look);
    Visit Enquire();
    std::uint64_t Count(const std::string& function);

private:
    void Refresh(Look look = Look::AtEachCall);
    std::shared_ptr<Configuration> Load(const std::string& path, bool named);
    void Hold(int newDescriptor);

    std::mutex mutex;
    std::shared_ptr<const Configuration> configuration;
    std::uint64_t number = 0;
    std::map<std::string, std::uint64_t, std::less<>> counts;
    Stamp stamp;
    std::chrono::steady_clock::time_point looked;
    // The file is kept open: its inode number is not given to another file meanwhile, so that a replaced file
    // is always seen to be another.
    int descriptor = -1;
};

std::shared_ptr<Configuration> Unusable(const std::string& path, const std::string& problem) {
    auto configuration = std::make_shared<Configuration>();
    configuration->path = path;
    configuration->mistakes.push_back({0, "", problem});
    return configuration;
}

std::string ReadWhole(int descriptor) {
    std::string text;
    char buffer[16384];
    for (;;) {
        const ssize_t count = read(descriptor, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throw std::runtime_error(std::string("cannot be read: ") + std::strerror(errno));
        }
        if (count == 0) {
            return text;
        }
        text.append(buffer, static_cast<std::size_t>(count));
        if (text.size() > LargestFile) {
            throw std::runtime_error("is larger than 16 MiB; name a configuration file");
        }
    }
}

void State::Hold(int newDescriptor) {
    if (descriptor >= 0) {
        close(descriptor);
    }
    descriptor = newDescriptor;
}

// `named`: somebody asked for this very file, so that it has to be there.
std::shared_ptr<Configuration> State::Load(const std::string& path, bool named) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    const int error = errno;
    Hold(file);
    struct stat status = {};
    if (file < 0 || fstat(file, &status) != 0) {
        stamp = Stamp();
        if (error == ENOENT && !named) {
            auto plain = std::make_shared<Configuration>();
            plain->path = path;
            return plain;
        }
        return Unusable(path, std::string("cannot be opened: ") + std::strerror(error));
    }
    stamp = MakeStamp(status);
    if (!S_ISREG(status.st_mode)) {
        return Unusable(path, "is no ordinary file; name a configuration file");
    }
    try {
        return std::make_shared<Configuration>(ReadConfiguration(path, ReadWhole(file)));
    } catch (const std::exception& problem) {
        return Unusable(path, problem.what());
    }
}

// Stands before each call, also before each line of the log, so nothing is allocated while nothing changes.
void State::Refresh(Look look) {
    const char* variable = std::getenv("NAVO_DEVICE_CONF");
    const bool named = variable != nullptr && *variable != '\0';
    const char* const path = named ? variable : DefaultPath;
    const bool known = configuration && configuration->path == path;
    const auto now = std::chrono::steady_clock::now();
    if (known && look == Look::NowAndThen && now - looked < UnseenByLines) {
        return;
    }
    looked = now;
    struct stat status = {};
    const Stamp found = stat(path, &status) == 0 ? MakeStamp(status) : Stamp();
    if (known && stamp == found) {
        return;
    }
    const std::shared_ptr<Configuration> loaded = Load(path, named);
    loaded->number = ++number;
    configuration = loaded;
    counts.clear();
    for (const Mistake& mistake : configuration->mistakes) {
        WriteDeviceLog(Describe(*configuration, mistake));
    }
    if (configuration->Broken()) {
        WriteDeviceLog(configuration->path + ": the device fails every call until this is mended");
    }
}

Visit State::Enter(const char* function, Look look) {
    const std::lock_guard<std::mutex> lock(mutex);
    Refresh(look);
    const auto known = counts.find(function);
    std::uint64_t& count = known == counts.end() ? counts[function] : known->second;
    ++count;
    Visit visit{configuration, std::nullopt};
    const auto fault = configuration->faults.find(function);
    if (fault != configuration->faults.end() && fault->second.AppliesTo(count)) {
        visit.fault = fault->second.result;
    }
    return visit;
}

Visit State::Enquire() {
    const std::lock_guard<std::mutex> lock(mutex);
    Refresh();
    return Visit{configuration, std::nullopt};
}

std::uint64_t State::Count(const std::string& function) {
    const std::lock_guard<std::mutex> lock(mutex);
    Refresh();
    const auto known = counts.find(function);
    return known == counts.end() ? 0 : known->second;
}

State& TheState() {
    static State& state = Permanent<State>();
    return state;
}

}  // namespace

Visit Enter(const char* function, Look look) {
    if (!IsPlatformFunction(function)) {
        throw std::logic_error(std::string(function) + " is missing among the names of platform functions");
    }
    return TheState().Enter(function, look);
}

Visit Enquire() {
    return TheState().Enquire();
}

std::uint64_t CallCount(const std::string& canonicalName) {
    return TheState().Count(canonicalName);
}

void ReportException(const char* function, const std::exception& error) {
    try {
        WriteDeviceLog(std::string(function) + ": " + error.what());
    } catch (const std::exception&) {
        // Not even memory for a line: the function's failure has to speak for itself.
    }
}

}  // namespace Device
