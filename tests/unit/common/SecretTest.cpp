// SPDX-License-Identifier: Apache-2.0
#include "common/Secret.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <cstdlib>

// In a process of its own, which then has no way back.
TEST(PrivateMemory, IsNoCoreFileAndNobodyElses) {
    ASSERT_EQ(prctl(PR_GET_DUMPABLE, 0, 0, 0, 0), 1);
    EXPECT_EXIT(
        {
            Na::KeepMemoryPrivate();
            std::exit(prctl(PR_GET_DUMPABLE, 0, 0, 0, 0));
        },
        testing::ExitedWithCode(0), "");
}
