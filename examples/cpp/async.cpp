// SPDX-License-Identifier: Apache-2.0
// Asks for several things at once while its main loop runs, as a program with a window would.
#include <cstdint>
#include <iostream>

#include <glib.h>
#include <navo/AsyncSession.h>

namespace {

template <typename Value>
void Print(const char* what, std::future<Value> value) {
    try {
        std::cout << what << ": " << value.get() << std::endl;
    } catch (const Navo::ClientError& error) {
        std::cout << what << ": " << NameOf(error.Kind()) << ", " << error.what() << std::endl;
    }
}

}  // namespace

int main() {
    GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
    {
        Navo::AsyncSession session;
        session.Start(
            Navo::Jobs::Cplc(), [](std::future<std::string> cplc) { Print("cplc", std::move(cplc)); });
        session.Start(Navo::Jobs::FreeMemory(), [](std::future<std::int64_t> bytes) {
            Print("memory", std::move(bytes));
        });
        session.Close([loop](std::future<void>) { g_main_loop_quit(loop); });
        g_main_loop_run(loop);
    }
    g_main_loop_unref(loop);
    return 0;
}
