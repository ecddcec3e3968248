// SPDX-License-Identifier: Apache-2.0
// Brings what happens in another thread to a main context.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "client/lib/Owners.h"

namespace Navo {

// Runs what is posted in its context, in order, until it is closed.
class Mailbox : public std::enable_shared_from_this<Mailbox> {
public:
    // Takes a reference to the context.
    explicit Mailbox(GMainContext* ofContext) : context(g_main_context_ref(ofContext)) {}

    // Any thread. Nothing when it is closed.
    void Post(std::function<void()> letter);

    // In the context's thread; nothing that was posted is run afterwards.
    void Close();

private:
    static gboolean OpenNext(gpointer box);

    ContextPtr context;
    std::mutex mutex;
    std::deque<std::function<void()>> letters;
    bool isClosed = false;
};

}  // namespace Navo
