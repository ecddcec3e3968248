// SPDX-License-Identifier: Apache-2.0
// The application's lifecycle.
#pragma once

struct _GMainLoop;

namespace Na {

// A singleton that is never destroyed. The platform's lifecycle events end here; the plain D-Bus entry point
// drives OnCreate, and the client registry OnClientArrived and OnNoClients. The others, and the destructor,
// wait for an entry point of the platform's application framework, which has such events.
//
// This and the registry know each other, the one circle of the service: the registry tells the application
// when clients come and go, and the application starts and stops the registry. Both ends are fixed.
class AppMain {
public:
    // Creation writes the version banner.
    static AppMain* GetInstance();

    AppMain();
    ~AppMain();
    AppMain(const AppMain&) = delete;
    AppMain& operator=(const AppMain&) = delete;

    // The loop that ExitMainLoop quits; not owned.
    void SetMainLoop(_GMainLoop* loop) { mainLoop = loop; }

    void OnCreate();
    void OnNoClients();
    void OnLowMemory();
    void OnLowBattery();
    void OnPause();
    void OnResume();
    void OnTerminate();
    void OnClientArrived();

    // Always true, whatever the number of clients: termination is never vetoed.
    bool CanTerminate();

    // Asks the loop to stop; the running callback finishes first.
    void ExitMainLoop();

private:
    _GMainLoop* mainLoop = nullptr;
};

}  // namespace Na
