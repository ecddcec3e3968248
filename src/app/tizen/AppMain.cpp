// SPDX-License-Identifier: Apache-2.0
#include "app/AppMain.h"

#include <glib.h>

#include "common/Debug.h"

void Na::AppMain::ExitMainLoop() {
    LogPrint(LogDebug, LOCATED("Exiting application loop"));
    if (mainLoop != nullptr) {
        g_main_loop_quit(mainLoop);
    }
}
