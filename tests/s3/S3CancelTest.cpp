// Cancelled operations of the S3 client: the error of the transfer is thrown unchanged, and nothing is tried
// again.
#include "tests/net/CancelTestSupport.h"
#include "tests/support/ScriptedPeer.h"
#include "vexil/s3/S3Client.h"

#include <string>
#include <vector>

namespace {

using namespace vexil_test;
using testing::IsEmpty;

/// Records its waits instead of sleeping.
class WaitlessClient : public vexil::CS3Client {
public:
    explicit WaitlessClient(const std::string& url) : CS3Client("key", "secret", false) {
        setBaseURL(String::fromUTF8(url));
    }

    std::vector<int> waits;

protected:
    void waitBeforeRetry(int milliseconds) override { waits.push_back(milliseconds); }
};

/// Gives every request of a client a progress object.
class ProgressSetup : public virtual vexil::CBase, public vexil::INetRequestSetup {
public:
    explicit ProgressSetup(const P<TestProgress>& progress) : m_progress(progress) {}
    void setUp(CNetRequest& request) override { request.setTransferProgress(m_progress); }

private:
    const P<TestProgress> m_progress;
};

class S3CancelTest : public testing::Test {
protected:
    S3CancelTest() { client.setRequestSetup(new ProgressSetup(progress)); }
    ~S3CancelTest() override {
        EXPECT_TRUE(peer.waitUntilIdle());
        EXPECT_THAT(peer.failures(), IsEmpty());
    }

    /// Nothing was tried again or logged.
    void expectOneTry() const {
        EXPECT_EQ(peer.requests().size(), 1u);
        EXPECT_THAT(client.waits, IsEmpty());
        EXPECT_THAT(log.lines(), IsEmpty());
    }
    /// A response that begins with `body` and does not end.
    void beginAnswer(const std::string& status, const std::string& body) {
        peer.onConnection()
            .clientMayLeave()
            .expectRequest()
            .reply("HTTP/1.1 " + status + "\r\nContent-Length: 100000\r\n\r\n" + body)
            .waitForClose();
    }
    /// The error of a download that is cancelled after this many bytes of the response.
    std::optional<CCURLError> cancelDownloadAt(std::size_t downloaded) {
        progress->then = [this, downloaded](const ProgressNumbers& seen) {
            if (seen.downloaded == static_cast<int64>(downloaded)) {
                request.cancel();
            }
        };
        return thrownBy<CCURLError>([&] { client.getObject(request, "b", "k", 0, -1); });
    }

    ScriptedPeer peer;
    LogCapture log;
    CNetRequest request;
    WaitlessClient client{peer.url("")};
    const P<TestProgress> progress = new TestProgress;
};

TEST_F(S3CancelTest, EndsADownload) {
    beginAnswer("200 OK", "abc");
    const auto error = cancelDownloadAt(3);
    expectCancelled(error);
    EXPECT_EQ(error->getHTTPStatusLine(), "HTTP/1.1 200 OK");
    expectOneTry();
}

TEST_F(S3CancelTest, EndsAnUploadThatWaitsForTheService) {
    peer.onConnection().clientMayLeave().expectRequest().waitForClose();
    expectCancelled(errorOfCancelled(
        request, [&] { client.putObject(request, "b", "k", "abc", 3, "text/plain"); },
        [&] { EXPECT_TRUE(peer.waitForRequests(1)); }));
    expectOneTry();
}

TEST_F(S3CancelTest, EndsAnExistenceTest) {
    peer.onConnection().clientMayLeave().expectRequest().waitForClose();
    expectCancelled(errorOfCancelled(
        request, [&] { return client.objectExists(request, "b", "k"); },
        [&] { EXPECT_TRUE(peer.waitForRequests(1)); }));
    expectOneTry();
}

TEST_F(S3CancelTest, EndsAnAnswerThatWouldBeTriedAgain) {
    beginAnswer("503 Service Unavailable", "abc");
    expectCancelled(cancelDownloadAt(3));
    expectOneTry();
}

TEST_F(S3CancelTest, WinsOverAnErrorDocument) {
    const std::string document = "<Error><Code>SlowDown</Code><Message>m</Message></Error>";
    beginAnswer("503 Slow Down", document);
    expectCancelled(cancelDownloadAt(document.size()));
    expectOneTry();
}

TEST_F(S3CancelTest, TheNextOperationWorks) {
    beginAnswer("200 OK", "abc");
    expectCancelled(cancelDownloadAt(3));
    progress->then = {};
    peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
    client.getObject(request, "b", "k", 0, -1);
    EXPECT_EQ(bodyOf(request), "ok");
    EXPECT_EQ(peer.connectionCount(), 2u);
}

/// Cancels instead of sleeping between two tries.
class CancellingClient : public WaitlessClient {
public:
    CancellingClient(const std::string& url, const P<vexil::CCancelToken>& token)
        : WaitlessClient(url), m_token(token) {}

protected:
    void waitBeforeRetry(int milliseconds) override {
        WaitlessClient::waitBeforeRetry(milliseconds);
        m_token->cancel();
    }

private:
    const P<vexil::CCancelToken> m_token;
};

TEST_F(S3CancelTest, BetweenTwoTriesIsNotLostByAToken) {
    const P<vexil::CCancelToken> token = new vexil::CCancelToken;
    CancellingClient cancelling(peer.url(""), token);
    request.setCancelToken(token);
    peer.setDefaultReply("HTTP/1.1 503 Slow Down\r\nContent-Length: 0\r\n\r\n");
    expectCancelled(thrownBy<CCURLError>([&] { cancelling.getObject(request, "b", "k", 0, -1); }));
    EXPECT_EQ(cancelling.waits.size(), 1u);
    EXPECT_EQ(peer.requests().size(), 1u);
    // No further operation begins either.
    expectCancelled(thrownBy<CCURLError>([&] { return cancelling.objectExists(request, "b", "k"); }));
    EXPECT_EQ(peer.requests().size(), 1u);
}

}  // namespace
