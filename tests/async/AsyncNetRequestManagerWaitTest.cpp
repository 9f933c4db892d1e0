// How long the manager waits, for what, and with which call: select() for up to 400 requests, the engine's
// epoll for more and for descriptors that select() does not support, curl_multi_poll() without epoll.
#include "tests/async/AsyncTestSupport.h"
#include "tests/async/MultiCalls.h"
#include "tests/support/ScriptedPeer.h"

#include <climits>

#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <numeric>
#include <optional>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace vexil_test;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Not;
using vexil::TArray;

constexpr int mostForSelect = 400;
constexpr rlim_t descriptorsNeeded = 4096;

/// Lets the process open more descriptors than select() supports.
class HigherLimit {
public:
    HigherLimit() {
        getrlimit(RLIMIT_NOFILE, &m_before);
        rlimit higher = m_before;
        higher.rlim_cur = std::max(m_before.rlim_cur, std::min(descriptorsNeeded, m_before.rlim_max));
        setrlimit(RLIMIT_NOFILE, &higher);
        m_isEnough = higher.rlim_cur >= descriptorsNeeded;
    }
    HigherLimit(const HigherLimit&) = delete;
    HigherLimit& operator=(const HigherLimit&) = delete;
    ~HigherLimit() { setrlimit(RLIMIT_NOFILE, &m_before); }

    bool isEnough() const { return m_isEnough; }

private:
    rlimit m_before{};
    bool m_isEnough = false;
};

/// Opens all descriptors that select() supports, and some more.
class TakenDescriptors {
public:
    TakenDescriptors() {
        while (m_taken.empty() || m_taken.back() < FD_SETSIZE + 10) {
            const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
            if (descriptor < 0) {
                ADD_FAILURE() << "no descriptor after " << m_taken.size();
                return;
            }
            m_taken.push_back(descriptor);
        }
    }
    TakenDescriptors(const TakenDescriptors&) = delete;
    TakenDescriptors& operator=(const TakenDescriptors&) = delete;
    ~TakenDescriptors() {
        for (const int descriptor : m_taken) {
            close(descriptor);
        }
    }

private:
    std::vector<int> m_taken;
};

std::vector<int> descriptorsIn(const fd_set& set) {
    std::vector<int> found;
    for (int i = 0; i < FD_SETSIZE; ++i) {
        if (FD_ISSET(i, &set)) {
            found.push_back(i);
        }
    }
    return found;
}

bool isReadable(int descriptor) {
    pollfd entry{descriptor, POLLIN, 0};
    return poll(&entry, 1, 0) == 1;
}

class Waits : public testing::Test {
protected:
    Waits() { multiCalls() = {}; }
    ~Waits() override {
        multiCalls() = {};
        close(m_socket);
    }

    static void add(vexil::CAsyncNetRequestManager& manager, int count) {
        for (int i = 0; i < count; ++i) {
            manager.addRequest(makeRequest("http://127.0.0.1:1/"));
        }
        multiCalls().names.clear();
    }

    static std::vector<std::string> called() { return std::exchange(multiCalls().names, {}); }

    /// The sockets and times that libcurl waits for.
    void setLibcurlsNeeds(long timer, int highestSocket) {
        multiCalls().onTimeout = [=](long* milliseconds) {
            *milliseconds = timer;
            return CURLM_OK;
        };
        multiCalls().onFdset = [=](fd_set*, fd_set*, fd_set*, int* highest) {
            *highest = highestSocket;
            return CURLM_OK;
        };
        tellEngine(highestSocket >= 0);
    }

    /// From now on the system has no epoll.
    static void refuseEngine() {
        multiCalls().onEpollCreate = [] {
            errno = EMFILE;
            return -1;
        };
    }

    HigherLimit limit;

private:
    /// As libcurl does it.
    void tellEngine(bool hasSocket) {
        if (multiCalls().socketFunction && hasSocket != m_isEngineTold) {
            multiCalls().socketFunction(m_request->getHandle(), m_socket,
                                        hasSocket ? CURL_POLL_IN : CURL_POLL_REMOVE, multiCalls().socketData,
                                        nullptr);
            m_isEngineTold = hasSocket;
        }
    }

    const P<OpenRequest> m_request = makeRequest("http://127.0.0.1:1/");
    const int m_socket = eventfd(0, EFD_CLOEXEC);
    bool m_isEngineTold = false;
};

// ---- how long

enum class By {
    Select,
    EngineForManyRequests,
    EngineForHighDescriptors,
    PollForManyRequests,
    PollForHighDescriptors
};

bool isForHighDescriptors(By by) {
    return by == By::EngineForHighDescriptors || by == By::PollForHighDescriptors;
}

bool isForManyRequests(By by) {
    return by == By::EngineForManyRequests || by == By::PollForManyRequests;
}

bool isPoll(By by) {
    return by == By::PollForManyRequests || by == By::PollForHighDescriptors;
}

std::string callOf(By by) {
    return by == By::Select ? "select" : isPoll(by) ? "poll" : "epoll_wait";
}

class AsyncNetRequestManagerWaitTimeTest : public Waits, public testing::WithParamInterface<By> {
protected:
    void SetUp() override {
        if (isForHighDescriptors(GetParam())) {
            if (!limit.isEnough()) {
                GTEST_SKIP() << "the system gives no more descriptors";
            }
            taken.emplace();
        }
        manager.emplace();
        if (isPoll(GetParam())) {
            refuseEngine();
        }
        add(*manager, isForManyRequests(GetParam()) ? mostForSelect + 1 : 1);
        const auto runAll = [this](int* running) {
            *running = manager->getRequestCount();
            return CURLM_OK;
        };
        multiCalls().onSocketAll = runAll;
        multiCalls().onPerform = runAll;
        // The engine's first step.
        manager->handleEvents(nullptr);
        multiCalls().onEpollWait = [this](int milliseconds) {
            waits.push_back(milliseconds);
            return 0;
        };
        multiCalls().onSelect = [this](int, fd_set*, fd_set*, fd_set*, timeval* time) {
            waits.push_back(time ? static_cast<int>(time->tv_sec * 1000 + time->tv_usec / 1000) : -1);
            EXPECT_TRUE(time && time->tv_usec < 1000000 && time->tv_usec % 1000 == 0);
            return 0;
        };
        multiCalls().onPoll = [this](curl_waitfd*, unsigned int, int milliseconds, int* ready) {
            waits.push_back(milliseconds);
            *ready = 0;
            return CURLM_OK;
        };
    }

    /// The length of a wait for these needs of libcurl. A poll may have two parts; libcurl gets the second if
    /// the first has returned no event.
    int waitOf(long timer, int highestSocket, int milliseconds) {
        setLibcurlsNeeds(timer, highestSocket);
        waits.clear();
        called();
        manager->waitForEvents(milliseconds);
        for (const std::string call : {"select", "poll", "epoll_wait"}) {
            EXPECT_EQ(testing::Value(multiCalls().names, Contains(call)), call == callOf(GetParam())) << call;
        }
        EXPECT_GE(waits.size(), 1u);
        EXPECT_LE(waits.size(), isPoll(GetParam()) ? 2u : 1u);
        EXPECT_THAT(waits, Each(Ge(0)));
        return std::accumulate(waits.begin(), waits.end(), 0);
    }

    std::vector<int> waits;
    std::optional<TakenDescriptors> taken;
    std::optional<OpenManager> manager;
};

INSTANTIATE_TEST_SUITE_P(Calls, AsyncNetRequestManagerWaitTimeTest,
                         testing::Values(By::Select, By::EngineForManyRequests, By::EngineForHighDescriptors,
                                         By::PollForManyRequests, By::PollForHighDescriptors),
                         [](const auto& param) {
                             return callOf(param.param) + (isForManyRequests(param.param) ? "ForManyRequests"
                                                           : isForHighDescriptors(param.param)
                                                               ? "ForHighDescriptors"
                                                               : "");
                         });

TEST_P(AsyncNetRequestManagerWaitTimeTest, IsASecondAtMost) {
    for (const long timer : {-1L, 1000L, 1001L, 30000L, (1L << 32) + 5, LONG_MAX}) {
        SCOPED_TRACE(timer);
        EXPECT_EQ(waitOf(timer, 7, -1), 1000);
        EXPECT_EQ(waitOf(timer, 7, INT_MIN), 1000);
        EXPECT_EQ(waitOf(timer, 7, 1001), 1000);
        EXPECT_EQ(waitOf(timer, 7, 5000), 1000);
        EXPECT_EQ(waitOf(timer, 7, INT_MAX), 1000);
    }
}

TEST_P(AsyncNetRequestManagerWaitTimeTest, IsLibcurlsWhereThatIsShorter) {
    for (const int asked : {-1, INT_MIN, 999, 5000, INT_MAX}) {
        SCOPED_TRACE(asked);
        EXPECT_EQ(waitOf(999, 0, asked), 999);
        EXPECT_EQ(waitOf(250, 0, asked), 250);
        EXPECT_EQ(waitOf(1, 0, asked), 1);
        EXPECT_EQ(waitOf(0, 0, asked), 0);
    }
}

TEST_P(AsyncNetRequestManagerWaitTimeTest, IsTheCallersWhereThatIsShorter) {
    for (const long timer : {-1L, 999L, 30000L}) {
        SCOPED_TRACE(timer);
        EXPECT_EQ(waitOf(timer, 7, 998), 998);
        EXPECT_EQ(waitOf(timer, 7, 101), 101);
        EXPECT_EQ(waitOf(timer, 7, 1), 1);
        EXPECT_EQ(waitOf(timer, 7, 0), 0);
    }
    EXPECT_EQ(waitOf(-1, 7, 1000), 1000);
}

TEST_P(AsyncNetRequestManagerWaitTimeTest, IsATenthOfASecondAtMostWithoutSockets) {
    for (const long timer : {-1L, 101L, 30000L}) {
        SCOPED_TRACE(timer);
        EXPECT_EQ(waitOf(timer, -1, -1), 100);
        EXPECT_EQ(waitOf(timer, -1, 5000), 100);
        EXPECT_EQ(waitOf(timer, -1, 101), 100);
        EXPECT_EQ(waitOf(timer, -1, 30), 30);
        EXPECT_EQ(waitOf(timer, -1, 0), 0);
    }
    EXPECT_EQ(waitOf(99, -1, -1), 99);
    EXPECT_EQ(waitOf(99, -1, 5000), 99);
    EXPECT_EQ(waitOf(0, -1, -1), 0);
}

// ---- by select()

class AsyncNetRequestManagerSelectTest : public Waits {
protected:
    AsyncNetRequestManagerSelectTest() {
        add(manager, 1);
        multiCalls().onFdset = [this](fd_set* read, fd_set* write, fd_set* error, int* highest) {
            EXPECT_THAT(descriptorsIn(*read).size(), 1u) << "only what ends a wait";
            EXPECT_THAT(descriptorsIn(*write), IsEmpty());
            EXPECT_THAT(descriptorsIn(*error), IsEmpty());
            if (!descriptorsIn(*read).empty()) {
                wakeUp = descriptorsIn(*read)[0];
            }
            *highest = highestSocket;
            for (const int socket : toRead) {
                FD_SET(socket, read);
            }
            for (const int socket : toWrite) {
                FD_SET(socket, write);
            }
            for (const int socket : withErrors) {
                FD_SET(socket, error);
            }
            return CURLM_OK;
        };
        // Makes a descriptor that ends a wait.
        manager.waitForEvents(0);
        called();
    }

    void answerSelect(int result) {
        multiCalls().onSelect = [=, this](int count, fd_set* read, fd_set* write, fd_set* error, timeval*) {
            countSeen = count;
            readSeen = descriptorsIn(*read);
            writeSeen = descriptorsIn(*write);
            errorSeen = descriptorsIn(*error);
            errno = EINTR;
            return result;
        };
    }

    int wakeUp = -1;
    int highestSocket = -1;
    std::vector<int> toRead, toWrite, withErrors;
    int countSeen = -1;
    std::vector<int> readSeen, writeSeen, errorSeen;
    OpenManager manager;
};

TEST_F(AsyncNetRequestManagerSelectTest, ComesAfterLibcurlsSocketsAndItsTimer) {
    manager.waitForEvents(0);
    EXPECT_THAT(called(), ElementsAre("fdset", "timeout", "select"));
}

TEST_F(AsyncNetRequestManagerSelectTest, WaitsForLibcurlsSocketsAndTheWakeUp) {
    ASSERT_GE(wakeUp, 0);
    ASSERT_LT(wakeUp, 900);
    answerSelect(0);
    toRead = {900};
    toWrite = {901, 902};
    withErrors = {903};
    highestSocket = 903;
    manager.waitForEvents(0);
    EXPECT_EQ(countSeen, 904);
    EXPECT_THAT(readSeen, ElementsAre(wakeUp, 900));
    EXPECT_THAT(writeSeen, ElementsAre(901, 902));
    EXPECT_THAT(errorSeen, ElementsAre(903));
}

TEST_F(AsyncNetRequestManagerSelectTest, CountsTheWakeUp) {
    answerSelect(0);
    for (const int highest : {-1, 0, wakeUp - 1, wakeUp}) {
        highestSocket = highest;
        manager.waitForEvents(0);
        EXPECT_EQ(countSeen, wakeUp + 1) << highest;
        EXPECT_THAT(readSeen, ElementsAre(wakeUp));
    }
}

TEST_F(AsyncNetRequestManagerSelectTest, EndsWhenItIsWoken) {
    for (const int highest : {-1, 0}) {
        highestSocket = highest;
        ASSERT_EQ(eventfd_write(wakeUp, 1), 0);
        manager.waitForEvents(0);
        EXPECT_FALSE(isReadable(wakeUp)) << "woken once";
    }
}

TEST_F(AsyncNetRequestManagerSelectTest, ThatFailsIsAWaitThatHasEnded) {
    ASSERT_EQ(eventfd_write(wakeUp, 1), 0);
    answerSelect(-1);
    manager.waitForEvents(-1);
    EXPECT_THAT(called(), ElementsAre("fdset", "timeout", "select"));
    EXPECT_TRUE(isReadable(wakeUp)) << "kept for the next wait";
    answerSelect(0);
    manager.waitForEvents(-1);
    EXPECT_TRUE(isReadable(wakeUp));
}

TEST_F(AsyncNetRequestManagerSelectTest, IsTakenForUpTo400Requests) {
    add(manager, mostForSelect - manager.getRequestCount());
    ASSERT_EQ(manager.getRequestCount(), 400);
    manager.waitForEvents(0);
    EXPECT_THAT(called(), ElementsAre("fdset", "timeout", "select"));
    add(manager, 1);
    manager.waitForEvents(0);
    EXPECT_THAT(called(), ElementsAre("epoll_wait"));
    manager.removeRequest(0);
    called();
    manager.waitForEvents(0);
    EXPECT_THAT(called(), ElementsAre("fdset", "timeout", "select"));
}

// ---- by curl_multi_poll(), if the system has no epoll

class AsyncNetRequestManagerPollTest : public Waits {
protected:
    void SetUp() override {
        if (!limit.isEnough()) {
            GTEST_SKIP() << "the system gives no more descriptors";
        }
        refuseEngine();
    }

    int wakeUpOf(vexil::CAsyncNetRequestManager& manager) {
        int wakeUp = -1;
        multiCalls().onPoll = [&](curl_waitfd* extra, unsigned int count, int, int*) {
            EXPECT_EQ(count, 1u);
            EXPECT_EQ(extra->events, CURL_WAIT_POLLIN);
            EXPECT_EQ(extra->revents, 0);
            wakeUp = extra->fd;
            return CURLM_OK;
        };
        manager.waitForEvents(0);
        multiCalls().onPoll = {};
        return wakeUp;
    }
};

TEST_F(AsyncNetRequestManagerPollTest, IsTakenWhereSelectDoesNotKnowTheWakeUp) {
    const TakenDescriptors taken;
    OpenManager manager;
    EXPECT_GE(wakeUpOf(manager), FD_SETSIZE);
    multiCalls().onFdset = [](fd_set* read, fd_set* write, fd_set* error, int* highest) {
        EXPECT_THAT(descriptorsIn(*read), IsEmpty());
        EXPECT_THAT(descriptorsIn(*write), IsEmpty());
        EXPECT_THAT(descriptorsIn(*error), IsEmpty());
        *highest = -1;
        return CURLM_OK;
    };
    called();
    manager.waitForEvents(-1);
    add(manager, 1);
    manager.waitForEvents(-1);
    EXPECT_THAT(called(), AllOf(Contains("poll"), Not(Contains("select"))));
}

TEST_F(AsyncNetRequestManagerPollTest, EndsWithTheFirstEvent) {
    OpenManager manager;
    add(manager, mostForSelect + 1);
    setLibcurlsNeeds(-1, 7);
    multiCalls().onPoll = [](curl_waitfd*, unsigned int, int, int* ready) {
        *ready = 1;
        return CURLM_OK;
    };
    manager.waitForEvents(-1);
    EXPECT_THAT(called(), Contains("poll").Times(1));
}

TEST_F(AsyncNetRequestManagerPollTest, EndsWhenItIsWoken) {
    OpenManager manager;
    add(manager, mostForSelect + 1);
    const int wakeUp = wakeUpOf(manager);
    EXPECT_LT(wakeUp, FD_SETSIZE);
    ASSERT_EQ(eventfd_write(wakeUp, 1), 0);
    setLibcurlsNeeds(-1, 7);
    called();
    manager.waitForEvents(-1);
    EXPECT_THAT(called(), Contains("poll").Times(1));
    EXPECT_FALSE(isReadable(wakeUp)) << "woken once";
}

TEST_F(AsyncNetRequestManagerPollTest, KeepsAWakeUpThatItHasNotSeen) {
    OpenManager manager;
    add(manager, mostForSelect + 1);
    const int wakeUp = wakeUpOf(manager);
    ASSERT_EQ(eventfd_write(wakeUp, 1), 0);
    multiCalls().onPoll = [](curl_waitfd*, unsigned int, int, int* ready) {
        *ready = 1;
        return CURLM_OK;
    };
    manager.waitForEvents(0);
    EXPECT_TRUE(isReadable(wakeUp));
}

// ---- failures

class AsyncNetRequestManagerWaitFailureTest : public Waits {
protected:
    static void expectFailure(vexil::CAsyncNetRequestManager& manager, CURLMcode code) {
        const auto error = thrownBy<CCURLError>([&] { manager.waitForEvents(-1); });
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getDomain(), "curlm");
        EXPECT_EQ(error->getCode(), code);
        EXPECT_EQ(error->getMessage(), curl_multi_strerror(code));
        EXPECT_EQ(error->getResponseCode(), -1);
        EXPECT_EQ(error->getResponseCodeDomain(), "");
        EXPECT_THAT(propsOf(*error), IsEmpty());
        EXPECT_EQ(error->getInnerError().get(), nullptr);
    }
};

TEST_F(AsyncNetRequestManagerWaitFailureTest, OfTheSocketsIsAnError) {
    for (const int count : {0, mostForSelect + 1}) {
        OpenManager manager;
        refuseEngine();
        add(manager, count);
        setLibcurlsNeeds(-1, -1);
        multiCalls().onPoll = [](curl_waitfd*, unsigned int, int, int* ready) {
            *ready = 0;
            return CURLM_OK;
        };
        multiCalls().onFdset = [](fd_set*, fd_set*, fd_set*, int*) { return CURLM_INTERNAL_ERROR; };
        expectFailure(manager, CURLM_INTERNAL_ERROR);
        EXPECT_EQ(multiCalls().names.back(), "fdset");
        multiCalls() = {};
        manager.waitForEvents(0);
    }
}

TEST_F(AsyncNetRequestManagerWaitFailureTest, OfTheTimerIsAnError) {
    for (const bool hasEngine : {true, false}) {
        for (const int count : {0, mostForSelect + 1}) {
            OpenManager manager;
            if (!hasEngine) {
                refuseEngine();
            }
            add(manager, count);
            multiCalls().onSocketAll = [&](int* running) {
                *running = count;
                return CURLM_OK;
            };
            multiCalls().onPerform = multiCalls().onSocketAll;
            manager.handleEvents(nullptr);
            multiCalls().onTimeout = [](long*) { return CURLM_BAD_FUNCTION_ARGUMENT; };
            expectFailure(manager, CURLM_BAD_FUNCTION_ARGUMENT);
            EXPECT_EQ(multiCalls().names.back(), "timeout");
            multiCalls() = {};
            manager.waitForEvents(0);
        }
    }
}

TEST_F(AsyncNetRequestManagerWaitFailureTest, OfThePollIsAnError) {
    OpenManager manager;
    refuseEngine();
    add(manager, mostForSelect + 1);
    setLibcurlsNeeds(-1, 7);
    int partsThatWork = 0;
    multiCalls().onPoll = [&](curl_waitfd*, unsigned int, int, int* ready) {
        *ready = 0;
        return partsThatWork-- > 0 ? CURLM_OK : CURLM_UNRECOVERABLE_POLL;
    };
    expectFailure(manager, CURLM_UNRECOVERABLE_POLL);
    partsThatWork = 1;
    expectFailure(manager, CURLM_UNRECOVERABLE_POLL);
    multiCalls() = {};
    manager.waitForEvents(0);
}

// ---- with a server

class AsyncNetRequestManagerScaleTest : public Waits {
protected:
    void SetUp() override {
        if (!limit.isEnough()) {
            GTEST_SKIP() << "the system gives no more descriptors";
        }
        peer = std::make_unique<ScriptedPeer>();
    }

    /// Runs requests that all reach the server before the first response.
    void run(vexil::CAsyncNetRequestManager& manager, int count) {
        TArray<P<OpenRequest>> requests;
        for (int i = 0; i < count; ++i) {
            peer->onConnection().expectRequest().pause().replyWith([](const std::string& request) {
                return answerOf("HTTP/1.1 200 OK", request.substr(0, request.find('\r')));
            });
            requests.push_back(makeRequest(peer->url("/" + std::to_string(i))));
            manager.addRequest(requests.back());
        }
        const auto total = static_cast<std::size_t>(count);
        EXPECT_TRUE(
            driveUntil(manager, [&] { return peer->waitUntilPaused(total, std::chrono::milliseconds(0)); }));
        EXPECT_EQ(manager.getRequestCount(), count);
        manager.waitForEvents(-1);
        peer->release("", total);
        TArray<P<CNetRequest>> finished;
        EXPECT_EQ(driveToEnd(manager, &finished), count);
        EXPECT_EQ(finished.size(), total);
        for (int i = 0; i < count; ++i) {
            const P<OpenRequest>& request = requests[static_cast<std::size_t>(i)];
            request->checkAsyncResult();
            EXPECT_EQ(bodyOf(*request), "GET /" + std::to_string(i) + " HTTP/1.1");
        }
        EXPECT_TRUE(peer->waitUntilIdle());
        EXPECT_THAT(peer->failures(), IsEmpty());
    }

    std::unique_ptr<ScriptedPeer> peer;
};

TEST_F(AsyncNetRequestManagerScaleTest, RunsMoreRequestsThanSelectHasRoomFor) {
    OpenManager manager;
    run(manager, 450);
    EXPECT_THAT(multiCalls().names, Contains("epoll_wait"));
}

TEST_F(AsyncNetRequestManagerScaleTest, RunsWhereAllDescriptorsAreHigh) {
    const TakenDescriptors taken;
    OpenManager manager;
    run(manager, 20);
    EXPECT_THAT(multiCalls().names, Contains("epoll_wait"));
    EXPECT_THAT(multiCalls().names, Not(Contains("select")));
}

TEST_F(AsyncNetRequestManagerScaleTest, RunsWithoutAnEngineToo) {
    refuseEngine();
    OpenManager manager;
    run(manager, 450);
    EXPECT_THAT(multiCalls().names, Contains("poll"));
    EXPECT_THAT(multiCalls().names, Not(Contains("epoll_wait")));
}

TEST_F(AsyncNetRequestManagerScaleTest, ChangesBetweenSelectAndTheEngineWhileTransfersRun) {
    OpenManager manager;
    // The first ones go on from select() to the engine and back, twice.
    TArray<P<OpenRequest>> staying;
    for (int i = 0; i < 10; ++i) {
        peer->onConnection().expectRequest().pause("last").reply(answerOf("HTTP/1.1 200 OK", "stayed"));
        staying.push_back(makeRequest(peer->url()));
        manager.addRequest(staying.back());
    }
    ASSERT_TRUE(driveUntil(manager, [&] { return peer->waitUntilPaused(10, std::chrono::milliseconds(0)); }));
    for (int round = 0; round < 2; ++round) {
        TArray<P<OpenRequest>> others;
        for (int i = 0; i < mostForSelect; ++i) {
            others.push_back(makeRequest(peer->url()));
            peer->onConnection().clientMayLeave().expectRequest().pause("never");
            manager.addRequest(others.back());
        }
        called();
        manager.waitForEvents(0);
        manager.handleEvents(nullptr);
        // It looks at all of them: it was not told what has changed meanwhile.
        EXPECT_THAT(called(), AllOf(Contains("epoll_wait"), Contains("socket_all")));
        for (const P<OpenRequest>& other : others) {
            EXPECT_TRUE(manager.CAsyncNetRequestManager::removeRequest(other));
        }
        called();
        manager.waitForEvents(0);
        manager.handleEvents(nullptr);
        EXPECT_THAT(called(), AllOf(Contains("select"), Contains("perform"), Not(Contains("epoll_wait"))));
    }
    peer->release("never", 2 * mostForSelect);
    peer->release("last", 10);
    EXPECT_EQ(driveToEnd(manager), 10);
    for (const P<OpenRequest>& request : staying) {
        request->checkAsyncResult();
        EXPECT_EQ(bodyOf(*request), "stayed");
    }
}

TEST_F(AsyncNetRequestManagerScaleTest, KeepsSelectIfAnEventComesAfterTheWait) {
    OpenManager manager;
    peer->onConnection().expectRequest().pause().reply(answerOf("HTTP/1.1 200 OK", "late"));
    const P<OpenRequest> request = makeRequest(peer->url());
    manager.addRequest(request);
    ASSERT_TRUE(driveUntil(manager, [&] { return peer->waitUntilPaused(1, std::chrono::milliseconds(0)); }));
    bool isFirst = true;
    multiCalls().onSelect = [&](int count, fd_set* read, fd_set* write, fd_set* error, timeval* time) {
        timespec rest{time->tv_sec, time->tv_usec * 1000};
        if (!std::exchange(isFirst, false)) {
            return pselect(count, read, write, error, &rest, nullptr);
        }
        // The response comes when this wait has ended without it.
        peer->release();
        EXPECT_EQ(pselect(count, read, nullptr, nullptr, nullptr, nullptr), 1);
        for (fd_set* const set : {read, write, error}) {
            FD_ZERO(set);
        }
        return 0;
    };
    called();
    manager.waitForEvents(-1);
    EXPECT_THAT(called(), ElementsAre("fdset", "timeout", "select", "fdset", "select"));
    manager.waitForEvents(-1);
    EXPECT_THAT(called(), ElementsAre("fdset", "timeout", "select"));
    EXPECT_EQ(driveToEnd(manager), 1);
    request->checkAsyncResult();
    EXPECT_EQ(bodyOf(*request), "late");
}

TEST_F(AsyncNetRequestManagerScaleTest, FindsOutThatOnlyItsOwnDescriptorIsLow) {
    OpenManager manager;
    {
        const TakenDescriptors taken;
        run(manager, 20);
        EXPECT_THAT(multiCalls().names, Contains("select")) << "at first";
        EXPECT_THAT(multiCalls().names, Contains("epoll_wait")) << "when nothing was heard of the sockets";
    }
    // Another one, so that none of these connections is used; but it is kept.
    peer = std::make_unique<ScriptedPeer>();
    multiCalls().names.clear();
    run(manager, 20);
    EXPECT_THAT(multiCalls().names, Contains("epoll_wait"));
    EXPECT_THAT(multiCalls().names, Not(Contains("select"))) << "found out once and for all";
}

TEST_F(AsyncNetRequestManagerScaleTest, FindsOutThatAKeptConnectionIsHigh) {
    OpenManager manager;
    ConnectionScript script = peer->onConnection();
    for (int i = 0; i < 5; ++i) {
        script.expectRequest().pause().reply(answerOf("HTTP/1.1 200 OK", "kept"));
    }
    // The event that it waits for comes during the wait.
    const auto runOne = [&](int timeoutMs) {
        const P<OpenRequest> request = makeRequest(peer->url());
        manager.addRequest(request);
        while (!peer->waitUntilPaused(1, std::chrono::milliseconds(0))) {
            manager.waitForEvents(0);
            manager.handleEvents(nullptr);
        }
        multiCalls().names.clear();
        peer->release();
        while (manager.getRequestCount() > 0) {
            manager.waitForEvents(timeoutMs);
            manager.handleEvents(nullptr);
        }
        request->checkAsyncResult();
    };
    {
        const TakenDescriptors taken;
        runOne(0);
        EXPECT_THAT(multiCalls().names, Not(Contains("epoll_wait"))) << "it has not waited";
    }
    // Descriptors are low again, except that of the connection: select() waits for it in vain, once.
    runOne(-1);
    EXPECT_THAT(multiCalls().names, Contains("select"));
    for (int i = 0; i < 3; ++i) {
        runOne(-1);
        EXPECT_THAT(multiCalls().names, Contains("epoll_wait"));
        EXPECT_THAT(multiCalls().names, Not(Contains("select")));
    }
    EXPECT_EQ(peer->connectionCount(), 1u);
}

}  // namespace
