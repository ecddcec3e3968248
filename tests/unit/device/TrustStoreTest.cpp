// SPDX-License-Identifier: Apache-2.0
// HTTPS trusts what the device's configuration names, and nothing beside it.
#include <curl/curl.h>
#include <gmock/gmock.h>

#include <cstdarg>

#include "tests/support/HttpPeer.h"
#include "tests/support/TestCertificate.h"
#include "tests/unit/device/DeviceDesk.h"

namespace {

// Options that were set to a null pointer, in order.
std::vector<CURLoption>& ClearedOptions() {
    static std::vector<CURLoption> options;
    return options;
}

std::size_t Ignore(char*, std::size_t size, std::size_t count, void*) {
    return size * count;
}

class TrustStore : public DeviceDesk {
protected:
    TrustStore() : certificate({"127.0.0.1"}), peer(certificate.ServerContext()) { ClearedOptions().clear(); }

    CURLcode Fetch() const {
        CURL* handle = curl_easy_init();
        curl_easy_setopt(handle, CURLOPT_URL, peer.Url().c_str());
        curl_easy_setopt(handle, CURLOPT_NOPROXY, "*");
        curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, Ignore);
        const CURLcode result = curl_easy_perform(handle);
        curl_easy_cleanup(handle);
        return result;
    }

    TestCertificate certificate;
    HttpPeer peer;
};

}  // namespace

extern "C" {

CURLcode __real_curl_easy_setopt(CURL* handle, int option, ...);
CURLcode __wrap_curl_easy_setopt(CURL* handle, int option, ...);

// Sees the options that the device sets; each is a pointer or as wide as one.
CURLcode __wrap_curl_easy_setopt(CURL* handle, int option, ...) {
    va_list arguments;
    va_start(arguments, option);
    void* value = va_arg(arguments, void*);
    va_end(arguments);
    if (value == nullptr) {
        ClearedOptions().push_back(static_cast<CURLoption>(option));
    }
    return __real_curl_easy_setopt(handle, option, value);
}

}  // extern "C"

TEST_F(TrustStore, AcceptsAServerWhoseCertificateItHolds) {
    folder.Write("ca.pem", certificate.Pem());
    Configure("[trust]\nca-file=ca.pem\n");
    EXPECT_EQ(Fetch(), CURLE_OK);
}

TEST_F(TrustStore, RefusesAServerWhoseCertificateItDoesNotHold) {
    folder.Write("ca.pem", TestCertificate({"127.0.0.1"}).Pem());
    Configure("[trust]\nca-file=ca.pem\n");
    EXPECT_EQ(Fetch(), CURLE_PEER_FAILED_VERIFICATION);
}

TEST_F(TrustStore, IsTheLibrarysOwnWithoutOneInTheConfiguration) {
    EXPECT_EQ(Fetch(), CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_THAT(ClearedOptions(), testing::IsEmpty());
}

TEST_F(TrustStore, TakesAwayTheFolderThatTheLibraryWouldUseBesideIt) {
    folder.Write("ca.pem", certificate.Pem());
    Configure("[trust]\nca-file=ca.pem\n");
    curl_easy_cleanup(curl_easy_init());
    EXPECT_THAT(ClearedOptions(), testing::ElementsAre(CURLOPT_CAPATH));
}
