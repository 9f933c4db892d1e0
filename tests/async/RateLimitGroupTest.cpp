// Rate limits of transfers under a worker or a manager.
#include "tests/async/AsyncNetRequestThreadTestSupport.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/RateLimit.h"

#include <chrono>
#include <optional>

namespace {

using namespace vexil_test;
using std::chrono::milliseconds;
using testing::Each;
using testing::SizeIs;
using vexil::CCURLError;
using vexil::CRateLimit;
using vexil::setRateLimit;

constexpr int size = 50'000;

class RateLimitGroupTest : public AsyncNetRequestThreadTest {
protected:
    RateLimitGroupTest() {
        peer.setDefaultReply("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n" +
                             ScriptedPeer::pattern(0, size));
    }

    /// A request of the group.
    P<CNetRequest> makeLimited() const {
        P<CNetRequest> request = makeRequest();
        setRateLimit(*request, group);
        return request;
    }
    std::vector<P<CNetRequest>> startAll(int count) {
        std::vector<P<CNetRequest>> requests;
        for (int i = 0; i < count; ++i) {
            requests.push_back(makeLimited());
            thread->addRequest(requests.back());
        }
        thread->start();
        return requests;
    }
    void expectWhole(const std::vector<P<CNetRequest>>& requests) {
        for (const P<CNetRequest>& request : requests) {
            EXPECT_TRUE(request->waitAsyncDone(longTime));
            request->checkAsyncResult();
            EXPECT_TRUE(request->getReceivedText() == ScriptedPeer::pattern(0, size));
        }
    }
    static int64 codeOf(CNetRequest& request) {
        EXPECT_TRUE(request.waitAsyncDone(longTime));
        const auto error = thrownBy<CCURLError>([&] { request.checkAsyncResult(); });
        return error ? error->getCode() : 0;
    }

    const Deadline deadline{"limited transfers come to their end"};
    const P<CRateLimit> group = new CRateLimit;
};

TEST_F(RateLimitGroupTest, AGroupTakesTheTimeOfAllItsBytes) {
    group->setDownloadRate(8 * size);
    const auto start = std::chrono::steady_clock::now();
    const auto requests = startAll(8);
    expectWhole(requests);
    // Less a tenth of a second and a turn.
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(800));
}

TEST_F(RateLimitGroupTest, UploadsOfAGroupArriveWhole) {
    peer.setDefaultReply(okReply);
    group->setUploadRate(8 * size);
    std::vector<P<CNetRequest>> requests;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 4; ++i) {
        requests.push_back(makeLimited());
        requests.back()->setHTTPMethod("PUT");
        requests.back()->setSendDataSource(P<TestSource>(new TestSource(ScriptedPeer::pattern(0, size))));
        requests.back()->setSendDataSize(size);
        thread->addRequest(requests.back());
    }
    thread->start();
    for (const P<CNetRequest>& request : requests) {
        EXPECT_TRUE(request->waitAsyncDone(longTime));
        request->checkAsyncResult();
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(300));
    std::vector<bool> areWhole;
    for (const RecordedRequest& recorded : peer.requests()) {
        areWhole.push_back(recorded.body == ScriptedPeer::pattern(0, size));
    }
    EXPECT_THAT(areWhole, SizeIs(4));
    EXPECT_THAT(areWhole, Each(true));
}

TEST_F(RateLimitGroupTest, AnIdleMemberTakesNoShare) {
    // One byte per second: without a share of the others, the last one would never end.
    group->setDownloadRate(1);
    const auto requests = startAll(3);
    const P<CNetRequest> last = requests.back();
    EXPECT_FALSE(last->waitAsyncDone(300));
    EXPECT_TRUE(thread->removeRequest(requests[0]));
    EXPECT_TRUE(thread->removeRequest(requests[1]));
    group->setDownloadRate(size * 100);
    expectWhole({last});
    EXPECT_FALSE(requests[0]->isAsyncDone());
    EXPECT_FALSE(requests[1]->isAsyncDone());
}

TEST_F(RateLimitGroupTest, TheRateMayChangeWhileAllWait) {
    group->setDownloadRate(1);
    const auto requests = startAll(4);
    EXPECT_FALSE(requests[0]->waitAsyncDone(200));
    group->setDownloadRate(0);
    expectWhole(requests);
}

TEST_F(RateLimitGroupTest, AWaitingTransferCanBeCancelled) {
    group->setDownloadRate(1);
    const auto requests = startAll(3);
    EXPECT_FALSE(requests[0]->waitAsyncDone(200));
    requests[1]->cancel();
    EXPECT_EQ(codeOf(*requests[1]), CURLE_ABORTED_BY_CALLBACK);
    EXPECT_FALSE(requests[0]->isAsyncDone());
    group->setDownloadRate(0);
    expectWhole({requests[0], requests[2]});
}

TEST_F(RateLimitGroupTest, AWaitingTransferCanBeRestarted) {
    group->setDownloadRate(1);
    const auto requests = startAll(2);
    EXPECT_FALSE(requests[0]->waitAsyncDone(200));
    thread->restartRequest(requests[0]);
    group->setDownloadRate(0);
    expectWhole(requests);
}

TEST_F(RateLimitGroupTest, TheWorkerMayEndWhileTransfersWait) {
    group->setDownloadRate(1);
    auto requests = startAll(3);
    EXPECT_FALSE(requests[0]->waitAsyncDone(200));
    thread->stop(true);
    EXPECT_FALSE(requests[0]->isAsyncDone());
    requests.clear();
    // Their places are free.
    group->setDownloadRate(10 * size);
    const P<CNetRequest> other = makeLimited();
    other->perform();
    EXPECT_EQ(other->getReceivedText(), ScriptedPeer::pattern(0, size));
}

TEST_F(RateLimitGroupTest, ASinkThatFailsEndsItsTransferOnly) {
    group->setDownloadRate(4 * size);
    std::vector<P<CNetRequest>> requests = {makeLimited(), makeLimited(), makeLimited()};
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [&] {
        if (sink->all().size() > size / 2) {
            throw OwnError("the disk is full");
        }
    };
    requests[1]->setReceiveDataSink(sink);
    for (const P<CNetRequest>& request : requests) {
        thread->addRequest(request);
    }
    thread->start();
    EXPECT_TRUE(requests[1]->waitAsyncDone(longTime));
    const auto error = thrownBy<OwnError>([&] { requests[1]->checkAsyncResult(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getMessage(), "the disk is full");
    expectWhole({requests[0], requests[2]});
    EXPECT_TRUE(thread->isAlive());
    // The request and its connection can be used again.
    requests[1]->setDefaultReceiveDataStream();
    thread->addRequest(requests[1]);
    expectWhole({requests[1]});
}

TEST_F(RateLimitGroupTest, APauseAndALimitGoTogether) {
    group->setDownloadRate(4 * size);
    TestManager manager;
    std::vector<P<CNetRequest>> requests = {makeLimited(), makeLimited()};
    for (const P<CNetRequest>& request : requests) {
        manager.addRequest(request);
    }
    const auto sizeOf = [&] {
        return requests[0]->getReceivedText().size() + requests[1]->getReceivedText().size();
    };
    const auto runUntil = [&](const auto& isDone) {
        while (!isDone()) {
            manager.waitForEvents(50);
            manager.handleEvents(nullptr);
        }
    };
    runUntil([&] { return sizeOf() > size / 4; });
    manager.setPaused(true);
    const auto before = sizeOf();
    for (int i = 0; i < 5; ++i) {
        manager.waitForEvents(50);
        manager.handleEvents(nullptr);
    }
    EXPECT_EQ(sizeOf(), before);
    manager.setPaused(false);
    runUntil([&] { return requests[0]->isAsyncDone() && requests[1]->isAsyncDone(); });
    expectWhole(requests);
}

TEST_F(RateLimitGroupTest, ASinkMayFailWhenAPauseEnds) {
    group->setDownloadRate(2 * size);
    TestManager manager;
    const P<CNetRequest> request = makeLimited();
    const P<TestSink> sink = new TestSink;
    bool fails = false;
    sink->onWrite = [&] {
        if (fails) {
            throw OwnError("the disk is full");
        }
    };
    request->setReceiveDataSink(sink);
    manager.addRequest(request);
    while (sink->all().size() < size / 4) {
        manager.waitForEvents(50);
        manager.handleEvents(nullptr);
    }
    manager.setPaused(true);
    fails = true;
    std::this_thread::sleep_for(milliseconds(200));
    manager.setPaused(false);
    while (!request->isAsyncDone()) {
        manager.waitForEvents(50);
        manager.handleEvents(nullptr);
    }
    EXPECT_TRUE(thrownBy<OwnError>([&] { request->checkAsyncResult(); }));
}

TEST_F(RateLimitGroupTest, WorkersAndThreadsShareAGroup) {
    group->setDownloadRate(20 * size);
    const P<CAsyncNetRequestThread> other = makeWorker();
    std::vector<P<CNetRequest>> requests;
    for (int i = 0; i < 12; ++i) {
        requests.push_back(makeLimited());
        (i % 2 == 0 ? thread : other)->addRequest(requests.back());
    }
    thread->start();
    other->start();
    const P<CNetRequest> own = makeLimited();
    own->perform();
    group->setDownloadRate(40 * size);
    expectWhole(requests);
    other->stop(true);
}

}  // namespace
