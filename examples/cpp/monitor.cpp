// SPDX-License-Identifier: Apache-2.0
// Says what happens around the service until it has come and gone once.
#include <iostream>

#include <navo/Client.h>
#include <navo/Monitor.h>

int main() {
    try {
        Navo::Cancellation cancellation;
        Navo::SessionOptions options;
        options.cancellation = &cancellation;
        Navo::Monitor monitor(options);
        std::cout << "watching" << std::endl;
        monitor.Run([&cancellation](const Navo::MonitorEvent& event) {
            std::cout << NameOf(event.kind) << " " << event.client << " " << event.text << std::endl;
            if (event.kind == Navo::MonitorEvent::Kind::ServiceLeft) {
                cancellation.Cancel();
            }
        });
        return 0;
    } catch (const Navo::ClientError& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
}
