// SPDX-License-Identifier: Apache-2.0
// What becomes of the service when the settings schema is damaged.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "app/ServerAddress.h"
#include "common/Locations.h"
#include "tests/support/service/DeviceWorld.h"

namespace {

using testing::AnyOf;

namespace fs = std::filesystem;

class DamagedSchema : public testing::Test {
protected:
    // How a process ends that asks for the address, then stores one.
    static int EndOfAProcess() {
        const pid_t child = fork();
        if (child == 0) {
            Na::GetNavoAddress();
            Na::SetNavoAddress("https://kms.example");
            _exit(0);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return status;
    }

    void Store(const std::string& content) const {
        std::ofstream(schema, std::ios::binary | std::ios::trunc) << content;
    }

    const DeviceWorld world;
    const fs::path schema = fs::path(Locations::SchemaDirectory) / "gschemas.compiled";
    const std::string whole = ReadFile(schema);
};

// GLib itself ends a process whose schema names a key and has no value for it, and offers no way to look
// beforehand.
TEST_F(DamagedSchema, InAnyByteIsReadPastOrRefusedByGLib) {
    int refused = 0;
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(~damaged[at]);
        Store(damaged);
        const int end = EndOfAProcess();
        EXPECT_THAT(end, AnyOf(0, SIGTRAP)) << "byte " << at;
        refused += end == 0 ? 0 : 1;
    }
    EXPECT_LT(refused, 30) << "of " << whole.size();
}

TEST_F(DamagedSchema, CutShortIsReadPast) {
    for (std::size_t size = 0; size < whole.size(); size += 8) {
        Store(whole.substr(0, size));
        EXPECT_EQ(EndOfAProcess(), 0) << size << " bytes of " << whole.size();
    }
}

}  // namespace
