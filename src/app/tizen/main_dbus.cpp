// SPDX-License-Identifier: Apache-2.0
#include <glib.h>
#include <malloc.h>
#include <sys/stat.h>

#include <memory>
#include <utility>

#include "app/AppMain.h"
#include "app/ClientListener.h"
#include "app/tizen/ClientPort_dbus.h"
#include "app/tizen/StartUp.h"
#include "common/Debug.h"
#include "common/Locations.h"
#include "common/Owned.h"
#include "common/Secret.h"

namespace {

using MainLoop = Na::OwnedBy<GMainLoop, g_main_loop_unref>;

// Bytes. A block of so many goes back to the system when it is let go; by itself the allocator would learn
// from one large answer to keep the next.
constexpr int LargeBlock = 1 << 20;

}  // namespace

int main(int argc, char* argv[]) {
    Tizen::RequireStartUp();
    if (Locations::AreTheDevices) {
        Na::KeepMemoryPrivate();  // debuggers have their place on a desk
    }
    mallopt(M_MMAP_THRESHOLD, LargeBlock);
    umask(S_IRWXG | S_IRWXO);  // cookies and settings are nobody else's
    LogPrint(LogTrace, LOCATED("exe: %s"), argc > 0 ? argv[0] : "");
    auto port = std::make_unique<Tizen::DbusClientPort>();
    Na::ClientListener* registry = Na::ClientListener::GetInstance();
    if (registry == nullptr) {
        LogPrint(LogError, LOCATED("Error registering port"));
        return 1;
    }
    registry->RegisterPort(std::move(port));
    MainLoop loop(g_main_loop_new(nullptr, FALSE));
    Na::AppMain* const application = Na::AppMain::GetInstance();
    application->SetMainLoop(loop.get());
    application->OnCreate();
    g_main_loop_run(loop.get());
    application->SetMainLoop(nullptr);
    loop.reset();
    registry = Na::ClientListener::GetInstance();
    if (registry != nullptr) {
        registry->StopListen();
    }
    return 0;
}
