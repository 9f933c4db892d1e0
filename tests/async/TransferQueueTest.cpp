#include "vexil/async/TransferQueue.h"

#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedPeer.h"
#include "tests/support/WhatOf.h"
#include "vexil/async/FunctionTransferJob.h"
#include "vexil/async/TransferPolicy.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/ErrorClassification.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace vexil {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using vexil_test::LogCapture;
using vexil_test::RecordedRequest;
using vexil_test::ScriptedPeer;
using vexil_test::whatOf;

const std::string good = "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\ngood";
const std::string busy = "HTTP/1.1 503 Busy\r\nContent-Length: 0\r\n\r\n";
const std::string missing = "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n";

/// Downloads a path, and records the calls of the queue.
class CTestJob : public virtual CBase, public ITransferJob, private ITransfer {
public:
    CTestJob(const ScriptedPeer& peer, const std::string& name, std::vector<std::string>& events)
        : m_peer(peer), m_name(name), m_events(events) {}
    ~CTestJob() override { m_events.push_back(m_name + " ends"); }

    ITransfer& getTransfer() override {
        if (onGetTransfer) {
            onGetTransfer();
        }
        return *this;
    }
    void onAttach(CNetRequest&) override { ++attached; }
    void onDetach(CNetRequest&) noexcept override { ++detached; }
    void prepare(CNetRequest& request) override {
        request.setProxy("");
        request.setURL(String::fromUTF8(m_peer.url("/" + m_name)));
        if (onPrepare) {
            onPrepare(request);
        }
    }
    void checkResponse(CNetRequest& request) override {
        if (onResponse) {
            onResponse(request);
        }
        --furtherRequests;
    }
    bool isComplete() const override { return furtherRequests < 1; }
    bool canBeginAgain(CNetRequest&, const CError&) override {
        if (onBeginAgain) {
            onBeginAgain();
        }
        return furtherTransfers-- > 0;
    }
    bool canFallBack(CNetRequest&, const CError&) override {
        if (onFallBack) {
            onFallBack();
        }
        return otherWays-- > 0;
    }
    void onSuccess(CNetRequest& request) override {
        m_events.push_back(m_name + " succeeds: " + std::string(request.getReceivedText()));
        if (afterSuccess) {
            afterSuccess();
        }
    }
    void onFailure(const CError& error) override {
        m_events.push_back(m_name + " fails: " + error.getMessage().toUTF8());
        if (afterFailure) {
            afterFailure();
        }
    }

    std::function<void()> onGetTransfer;
    std::function<void(CNetRequest&)> onPrepare;
    std::function<void(CNetRequest&)> onResponse;
    std::function<void()> onBeginAgain;
    std::function<void()> onFallBack;
    std::function<void()> afterSuccess;
    std::function<void()> afterFailure;
    int furtherRequests = 1;
    int furtherTransfers = 0;
    int otherWays = 0;
    int attached = 0;
    int detached = 0;

private:
    const ScriptedPeer& m_peer;
    std::string m_name;
    std::vector<std::string>& m_events;
};

/// Records the calls of the queue.
class CTestObserver : public virtual CBase, public ITransferObserver {
public:
    void checkContinue() override {
        if (isToStop) {
            throw CError("The observer stops.");
        }
    }
    void onStart(CNetRequest& request) override { add("start", request); }
    void onProgress(CNetRequest&) override { hasProgress = true; }
    void onEnd(CNetRequest& request) override { add("end", request); }
    void onFewerTransfers(int count) override { events.push_back("fewer: " + std::to_string(count)); }
    void onOneConnection() override { events.emplace_back("one connection"); }
    void onFatalFailure(CNetRequest& request) override { add("fatal", request); }
    void onGivenUp(CNetRequest& request) override {
        add("given up", request);
        if (isIll) {
            throw CError("The observer is ill.");
        }
    }

    /// The names of the jobs in the order in which they began.
    std::vector<std::string> getStarts() const {
        std::vector<std::string> names;
        for (const std::string& event : events) {
            if (event.starts_with("start /")) {
                names.push_back(event.substr(7));
            }
        }
        return names;
    }

    std::vector<std::string> events;
    bool isToStop = false;
    bool isIll = false;
    bool hasProgress = false;

private:
    void add(const std::string& what, CNetRequest& request) {
        const std::string url = request.getURL().toUTF8();
        events.push_back(what + " " + url.substr(url.rfind('/')));
    }
};

/// Treats each 503 as a refused connection, and tries nothing again.
class CFewConnectionsPolicy : public CTransferPolicy {
public:
    CFewConnectionsPolicy() : CTransferPolicy({.limit = std::chrono::milliseconds(0)}) {}
    bool isRefusedConnection(CNetRequest& request, const CError&) const override {
        return request.getResponseCode() == 503;
    }
    P<CNetRequest> getOwnRequest() const override { return ownRequest; }
    void performHere(CNetRequest& request) override {
        isHere = true;
        CURLcode result = CURLE_OK;
        request.setAsyncInfo(false, CURLE_OK);
        try {
            request.perform();
        } catch (const CCURLError& error) {
            result = static_cast<CURLcode>(error.getCode());
        }
        request.setAsyncInfo(true, result);
    }

    P<CNetRequest> ownRequest;
    bool isHere = false;
};

/// Fails on the worker, which begins it again after the queue has done the same.
class CIllSink : public virtual CBase, public CNetRequest::IRestartableDataSink {
public:
    void write(const void*, int, int, const TMap<String, String>&) override {}
    void restart() override {
        if (++m_restarts > 1) {
            throw CError("The sink is ill.");
        }
    }

private:
    int m_restarts = 0;
};

class TransferQueueTest : public testing::Test {
protected:
    P<CTestJob> makeJob(const std::string& name) { return make<CTestJob>(m_peer, name, m_events); }
    /// Three tries at most, without pauses.
    static CRetryPolicy::Settings makeSettings() { return {.maxRetries = 2, .pauseFactor = 0}; }

    ScriptedPeer m_peer;
    std::vector<std::string> m_events;
    const P<CTransferPolicy> m_policy = new CTransferPolicy(makeSettings());
};

}  // namespace

TEST_F(TransferQueueTest, RunsFunctionsOfANewcomer) {
    m_peer.setDefaultReply([](const RecordedRequest& request) {
        return request.requestLine().find("/7 ") != std::string::npos ? missing : good;
    });
    std::vector<std::string> failed;
    int received = 0;
    CTransferQueue queue(m_policy);
    for (int i = 0; i < 20; ++i) {
        const std::string url = m_peer.url("/" + std::to_string(i));
        queue.start(makeTransferJob(
            [url](CNetRequest& request) {
                request.setProxy("");
                request.setURL(String::fromUTF8(url));
            },
            [&received](CNetRequest& request) { received += request.getReceivedText() == "good" ? 1 : 0; },
            [&failed, url](const CError& error) { failed.push_back(url + " " + error.what()); }));
    }
    queue.finish();
    EXPECT_EQ(received, 19);
    EXPECT_THAT(failed, ElementsAre(testing::StartsWith(m_peer.url("/7") + " ")));
    EXPECT_LE(m_peer.connectionCount(), 8u);
}

TEST_F(TransferQueueTest, FunctionsThatAreMissingAreRefused) {
    const auto nothing = [](auto&) {};
    EXPECT_THAT(whatOf([&] { (void)makeTransferJob(nullptr, nothing, nothing); }), HasSubstr("prepare"));
    EXPECT_THAT(whatOf([&] { (void)makeTransferJob(nothing, nothing, nullptr); }), HasSubstr("onFailure"));
    m_peer.setDefaultReply(good);
    CTransferQueue queue(m_policy, 1);
    queue.start(
        makeTransferJob([this](CNetRequest& request) { request.setURL(String::fromUTF8(m_peer.url("/"))); },
                        nullptr, [](const CError& error) { error.throwClone(); }));
    EXPECT_EQ(m_peer.requests().size(), 1u);
}

TEST_F(TransferQueueTest, ArgumentsWithoutAMeaningAreRefused) {
    EXPECT_THROW(CTransferQueue(nullptr, 1), CInvalidArgError);
    EXPECT_THROW(CTransferQueue(m_policy, 0), CInvalidArgError);
    CTransferQueue queue(m_policy, 1);
    EXPECT_THROW(queue.start(nullptr), CInvalidArgError);
    m_peer.setDefaultReply(good);
    queue.start(makeJob("1"));
    EXPECT_THAT(m_events, ElementsAre("1 succeeds: good", "1 ends"));
}

TEST_F(TransferQueueTest, WithACountOfOneAJobIsDoneWhenStartReturns) {
    m_peer.setDefaultReply(good);
    CTransferQueue queue(m_policy, 1);
    for (const char* const name : {"1", "2"}) {
        queue.start(makeJob(name));
        m_events.emplace_back("started");
    }
    queue.finish();
    EXPECT_THAT(m_events, ElementsAre("1 succeeds: good", "1 ends", "started", "2 succeeds: good", "2 ends",
                                      "started"));
    EXPECT_EQ(m_peer.connectionCount(), 1u);
}

TEST_F(TransferQueueTest, TheEndOfOneJobCanBeWaitedFor) {
    m_peer.onConnection().expectRequest().pause().reply(good);
    m_peer.setDefaultReply(good);
    CTransferQueue queue(m_policy, 3);
    queue.finishOne();  // no job to wait for
    queue.start(makeJob("1"));
    ASSERT_TRUE(m_peer.waitUntilPaused());
    queue.start(makeJob("2"));
    queue.finishOne();
    EXPECT_THAT(m_events, ElementsAre("2 succeeds: good", "2 ends"));
    m_peer.release();
    queue.finishOne();
    EXPECT_THAT(m_events, ElementsAre("2 succeeds: good", "2 ends", "1 succeeds: good", "1 ends"));
}

/// Wakes the queue when it gets the first bytes of a body.
class CWakingSink : public virtual CBase, public CNetRequest::IDataSink {
public:
    explicit CWakingSink(CTransferQueue& queue) : m_queue(queue) {}
    ~CWakingSink() override = default;

    void write(const void*, int, int, const TMap<String, String>&) override { m_queue.wake(); }

private:
    CTransferQueue& m_queue;
};

TEST_F(TransferQueueTest, ASinkCanEndTheWaitForAJob) {
    m_peer.onConnection().expectRequest().replyCut(good, good.size() - 1).pause().reply("d");
    CTransferQueue queue(m_policy, 3);
    const P<CTestJob> job = makeJob("1");
    job->onPrepare = [&](CNetRequest& request) { request.setReceiveDataSink(make<CWakingSink>(queue)); };
    queue.start(job);
    queue.finishOne();
    EXPECT_THAT(m_events, IsEmpty());
    m_peer.release();
    queue.finish();
    EXPECT_THAT(m_events, ElementsAre("1 succeeds: "));
}

TEST_F(TransferQueueTest, AWakeIsNotLostBeforeTheWaitAndEndsOnlyOne) {
    m_peer.onConnection().expectRequest().pause().reply(good);
    CTransferQueue queue(m_policy, 3);
    queue.start(makeJob("1"));
    queue.wake();
    queue.wake();
    queue.finishOne();
    EXPECT_THAT(m_events, IsEmpty());
    std::thread releaser([&] {
        EXPECT_TRUE(m_peer.waitUntilPaused());
        m_peer.release();
    });
    queue.finishOne();
    EXPECT_THAT(m_events, ElementsAre("1 succeeds: good", "1 ends"));
    releaser.join();
    queue.wake();
    queue.finishOne();  // no job is left
}

TEST_F(TransferQueueTest, AWakeEndsTheWaitAtOnce) {
    m_peer.onConnection().expectRequest().pause().reply(good);
    CTransferQueue queue(m_policy, 3);
    queue.start(makeJob("1"));
    ASSERT_TRUE(m_peer.waitUntilPaused());
    auto least = std::chrono::steady_clock::duration::max();
    // A wait that is not ended takes up to 100 ms; the least of many is independent of other programs.
    for (int i = 0; i < 20; ++i) {
        std::chrono::steady_clock::time_point woken;
        std::thread waker([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            woken = std::chrono::steady_clock::now();
            queue.wake();
        });
        queue.finishOne();
        const auto now = std::chrono::steady_clock::now();
        waker.join();
        least = std::min(least, now - woken);
    }
    EXPECT_LT(least, std::chrono::milliseconds(20));
    m_peer.release();
    queue.finish();
}

// ---- priorities

/// A queue of one transfer at a time, whose first one waits at the server.
class TransferQueuePriorityTest : public TransferQueueTest {
protected:
    void beginBusyJob() {
        m_peer.onConnection().expectRequest().pause().reply(closing).close();
        m_queue.add(makeJob("busy"));
    }
    /// The jobs in the order in which they began.
    std::vector<std::string> finish() {
        EXPECT_TRUE(m_peer.waitUntilPaused());
        m_peer.setDefaultReply(good);
        m_peer.release();
        m_queue.finish();
        return m_observer->getStarts();
    }

    static constexpr char closing[] = "HTTP/1.1 200 OK\r\nContent-Length: 4\r\nConnection: close\r\n\r\ngood";

    const P<CTestObserver> m_observer = new CTestObserver;
    CTransferQueue m_queue{m_policy, 1, m_observer};
};

TEST_F(TransferQueuePriorityTest, HigherOnesBeginFirstAndEqualOnesInOrder) {
    beginBusyJob();
    m_queue.add(makeJob("low"), -5);
    m_queue.add(makeJob("normal"));
    m_queue.add(makeJob("normal2"), 0);
    m_queue.add(makeJob("high"), 7);
    m_queue.add(makeJob("high2"), 7);
    m_queue.add(makeJob("least"), std::numeric_limits<int>::min());
    m_queue.add(makeJob("most"), std::numeric_limits<int>::max());
    m_queue.add(makeJob("normal3"));
    EXPECT_THAT(finish(),
                ElementsAre("busy", "most", "high", "high2", "normal", "normal2", "normal3", "low", "least"));
}

TEST_F(TransferQueuePriorityTest, AddReturnsAtOnceAndStartAfterAllThatWait) {
    beginBusyJob();
    m_queue.add(makeJob("low"), -1);
    m_queue.add(makeJob("high"), 1);
    EXPECT_THAT(m_events, IsEmpty());
    EXPECT_TRUE(m_peer.waitUntilPaused());
    m_peer.setDefaultReply(good);
    m_peer.release();
    m_queue.start(makeJob("started"));
    EXPECT_THAT(m_events,
                ElementsAre("busy succeeds: good", "busy ends", "high succeeds: good", "high ends",
                            "started succeeds: good", "started ends", "low succeeds: good", "low ends"));
}

TEST_F(TransferQueuePriorityTest, AnAddedJobBeginsAtOnceIfThereIsRoom) {
    m_peer.setDefaultReply(good);
    m_queue.add(makeJob("a"), -9);
    EXPECT_THAT(m_observer->events, ElementsAre("start /a"));
    m_queue.finish();
    EXPECT_THAT(m_events, ElementsAre("a succeeds: good", "a ends"));
}

TEST_F(TransferQueuePriorityTest, AddRefusesWhatStartRefuses) {
    const auto add = [&] { m_queue.add(nullptr, 1); };
    EXPECT_THROW(add(), CInvalidArgError);
    const P<CCancelToken> token = new CCancelToken;
    m_queue.setCancelToken(token);
    token->cancel();
    EXPECT_THROW(m_queue.add(makeJob("a"), 1), CCURLError);
}

TEST_F(TransferQueuePriorityTest, APausedQueueKeepsTheOrder) {
    const P<CPauseToken> pause = new CPauseToken;
    m_queue.setPauseToken(pause);
    pause->pause();
    m_peer.setDefaultReply(good);
    m_queue.add(makeJob("low"), 1);
    m_queue.add(makeJob("high"), 2);
    EXPECT_THAT(m_observer->events, IsEmpty());
    pause->resume();
    m_queue.finish();
    EXPECT_THAT(m_events, ElementsAre("high succeeds: good", "high ends", "low succeeds: good", "low ends"));
}

TEST_F(TransferQueuePriorityTest, VeryManyJobsWait) {
    constexpr int count = 100000;
    constexpr int priorities = 10;
    beginBusyJob();
    std::vector<int> begun;
    begun.reserve(count);
    for (int i = 0; i < count; ++i) {
        const P<CTestJob> job = makeJob("");
        // It fails at once: this is about the queue.
        job->onGetTransfer = [&begun, i] {
            begun.push_back(i);
            throw CError("not now");
        };
        m_queue.add(job, i % priorities);
    }
    EXPECT_THAT(begun, IsEmpty());
    EXPECT_THAT(finish(), ElementsAre("busy"));
    ASSERT_EQ(begun.size(), static_cast<std::size_t>(count));
    EXPECT_TRUE(std::is_sorted(begun.begin(), begun.end(), [](int a, int b) {
        return a % priorities != b % priorities ? a % priorities > b % priorities : a < b;
    }));
}

TEST_F(TransferQueueTest, AJobWhoseConnectionIsRefusedIsTheNextOfItsPriority) {
    m_peer.onConnection().expectRequest().pause().reply(good).thenDefault();
    m_peer.onConnection().expectRequest().reply(busy);
    m_peer.setDefaultReply(good);
    const P<CTestObserver> observer = new CTestObserver;
    CTransferQueue queue(new CFewConnectionsPolicy, 2, observer);
    queue.add(makeJob("first"), 3);
    ASSERT_TRUE(m_peer.waitUntilPaused());
    queue.add(makeJob("refused"), 3);
    queue.add(makeJob("equal"), 3);
    queue.add(makeJob("higher"), 4);
    std::thread releaser([this] {
        EXPECT_TRUE(m_peer.waitForRequests(2));
        m_peer.release();
    });
    queue.finish();
    releaser.join();
    EXPECT_THAT(observer->getStarts(), ElementsAre("first", "refused", "higher", "refused", "equal"));
}

// ---- how many

TEST_F(TransferQueueTest, NoMoreTransfersRunAtOnceThanTheCount) {
    for (int i = 0; i < 3; ++i) {
        m_peer.onConnection().expectRequest().pause().reply(good).thenDefault();
    }
    m_peer.setDefaultReply(good);
    CTransferQueue queue(m_policy, 3);
    queue.start(makeJob("1"));
    queue.start(makeJob("2"));
    EXPECT_TRUE(m_peer.waitUntilPaused(2));
    EXPECT_THAT(m_events, IsEmpty());
    std::thread releaser([this] {
        EXPECT_TRUE(m_peer.waitUntilPaused(3));
        m_peer.release();
    });
    queue.start(makeJob("3"));
    releaser.join();
    EXPECT_EQ(m_events.size(), 2u);
    m_peer.release({}, 2);
    queue.start(makeJob("4"));
    queue.finish();
    EXPECT_EQ(m_events.size(), 8u);
    EXPECT_EQ(m_peer.connectionCount(), 3u);
}

TEST_F(TransferQueueTest, TemporaryFailuresAreTriedAgainAndOthersAreNot) {
    int tries = 0;
    m_peer.setDefaultReply([&tries](const RecordedRequest& request) {
        if (request.requestLine().find("/missing") != std::string::npos) {
            return missing;
        }
        return ++tries < 3 ? busy : good;
    });
    CTransferQueue queue(m_policy, 1);
    queue.start(makeJob("busy"));
    queue.start(makeJob("missing"));
    EXPECT_THAT(m_events, ElementsAre("busy succeeds: good", "busy ends", HasSubstr("missing fails: "),
                                      "missing ends"));
    EXPECT_EQ(m_peer.requests().size(), 4u);
    EXPECT_EQ(m_policy->getRetryCount(), 2);
}

TEST_F(TransferQueueTest, ThereAreNoMoreTriesThanThePolicyAllows) {
    m_peer.setDefaultReply(busy);
    CTransferQueue queue(m_policy, 1);
    queue.start(makeJob("1"));
    EXPECT_THAT(m_events, ElementsAre(HasSubstr("1 fails: "), "1 ends"));
    EXPECT_EQ(m_peer.requests().size(), 3u);
    // A transfer that wants to begin again uses a try each time.
    const P<CTestJob> job = makeJob("2");
    job->furtherTransfers = 99;
    queue.start(job);
    EXPECT_EQ(m_peer.requests().size(), 6u);
}

// Otherwise a transfer of several requests, each of which succeeds in the end, may go on for ever.
TEST_F(TransferQueueTest, TriesAreCountedForTheWholeJob) {
    int requests = 0;
    m_peer.setDefaultReply([&requests](const RecordedRequest&) { return ++requests % 2 == 1 ? busy : good; });
    CTransferQueue queue(m_policy, 1);
    const P<CTestJob> job = makeJob("1");
    job->furtherRequests = 99;
    queue.start(job);
    EXPECT_THAT(m_events, ElementsAre(HasSubstr("1 fails: ")));
    EXPECT_EQ(m_peer.requests().size(), 5u) << "two retries, two requests that have worked, and the first";
}

TEST_F(TransferQueueTest, ATransferOfSeveralRequestsCanContinueInAnotherWay) {
    int requests = 0;
    m_peer.setDefaultReply([&requests](const RecordedRequest&) { return ++requests == 1 ? missing : good; });
    const P<CTransferPolicy> impatient = new CTransferPolicy({.maxRetries = 0});
    CTransferQueue queue(impatient, 1);
    const P<CTestJob> job = makeJob("1");
    job->otherWays = 1;
    job->furtherRequests = 2;
    queue.start(job);
    EXPECT_THAT(m_events, ElementsAre("1 succeeds: good"));
    EXPECT_EQ(m_peer.requests().size(), 3u);
    EXPECT_EQ(job->attached, 3);
    EXPECT_EQ(job->detached, 1);
}

TEST_F(TransferQueueTest, OnlyWhatIsSafeIsRepeatedUnlessTheCallerSaysSo) {
    m_peer.setDefaultReply(busy);
    const auto countTries = [this](const P<CTransferPolicy>& policy, const char* method) {
        m_peer.clearRecords();
        CTransferQueue queue(policy, 1);
        const P<CTestJob> job = makeJob("1");
        job->onPrepare = [method](CNetRequest& request) { request.setHTTPMethod(method); };
        queue.start(job);
        return m_peer.requests().size();
    };
    for (const char* const method : {"GET", "HEAD", "DELETE", "OPTIONS", ""}) {
        EXPECT_EQ(countTries(m_policy, method), 3u) << method;
    }
    const P<CTransferPolicy> careless = new CTransferPolicy(makeSettings(), CTransferPolicy::Repeat::Always);
    for (const char* const method : {"POST", "PATCH", "MOVE"}) {
        EXPECT_EQ(countTries(m_policy, method), 1u) << method;
        EXPECT_EQ(countTries(careless, method), 3u) << method;
    }
}

TEST_F(TransferQueueTest, APostOfWhichNothingWasSentIsRepeated) {
    const auto countRetries = [this](const String& url) {
        const P<CTransferPolicy> policy = new CTransferPolicy(makeSettings());
        CTransferQueue queue(policy, 1);
        queue.start(makeTransferJob(
            [&url](CNetRequest& request) {
                request.setProxy("");
                request.setURL(url);
                request.setHTTPMethod("POST");
                request.setKeepPostOnRedirect(true);
            },
            nullptr, [](const CError&) {}));
        return policy->getRetryCount();
    };
    const String closed = "http://127.0.0.1:" + String::fromInt(ScriptedPeer::closedPort()) + "/";
    EXPECT_EQ(countRetries(closed), 2);
    // The first server has received the POST.
    m_peer.setDefaultReply("HTTP/1.1 307 There\r\nContent-Length: 0\r\nLocation: " + closed.toUTF8() +
                           "\r\n\r\n");
    EXPECT_EQ(countRetries(String::fromUTF8(m_peer.url("/"))), 0);
}

TEST_F(TransferQueueTest, AnFTPTransferIsNotRepeatedAfterTheServerHasReplied) {
    m_peer.onConnection().reply("421 Busy\r\n").close();
    m_peer.onConnection().reply("421 Busy\r\n").close();
    CTransferQueue queue(m_policy, 1);
    queue.start(makeTransferJob(
        [this](CNetRequest& request) {
            request.setURL("ftp://127.0.0.1:" + String::fromInt(m_peer.port()) + "/file");
        },
        nullptr, [](const CError&) {}));
    EXPECT_EQ(m_peer.connectionCount(), 1u);
    EXPECT_EQ(m_policy->getRetryCount(), 0);
}

TEST_F(TransferQueueTest, ASuccessThatIsNotOneIsAFailure) {
    const std::string cut = "HTTP/1.1 200 OK\r\nContent-Le";
    m_peer.onConnection().expectRequest().reply(cut).close();
    m_peer.setDefaultReply(good);
    CTransferQueue queue(m_policy, 1);
    queue.start(makeJob("cut"));
    EXPECT_THAT(m_events, ElementsAre("cut succeeds: good", "cut ends"));
    EXPECT_EQ(m_policy->getRetryCount(), 1);
    // The status counts with any spelling of the scheme.
    m_events.clear();
    m_peer.setDefaultReply(missing);
    const P<CTestJob> job = makeJob("1");
    job->onPrepare = [this](CNetRequest& request) {
        request.setURL("HTTP" + String::fromUTF8(m_peer.url("/1").substr(4)));
    };
    queue.start(job);
    EXPECT_THAT(m_events, ElementsAre(HasSubstr("404")));
}

TEST_F(TransferQueueTest, ThePauseThatTheServerDemandsIsObserved) {
    m_peer.setDefaultReply("HTTP/1.1 429 Slow\r\nRetry-After: 100\r\nContent-Length: 0\r\n\r\n");
    std::vector<int64> pauses;
    CRetryPolicy::Settings settings = makeSettings();
    settings.pauseFactor = 0.001;
    settings.onPause = [&pauses](const CError&, int, std::chrono::milliseconds pause) {
        pauses.push_back(pause.count());
    };
    CTransferQueue queue(new CTransferPolicy(settings), 1);
    queue.start(makeJob("1"));
    EXPECT_THAT(pauses, ElementsAre(100, 100));
}

TEST_F(TransferQueueTest, TheTriesThatPauseBeginInTheOrderOfTheirTimes) {
    std::mutex mutex;
    std::set<std::string> seen;
    m_peer.setDefaultReply([&](const RecordedRequest& request) {
        const std::lock_guard<std::mutex> lock(mutex);
        const std::string name = request.requestLine().substr(5, 3);
        return seen.insert(name).second
                   ? "HTTP/1.1 429 Slow\r\nRetry-After: " + name + "\r\nContent-Length: 0\r\n\r\n"
                   : good;
    });
    CRetryPolicy::Settings settings = makeSettings();
    settings.pauseFactor = 0.001;
    const P<CTestObserver> observer = new CTestObserver;
    CTransferQueue queue(new CTransferPolicy(settings), 5, observer);
    for (const char* const name : {"600", "200", "900", "400", "800"}) {
        queue.add(makeJob(name));
    }
    queue.finish();
    std::vector<std::string> starts = observer->getStarts();
    ASSERT_EQ(starts.size(), 10u);
    starts.erase(starts.begin(), starts.begin() + 5);
    EXPECT_THAT(starts, ElementsAre("200", "400", "600", "800", "900"));
}

TEST_F(TransferQueueTest, EachExceptionOfAJobFailsThatJobAlone) {
    m_peer.setDefaultReply(good);
    CTransferQueue queue(m_policy, 2);
    const auto fail = [](auto&&...) { throw CError("no"); };
    const std::vector<std::function<void(CTestJob&)>> ways = {
        [&](CTestJob& job) { job.onGetTransfer = fail; },
        [&](CTestJob& job) { job.onPrepare = fail; },
        [&](CTestJob& job) { job.onResponse = fail; },
        [&](CTestJob& job) { job.afterSuccess = fail; },
        [&](CTestJob& job) {
            job.onResponse = [](CNetRequest&) { throw std::runtime_error("bad"); };
            job.onBeginAgain = fail;
        },
        [&](CTestJob& job) {
            job.onResponse = [](CNetRequest&) { throw std::bad_alloc(); };
            job.onFallBack = fail;
        },
        [&](CTestJob& job) { job.onPrepare = [](CNetRequest&) { throw 7; }; },
    };
    for (std::size_t i = 0; i < ways.size(); ++i) {
        m_events.clear();
        P<CTestJob> job = makeJob("bad");
        ways[i](*job);
        queue.start(std::move(job));
        queue.start(makeJob("good"));
        queue.finish();
        EXPECT_EQ(std::count(m_events.begin(), m_events.end(), "good succeeds: good"), 1) << i;
        EXPECT_EQ(std::count_if(m_events.begin(), m_events.end(),
                                [](const std::string& event) { return event.starts_with("bad fails: "); }),
                  1)
            << i;
        EXPECT_EQ(std::count(m_events.begin(), m_events.end(), "bad ends"), 1) << i;
    }
}

TEST_F(TransferQueueTest, AnExceptionOfOnFailureEndsTheQueue) {
    m_peer.onConnection().expectRequest().waitForClose();
    m_peer.onConnection().expectRequest().pause("bad").reply(missing);
    const P<CTestObserver> observer = new CTestObserver;
    {
        CTransferQueue queue(m_policy, 3, observer);
        queue.start(makeJob("held"));
        ASSERT_TRUE(m_peer.waitForRequests(1));
        P<CTestJob> job = makeJob("bad");
        job->afterFailure = [] { throw CError("The end."); };
        queue.start(std::move(job));
        m_peer.release("bad");
        EXPECT_EQ(whatOf([&queue] { queue.finish(); }), "The end.");
    }
    EXPECT_THAT(m_events, ElementsAre(HasSubstr("bad fails: "), "held ends", "bad ends"));
    EXPECT_THAT(observer->events,
                ElementsAre("start /held", "start /bad", "end /bad", "fatal /bad", "given up /held"));
    EXPECT_TRUE(m_peer.waitUntilIdle());
}

TEST_F(TransferQueueTest, TheErrorThatHasEndedTheWorkerIsThrown) {
    m_peer.setDefaultReply(good);
    const LogCapture log;
    CTransferQueue queue(m_policy, 2);
    P<CTestJob> job = makeJob("1");
    job->onPrepare = [](CNetRequest& request) { request.setReceiveDataSink(new CIllSink); };
    queue.start(std::move(job));
    EXPECT_EQ(whatOf([&queue] { queue.finish(); }), "The sink is ill.");
    EXPECT_THAT(m_events, IsEmpty());
}

TEST_F(TransferQueueTest, ACancelTokenEndsItAndAllItsTransfers) {
    m_peer.onConnection().expectRequest().waitForClose();
    const P<CCancelToken> stop = new CCancelToken;
    {
        CTransferQueue queue(m_policy, 1);
        queue.setCancelToken(stop);
        std::thread user([this, &stop] {
            EXPECT_TRUE(m_peer.waitForRequests(1));
            stop->cancel();
        });
        EXPECT_THAT(whatOf([&] { queue.start(makeJob("1")); }), HasSubstr("transfer cancelled"));
        user.join();
        // The transfer itself ends, too, before the queue does.
        EXPECT_TRUE(m_peer.waitUntilIdle());
    }
    EXPECT_THAT(m_events, ElementsAre("1 ends"));
    CTransferQueue queue(m_policy, 8);
    queue.setCancelToken(stop);
    EXPECT_THROW(queue.start(makeJob("2")), CCURLError);
    EXPECT_EQ(m_peer.connectionCount(), 1u);
}

TEST_F(TransferQueueTest, ACancelTokenEndsAPause) {
    m_peer.setDefaultReply(busy);
    const P<CCancelToken> stop = new CCancelToken;
    CRetryPolicy::Settings settings;
    settings.pauseFactor = 10000;
    settings.limit = std::chrono::hours(10);
    settings.onPause = [&stop](const CError&, int, std::chrono::milliseconds) { stop->cancel(); };
    CTransferQueue queue(new CTransferPolicy(settings), 1);
    queue.setCancelToken(stop);
    EXPECT_THAT(whatOf([&] { queue.start(makeJob("1")); }), HasSubstr("transfer cancelled"));
    EXPECT_EQ(m_peer.requests().size(), 1u);
}

/// Continues a queue some time after its pause.
class CResumingObserver : public virtual CBase, public ITransferObserver {
public:
    CResumingObserver(const ScriptedPeer& peer, CPauseToken* token) : m_peer(peer), m_token(token) {}

    void checkContinue() override {
        if (m_token->isPaused() && ++calls == 4) {
            requests = m_peer.requests().size();
            m_token->resume();
        }
    }

    int calls = 0;  // ten a second
    std::size_t requests = 0;

private:
    const ScriptedPeer& m_peer;
    const P<CPauseToken> m_token;
};

TEST_F(TransferQueueTest, APauseTokenDelaysJobsAndTries) {
    m_peer.onConnection().expectRequest().reply(busy).thenDefault();
    m_peer.setDefaultReply(good);
    const P<CPauseToken> token = new CPauseToken;
    CRetryPolicy::Settings settings = makeSettings();
    settings.onPause = [&token](const CError&, int, std::chrono::milliseconds) { token->pause(); };
    const P<CResumingObserver> observer = new CResumingObserver(m_peer, token);
    CTransferQueue queue(new CTransferPolicy(settings), 2, observer);
    queue.setPauseToken(token);
    const auto start = std::chrono::steady_clock::now();
    queue.start(makeJob("1"));
    queue.finish();
    EXPECT_EQ(observer->requests, 1u) << "no further try";
    EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200)) << "nor a busy wait";

    token->pause();
    observer->calls = 0;
    queue.start(makeJob("2"));
    queue.finish();
    EXPECT_EQ(observer->requests, 2u) << "no further job";
    EXPECT_EQ(m_peer.requests().size(), 3u);
    EXPECT_THAT(m_events, ElementsAre("1 succeeds: good", "1 ends", "2 succeeds: good", "2 ends"));
}

TEST_F(TransferQueueTest, AllTransfersShareARateLimit) {
    const std::string body(40'000, 'x');
    m_peer.setDefaultReply("HTTP/1.1 200 OK\r\nContent-Length: 40000\r\n\r\n" + body);
    const P<CRateLimit> limit = new CRateLimit;
    limit->setDownloadRate(400'000);
    CTransferQueue queue(m_policy, 4);
    queue.setRateLimit(limit);
    const auto start = std::chrono::steady_clock::now();
    for (const char* const name : {"1", "2", "3", "4", "5", "6"}) {
        queue.start(makeJob(name));
    }
    queue.finish();
    // Less a tenth of a second and a turn.
    EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(450));
    EXPECT_THAT(m_events, testing::Contains("6 succeeds: " + body));
}

TEST_F(TransferQueueTest, WhatStillRunsIsGivenUpWithTheQueue) {
    m_peer.onConnection().expectRequest().waitForClose();
    const P<CTestObserver> observer = new CTestObserver;
    observer->isIll = true;
    const LogCapture log;
    {
        CTransferQueue queue(m_policy, 2, observer);
        queue.start(makeJob("1"));
        ASSERT_TRUE(m_peer.waitForRequests(1));
    }
    EXPECT_THAT(m_events, ElementsAre("1 ends"));
    EXPECT_THAT(observer->events, ElementsAre("start /1", "given up /1"));
    EXPECT_EQ(log.lines().size(), 1u);
    EXPECT_TRUE(m_peer.waitUntilIdle());
}

TEST_F(TransferQueueTest, TheObserverCanStopIt) {
    m_peer.onConnection().expectRequest().waitForClose();
    const P<CTestObserver> observer = new CTestObserver;
    CTransferQueue queue(m_policy, 2, observer);
    queue.start(makeJob("1"));
    ASSERT_TRUE(m_peer.waitForRequests(1));
    observer->isToStop = true;
    EXPECT_EQ(whatOf([&queue] { queue.finish(); }), "The observer stops.");
}

TEST_F(TransferQueueTest, TheObserverSeesProgress) {
    m_peer.onConnection().expectRequest().pause().reply(good);
    const P<CTestObserver> observer = new CTestObserver;
    CTransferQueue queue(m_policy, 2, observer);
    queue.start(makeJob("1"));
    m_peer.release();
    queue.finish();
    EXPECT_TRUE(observer->hasProgress);
    EXPECT_THAT(observer->events, ElementsAre("start /1", "end /1"));
}

// Otherwise the calls would grow with the square of the number of transfers.
TEST_F(TransferQueueTest, TheObserverSeesProgressInIntervalsAndNotAtEachEnd) {
    class CCounter : public virtual CBase, public ITransferObserver {
    public:
        void onProgress(CNetRequest&) override { ++calls; }
        int64 calls = 0;
    };
    m_peer.setDefaultReply(good);
    constexpr int atOnce = 20;
    const P<CCounter> counter = new CCounter;
    const auto start = std::chrono::steady_clock::now();
    CTransferQueue queue(m_policy, atOnce, counter);
    for (int number = 0; number < 500; ++number) {
        queue.start(makeJob("1"));
    }
    queue.finish();
    const auto time = std::chrono::steady_clock::now() - start;
    EXPECT_GE(counter->calls, 1);
    // The promise is a call for each of them in 100 ms, and half of that keeps it.
    EXPECT_LE(counter->calls, atOnce * (time / std::chrono::milliseconds(50) + 1));
}

TEST_F(TransferQueueTest, ARequestOfAnEndedJobHasNothingOfItForTheNext) {
    m_peer.setDefaultReply(good);
    CTransferQueue queue(m_policy, 1);
    P<CNetRequest> kept;
    P<CTestJob> first = makeJob("1");
    first->onPrepare = [&kept](CNetRequest& request) {
        kept = &request;
        request.setReceiveDataSink(nullptr);
        request.setHTTPMethod("DELETE");
    };
    queue.start(std::move(first));
    EXPECT_TRUE(kept->usesDefaultReceiveBuffer());
    queue.start(makeJob("2"));
    ASSERT_EQ(m_peer.requests().size(), 2u);
    EXPECT_EQ(m_peer.requests()[0].requestLine(), "DELETE /1 HTTP/1.1");
    EXPECT_EQ(m_peer.requests()[1].requestLine(), "GET /2 HTTP/1.1");
}

TEST_F(TransferQueueTest, AJobWhoseConnectionIsRefusedWaitsForAnother) {
    m_peer.onConnection().expectRequest().pause().reply(good).thenDefault();
    m_peer.onConnection().expectRequest().reply(busy);
    m_peer.setDefaultReply(good);
    const P<CFewConnectionsPolicy> policy = new CFewConnectionsPolicy;
    const P<CTestObserver> observer = new CTestObserver;
    CTransferQueue queue(policy, 2, observer);
    queue.start(makeJob("1"));
    ASSERT_TRUE(m_peer.waitUntilPaused());
    std::thread releaser([this] {
        EXPECT_TRUE(m_peer.waitForRequests(2));
        m_peer.release();
    });
    const P<CTestJob> second = makeJob("2");
    queue.start(second);
    queue.finish();
    releaser.join();
    EXPECT_THAT(m_events, UnorderedElementsAre("1 succeeds: good", "1 ends", "2 succeeds: good"));
    EXPECT_THAT(observer->events, testing::Contains("fewer: 1"));
    EXPECT_EQ(second->attached, 2);
    EXPECT_EQ(second->detached, 2);
}

TEST_F(TransferQueueTest, TransfersUseThePolicysOwnConnectionIfThereIsNoOther) {
    int requests = 0;
    m_peer.setDefaultReply([&requests](const RecordedRequest&) { return ++requests == 1 ? busy : good; });
    const P<CFewConnectionsPolicy> policy = new CFewConnectionsPolicy;
    policy->ownRequest = new CNetRequest;
    const P<CTestObserver> observer = new CTestObserver;
    CTransferQueue queue(policy, 1, observer);
    queue.start(makeJob("1"));
    EXPECT_TRUE(policy->isHere);
    EXPECT_THAT(m_events, ElementsAre("1 succeeds: good", "1 ends"));
    EXPECT_THAT(observer->events, testing::Contains("one connection"));
}

}  // namespace vexil
