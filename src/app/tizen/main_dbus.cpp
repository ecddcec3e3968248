#include <glib.h>

#include <memory>
#include <utility>

#include "app/AppMain.h"
#include "app/ClientListener.h"
#include "app/tizen/ClientPort_dbus.h"
#include "app/tizen/StartUp.h"
#include "common/Debug.h"

int main(int argc, char* argv[]) {
    Tizen::RequireStartUp();
    LogPrint(LogTrace, LOCATED("exe: %s"), argc > 0 ? argv[0] : "");
    std::unique_ptr<Na::IClientPort> port(new Tizen::DbusClientPort);
    Na::ClientListener* registry = Na::ClientListener::GetInstance();
    if (registry == nullptr) {
        LogPrint(LogError, LOCATED("Error registering port"));
        return 1;
    }
    registry->RegisterPort(std::move(port));
    GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
    Na::AppMain* const application = Na::AppMain::GetInstance();
    application->SetMainLoop(loop);
    application->OnCreate();
    g_main_loop_run(loop);
    application->SetMainLoop(nullptr);
    g_main_loop_unref(loop);
    registry = Na::ClientListener::GetInstance();
    if (registry != nullptr) {
        registry->StopListen();
    }
    return 0;
}
