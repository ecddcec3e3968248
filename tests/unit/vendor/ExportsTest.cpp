// SPDX-License-Identifier: Apache-2.0
// What the stand-ins show of themselves: each symbol more could keep a closed library in memory, or take the
// place of one of the program's own.
#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "tests/support/TemporaryFolder.h"

namespace {

using testing::UnorderedElementsAre;

// Names of the defined symbols in the dynamic symbol table of a 64-bit ELF file, the linker's own aside.
std::set<std::string> Exports(const std::string& file) {
    const std::string image = ReadFile(file);
    const auto read = [&](std::size_t offset, auto value) {
        std::memcpy(&value, image.data() + offset, sizeof value);
        return value;
    };
    const Elf64_Ehdr header = read(0, Elf64_Ehdr());
    const auto section = [&](std::size_t index) {
        return read(header.e_shoff + index * sizeof(Elf64_Shdr), Elf64_Shdr());
    };
    std::set<std::string> names;
    for (std::size_t i = 0; i < header.e_shnum; ++i) {
        if (section(i).sh_type != SHT_DYNSYM) {
            continue;
        }
        const Elf64_Shdr table = section(i);
        const Elf64_Shdr strings = section(table.sh_link);
        for (std::size_t at = 0; at < table.sh_size; at += sizeof(Elf64_Sym)) {
            const Elf64_Sym symbol = read(table.sh_offset + at, Elf64_Sym());
            if (symbol.st_shndx != SHN_UNDEF) {
                names.insert(image.data() + strings.sh_offset + symbol.st_name);
            }
        }
    }
    return names;
}

}  // namespace

TEST(SecureSpiLibrary, ExportsItsEntryPointsOnly) {
    EXPECT_THAT(
        Exports(NAVO_IN_HOUSE_LIBRARIES_DIR "/liborv_sem.so"),
        UnorderedElementsAre("openSecureSpi", "closeSecureSpi", "handleCCM"));
}

TEST(KeyProvisioningLibrary, ExportsItsEntryPointsOnly) {
    EXPECT_THAT(
        Exports(NAVO_IN_HOUSE_LIBRARIES_DIR "/liborv_dalm.so"),
        UnorderedElementsAre(
            "dalm_keyInjection", "dalm_injectedKeyVerification", "dalm_readInjectedKeyUID",
            "dalm_createGetKeySession", "dalm_releaseGetKeySession"));
}
