// SPDX-License-Identifier: Apache-2.0
#include "keyserver/http/RequestReader.h"

#include <gmock/gmock.h>

using namespace KeyServer;
using testing::ElementsAre;
using testing::Pair;
using Progress = RequestReader::Progress;

namespace {

constexpr std::size_t MostBytes = 16;

class RequestReaderTest : public testing::Test {
protected:
    // Gives the reader more; returns how far it came, beyond the head.
    Progress Give(const std::string& bytes) {
        input += bytes;
        Progress progress = reader.Read(input);
        if (progress == Progress::Head) {
            ++heads;
            progress = reader.Read(input);
        }
        return progress;
    }

    std::string input;
    int heads = 0;
    RequestReader reader{MostBytes};
};

constexpr char ChunkedHead[] = "POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n";

}  // namespace

TEST_F(RequestReaderTest, ReadsARequestAndLeavesTheNext) {
    EXPECT_EQ(
        Give("POST /a?b HTTP/1.1\r\nHost: here\r\nContent-Length: 4\r\n\r\nbodyGET "), Progress::Complete);
    EXPECT_EQ(heads, 1);
    EXPECT_EQ(input, "GET ");
    const HttpRequest& request = reader.Request();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/a?b");
    EXPECT_THAT(request.fields, ElementsAre(Pair("Host", "here"), Pair("Content-Length", "4")));
    EXPECT_EQ(request.body, "body");
    EXPECT_TRUE(request.keepAlive);
}

TEST_F(RequestReaderTest, ReadsByteByByte) {
    const std::string bytes = std::string(ChunkedHead) + "2;name=value\r\nbo\r\n2\r\ndy\r\n0\r\n\r\n";
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        ASSERT_EQ(Give(bytes.substr(i, 1)), Progress::NeedsMore) << i;
    }
    EXPECT_EQ(Give(bytes.substr(bytes.size() - 1)), Progress::Complete);
    EXPECT_EQ(heads, 1);
    EXPECT_EQ(reader.Request().body, "body");
}

TEST_F(RequestReaderTest, ReadsAnEmptyBodyInChunksByteByByte) {
    EXPECT_EQ(Give(ChunkedHead), Progress::NeedsMore);
    for (const char* byte : {"0", "\r", "\n", "\r"}) {
        EXPECT_EQ(Give(byte), Progress::NeedsMore);
    }
    EXPECT_EQ(Give("\n"), Progress::Complete);
}

TEST_F(RequestReaderTest, TellsOfTheHeadBeforeTheBodyHasCome) {
    EXPECT_EQ(
        Give("PUT /b HTTP/1.1\r\nExpect: 100-Continue\r\nContent-Length: 4\r\n\r\n"), Progress::NeedsMore);
    EXPECT_EQ(heads, 1);
    EXPECT_EQ(reader.Request().method, "PUT");
    EXPECT_TRUE(reader.AsksToContinue());
    EXPECT_EQ(reader.WhatIsWrong(), Flaw::Incomplete) << "if no more comes";
}

TEST_F(RequestReaderTest, KnowsAnOldClientThatGoesOn) {
    EXPECT_EQ(Give("GET / HTTP/1.0\r\nConnection: Keep-Alive\r\n\r\n"), Progress::Complete);
    EXPECT_EQ(reader.Request().version, 10U);
    EXPECT_TRUE(reader.Request().keepAlive);
}

TEST_F(RequestReaderTest, KnowsClientsThatDoNot) {
    EXPECT_EQ(Give("GET / HTTP/1.0\r\n\r\n"), Progress::Complete);
    EXPECT_FALSE(reader.Request().keepAlive);
    RequestReader other(MostBytes);
    std::string closing = "GET / HTTP/1.1\r\nConnection: close\r\n\r\n";
    EXPECT_EQ(other.Read(closing), Progress::Head);
    EXPECT_FALSE(other.Request().keepAlive);
}

TEST_F(RequestReaderTest, ReadsWhereAProxyIsToLead) {
    EXPECT_EQ(Give("CONNECT example:443 HTTP/1.1\r\nHost: example:443\r\n\r\n"), Progress::Complete);
    EXPECT_EQ(reader.Request().target, "example:443");
}

TEST_F(RequestReaderTest, RefusesWhatIsNoHttp) {
    EXPECT_EQ(Give("GARBAGE\r\n\r\n"), Progress::Flawed);
    EXPECT_EQ(reader.WhatIsWrong(), Flaw::NoHttp);
}

TEST_F(RequestReaderTest, RefusesAHeadWithoutEnd) {
    EXPECT_EQ(Give("GET /" + std::string(70000, 'a')), Progress::Flawed);
    EXPECT_EQ(reader.WhatIsWrong(), Flaw::HeadTooLong);
}

TEST_F(RequestReaderTest, RefusesABodyThatIsAnnouncedTooLong) {
    input = "POST / HTTP/1.1\r\nContent-Length: 17\r\n\r\n";
    EXPECT_EQ(reader.Read(input), Progress::Head) << "which may give another reason";
    EXPECT_EQ(reader.Read(input), Progress::Flawed);
    EXPECT_EQ(reader.WhatIsWrong(), Flaw::BodyTooLong);
}

TEST_F(RequestReaderTest, TakesABodyOfTheLargestSize) {
    EXPECT_EQ(
        Give(std::string(ChunkedHead) + "8\r\n12345678\r\n8\r\n12345678\r\n0\r\n\r\n"), Progress::Complete);
    EXPECT_EQ(reader.Request().body.size(), MostBytes);
}

TEST_F(RequestReaderTest, RefusesAChunkThatMakesABodyTooLong) {
    EXPECT_EQ(Give(std::string(ChunkedHead) + "8\r\n12345678\r\n9\r\n"), Progress::Flawed);
    EXPECT_EQ(reader.WhatIsWrong(), Flaw::BodyTooLong);
}

TEST_F(RequestReaderTest, RefusesAChunkWhoseDescriptionHasNoEnd) {
    EXPECT_EQ(Give(std::string(ChunkedHead) + "1;name=" + std::string(70000, 'a')), Progress::Flawed);
    EXPECT_EQ(reader.WhatIsWrong(), Flaw::NoHttp);
}

TEST_F(RequestReaderTest, RefusesTwoLengthsThatDiffer) {
    EXPECT_EQ(
        Give("POST / HTTP/1.1\r\nContent-Length: 4\r\nContent-Length: 5\r\n\r\nbody"), Progress::Flawed);
    EXPECT_EQ(reader.WhatIsWrong(), Flaw::NoHttp);
}
