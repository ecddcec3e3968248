// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/TlsProbe.h"

#include <curl/curl.h>

#include <memory>

namespace {

constexpr long MostSeconds = 15;

struct EasyCleanup {
    void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
};

// "Subject:CN = localhost" of the server's own certificate.
std::string FieldOf(const curl_certinfo& chain, const std::string& name) {
    if (chain.num_of_certs < 1) {
        return {};
    }
    for (const curl_slist* line = chain.certinfo[0]; line != nullptr; line = line->next) {
        const std::string text = line->data;
        if (text.compare(0, name.size() + 1, name + ":") == 0) {
            return text.substr(name.size() + 1);
        }
    }
    return {};
}

std::string CertificateOf(CURL* curl) {
    curl_certinfo* chain = nullptr;
    if (curl_easy_getinfo(curl, CURLINFO_CERTINFO, &chain) != CURLE_OK || chain == nullptr ||
        chain->num_of_certs == 0) {
        return {};
    }
    return FieldOf(*chain, "Subject") + ", valid until " + FieldOf(*chain, "Expire date");
}

}  // namespace

TlsProbe ProbeServer(const std::string& address, const std::string& trustFile) {
    TlsProbe probe;
    const std::unique_ptr<CURL, EasyCleanup> curl(curl_easy_init());
    char words[CURL_ERROR_SIZE] = "";
    curl_easy_setopt(curl.get(), CURLOPT_URL, address.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_DEFAULT_PROTOCOL, "https");
    curl_easy_setopt(curl.get(), CURLOPT_CONNECT_ONLY, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_CERTINFO, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, MostSeconds);
    curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_ERRORBUFFER, words);
    if (!trustFile.empty()) {
        curl_easy_setopt(curl.get(), CURLOPT_CAINFO, trustFile.c_str());
        curl_easy_setopt(curl.get(), CURLOPT_CAPATH, nullptr);
    }
    const CURLcode code = curl_easy_perform(curl.get());
    probe.connected = code == CURLE_OK;
    probe.certificateRefused = code == CURLE_PEER_FAILED_VERIFICATION;
    if (!probe.connected) {
        probe.problem = words[0] != '\0' ? words : curl_easy_strerror(code);
    }
    probe.certificate = CertificateOf(curl.get());
    return probe;
}
