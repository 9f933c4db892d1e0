// Transfers that are cancelled in each state, with each driver, and the transfers that a cancel() applies to.
#include "tests/async/AsyncNetRequestThreadTestSupport.h"
#include "tests/async/SilentServer.h"
#include "tests/async/TransferDriver.h"
#include "tests/net/CancelTestSupport.h"
#include "tests/support/Deadline.h"
#include "tests/support/ScriptedPeer.h"

#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <mutex>

namespace {

using namespace vexil_test;
using std::chrono::milliseconds;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using vexil::TArray;

/// More requests than are safe with select(); on Windows this is a smaller number.
constexpr int veryMany = FD_SETSIZE >= 1024 ? 500 : 40;

/// Waits for a state of a transfer; fails after a long time, so that the test always ends.
void waitFor(zet::CSignal& signal) {
    EXPECT_TRUE(signal.wait(longTime));
}

P<CNetRequest> makeCancellable(const std::string& url) {
    const P<CNetRequest> request = new CNetRequest;
    request->setProxy("");
    request->setURL(String::fromUTF8(url));
    request->setCancellable(true);
    // It is cancelled long before.
    request->setLowSpeedLimit(0, zet::CTimeSpan());
    return request;
}

/// The error of a request that has ended.
std::optional<CCURLError> resultOf(CNetRequest& request) {
    EXPECT_TRUE(request.waitAsyncDone(longTime));
    return thrownBy<CCURLError>([&] { request.checkAsyncResult(); });
}

// ---- each state, under each driver -----------------------------------------------------------------------

class CancelStatesTest : public testing::TestWithParam<Driver> {
protected:
    ~CancelStatesTest() override {
        request = nullptr;
        peer.release("never");
        EXPECT_TRUE(peer.waitUntilIdle());
        EXPECT_THAT(peer.failures(), IsEmpty());
    }

    template <class WaitForState>
    std::optional<CCURLError> cancelWhen(WaitForState waitForState) {
        return errorOfCancelled(
            *request, [&] { drive(GetParam(), *request); }, waitForState);
    }

    const Deadline deadline{"a cancelled transfer ends, and its connection is not used again"};
    ScriptedPeer peer;
    P<CNetRequest> request = makeCancellable(peer.url("/a"));
    const P<TestProgress> progress = new TestProgress;
};
INSTANTIATE_TEST_SUITE_P(UnderEach, CancelStatesTest, testing::ValuesIn(allDrivers), nameOfDriver);

/// A server with a full queue: connections are not refused, but are not established either.
class FullServer {
public:
    FullServer() : m_acceptor(m_context, {asio::ip::address_v4::loopback(), 0}) {
        m_acceptor.listen(0);
        for (int i = 0; i < 8; ++i) {
            m_waiting.emplace_back(m_context);
            m_waiting.back().async_connect(m_acceptor.local_endpoint(), [](const asio::error_code&) {});
        }
    }
    std::string url() const {
        return "http://127.0.0.1:" + std::to_string(m_acceptor.local_endpoint().port()) + "/";
    }

private:
    asio::io_context m_context;
    asio::ip::tcp::acceptor m_acceptor;
    std::vector<asio::ip::tcp::socket> m_waiting;
};

TEST_P(CancelStatesTest, WhileConnecting) {
    const FullServer server;
    request->setURL(String::fromUTF8(server.url()));
    request->setTransferProgress(progress);
    const auto error = cancelWhen([&] { progress->waitUntilItWaits(); });
    expectCancelled(error);
    EXPECT_EQ(request->getInfoDouble(CURLINFO_CONNECT_TIME), 0) << "it was connected";
    EXPECT_EQ(error->getMessage(), cancelledMessage);
    EXPECT_EQ(error->getURL(), String::fromUTF8(server.url()));
    EXPECT_EQ(error->getResponseCodeDomain(), "http");
}

TEST_P(CancelStatesTest, WhileATLSHandshakeIsNotAnswered) {
    const SilentServer server;
    request->setURL(String::fromUTF8("https" + server.url().substr(4)));
    request->setHTTPMethod("PUT");
    request->setTransferProgress(progress);
    const auto error = cancelWhen([&] { progress->waitUntilItWaits(); });
    expectCancelled(error);
    EXPECT_EQ(request->getInfoDouble(CURLINFO_APPCONNECT_TIME), 0);
    EXPECT_EQ(error->getHTTPMethod(), "PUT");
}

TEST_P(CancelStatesTest, WhileWaitingForTheResponse) {
    request->setHTTPMethod("GET");
    request->setTransferProgress(progress);
    peer.onConnection().clientMayLeave().expectRequest().waitForClose();
    const auto error = cancelWhen([&] {
        EXPECT_TRUE(peer.waitForRequests(1));
        progress->waitUntilItWaits();
    });
    expectCancelled(error);
    EXPECT_EQ(error->getURL(), String::fromUTF8(peer.url("/a")));
    EXPECT_EQ(error->getHTTPMethod(), "GET");
    EXPECT_EQ(error->getResponseCode(), 0);
}

TEST_P(CancelStatesTest, InTheMiddleOfADownload) {
    peer.onConnection()
        .clientMayLeave()
        .expectRequest()
        .reply("HTTP/1.1 200 OK\r\nContent-Length: 3000\r\n\r\n")
        .sendPattern(1000)
        .waitForClose();
    const P<TestSink> sink = new TestSink;
    zet::CSignal begun;
    sink->onWrite = [&] { begun.set(); };
    request->setReceiveDataSink(sink);
    const auto error = cancelWhen([&] { waitFor(begun); });
    expectCancelled(error);
    EXPECT_EQ(error->getMessage(), String(cancelledMessage) + " (response code: http 200)");
    EXPECT_EQ(error->getResponseCode(), 200);
    EXPECT_EQ(error->getHTTPStatusLine(), "HTTP/1.1 200 OK");
}

TEST_P(CancelStatesTest, InTheMiddleOfAnUpload) {
    peer.onConnection()
        .clientMayLeave()
        .expectHead()
        .reply("HTTP/1.1 100 Continue\r\n\r\n")
        .pause("never")
        .readUntilClose();
    zet::CSignal begun;
    const P<TestSource> source = new TestSource;
    int64 sent = 0;
    source->onRead = [&](void* buffer, int length) {
        std::memset(buffer, 'x', static_cast<std::size_t>(length));
        sent += length;
        // Under Wine, sockets without a reader take not much more.
        if (sent > 100000) {
            begun.set();
        }
        return length;
    };
    request->setHTTPMethod("PUT");
    request->setSendDataSource(source);
    request->setSendDataSize(int64{1} << 40);
    expectCancelled(cancelWhen([&] { waitFor(begun); }));
}

TEST_P(CancelStatesTest, WithoutASocketToWaitFor) {
    constexpr std::uint64_t size = 64 * 1024 * 1024;
    peer.onConnection()
        .clientMayLeave()
        .expectRequest()
        .reply("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n")
        .sendPattern(size)
        .waitForClose();
    // libcurl reads nothing until the average is that low, after hours.
    request->setOptionInt64(CURLOPT_MAX_RECV_SPEED_LARGE, 1);
    request->setReceiveDataSink(nullptr);
    request->setTransferProgress(progress);
    expectCancelled(cancelWhen([&] { progress->waitUntilItWaits(); }));
    EXPECT_LT(request->getDownloadedBytes(), size);
}

TEST_P(CancelStatesTest, FromWithinASink) {
    peer.onConnection()
        .clientMayLeave()
        .expectRequest()
        .reply("HTTP/1.1 200 OK\r\nContent-Length: 3000\r\n\r\n")
        .sendPattern(1000)
        .waitForClose();
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [this] { request->cancel(); };
    request->setReceiveDataSink(sink);
    expectCancelled(thrownBy<CCURLError>([&] { drive(GetParam(), *request); }));
}

TEST_P(CancelStatesTest, FromWithinOnProgress) {
    peer.setDefaultReply(okReply);
    progress->then = [this](const ProgressNumbers&) { request->cancel(); };
    request->setTransferProgress(progress);
    expectCancelled(thrownBy<CCURLError>([&] { drive(GetParam(), *request); }));
    EXPECT_THAT(progress->calls, SizeIs(1));
}

TEST_P(CancelStatesTest, TheRequestIsUsedAgainOnAnotherConnection) {
    peer.onConnection().clientMayLeave().expectRequest().waitForClose();
    expectCancelled(cancelWhen([&] { EXPECT_TRUE(peer.waitForRequests(1)); }));
    peer.onConnection().expectRequest().reply(okReply);
    drive(GetParam(), *request);
    EXPECT_EQ(bodyOf(*request), "ok");
    EXPECT_EQ(peer.connectionCount(), 2u);
}

TEST_P(CancelStatesTest, TheDoneListenerIsToldTheError) {
    peer.onConnection().clientMayLeave().expectRequest().waitForClose();
    const P<TestListener> listener = new TestListener;
    request->setDoneListener(listener);
    expectCancelled(cancelWhen([&] { EXPECT_TRUE(peer.waitForRequests(1)); }));
    EXPECT_EQ(listener->count, 1);
    ASSERT_TRUE(listener->errorSeen);
    EXPECT_EQ(listener->errorSeen->getMessage(), cancelledMessage);
}

TEST_P(CancelStatesTest, WhatAProgressObjectThrowsIsTheResult) {
    peer.setDefaultReply(okReply);
    progress->then = [](const ProgressNumbers&) { throw OwnError("enough"); };
    request->setTransferProgress(progress);
    const auto error = thrownBy<OwnError>([&] { drive(GetParam(), *request); });
    EXPECT_EQ(messageOf(error), "enough");
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getDomain(), "own");
    EXPECT_THAT(progress->calls, SizeIs(1));
}

TEST_P(CancelStatesTest, ACancelOfTheTransferBeforeIsForgotten) {
    peer.setDefaultReply(okReply);
    for (int i = 0; i < 3; ++i) {
        request->cancel();
        drive(GetParam(), *request);
        EXPECT_EQ(bodyOf(*request), "ok");
    }
}

// ---- a manager -------------------------------------------------------------------------------------------

/// Drives a manager on its own thread.
class DrivenManager {
public:
    explicit DrivenManager(const TArray<P<CNetRequest>>& requests) : m_requests(requests) {
        for (const P<CNetRequest>& request : m_requests) {
            m_manager.addRequest(request);
        }
    }
    ~DrivenManager() {
        m_goesOn = false;
        for (const P<CNetRequest>& request : m_requests) {
            request->cancel();
        }
        m_thread.join();
    }
    DrivenManager(const DrivenManager&) = delete;
    DrivenManager& operator=(const DrivenManager&) = delete;

    void start() {
        m_thread = std::thread([this] {
            while (m_goesOn || m_manager.getRequestCount() > 0) {
                {
                    const std::lock_guard lock(m_mutex);
                    ++m_passes;
                    m_changed.notify_all();
                }
                m_manager.waitForEvents(-1);
                m_manager.handleEvents(nullptr);
            }
        });
    }
    /// Waits for the beginning of the next wait.
    void waitForPass() {
        std::unique_lock lock(m_mutex);
        const int target = m_passes + 1;
        EXPECT_TRUE(m_changed.wait_for(lock, milliseconds(longTime), [&] { return m_passes >= target; }));
    }

private:
    const TArray<P<CNetRequest>> m_requests;
    CAsyncNetRequestManager m_manager;
    std::thread m_thread;
    std::atomic<bool> m_goesOn = true;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_passes = 0;
};

/// The time until ten of these waiting transfers end, cancelled one after the other. Without a wake-up the
/// manager waits for about a second.
Clock::duration timeOfTenCancels(int count, const std::function<P<CNetRequest>()>& makeRequest,
                                 bool isEnabledLate = false) {
    TArray<P<CNetRequest>> requests;
    for (int i = 0; i < count; ++i) {
        requests.push_back(makeRequest());
        requests.back()->setCancellable(!isEnabledLate);
    }
    DrivenManager manager(requests);
    for (const P<CNetRequest>& request : requests) {
        request->setCancellable(true);
    }
    manager.start();
    // They begin.
    for (int i = 0; i < 3; ++i) {
        manager.waitForPass();
    }
    Clock::duration time{};
    for (int i = 0; i < 10; ++i) {
        // The manager has just begun its next wait, because the last one has ended.
        CNetRequest& request = *requests[static_cast<std::size_t>(i * count / 10)];
        const auto begin = Clock::now();
        request.cancel();
        EXPECT_TRUE(request.waitAsyncDone(longTime));
        time += Clock::now() - begin;
        expectCancelled(resultOf(request));
    }
    return time;
}

class CancelUnderAManagerTest : public testing::Test {
protected:
    void SetUp() override { peer.setDefaultReply(okReply); }
    void TearDown() override {
        EXPECT_TRUE(peer.waitUntilIdle());
        EXPECT_THAT(peer.failures(), IsEmpty());
    }

    P<CNetRequest> makeSilent() const { return makeCancellable(silent.url()); }

    const SilentServer silent;
    const Deadline deadline{"a cancelled transfer ends, and its connection is not used again"};
    ScriptedPeer peer;
    LogCapture log;
};

TEST_F(CancelUnderAManagerTest, ItsWaitIsEnded) {
    expectOnceLessThan(milliseconds(3000),
                       [this] { return timeOfTenCancels(20, [this] { return makeSilent(); }); });
}

TEST_F(CancelUnderAManagerTest, ItsWaitIsEndedWhereVeryManyWait) {
    // More than are safe with select().
    expectOnceLessThan(milliseconds(3000),
                       [this] { return timeOfTenCancels(veryMany, [this] { return makeSilent(); }); });
}

TEST_F(CancelUnderAManagerTest, ItsWaitIsEndedWhereCancellingWasEnabledBehindAdding) {
    expectOnceLessThan(milliseconds(3000), [this] {
        return timeOfTenCancels(
            20, [this] { return makeSilent(); }, true);
    });
}

TEST_F(CancelUnderAManagerTest, ACancelBehindAddingCounts) {
    TestManager manager;
    const P<CNetRequest> request = makeSilent();
    manager.addRequest(request);
    request->cancel();
    EXPECT_EQ(driveToEnd(manager), 1);
    expectCancelled(resultOf(*request));
}

TEST_F(CancelUnderAManagerTest, OthersGoOn) {
    constexpr int count = 20;
    peer.setDefaultReply(ScriptedPeer::DefaultReply());
    for (int i = 0; i < count; ++i) {
        peer.onConnection().clientMayLeave().expectRequest().pause("answer").reply(okReply).waitForClose();
    }
    TestManager manager;
    TArray<P<CNetRequest>> requests;
    for (int i = 0; i < count; ++i) {
        requests.push_back(makeCancellable(peer.url()));
        manager.addRequest(requests.back());
    }
    ASSERT_TRUE(driveUntil(manager, [this] { return peer.requests().size() == count; }));
    for (int i = 0; i < count; i += 2) {
        requests[static_cast<std::size_t>(i)]->cancel();
    }
    ASSERT_TRUE(driveUntil(manager, [&] { return manager.getRequestCount() == count / 2; }));
    peer.release("answer", count);
    driveToEnd(manager);
    for (int i = 0; i < count; ++i) {
        CNetRequest& request = *requests[static_cast<std::size_t>(i)];
        ASSERT_TRUE(request.isAsyncDone());
        if (i % 2 == 0) {
            expectCancelled(resultOf(request));
        } else {
            request.checkAsyncResult();
            EXPECT_EQ(bodyOf(request), "ok");
        }
    }
}

TEST_F(CancelUnderAManagerTest, ARemovedRequestIsNotCancelled) {
    TestManager manager;
    const P<CNetRequest> request = makeSilent();
    manager.addRequest(request);
    request->cancel();
    EXPECT_TRUE(manager.CAsyncNetRequestManager::removeRequest(request.get()));
    EXPECT_FALSE(request->isAsyncDone());
    request->setURL(peer.url().c_str());
    manager.addRequest(request);
    driveToEnd(manager);
    request->checkAsyncResult();
    EXPECT_EQ(bodyOf(*request), "ok");
}

TEST_F(CancelUnderAManagerTest, AListenerMayBeginTheNextTransfer) {
    TestManager manager;
    const P<CNetRequest> request = makeSilent();
    const P<TestListener> listener = new TestListener;
    listener->then = [&] {
        request->setURL(peer.url().c_str());
        manager.addRequest(request);
    };
    request->setDoneListener(listener);
    manager.addRequest(request);
    request->cancel();
    EXPECT_EQ(driveToEnd(manager), 2);
    EXPECT_EQ(listener->count, 2);
    request->checkAsyncResult();
    EXPECT_EQ(bodyOf(*request), "ok");
}

// Windows has no such list. With Wine there is one, of the descriptors that Wine itself has open.
#ifndef _WIN32
std::ptrdiff_t countDescriptors() {
    const std::filesystem::directory_iterator begin("/proc/self/fd");
    return std::distance(begin, std::filesystem::directory_iterator());
}

TEST_F(CancelUnderAManagerTest, NothingOfAManagerIsKeptByItsRequests) {
    if (!std::filesystem::exists("/proc/self/fd")) {
        GTEST_SKIP() << "no list of the descriptors";
    }
    const P<CNetRequest> ended = makeSilent();
    const P<CNetRequest> removed = makeSilent();
    const P<CNetRequest> left = makeSilent();
    const P<CNetRequest> switchedOff = makeSilent();
    const auto before = countDescriptors();
    {
        TestManager manager;
        for (const P<CNetRequest>& request : {ended, removed, left, switchedOff}) {
            manager.addRequest(request);
        }
        ended->cancel();
        ASSERT_TRUE(driveUntil(manager, [&] { return ended->isAsyncDone(); }));
        EXPECT_TRUE(manager.CAsyncNetRequestManager::removeRequest(removed.get()));
        switchedOff->setCancellable(false);
        EXPECT_GT(countDescriptors(), before);
    }
    EXPECT_EQ(countDescriptors(), before);
    removed->cancel();
}
#endif

// ---- a worker --------------------------------------------------------------------------------------------

class CancelUnderAWorkerTest : public AsyncNetRequestThreadTest {
protected:
    P<CNetRequest> makeSilent() const { return makeCancellable(silent.url()); }
    P<CNetRequest> makeAnswered() {
        peer.setDefaultReply(okReply);
        return makeCancellable(peer.url());
    }
    void expectSuccess(const P<CNetRequest>& request) {
        EXPECT_TRUE(request->waitAsyncDone(longTime));
        request->checkAsyncResult();
        EXPECT_EQ(bodyOf(*request), "ok");
    }

    const SilentServer silent;
};

TEST_F(CancelUnderAWorkerTest, ItsWaitIsEnded) {
    thread->start();
    // One pass each would be 2 s.
    expectOnceLessThan(milliseconds(1000), [this] {
        Clock::duration time{};
        for (int i = 0; i < 20; ++i) {
            const P<CNetRequest> request = makeSilent();
            thread->addRequest(request);
            gate->waitForPasses(4);
            const auto begin = Clock::now();
            request->cancel();
            EXPECT_TRUE(request->waitAsyncDone(longTime));
            time += Clock::now() - begin;
            expectCancelled(resultOf(*request));
        }
        return time;
    });
}

TEST_F(CancelUnderAWorkerTest, OneOfVeryManyEnds) {
    thread->start();
    TArray<P<CNetRequest>> requests;
    for (int i = 0; i < veryMany; ++i) {
        requests.push_back(makeSilent());
        thread->addRequest(requests.back());
    }
    gate->waitForPasses(5);
    const auto begin = Clock::now();
    for (std::size_t i = 0; i < veryMany; i += veryMany / 10) {
        requests[i]->cancel();
        expectCancelled(resultOf(*requests[i]));
    }
    RecordProperty("milliseconds", std::to_string((Clock::now() - begin) / milliseconds(1)));
    for (std::size_t i = 0; i < veryMany; ++i) {
        EXPECT_EQ(requests[i]->isAsyncDone(), i % (veryMany / 10) == 0);
    }
}

TEST_F(CancelUnderAWorkerTest, ACancelBehindTheHandOverCounts) {
    thread->start();
    gate->hold();
    const P<CNetRequest> request = makeSilent();
    thread->addRequest(request);
    request->cancel();
    EXPECT_FALSE(request->isAsyncDone());
    gate->letGo();
    expectCancelled(resultOf(*request));
}

TEST_F(CancelUnderAWorkerTest, ACancelBeforeTheStartCounts) {
    const P<CNetRequest> request = makeSilent();
    thread->addRequest(request);
    request->cancel();
    thread->start();
    expectCancelled(resultOf(*request));
}

TEST_F(CancelUnderAWorkerTest, ACancelBeforeTheHandOverIsForgotten) {
    thread->start();
    gate->hold();
    const P<CNetRequest> request = makeAnswered();
    request->cancel();
    thread->addRequest(request);
    gate->letGo();
    expectSuccess(request);
}

TEST_F(CancelUnderAWorkerTest, WhatIsRemovedBeforeItIsTakenOverBeginsAnew) {
    thread->start();
    gate->hold();
    const P<CNetRequest> request = makeAnswered();
    thread->addRequest(request);
    request->cancel();
    gate->callOnWorker([&] { EXPECT_FALSE(thread->removeRequest(request)); });
    gate->letGo();
    gate->waitForPasses(3);
    EXPECT_FALSE(request->isAsyncDone());
    EXPECT_THAT(peer.requests(), IsEmpty());
    request->cancel();
    thread->addRequest(request);
    expectSuccess(request);
    request->cancel();
    request->perform();
    EXPECT_EQ(bodyOf(*request), "ok");
}

TEST_F(CancelUnderAWorkerTest, WhatADeadWorkerHasNotTakenOverBeginsAnewElsewhere) {
    thread->start();
    thread->addRequest(makePoison());
    waitForEnd();
    const P<CNetRequest> request = makeAnswered();
    thread->addRequest(request);
    request->cancel();
    EXPECT_FALSE(request->waitAsyncDone(0));
    TestManager manager;
    manager.addRequest(request);
    driveToEnd(manager);
    expectSuccess(request);

    thread->addRequest(request);
    request->cancel();
    request->perform();
    EXPECT_EQ(bodyOf(*request), "ok");

    thread->addRequest(request);
    request->cancel();
    const P<CAsyncNetRequestThread> other = makeWorker();
    other->start();
    other->addRequest(request);
    expectSuccess(request);
}

TEST_F(CancelUnderAWorkerTest, ACancelBehindItsDeathChangesNothing) {
    thread->start();
    const P<CNetRequest> request = makeSilent();
    thread->addRequest(request);
    gate->waitForPasses(3);
    thread->addRequest(makePoison());
    waitForEnd();
    request->cancel();
    EXPECT_FALSE(request->isAsyncDone());
    peer.setDefaultReply(okReply);
    request->setURL(peer.url().c_str());
    request->perform();
    EXPECT_EQ(bodyOf(*request), "ok");
}

TEST_F(CancelUnderAWorkerTest, AFailedHandOverLeavesARequestThatWorks) {
    const P<CNetRequest> request = makePoison();
    request->setCancellable(true);
    thread->addRequest(request);
    request->cancel();
    thread->start();
    waitForEnd();
    EXPECT_EQ(messageOf(*thread->getError()), "cannot begin again");
    request->setReceiveDataSink(request->getDefaultReceiveSink());
    peer.setDefaultReply(okReply);
    request->cancel();
    TestManager manager;
    manager.addRequest(request);
    driveToEnd(manager);
    expectSuccess(request);
}

TEST_F(CancelUnderAWorkerTest, AListenerMayBeginTheNextTransfer) {
    peer.setDefaultReply(okReply);
    thread->start();
    const P<CNetRequest> request = makeSilent();
    const P<TestListener> listener = new TestListener;
    zet::CSignal again;
    listener->then = [&] {
        request->setURL(peer.url().c_str());
        thread->addRequest(request);
        again.set();
    };
    request->setDoneListener(listener);
    thread->addRequest(request);
    gate->waitForPasses(2);
    request->cancel();
    waitFor(again);
    expectSuccess(request);
    gate->waitForPasses(2);
    EXPECT_EQ(listener->count, 2);
}

TEST_F(CancelUnderAWorkerTest, AListenerMayCancelTheNextTransfer) {
    thread->start();
    const P<CNetRequest> request = makeSilent();
    const P<TestListener> listener = new TestListener;
    zet::CSignal again;
    listener->then = [&] {
        request->cancel();
        thread->addRequest(request);
        request->cancel();
        again.set();
    };
    request->setDoneListener(listener);
    thread->addRequest(request);
    request->cancel();
    waitFor(again);
    expectCancelled(resultOf(*request));
    gate->waitForPasses(2);
    EXPECT_EQ(listener->count, 2);
}

TEST_F(CancelUnderAWorkerTest, HandingOverARunningRequestEndsTheWorkerAndNothingElse) {
    thread->start();
    const P<TestProgress> progress = new TestProgress;
    const P<CNetRequest> request = makeSilent();
    request->setTransferProgress(progress);
    thread->addRequest(request);
    gate->waitForPasses(3);
    // Otherwise the cancel may end the transfer before it is handed over again, which is then not an error.
    gate->hold();
    thread->addRequest(request);
    gate->letGo();
    waitForEnd();
    const P<CError> error = thread->getError();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getDomain(), "curlm");
    EXPECT_EQ(error->getCode(), CURLM_ADDED_ALREADY);
    peer.setDefaultReply(okReply);
    request->setURL(peer.url().c_str());
    request->perform();
    EXPECT_EQ(bodyOf(*request), "ok");
}

TEST_F(CancelUnderAWorkerTest, ManyThreadsCancelWhatComesAndGoes) {
    constexpr int clients = 4;
    constexpr int rounds = 100;
    peer.setDefaultReply(okReply);
    peer.setRecordLimit(0);
    thread->start();
    std::atomic<int> succeeded = 0;
    std::atomic<int> cancelled = 0;
    std::vector<std::thread> owners;
    for (int client = 0; client < clients; ++client) {
        owners.emplace_back([&, client] {
            const P<CNetRequest> request = makeCancellable(peer.url());
            request->setTransferProgress(new TestProgress);
            for (int round = 0; round < rounds; ++round) {
                const bool ends = (client + round) % 2 == 0;
                request->setURL(String::fromUTF8(ends ? peer.url() : silent.url()));
                std::atomic<bool> isHandedOver = false;
                std::thread canceller([&] {
                    // Before, during or after the transfer, as it comes.
                    request->cancel();
                    while (!isHandedOver) {
                        std::this_thread::yield();
                    }
                    request->cancel();
                });
                thread->addRequest(request);
                isHandedOver = true;
                EXPECT_TRUE(request->waitAsyncDone(longTime));
                canceller.join();
                try {
                    request->checkAsyncResult();
                    EXPECT_TRUE(ends);
                    EXPECT_EQ(bodyOf(*request), "ok");
                    ++succeeded;
                } catch (const CCURLError& error) {
                    EXPECT_THAT(error.getMessage().toUTF8(), StartsWith(cancelledMessage));
                    ++cancelled;
                }
            }
        });
    }
    for (std::thread& owner : owners) {
        owner.join();
    }
    EXPECT_EQ(succeeded + cancelled, clients * rounds);
    EXPECT_GE(cancelled, clients * rounds / 2);
    EXPECT_TRUE(thread->isAlive());
    thread->removeAllRequests();
}

// ---- tokens ----------------------------------------------------------------------------------------------

TEST_P(CancelStatesTest, ByATokenThatLasts) {
    const P<vexil::CCancelToken> token = new vexil::CCancelToken;
    request->setCancellable(false);
    request->setCancelToken(token);
    peer.onConnection().clientMayLeave().expectRequest().waitForClose();
    std::thread canceller([&] {
        EXPECT_TRUE(peer.waitForRequests(1));
        token->cancel();
    });
    expectCancelled(thrownBy<CCURLError>([&] { drive(GetParam(), *request); }));
    canceller.join();
    peer.setDefaultReply([](const RecordedRequest&) -> std::string {
        ADD_FAILURE() << "a request was sent";
        return {};
    });
    expectCancelled(thrownBy<CCURLError>([&] { drive(GetParam(), *request); }));
    EXPECT_EQ(peer.requests().size(), 1u);
}

TEST(CancelTokenTest, EndsAllRequestsThatHaveItAndNoOthers) {
    ScriptedPeer peer;
    const P<vexil::CCancelToken> token = new vexil::CCancelToken;
    TestManager manager;
    std::vector<P<CNetRequest>> requests;
    for (int i = 0; i < 3; ++i) {
        peer.onConnection().clientMayLeave().expectRequest().waitForClose();
        requests.push_back(makeCancellable(peer.url()));
        requests.back()->setCancelToken(i == 0 ? nullptr : token.get());
        manager.addRequest(requests.back());
    }
    std::thread canceller([&] {
        EXPECT_TRUE(peer.waitForRequests(3));
        token->cancel();
    });
    TArray<P<CNetRequest>> finished;
    // No thread wakes it: it must check by itself within a wait of this length.
    while (finished.size() < 2) {
        manager.waitForEvents(60000);
        manager.handleEvents(&finished);
    }
    canceller.join();
    EXPECT_THAT(finished, testing::UnorderedElementsAre(requests[1], requests[2]));
    EXPECT_EQ(manager.getRequestCount(), 1);
    expectCancelled(resultOf(*requests[1]));
    manager.removeAllRequests();
}

}  // namespace
