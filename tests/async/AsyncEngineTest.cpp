// The engine for many transfers: transfers that wait cost nothing, and what the system or libcurl forgets is
// found again.
#include "tests/async/AsyncNetRequestThreadTestSupport.h"
#include "tests/async/AsyncTestSupport.h"
#include "tests/async/SilentServer.h"
#include "vexil/async/TransferPolicy.h"
#include "vexil/async/TransferQueue.h"
#include "vexil/net/RateLimit.h"

#include <cerrno>
#include <dlfcn.h>
#include <functional>
#include <optional>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/socket.h>

namespace {

/// Replaces the system's function for sockets on this thread: not for those of the peer, nor for what wakes
/// its thread. An empty one leaves it.
thread_local std::function<std::optional<int>(int operation)> g_onControl;

/// The times of the waits on this thread, in milliseconds, and the numbers of events that they have found.
thread_local std::vector<int> g_waits;
thread_local std::vector<int> g_found;

/// How often any thread has begun to wait for more than an hour, but not for ever as the threads of servers.
std::atomic<int> g_longWaits = 0;
std::atomic<int> g_longEpollWaits = 0;  // those with epoll

bool isSocket(int descriptor) {
    int type = 0;
    socklen_t length = sizeof type;
    return getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &length) == 0;
}

}  // namespace

extern "C" int epoll_ctl(int descriptor, int operation, int socket, epoll_event* event) noexcept {
    const auto original = reinterpret_cast<decltype(&epoll_ctl)>(dlsym(RTLD_NEXT, "epoll_ctl"));
    const std::optional<int> result = g_onControl && isSocket(socket) ? g_onControl(operation) : std::nullopt;
    return result ? *result : original(descriptor, operation, socket, event);
}

extern "C" int epoll_wait(int descriptor, epoll_event* events, int count, int milliseconds) {
    const auto original = reinterpret_cast<decltype(&epoll_wait)>(dlsym(RTLD_NEXT, "epoll_wait"));
    g_waits.push_back(milliseconds);
    g_longWaits += milliseconds > 3600 * 1000 ? 1 : 0;
    g_longEpollWaits += milliseconds > 3600 * 1000 ? 1 : 0;
    g_found.push_back(original(descriptor, events, count, milliseconds));
    return g_found.back();
}

extern "C" int select(int count, fd_set* read, fd_set* write, fd_set* error, timeval* time) {
    const auto original = reinterpret_cast<decltype(&select)>(dlsym(RTLD_NEXT, "select"));
    g_longWaits += time && time->tv_sec > 3600 ? 1 : 0;
    return original(count, read, write, error, time);
}

namespace {

using namespace vexil_test;
using testing::IsEmpty;
using vexil::AsyncEngine;
using vexil::CInvalidArgError;
using vexil::TArray;

class AsyncEngineTest : public testing::Test {
protected:
    AsyncEngineTest() { manager.setEngine(AsyncEngine::Sockets); }
    ~AsyncEngineTest() override {
        g_onControl = nullptr;
        EXPECT_TRUE(peer.waitUntilIdle());
        EXPECT_THAT(peer.failures(), IsEmpty());
    }

    P<OpenRequest> addTo(vexil::CAsyncNetRequestManager& someManager, const std::string& path = "/") {
        P<OpenRequest> request = makeRequest(peer.url(path));
        someManager.addRequest(request);
        return request;
    }

    /// Runs this many requests to their ends, which all wait at the server at the same time.
    void run(int count) {
        TArray<P<OpenRequest>> requests;
        for (int i = 0; i < count; ++i) {
            peer.onConnection().expectRequest().pause().reply(
                answerOf("HTTP/1.1 200 OK", "body " + std::to_string(i)));
            requests.push_back(addTo(manager));
        }
        const auto total = static_cast<std::size_t>(count);
        EXPECT_TRUE(
            driveUntil(manager, [&] { return peer.waitUntilPaused(total, std::chrono::milliseconds(0)); }));
        peer.release("", total);
        EXPECT_EQ(driveToEnd(manager), count);
        for (const P<OpenRequest>& request : requests) {
            request->checkAsyncResult();
            EXPECT_EQ(bodyOf(*request).substr(0, 5), "body ");
        }
    }

    ScriptedPeer peer;
    vexil::CAsyncNetRequestManager manager;
};

// ---- the setting

TEST_F(AsyncEngineTest, IsTheAutomaticOneByDefault) {
    vexil::CAsyncNetRequestManager other;
    EXPECT_EQ(other.getEngine(), AsyncEngine::Automatic);
    other.setEngine(AsyncEngine::Automatic);
    EXPECT_EQ(other.getEngine(), AsyncEngine::Automatic);
    other.setEngine(AsyncEngine::Sockets);
    EXPECT_EQ(other.getEngine(), AsyncEngine::Sockets);
    other.setEngine(AsyncEngine::Sockets);
    EXPECT_EQ(other.getEngine(), AsyncEngine::Sockets);
}

TEST_F(AsyncEngineTest, IsNotChangedWhileRequestsRun) {
    const SilentServer silent;
    manager.addRequest(makeRequest(silent.url()));
    for (const AsyncEngine engine : {AsyncEngine::Automatic, AsyncEngine::Sockets}) {
        const auto error = thrownBy<CInvalidArgError>([&] { manager.setEngine(engine); });
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getPlace(), "CAsyncNetRequestManager::setEngine");
    }
    EXPECT_EQ(manager.getEngine(), AsyncEngine::Sockets);
    manager.removeAllRequests();
    manager.setEngine(AsyncEngine::Automatic);
}

TEST_F(AsyncEngineTest, IsOneOfTheEnumeration) {
    const auto unknown = static_cast<AsyncEngine>(2);
    EXPECT_TRUE(thrownBy<CInvalidArgError>([&] { manager.setEngine(unknown); }));
    const P<CAsyncNetRequestThread> worker = new CAsyncNetRequestThread(nullptr);
    EXPECT_TRUE(thrownBy<CInvalidArgError>([&] { worker->setEngine(unknown); }));
}

TEST_F(AsyncEngineTest, IsSetBeforeTheWorkerStarts) {
    const P<CAsyncNetRequestThread> worker = new CAsyncNetRequestThread(nullptr);
    worker->setEngine(AsyncEngine::Sockets);
    worker->start();
    EXPECT_TRUE(thrownBy<CInvalidArgError>([&] { worker->setEngine(AsyncEngine::Automatic); }));
    worker->stop(true);
}

TEST_F(AsyncEngineTest, ChangesBetweenTransfersOnAKeptConnection) {
    peer.setDefaultReply(answerOf("HTTP/1.1 200 OK", "hello"));
    for (const AsyncEngine engine : {AsyncEngine::Sockets, AsyncEngine::Automatic, AsyncEngine::Sockets}) {
        manager.setEngine(engine);
        const P<OpenRequest> request = addTo(manager);
        driveToEnd(manager);
        request->checkAsyncResult();
        EXPECT_EQ(bodyOf(*request), "hello");
    }
    EXPECT_EQ(peer.connectionCount(), 1u);
}

TEST_F(AsyncEngineTest, AKeptConnectionEndsNoWait) {
    peer.onConnection()
        .expectRequest()
        .reply(answerOf("HTTP/1.1 200 OK", "hello"))
        .pause()
        .reply("x")
        .close();
    addTo(manager);
    driveToEnd(manager);
    peer.release();
    ASSERT_TRUE(peer.waitUntilIdle());
    g_found.clear();
    for (int i = 0; i < 3; ++i) {
        manager.waitForEvents(20);
        manager.handleEvents(nullptr);
    }
    EXPECT_THAT(g_found, testing::Each(0)) << "nobody waits for its end";
}

// ---- transfers that wait

/// libcurl calls it each time it looks at a transfer.
int countLook(void* count, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept {
    ++*static_cast<int*>(count);
    return 0;
}

TEST_F(AsyncEngineTest, ATransferThatWaitsIsNotLookedAt) {
    constexpr int active = 200;
    const SilentServer silent;
    int looks = 0;
    const P<OpenRequest> waiting = makeRequest(silent.url());
    manager.addRequest(waiting);
    curl_easy_setopt(waiting->getHandle(), CURLOPT_XFERINFOFUNCTION, &countLook);
    curl_easy_setopt(waiting->getHandle(), CURLOPT_XFERINFODATA, &looks);
    curl_easy_setopt(waiting->getHandle(), CURLOPT_NOPROGRESS, 0L);
    peer.setDefaultReply(answerOf("HTTP/1.1 200 OK", "hello"));
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < active; ++i) {
        const P<OpenRequest> request = addTo(manager);
        ASSERT_TRUE(driveUntil(manager, [&] { return request->isAsyncDone(); }));
        request->checkAsyncResult();
    }
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start).count();
    EXPECT_GE(looks, 1);
    // Its own steps, and two a second: the engine's round and libcurl's check of its speed.
    EXPECT_LE(looks, 20 + 4 * (seconds + 1)) << "after " << active << " other transfers";
    manager.removeRequest(waiting);
}

/// What the manager does while transfers hold: no look at others that wait.
class HeldTransfersTest : public AsyncEngineTest {
protected:
    HeldTransfersTest() {
        peer.setDefaultReply(answerOf("HTTP/1.1 200 OK", ScriptedPeer::pattern(0, 50'000)));
        manager.addRequest(waiting);
        curl_easy_setopt(waiting->getHandle(), CURLOPT_XFERINFOFUNCTION, &countLook);
        curl_easy_setopt(waiting->getHandle(), CURLOPT_XFERINFODATA, &looks);
        curl_easy_setopt(waiting->getHandle(), CURLOPT_NOPROGRESS, 0L);
    }
    /// Without those of its own steps at the beginning.
    int getLooksInTwoSeconds() {
        driveFor(std::chrono::seconds(1));
        looks = 0;
        driveFor(std::chrono::seconds(2));
        return looks;
    }
    void driveFor(std::chrono::milliseconds time) {
        const auto end = std::chrono::steady_clock::now() + time;
        driveUntil(manager, [&] { return std::chrono::steady_clock::now() > end; });
    }

    const SilentServer silent;
    const P<OpenRequest> waiting = makeRequest(silent.url());
    int looks = 0;
    // A round of the engine each second, and libcurl's check of the speed.
    static constexpr int mostLooks = 8;
};

TEST_F(HeldTransfersTest, ARateLimitNeedsNoLookAtOthers) {
    const P<vexil::CRateLimit> limit = new vexil::CRateLimit;
    limit->setDownloadRate(1);
    for (int i = 0; i < 3; ++i) {
        const P<OpenRequest> request = makeRequest(peer.url("/"));
        vexil::setRateLimit(*request, limit);
        manager.addRequest(request);
    }
    EXPECT_LE(getLooksInTwoSeconds(), mostLooks);
    limit->setDownloadRate(0);
    EXPECT_TRUE(driveUntil(manager, [&] { return manager.getRequestCount() == 1; }));
}

TEST_F(HeldTransfersTest, APauseOfAllNeedsNoLook) {
    peer.setDefaultReply(answerOf("HTTP/1.1 200 OK", ScriptedPeer::pattern(0, 5'000'000)));
    for (int i = 0; i < 3; ++i) {
        manager.addRequest(makeRequest(peer.url("/")));
    }
    ASSERT_TRUE(driveUntil(manager, [&] { return peer.requests().size() == 3; }));
    manager.setPaused(true);
    EXPECT_LE(getLooksInTwoSeconds(), mostLooks);
    manager.setPaused(false);
    EXPECT_TRUE(driveUntil(manager, [&] { return manager.getRequestCount() == 1; }));
}

TEST_F(AsyncEngineTest, ATransferThatWaitsIsCancelledAtOnce) {
    const SilentServer silent;
    manager.addRequest(makeRequest(silent.url()));
    double milliseconds = 0;
    for (int i = 0; i < 4; ++i) {
        const P<OpenRequest> request = makeRequest(silent.url());
        request->setCancellable(true);
        request->setLowSpeedLimit(0, zet::CTimeSpan());
        manager.addRequest(request);
        // libcurl has a timer of 200 ms for a second attempt to connect.
        const auto quiet = std::chrono::steady_clock::now() + std::chrono::milliseconds(300);
        driveUntil(manager, [&] { return std::chrono::steady_clock::now() > quiet; });
        std::thread other([&] { request->cancel(); });
        milliseconds += millisecondsOf([&] { driveUntil(manager, [&] { return request->isAsyncDone(); }); });
        other.join();
        const auto error = thrownBy<CCURLError>([&] { request->checkAsyncResult(); });
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getCode(), CURLE_ABORTED_BY_CALLBACK);
    }
    // All transfers are looked at once a second anyway, which would take about 0.7 s for each.
    EXPECT_LT(milliseconds, 1400);
    g_found.clear();
    manager.waitForEvents(20);
    EXPECT_THAT(g_found, testing::ElementsAre(0)) << "woken once";
    manager.removeAllRequests();
}

TEST_F(AsyncEngineTest, RunsManyTransfersAtOnce) {
    run(450);
}

TEST_F(AsyncEngineTest, LooksForEventsAlsoWithoutAWait) {
    const SilentServer silent;
    manager.addRequest(makeRequest(silent.url()));
    g_waits.clear();
    manager.handleEvents(nullptr);
    EXPECT_THAT(g_waits, testing::ElementsAre(0));
    manager.waitForEvents(1);
    g_waits.clear();
    manager.handleEvents(nullptr);
    EXPECT_THAT(g_waits, IsEmpty()) << "it has them from the wait";
    manager.removeAllRequests();
}

TEST_F(AsyncEngineTest, WaitsForASecondAtMost) {
    const SilentServer silent;
    const P<OpenRequest> request = makeRequest(silent.url());
    request->setLowSpeedLimit(0, zet::CTimeSpan());
    request->setConnectTimeout(zet::CTimeSpan());
    manager.addRequest(request);
    const auto quiet = std::chrono::steady_clock::now() + std::chrono::milliseconds(300);
    driveUntil(manager, [&] { return std::chrono::steady_clock::now() > quiet; });
    for (const auto& [asked, waited] : {std::pair(-1, 1000), {5000, 1000}, {30, 30}, {0, 0}}) {
        g_waits.clear();
        manager.waitForEvents(asked);
        EXPECT_THAT(g_waits, testing::ElementsAre(waited)) << asked;
        manager.handleEvents(nullptr);
    }
    manager.removeAllRequests();
    g_waits.clear();
    manager.waitForEvents(-1);
    EXPECT_THAT(g_waits, testing::ElementsAre(100)) << "without a socket";
}

// ---- an idle worker

class IdleWorkerTest : public testing::TestWithParam<AsyncEngine> {
protected:
    IdleWorkerTest() {
        peer.setDefaultReply(okReply);
        g_longWaits = 0;
        worker->setEngine(GetParam());
        worker->start();
    }

    P<OpenRequest> make() const { return makeRequest(peer.url()); }
    /// The worker has waited this often without a limit.
    static void waitForLongWaits(int count) {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(longTime);
        while (g_longWaits < count) {
            ASSERT_LT(std::chrono::steady_clock::now(), limit);
            zet::threadYield(true);
        }
        EXPECT_EQ(g_longWaits, count);
    }

    ScriptedPeer peer;
    const P<CAsyncNetRequestThread> worker = new CAsyncNetRequestThread(nullptr);
};

INSTANTIATE_TEST_SUITE_P(Engines, IdleWorkerTest,
                         testing::Values(AsyncEngine::Automatic, AsyncEngine::Sockets),
                         [](const auto& param) {
                             return param.param == AsyncEngine::Automatic ? "Automatic" : "Sockets";
                         });

TEST_P(IdleWorkerTest, WaitsWithoutALimitUntilItIsWoken) {
    waitForLongWaits(1);
    const P<OpenRequest> request = make();
    worker->addRequest(request);
    EXPECT_TRUE(request->waitAsyncDone(longTime));
    waitForLongWaits(2);
    EXPECT_FALSE(worker->removeRequest(request));
    waitForLongWaits(3);
    worker->restartRequest(request);
    EXPECT_TRUE(request->waitAsyncDone(longTime));
    // One wake-up for the removal and one for the request, or one for both.
    while (g_longWaits < 4) {
        zet::threadYield(true);
    }
    worker->removeAllRequests();
    worker->stop(true);
    EXPECT_FALSE(worker->isAlive());
}

TEST_P(IdleWorkerTest, ItsRequestsAreWaitedForAsUsual) {
    waitForLongWaits(1);
    const SilentServer silent;
    const P<OpenRequest> request = makeRequest(silent.url());
    worker->addRequest(request);
    EXPECT_FALSE(request->waitAsyncDone(300));
    EXPECT_EQ(g_longWaits, 1);
    EXPECT_TRUE(worker->removeRequest(request));
    waitForLongWaits(2);
}

TEST_P(IdleWorkerTest, KeepsItsPassesForAHandlerAndForHooks) {
    waitForLongWaits(1);
    const P<PassGate> gate = new PassGate;
    const P<CAsyncNetRequestThread> withHandler = new CAsyncNetRequestThread(gate);
    withHandler->setEngine(GetParam());
    withHandler->start();
    gate->waitForPasses(3);
    const P<HookedThread> withHooks = new HookedThread(nullptr);
    std::atomic<int> passes = 0;
    withHooks->onEvents = [&](CAsyncNetRequestManager&) { ++passes; };
    withHooks->start();
    while (passes < 3) {
        zet::threadYield(true);
    }
    EXPECT_EQ(g_longWaits, 1);
    withHooks->stop(true);
    withHandler->stop(true);
}

TEST(TransferQueueEngineTest, TheWorkerOfAQueueUsesTheEngine) {
    g_longEpollWaits = 0;
    const vexil::CTransferQueue queue(new vexil::CTransferPolicy);
    const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(longTime);
    while (g_longEpollWaits == 0 && std::chrono::steady_clock::now() < limit) {
        zet::threadYield(true);
    }
    EXPECT_EQ(g_longEpollWaits, 1) << "its wait for work";
}

// ---- what is forgotten

TEST_F(AsyncEngineTest, TransfersEndWithoutARoomToWatchTheirSockets) {
    const SilentServer silent;
    g_onControl = [](int operation) -> std::optional<int> {
        if (operation == EPOLL_CTL_DEL) {
            return std::nullopt;
        }
        errno = ENOSPC;
        return -1;
    };
    run(5);
    g_waits.clear();
    manager.addRequest(makeRequest(silent.url()));
    for (int i = 0; i < 5; ++i) {
        manager.waitForEvents(-1);
        manager.handleEvents(nullptr);
    }
    EXPECT_THAT(g_waits, testing::Each(testing::Le(100)));
    manager.removeAllRequests();
}

TEST_F(AsyncEngineTest, ASocketThatIsNotWatchedIsFoundWithinASecondOrTwo) {
    g_onControl = [](int) -> std::optional<int> { return 0; };
    run(3);
}

// libcurl 7.88 closes the socket of a refused attempt to connect, tells no other one, and sets no timer.
TEST_F(AsyncEngineTest, AHostsNextAddressFollowsARefusedOne) {
    struct FreeList {
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };
    // The peer is on the last one only.
    const std::string addresses =
        "many.test:" + std::to_string(peer.port()) + ":127.0.0.2,127.0.0.3,127.0.0.1";
    const std::unique_ptr<curl_slist, FreeList> known(curl_slist_append(nullptr, addresses.c_str()));
    peer.setDefaultReply(answerOf("HTTP/1.1 200 OK", "hello"));
    const P<OpenRequest> request = makeRequest("http://many.test:" + std::to_string(peer.port()) + "/");
    curl_easy_setopt(request->getHandle(), CURLOPT_RESOLVE, known.get());
    manager.addRequest(request);
    g_waits.clear();
    g_found.clear();
    EXPECT_EQ(driveToEnd(manager), 1);
    request->checkAsyncResult();
    EXPECT_EQ(bodyOf(*request), "hello");
    int inVain = 0;
    for (std::size_t i = 0; i < g_waits.size(); ++i) {
        inVain += g_waits[i] > 0 && g_found[i] == 0 ? g_waits[i] : 0;
    }
    // Without the engine libcurl looks at the transfer after 100 ms for each refused one.
    EXPECT_LE(inVain, 200) << "milliseconds";
}

}  // namespace
