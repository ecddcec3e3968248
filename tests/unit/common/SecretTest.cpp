// SPDX-License-Identifier: Apache-2.0
#include "common/Secret.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

TEST(PrivateMemory, IsNoCoreFileAndNobodyElses) {
    const pid_t child = fork();
    if (child == 0) {
        const int before = prctl(PR_GET_DUMPABLE, 0, 0, 0, 0);
        Na::KeepMemoryPrivate();
        _exit(before == 1 && prctl(PR_GET_DUMPABLE, 0, 0, 0, 0) == 0 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}
