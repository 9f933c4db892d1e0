// The hooks for a driver of transfers on another thread.
#include "tests/net/NetRequestTestSupport.h"
#include "tests/support/ScriptedPeer.h"

#include <thread>

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string okReply = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
const std::string missingReply = "HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\ngone";

class NetRequestAsyncTest : public testing::Test {
protected:
    NetRequestAsyncTest() {
        request->setProxy("");
        request->setURL(peer.url("/a").c_str());
    }
    ~NetRequestAsyncTest() override {
        request = nullptr;
        EXPECT_TRUE(peer.waitUntilIdle());
        EXPECT_THAT(peer.failures(), IsEmpty());
    }

    /// What a manager does with a request.
    void drive() {
        request->setAsyncInfo(false, CURLE_OK);
        request->setAsyncInfo(true, curl_easy_perform(request->getHandle()));
    }

    CCURLError resultError() {
        const auto error = thrownBy<CCURLError>([&] { request->checkAsyncResult(); });
        return error ? *error : CCURLError(CURLE_OK, "", "", 0, "", "", "", "");
    }

    ScriptedPeer peer;
    LogCapture log;
    P<OpenRequest> request = new OpenRequest;
    P<TestListener> listener = new TestListener;
};

TEST_F(NetRequestAsyncTest, ASuccessIsDoneWithoutAnError) {
    peer.onConnection().expectRequest().reply(okReply);
    drive();
    EXPECT_TRUE(request->isAsyncDone());
    EXPECT_TRUE(request->waitAsyncDone(0));
    EXPECT_TRUE(request->waitAsyncDone(-1));
    EXPECT_TRUE(request->getAsyncDoneSignal()->isSet());
    request->checkAsyncResult();
    EXPECT_EQ(bodyOf(*request), "ok");
}

TEST_F(NetRequestAsyncTest, AnErrorStatusIsTheErrorOfASynchronousTransfer) {
    request->setHTTPMethod("GET");
    peer.onConnection().expectRequest().reply(missingReply);
    drive();
    const CCURLError error = resultError();
    EXPECT_EQ(error.getCode(), 22);
    EXPECT_EQ(error.getMessage(), "HTTP response code said error (response code: http 404)");
    EXPECT_THAT(propsOf(error), ElementsAre("responseCodeDomain=http", "responseCode=404",
                                            "serverMessage=gone", "httpStatusLine=HTTP/1.1 404 Not Found",
                                            "url=" + peer.url("/a"), "httpMethod=GET"));
    EXPECT_EQ(resultError().getCode(), 22) << "asked again, told again";
}

TEST_F(NetRequestAsyncTest, AFailureCarriesLibcurlsTextOfThatMoment) {
    peer.onConnection().expectRequest().close();
    drive();
    // A later setter clears libcurl's buffer.
    request->setOptionInt(CURLOPT_NOSIGNAL, 1);
    const CCURLError error = resultError();
    EXPECT_EQ(error.getCode(), CURLE_GOT_NOTHING);
    EXPECT_EQ(error.getMessage(), "Server returned nothing (no headers, no data): Empty reply from server");
}

TEST_F(NetRequestAsyncTest, ARunningTransferHasNoResult) {
    peer.onConnection().expectRequest().close();
    drive();
    request->setAsyncInfo(false, CURLE_OK);
    EXPECT_FALSE(request->isAsyncDone());
    EXPECT_FALSE(request->waitAsyncDone(0));
    request->checkAsyncResult();
}

TEST_F(NetRequestAsyncTest, AStartClearsWhatTheLastTransferLeft) {
    peer.onConnection().expectRequest().reply(missingReply);
    drive();
    request->setAsyncInfo(false, CURLE_OK);
    EXPECT_EQ(bodyOf(*request), "");
    EXPECT_EQ(request->getHTTPStatusLine(), "");
    EXPECT_THAT(request->getResponseHeaderMap(), IsEmpty());
    EXPECT_THAT(linesOf(request->getResponseInfo()), IsEmpty());
}

TEST_F(NetRequestAsyncTest, AStartThatFailsIsNotDone) {
    const P<TestSource> source = new TestSource("abc");
    source->position = 2;
    source->onSeek = [](int64) { throw OwnError("cannot rewind"); };
    request->setSendDataSource(source);
    request->setAsyncInfo(true, CURLE_GOT_NOTHING);
    EXPECT_EQ(messageOf(thrownBy<OwnError>([&] { request->setAsyncInfo(false, CURLE_OK); })),
              "cannot rewind");
    EXPECT_FALSE(request->isAsyncDone());
}

TEST_F(NetRequestAsyncTest, OnlyAnHTTPURLInLowerCaseIsJudgedByItsStatus) {
    peer.setDefaultReply(missingReply);
    const std::string rest = peer.url("/a").substr(4);
    request->setURL(("HTTP" + rest).c_str());
    drive();
    request->checkAsyncResult();
    EXPECT_EQ(request->getResponseCode(), 404);
    const auto error = thrownBy<CCURLError>([&] { request->perform(); });
    ASSERT_TRUE(error) << "the synchronous check takes capitals too";
    EXPECT_EQ(error->getResponseCode(), 404);

    request->setURL(("http" + rest).c_str());
    drive();
    EXPECT_EQ(resultError().getResponseCode(), 404);
}

TEST_F(NetRequestAsyncTest, AKeptErrorComesBeforeTheResult) {
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [] { throw OwnError("disk full"); };
    request->setReceiveDataSink(sink);
    peer.onConnection().expectRequest().reply(okReply).clientMayLeave();
    drive();
    EXPECT_EQ(messageOf(thrownBy<OwnError>([&] { request->checkAsyncResult(); })), "disk full");
    EXPECT_EQ(messageOf(thrownBy<OwnError>([&] { request->checkAsyncResult(); })), "disk full");
}

TEST_F(NetRequestAsyncTest, ASuccessWithAKeptErrorIsAborted) {
    request->setURL("");
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [] { throw OwnError("disk full"); };
    request->setReceiveDataSink(sink);
    request->setAsyncInfo(false, CURLE_OK);
    request->write("x");
    request->setAsyncInfo(true, CURLE_OK);
    EXPECT_TRUE(thrownBy<OwnError>([&] { request->checkAsyncResult(); }));
    // Without the kept error the result shows the abort.
    request->resetForPerform();
    EXPECT_EQ(resultError().getCode(), CURLE_ABORTED_BY_CALLBACK);
}

TEST_F(NetRequestAsyncTest, ListenersAreToldOfSuccessAndFailure) {
    request->setDoneListener(listener);
    peer.onConnection().expectRequest().reply(okReply).expectRequest().reply(missingReply);
    drive();
    EXPECT_EQ(listener->count, 1);
    EXPECT_EQ(listener->requestSeen, request.get());
    EXPECT_EQ(listener->errorSeen.get(), nullptr);
    drive();
    EXPECT_EQ(listener->count, 2);
    const auto error = listener->errorSeen.dynamicCast<CCURLError>();
    ASSERT_NE(error.get(), nullptr);
    EXPECT_EQ(error->getResponseCode(), 404);
    EXPECT_EQ(error->getServerMessage(), "gone");
}

TEST_F(NetRequestAsyncTest, ListenersGetAKeptErrorWithItsType) {
    request->setDoneListener(listener);
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [] { throw OwnError("disk full"); };
    request->setReceiveDataSink(sink);
    peer.onConnection().expectRequest().reply(okReply).clientMayLeave();
    drive();
    EXPECT_NE(listener->errorSeen.dynamicCast<OwnError>().get(), nullptr);
}

TEST_F(NetRequestAsyncTest, ListenersAreNotToldOfAStart) {
    request->setDoneListener(listener);
    request->setAsyncInfo(false, CURLE_OK);
    EXPECT_EQ(listener->count, 0);
}

TEST_F(NetRequestAsyncTest, AListenerFindsTheTransferDoneAndTheLockFree) {
    request->setDoneListener(listener);
    peer.onConnection().expectRequest().reply(missingReply);
    listener->then = [this] {
        EXPECT_TRUE(request->isAsyncDone());
        std::thread other([this] { EXPECT_EQ(resultError().getResponseCode(), 404); });
        other.join();
    };
    drive();
    EXPECT_EQ(listener->count, 1);
}

TEST_F(NetRequestAsyncTest, AListenerMayResetTheRequest) {
    request->setDoneListener(listener);
    peer.onConnection().expectRequest().reply(missingReply);
    listener->then = [this] {
        listener = nullptr;
        request->reset();
    };
    drive();
    EXPECT_FALSE(request->isAsyncDone());
    request->checkAsyncResult();
}

TEST_F(NetRequestAsyncTest, AListenerMayReleaseTheRequestAndItself) {
    request->setDoneListener(listener);
    peer.onConnection().expectRequest().reply(missingReply);
    listener->then = [this] {
        listener = nullptr;
        request = nullptr;
    };
    drive();
    EXPECT_EQ(request.get(), nullptr);
}

TEST_F(NetRequestAsyncTest, AnotherThreadMayWaitAndThenUseTheRequest) {
    peer.setDefaultReply(missingReply);
    for (int round = 0; round < 20; ++round) {
        request->setAsyncInfo(false, CURLE_OK);
        std::thread driver(
            [held = request] { held->setAsyncInfo(true, curl_easy_perform(held->getHandle())); });
        EXPECT_TRUE(request->waitAsyncDone(-1));
        EXPECT_EQ(resultError().getResponseCode(), 404);
        EXPECT_EQ(bodyOf(*request), "gone");
        EXPECT_TRUE(thrownBy<CCURLError>([&] { request->perform(); }));
        driver.join();
    }
}

TEST_F(NetRequestAsyncTest, AnotherThreadMayPollAndAskForTheResult) {
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [] { throw OwnError("disk full"); };
    request->setReceiveDataSink(sink);
    peer.onConnection().expectRequest().pause().reply(okReply).clientMayLeave();
    request->setAsyncInfo(false, CURLE_OK);
    std::thread driver([held = request] { held->setAsyncInfo(true, curl_easy_perform(held->getHandle())); });
    EXPECT_TRUE(peer.waitUntilPaused());
    EXPECT_FALSE(request->isAsyncDone());
    EXPECT_FALSE(request->waitAsyncDone(0));
    request->checkAsyncResult();
    peer.release();
    const auto checkUntilDone = [this] {
        while (!request->isAsyncDone()) {
            // If it ends between the two calls, this throws.
            request->checkAsyncResult();
            std::this_thread::yield();
        }
        request->checkAsyncResult();
    };
    EXPECT_TRUE(thrownBy<OwnError>(checkUntilDone));
    driver.join();
}

TEST_F(NetRequestAsyncTest, AWaitingThreadMayGiveUpItsReference) {
    peer.setDefaultReply(okReply);
    for (int round = 0; round < 20; ++round) {
        P<CNetRequest> held = new CNetRequest;
        held->setProxy("");
        held->setURL(peer.url("/a").c_str());
        held->setAsyncInfo(false, CURLE_OK);
        std::thread driver(
            [driven = held] { driven->setAsyncInfo(true, curl_easy_perform(driven->getHandle())); });
        EXPECT_TRUE(held->waitAsyncDone(-1));
        held = nullptr;
        driver.join();
    }
}

TEST(NetRequestAsyncURLTest, JudgesAnEncryptedURLByItsStatusToo) {
    CNetRequest request;
    request.setURL("https://host/");
    request.setAsyncInfo(true, CURLE_OK);
    const auto error = thrownBy<CCURLError>([&] { request.checkAsyncResult(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_HTTP_RETURNED_ERROR);
}

}  // namespace
