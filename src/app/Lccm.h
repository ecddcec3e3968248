// SPDX-License-Identifier: Apache-2.0
// CCM scripts, converted by the maker's secure-SPI library and played to the embedded secure element.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/Utils.h"

namespace Na {

// Loads the library for its own life; without it, or without one of its entry points, every script ends with
// LibraryMissing. The channel to the library and the secure element are never open together.
class Lccm {
public:
    enum Verdict {
        Played = 0,            // every APDU was sent and accepted
        LibraryMissing = -2,   // the library or one of its entry points is not there
        ChannelRefused = -3,   // the secure SPI channel or the secure element did not open
        NotConverted = -4,     // the library refused the script, or it does not fit its buffer
        ResponseRefused = -5,  // a response was missing, too short, or had a refused status word
    };

    // Entry points of the library and the conventions they follow.
    struct LibraryState {
        void* libHandle;
        int (*openSecureSpi)();                                         // 1 on success
        int (*closeSecureSpi)();                                        // 1 on success
        int (*handleCCM)(unsigned char* buffer, std::int32_t* length);  // 0 on success; works in place
    };

    Lccm();
    ~Lccm();
    Lccm(const Lccm&) = delete;
    Lccm& operator=(const Lccm&) = delete;

    // Converts and plays a script given as hexadecimal text; one of the verdicts. Raises std::out_of_range
    // for a converted APDU that ends before its instruction byte.
    int handleCcmScript(const std::string& script);

    static bool loadLibrary(LibraryState& state);
    static void unloadLibrary(LibraryState& state);
    static bool isAvaliable(const LibraryState& state);
    static int openChannel(const LibraryState& state);
    static void closeChannel(const LibraryState& state);

    // Converts a script in place into a packed list and splits the list into APDUs in hexadecimal text.
    static bool handleScript(const LibraryState& state, const Bytes& script, std::vector<std::string>& apdus);

    // Copies the data of the record at `start` of a packed list into `out`, which holds at least 255 bytes.
    // Returns what, plus 2, leads to the next record, or -1.
    //
    // A record is a byte that is not examined, a length byte below 0x80 and as many data bytes; or, with a
    // length byte of 0x80 and above, whatever its low bits, one further length byte and as many data bytes.
    // `buffer` holds at least 257 bytes more than `total`.
    static int nextApduOffset(
        const std::uint8_t* buffer, int start, int total, std::uint8_t* out, std::int32_t* outLength);

    // Whether a response is acceptable: 9000, or 6A88 to a deletion.
    static bool apduRetCheck(const std::string& instruction, const std::string& response);

private:
    std::unique_ptr<LibraryState> state;  // none when there was no memory for it
};

}  // namespace Na
