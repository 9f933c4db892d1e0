// What a client with signature version 4 sends.
#include "tests/s3/S3WireTest.h"
#include "vexil/async/AsyncNetRequestManager.h"
#include "vexil/net/NetStringList.h"
#include "vexil/s3/S3SigningError.h"
#include "zet/BufferStream.h"

namespace {

using namespace vexil_test;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string emptyHash = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

/// Its time moves on by a minute with each signature.
class V4Client : public CS3Client {
public:
    explicit V4Client(const std::string& baseURL)
        : CS3Client(String::fromUTF8(accessKey), String::fromUTF8(secretKey), false) {
        setBaseURL(String::fromUTF8(baseURL));
        setSignatureVersion(4);
    }

    mutable int64 now = 1583219109;
    std::vector<int> waits;

protected:
    zet::CTime getCurrentTime() const override {
        now += 60;
        return zet::CTime::fromCTime(now - 60);
    }
    void waitBeforeRetry(int milliseconds) override { waits.push_back(milliseconds); }
};

class S3SigningV4WireTest : public S3WireTest {
protected:
    S3SigningV4WireTest() : v4(peer.url("")) {}

    std::vector<std::string> heads(std::size_t count) {
        EXPECT_TRUE(peer.waitForRequests(count));
        std::vector<std::string> texts;
        for (const auto& sent : peer.requests()) {
            texts.push_back(sent.head);
        }
        EXPECT_EQ(texts.size(), count);
        return texts;
    }

    /// The text after "name" up to the line end; "" if it is not there.
    static std::string after(const std::string& head, const std::string& name) {
        const std::size_t found = head.find(name);
        return found == std::string::npos
                   ? ""
                   : head.substr(found + name.size(),
                                 head.find("\r\n", found + name.size()) - found - name.size());
    }

    V4Client v4;
};

TEST_F(S3SigningV4WireTest, SendsTheSignedHeadersAndTheSlashesOfAKey) {
    answer({reply("200 OK", "")});
    v4.getObject(request, "b", "folder/../a b", 0, -1);
    const std::string sent = onlyHead();
    EXPECT_THAT(sent, StartsWith("GET /b/folder/../a%20b HTTP/1.1\r\nHost: 127.0.0.1:"));
    EXPECT_THAT(sent, HasSubstr("\r\nx-amz-date: 20200303T070509Z\r\nx-amz-content-sha256: " + emptyHash +
                                "\r\nAuthorization: AWS4-HMAC-SHA256 Credential=" + accessKey +
                                "/20200303/us-east-1/s3/aws4_request, "
                                "SignedHeaders=host;x-amz-content-sha256;x-amz-date, Signature="));
    EXPECT_THAT(sent, Not(HasSubstr("\r\nDate:")));
}

TEST_F(S3SigningV4WireTest, SignsEachTryAgain) {
    answer({reply("500 no", ""), reply("503 no", ""), reply("200 OK", "")});
    EXPECT_NO_THROW(v4.putObject(request, "b", "k", "body"));
    const auto sent = heads(3);
    EXPECT_EQ(after(sent[0], "\r\nx-amz-date: "), "20200303T070509Z");
    EXPECT_EQ(after(sent[1], "\r\nx-amz-date: "), "20200303T070609Z");
    EXPECT_EQ(after(sent[2], "\r\nx-amz-date: "), "20200303T070709Z");
    EXPECT_NE(after(sent[0], "Signature="), after(sent[1], "Signature="));
    EXPECT_EQ(after(sent[0], "\r\nx-amz-content-sha256: "), after(sent[2], "\r\nx-amz-content-sha256: "));
    for (const auto& received : peer.requests()) {
        EXPECT_EQ(received.body, "body");
    }
}

TEST_F(S3SigningV4WireTest, SendsNoCredentialsToAnotherHost) {
    ScriptedPeer other;
    other.onConnection().expectRequest().reply(reply("200 OK", ""));
    answer({reply("307 Temporary Redirect", "", "Location: " + other.url("/b/k") + "\r\n")});
    v4.setSessionToken("token");
    EXPECT_THROW(v4.getObject(request, "b", "k", 0, -1), CCURLError);
    EXPECT_EQ(other.unplayedScripts(), 1u) << "nothing was sent to it";
}

// ---- what a refusal teaches -------------------------------------------------------------------------------

std::string refusal(const std::string& status, const std::string& code, const std::string& inDocument = "",
                    const std::string& headers = "") {
    return reply(status, "<Error><Code>" + code + "</Code><Message>m</Message>" + inDocument + "</Error>",
                 headers);
}

std::string wrongRegion(const std::string& region) {
    return refusal("400 Bad Request", "AuthorizationHeaderMalformed", "<Region>" + region + "</Region>");
}

TEST_F(S3SigningV4WireTest, LearnsTheRegionOfABucketFromTheErrorDocument) {
    answer({wrongRegion("eu-central-1"), reply("200 OK", ""), reply("200 OK", ""), reply("200 OK", ""),
            reply("200 OK", "")});
    const LogCapture log;
    v4.putObject(request, "b", "k", "body");
    v4.deleteObject(request, "b", "l");
    v4.deleteObject(request, "other", "k");
    const auto sent = heads(4);
    EXPECT_THAT(sent[0], HasSubstr("/us-east-1/s3/aws4_request"));
    EXPECT_THAT(sent[1], HasSubstr("/eu-central-1/s3/aws4_request"));
    EXPECT_THAT(sent[2], HasSubstr("/eu-central-1/s3/aws4_request")) << "the next request of the bucket";
    EXPECT_THAT(sent[3], HasSubstr("/us-east-1/s3/aws4_request")) << "another bucket";
    EXPECT_EQ(peer.requests().at(1).body, "body");
    EXPECT_THAT(v4.waits, testing::IsEmpty());
    EXPECT_THAT(log.lines(),
                ElementsAre("I: The bucket 'b' is in the region 'eu-central-1'. Its requests are "
                            "signed for that region."));
    v4.setRegion("us-west-2");
    v4.deleteObject(request, "b", "k");
    EXPECT_THAT(heads(5)[4], HasSubstr("/us-west-2/")) << "the caller's region counts again";
}

TEST_F(S3SigningV4WireTest, ForgetsTheRegionOfADeletedBucket) {
    const std::string done = "HTTP/1.1 204 No Content\r\n\r\n";
    answer({wrongRegion("eu-central-1"), refusal("409 Conflict", "BucketNotEmpty"), done, done,
            reply("200 OK", "")});
    v4.setMaxRetries(0);
    EXPECT_TRUE(thrownBy<CS3Error>([&] { v4.deleteBucket(request, "b"); }));
    v4.deleteObject(request, "b", "k");
    v4.deleteBucket(request, "b");
    v4.createBucket(request, "b");
    const auto sent = heads(5);
    EXPECT_THAT(sent[2], HasSubstr("/eu-central-1/s3/aws4_request")) << "the bucket still exists";
    EXPECT_THAT(sent[3], HasSubstr("/eu-central-1/s3/aws4_request"));
    EXPECT_THAT(sent[4], HasSubstr("/us-east-1/s3/aws4_request"));
    EXPECT_EQ(peer.requests().at(4).body, "");
}

TEST_F(S3SigningV4WireTest, LearnsTheRegionFromAHeaderOfAResponseWithoutABody) {
    answer({"HTTP/1.1 400 Bad Request\r\nx-amz-bucket-region: eu-west-3\r\nContent-Length: 0\r\n\r\n",
            reply("200 OK", "")});
    EXPECT_TRUE(v4.objectExists(request, "b", "k"));
    EXPECT_THAT(heads(2)[1], HasSubstr("/eu-west-3/s3/aws4_request"));
}

TEST_F(S3SigningV4WireTest, LearnsTheRegionForACopyAndForAStream) {
    answer({wrongRegion("r1"), reply("200 OK", "<CopyObjectResult/>"), wrongRegion("r2"),
            reply("200 OK", "content")});
    v4.copyObject(request, "b", "k", "l");
    EXPECT_THAT(heads(2)[1], HasSubstr("/r1/s3/aws4_request"));
    zet::CBufferStream stream;
    v4.getObject(request, "c", "k", 0, -1, &stream);
    EXPECT_EQ(stream.getSize(), 7) << "nothing of the refusal";
}

TEST_F(S3SigningV4WireTest, GivesUpIfTheServiceAsksForAThirdRegion) {
    answer({wrongRegion("r1"), wrongRegion("r2"), wrongRegion("r3")});
    const auto error = thrownBy<vexil::CS3SigningError>([&] { v4.deleteObject(request, "b", "k"); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCause(), vexil::CS3SigningError::Cause::Region);
    EXPECT_EQ(error->getRegion(), "r3");
    EXPECT_EQ(error->getAdvice(), "The service wants a signature for the region 'r3'.");
    EXPECT_EQ(error->getMessage(), "Amazon S3 error: m(AuthorizationHeaderMalformed)");
    EXPECT_EQ(error->getCode(), 400);
}

TEST_F(S3SigningV4WireTest, LearnsNothingFromARegionThatIsNone) {
    const std::vector<std::string> regions = {"", "evil.example/", "us-east-1", "a b"};
    answer(
        {wrongRegion(regions[0]), wrongRegion(regions[1]), wrongRegion(regions[2]), wrongRegion(regions[3])});
    for (const std::string& region : regions) {
        EXPECT_TRUE(thrownBy<CS3Error>([&] { v4.deleteObject(request, "b", "k"); })) << region;
    }
}

/// Sends all its requests to a peer, whatever host they name.
class ConnectTo : public virtual vexil::CBase, public vexil::INetRequestSetup {
public:
    explicit ConnectTo(int port) : m_list(new vexil::CNetStringList) {
        m_list->add(String("::127.0.0.1:") + String::fromInt(port));
    }
    void setUp(CNetRequest& request) override {
        request.setOptionPtr(CURLOPT_CONNECT_TO, m_list->getSList());
    }

private:
    P<vexil::CNetStringList> m_list;
};

TEST_F(S3SigningV4WireTest, GoesToTheEndpointOfAnAmazonRegion) {
    CS3Client amazon(String(accessKey), String(secretKey), false);
    amazon.setSignatureVersion(4);
    const P<ConnectTo> connectTo = new ConnectTo(peer.port());
    amazon.setRequestSetup(connectTo);
    const std::string moved = refusal("301 Moved Permanently", "PermanentRedirect", "",
                                      "x-amz-bucket-region: eu-north-1\r\nConnection: close\r\n");
    answer({moved});
    answer({reply("200 OK", "", "Connection: close\r\n")});
    answer({reply("200 OK", "", "Connection: close\r\n")});
    amazon.getObject(request, "bucket", "a/b", 0, -1);
    amazon.getObject(request, "bucket", "c", 0, -1);
    const auto sent = heads(3);
    EXPECT_THAT(sent[0], StartsWith("GET /a/b HTTP/1.1\r\nHost: bucket.s3.amazonaws.com\r\n"));
    EXPECT_THAT(sent[1], StartsWith("GET /a/b HTTP/1.1\r\nHost: bucket.s3.eu-north-1.amazonaws.com\r\n"));
    EXPECT_THAT(sent[1], HasSubstr("/eu-north-1/s3/aws4_request"));
    EXPECT_THAT(sent[2], StartsWith("GET /c HTTP/1.1\r\nHost: bucket.s3.eu-north-1.amazonaws.com\r\n"));
}

std::string skewed(const std::string& date) {
    return refusal("403 Forbidden", "RequestTimeTooSkewed", "", "Date: " + date + "\r\n");
}

TEST_F(S3SigningV4WireTest, CorrectsTheClockByTheDateOfTheResponse) {
    // The client says 07:05:09, and each look at its clock takes a minute.
    answer({skewed("Tue, 03 Mar 2020 09:05:09 GMT"), reply("200 OK", ""), reply("200 OK", ""),
            skewed("Tue, 03 Mar 2020 07:08:09 GMT"), reply("200 OK", "")});
    const LogCapture log;
    v4.putObject(request, "b", "k", "body");
    v4.deleteObject(request, "b", "k");
    const auto sent = heads(3);
    EXPECT_EQ(after(sent[0], "\r\nx-amz-date: "), "20200303T070509Z");
    EXPECT_EQ(after(sent[1], "\r\nx-amz-date: "), "20200303T090609Z");
    EXPECT_EQ(after(sent[2], "\r\nx-amz-date: "), "20200303T090709Z") << "the next request";
    EXPECT_THAT(log.lines(),
                ElementsAre("W: This computer's clock differs from the clock of the S3 service by 7140 s. "
                            "Requests are signed with the service's time."));
    v4.deleteObject(request, "b", "k");
    EXPECT_EQ(after(heads(5)[4], "\r\nx-amz-date: "), "20200303T070909Z")
        << "the clock has been set meanwhile";
}

TEST_F(S3SigningV4WireTest, CorrectsTheClockForAHeadRequest) {
    answer({"HTTP/1.1 403 Forbidden\r\nDate: Tue, 03 Mar 2020 01:05:09 GMT\r\n\r\n", reply("200 OK", "")});
    EXPECT_TRUE(v4.objectExists(request, "b", "k"));
    EXPECT_EQ(after(heads(2)[1], "\r\nx-amz-date: "), "20200303T010609Z");
}

TEST_F(S3SigningV4WireTest, LeavesAForbiddenHeadRequestAloneIfTheClockIsRight) {
    answer({"HTTP/1.1 403 Forbidden\r\nDate: Tue, 03 Mar 2020 07:09:09 GMT\r\n\r\n"});
    EXPECT_THROW(v4.getObjectHeaders(request, "b", "k"), CCURLError);
}

TEST_F(S3SigningV4WireTest, CorrectsNoClockByMoreThanADay) {
    answer({skewed("Wed, 04 Mar 2020 07:10:09 GMT")});
    const LogCapture log;
    const auto error = thrownBy<vexil::CS3SigningError>([&] { v4.deleteObject(request, "b", "k"); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCause(), vexil::CS3SigningError::Cause::Clock);
    EXPECT_EQ(error->getClockDifference(), zet::CTimeSpan::fromSeconds(86700));
    EXPECT_EQ(error->getAdvice(), "The service's clock differs from the time of the request by 86700 s. Set "
                                  "this computer's clock.");
    EXPECT_THAT(log.lines(), testing::IsEmpty());
    EXPECT_THAT(v4.waits, testing::IsEmpty()) << "another try has the same clock";
}

TEST_F(S3SigningV4WireTest, TellsThatTheServiceKnowsOnlyVersionTwo) {
    answer({reply("400 Bad Request", errorDocument("InvalidArgument", "Unsupported Authorization Type"))});
    const auto error = thrownBy<vexil::CS3SigningError>([&] { v4.deleteObject(request, "b", "k"); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCause(), vexil::CS3SigningError::Cause::SignatureVersion);
    EXPECT_EQ(error->getSignatureVersion(), vexil::S3SignatureVersion::V2);
    EXPECT_EQ(error->getAdvice(), "The service wants signature version 2.");
}

TEST_F(S3SigningV4WireTest, TellsThatTheServiceKnowsOnlyVersionFour) {
    answer({reply("400 Bad Request", errorDocument("InvalidRequest", "The authorization mechanism you have "
                                                                     "provided is not supported. Please use "
                                                                     "AWS4-HMAC-SHA256."))});
    const auto error = thrownBy<vexil::CS3SigningError>([&] { client.deleteObject(request, "b", "k"); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getSignatureVersion(), vexil::S3SignatureVersion::V4);
    try {
        error->clone()->throwClone();
    } catch (const vexil::CS3SigningError& copy) {
        EXPECT_EQ(copy.getAdvice(), "The service wants signature version 4.");
    }
    EXPECT_THAT(heads(1)[0], HasSubstr("Authorization: AWS AKIA")) << "no other version is tried";
}

TEST_F(S3SigningV4WireTest, TellsItAlsoForARequestPerformedByAManager) {
    answer({skewed("Tue, 03 Mar 2020 09:05:09 GMT")});
    v4.prepareDeleteObjectRequest(request, "b", "k");
    vexil::CAsyncNetRequestManager manager;
    manager.addRequest(&request);
    while (!request.isAsyncDone()) {
        manager.waitForEvents(100);
        manager.handleEvents(nullptr);
    }
    EXPECT_TRUE(thrownBy<vexil::CS3SigningError>([&] { v4.checkResponse(request); }));
    const CError failure("failed");
    EXPECT_TRUE(v4.learnFromRefusal(request, failure));
    v4.now -= 60;
    v4.signAgain(request);
    EXPECT_FALSE(v4.learnFromRefusal(request, failure)) << "the request has the right time now";
}

TEST_F(S3SigningV4WireTest, LearnsNothingWithVersionTwo) {
    answer({wrongRegion("eu-central-1")});
    EXPECT_TRUE(thrownBy<CS3Error>([&] { client.deleteObject(request, "b", "k"); }));
}

// ---- redirects -------------------------------------------------------------------------------------------

TEST_F(S3SigningV4WireTest, SignsARedirectWithinTheHostAgain) {
    answer({reply("307 Temporary Redirect", "", "Location: /b/other%20key\r\n"), reply("200 OK", "")});
    v4.putObject(request, "b", "k", "body");
    const auto sent = heads(2);
    EXPECT_THAT(sent[1], StartsWith("PUT /b/other%20key HTTP/1.1\r\n"));
    EXPECT_NE(after(sent[0], "Signature="), after(sent[1], "Signature="));
    EXPECT_EQ(peer.requests().at(1).body, "body");
}

const std::string redirectToItself = reply("307 Temporary Redirect", "", "Location: /b/k\r\n");

TEST_F(S3SigningV4WireTest, FollowsFiveRedirects) {
    std::vector<std::string> replies(5, redirectToItself);
    replies.push_back(reply("200 OK", ""));
    answer(replies);
    EXPECT_NO_THROW(v4.deleteObject(request, "b", "k"));
    EXPECT_EQ(heads(6).size(), 6u);
}

TEST_F(S3SigningV4WireTest, FollowsNoSixthRedirect) {
    peer.setDefaultReply(redirectToItself);
    EXPECT_THROW(v4.deleteObject(request, "b", "k"), CCURLError);
    EXPECT_EQ(heads(6).size(), 6u);
    EXPECT_THAT(v4.waits, testing::IsEmpty()) << "a redirect is no reason to try again";
}

TEST_F(S3SigningV4WireTest, GivesUpAfterTwoCorrections) {
    const auto number = std::make_shared<int>(0);
    peer.setDefaultReply([number](const auto&) { return wrongRegion("r" + std::to_string(++*number)); });
    EXPECT_TRUE(thrownBy<vexil::CS3SigningError>([&] { v4.deleteObject(request, "b", "k"); }));
    const auto sent = heads(3);
    EXPECT_THAT(sent[0], HasSubstr("/us-east-1/s3/aws4_request"));
    EXPECT_THAT(sent[1], HasSubstr("/r1/s3/aws4_request"));
    EXPECT_THAT(sent[2], HasSubstr("/r2/s3/aws4_request"));
    EXPECT_THAT(v4.waits, testing::IsEmpty());
}

TEST_F(S3SigningV4WireTest, CorrectsRegionAndClockBetweenRedirects) {
    answer({redirectToItself, wrongRegion("r1"), redirectToItself, skewed("Tue, 03 Mar 2020 09:05:09 GMT"),
            redirectToItself, redirectToItself, redirectToItself, reply("200 OK", "")});
    EXPECT_NO_THROW(v4.deleteObject(request, "b", "k"));
    EXPECT_EQ(heads(8).size(), 8u);
}

TEST_F(S3SigningV4WireTest, LetsTheCallerFollowARedirectWithinTheHost) {
    answer({reply("308 Permanent Redirect", "", "Location: /b/other\r\n")});
    v4.prepareGetObjectRequest(request, "b", "k", 0, -1);
    const auto error = thrownBy<CCURLError>([&] { request.perform(); });
    ASSERT_TRUE(error);
    EXPECT_TRUE(v4.followRedirect(request, *error));
    EXPECT_EQ(request.getURL().toUTF8(), peer.url("/b/other"));
    EXPECT_FALSE(client.followRedirect(request, *error)) << "libcurl follows them for version 2";
}

}  // namespace
