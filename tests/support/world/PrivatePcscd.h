// SPDX-License-Identifier: Apache-2.0
// A PC/SC service of a test's own: the real pcscd with two virtual readers, in a mount namespace of its own,
// so that it neither finds nor disturbs another one on the machine, nor the machine's readers.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "tests/support/Process.h"

class PrivatePcscd {
public:
    // Why no such service can be had on this machine; empty when it can.
    static std::string Impediment();

    // Clients find it when the variable PCSCLITE_CSOCK_NAME of their environment has this value. The folder's
    // path must be short.
    static std::filesystem::path SocketIn(const std::filesystem::path& folder) {
        return folder / "pcscd" / "pcscd.comm";
    }

    // Starts it, and returns when it takes clients.
    explicit PrivatePcscd(std::filesystem::path placeOfFiles);

    // Where a card for the first reader connects. The same until the end, unless another program took it
    // while the service was down.
    std::uint16_t Port() const { return port; }
    static std::string Reader() { return "Virtual PCD 00 00"; }

    enum class Readers { Present, Missing };
    void Start(Readers readers = Readers::Present);
    void Stop();
    void Kill();

    // It takes nothing and answers nothing in between.
    void Suspend();
    void Resume();

    // Insertions of cards that the service noticed since it was started.
    std::size_t Insertions() const;

private:
    bool Takes(Readers readers);
    void WriteReaders(Readers readers) const;
    std::size_t Mentions(const std::string& text) const;

    std::filesystem::path folder;
    std::uint16_t port = 0;
    int starts = 0;
    std::unique_ptr<Process> process;
};
