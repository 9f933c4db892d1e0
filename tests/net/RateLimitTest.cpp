// Rate limits of single requests under perform(), by a clock that moves only while a transfer waits.
#include "vexil/net/RateLimit.h"

#include "tests/net/NetRequestTestSupport.h"
#include "tests/net/TestRateClock.h"
#include "tests/support/Deadline.h"
#include "tests/support/ScriptedPeer.h"

#include <chrono>
#include <thread>

namespace {

using namespace vexil_test;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::IsEmpty;
using testing::SizeIs;
using vexil::CCancelToken;
using vexil::CRateLimit;
using vexil::getRateLimit;
using vexil::setRateLimit;
using zet::CTimeSpan;

const std::string okReply = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
constexpr int size = 100000;
constexpr int rate = 10000;

class RateLimitTest : public testing::Test {
protected:
    RateLimitTest() {
        request->setProxy("");
        request->setURL(peer.url("/a").c_str());
        setRateLimit(*request, limit);
    }
    ~RateLimitTest() override {
        request = nullptr;
        EXPECT_TRUE(peer.waitUntilIdle());
        EXPECT_THAT(peer.failures(), IsEmpty());
    }

    void expectDownload(int count = 1) {
        ConnectionScript script = peer.onConnection();
        for (int i = 0; i < count; ++i) {
            script.expectRequest()
                .reply("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n")
                .sendPattern(size);
        }
    }
    /// A client that leaves resets the connection if it has not read everything.
    void expectDownloadThatEndsEarly() {
        peer.onConnection()
            .expectRequest()
            .reply("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n")
            .thenClientMayLeave()
            .sendPattern(size);
    }
    void prepareUpload(int bytes = size) {
        request->setHTTPMethod("PUT");
        request->setSendDataSource(source);
        request->setSendDataSize(bytes);
    }

    /// Runs a transfer and returns the milliseconds that passed by the clock of the limit.
    int64 millisecondsOfTransfer() {
        const nanoseconds start = clock->getTime();
        request->perform();
        return std::chrono::duration_cast<milliseconds>(clock->getTime() - start).count();
    }
    /// What the rate allows, with its tenth of a second and a turn less.
    static void expectTime(int64 measured, int64 bytes = size) {
        const int64 time = bytes * 1000 / rate;
        EXPECT_GE(measured, time - 150);
        EXPECT_LE(measured, time * 105 / 100);
    }

    const Deadline deadline{"a limited transfer comes to its end"};
    ScriptedPeer peer;
    P<TestRateClock> clock = new TestRateClock;
    P<CRateLimit> limit = new CRateLimit(clock);
    P<OpenRequest> request = new OpenRequest;
    P<TestSource> source = new TestSource(ScriptedPeer::pattern(0, size));
};

TEST_F(RateLimitTest, RatesAreKept) {
    CRateLimit other;
    EXPECT_EQ(other.getDownloadRate(), 0);
    EXPECT_EQ(other.getUploadRate(), 0);
    other.setDownloadRate(5);
    other.setUploadRate(std::numeric_limits<int64>::max());
    EXPECT_EQ(other.getDownloadRate(), 5);
    EXPECT_EQ(other.getUploadRate(), std::numeric_limits<int64>::max());
}

TEST_F(RateLimitTest, ANegativeRateIsRefused) {
    limit->setDownloadRate(7);
    const auto refusalOf = [](const auto& call) {
        const auto error = thrownBy<vexil::CInvalidArgError>(call);
        return error ? (error->getPlace() + ": " + error->getMessage()).toUTF8() : std::string();
    };
    EXPECT_EQ(refusalOf([&] { limit->setDownloadRate(-1); }),
              "CRateLimit::setDownloadRate: bytesPerSecond must not be negative");
    EXPECT_EQ(refusalOf([&] { limit->setUploadRate(-5); }),
              "CRateLimit::setUploadRate: bytesPerSecond must not be negative");
    EXPECT_EQ(refusalOf([] { const CRateLimit none(nullptr); }),
              "CRateLimit::CRateLimit: clock must not be null");
    EXPECT_EQ(limit->getDownloadRate(), 7);
}

TEST_F(RateLimitTest, TheLimitOfARequestSurvivesReset) {
    EXPECT_EQ(getRateLimit(*request), limit);
    request->reset();
    EXPECT_EQ(getRateLimit(*request), limit);
    EXPECT_TRUE(request->isCancellable());
    setRateLimit(*request, nullptr);
    EXPECT_EQ(getRateLimit(*request), nullptr);
    EXPECT_FALSE(request->isCancellable());
    const P<CNetRequest> other = new CNetRequest;
    setRateLimit(*other, nullptr);
    EXPECT_EQ(getRateLimit(*other), nullptr);
}

TEST_F(RateLimitTest, ADownloadTakesTheTimeOfItsRate) {
    limit->setDownloadRate(rate);
    expectDownload();
    expectTime(millisecondsOfTransfer());
    EXPECT_EQ(request->getReceivedText(), ScriptedPeer::pattern(0, size));
}

TEST_F(RateLimitTest, AnUploadTakesTheTimeOfItsRate) {
    limit->setUploadRate(rate);
    peer.onConnection().expectRequest().reply(okReply);
    prepareUpload();
    expectTime(millisecondsOfTransfer());
    ASSERT_THAT(peer.requests(), SizeIs(1));
    EXPECT_EQ(peer.requests()[0].body, source->body);
}

TEST_F(RateLimitTest, AnUploadOfUnknownSizeTakesTheTimeOfItsRate) {
    limit->setUploadRate(rate);
    peer.onConnection().expectRequest().reply(okReply);
    prepareUpload(-1);
    expectTime(millisecondsOfTransfer());
    ASSERT_THAT(peer.requests(), SizeIs(1));
    EXPECT_EQ(peer.requests()[0].body, source->body);
}

TEST_F(RateLimitTest, OneDirectionDoesNotLimitTheOther) {
    limit->setUploadRate(1);
    expectDownload();
    EXPECT_EQ(millisecondsOfTransfer(), 0);
    limit->setUploadRate(0);
    limit->setDownloadRate(1);
    peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n").close();
    prepareUpload();
    request->setOptionInt(CURLOPT_FRESH_CONNECT, 1);
    EXPECT_EQ(millisecondsOfTransfer(), 0);
    EXPECT_EQ(clock->sleeps, 0);
}

TEST_F(RateLimitTest, AKeptConnectionIsLimitedAgain) {
    limit->setDownloadRate(rate);
    expectDownload(3);
    expectTime(millisecondsOfTransfer());
    setRateLimit(*request, nullptr);
    EXPECT_EQ(millisecondsOfTransfer(), 0);
    setRateLimit(*request, limit);
    expectTime(millisecondsOfTransfer());
    EXPECT_EQ(peer.connectionCount(), 1u);
    EXPECT_EQ(request->getReceivedText(), ScriptedPeer::pattern(0, size));
}

TEST_F(RateLimitTest, TheRateMayChangeInATransfer) {
    limit->setDownloadRate(rate);
    expectDownload();
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [&] {
        if (sink->all().size() >= size / 2) {
            limit->setDownloadRate(rate * 10);
        }
    };
    request->setReceiveDataSink(sink);
    const int64 time = millisecondsOfTransfer();
    EXPECT_GE(time, 5000 + 500 - 150);
    EXPECT_LE(time, 5500 * 105 / 100);
    EXPECT_EQ(sink->all(), ScriptedPeer::pattern(0, size));
}

TEST_F(RateLimitTest, ADroppedBodyIsLimited) {
    limit->setDownloadRate(rate);
    expectDownload();
    request->setReceiveDataSink(nullptr);
    expectTime(millisecondsOfTransfer());
}

TEST_F(RateLimitTest, ChunksAndTrailersArriveWhole) {
    limit->setDownloadRate(rate);
    std::string body;
    for (int i = 0; i < 100; ++i) {
        body += "3e8\r\n" + ScriptedPeer::pattern(static_cast<std::uint64_t>(i) * 1000, 1000) + "\r\n";
    }
    peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + body +
                                              "0\r\nx-last: yes\r\n\r\n");
    expectTime(millisecondsOfTransfer());
    EXPECT_EQ(request->getReceivedText(), ScriptedPeer::pattern(0, size));
    EXPECT_THAT(linesOf(request->getResponseInfo()), testing::Contains(testing::HasSubstr("x-last: yes")));
}

TEST_F(RateLimitTest, ABodyThatEndsWithTheConnectionArrivesWhole) {
    limit->setDownloadRate(rate);
    peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\n\r\n").sendPattern(size).close();
    expectTime(millisecondsOfTransfer());
    EXPECT_EQ(request->getReceivedText(), ScriptedPeer::pattern(0, size));
}

TEST_F(RateLimitTest, ARedirectedUploadIsSentAgain) {
    limit->setUploadRate(rate);
    peer.onConnection()
        .expectRequest()
        .reply("HTTP/1.1 307 Temporary Redirect\r\nLocation: /b\r\nContent-Length: 0\r\n\r\n")
        .expectRequest()
        .reply(okReply);
    prepareUpload();
    expectTime(millisecondsOfTransfer(), 2 * size);
    ASSERT_THAT(peer.requests(), SizeIs(2));
    EXPECT_EQ(peer.requests()[1].body, source->body);
}

TEST_F(RateLimitTest, AResponseThatComesEarlyEndsAnUpload) {
    limit->setUploadRate(1);
    peer.onConnection()
        .expectHead()
        .reply("HTTP/1.1 100 Continue\r\n\r\n")
        .expectBytes(1)
        .reply("HTTP/1.1 403 Forbidden\r\nContent-Length: 2\r\nConnection: close\r\n\r\nno");
    // Only the response can end it.
    clock->onSleep = [](nanoseconds) { std::this_thread::sleep_for(milliseconds(1)); };
    prepareUpload();
    const auto error = thrownBy<CCURLError>([&] { request->perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getResponseCode(), 403);
}

TEST_F(RateLimitTest, ATokenCancelsATransferThatWaits) {
    for (const bool isUpload : {false, true}) {
        limit->setDownloadRate(1);
        limit->setUploadRate(1);
        if (isUpload) {
            peer.onConnection().expectHead().reply("HTTP/1.1 100 Continue\r\n\r\n").expectBytes(1);
            prepareUpload();
        } else {
            expectDownloadThatEndsEarly();
        }
        const P<CCancelToken> token = new CCancelToken;
        request->setCancelToken(token);
        clock->onSleep = [&](nanoseconds time) {
            EXPECT_LE(time, milliseconds(50));
            token->cancel();
        };
        const auto error = thrownBy<CCURLError>([&] { request->perform(); });
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getCode(), CURLE_ABORTED_BY_CALLBACK);
    }
}

TEST_F(RateLimitTest, ATransferThatWaitsObeysTheTimeout) {
    limit->setDownloadRate(1);
    clock->onSleep = [](nanoseconds) { std::this_thread::sleep_for(milliseconds(1)); };
    expectDownloadThatEndsEarly();
    request->setFullRequestTimeout(CTimeSpan::fromMilliseconds(100));
    const auto error = thrownBy<CCURLError>([&] { request->perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_OPERATION_TIMEDOUT);
}

TEST_F(RateLimitTest, AWaitDoesNotCountForTheLowSpeedLimit) {
    // Twice as long as the time of the low speed limit, whose shortest is a second.
    for (const bool isUpload : {false, true}) {
        limit->setDownloadRate(1);
        limit->setUploadRate(1);
        const auto start = std::chrono::steady_clock::now();
        clock->onSleep = [&](nanoseconds) {
            std::this_thread::sleep_for(milliseconds(50));
            if (std::chrono::steady_clock::now() - start > milliseconds(2200)) {
                limit->setDownloadRate(0);
                limit->setUploadRate(0);
            }
        };
        if (isUpload) {
            peer.onConnection().expectRequest().reply(okReply);
            prepareUpload();
        } else {
            expectDownload();
        }
        request->setOptionInt(CURLOPT_FRESH_CONNECT, 1);
        request->setLowSpeedLimit(1000, CTimeSpan::fromSeconds(1));
        request->perform();
    }
    EXPECT_GT(clock->sleeps, 60);
}

TEST_F(RateLimitTest, TheErrorOfASinkIsThrown) {
    limit->setDownloadRate(rate);
    peer.onConnection()
        .expectRequest()
        .reply("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n")
        .sendPattern(size)
        .clientMayLeave();
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [&] {
        if (sink->all().size() > 5000) {
            throw OwnError("the disk is full");
        }
    };
    request->setReceiveDataSink(sink);
    const auto error = thrownBy<OwnError>([&] { request->perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getMessage(), String("the disk is full"));
    EXPECT_GT(clock->sleeps, 0);

    // The failure is forgotten.
    request->setDefaultReceiveDataStream();
    expectDownload();
    expectTime(millisecondsOfTransfer());
    EXPECT_EQ(request->getReceivedText(), ScriptedPeer::pattern(0, size));
}

TEST_F(RateLimitTest, TheErrorOfASourceIsThrown) {
    limit->setUploadRate(rate);
    peer.onConnection().expectHead().reply("HTTP/1.1 100 Continue\r\n\r\n").expectBytes(500).clientMayLeave();
    prepareUpload();
    source->onRead = [&](void* buffer, int length) {
        if (source->position > 0) {
            throw OwnError("the file is gone");
        }
        std::memcpy(buffer, source->body.data(), static_cast<std::size_t>(length));
        source->position += length;
        return length;
    };
    const auto error = thrownBy<OwnError>([&] { request->perform(); });
    ASSERT_TRUE(error);
    EXPECT_GT(clock->sleeps, 0);
}

TEST_F(RateLimitTest, AnErrorDocumentIsCutAtItsLimit) {
    limit->setDownloadRate(rate);
    request->setReceiveBufferLimits(-1, 3000);
    peer.onConnection()
        .expectRequest()
        .reply("HTTP/1.1 500 Oh\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n")
        .sendPattern(size)
        .clientMayLeave();
    const auto error = thrownBy<CCURLError>([&] { request->perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getResponseCode(), 500);
    EXPECT_EQ(error->getCode(), CURLE_HTTP_RETURNED_ERROR);
    EXPECT_EQ(request->getReceivedText(), ScriptedPeer::pattern(0, 3000));
}

TEST_F(RateLimitTest, APauseOfTheSourceIsKept) {
    limit->setUploadRate(rate);
    peer.onConnection().expectRequest().reply(okReply);
    prepareUpload();
    int reads = 0;
    source->onRead = [&](void* buffer, int length) -> int {
        if (++reads == 3) {
            return CURL_READFUNC_PAUSE;
        }
        std::memcpy(buffer, source->body.data() + source->position, static_cast<std::size_t>(length));
        source->position += length;
        return length;
    };
    clock->onSleep = [&](nanoseconds time) { clock->advance(time); };
    // Continues it as its owner would.
    class CProgress : public virtual vexil::CBase, public CNetRequest::ITransferProgress {
    public:
        CProgress(CNetRequest* request, int& reads) : m_request(request), m_reads(reads) {}
        void onProgress(int64, int64, int64, int64) override {
            if (m_reads == 3 && ++calls > 1) {
                curl_easy_pause(m_request->getHandle(), CURLPAUSE_CONT);
            }
        }
        int calls = 0;

    private:
        CNetRequest* const m_request;
        int& m_reads;
    };
    const P<CProgress> progress = new CProgress(request, reads);
    request->setTransferProgress(progress);
    expectTime(millisecondsOfTransfer());
    EXPECT_GT(progress->calls, 1) << "the limit has not continued it";
}

TEST_F(RateLimitTest, AFileIsNotLimited) {
    limit->setDownloadRate(1);
    request->setURL("file:///nosuchfile");
    const auto error = thrownBy<CCURLError>([&] { request->perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_FILE_COULDNT_READ_FILE);
}

TEST_F(RateLimitTest, ARequestMayEndBeforeItsLimit) {
    limit->setDownloadRate(rate);
    expectDownload();
    const P<TestSink> sink = new TestSink;
    // The request drops its last reference to the limit while it waits.
    sink->onWrite = [&] {
        setRateLimit(*request, nullptr);
        limit = nullptr;
    };
    request->setReceiveDataSink(sink);
    expectTime(millisecondsOfTransfer());
    EXPECT_EQ(sink->all(), ScriptedPeer::pattern(0, size));
}

TEST_F(RateLimitTest, ThreadsShareAGroup) {
    // By the real clock, and fast: for the tools that look for races.
    const P<CRateLimit> group = new CRateLimit;
    group->setDownloadRate(4000000);
    peer.setDefaultReply("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n" +
                         ScriptedPeer::pattern(0, size));
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            const P<CNetRequest> own = new CNetRequest;
            own->setProxy("");
            own->setURL(peer.url("/b").c_str());
            setRateLimit(*own, group);
            own->perform();
            EXPECT_EQ(own->getReceivedText(), ScriptedPeer::pattern(0, size));
        });
    }
    group->setDownloadRate(5000000);
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
