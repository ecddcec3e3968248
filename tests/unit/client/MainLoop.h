// SPDX-License-Identifier: Apache-2.0
// The main loop of an application, in a test's own thread.
#pragma once

#include <gtest/gtest.h>

#include <functional>

#include "client/lib/Bus.h"

class MainLoop {
public:
    // Serves the context until that is so; fails the running test after a while.
    void RunUntil(const std::function<bool()>& isReached) {
        bool isExpired = false;
        const Navo::SourcePtr deadline(g_timeout_source_new_seconds(60));
        g_source_set_callback(
            deadline.get(),
            [](gpointer flag) -> gboolean {
                *static_cast<bool*>(flag) = true;
                return G_SOURCE_REMOVE;
            },
            &isExpired, nullptr);
        g_source_attach(deadline.get(), context.get());
        while (!isReached() && !isExpired) {
            g_main_context_iteration(context.get(), TRUE);
        }
        EXPECT_TRUE(isReached()) << "it did not happen";
    }

    // What is there now, and nothing more.
    void RunWhatIsThere() {
        while (g_main_context_iteration(context.get(), FALSE)) {
        }
    }

private:
    Navo::ContextPtr context{g_main_context_new()};
    Navo::ContextScope scope{context.get()};  // makes it the thread's default
};
