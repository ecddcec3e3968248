// SPDX-License-Identifier: Apache-2.0
#include "app/tizen/StartUp.h"

#include "common/Debug.h"
#include "common/Http.h"
#include "platform/tizen/SeReader_NFC.h"
#include "platform/tizen/utils.h"

namespace {

// The order of the members is the order of start-up, and tear-down runs in reverse. What comes before these,
// the result-code table and the fixed texts of the card queries, is constant data and needs no set-up; a
// reader of the secure element lives for one job.
struct ProcessLifetime {
    Tizen23::_NFC_MANAGER_LIFECYCLE nfcManager;
    Tizen::OpenSslLocking openSslLocking;
    Na::_CURL_LIFECYCLE curl;
    GlibLogging glibLogging;
};

const ProcessLifetime processLifetime;

}  // namespace

void Tizen::RequireStartUp() {
    static_cast<void>(processLifetime);
}
