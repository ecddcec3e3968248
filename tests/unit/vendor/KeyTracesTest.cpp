// SPDX-License-Identifier: Apache-2.0
// A key that was injected stands nowhere in the service's memory afterwards.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>

#include "common/Locations.h"
#include "common/Secret.h"
#include "tests/support/Descriptor.h"
#include "tests/unit/vendor/LibraryJobs.h"

namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::Pair;

// A pattern that this process's memory holds only in disguise, and the memory's copies of it as it is.
class Disguised {
public:
    explicit Disguised(const std::string& plain) : disguised(plain) {
        Turn(disguised.data(), disguised.size());
    }

    std::string Plain() const {
        std::string plain = disguised;
        Turn(plain.data(), plain.size());
        return plain;
    }

    int Copies() const {
        static std::array<char, 1 << 20> window;
        const Descriptor memory(open("/proc/self/mem", O_RDONLY | O_CLOEXEC));
        std::ifstream maps("/proc/self/maps");
        int copies = 0;
        for (std::string line; std::getline(maps, line);) {
            std::uint64_t begin = 0;
            std::uint64_t end = 0;
            if (std::sscanf(line.c_str(), "%" SCNx64 "-%" SCNx64 " rw", &begin, &end) != 2 ||
                line.find(" rw") == std::string::npos || end - begin > LargestRegion) {
                continue;
            }
            for (; begin < end; begin += window.size() - disguised.size()) {
                const auto size =
                    static_cast<std::size_t>(std::min<std::uint64_t>(window.size(), end - begin));
                copies += CopiesIn(
                    window.data(), pread(memory.Get(), window.data(), size, static_cast<off_t>(begin)));
                std::fill(window.begin(), window.end(), '\0');
            }
        }
        return copies;
    }

private:
    // What a sanitizer reserves and hardly uses is larger.
    static constexpr std::uint64_t LargestRegion = 1ULL << 28;

    static void Turn(char* text, std::size_t size) {
        std::transform(
            text, text + size, text, [](char character) { return static_cast<char>(character ^ 0x55); });
    }

    int CopiesIn(char* text, ssize_t size) const {
        int copies = 0;
        if (size > 0) {
            Turn(text, static_cast<std::size_t>(size));
            for (const char* at = text; (at = std::search(
                                             at, static_cast<const char*>(text + size), disguised.begin(),
                                             disguised.end())) != text + size;
                 ++at) {
                ++copies;
            }
        }
        return copies;
    }

    std::string disguised;
};

class KeyTraces : public LibraryJobs {
protected:
    KeyTraces() {
        fs::remove(Locations::KeyProvisioningLibrary);
        fs::copy_file(NAVO_SILENT_KEY_LIBRARY, Locations::KeyProvisioningLibrary);
    }

    void SetUp() override {
        if (ReadFile("/proc/self/maps").find("vgpreload") != std::string::npos) {
            GTEST_SKIP() << "valgrind keeps in this process what it has seen of it";
        }
    }

    static std::string RandomBytes(std::size_t size) {
        std::random_device random;
        std::string bytes(size, '\0');
        std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
        return bytes;
    }

    static std::string HexOf(const std::string& bytes) {
        return Na::BytesToHex(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }

    void Inject(const Disguised& data, const char* encoding) {
        Na::RequestMap request = {{"Cmd", "3F0"},   {"keyName", "wallet"},      {"injectionType", "1"},
                                  {"keyType", "1"}, {"encodingType", encoding}, {"dalmData", data.Plain()}};
        EXPECT_GT(data.Copies(), 0) << "this test's own";
        EXPECT_THAT(Ask(request), ElementsAre(Pair("ReturnCode", "0")));
        Na::Cleanse(request);
    }
};

TEST_F(KeyTraces, OfHexadecimalTextAreGone) {
    std::string bytes = RandomBytes(32);
    std::string hex = HexOf(bytes);
    const Disguised key(bytes);
    const Disguised text(hex);
    Na::Cleanse(bytes);
    Na::Cleanse(hex);
    Inject(text, "1");
    EXPECT_EQ(text.Copies(), 0);
    EXPECT_EQ(key.Copies(), 0);
}

TEST_F(KeyTraces, OfPlainTextAreGone) {
    std::string bytes = RandomBytes(32);
    std::string hex = HexOf(bytes);
    const Disguised text(hex);
    Na::Cleanse(bytes);
    Na::Cleanse(hex);
    Inject(text, "2");
    EXPECT_EQ(text.Copies(), 0);
}

}  // namespace
