// The results that the owner of a request gets.
#include "tests/async/AsyncNetRequestThreadTestSupport.h"

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class AsyncNetRequestThreadResultTest : public AsyncNetRequestThreadTest {
protected:
    AsyncNetRequestThreadResultTest() {
        request->setDoneListener(listener);
        listener->then = [this] {
            EXPECT_TRUE(request->isAsyncDone()) << "done when its listener is told";
            isTold.set();
        };
        thread->start();
    }
    ~AsyncNetRequestThreadResultTest() override {
        EXPECT_TRUE(thread->isAlive()) << "a request that fails is no matter of the worker's";
        EXPECT_THAT(log.lines(), IsEmpty());
        // The listener may still be running.
        thread->stop(true);
    }

    /// Runs the request until it is done and its listener was called.
    void runToTheEnd() {
        EXPECT_FALSE(request->isAsyncDone());
        run(request);
        EXPECT_TRUE(isTold.wait(longTime));
        EXPECT_TRUE(request->isAsyncDone());
        EXPECT_TRUE(request->getAsyncDoneSignal()->isSet());
        EXPECT_EQ(listener->count, 1);
        EXPECT_EQ(listener->requestSeen, request.get());
    }

    /// The error of checkAsyncResult() and that of the listener, which must be the same.
    template <class Error>
    std::optional<Error> resultError() {
        const auto error = thrownBy<Error>([this] { request->checkAsyncResult(); });
        const P<Error> told = listener->errorSeen.dynamicCast<Error>();
        if (!error || !told) {
            ADD_FAILURE() << "the listener was told of no such error";
            return std::nullopt;
        }
        EXPECT_EQ(told->getMessage(), error->getMessage());
        EXPECT_EQ(told->getDomain(), error->getDomain());
        EXPECT_EQ(told->getCode(), error->getCode());
        EXPECT_EQ(propsOf(*told), propsOf(*error));
        return error;
    }

    zet::CSignal isTold;
    P<CNetRequest> request = makeRequest();
    P<TestListener> listener = new TestListener;
};

TEST_F(AsyncNetRequestThreadResultTest, ASuccessHasItsBody) {
    peer.onConnection().expectRequest().reply(okReply);
    runToTheEnd();
    request->checkAsyncResult();
    EXPECT_EQ(listener->errorSeen.get(), nullptr);
    EXPECT_EQ(request->getResponseCode(), 200);
    EXPECT_EQ(bodyOf(*request), "ok");
}

TEST_F(AsyncNetRequestThreadResultTest, AnErrorStatusIsAnError) {
    request->setHTTPMethod("GET");
    peer.onConnection().expectRequest().reply(missingReply);
    runToTheEnd();
    const auto error = resultError<CCURLError>();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getDomain(), "curl");
    EXPECT_EQ(error->getCode(), CURLE_HTTP_RETURNED_ERROR);
    EXPECT_EQ(error->getResponseCode(), 404);
    EXPECT_EQ(error->getMessage(), "HTTP response code said error (response code: http 404)");
    EXPECT_THAT(propsOf(*error), ElementsAre("responseCodeDomain=http", "responseCode=404",
                                             "serverMessage=gone", "httpStatusLine=HTTP/1.1 404 Not Found",
                                             "url=" + peer.url("/a"), "httpMethod=GET"));
}

TEST_F(AsyncNetRequestThreadResultTest, ARefusedConnectionIsAnError) {
    const std::string port = std::to_string(ScriptedPeer::closedPort());
    request->setURL(String::fromUTF8("http://127.0.0.1:" + port + "/"));
    runToTheEnd();
    const auto error = resultError<CCURLError>();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getDomain(), "curl");
    EXPECT_EQ(error->getCode(), CURLE_COULDNT_CONNECT);
    EXPECT_EQ(error->getResponseCode(), 0);
    EXPECT_THAT(messageOf(error), StartsWith(std::string(curl_easy_strerror(CURLE_COULDNT_CONNECT)) +
                                             ": Failed to connect to 127.0.0.1 port " + port));
}

TEST_F(AsyncNetRequestThreadResultTest, AnErrorOfTheSinkKeepsItsType) {
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [] { throw OwnError("disk full"); };
    request->setReceiveDataSink(sink);
    peer.onConnection().clientMayLeave().expectRequest().reply(okReply);
    runToTheEnd();
    const auto error = resultError<OwnError>();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getMessage(), "disk full");
    EXPECT_EQ(error->getCode(), 7);
}

TEST_F(AsyncNetRequestThreadResultTest, AnErrorOfTheSourceKeepsItsType) {
    const P<TestSource> source = new TestSource;
    source->onRead = [](void*, int) -> int { throw OwnError("cannot read"); };
    request->setHTTPMethod("PUT");
    request->setSendDataSource(source);
    request->setSendDataSize(10);
    peer.onConnection().clientMayLeave().expectRequest().reply(okReply);
    runToTheEnd();
    const auto error = resultError<OwnError>();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getMessage(), "cannot read");
}

TEST_F(AsyncNetRequestThreadResultTest, SendsWhatTheSourceHas) {
    request->setHTTPMethod("PUT");
    request->setSendDataAsUTF8("abc");
    peer.onConnection().expectRequest().reply(okReply);
    runToTheEnd();
    request->checkAsyncResult();
    ASSERT_THAT(peer.requests(), SizeIs(1));
    EXPECT_EQ(peer.requests()[0].requestLine(), "PUT /a HTTP/1.1");
    EXPECT_EQ(peer.requests()[0].body, "abc");
}

TEST_F(AsyncNetRequestThreadResultTest, AFailureLeavesTheOthersAlone) {
    peer.onConnection().expectRequest().pause().reply(okReply);
    const P<CNetRequest> other = makeRequest("/other");
    thread->addRequest(other);
    EXPECT_TRUE(peer.waitUntilPaused(1, std::chrono::milliseconds(longTime)));
    peer.onConnection().expectRequest().closeAbruptly();
    runToTheEnd();
    const auto error = resultError<CCURLError>();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_GOT_NOTHING);
    EXPECT_FALSE(other->isAsyncDone());
    peer.release();
    EXPECT_TRUE(other->waitAsyncDone(longTime));
    other->checkAsyncResult();
    EXPECT_EQ(bodyOf(*other), "ok");
}

TEST_F(AsyncNetRequestThreadResultTest, ARequestRunsAgainWithAllItsSettings) {
    peer.onConnection().expectRequest().reply(missingReply).expectRequest().reply(okReply);
    runToTheEnd();
    EXPECT_TRUE(resultError<CCURLError>());
    listener->then = [this] { isTold.set(); };
    isTold.reset();
    thread->addRequest(request);
    EXPECT_TRUE(isTold.wait(longTime));
    request->checkAsyncResult();
    EXPECT_EQ(bodyOf(*request), "ok");
    EXPECT_EQ(listener->count, 2);
    EXPECT_EQ(listener->errorSeen.get(), nullptr);
}

TEST_F(AsyncNetRequestThreadResultTest, ASignalMayBeWaitedForWithoutTheRequest) {
    peer.setDefaultReply(okReply);
    for (int round = 0; round < 200; ++round) {
        P<CNetRequest> other = makeRequest();
        const P<zet::CSignal> signal = other->getAsyncDoneSignal();
        thread->addRequest(other);
        other = nullptr;
        ASSERT_TRUE(signal->wait(longTime));
    }
}

TEST_F(AsyncNetRequestThreadResultTest, AnOwnerMayWaitAndThenLetGo) {
    peer.setDefaultReply([](const RecordedRequest& got) {
        return got.requestLine() == "GET /0 HTTP/1.1" ? missingReply : okReply;
    });
    std::atomic<int> alive = 0;
    for (int round = 0; round < 500; ++round) {
        P<CNetRequest> other = makeRequest("/" + std::to_string(round % 2));
        other->addDependencyObject(new CountedAcrossThreads(alive));
        thread->addRequest(other);
        ASSERT_TRUE(other->waitAsyncDone(longTime));
        other = nullptr;
    }
    thread->removeAllRequests();
    EXPECT_EQ(alive, 0);
}

}  // namespace
