// SPDX-License-Identifier: Apache-2.0
#include "keyserver/http/Certificates.h"

#include <gmock/gmock.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

#include "tests/support/TemporaryFolder.h"

using namespace KeyServer;

namespace {

using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;

Certificate Read(const std::string& file) {
    const std::unique_ptr<FILE, int (*)(FILE*)> stream(std::fopen(file.c_str(), "r"), std::fclose);
    return {stream ? PEM_read_X509(stream.get(), nullptr, nullptr, nullptr) : nullptr, X509_free};
}

int VerificationError(const CertificateFiles& files) {
    const Certificate authority = Read(files.authority);
    const Certificate server = Read(files.certificate);
    const std::unique_ptr<X509_STORE, decltype(&X509_STORE_free)> store(X509_STORE_new(), X509_STORE_free);
    X509_STORE_add_cert(store.get(), authority.get());
    const std::unique_ptr<X509_STORE_CTX, decltype(&X509_STORE_CTX_free)> context(
        X509_STORE_CTX_new(), X509_STORE_CTX_free);
    X509_STORE_CTX_init(context.get(), store.get(), server.get(), nullptr);
    X509_STORE_CTX_set_purpose(context.get(), X509_PURPOSE_SSL_SERVER);
    X509_verify_cert(context.get());
    return X509_STORE_CTX_get_error(context.get());
}

mode_t ModeOf(const std::string& file) {
    struct stat status{};
    stat(file.c_str(), &status);
    return status.st_mode & 0777U;
}

class CertificatesTest : public testing::Test {
protected:
    CertificateOrder Order() const {
        CertificateOrder order;
        order.folder = (folder.Path() / "deep" / "certificates").string();
        return order;
    }

    TemporaryFolder folder;
};

}  // namespace

TEST_F(CertificatesTest, MakesAServerCertificateThatItsAuthorityVouchesFor) {
    const CertificateFiles files = MakeCertificates(Order());
    EXPECT_EQ(VerificationError(files), X509_V_OK);
    const Certificate server = Read(files.certificate);
    EXPECT_EQ(X509_check_host(server.get(), "localhost", 0, 0, nullptr), 1);
    EXPECT_EQ(X509_check_ip_asc(server.get(), "127.0.0.1", 0), 1);
    EXPECT_EQ(X509_check_ip_asc(server.get(), "::1", 0), 1);
    EXPECT_EQ(X509_check_host(server.get(), "other.example", 0, 0, nullptr), 0);
}

TEST_F(CertificatesTest, LetsNobodyElseReadTheKey) {
    const CertificateFiles files = MakeCertificates(Order());
    EXPECT_EQ(ModeOf(files.key), 0600U);
    MakeCertificates(Order());
    EXPECT_EQ(ModeOf(files.key), 0600U) << "also where there was one before";
}

TEST_F(CertificatesTest, MakesAnExpiredOne) {
    CertificateOrder order = Order();
    order.days = -1;
    EXPECT_EQ(VerificationError(MakeCertificates(order)), X509_V_ERR_CERT_HAS_EXPIRED);
}

TEST_F(CertificatesTest, MakesOneForAnotherName) {
    CertificateOrder order = Order();
    order.names = {"other.example"};
    const Certificate server = Read(MakeCertificates(order).certificate);
    EXPECT_EQ(X509_check_host(server.get(), "other.example", 0, 0, nullptr), 1);
    EXPECT_EQ(X509_check_host(server.get(), "localhost", 0, 0, nullptr), 0);
}

TEST_F(CertificatesTest, RefusesANameThatIsNone) {
    CertificateOrder order = Order();
    order.names = {"localhost,IP:10.0.0.1"};
    EXPECT_THROW(MakeCertificates(order), std::runtime_error);
    order.names = {""};
    EXPECT_THROW(MakeCertificates(order), std::runtime_error);
}

TEST_F(CertificatesTest, NamesTheFolderThatCannotBeMade) {
    CertificateOrder order = Order();
    order.folder = folder.Write("file", "").string() + "/folder";
    try {
        MakeCertificates(order);
        FAIL() << "a folder below a file";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr(order.folder));
    }
}
