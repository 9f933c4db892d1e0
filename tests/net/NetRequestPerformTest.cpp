// Whole transfers with a scripted peer: responses of every kind, and their results.
#include "tests/net/NetRequestTestSupport.h"
#include "tests/support/ScriptedPeer.h"
#include "vexil/net/TransferBuffers.h"
#include "vexil/net/TransferTimings.h"

namespace {

using namespace vexil_test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

std::string reply(std::string_view status, std::string_view body, std::string_view headers = {}) {
    return "HTTP/1.1 " + std::string(status) + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" +
           std::string(headers) + "\r\n" + std::string(body);
}

class NetRequestPerformTest : public testing::Test {
protected:
    NetRequestPerformTest() { prepare("/a"); }
    ~NetRequestPerformTest() override {
        // Ends the connection: a script may wait for that.
        request = nullptr;
        EXPECT_TRUE(peer.waitUntilIdle());
        EXPECT_THAT(peer.failures(), IsEmpty());
    }

    void prepare(std::string_view path) {
        request->setProxy("");
        request->setURL(peer.url(path).c_str());
    }

    void sendBody(const std::string& method, const std::string& body) {
        request->setHTTPMethod(method.c_str());
        source = new TestSource(body);
        request->setSendDataSource(source);
        request->setSendDataSize(static_cast<int64>(body.size()));
    }

    /// Not every version of libcurl sends "Expect: 100-continue" before a short body.
    void askBeforeBody() {
        const P<vexil::CNetHeaders> headers = new vexil::CNetHeaders;
        headers->add("Expect", "100-continue");
        request->setCustomHTTPHeaders(headers);
    }

    CCURLError performError() {
        const auto error = thrownBy<CCURLError>([&] { request->perform(); });
        return error ? *error : CCURLError(CURLE_OK, "", "", 0, "", "", "", "");
    }

    std::vector<std::string> requestLines() const {
        std::vector<std::string> lines;
        for (const RecordedRequest& recorded : peer.requests()) {
            lines.push_back(recorded.requestLine() + " [" + recorded.body + "]");
        }
        return lines;
    }

    ScriptedPeer peer;
    LogCapture log;
    P<OpenRequest> request = new OpenRequest;
    P<TestSource> source;
};

// ---- buffers ---------------------------------------------------------------------------------------------

using vexil::CTransferBuffers;

class NetRequestBuffersTest : public NetRequestPerformTest {
protected:
    /// The most bytes for which the source was asked at once.
    int findSendSize() {
        sendBody("PUT", std::string(2'000'000, 'x'));
        peer.onConnection().expectRequest().reply(
            "HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
        request->perform();
        EXPECT_EQ(peer.requests().back().body.size(), 2'000'000U);
        int most = 0;
        for (const std::string& call : source->calls) {
            most = std::max(most, call.starts_with("read ") ? std::stoi(call.substr(5)) : 0);
        }
        return most;
    }
    std::string refusalOf(const CTransferBuffers& sizes) {
        const auto error = thrownBy<vexil::CInvalidArgError>([&] { setTransferBuffers(*request, sizes); });
        return error ? (error->getPlace() + ": " + error->getMessage()).toUTF8() : std::string();
    }
};

TEST_F(NetRequestBuffersTest, ASourceIsAskedForALargeBufferUntilReset) {
    EXPECT_EQ(findSendSize(), CTransferBuffers().send);
    setTransferBuffers(*request, {.send = 524'288});
    EXPECT_EQ(findSendSize(), 524'288);
    request->reset();
    prepare("/a");
    EXPECT_EQ(findSendSize(), CTransferBuffers().send);
}

TEST_F(NetRequestBuffersTest, ASinkGetsAllBytesInSmallBlocks) {
    setTransferBuffers(*request, {.receive = 262'144});
    const std::string body(3'000'000, 'y');
    peer.onConnection().expectRequest().reply(reply("200 OK", body));
    const P<TestSink> sink = new TestSink;
    request->setReceiveDataSink(sink);
    request->perform();
    EXPECT_TRUE(sink->all() == body);
    for (const std::string& block : sink->blocks) {
        EXPECT_LE(block.size(), 16'384U);
    }
}

TEST_F(NetRequestBuffersTest, SizesThatLibcurlWouldChangeAreRefused) {
    const std::string receive = "setTransferBuffers: receive must be 1024 to 2097152";
    const std::string send = "setTransferBuffers: send must be 16384 to 2097152";
    EXPECT_EQ(refusalOf({.receive = 1023}), receive);
    EXPECT_EQ(refusalOf({.receive = 2'097'153}), receive);
    EXPECT_EQ(refusalOf({.receive = -1}), receive);
    EXPECT_EQ(refusalOf({.send = 16'383}), send);
    EXPECT_EQ(refusalOf({.send = 2'097'153}), send);
    setTransferBuffers(*request, {.receive = 1024, .send = 16'384});
    setTransferBuffers(*request, {.receive = 2'097'152, .send = 2'097'152});
}

// ---- timings ---------------------------------------------------------------------------------------------

using vexil::CTransferTimings;
constexpr CTransferTimings::Microseconds noTime{0};

void expectOrderedTimes(const CTransferTimings& timings) {
    EXPECT_GT(timings.connect, noTime);
    EXPECT_LE(timings.nameLookup, timings.connect);
    EXPECT_LE(timings.connect, timings.beforeTransfer);
    EXPECT_LE(timings.beforeTransfer, timings.firstByte);
    EXPECT_LE(timings.firstByte, timings.total);
    EXPECT_EQ(timings.tls, noTime) << "of http";
}

void expectNothing(const CTransferTimings& timings) {
    for (const auto time : {timings.nameLookup, timings.connect, timings.tls, timings.beforeTransfer,
                            timings.firstByte, timings.redirects, timings.total}) {
        EXPECT_EQ(time, noTime);
    }
    for (const int64 number : {timings.downloadedBytes, timings.uploadedBytes, timings.downloadBytesPerSecond,
                               timings.uploadBytesPerSecond}) {
        EXPECT_EQ(number, 0);
    }
    for (const int number :
         {timings.remotePort, timings.localPort, timings.httpVersion, timings.newConnections}) {
        EXPECT_EQ(number, 0);
    }
    EXPECT_EQ(timings.remoteAddress, "");
    EXPECT_EQ(timings.localAddress, "");
    EXPECT_FALSE(timings.isConnectionReused);
}

TEST_F(NetRequestPerformTest, TheTimingsTellHowATransferWent) {
    sendBody("PUT", "12345");
    peer.onConnection().expectRequest().reply(reply("200 OK", "abc"));
    request->perform();
    const CTransferTimings timings = getTimings(*request);
    expectOrderedTimes(timings);
    EXPECT_EQ(timings.redirects, noTime);
    EXPECT_EQ(timings.downloadedBytes, 3);
    EXPECT_EQ(timings.uploadedBytes, 5);
    EXPECT_EQ(timings.downloadBytesPerSecond, request->getDownloadBytesPerSecond());
    EXPECT_EQ(timings.uploadBytesPerSecond, request->getUploadBytesPerSecond());
    EXPECT_EQ(timings.remoteAddress, "127.0.0.1");
    EXPECT_EQ(peer.url("/a"), "http://127.0.0.1:" + std::to_string(timings.remotePort) + "/a");
    EXPECT_EQ(timings.localAddress, "127.0.0.1");
    EXPECT_GT(timings.localPort, 0);
    EXPECT_NE(timings.localPort, timings.remotePort);
    EXPECT_EQ(timings.httpVersion, 11);
    EXPECT_EQ(timings.newConnections, 1);
    EXPECT_FALSE(timings.isConnectionReused);
}

TEST_F(NetRequestPerformTest, TheTimingsOfAReusedConnectionHaveItsAddresses) {
    peer.onConnection()
        .expectRequest()
        .reply(reply("200 OK", "a"))
        .expectRequest()
        .reply("HTTP/1.0 200 OK\r\nContent-Length: 2\r\n\r\nbb");
    request->perform();
    const CTransferTimings first = getTimings(*request);
    request->perform();
    const CTransferTimings second = getTimings(*request);
    EXPECT_FALSE(first.isConnectionReused);
    EXPECT_TRUE(second.isConnectionReused);
    EXPECT_EQ(second.newConnections, 0);
    EXPECT_EQ(second.remoteAddress, first.remoteAddress);
    EXPECT_EQ(second.remotePort, first.remotePort);
    EXPECT_EQ(second.localPort, first.localPort);
    EXPECT_EQ(second.downloadedBytes, 2);
    EXPECT_EQ(second.httpVersion, 10);
}

TEST_F(NetRequestPerformTest, TheTimingsOfAFailureBeforeTheConnectionAreNotThoseOfTheTransferBefore) {
    peer.onConnection().expectRequest().reply(reply("200 OK", "x"));
    request->perform();
    request->setURL(("http://127.0.0.1:" + std::to_string(ScriptedPeer::closedPort()) + "/").c_str());
    EXPECT_EQ(performError().getCode(), CURLE_COULDNT_CONNECT);
    const CTransferTimings timings = getTimings(*request);
    EXPECT_EQ(timings.connect, noTime);
    EXPECT_EQ(timings.firstByte, noTime);
    EXPECT_GT(timings.total, noTime);
    EXPECT_EQ(timings.downloadedBytes, 0);
    EXPECT_EQ(timings.httpVersion, 0);
    EXPECT_EQ(timings.newConnections, 0) << "only connections that were made count";
    EXPECT_EQ(timings.remoteAddress, "");
    EXPECT_FALSE(timings.isConnectionReused);
}

TEST_F(NetRequestPerformTest, ThereAreNoTimingsBeforeATransferAndAfterReset) {
    expectNothing(getTimings(*request));
    peer.onConnection().expectRequest().reply(reply("200 OK", "x"));
    request->perform();
    EXPECT_GT(getTimings(*request).total, noTime);
    request->reset();
    expectNothing(getTimings(*request));
}

// ---- responses -------------------------------------------------------------------------------------------

TEST_F(NetRequestPerformTest, ASuccessHasBodyHeadersStatusAndFigures) {
    peer.onConnection().expectRequest().reply(
        reply("200 OK", "hello", "ETag: \"e\"\r\nX-A: 1\r\nx-a: 2\r\n"));
    request->perform();
    EXPECT_EQ(bodyOf(*request), "hello");
    EXPECT_EQ(request->getResponseCode(), 200);
    EXPECT_EQ(request->getHTTPStatusLine(), "HTTP/1.1 200 OK");
    EXPECT_THAT(request->getResponseHeaderMap(),
                ElementsAre(Pair(String("content-length"), String("5")),
                            Pair(String("etag"), String("\"e\"")), Pair(String("x-a"), String("1,2"))));
    EXPECT_THAT(linesOf(request->getResponseInfo()),
                ElementsAre("HTTP/1.1 200 OK\r\n", "Content-Length: 5\r\n", "ETag: \"e\"\r\n", "X-A: 1\r\n",
                            "x-a: 2\r\n", "\r\n"));
    EXPECT_TRUE(request->isResponseComplete());
    EXPECT_EQ(request->getDownloadedBytes(), 5);
    EXPECT_EQ(request->getDownloadSize(), 5);
    EXPECT_EQ(request->getUploadedBytes(), 0);
    EXPECT_GT(request->getAvgDownloadSpeed(), 0);
    EXPECT_EQ(request->getAvgUploadSpeed(), 0);
    EXPECT_EQ(request->getDownloadedByteCount(), 5);
    EXPECT_EQ(request->getDownloadContentLength(), 5);
    EXPECT_EQ(request->getUploadedByteCount(), 0);
    EXPECT_EQ(request->getDownloadBytesPerSecond(), static_cast<int64>(request->getAvgDownloadSpeed()));
    EXPECT_GT(request->getDownloadBytesPerSecond(), 0);
    EXPECT_EQ(request->getUploadBytesPerSecond(), 0);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(NetRequestPerformTest, AnUploadHasItsFigures) {
    sendBody("PUT", "12345");
    peer.onConnection().expectRequest().reply(reply("200 OK", ""));
    request->perform();
    EXPECT_EQ(request->getUploadedBytes(), 5);
    EXPECT_EQ(request->getUploadSize(), 5);
    EXPECT_GT(request->getAvgUploadSpeed(), 0);
    EXPECT_EQ(request->getDownloadedBytes(), 0);
    EXPECT_EQ(request->getUploadedByteCount(), 5);
    EXPECT_EQ(request->getUploadContentLength(), 5);
    EXPECT_EQ(request->getUploadBytesPerSecond(), static_cast<int64>(request->getAvgUploadSpeed()));
    EXPECT_GT(request->getUploadBytesPerSecond(), 0);
    EXPECT_EQ(request->getDownloadedByteCount(), 0);
}

TEST_F(NetRequestPerformTest, ABodyOfUnknownLengthHasTheAnnouncedSizeMinusOne) {
    peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\nabc").close();
    request->perform();
    EXPECT_EQ(request->getDownloadContentLength(), -1);
    EXPECT_EQ(request->getDownloadedByteCount(), 3);
}

TEST_F(NetRequestPerformTest, TheReceivedBytesAreThoseOfTheOwnBuffer) {
    EXPECT_TRUE(request->getReceivedBytes().empty());
    EXPECT_EQ(request->getReceivedText(), "");
    const std::string body("a\0\xFF"
                           "b",
                           4);
    peer.setDefaultReply([&](const RecordedRequest&) { return reply("200 OK", body); });
    request->perform();
    EXPECT_EQ(request->getReceivedText(), body);
    const std::span<const std::byte> bytes = request->getReceivedBytes();
    ASSERT_EQ(bytes.size(), 4u);
    EXPECT_EQ(bytes[2], std::byte{0xFF});
    EXPECT_EQ(static_cast<const void*>(bytes.data()), request->getDefaultReceiveBuffer()->getData());
    request->setReceiveDataSink(nullptr);
    request->perform();
    EXPECT_EQ(request->getReceivedText(), "");
    EXPECT_TRUE(request->getReceivedBytes().empty());
}

TEST_F(NetRequestPerformTest, StatusesFrom200To299Pass) {
    peer.setDefaultReply([](const RecordedRequest& received) {
        return "HTTP/1.1 " + received.requestLine().substr(5, 3) + " X\r\nContent-Length: 0\r\n\r\n";
    });
    request->setFollowRedirects(false);
    for (const int status : {200, 201, 202, 206, 250, 299}) {
        prepare("/" + std::to_string(status));
        request->perform();
        EXPECT_EQ(request->getResponseCode(), status);
    }
    for (const int status : {300, 301, 302, 303, 307, 308, 400, 404, 500, 503, 599}) {
        prepare("/" + std::to_string(status));
        const CCURLError error = performError();
        EXPECT_EQ(error.getCode(), CURLE_HTTP_RETURNED_ERROR);
        EXPECT_EQ(error.getResponseCode(), status);
        EXPECT_EQ(error.getResponseCodeDomain(), "http");
    }
}

TEST_F(NetRequestPerformTest, AnAnswerWithoutABodyDoesNotReachTheSink) {
    const P<TestSink> sink = new TestSink;
    request->setReceiveDataSink(sink);
    peer.onConnection()
        .expectRequest()
        .reply("HTTP/1.1 204 No Content\r\n\r\n")
        .expectRequest()
        .reply(reply("200 OK", ""))
        .expectRequest()
        .reply("HTTP/1.1 304 Not Modified\r\n\r\n");
    request->perform();
    request->perform();
    const CCURLError error = performError();
    EXPECT_EQ(error.getCode(), 22);
    EXPECT_EQ(error.getResponseCode(), 304);
    EXPECT_THAT(sink->blocks, IsEmpty());
}

TEST_F(NetRequestPerformTest, WithoutASinkTheBodyIsDropped) {
    request->setReceiveDataSink(nullptr);
    peer.onConnection().expectRequest().reply(reply("200 OK", "hello"));
    request->perform();
    EXPECT_EQ(bodyOf(*request), "");
    EXPECT_EQ(request->getDownloadedBytes(), 5);
}

TEST_F(NetRequestPerformTest, AnErrorBodyOfHTMLIsTheServerMessage) {
    peer.onConnection().expectRequest().reply(reply(
        "404 Not Found", "<html>\r\n<b>404</b>\t<i>gone</i>\r\n\r\n</html>", "Content-Type: text/html\r\n"));
    const CCURLError error = performError();
    EXPECT_EQ(error.getMessage(), "HTTP response code said error (response code: http 404)");
    EXPECT_THAT(propsOf(error),
                ElementsAre("responseCodeDomain=http", "responseCode=404", "serverMessage=404 gone",
                            "httpStatusLine=HTTP/1.1 404 Not Found", "url=" + peer.url("/a")));
}

TEST_F(NetRequestPerformTest, AnErrorBodyOfJSONIsTheServerMessageAsItIs) {
    const std::string json = "{\r\n  \"error\":\t\"<none>\"\r\n}\r\n";
    request->setHTTPMethod("DELETE");
    peer.onConnection().expectRequest().reply(
        reply("409 Conflict", json, "Content-Type: application/json\r\n"));
    const CCURLError error = performError();
    EXPECT_EQ(error.getServerMessage().toUTF8(), json);
    EXPECT_EQ(error.getHTTPMethod(), "DELETE");
    EXPECT_EQ(bodyOf(*request), json);
}

TEST_F(NetRequestPerformTest, OfALongErrorBodyTheFirst4096BytesAreTheServerMessage) {
    peer.onConnection().expectRequest().reply(reply("500 Oops", std::string(10000, 'x')));
    const CCURLError error = performError();
    EXPECT_EQ(error.getServerMessage().toUTF8(), std::string(4096, 'x'));
    EXPECT_EQ(request->getDefaultReceiveBuffer()->getUsed(), 10000);
}

TEST_F(NetRequestPerformTest, CapitalSchemesAreHTTP) {
    request->setURL(("HTTP" + peer.url("/a").substr(4)).c_str());
    peer.onConnection().expectRequest().reply(reply("404 Not Found", "x"));
    const CCURLError error = performError();
    EXPECT_EQ(error.getCode(), 22);
    EXPECT_EQ(error.getResponseCodeDomain(), "http");
}

TEST_F(NetRequestPerformTest, InterimResponsesLeaveOnlyTheirLines) {
    peer.onConnection().expectRequest().reply("HTTP/1.1 103 Early Hints\r\nX-Early: 1\r\n\r\n" +
                                              reply("200 OK", "x", "X-Final: 2\r\n"));
    request->perform();
    EXPECT_EQ(request->getHTTPStatusLine(), "HTTP/1.1 200 OK");
    EXPECT_EQ(request->getResponseHeaderMap().count("x-early"), 0u);
    EXPECT_EQ(request->getResponseHeaderMap().count("x-final"), 1u);
    EXPECT_THAT(linesOf(request->getResponseInfo()), Contains("X-Early: 1\r\n"));
}

TEST_F(NetRequestPerformTest, TheBodyIsSentWhenTheServerSaysContinue) {
    sendBody("PUT", "abc");
    askBeforeBody();
    peer.onConnection()
        .expectHead()
        .reply("HTTP/1.1 100 Continue\r\nX-Interim: 1\r\n\r\n")
        .expectExactly("abc")
        .reply(reply("200 OK", "done"));
    request->perform();
    EXPECT_EQ(bodyOf(*request), "done");
    EXPECT_EQ(request->getHTTPStatusLine(), "HTTP/1.1 200 OK");
    EXPECT_EQ(request->getResponseHeaderMap().count("x-interim"), 0u);
    EXPECT_EQ(source->headersSeen.count("x-interim"), 1u);
}

TEST_F(NetRequestPerformTest, TrailersAreInResponseInfoAlone) {
    peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                                              "3\r\nabc\r\n0\r\nX-Trailer: t\r\n\r\n");
    request->perform();
    EXPECT_EQ(bodyOf(*request), "abc");
    EXPECT_EQ(request->getResponseHeaderMap().count("x-trailer"), 0u);
    EXPECT_THAT(linesOf(request->getResponseInfo()), Contains("X-Trailer: t\r\n"));
    EXPECT_TRUE(request->isResponseComplete());
}

TEST_F(NetRequestPerformTest, AHeaderThatIsNotUTF8IsLeftOut) {
    peer.onConnection().expectRequest().reply(reply("200 OK", "x", "X-Bad: \xff\r\n"));
    request->perform();
    EXPECT_EQ(request->getResponseHeaderMap().count("x-bad"), 0u);
    EXPECT_THAT(linesOf(request->getResponseInfo()), SizeIs(3));
    EXPECT_THAT(log.lines(), ElementsAre("W: Exception during CNetRequest header parsing (ignored). "
                                         "[Invalid UTF-8 data.]"));
}

// ---- incomplete responses --------------------------------------------------------------------------------

TEST_F(NetRequestPerformTest, AnEndWithinTheHeadersIsASuccessThatIsNotComplete) {
    const std::string answer = reply("200 OK", "hello");
    const std::size_t cut = answer.find("Content-Length");
    peer.onConnection().expectRequest().replyCut(answer, cut).close();
    request->perform();
    EXPECT_FALSE(request->isResponseComplete());
    EXPECT_EQ(request->getResponseCode(), 200);
    EXPECT_EQ(bodyOf(*request), "");
}

TEST_F(NetRequestPerformTest, LineFeedsAloneNeverCompleteAResponse) {
    peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\nContent-Length: 2\n\nok");
    request->perform();
    EXPECT_EQ(bodyOf(*request), "ok");
    EXPECT_FALSE(request->isResponseComplete());
}

TEST_F(NetRequestPerformTest, ACutBodyIsAnErrorBehindASuccessStatus) {
    peer.onConnection()
        .expectRequest()
        .replyCut(reply("200 OK", "hello"), reply("200 OK", "hel").size())
        .close();
    const CCURLError error = performError();
    EXPECT_EQ(error.getDomain(), "curl");
    EXPECT_EQ(error.getCode(), CURLE_PARTIAL_FILE);
    EXPECT_EQ(error.getResponseCode(), 200);
    EXPECT_EQ(error.getServerMessage(), "hel");
    EXPECT_THAT(error.getMessage().toUTF8(),
                testing::AnyOf(
                    HasSubstr(": transfer closed with 2 bytes remaining to read (response code: http 200)"),
                    HasSubstr(": end of response with 2 bytes missing (response code: http 200)")));
    EXPECT_TRUE(request->isResponseComplete());
}

TEST_F(NetRequestPerformTest, AnEmptyReplyIsAnErrorWithoutAResponse) {
    peer.onConnection().expectRequest().close();
    const CCURLError error = performError();
    EXPECT_EQ(error.getCode(), CURLE_GOT_NOTHING);
    EXPECT_EQ(error.getResponseCode(), 0);
    EXPECT_THAT(propsOf(error), ElementsAre("responseCodeDomain=http", "url=" + peer.url("/a")));
    EXPECT_EQ(error.getMessage(), "Server returned nothing (no headers, no data): Empty reply from server");
}

TEST_F(NetRequestPerformTest, ARefusedConnectionIsAnErrorWithoutAResponse) {
    peer.onConnection().expectRequest().reply(reply("200 OK", "x"));
    request->perform();
    request->setURL(("http://127.0.0.1:" + std::to_string(ScriptedPeer::closedPort()) + "/").c_str());
    const CCURLError error = performError();
    EXPECT_EQ(error.getCode(), CURLE_COULDNT_CONNECT);
    EXPECT_EQ(error.getResponseCode(), 0) << "nothing is left of the transfer before";
    EXPECT_EQ(error.getHTTPStatusLine(), "");
    EXPECT_EQ(error.getServerMessage(), "");
}

TEST_F(NetRequestPerformTest, AnEarlyRefusalWhileSendingIsTheAnswer) {
    sendBody("PUT", std::string(8 * 1024 * 1024, 'x'));
    peer.onConnection()
        .expectHead()
        .reply("HTTP/1.1 100 Continue\r\n\r\n")
        .expectBytes(100000)
        .reply(reply("403 Forbidden", "no room", "Connection: close\r\n"))
        .close();
    const CCURLError error = performError();
    EXPECT_EQ(error.getCode(), 22);
    EXPECT_EQ(error.getResponseCode(), 403);
    EXPECT_EQ(error.getServerMessage(), "no room");
}

TEST_F(NetRequestPerformTest, ARefusalInsteadOfContinueSendsNoBody) {
    sendBody("PUT", "abc");
    askBeforeBody();
    // libcurl would send the body after a second without a response.
    request->setOptionInt(CURLOPT_EXPECT_100_TIMEOUT_MS, 60000);
    peer.onConnection()
        .expectHead()
        .reply(reply("403 Forbidden", "no", "Connection: close\r\n"))
        .waitForClose();
    EXPECT_EQ(performError().getResponseCode(), 403);
    EXPECT_THAT(source->calls, IsEmpty());
}

// ---- redirects and logins --------------------------------------------------------------------------------

class NetRequestRedirectTest : public NetRequestPerformTest {
protected:
    void redirect(const std::string& status) {
        peer.onConnection()
            .expectRequest()
            .reply(reply(status, "interim body", "Location: /b\r\n"))
            .expectRequest()
            .reply(reply("200 OK", "done"));
    }
};

TEST_F(NetRequestRedirectTest, ABodyIsSentAgainFromItsStart) {
    for (const char* status : {"301 M", "302 F", "307 T", "308 P"}) {
        SCOPED_TRACE(status);
        peer.clearRecords();
        request = new OpenRequest;
        prepare("/a");
        sendBody("PUT", "abc");
        redirect(status);
        request->perform();
        EXPECT_THAT(requestLines(), ElementsAre("PUT /a HTTP/1.1 [abc]", "PUT /b HTTP/1.1 [abc]"));
        EXPECT_THAT(source->seeks(), ElementsAre("seek 0"));
        EXPECT_EQ(bodyOf(*request), "done") << "the body of the redirect is not delivered";
        EXPECT_EQ(request->getURL(), peer.url("/a").c_str());
    }
}

TEST_F(NetRequestRedirectTest, TheTimingsIncludeTheRedirect) {
    redirect("302 Found");
    request->perform();
    const CTransferTimings timings = getTimings(*request);
    expectOrderedTimes(timings);
    EXPECT_GT(timings.redirects, noTime);
    EXPECT_LT(timings.redirects, timings.total);
    EXPECT_EQ(timings.newConnections, 1) << "one that both requests use";
    EXPECT_FALSE(timings.isConnectionReused);
    EXPECT_EQ(timings.downloadedBytes, 4) << "of the last body";
}

TEST_F(NetRequestRedirectTest, SeeOtherTurnsAPutIntoAGet) {
    sendBody("PUT", "abc");
    redirect("303 See Other");
    request->perform();
    EXPECT_THAT(requestLines(), ElementsAre("PUT /a HTTP/1.1 [abc]", "GET /b HTTP/1.1 []"));
}

TEST_F(NetRequestRedirectTest, APostBecomesAGetUnlessItIsToBeKept) {
    for (const char* status : {"301 M", "302 F", "303 S"}) {
        for (const bool keep : {false, true}) {
            SCOPED_TRACE(std::string(status) + (keep ? " kept" : ""));
            peer.clearRecords();
            request = new OpenRequest;
            prepare("/a");
            sendBody("POST", "abc");
            request->setKeepPostOnRedirect(keep);
            redirect(status);
            request->perform();
            EXPECT_THAT(requestLines(), ElementsAre("POST /a HTTP/1.1 [abc]",
                                                    keep ? "POST /b HTTP/1.1 [abc]" : "GET /b HTTP/1.1 []"));
        }
    }
    for (const char* status : {"307 T", "308 P"}) {
        SCOPED_TRACE(status);
        peer.clearRecords();
        request = new OpenRequest;
        prepare("/a");
        sendBody("POST", "abc");
        redirect(status);
        request->perform();
        EXPECT_THAT(requestLines(), ElementsAre("POST /a HTTP/1.1 [abc]", "POST /b HTTP/1.1 [abc]"));
    }
}

TEST_F(NetRequestRedirectTest, ASourceThatCannotBeRewoundEndsTheTransferWithItsError) {
    sendBody("PUT", "abc");
    source->onSeek = [](int64) { throw OwnError("cannot rewind"); };
    peer.onConnection().expectRequest().reply(reply("307 T", "", "Location: /b\r\n")).clientMayLeave();
    const auto error = thrownBy<OwnError>([&] { request->perform(); });
    EXPECT_EQ(messageOf(error), "cannot rewind");
}

TEST_F(NetRequestRedirectTest, ARedirectThatIsNotFollowedIsAnError) {
    request->setFollowRedirects(false);
    peer.onConnection().expectRequest().reply(reply("302 Found", "moved", "Location: /b\r\n"));
    const CCURLError error = performError();
    EXPECT_EQ(error.getCode(), 22);
    EXPECT_EQ(error.getResponseCode(), 302);
    EXPECT_EQ(error.getServerMessage(), "moved");
}

TEST_F(NetRequestRedirectTest, WhereARedirectLeadsIsKnownWhenItIsNotFollowed) {
    request->setFollowRedirects(false);
    peer.onConnection()
        .expectRequest()
        .reply(reply("302 Found", "moved", "Location: ../b?c\r\n"))
        .expectRequest()
        .reply(reply("200 OK", ""));
    EXPECT_EQ(request->getRedirectURL(), "") << "nothing was asked yet";
    performError();
    EXPECT_EQ(request->getRedirectURL().toUTF8(), peer.url("/b?c"));
    request->perform();
    EXPECT_EQ(request->getRedirectURL(), "");
}

TEST_F(NetRequestRedirectTest, ARedirectToAProtocolThatIsNotAllowedIsAnError) {
    request->setRedirectProtocols("http,https");
    for (const char* target : {"ftp://127.0.0.1:1/x", "file:///etc/passwd", "nosuch://h/"}) {
        request->setUpload(true);
        sendBody("PUT", "secret");
        peer.onConnection()
            .expectRequest()
            .reply(reply("307 T", "", "Location: " + std::string(target) + "\r\n"))
            .clientMayLeave();
        EXPECT_EQ(performError().getCode(), CURLE_UNSUPPORTED_PROTOCOL) << target;
        request = new OpenRequest;
        prepare("/a");
        request->setRedirectProtocols("http,https");
    }
    redirect("302 Found");
    request->perform();
}

TEST_F(NetRequestRedirectTest, TheNumberOfRedirectsIsLimited) {
    const std::string moved = reply("302 Found", "", "Location: /b\r\n");
    peer.onConnection()
        .expectRequest()
        .reply(moved)
        .expectRequest()
        .reply(reply("200 OK", ""))
        .expectRequest()
        .reply(moved)
        .clientMayLeave();
    request->setMaxRedirects(1);
    request->perform();
    request->setMaxRedirects(0);
    EXPECT_EQ(performError().getCode(), CURLE_TOO_MANY_REDIRECTS);
}

TEST_F(NetRequestRedirectTest, ALoginRoundSendsTheBodyAgain) {
    sendBody("PUT", "abc");
    request->setUserName("u");
    request->setUserPassword("p");
    request->setHTTPAuthMethods(CURLAUTH_BASIC | CURLAUTH_DIGEST);
    peer.onConnection()
        .expectRequest()
        .reply(reply("401 Unauthorized", "log in", "WWW-Authenticate: Basic realm=\"r\"\r\n"))
        .expectRequest()
        .reply(reply("200 OK", "done"));
    request->perform();
    const auto requests = peer.requests();
    ASSERT_THAT(requests, SizeIs(2));
    EXPECT_FALSE(requests[0].header("Authorization"));
    EXPECT_EQ(requests[1].header("Authorization"), "Basic dTpw");
    EXPECT_EQ(requests[1].body, "abc");
    EXPECT_EQ(bodyOf(*request), "done");
    EXPECT_EQ(request->getResponseHeaderMap().count("www-authenticate"), 0u);
}

TEST_F(NetRequestRedirectTest, ARefusedLoginIsAnErrorWithTheBodyOfTheRefusal) {
    peer.onConnection().expectRequest().reply(
        reply("401 Unauthorized", "log in", "WWW-Authenticate: Basic realm=\"r\"\r\n"));
    const CCURLError error = performError();
    EXPECT_EQ(error.getResponseCode(), 401);
    EXPECT_EQ(error.getServerMessage(), "log in");
}

// ---- callbacks within transfers --------------------------------------------------------------------------

TEST_F(NetRequestPerformTest, ASinkThatThrowsAtItsSecondBlockEndsTheTransferWithItsError) {
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [&sink] {
        if (sink->blocks.size() == 2) {
            throw OwnError("disk full");
        }
    };
    request->setReceiveDataSink(sink);
    peer.onConnection()
        .expectRequest()
        .reply("HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n")
        .sendPattern(1000000)
        .clientMayLeave();
    const auto error = thrownBy<OwnError>([&] { request->perform(); });
    EXPECT_EQ(messageOf(error), "disk full");
    EXPECT_THAT(sink->blocks, SizeIs(2));
}

class ErrorWithoutAClone : public CError {
public:
    ErrorWithoutAClone() : CError("disk full") {}
    P<CError> clone() const override { return nullptr; }
};

TEST_F(NetRequestPerformTest, AnErrorOfTheSinkThatCannotBeClonedIsNotLost) {
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [] { throw ErrorWithoutAClone(); };
    request->setReceiveDataSink(sink);
    peer.onConnection().expectRequest().reply(reply("200 OK", "x")).clientMayLeave();
    EXPECT_EQ(messageOf(thrownBy<CError>([&] { request->perform(); })), "disk full");
}

TEST_F(NetRequestPerformTest, AnErrorOfTheSinkComesBeforeTheStatus) {
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [] { throw 5; };
    request->setReceiveDataSink(sink);
    peer.onConnection().expectRequest().reply(reply("500 Oops", "x")).clientMayLeave();
    EXPECT_EQ(messageOf(thrownBy<CError>([&] { request->perform(); })), "Unknown exception.");
    EXPECT_THAT(sink->statuses, ElementsAre(500));
}

TEST_F(NetRequestPerformTest, ASourceThatThrowsEndsTheTransferWithItsError) {
    sendBody("PUT", "abc");
    askBeforeBody();
    source->onRead = [](void*, int) -> int { throw OwnError("unreadable"); };
    peer.onConnection().expectHead().reply("HTTP/1.1 100 Continue\r\n\r\n").waitForClose();
    EXPECT_EQ(messageOf(thrownBy<OwnError>([&] { request->perform(); })), "unreadable");
}

TEST_F(NetRequestPerformTest, ASourceThatAbortsEndsTheTransferWithLibcurlsCode) {
    sendBody("PUT", "abc");
    askBeforeBody();
    source->onRead = [](void*, int) { return CURL_READFUNC_ABORT; };
    peer.onConnection().expectHead().reply("HTTP/1.1 100 Continue\r\n\r\n").waitForClose();
    EXPECT_EQ(performError().getCode(), CURLE_ABORTED_BY_CALLBACK);
}

TEST_F(NetRequestPerformTest, ABodyBeyondTheLimitOfTheBufferIsAnError) {
    peer.setDefaultReply(reply("200 OK", "12345"));
    request->setReceiveBufferLimits(5, 0);
    request->perform();
    EXPECT_EQ(bodyOf(*request), "12345");
    request->setReceiveBufferLimits(4, -1);
    const auto error = thrownBy<CError>([&] { request->perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getMessage(), "The body of the response is longer than 4 bytes.");
    EXPECT_EQ(error->getDomain(), "");
    request->reset();
    prepare("/a");
    request->perform();
    EXPECT_EQ(bodyOf(*request), "12345");
}

TEST_F(NetRequestPerformTest, AnErrorBodyBeyondTheLimitOfTheBufferIsCut) {
    peer.setDefaultReply(reply("404 Not Found", "12345", "Content-Type: text/plain\r\n"));
    request->setReceiveBufferLimits(0, 3);
    for (int transfer = 0; transfer < 2; ++transfer) {
        const CCURLError error = performError();
        EXPECT_EQ(error.getCode(), CURLE_HTTP_RETURNED_ERROR);
        EXPECT_EQ(error.getResponseCode(), 404);
        EXPECT_EQ(error.getServerMessage(), "123");
        EXPECT_EQ(bodyOf(*request), "123");
    }
    request->setReceiveBufferLimits(0, 5);
    EXPECT_EQ(performError().getServerMessage(), "12345");
}

TEST_F(NetRequestPerformTest, TheLimitOfTheBufferIsNoneForASinkOfTheCallers) {
    peer.setDefaultReply(reply("200 OK", "12345"));
    request->setReceiveBufferLimits(0, 0);
    const P<zet::CBufferStream> stream = new zet::CBufferStream;
    request->setReceiveDataStream(stream);
    request->perform();
    EXPECT_EQ(stream->getPosition(), 5);
}

TEST_F(NetRequestPerformTest, ALargeBodyPassesWholeThroughSourceAndSink) {
    const std::string body = ScriptedPeer::pattern(0, 3 * 1024 * 1024 + 7);
    sendBody("PUT", body);
    const P<TestSink> sink = new TestSink;
    request->setReceiveDataSink(sink);
    peer.onConnection().expectRequest().replyWith([](const std::string& received) {
        return reply("200 OK", std::string_view(received).substr(received.find("\r\n\r\n") + 4));
    });
    request->perform();
    EXPECT_TRUE(sink->all() == body);
    EXPECT_EQ(sink->statuses.front(), 200);
}

// ---- repeated transfers ----------------------------------------------------------------------------------

TEST_F(NetRequestPerformTest, NothingLeaksIntoTheNextTransfer) {
    peer.onConnection()
        .expectRequest()
        .reply(reply("404 Not Found", "first body", "X-First: 1\r\n"))
        .expectRequest()
        .reply("HTTP/1.1 200 Fine\r\nContent-Length: 2\r\n\r\nok");
    EXPECT_EQ(performError().getResponseCode(), 404);
    request->perform();
    EXPECT_EQ(request->getResponseCode(), 200);
    EXPECT_EQ(request->getHTTPStatusLine(), "HTTP/1.1 200 Fine");
    EXPECT_EQ(bodyOf(*request), "ok");
    EXPECT_THAT(request->getResponseHeaderMap(), ElementsAre(Pair(String("content-length"), String("2"))));
    EXPECT_THAT(linesOf(request->getResponseInfo()), SizeIs(3));
}

TEST_F(NetRequestPerformTest, AKeptErrorIsForgottenByTheNextTransfer) {
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [] { throw CError("once"); };
    request->setReceiveDataSink(sink);
    peer.onConnection().expectRequest().reply(reply("200 OK", "a")).clientMayLeave();
    peer.onConnection().expectRequest().reply(reply("200 OK", "b"));
    EXPECT_EQ(messageOf(thrownBy<CError>([&] { request->perform(); })), "once");
    sink->onWrite = nullptr;
    request->perform();
    EXPECT_EQ(sink->all(), "ab");
}

TEST_F(NetRequestPerformTest, ARestartableSinkBeginsAnewWithEachTransfer) {
    struct Restartable : virtual vexil::CBase, CNetRequest::IRestartableDataSink {
        void write(const void* data, int length, int, const HeaderMap&) override {
            text.append(static_cast<const char*>(data), static_cast<std::size_t>(length));
        }
        void restart() override {
            text.clear();
            ++restarts;
            if (refuses) {
                throw CError("cannot restart");
            }
        }
        std::string text;
        int restarts = 0;
        bool refuses = false;
    };
    const P<Restartable> sink = new Restartable;
    request->setReceiveDataSink(sink);
    peer.onConnection()
        .expectRequest()
        .reply(reply("503 Busy", "busy"))
        .expectRequest()
        .reply(reply("200 OK", "done"));
    EXPECT_EQ(performError().getResponseCode(), 503);
    EXPECT_EQ(sink->text, "busy");
    request->perform();
    EXPECT_EQ(sink->text, "done");
    EXPECT_EQ(sink->restarts, 2);
    sink->refuses = true;
    EXPECT_EQ(messageOf(thrownBy<CError>([&] { request->perform(); })), "cannot restart");
    EXPECT_THAT(peer.requests(), SizeIs(2)) << "nothing was sent";
}

TEST_F(NetRequestPerformTest, ARepeatedTransferSendsTheBodyFromItsStart) {
    sendBody("PUT", "abc");
    peer.onConnection()
        .expectRequest()
        .reply(reply("500 Oops", ""))
        .expectRequest()
        .reply(reply("200 OK", ""));
    EXPECT_EQ(performError().getResponseCode(), 500);
    EXPECT_EQ(source->position, 3);
    request->perform();
    EXPECT_THAT(requestLines(), ElementsAre("PUT /a HTTP/1.1 [abc]", "PUT /a HTTP/1.1 [abc]"));
}

// ---- listener --------------------------------------------------------------------------------------------

class NetRequestListenerTest : public NetRequestPerformTest {
protected:
    NetRequestListenerTest() { request->setDoneListener(listener); }

    P<TestListener> listener = new TestListener;
};

TEST_F(NetRequestListenerTest, IsToldOfASuccess) {
    peer.onConnection().expectRequest().reply(reply("200 OK", ""));
    request->perform();
    EXPECT_EQ(listener->count, 1);
    EXPECT_EQ(listener->requestSeen, request.get());
    EXPECT_EQ(listener->errorSeen.get(), nullptr);
}

TEST_F(NetRequestListenerTest, IsToldOfAFailureWithTheErrorThatIsThrown) {
    peer.onConnection().expectRequest().reply(reply("404 Not Found", "gone"));
    try {
        request->perform();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const CCURLError& error) {
        EXPECT_EQ(listener->addressSeen, static_cast<const CError*>(&error)) << "the same error, unchanged";
        EXPECT_EQ(error.getServerMessage(), "gone");
    }
    EXPECT_EQ(listener->count, 1);
    EXPECT_NE(listener->errorSeen.dynamicCast<CCURLError>().get(), nullptr);
}

TEST_F(NetRequestListenerTest, IsToldOfTheErrorOfASink) {
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [] { throw OwnError("mine"); };
    request->setReceiveDataSink(sink);
    peer.onConnection().expectRequest().reply(reply("200 OK", "x")).clientMayLeave();
    EXPECT_TRUE(thrownBy<OwnError>([&] { request->perform(); }));
    EXPECT_NE(listener->errorSeen.dynamicCast<OwnError>().get(), nullptr);
}

TEST_F(NetRequestListenerTest, IsNotToldWhenNoTransferBegan) {
    const P<TestSource> moved = new TestSource("abc");
    moved->position = 1;
    moved->onSeek = [](int64) { throw CError("cannot rewind"); };
    request->setSendDataSource(moved);
    EXPECT_EQ(messageOf(thrownBy<CError>([&] { request->perform(); })), "cannot rewind");
    EXPECT_EQ(listener->count, 0);
}

TEST_F(NetRequestListenerTest, MayResetTheRequestOnFailure) {
    peer.onConnection().expectRequest().reply(reply("404 Not Found", "gone"));
    listener->then = [this] {
        listener = nullptr;
        request->reset();
    };
    const CCURLError error = performError();
    EXPECT_EQ(error.getServerMessage(), "gone");
    EXPECT_EQ(error.getURL(), peer.url("/a").c_str());
    EXPECT_EQ(request->getURL(), "");
}

TEST_F(NetRequestListenerTest, MayReleaseTheRequestAndItself) {
    for (const bool succeeds : {true, false}) {
        peer.onConnection().expectRequest().reply(reply(succeeds ? "200 OK" : "404 Not Found", "x"));
        request = new OpenRequest;
        prepare("/a");
        listener = new TestListener;
        request->setDoneListener(listener);
        listener->then = [this] {
            listener = nullptr;
            request = nullptr;
        };
        CNetRequest* const held = request;
        if (succeeds) {
            held->perform();
        } else {
            EXPECT_TRUE(thrownBy<CCURLError>([&] { held->perform(); }));
        }
        EXPECT_EQ(request.get(), nullptr);
    }
}

TEST_F(NetRequestListenerTest, MayPerformAgain) {
    peer.onConnection()
        .expectRequest()
        .reply(reply("200 OK", "1"))
        .expectRequest()
        .reply(reply("200 OK", "2"));
    listener->then = [this] { request->perform(); };
    request->perform();
    EXPECT_EQ(listener->count, 2);
    EXPECT_EQ(bodyOf(*request), "2");
}

TEST_F(NetRequestListenerTest, ThatThrowsIsNotToldOfItsOwnError) {
    peer.onConnection().expectRequest().reply(reply("200 OK", ""));
    listener->then = [] { throw OwnError("listener"); };
    EXPECT_TRUE(thrownBy<OwnError>([&] { request->perform(); }));
    EXPECT_EQ(listener->count, 1);
}

TEST_F(NetRequestPerformTest, CopiesTheBodyThatIsSetAsAnOption) {
    peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    request->setURL(peer.url("/").c_str());
    request->setOptionString(CURLOPT_POSTFIELDS, String(std::wstring(200, L'a')));
    const std::string inTheSamePlace(200, 'Z');
    request->perform();
    ASSERT_THAT(peer.requests(), SizeIs(1));
    EXPECT_EQ(peer.requests()[0].body, std::string(inTheSamePlace.size(), 'a'));
}

}  // namespace
