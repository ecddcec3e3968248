// SPDX-License-Identifier: Apache-2.0
// A script handler without memory for its own state. This program's allocator fails to order.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <new>

#include "app/Lccm.h"
#include "common/Locations.h"
#include "tests/support/service/DeviceWorld.h"

namespace {

bool memoryIsShort = false;

// A memory checker such as valgrind puts its own allocator in place of this program's.
bool CanRunShort() {
    memoryIsShort = true;
    const std::unique_ptr<int> probe(new (std::nothrow) int());
    memoryIsShort = false;
    return probe == nullptr;
}

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return memoryIsShort ? nullptr : ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

TEST(LccmWithoutMemory, ExistsAndPlaysNothing) {
    if (!CanRunShort()) {
        GTEST_SKIP() << "another allocator is in place of this program's";
    }
    DeviceWorld world;
    world.InstallInHouseLibraries();
    {
        memoryIsShort = true;
        Na::Lccm lccm;
        memoryIsShort = false;
        EXPECT_EQ(lccm.handleCcmScript("C500"), Na::Lccm::LibraryMissing);
    }
    EXPECT_THAT(
        world.LocatedLog(),
        testing::ElementsAre(
            "D Lccm: Lccm object creation.",
            std::string("E Lccm: Can not load sem library. Check path: ") + Locations::SecureSpiLibrary,
            "E handleCcmScript: Incomplete object initialization. Lccm is not available",
            "D ~Lccm: Lccm object destruction."));
}
