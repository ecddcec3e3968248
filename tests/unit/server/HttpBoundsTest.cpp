// SPDX-License-Identifier: Apache-2.0
// What an exchange allows a server, a redirect, a planted file and libcurl itself.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "common/Http.h"
#include "common/Locations.h"
#include "tests/support/HttpPeer.h"
#include "tests/support/TestCertificate.h"
#include "tests/support/service/CurlSpy.h"
#include "tests/support/service/DeviceWorld.h"

using Na::Http;
using Na::HttpOutcome;
using Na::HttpRequest;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace fs = std::filesystem;

namespace {

constexpr char Context[] = "dbus;com.example.wallet_2817";

class BoundedExchange : public testing::Test {
protected:
    HttpOutcome Post(const std::string& url) {
        return http.SendRequest(url, HttpRequest::Post, "data={}", "");
    }

    // Makes the device trust the certificate's authority.
    void Trust(const TestCertificate& certificate) {
        std::ofstream(world.Path() / "ca.pem") << certificate.Pem();
        world.Configure(
            "[network]\ntype=wifi\n[trust]\nca-file=" + (world.Path() / "ca.pem").string() + "\n");
    }

    static fs::path CookieFile() {
        return fs::path(Locations::CookieDirectory) / "dbus_com.example.wallet_2817";
    }

    DeviceWorld world;
    HttpPeer peer;
    Http http{Context};
};

class SecureRedirect : public BoundedExchange, public testing::WithParamInterface<int> {};

TEST_P(SecureRedirect, IsNotFollowedToAPlainServer) {
    const TestCertificate certificate({"127.0.0.1"});
    Trust(certificate);
    HttpPeer secure(certificate.ServerContext());
    secure.Script({Answer("", GetParam(), "Location: " + peer.Url() + "/IssueCard.do\r\n")});
    EXPECT_EQ(Post(secure.Url() + "/IssueCard.do"), HttpOutcome::OtherFailure);
    EXPECT_THAT(secure.Requests(), SizeIs(1));
    EXPECT_EQ(peer.Connections(), 0);
    EXPECT_THAT(
        world.LocatedLog(),
        Contains("E SendRequest: Redirect to " + peer.Url() + "/IssueCard.do is not followed"));
}

INSTANTIATE_TEST_SUITE_P(Every, SecureRedirect, testing::Values(301, 302, 303, 307, 308));

TEST_F(BoundedExchange, FollowsARedirectFromHttpsToHttps) {
    const TestCertificate certificate({"127.0.0.1"});
    Trust(certificate);
    HttpPeer first(certificate.ServerContext());
    HttpPeer second(certificate.ServerContext());
    first.Script({Answer("", 307, "Location: " + second.Url() + "/\r\n")});
    second.Script({Answer("{}")});
    EXPECT_EQ(Post(first.Url()), HttpOutcome::Completed);
    EXPECT_THAT(second.Requests(), SizeIs(1));
}

TEST_F(BoundedExchange, FollowsARedirectFromHttpToHttps) {
    const TestCertificate certificate({"127.0.0.1"});
    Trust(certificate);
    HttpPeer secure(certificate.ServerContext());
    peer.Script({Answer("", 307, "Location: " + secure.Url() + "/\r\n")});
    EXPECT_EQ(Post(peer.Url()), HttpOutcome::Completed);
    EXPECT_THAT(secure.Requests(), SizeIs(1));
}

TEST_F(BoundedExchange, FollowsARedirectToNoOtherScheme) {
    for (const char* const scheme : {"ftp", "file", "gopher", "dict", "telnet"}) {
        world.ForgetLog();
        peer.Script({Answer("", 307, std::string("Location: ") + scheme + "://127.0.0.1/etc/hostname\r\n")});
        EXPECT_EQ(Post(peer.Url()), HttpOutcome::OtherFailure) << scheme;
        EXPECT_THAT(world.LocatedLog(), Contains(AllOf(HasSubstr("Redirect to "), HasSubstr(scheme))))
            << scheme;
    }
    EXPECT_THAT(peer.Requests(), SizeIs(5));
}

TEST_F(BoundedExchange, TalksToNoServerOfAnotherScheme) {
    EXPECT_EQ(Post("ftp" + peer.Url().substr(4)), HttpOutcome::OtherFailure);
    EXPECT_EQ(peer.Connections(), 0);
}

TEST_F(BoundedExchange, KeepsABodyOfSixteenMebibytes) {
    const std::string body(Na::LongestBody, 'x');
    peer.Script({Answer(body)});
    EXPECT_EQ(Post(peer.Url()), HttpOutcome::Completed);
    EXPECT_EQ(http.GetResponse(), body);
}

TEST_F(BoundedExchange, TakesALongerBodyForABrokenAnswerAndAsksOnce) {
    peer.Script({Answer(std::string(Na::LongestBody + 1, 'x'))});
    EXPECT_EQ(Post(peer.Url()), HttpOutcome::NoResponse);
    EXPECT_EQ(http.GetResponse(), "");
    EXPECT_EQ(http.GetResponseCode(), 0);
    EXPECT_THAT(peer.Requests(), SizeIs(1));
    EXPECT_THAT(world.LocatedLog(), Contains("E SendRequest: The answer is longer than 16777216 bytes"));
}

TEST(LongBody, IsTakenToItsEndAndKeptNoFurther) {
    std::string text;
    std::string chunk(16384, 'x');  // as libcurl gives them
    for (int i = 0; i < 2000; ++i) {
        EXPECT_EQ(Na::curl_write_cb(chunk.data(), 1, chunk.size(), &text), chunk.size());
    }
    EXPECT_EQ(text.size(), Na::LongestBody + 1);
    EXPECT_LE(text.capacity(), Na::LongestBody + 1024);
}

// The server that closes a kept connection instead of answering sees the request four times, not five.
TEST_F(BoundedExchange, SendsARequestFourTimesThoughAKeptConnectionDies) {
    Na::ConnectionShare connections;
    Http sharing(Context, &connections);
    peer.Script({Answer("{}"), CloseAtOnce(), CloseAtOnce(), CloseAtOnce(), CloseAtOnce(), Answer("{}")});
    EXPECT_EQ(sharing.SendRequest(peer.Url(), HttpRequest::Post, "data=1", ""), HttpOutcome::Completed);
    EXPECT_EQ(sharing.SendRequest(peer.Url(), HttpRequest::Post, "data=2", ""), HttpOutcome::NoResponse);
    EXPECT_THAT(peer.Requests(), SizeIs(5));
}

TEST_F(BoundedExchange, AsksAgainWhenAKeptConnectionDies) {
    Na::ConnectionShare connections;
    Http sharing(Context, &connections);
    peer.Script({Answer("{}"), CloseAtOnce(), Answer("good")});
    EXPECT_EQ(sharing.SendRequest(peer.Url(), HttpRequest::Post, "data=1", ""), HttpOutcome::Completed);
    EXPECT_EQ(sharing.SendRequest(peer.Url(), HttpRequest::Post, "data=2", ""), HttpOutcome::Completed);
    EXPECT_EQ(sharing.GetResponse(), "good");
    EXPECT_THAT(peer.Requests(), SizeIs(3));
}

TEST_F(BoundedExchange, TellsStandardErrorNothing) {
    testing::internal::CaptureStderr();
    Post(peer.Url());
    EXPECT_THAT(testing::internal::GetCapturedStderr(), IsEmpty());
}

TEST_F(BoundedExchange, KeepsNoCookiesInAFolderThatOthersMayWrite) {
    for (const fs::path& folder :
         {fs::path(Locations::CookieDirectory), fs::path(Locations::CookieDirectory).parent_path()}) {
        fs::create_directories(Locations::CookieDirectory);
        fs::permissions(folder, fs::perms::all);
        peer.Script({Answer("{}", 200, "Set-Cookie: a=b\r\n")});
        EXPECT_EQ(Post(peer.Url()), HttpOutcome::Completed);
        EXPECT_FALSE(fs::exists(CookieFile())) << folder;
        fs::permissions(folder, fs::perms::owner_all);
    }
}

TEST_F(BoundedExchange, FollowsNoPlantedLinkForItsCookies) {
    const fs::path target = world.Path() / "target";
    fs::create_directories(Locations::CookieDirectory);
    std::ofstream(target) << "precious";
    fs::create_symlink(target, CookieFile());
    peer.Script({Answer("{}", 200, "Set-Cookie: a=b\r\n")});
    EXPECT_EQ(Post(peer.Url()), HttpOutcome::Completed);
    EXPECT_TRUE(fs::is_symlink(CookieFile()));
    EXPECT_EQ(fs::file_size(target), 8U);
}

TEST_F(BoundedExchange, FollowsNoPlantedLinkForItsCookieFolder) {
    const fs::path elsewhere = world.Path() / "elsewhere";
    fs::create_directories(elsewhere);
    fs::create_directories(fs::path(Locations::CookieDirectory).parent_path());
    fs::create_directory_symlink(elsewhere, Locations::CookieDirectory);
    peer.Script({Answer("{}", 200, "Set-Cookie: a=b\r\n")});
    EXPECT_EQ(Post(peer.Url()), HttpOutcome::Completed);
    EXPECT_TRUE(fs::is_empty(elsewhere));
}

TEST_F(BoundedExchange, IsNotHeldUpByAPipeInPlaceOfItsCookies) {
    fs::create_directories(Locations::CookieDirectory);
    ASSERT_EQ(mkfifo(CookieFile().c_str(), 0600), 0);
    EXPECT_EQ(Post(peer.Url()), HttpOutcome::Completed);
}

TEST_F(BoundedExchange, StartsAFileOfCookiesAnewThatHasGrownTooLarge) {
    fs::create_directories(Locations::CookieDirectory);
    std::ofstream(CookieFile()) << "127.0.0.1\tFALSE\t/\tFALSE\t4102444800\told\tvalue\n"
                                << std::string(256 * 1024, '#') << "\n";
    peer.Script({Answer("{}", 200, "Set-Cookie: new=b; Max-Age=1000\r\n")});
    EXPECT_EQ(Post(peer.Url()), HttpOutcome::Completed);
    EXPECT_EQ(peer.Requests().front().headers.count("cookie"), 0U);
    EXPECT_LT(fs::file_size(CookieFile()), 1024U);
}

}  // namespace
