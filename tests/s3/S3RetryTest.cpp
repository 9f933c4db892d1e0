// Which failures are tried again, how often, and what is logged.
#include "tests/s3/S3WireTest.h"
#include "vexil/async/AsyncNetRequestManager.h"
#include "vexil/net/TransferMetrics.h"

#include <stdexcept>

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

CS3Error s3Error(const char* code, int status) {
    return CS3Error(CS3ErrorResponse(code, "m", "", ""), status);
}

CCURLError transferError(CURLcode code) {
    return CCURLError(code, "", "", -1, "", "", "", "");
}

CCURLError statusError(int status) {
    return CCURLError(CURLE_HTTP_RETURNED_ERROR, "", "http", status, "", "", "", "");
}

// ---- what an error is ------------------------------------------------------------------------------------

TEST(S3ErrorCodesTest, AreTakenFromTheError) {
    const auto codesOf = [](const std::exception& error) {
        String s3Code = "before";
        String httpCode = "before";
        CS3Client::extractErrorCodes(error, s3Code, httpCode);
        return std::vector<std::string>{s3Code.toUTF8(), httpCode.toUTF8()};
    };
    EXPECT_THAT(codesOf(s3Error("NoSuchKey", 404)), ElementsAre("NoSuchKey", "404"));
    EXPECT_THAT(codesOf(s3Error("NoSuchKey", 0)), ElementsAre("NoSuchKey", ""));
    EXPECT_THAT(codesOf(statusError(500)), ElementsAre("", "500"));
    EXPECT_THAT(codesOf(transferError(CURLE_GOT_NOTHING)), ElementsAre("", ""));
    vexil::CProps props;
    props.add("responseCode", "77");
    EXPECT_THAT(codesOf(CError("m", "", -1, props)), ElementsAre("", "77"));
    EXPECT_THAT(codesOf(std::runtime_error("x")), ElementsAre("", ""));
}

TEST(S3RetryDecisionTest, IsDecidedByTheS3CodeAlone) {
    for (const char* code : {"InternalError", "SlowDown", "IncompleteBody", "InvalidDigest",
                             "OperationAborted", "RequestTimeTooSkewed"}) {
        for (const int status : {0, 200, 403, 404, 500}) {
            EXPECT_TRUE(CS3Client::shouldRetryRequest(s3Error(code, status))) << code;
        }
    }
    for (const char* code : {"AccessDenied", "NoSuchKey", "internalerror", "InternalErro", "BadDigest"}) {
        for (const int status : {500, 503, 400, 409}) {
            EXPECT_FALSE(CS3Client::shouldRetryRequest(s3Error(code, status))) << code;
        }
    }
}

TEST(S3RetryDecisionTest, IsDecidedByTheStatusWithoutAnS3Code) {
    EXPECT_TRUE(CS3Client::shouldRetryRequest(s3Error("", 500)));
    EXPECT_FALSE(CS3Client::shouldRetryRequest(s3Error("", 404)));
    for (int status = 1; status < 600; ++status) {
        const bool isRetried = status == 500 || status == 503 || status == 400 || status == 409;
        EXPECT_EQ(CS3Client::shouldRetryRequest(statusError(status)), isRetried) << status;
    }
    // The transfer failed in the body, after the status 200.
    EXPECT_FALSE(
        CS3Client::shouldRetryRequest(CCURLError(CURLE_RECV_ERROR, "", "http", 200, "", "", "", "")));
}

TEST(S3RetryDecisionTest, IsDecidedByTheTransferWithoutAStatus) {
    for (int code = 1; code < CURL_LAST; ++code) {
        const bool isRetried = code == 7 || code == 28 || code == 52 || code == 55 || code == 56;
        EXPECT_EQ(CS3Client::shouldRetryRequest(transferError(static_cast<CURLcode>(code))), isRetried)
            << code;
    }
    EXPECT_FALSE(
        CS3Client::shouldRetryRequest(CCURLError(static_cast<CURLMcode>(7), "", "", -1, "", "", "", "")));
    EXPECT_FALSE(CS3Client::shouldRetryRequest(CError("m", "curl", 7)));
    EXPECT_FALSE(CS3Client::shouldRetryRequest(std::runtime_error("x")));
}

TEST(S3SlowDownTest, IsToldByCodeThenStatus) {
    EXPECT_TRUE(CS3Client::shouldSlowDown(s3Error("SlowDown", 0)));
    EXPECT_FALSE(CS3Client::shouldSlowDown(s3Error("InternalError", 503)));
    EXPECT_TRUE(CS3Client::shouldSlowDown(statusError(503)));
    EXPECT_FALSE(CS3Client::shouldSlowDown(statusError(500)));
    EXPECT_FALSE(CS3Client::shouldSlowDown(std::runtime_error("x")));
}

TEST(S3NotFoundTest, IsToldByStatusOrCode) {
    EXPECT_TRUE(CS3Client::isNotFoundError(statusError(404)));
    EXPECT_TRUE(CS3Client::isNotFoundError(s3Error("Other", 404)));
    EXPECT_TRUE(CS3Client::isNotFoundError(s3Error("NoSuchKey", 0)));
    EXPECT_TRUE(CS3Client::isNotFoundError(s3Error("NoSuchBucket", 0)));
    EXPECT_FALSE(CS3Client::isNotFoundError(s3Error("NoSuchUpload", 0)));
    EXPECT_FALSE(CS3Client::isNotFoundError(statusError(403)));
    EXPECT_FALSE(CS3Client::isNotFoundError(std::runtime_error("x")));
}

// ---- better errors ---------------------------------------------------------------------------------------

vexil::TBuffer<unsigned char> bufferOf(std::string_view text) {
    vexil::TBuffer<unsigned char> buffer;
    buffer.append(reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    return buffer;
}

TEST(S3BetterErrorTest, IsMadeOfTheBody) {
    CCURLError original = statusError(403);
    const auto error = thrownBy<CS3Error>(
        [&] { CS3Client::tryThrowBetterError(original, bufferOf(errorDocument("AccessDenied"))); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getMessage(), "Amazon S3 error: message(AccessDenied)");
    EXPECT_THAT(propsOf(*error), ElementsAre("s3-resource=/b/k", "s3-requestID=id", "s3-code=AccessDenied",
                                             "responseCode=403"));
}

TEST(S3BetterErrorTest, NeedsAnAnswerWithABody) {
    LogCapture log;
    const auto document = bufferOf(errorDocument("AccessDenied"));
    CCURLError noAnswer = transferError(CURLE_GOT_NOTHING);
    CS3Client::tryThrowBetterError(noAnswer, document);
    CCURLError statusZero = statusError(0);
    CS3Client::tryThrowBetterError(statusZero, document);
    CCURLError answer = statusError(403);
    CS3Client::tryThrowBetterError(answer, bufferOf(""));
    CError other("m", "http", 403);
    CS3Client::tryThrowBetterError(other, document);
    std::runtime_error foreign("x");
    CS3Client::tryThrowBetterError(foreign, document);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(S3BetterErrorTest, LogsABodyThatIsNoDocument) {
    LogCapture log;
    CCURLError error = statusError(500);
    CS3Client::tryThrowBetterError(error, bufferOf("<html>\xC3\xBC"));
    CS3Client::tryThrowBetterError(error, bufferOf("<Other/>"));
    const std::string text =
        "E: S3 returned an error, but the response data is not a valid S3 error response.";
    EXPECT_THAT(log.lines(),
                ElementsAre(text + " <S3ResponseData><html>\xC3\xBC", text + " <S3ResponseData><Other/>"));
}

TEST(S3BetterErrorTest, LogsABodyThatIsNoText) {
    LogCapture log;
    CCURLError error = statusError(500);
    CS3Client::tryThrowBetterError(error, bufferOf("\xFF\xFE"));
    ASSERT_EQ(log.lines().size(), 2u);
    EXPECT_THAT(log.lines()[0], StartsWith("E: Error converting S3 response data to string object. ["));
    EXPECT_EQ(log.lines()[1],
              "E: S3 returned an error, but the response data is not a valid S3 error response. "
              "<S3ResponseData>");
}

// ---- tries -----------------------------------------------------------------------------------------------

const std::string ok = reply("200 OK", "hello");

class S3RetryTest : public S3WireTest {
protected:
    int perform() {
        client.prepareGetObjectRequest(request, "b", "k", 0, -1);
        return client.performRequest(request);
    }
    std::vector<int> waits(std::size_t count) { return std::vector<int>(count, 100); }

    LogCapture log;
};

TEST_F(S3RetryTest, SuccessNeedsOneTry) {
    answer({ok});
    EXPECT_EQ(perform(), 1);
    EXPECT_THAT(client.waits, IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(S3RetryTest, InternalErrorIsTriedAgain) {
    const std::string error = reply("500 Internal Server Error", errorDocument("InternalError"));
    answer({error, error, ok});
    EXPECT_EQ(perform(), 3);
    EXPECT_EQ(client.waits, waits(2));
    EXPECT_EQ(bodyOf(request), "hello");
    EXPECT_THAT(
        log.lines(),
        ElementsAre("I: Received InternalError response from S3 (try 1). Waiting 100ms and retrying.",
                    "I: Received InternalError response from S3 (try 2). Waiting 100ms and retrying."));
    const auto requests = peer.requests();
    EXPECT_EQ(requests.at(0).head, requests.at(2).head);
}

TEST_F(S3RetryTest, SlowDownIsTriedAgainWithAWarning) {
    answer({reply("503 Slow Down", errorDocument("SlowDown")), ok});
    EXPECT_EQ(perform(), 2);
    EXPECT_EQ(client.waits, waits(1));
    EXPECT_THAT(log.lines(),
                ElementsAre("W: Received slowdown response from S3 [Amazon S3 error: message(SlowDown)]",
                            "I: Received SlowDown response from S3 (try 1). Waiting 100ms and retrying."));
}

TEST_F(S3RetryTest, ServiceUnavailableWithAPageIsTriedAgain) {
    answer({reply("503 Service Unavailable", "<html><body>busy</body></html>", "Content-Type: text/html\r\n"),
            ok});
    EXPECT_EQ(perform(), 2);
    ASSERT_EQ(log.lines().size(), 3u);
    EXPECT_EQ(log.lines()[0],
              "E: S3 returned an error, but the response data is not a valid S3 error response. "
              "<S3ResponseData><html><body>busy</body></html>");
    EXPECT_THAT(log.lines()[1], StartsWith("W: Received slowdown response from S3 ["));
    EXPECT_EQ(log.lines()[2],
              "I: Got error during S3 request: HTTP response code said error (response code: http "
              "503) (try 1). Waiting 100ms and retrying.");
}

TEST_F(S3RetryTest, ConnectionRefusedIsTriedAgain) {
    client.setBaseURL("http://127.0.0.1:" + String::fromInt(ScriptedPeer::closedPort()));
    client.setMaxRetries(2);
    const auto error = thrownBy<CCURLError>([&] { perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_COULDNT_CONNECT);
    EXPECT_EQ(client.waits, waits(2));
    ASSERT_EQ(log.lines().size(), 3u);
    const std::string text = curl_easy_strerror(CURLE_COULDNT_CONNECT);
    EXPECT_THAT(log.lines()[0], StartsWith("I: Got error during S3 request: " + text + ": "));
    EXPECT_THAT(log.lines()[0], testing::EndsWith(" (try 1). Waiting 100ms and retrying."));
    EXPECT_THAT(log.lines()[2], StartsWith("E: Got error during S3 request: " + text + ": "));
    EXPECT_THAT(log.lines()[2], HasSubstr(" (try 3). Too many retries. Giving up! [" + text));
}

TEST_F(S3RetryTest, EmptyReplyIsTriedAgain) {
    peer.onConnection().expectRequest().close();
    answer({ok});
    EXPECT_EQ(perform(), 2);
    EXPECT_EQ(client.waits, waits(1));
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_THAT(log.lines()[0],
                StartsWith("I: Got error during S3 request: Server returned nothing (no headers, no data)"));
}

TEST_F(S3RetryTest, AccessDeniedIsNotTriedAgain) {
    answer({reply("403 Forbidden", errorDocument("AccessDenied", "Access Denied"))});
    const auto error = thrownBy<CS3Error>([&] { perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getMessage(), "Amazon S3 error: Access Denied(AccessDenied)");
    EXPECT_EQ(error->getCode(), 403);
    EXPECT_THAT(client.waits, IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(S3RetryTest, RetriesEndAtTheirMaximum) {
    client.setMaxRetries(2);
    const std::string error = reply("500 Internal Server Error", errorDocument("InternalError"));
    answer({error, error, error});
    EXPECT_TRUE(thrownBy<CS3Error>([&] { perform(); }));
    EXPECT_EQ(client.waits, waits(2));
    EXPECT_THAT(
        log.lines(),
        ElementsAre("I: Received InternalError response from S3 (try 1). Waiting 100ms and retrying.",
                    "I: Received InternalError response from S3 (try 2). Waiting 100ms and retrying.",
                    "E: Received InternalError response from S3 (try 3). Too many retries. Giving up! "
                    "[Amazon S3 error: message(InternalError)]"));
}

TEST_F(S3RetryTest, MaximumOfZeroMeansOneTry) {
    for (const int maximum : {0, -5}) {
        client.setMaxRetries(maximum);
        answer({reply("500 Internal Server Error", errorDocument("InternalError"))});
        CNetRequest own;
        EXPECT_TRUE(thrownBy<CS3Error>([&] { client.getObject(own, "b", "k", 0, -1); }));
    }
    EXPECT_THAT(client.waits, IsEmpty());
    EXPECT_EQ(log.lines().size(), 2u);
}

TEST_F(S3RetryTest, FiftyRetriesAreTheDefault) {
    answer(std::vector<std::string>(51, reply("409 Conflict", "")));
    const auto error = thrownBy<CCURLError>([&] { perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getResponseCode(), 409);
    EXPECT_EQ(client.waits, waits(50));
    EXPECT_THAT(log.lines().back(), HasSubstr(" (try 51). Too many retries. Giving up!"));
}

TEST_F(S3RetryTest, UnknownHostIsNotTriedAgain) {
    client.setBaseURL("http://no-such-host.invalid");
    const auto error = thrownBy<CCURLError>([&] { perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_COULDNT_RESOLVE_HOST);
    EXPECT_THAT(client.waits, IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(S3RetryTest, BrokenBodyIsNotTriedAgain) {
    peer.onConnection().expectRequest().replyCut(ok, ok.size() - 2).close();
    const auto error = thrownBy<CCURLError>([&] { perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_PARTIAL_FILE);
    EXPECT_THAT(client.waits, IsEmpty());
}

TEST_F(S3RetryTest, TriesAreRecordedOnDemand) {
    const std::string error = reply("503 Slow Down", errorDocument("SlowDown"));
    answer({error, ok, error, error, ok});
    EXPECT_EQ(perform(), 2);
    EXPECT_THAT(client.getTries().getTries(), IsEmpty());
    client.setRecordsTries(true);
    const P<vexil::CTransferMetrics> metrics = new vexil::CTransferMetrics;
    client.setMetrics(metrics);
    perform();
    const auto& tries = client.getTries().getTries();
    ASSERT_EQ(tries.size(), 3u);
    EXPECT_EQ(tries[1].number, 2);
    EXPECT_EQ(tries[1].status, 503);
    EXPECT_EQ(tries[1].curlCode, CURLE_HTTP_RETURNED_ERROR);
    EXPECT_EQ(tries[1].message, "Amazon S3 error: message(SlowDown)");
    EXPECT_EQ(tries[1].pause, std::chrono::milliseconds(100));
    EXPECT_FALSE(tries[2].hasFailed);
    EXPECT_EQ(tries[2].downloadedBytes, 5);
    EXPECT_EQ(metrics->getRequestCount(), 3);
    EXPECT_EQ(metrics->getRetryCount(), 2);
    EXPECT_EQ(metrics->getErrorCount(vexil::ErrorKind::Throttled), 2);
}

TEST_F(S3RetryTest, TriesAreAttachedToTheFinalError) {
    const std::string error = reply("500 Internal Server Error", errorDocument("InternalError"));
    answer({error, error, error, error});
    client.setMaxRetries(1);
    EXPECT_THAT(
        propsOf(*thrownBy<CS3Error>([&] { perform(); })),
        ElementsAre("s3-resource=/b/k", "s3-requestID=id", "s3-code=InternalError", "responseCode=500"));
    client.setRecordsTries(true);
    const auto thrown = thrownBy<CS3Error>([&] { perform(); });
    ASSERT_TRUE(thrown);
    const auto tries = vexil::CTryLog::fromError(*thrown);
    ASSERT_EQ(tries.getTries().size(), 2u);
    EXPECT_EQ(tries.getTries()[1].status, 500);
    EXPECT_EQ(tries.toText(), client.getTries().toText());
    EXPECT_EQ(thrown->getS3Code(), "InternalError");
    EXPECT_THAT(propsOf(*thrown), testing::SizeIs(5));
}

// ---- tries by a policy -----------------------------------------------------------------------------------

class S3RetryPolicyTest : public S3RetryTest {
protected:
    S3RetryPolicyTest() {
        client.setRetryPolicy(vexil::CRetryPolicy({.maxRetries = 3, .randomShare = 0}));
        client.setMaxRetries(0);
    }
};

TEST_F(S3RetryPolicyTest, PausesGrowAndOtherStatusesAreTriedAgain) {
    answer({reply("502 Bad Gateway", "x"), reply("429 Slow", "x"),
            reply("503 Busy", "x", "Retry-After: 2\r\n"), ok});
    EXPECT_EQ(perform(), 4);
    EXPECT_THAT(client.waits, ElementsAre(200, 400, 2000));
    EXPECT_EQ(bodyOf(request), "hello");
    EXPECT_THAT(log.lines(), testing::Contains(testing::EndsWith("(try 3). Waiting 2000ms and retrying.")));
}

TEST_F(S3RetryPolicyTest, RefusalsAreNotTriedAgainAndTriesEnd) {
    const std::string error = reply("500 Internal Server Error", errorDocument("InternalError"));
    answer({reply("403 Forbidden", errorDocument("AccessDenied")), error, error, error, error});
    EXPECT_EQ(thrownBy<CS3Error>([&] { perform(); })->getS3Code(), "AccessDenied");
    EXPECT_THAT(client.waits, IsEmpty());
    EXPECT_EQ(thrownBy<CS3Error>([&] { perform(); })->getS3Code(), "InternalError");
    EXPECT_THAT(client.waits, ElementsAre(200, 400, 800));
}

TEST_F(S3RetryPolicyTest, ABrokenBodyIsTriedAgainFromTheBeginning) {
    peer.onConnection().expectRequest().replyCut(ok, ok.size() - 2).close();
    peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\nContent-Le").close();
    answer({ok});
    const P<zet::CBufferStream> stream = new zet::CBufferStream;
    client.getObject(request, "b", "k", 0, -1, stream);
    EXPECT_THAT(client.waits, ElementsAre(200, 400));
    EXPECT_EQ(stream->getBuffer()->getUsed(), 5);
}

TEST_F(S3RetryPolicyTest, AnUploadThatBrokeAfterAnInterimResponseIsSentAgain) {
    const std::string body(4 << 20, 'x');
    peer.onConnection().expectHead().reply("HTTP/1.1 100 Continue\r\n\r\n").expectBytes(1000).reset();
    answer({reply("200 OK", "")});
    client.putObject(request, "b", "k", body.data(), body.size(), "");
    EXPECT_THAT(client.waits, ElementsAre(200));
    ASSERT_TRUE(peer.waitForRequests(1));
    EXPECT_EQ(peer.requests().back().body.size(), body.size());
}

/// A minute passes with each pause.
class AgingClient : public TestClient {
public:
    using TestClient::TestClient;

protected:
    zet::CTime getCurrentTime() const override {
        return zet::CTime::fromCTime(1583219109 + 60 * static_cast<int64>(waits.size()));
    }
};

TEST_F(S3RetryPolicyTest, EachTryIsSignedAgain) {
    AgingClient aging(peer.url(""));
    aging.setRetryPolicy(vexil::CRetryPolicy());
    answer({reply("500 Internal Server Error", "x"), ok});
    aging.getObject(request, "b", "k", 0, -1);
    const auto requests = peer.requests();
    EXPECT_THAT(requests.at(0).head, HasSubstr("07:05:09 GMT"));
    EXPECT_THAT(requests.at(1).head, HasSubstr("07:06:09 GMT"));
}

TEST_F(S3RetryPolicyTest, ACancelTokenEndsThePause) {
    const P<vexil::CCancelToken> token = new vexil::CCancelToken;
    request.setCancelToken(token);
    client.setRetryPolicy(vexil::CRetryPolicy(
        {.onPause = [&token](const CError&, int, vexil::CRetryPolicy::Milliseconds) { token->cancel(); }}));
    answer({reply("500 Internal Server Error", "x")});
    EXPECT_EQ(thrownBy<CCURLError>([&] { perform(); })->getCode(), CURLE_ABORTED_BY_CALLBACK);
    EXPECT_THAT(client.waits, IsEmpty());
}

TEST_F(S3RetryPolicyTest, CanBeTakenBack) {
    client.setRetryPolicy(std::nullopt);
    answer({reply("502 Bad Gateway", "x")});
    EXPECT_TRUE(thrownBy<CCURLError>([&] { perform(); }));
    EXPECT_THAT(client.waits, IsEmpty());
}

// ---- failures that the client gives up, but that may pass -------------------------------------------------

TEST_F(S3RetryTest, ABrokenBodyMayPass) {
    peer.onConnection().expectRequest().replyCut(ok, ok.size() - 2).close();
    const auto error = thrownBy<CCURLError>([&] { perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getResponseCode(), 200);
    EXPECT_TRUE(vexil::isTransientError(*error));
}

TEST_F(S3RetryTest, AnUploadThatBrokeAfterAnInterimResponseMayPass) {
    const std::string body(4 << 20, 'x');
    peer.onConnection().expectHead().reply("HTTP/1.1 100 Continue\r\n\r\n").expectBytes(1000).reset();
    const auto error =
        thrownBy<CCURLError>([&] { client.putObject(request, "b", "k", body.data(), body.size(), ""); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getResponseCode(), 100);
    EXPECT_THAT(client.waits, IsEmpty());
    EXPECT_TRUE(vexil::isTransientError(*error)) << error->what();
}

TEST_F(S3RetryTest, AResponseThatEndsWithinItsHeadersMayPass) {
    peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\nContent-Le").close();
    const auto error = thrownBy<CError>(
        [&] { client.getObject(request, "b", "k", 0, -1, P<zet::CBufferStream>(new zet::CBufferStream)); });
    ASSERT_TRUE(error);
    EXPECT_TRUE(vexil::isTransientError(*error)) << error->what();
}

TEST_F(S3RetryTest, AProxyWithoutAWayToTheServerMayPass) {
    for (const bool hasWay : {false, true}) {
        answer({hasWay ? "HTTP/1.1 407 Proxy Authentication Required\r\nContent-Length: 0\r\n\r\n"
                       : "HTTP/1.1 502 Bad Gateway\r\nContent-Length: 0\r\n\r\n"});
        client.setMaxRetries(0);
        CNetRequest tunnelled;
        client.prepareGetObjectRequest(tunnelled, "b", "k", 0, -1);
        tunnelled.setProxy(String::fromUTF8(peer.url("")));
        tunnelled.setOptionInt(CURLOPT_HTTPPROXYTUNNEL, 1);
        const auto error = thrownBy<CCURLError>([&] { client.performRequest(tunnelled); });
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getCode(), CURLE_RECV_ERROR);
        EXPECT_EQ(vexil::isTransientError(*error), !hasWay) << error->what();
        EXPECT_EQ(vexil::isOutageError(*error), !hasWay) << error->what();
    }
}

TEST_F(S3RetryTest, ARefusalWithStatus503MayPass) {
    client.setMaxRetries(0);
    answer({reply("503 Service Unavailable", errorDocument("ServiceUnavailable"))});
    const auto error = thrownBy<CS3Error>([&] { perform(); });
    ASSERT_TRUE(error);
    EXPECT_TRUE(vexil::isTransientError(*error));
    EXPECT_TRUE(vexil::isOutageError(*error));
    EXPECT_FALSE(vexil::isNetworkOrServiceDownError(*error));
}

// ---- responses without an end ----------------------------------------------------------------------------

TEST_F(S3RetryTest, AnErrorDocumentWithoutAnEndIsCut) {
    for (const char* status : {"503 Slow Down", "403 Forbidden"}) {
        peer.onConnection()
            .clientMayLeave()
            .expectRequest()
            .reply(std::string("HTTP/1.1 ") + status + "\r\n\r\n")
            .sendPattern(1 << 30);
        client.setMaxRetries(0);
        CNetRequest own;
        client.prepareGetObjectRequest(own, "b", "k", 0, -1);
        const auto error = thrownBy<CCURLError>([&] { client.performRequest(own); });
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getCode(), CURLE_HTTP_RETURNED_ERROR);
        EXPECT_EQ(error->getResponseCode(), std::stoi(status));
        EXPECT_EQ(error->getHTTPStatusLine(), String::fromUTF8(std::string("HTTP/1.1 ") + status));
        EXPECT_EQ(own.getDefaultReceiveBuffer()->getUsed(), 1 << 20);
    }
}

TEST_F(S3RetryTest, AnErrorDocumentWithoutAnEndIsCutWhereAStreamIsGivenOrAManagerDrives) {
    for (int i = 0; i < 2; ++i) {
        peer.onConnection()
            .clientMayLeave()
            .expectRequest()
            .reply("HTTP/1.1 403 Forbidden\r\n\r\n")
            .sendPattern(1 << 30);
    }
    const P<zet::CBufferStream> stream = new zet::CBufferStream;
    EXPECT_EQ(
        thrownBy<CCURLError>([&] { client.getObject(request, "b", "k", 0, -1, stream); })->getResponseCode(),
        403);
    const P<CNetRequest> driven = new CNetRequest;
    client.preparePutObjectRequest(*driven, "b", "k", "hello", 5, "");
    vexil::CAsyncNetRequestManager manager;
    manager.addRequest(driven);
    while (manager.getRequestCount() > 0) {
        manager.waitForEvents(1000);
        manager.handleEvents(nullptr);
    }
    const auto error = thrownBy<CCURLError>([&] { driven->checkAsyncResult(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_HTTP_RETURNED_ERROR);
    EXPECT_EQ(error->getResponseCode(), 403);
    EXPECT_EQ(driven->getDefaultReceiveBuffer()->getUsed(), 1 << 20);
}

TEST_F(S3RetryTest, AListingWithoutAnEndIsRefused) {
    peer.onConnection()
        .clientMayLeave()
        .expectRequest()
        .reply("HTTP/1.1 200 OK\r\n\r\n")
        .sendPattern(1 << 30);
    EXPECT_EQ(plainErrorOf([&] { return client.listObjects(request, "b", "", "", "", -1); }),
              "The body of the response is longer than 67108864 bytes.");
    EXPECT_THAT(client.waits, IsEmpty());
}

TEST_F(S3RetryTest, AnObjectMayBeLongerThanAListing) {
    constexpr int size = (64 << 20) + 1;
    peer.onConnection()
        .expectRequest()
        .reply("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n")
        .sendPattern(size);
    client.getObject(request, "b", "k", 0, -1);
    EXPECT_EQ(request.getDefaultReceiveBuffer()->getUsed(), size);
}

TEST_F(S3RetryTest, PutSendsItsBodyAgain) {
    answer({reply("500 Internal Server Error", errorDocument("InternalError")), reply("200 OK", "")});
    client.putObject(request, "b", "k", "hello", 5, "");
    const auto requests = peer.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].body, "hello");
    EXPECT_EQ(requests[1].body, "hello");
    EXPECT_EQ(requests[0].head, requests[1].head);
}

/// A sink that throws an error of its own type.
class OwnError : public CError {
public:
    OwnError() : CError("own") {}
    P<CError> clone() const override { return new OwnError(*this); }
    [[noreturn]] void throwClone() const override { throw OwnError(*this); }
};

class FailingSink : public virtual vexil::CBase, public CNetRequest::IDataSink {
public:
    void write(const void*, int, int, const HeaderMap&) override { throw OwnError(); }
};

TEST_F(S3RetryTest, ErrorsOfOtherTypesAreThrownAsTheyAre) {
    peer.onConnection().expectRequest().reply(ok).clientMayLeave();
    client.prepareGetObjectRequest(request, "b", "k", 0, -1);
    request.setReceiveDataSink(new FailingSink);
    EXPECT_TRUE(thrownBy<OwnError>([&] { client.performRequest(request); }));
    EXPECT_THAT(client.waits, IsEmpty());
}

/// A client whose clock advances by a second each time it is read.
class CClientWithARunningClock : public TestClient {
public:
    using TestClient::TestClient;

protected:
    zet::CTime getCurrentTime() const override { return zet::CTime::fromCTime(1583219109 + m_seconds++); }

private:
    mutable int m_seconds = 0;
};

TEST_F(S3RetryTest, SendsTheDateOfTheFirstTryWithEachTry) {
    answer({reply("500 Internal Server Error", errorDocument("InternalError")), reply("204 No Content", ""),
            reply("204 No Content", "")});
    CClientWithARunningClock movingClient(peer.url(""));
    movingClient.deleteObject(request, "b", "k");
    movingClient.deleteObject(request, "b", "k");
    const auto requests = peer.requests();
    ASSERT_EQ(requests.size(), 3u);
    EXPECT_EQ(requests[0].head, requests[1].head);
    EXPECT_NE(requests[1].head, requests[2].head) << "the clock runs";
}

TEST_F(S3RetryTest, KeepsAPostWhereAnAnswerRedirectsIt) {
    answer({"HTTP/1.1 301 Moved Permanently\r\nLocation: /b/other\r\nContent-Length: 0\r\n\r\n",
            reply("200 OK", "")});
    client.beginPrepareRequest(request, String::fromUTF8(peer.url("/b/k")));
    request.setHTTPMethod("POST");
    request.setSendDataAsUTF8("x");
    client.finishPrepareRequest(request);
    request.perform();
    ASSERT_EQ(peer.requests().size(), 2u);
    EXPECT_EQ(peer.requests()[1].requestLine(), "POST /b/other HTTP/1.1");
}

}  // namespace
