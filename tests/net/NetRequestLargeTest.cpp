// Numbers of more than 32 bits in libcurl's variadic functions, whose types differ between systems: a long
// has 8 bytes on Linux and 4 on Windows.
#include "tests/net/CancelTestSupport.h"
#include "tests/support/ScriptedPeer.h"

#include <limits>

namespace {

using namespace vexil_test;
using testing::IsEmpty;

constexpr int64 large = 5368709120;  // 5 GiB

class NetRequestLargeTest : public testing::Test {
protected:
    NetRequestLargeTest() {
        request->setProxy("");
        request->setURL(peer.url("/a").c_str());
    }
    ~NetRequestLargeTest() override {
        // Ends the connection: a script may wait for that.
        request = nullptr;
        EXPECT_TRUE(peer.waitUntilIdle());
        EXPECT_THAT(peer.failures(), IsEmpty());
    }

    /// A server that responds to the head of a request at once and reads none of its body.
    void refuseBody() {
        peer.onConnection()
            .expectHead()
            .reply("HTTP/1.1 413 Content Too Large\r\nContent-Length: 0\r\nConnection: close\r\n\r\n")
            .waitForClose();
    }

    void announceBody(const char* method) {
        request->setHTTPMethod(method);
        request->setSendDataSource(P<TestSource>(new TestSource));
        request->setSendDataSize(large);
        // libcurl would send the body after a second without a response.
        request->setOptionInt(CURLOPT_EXPECT_100_TIMEOUT_MS, 60000);
    }

    int64 performCode() {
        const auto error = thrownBy<CCURLError>([&] { request->perform(); });
        return error ? error->getCode() : 0;
    }

    int64 codeOf(CURLoption option, int value) {
        try {
            request->setOptionInt(option, value);
        } catch (const CCURLError& error) {
            return error.getCode();
        }
        return CURLE_OK;
    }

    ScriptedPeer peer;
    LogCapture log;
    P<OpenRequest> request = new OpenRequest;
};

TEST_F(NetRequestLargeTest, ABodyIsAnnouncedWithItsWholeSize) {
    for (const char* method : {"PUT", "POST"}) {
        refuseBody();
        announceBody(method);
        EXPECT_EQ(performCode(), CURLE_HTTP_RETURNED_ERROR) << method;
        EXPECT_EQ(peer.requests().back().header("Content-Length"), "5368709120") << method;
        EXPECT_EQ(request->getUploadSize(), 5368709120.0) << method;
    }
}

TEST_F(NetRequestLargeTest, AnOffsetIsAskedForAsAWhole) {
    request->setOptionInt64(CURLOPT_RESUME_FROM_LARGE, large);
    peer.onConnection().expectRequest().reply(
        "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 5368709120-5368709121/5368709122\r\n"
        "Content-Length: 2\r\n\r\nok");
    request->perform();
    EXPECT_EQ(peer.requests().back().header("Range"), "bytes=5368709120-");
    EXPECT_EQ(bodyOf(*request), "ok");
}

TEST_F(NetRequestLargeTest, ASizeIsToldAsAWhole) {
    request->setHTTPMethod("HEAD");
    peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\nContent-Length: 5368709120\r\n\r\n");
    request->perform();
    EXPECT_EQ(request->getDownloadSize(), 5368709120.0);
}

TEST_F(NetRequestLargeTest, ABodyThatNoMemoryCanHoldIsRefusedAtItsFirstByte) {
    request->setFullRequestTimeout(zet::CTimeSpan::fromSeconds(20));  // the server sends nothing more
    for (const char* status : {"200 OK", "500 Internal Server Error"}) {
        peer.onConnection()
            .expectRequest()
            .reply("HTTP/1.1 " + std::string(status) + "\r\nContent-Length: 3221225472\r\n\r\nfirst")
            .waitForClose();
        const auto error = thrownBy<CError>([this] { request->perform(); });
        ASSERT_TRUE(error.has_value()) << status;
        EXPECT_EQ(error->getMessage(), "A buffer cannot hold more than 2147483647 elements.") << status;
        EXPECT_EQ(bodyOf(*request), "") << status;
    }
}

TEST_F(NetRequestLargeTest, AnAnnouncedSizeCountsOnlyForMemoryThatWouldHoldIt) {
    // At its end by the server, such a body is incomplete; it was not refused.
    const auto receive = [this](const std::string& status, const std::string& headers) {
        peer.onConnection()
            .expectRequest()
            .reply("HTTP/1.1 " + status + "\r\n" + headers + "Content-Length: 3221225472\r\n\r\nfirst")
            .close();
        return performCode();
    };
    EXPECT_EQ(receive("200 OK", "Content-Encoding: br\r\n"), CURLE_PARTIAL_FILE);
    request->setReceiveBufferLimits(-1, 5);
    EXPECT_EQ(receive("500 Internal Server Error", ""), CURLE_PARTIAL_FILE);
    request->setReceiveBufferLimits(5, -1);
    EXPECT_EQ(receive("200 OK", ""), CURLE_PARTIAL_FILE);
    request->setReceiveBufferLimits(-1, -1);
    request->setReceiveDataSink(nullptr);
    EXPECT_EQ(receive("200 OK", ""), CURLE_PARTIAL_FILE);
}

TEST_F(NetRequestLargeTest, ProgressHasTheWholeTotal) {
    request->setReceiveDataSink(nullptr);  // memory could not hold the body
    // The peer continues only when the bytes that it has sent are reported.
    const P<TestProgress> progress = new TestProgress([this](const ProgressNumbers& seen) {
        if (seen == ProgressNumbers{2, large, 0, 0}) {
            peer.release("told");
        }
    });
    request->setTransferProgress(progress);
    peer.onConnection()
        .expectRequest()
        .reply("HTTP/1.1 200 OK\r\nContent-Length: 5368709120\r\n\r\nok")
        .pause("told")
        .close();
    EXPECT_EQ(performCode(), CURLE_PARTIAL_FILE);
}

TEST_F(NetRequestLargeTest, ANumberKeepsItsSignAndItsValue) {
    EXPECT_EQ(codeOf(CURLOPT_LOW_SPEED_LIMIT, -1), CURLE_BAD_FUNCTION_ARGUMENT);
    EXPECT_EQ(codeOf(CURLOPT_LOW_SPEED_LIMIT, std::numeric_limits<int>::max()), CURLE_OK);
    // -1 means a text that ends with NUL. Smaller numbers are refused.
    EXPECT_EQ(codeOf(CURLOPT_POSTFIELDSIZE, -2), CURLE_BAD_FUNCTION_ARGUMENT);
    EXPECT_EQ(codeOf(CURLOPT_POSTFIELDSIZE, -1), CURLE_OK);
    char text[] = "text";
    request->setOptionPtr(CURLOPT_POSTFIELDS, text);
    peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    request->perform();
    EXPECT_EQ(peer.requests().back().body, "text");
}

TEST_F(NetRequestLargeTest, FiguresAreThoseOfTheirType) {
    peer.onConnection().expectRequest().reply("HTTP/1.1 204 No Content\r\n\r\n");
    request->perform();
    EXPECT_EQ(request->getInfoLong(CURLINFO_RESPONSE_CODE), 204);
    EXPECT_EQ(request->getInfoLong(CURLINFO_PRIMARY_PORT), peer.port());
    EXPECT_EQ(request->getInfoLong(CURLINFO_OS_ERRNO), 0);
    // libcurl would write 8 bytes into a long, which has 4 on Windows.
    for (const CURLINFO info : {CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, CURLINFO_ACTIVESOCKET,
                                CURLINFO_TOTAL_TIME, CURLINFO_EFFECTIVE_URL}) {
        const auto error = thrownBy<CCURLError>([&] { request->getInfoLong(info); });
        EXPECT_EQ(error ? error->getCode() : 0, CURLE_UNKNOWN_OPTION) << info;
    }
    const auto error = thrownBy<CCURLError>([&] { request->getInfoDouble(CURLINFO_RESPONSE_CODE); });
    EXPECT_EQ(error ? error->getCode() : 0, CURLE_UNKNOWN_OPTION);
}

}  // namespace
