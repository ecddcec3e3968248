#include "common/ConnectionShare.h"

namespace {

constexpr unsigned FirstVersionThatShares = 0x073900;  // 7.57.0

}  // namespace

Na::ConnectionShare::ConnectionShare() {
    if (curl_version_info(CURLVERSION_NOW)->version_num < FirstVersionThatShares) {
        return;
    }
    share.reset(curl_share_init());
    if (share && curl_share_setopt(share.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT) != CURLSHE_OK) {
        share.reset();
    }
}

void Na::ConnectionShare::Join(CURL* exchange) const {
    if (share) {
        curl_easy_setopt(exchange, CURLOPT_SHARE, share.get());
    }
}
