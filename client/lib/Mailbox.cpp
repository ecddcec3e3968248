// SPDX-License-Identifier: Apache-2.0
#include "client/lib/Mailbox.h"

#include <utility>

namespace Navo {

namespace {

using SharedMailbox = std::shared_ptr<Mailbox>;

// What a source is given goes to another thread under locks of GLib that nobody else can see.
std::mutex handOver;

SharedMailbox* ForSource(SharedMailbox box) {
    const std::lock_guard<std::mutex> guard(handOver);
    return std::make_unique<SharedMailbox>(std::move(box)).release();
}

SharedMailbox TakeOver(gpointer given) {
    const std::lock_guard<std::mutex> guard(handOver);
    return *static_cast<SharedMailbox*>(given);
}

void FreeOfSource(gpointer given) {
    const std::unique_ptr<SharedMailbox> owned(static_cast<SharedMailbox*>(given));
}

}  // namespace

void Mailbox::Post(std::function<void()> letter) {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (isClosed) {
            return;
        }
        letters.push_back(std::move(letter));
    }
    // The source owns the box too, which so outlives a session that ends before its letters were read.
    GSource* const source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(source, OpenNext, ForSource(shared_from_this()), FreeOfSource);
    g_source_attach(source, context.get());
    g_source_unref(source);
}

void Mailbox::Close() {
    std::deque<std::function<void()>> unread;  // what it owns may look at this box again
    const std::lock_guard<std::mutex> lock(mutex);
    isClosed = true;
    unread.swap(letters);
}

gboolean Mailbox::OpenNext(gpointer box) {
    const SharedMailbox self = TakeOver(box);
    std::function<void()> letter;
    {
        const std::lock_guard<std::mutex> lock(self->mutex);
        if (!self->letters.empty()) {
            letter = std::move(self->letters.front());
            self->letters.pop_front();
        }
    }
    if (letter) {
        letter();
    }
    return G_SOURCE_REMOVE;
}

}  // namespace Navo
