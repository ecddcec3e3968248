// SPDX-License-Identifier: Apache-2.0
#include "app/AppMain.h"

#include "app/ClientListener.h"
#include "common/Debug.h"
#include "common/NeverDestroyed.h"

namespace Na {

AppMain* AppMain::GetInstance() {
    static NeverDestroyed<AppMain> instance;
    LogPrint(LogTrace, LOCATED("%p"), static_cast<void*>(&*instance));
    return &*instance;
}

AppMain::AppMain() {
    LogPrint(LogInfo, "info: NAVO Agent for wearable v1.6.0");
}

AppMain::~AppMain() {
    LogPrint(LogTrace, LOCATED(""));
    LogPrint(LogInfo, "info: NAVOA application destroyed");
    ClientListener* const registry = ClientListener::GetInstance();
    if (registry != nullptr && registry->ClientCount() == 0) {
        LogPrint(LogDebug, LOCATED("No connected Clients. Stop listen"));
        registry->StopListen();
    }
}

void AppMain::OnCreate() {
    LogPrint(LogDebug, LOCATED("NAVOA application creation"));
    if (ClientListener* const registry = ClientListener::GetInstance()) {
        registry->StartListen();
    }
}

void AppMain::OnNoClients() {
    LogPrint(LogDebug, LOCATED("No more clients"));
    ExitMainLoop();
}

void AppMain::OnLowMemory() {
    LogPrint(LogDebug, LOCATED("NAVOA application OnLowMemory"));
    ExitMainLoop();
}

void AppMain::OnLowBattery() {
    LogPrint(LogDebug, LOCATED("NAVOA application OnLowBattery"));
    ExitMainLoop();
}

void AppMain::OnPause() {
    LogPrint(LogInfo, "info: NAVOA application suspending");
    if (ClientListener* const registry = ClientListener::GetInstance()) {
        registry->StopListen();
    }
}

void AppMain::OnResume() {
    LogPrint(LogInfo, "info: NAVOA application resuming");
    if (ClientListener* const registry = ClientListener::GetInstance()) {
        registry->StartListen();
    }
}

void AppMain::OnTerminate() {
    LogPrint(LogInfo, "info: NAVOA application terminated");
}

void AppMain::OnClientArrived() {}

bool AppMain::CanTerminate() {
    LogPrint(LogTrace, LOCATED(""));
    if (const ClientListener* const registry = ClientListener::GetInstance()) {
        static_cast<void>(registry->ClientCount());
    }
    return true;
}

}  // namespace Na
