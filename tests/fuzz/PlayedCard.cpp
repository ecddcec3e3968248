// SPDX-License-Identifier: Apache-2.0
#include "tests/fuzz/PlayedCard.h"

#include <nfc.h>
#include <nfc_internal.h>

#include <algorithm>
#include <cstdlib>

extern "C" int __wrap_nfc_se_send_apdu_internal(
    nfc_se_h handle, unsigned char* cmd, unsigned int cmd_len, unsigned char** resp, unsigned int* resp_len);

PlayedCard& Card() {
    static PlayedCard card;
    return card;
}

// NOLINTNEXTLINE(bugprone-reserved-identifier): the linker's name for it
extern "C" int __wrap_nfc_se_send_apdu_internal(
    nfc_se_h, unsigned char*, unsigned int, unsigned char** resp, unsigned int* resp_len) {
    PlayedCard& card = Card();
    ++card.commands;
    std::string response("\x90\x00", 2);
    if (!card.responses.empty()) {
        response = card.responses.front();
        card.responses.pop_front();
    }
    // The caller frees it, so it has to come from malloc.
    *resp = static_cast<unsigned char*>(std::malloc(std::max<std::size_t>(response.size(), 1)));
    std::copy(response.begin(), response.end(), *resp);
    *resp_len = static_cast<unsigned>(response.size());
    return NFC_ERROR_NONE;
}
