#include "apps/vexil/transfer/SessionQueue.h"

#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/transfer/Retry.h"
#include "tests/support/Environment.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedPeer.h"
#include "tests/support/WhatOf.h"
#include "vexil/net/CURLError.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace vexil::app {

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::StartsWith;
using testing::UnorderedElementsAre;
using vexil_test::LogCapture;
using vexil_test::RecordedRequest;
using vexil_test::ScriptedPeer;
using vexil_test::whatOf;

const std::string good = "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\ngood";
const std::string slowDownDocument = "<Error><Code>SlowDown</Code><Message>Not so fast</Message></Error>";
const std::string slowDown =
    "HTTP/1.1 503 Slow Down\r\nContent-Length: " + std::to_string(slowDownDocument.size()) + "\r\n\r\n" +
    slowDownDocument;

class SessionQueueTest : public testing::Test {
protected:
    void SetUp() override {
        vexil_test::setEnvironment("VEXIL_S3_ACCESS_KEY", "access");
        vexil_test::setEnvironment("VEXIL_S3_SECRET_KEY", "secret");
        m_options.endpoint = m_peer.url("");
        m_options.retries = 3;
        vexil_test::setEnvironment("VEXIL_TEST_PAUSE_FACTOR", "0.01");
    }
    void TearDown() override { CInterrupt::clear(); }

    CSession& getSession() {
        if (!m_session) {
            m_session = std::make_unique<CSession>(m_options, m_console);
        }
        return *m_session;
    }

    CS3Access& getAccess() {
        if (!m_access) {
            m_access = std::make_unique<CS3Access>(getSession());
        }
        return *m_access;
    }

    std::vector<std::string> getPaths() const {
        std::vector<std::string> paths;
        for (const RecordedRequest& request : m_peer.requests()) {
            paths.push_back(request.requestLine());
        }
        return paths;
    }

    ScriptedPeer m_peer;
    COptions m_options;
    std::ostringstream m_output;
    CConsole m_console{m_output, m_output, false};
    std::unique_ptr<CSession> m_session;
    std::unique_ptr<CS3Access> m_access;
    std::vector<std::string> m_events;
};

/// Fetches an object and records the calls of the queue.
class CTestJob : public virtual CBase, public ITransferJob, private ITransfer {
public:
    CTestJob(CS3Access& access, const std::string& key, std::vector<std::string>& events)
        : m_access(access), m_key(key), m_events(events) {}
    ITransfer& getTransfer() override { return *this; }
    ~CTestJob() override { m_events.push_back(m_key + " ends"); }

    void prepare(CNetRequest& request) override {
        m_access.getClient().prepareGetObjectRequest(request, "b", String::fromUTF8(m_key), 0, -1);
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
    bool canBeginAgain(CNetRequest&, const CError&) override { return furtherTransfers-- > 0; }
    bool canFallBack(CNetRequest&, const CError&) override { return otherWays-- > 0; }
    void onSuccess(CNetRequest&) override { m_events.push_back(m_key + " succeeds"); }
    void onFailure(const CError& error) override {
        m_events.push_back(m_key + " fails: " + error.getMessage().toUTF8());
        if (isHopeless) {
            error.throwClone();
        }
    }

    std::function<void(CNetRequest&)> onPrepare;
    std::function<void(CNetRequest&)> onResponse;
    int furtherRequests = 1;
    int furtherTransfers = 0;
    int otherWays = 0;
    bool isHopeless = false;

private:
    CS3Access& m_access;
    std::string m_key;
    std::vector<std::string>& m_events;
};

/// Treats each 503 as a refused connection, and tries nothing again.
class CTooFewConnectionsPolicy : public virtual CBase, public IServerPolicy {
public:
    void checkResult(CNetRequest& request) override { request.checkAsyncResult(); }
    std::optional<std::chrono::milliseconds> decideRetry(CNetRequest&, const CError&,
                                                         CRetryPolicy::Failures&) override {
        return std::nullopt;
    }
    std::optional<std::chrono::milliseconds> decidePause(CNetRequest&, const CError&,
                                                         CRetryPolicy::Failures&) override {
        return std::nullopt;
    }
    bool mayTryAgain(const CRetryPolicy::Failures&) const override { return true; }
    bool isRefusedConnection(CNetRequest& request, const CError&) const override {
        return request.getResponseCode() == 503;
    }
    int64 getRetryCount() const override { return 0; }
};

/// Ends the queues of a test that takes too long, as an interrupt does.
class CDeadline {
public:
    ~CDeadline() {
        {
            const std::scoped_lock lock(m_mutex);
            m_isOver = true;
        }
        m_change.notify_one();
        m_thread.join();
    }

private:
    void wait() {
        std::unique_lock lock(m_mutex);
        if (!m_change.wait_for(lock, std::chrono::seconds(20), [this] { return m_isOver; })) {
            CInterrupt::request(SIGINT);
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_change;
    bool m_isOver = false;
    std::thread m_thread{[this] { wait(); }};
};

/// A source that cannot go back.
class COneWaySource : public virtual CBase, public CNetRequest::IDataSource {
public:
    int read(void*, int, const TMap<String, String>&) override { return 0; }
    int64 getSize() override { return 0; }
    void seek(int64) override { throw CError("There is no way back."); }
    int64 getPosition() override { return 1; }
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

}  // namespace

TEST_F(SessionQueueTest, WithACountOfOneAJobIsDoneWhenStartReturns) {
    m_peer.setDefaultReply(good);
    CSessionQueue queue(getSession(), getAccess().getPolicy(), 1);
    for (const char* const key : {"1", "2", "3"}) {
        queue.start(make<CTestJob>(getAccess(), key, m_events));
        m_events.push_back("started");
    }
    queue.finish();
    EXPECT_THAT(m_events, ElementsAre("1 succeeds", "1 ends", "started", "2 succeeds", "2 ends", "started",
                                      "3 succeeds", "3 ends", "started"));
    EXPECT_EQ(m_peer.connectionCount(), 1u);
}

TEST_F(SessionQueueTest, StartReturnsWhenAFurtherJobCouldBegin) {
    for (int i = 0; i < 3; ++i) {
        m_peer.onConnection().expectRequest().pause().reply(good).thenDefault();
    }
    CSessionQueue queue(getSession(), getAccess().getPolicy(), 3);
    queue.start(make<CTestJob>(getAccess(), "1", m_events));
    queue.start(make<CTestJob>(getAccess(), "2", m_events));
    EXPECT_TRUE(m_peer.waitUntilPaused(2));
    EXPECT_THAT(m_events, IsEmpty());
    std::thread releaser([this] {
        EXPECT_TRUE(m_peer.waitUntilPaused(3));
        m_peer.release();
    });
    queue.start(make<CTestJob>(getAccess(), "3", m_events));
    releaser.join();
    EXPECT_EQ(m_events.size(), 2u);
    m_peer.release({}, 2);
    queue.finish();
    EXPECT_THAT(m_events,
                UnorderedElementsAre("1 succeeds", "1 ends", "2 succeeds", "2 ends", "3 succeeds", "3 ends"));
    EXPECT_THAT(m_peer.failures(), IsEmpty());
}

TEST_F(SessionQueueTest, AFailedTransferIsTriedAgainWhileOthersGoOn) {
    // Twice, and until the others are served: if they never are, the tries come to their end.
    int failures = 2;
    int others = 0;
    m_options.retries = 600;
    m_peer.setDefaultReply([&](const RecordedRequest& request) {
        if (request.requestLine().find("/b/slow") == std::string::npos) {
            ++others;
            return good;
        }
        return failures-- > 0 || others < 2 ? slowDown : good;
    });
    m_console.setVerbosity(Verbosity::Info);
    CSessionQueue queue(getSession(), getAccess().getPolicy(), 2);
    queue.start(make<CTestJob>(getAccess(), "slow", m_events));
    for (const char* const key : {"1", "2"}) {
        queue.start(make<CTestJob>(getAccess(), key, m_events));
    }
    queue.finish();
    EXPECT_THAT(m_events, UnorderedElementsAre("1 succeeds", "1 ends", "2 succeeds", "2 ends",
                                               "slow succeeds", "slow ends"));
    const std::vector<RecordedRequest> requests = m_peer.requests();
    const auto tries = std::count_if(requests.begin(), requests.end(), [](const auto& request) {
        return request.requestLine() == "GET /b/slow HTTP/1.1";
    });
    ASSERT_GE(tries, 3);
    EXPECT_EQ(getAccess().getPolicy().getRetryCount(), tries - 1);
    for (int i = 1; i < tries; ++i) {
        EXPECT_THAT(m_output.str(), HasSubstr("vexil: Amazon S3 error: Not so fast(SlowDown) (try " +
                                              std::to_string(i) + "); trying again in 0.0 s\n"));
    }
}

// One connection may serve both requests at first, but not enough later.
TEST_F(SessionQueueTest, AJobWhoseRequestIsRefusedAConnectionWaitsEvenWhereTheRequestHasWorked) {
    m_peer.setDefaultReply(good);
    CTooFewConnectionsPolicy policy;
    m_console.setVerbosity(Verbosity::Info);
    CSessionQueue queue(getSession(), policy, 2);
    // start() looks for ended transfers only if both requests are in transfer.
    queue.start(make<CTestJob>(getAccess(), "1", m_events));
    queue.start(make<CTestJob>(getAccess(), "2", m_events));
    queue.finish();
    int refusals = 1;
    m_peer.setDefaultReply([&refusals](const RecordedRequest& request) {
        return request.requestLine().find("/b/3") != std::string::npos && refusals-- > 0 ? slowDown : good;
    });
    m_events.clear();
    queue.start(make<CTestJob>(getAccess(), "3", m_events));
    queue.start(make<CTestJob>(getAccess(), "4", m_events));
    queue.finish();
    EXPECT_THAT(m_events, UnorderedElementsAre("3 succeeds", "3 ends", "4 succeeds", "4 ends"));
    EXPECT_THAT(m_output.str(), HasSubstr("continuing with 1 transfer at once."));
}

TEST_F(SessionQueueTest, TheLastConnectionIsNotGivenUp) {
    m_peer.setDefaultReply([](const RecordedRequest& request) {
        return request.requestLine().find("/b/good") == std::string::npos ? slowDown : good;
    });
    for (const int count : {1, 2, 3}) {
        // Without a connection a queue would wait for ever.
        const CDeadline deadline;
        CTooFewConnectionsPolicy policy;
        CSessionQueue queue(getSession(), policy, count);
        m_events.clear();
        for (const char* const key : {"1", "2", "good"}) {
            queue.start(make<CTestJob>(getAccess(), key, m_events));
        }
        queue.finish();
        EXPECT_THAT(m_events, IsSupersetOf({StartsWith("1 fails: "), StartsWith("2 fails: "),
                                            StartsWith("good succeeds")}))
            << count;
    }
}

TEST_F(SessionQueueTest, ThereAreNoMoreTriesThanTheClientAllows) {
    m_peer.setDefaultReply(slowDown);
    CSessionQueue queue(getSession(), getAccess().getPolicy(), 1);
    queue.start(make<CTestJob>(getAccess(), "1", m_events));
    EXPECT_THAT(m_events, ElementsAre("1 fails: Amazon S3 error: Not so fast(SlowDown)", "1 ends"));
    EXPECT_EQ(m_peer.requests().size(), 4u);
    EXPECT_EQ(getAccess().getPolicy().getRetryCount(), 3);
}

// Otherwise a transfer of several requests, each of which succeeds in the end, may go on for ever.
TEST_F(SessionQueueTest, TriesAreCountedForTheWholeJob) {
    int requests = 0;
    m_peer.setDefaultReply(
        [&requests](const RecordedRequest&) { return ++requests % 2 == 1 ? slowDown : good; });
    const LogCapture log;
    CSessionQueue queue(getSession(), getAccess().getPolicy(), 1);
    auto job = make<CTestJob>(getAccess(), "1", m_events);
    job->furtherRequests = 99;
    queue.start(std::move(job));
    EXPECT_THAT(m_events, ElementsAre("1 fails: Amazon S3 error: Not so fast(SlowDown)", "1 ends"));
    EXPECT_EQ(m_peer.requests().size(), 7u)
        << "three retries, three requests that have worked, and the first one";
    EXPECT_EQ(getAccess().getPolicy().getRetryCount(), 3);
}

TEST_F(SessionQueueTest, ATransferThatIsBegunAgainUsesATry) {
    m_peer.setDefaultReply("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
    CSessionQueue queue(getSession(), getAccess().getPolicy(), 1);
    auto job = make<CTestJob>(getAccess(), "1", m_events);
    job->furtherTransfers = 99;
    queue.start(std::move(job));
    EXPECT_THAT(m_events, ElementsAre(HasSubstr("1 fails: "), "1 ends"));
    EXPECT_EQ(m_peer.requests().size(), 4u);
}

TEST_F(SessionQueueTest, AnotherWayIsNoFurtherTry) {
    m_options.retries = 0;
    int requests = 0;
    m_peer.setDefaultReply([&requests](const RecordedRequest&) {
        return ++requests == 1 ? "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n" : good;
    });
    CSessionQueue queue(getSession(), getAccess().getPolicy(), 1);
    auto job = make<CTestJob>(getAccess(), "1", m_events);
    job->furtherTransfers = 1;
    job->otherWays = 1;
    queue.start(std::move(job));
    EXPECT_THAT(m_events, ElementsAre("1 succeeds", "1 ends"));
    EXPECT_EQ(m_peer.requests().size(), 2u);
}

// The client itself performs other operations, such as listings.
TEST_F(SessionQueueTest, TheClientHasTheSamePatience) {
    int requests = 0;
    const std::string listing = "<ListBucketResult><IsTruncated>false</IsTruncated></ListBucketResult>";
    const std::vector<std::string> failures = {
        slowDown,
        "HTTP/1.1 429 Too Many Requests\r\nRetry-After: 1\r\nContent-Length: 0\r\n\r\n",
        "HTTP/1.1 502 Bad Gateway\r\nContent-Length: 0\r\n\r\n",
    };
    m_peer.setDefaultReply([&](const RecordedRequest&) {
        const auto number = static_cast<std::size_t>(requests++);
        return number < failures.size()
                   ? failures[number]
                   : "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(listing.size()) + "\r\n\r\n" +
                         listing;
    });
    EXPECT_TRUE(getAccess().getClient().listObjects(getAccess().getRequest(), "b", "", "", "", -1));
    EXPECT_EQ(m_peer.requests().size(), 4u);
    EXPECT_EQ(getAccess().getPolicy().getRetryCount(), 3);
    for (const RecordedRequest& request : m_peer.requests()) {
        EXPECT_EQ(request.head.find("Authorization: AWS4-HMAC-SHA256 Credential=access/"),
                  request.head.rfind("Authorization: "));
        EXPECT_THAT(request.head, HasSubstr("x-amz-date: "));
        EXPECT_EQ(request.head.find("x-amz-date: "), request.head.rfind("x-amz-date: "));
    }
    // Each operation has the full number of tries, and no more.
    m_peer.setDefaultReply(slowDown);
    for (int i = 1; i <= 2; ++i) {
        EXPECT_THAT(whatOf([&] {
                        static_cast<void>(getAccess().getClient().listObjects(getAccess().getRequest(), "b",
                                                                              "", "", "", -1));
                    }),
                    HasSubstr("Not so fast"));
        EXPECT_EQ(m_peer.requests().size(), 4u + 4u * static_cast<unsigned>(i));
    }
}

/// A stream of 1,000,000 bytes.
class SequentialStream : public virtual CBase, public zet::IInStream {
public:
    explicit SequentialStream(bool canSeek) : m_canSeek(canSeek) {}

    [[nodiscard]] int read(void* buffer, int maxLength) override {
        const auto length = static_cast<int>(std::min<int64>(maxLength, size - m_position));
        const std::string bytes =
            ScriptedPeer::pattern(static_cast<std::uint64_t>(m_position), static_cast<std::size_t>(length));
        std::copy(bytes.begin(), bytes.end(), static_cast<char*>(buffer));
        m_position += length;
        return length;
    }
    int64 getSize() override { return size; }
    void seek(int64 position) override {
        if (!m_canSeek && position != m_position) {
            throw CError("cannot seek");
        }
        m_position = position;
    }
    int64 getPosition() override { return m_position; }

    static constexpr int64 size = 1'000'000;

private:
    const bool m_canSeek;
    int64 m_position = 0;
};

TEST_F(SessionQueueTest, ABodyThatIsReadOnceIsSentAgainFromItsFirstByte) {
    CS3Client& client = getAccess().getClient();
    client.setSignatureVersion(2);
    client.setUploadCheck(S3UploadCheck::WhileSending);
    m_peer.setDefaultReply(good);
    m_peer.onConnection().expectHead().expectBytes(SequentialStream::size / 2).reset();
    client.putObject(getAccess().getRequest(), "b", "k", new SequentialStream(true), SequentialStream::size,
                     "");
    ASSERT_EQ(m_peer.requests().size(), 2u);
    EXPECT_TRUE(m_peer.requests()[1].body == ScriptedPeer::pattern(0, SequentialStream::size));
    EXPECT_EQ(getAccess().getPolicy().getRetryCount(), 1);
}

TEST_F(SessionQueueTest, ABodyThatCannotBeReadAgainIsSentOnce) {
    CS3Client& client = getAccess().getClient();
    client.setSignatureVersion(2);
    client.setUploadCheck(S3UploadCheck::WhileSending);
    m_peer.setDefaultReply(slowDown);
    EXPECT_THAT(whatOf([&] {
                    client.putObject(getAccess().getRequest(), "b", "k", new SequentialStream(false),
                                     SequentialStream::size, "");
                }),
                HasSubstr("Not so fast"));
    EXPECT_EQ(m_peer.requests().size(), 1u);
    EXPECT_EQ(getAccess().getPolicy().getRetryCount(), 0);
}

TEST_F(SessionQueueTest, ATransferThatCanBeBegunAgainIsPreparedOnceMore) {
    m_peer.setDefaultReply("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
    CSessionQueue queue(getSession(), getAccess().getPolicy(), 1);
    auto job = make<CTestJob>(getAccess(), "1", m_events);
    job->furtherTransfers = 2;
    job->onPrepare = [this](CNetRequest&) { m_events.emplace_back("1 is prepared"); };
    queue.start(std::move(job));
    EXPECT_THAT(m_events, ElementsAre("1 is prepared", "1 is prepared", "1 is prepared",
                                      HasSubstr("1 fails: "), "1 ends"));
}

TEST_F(SessionQueueTest, ABadResponseIsAFailureThatTheClientDoesNotTryAgain) {
    m_peer.setDefaultReply(good);
    CSessionQueue queue(getSession(), getAccess().getPolicy(), 1);
    auto job = make<CTestJob>(getAccess(), "1", m_events);
    job->furtherTransfers = 1;
    job->onResponse = [](CNetRequest&) { throw CError("That is no response."); };
    queue.start(std::move(job));
    EXPECT_THAT(m_events, ElementsAre("1 fails: That is no response.", "1 ends"));
    EXPECT_EQ(m_peer.requests().size(), 2u);
}

TEST_F(SessionQueueTest, TheStatusCountsHoweverTheSchemeIsWritten) {
    m_options.endpoint.replace(0, 4, "HTTP");
    m_peer.setDefaultReply("HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n");
    CSessionQueue queue(getSession(), getAccess().getPolicy(), 1);
    queue.start(make<CTestJob>(getAccess(), "1", m_events));
    EXPECT_THAT(m_events, ElementsAre(HasSubstr("403"), "1 ends"));
}

TEST_F(SessionQueueTest, AJobThatCannotBePreparedFailsAlone) {
    m_peer.setDefaultReply(good);
    CSessionQueue queue(getSession(), getAccess().getPolicy(), 2);
    auto job = make<CTestJob>(getAccess(), "1", m_events);
    job->onPrepare = [](CNetRequest&) { throw std::runtime_error("out of order"); };
    queue.start(std::move(job));
    queue.start(make<CTestJob>(getAccess(), "2", m_events));
    queue.finish();
    EXPECT_THAT(m_events, ElementsAre("1 fails: out of order", "1 ends", "2 succeeds", "2 ends"));
}

TEST_F(SessionQueueTest, ASourceThatCannotBeRewoundFailsItsJobAlone) {
    m_peer.setDefaultReply(good);
    CSessionQueue queue(getSession(), getAccess().getPolicy(), 2);
    auto job = make<CTestJob>(getAccess(), "1", m_events);
    job->onPrepare = [](CNetRequest& request) { request.setSendDataSource(new COneWaySource); };
    queue.start(std::move(job));
    queue.start(make<CTestJob>(getAccess(), "2", m_events));
    queue.finish();
    EXPECT_THAT(m_events, ElementsAre("1 fails: There is no way back.", "1 ends", "2 succeeds", "2 ends"));
}

TEST_F(SessionQueueTest, AFailureThatAJobPassesOnEndsAll) {
    m_peer.onConnection().expectRequest().waitForClose();
    m_peer.onConnection().expectRequest().pause("bad").reply(
        "HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n");
    {
        CSessionQueue queue(getSession(), getAccess().getPolicy(), 3);
        queue.start(make<CTestJob>(getAccess(), "held", m_events));
        ASSERT_TRUE(m_peer.waitForRequests(1));
        auto job = make<CTestJob>(getAccess(), "bad", m_events);
        job->isHopeless = true;
        queue.start(std::move(job));
        m_peer.release("bad");
        EXPECT_THAT(whatOf([&queue] { queue.finish(); }), HasSubstr("403"));
        EXPECT_THAT(m_events, ElementsAre(HasSubstr("bad fails: ")));
        EXPECT_EQ(getSession().getFailedRequest()->getURL(), String::fromUTF8(m_peer.url("/b/bad")));
    }
    EXPECT_THAT(m_events, ElementsAre(HasSubstr("bad fails: "), "held ends", "bad ends"));
    EXPECT_TRUE(m_peer.waitUntilIdle());
}

TEST_F(SessionQueueTest, TheErrorThatHasEndedTheWorkerIsThrown) {
    m_peer.setDefaultReply(good);
    const LogCapture log;
    CSessionQueue queue(getSession(), getAccess().getPolicy(), 2);
    auto job = make<CTestJob>(getAccess(), "1", m_events);
    job->onPrepare = [](CNetRequest& request) { request.setReceiveDataSink(new CIllSink); };
    queue.start(std::move(job));
    EXPECT_EQ(whatOf([&queue] { queue.finish(); }), "The sink is ill.");
    EXPECT_THAT(m_events, IsEmpty());
}

TEST_F(SessionQueueTest, AnInterruptEndsTheWait) {
    m_peer.onConnection().expectRequest().waitForClose();
    {
        CSessionQueue queue(getSession(), getAccess().getPolicy(), 1);
        std::thread user([this] {
            EXPECT_TRUE(m_peer.waitForRequests(1));
            CInterrupt::request(SIGINT);
        });
        EXPECT_EQ(whatOf([&] { queue.start(make<CTestJob>(getAccess(), "1", m_events)); }), "Interrupted.");
        user.join();
        EXPECT_THAT(m_events, IsEmpty());
    }
    EXPECT_THAT(m_events, ElementsAre("1 ends"));
}

TEST(RetryTest, AnInterruptEndsThePauseWithinAnInstant) {
    const auto begin = std::chrono::steady_clock::now();
    std::thread interrupter([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        CInterrupt::request(SIGINT);
    });
    EXPECT_EQ(whatOf([] { waitForRetry(std::chrono::seconds(60)); }), "Interrupted.");
    interrupter.join();
    CInterrupt::clear();
    // Far more than a loaded machine needs, far less than the pause.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST(RetryTest, RunsAgainUntilItSucceedsOrIsGivenUp) {
    int runs = 0;
    const auto run = [&runs] {
        if (++runs < 3) {
            throw CError("run " + String::fromInt(runs));
        }
    };
    int maxRetries = 2;
    const auto decide = [&maxRetries](const CError&, CRetryPolicy::Failures& failures) {
        return failures.count++ < maxRetries ? std::optional(std::chrono::milliseconds(0)) : std::nullopt;
    };
    EXPECT_EQ(runWithRetries(run, decide), 3);
    runs = 0;
    maxRetries = 1;
    EXPECT_EQ(whatOf([&] { runWithRetries(run, decide); }), "run 2");
    EXPECT_EQ(runs, 2);
}

TEST(RetryTest, RunsNothingAfterAnInterrupt) {
    CInterrupt::request(SIGINT);
    int runs = 0;
    EXPECT_EQ(whatOf([&runs] {
                  runWithRetries([&runs] { ++runs; },
                                 [](const CError&, CRetryPolicy::Failures&) { return std::nullopt; });
              }),
              "Interrupted.");
    CInterrupt::clear();
    EXPECT_EQ(runs, 0);
}

TEST_F(SessionQueueTest, WhatStillRunsIsGivenUpWithTheQueue) {
    m_peer.onConnection().expectRequest().waitForClose();
    {
        CSessionQueue queue(getSession(), getAccess().getPolicy(), 2);
        queue.start(make<CTestJob>(getAccess(), "1", m_events));
        ASSERT_TRUE(m_peer.waitForRequests(1));
    }
    EXPECT_THAT(m_events, ElementsAre("1 ends"));
    EXPECT_TRUE(m_peer.waitUntilIdle());
}

TEST_F(SessionQueueTest, ARequestLetsGoOfItsStreamsWhenItsJobEnds) {
    m_peer.setDefaultReply(good);
    CSessionQueue queue(getSession(), getAccess().getPolicy(), 1);
    P<CNetRequest> kept;
    auto job = make<CTestJob>(getAccess(), "1", m_events);
    job->onPrepare = [&kept](CNetRequest& request) {
        kept = &request;
        request.setReceiveDataSink(nullptr);
    };
    queue.start(std::move(job));
    EXPECT_TRUE(kept->usesDefaultReceiveBuffer());
}

}  // namespace vexil::app
