// The reports to a progress object, and transfers that are cancelled under perform().
#include "tests/net/CancelTestSupport.h"
#include "tests/support/Deadline.h"
#include "tests/support/ScriptedPeer.h"
#include "tests/support/WhatOf.h"

#include <csignal>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace {

using namespace vexil_test;
using std::chrono::milliseconds;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using vexil::CCancelToken;

const std::string okReply = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

class NetRequestProgressTest : public testing::Test {
protected:
    NetRequestProgressTest() {
        request->setProxy("");
        request->setURL(peer.url("/a").c_str());
        request->setTransferProgress(progress);
    }
    ~NetRequestProgressTest() override {
        request = nullptr;
        EXPECT_TRUE(peer.waitUntilIdle());
        EXPECT_THAT(peer.failures(), IsEmpty());
    }

    const Deadline deadline{"progress is told in the order downloaded, its total, uploaded, its total; a "
                            "cancelled transfer ends, and its connection is not used again"};
    ScriptedPeer peer;
    LogCapture log;
    P<OpenRequest> request = new OpenRequest;
    P<TestProgress> progress = new TestProgress;
};

/// The number of calls in a time: one each 50 ms.
std::size_t mostCallsIn(Clock::duration time) {
    return static_cast<std::size_t>(time / milliseconds(50)) + 1;
}

// ---- progress --------------------------------------------------------------------------------------------

TEST_F(NetRequestProgressTest, ADownloadIsToldWithItsTotal) {
    // The peer continues only when the bytes that it has sent are reported.
    peer.onConnection()
        .expectRequest()
        .reply("HTTP/1.1 200 OK\r\nContent-Length: 3000\r\n\r\n")
        .sendPattern(1000)
        .pause("half")
        .sendPattern(1500)
        .pause("rest")
        .sendPattern(500);
    progress->then = [this](const ProgressNumbers& seen) {
        // A gate may be released twice: no script waits at it again.
        if (seen == ProgressNumbers{1000, 3000, 0, 0}) {
            peer.release("half");
        } else if (seen == ProgressNumbers{2500, 3000, 0, 0}) {
            peer.release("rest");
        }
    };
    request->perform();
    EXPECT_EQ(request->getDownloadedBytes(), 3000);
    for (std::size_t i = 1; i < progress->calls.size(); ++i) {
        EXPECT_GE(progress->calls[i].downloaded, progress->calls[i - 1].downloaded);
    }
}

TEST_F(NetRequestProgressTest, AnUploadIsToldWithItsTotal) {
    peer.onConnection().expectHead().expectBytes(1000).pause("rest").expectBytes(2000).pause("answer").reply(
        okReply);
    const P<TestSource> source = new TestSource(ScriptedPeer::pattern(0, 3000));
    bool isHalfTold = false;
    source->onRead = [&](void* buffer, int) -> int {
        if (source->position == 1000 && !isHalfTold) {
            return CURL_READFUNC_PAUSE;
        }
        const int count = source->position == 0 ? 1000 : source->position == 1000 ? 2000 : 0;
        std::memcpy(buffer, source->body.data() + source->position, static_cast<std::size_t>(count));
        source->position += count;
        return count;
    };
    request->setHTTPMethod("PUT");
    request->setSendDataSource(source);
    request->setSendDataSize(3000);
    progress->then = [&](const ProgressNumbers& seen) {
        if (seen == ProgressNumbers{0, 0, 1000, 3000} && !isHalfTold) {
            isHalfTold = true;
            peer.release("rest");
            curl_easy_pause(request->getHandle(), CURLPAUSE_CONT);
        } else if (seen == ProgressNumbers{0, 0, 3000, 3000}) {
            peer.release("answer");
        }
    };
    request->perform();
    EXPECT_EQ(request->getUploadedBytes(), 3000);
}

TEST_F(NetRequestProgressTest, AnUnknownDownloadTotalIsZero) {
    peer.onConnection()
        .expectRequest()
        .reply("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n")
        .pause("rest")
        .reply("2\r\nde\r\n0\r\n\r\n");
    progress->then = [this, isTold = false](const ProgressNumbers& seen) mutable {
        if (seen == ProgressNumbers{3, 0, 0, 0} && !std::exchange(isTold, true)) {
            peer.release("rest");
        }
    };
    request->perform();
    EXPECT_EQ(bodyOf(*request), "abcde");
}

TEST_F(NetRequestProgressTest, AnUnknownUploadTotalIsZero) {
    peer.onConnection()
        .expectHead()
        .expectBytes(std::string("3\r\nabc\r\n0\r\n\r\n").size())
        .pause("answer")
        .reply(okReply);
    request->setHTTPMethod("PUT");
    request->setSendDataSource(new TestSource("abc"));
    bool isTold = false;
    progress->then = [&](const ProgressNumbers& seen) {
        // Whether libcurl counts the frames of chunks depends on its version.
        if (seen.uploaded >= 3 && !std::exchange(isTold, true)) {
            peer.release("answer");
        }
    };
    request->perform();
    EXPECT_TRUE(isTold);
    EXPECT_THAT(progress->calls, Each(testing::Field(&ProgressNumbers::uploadTotal, 0)));
}

TEST_F(NetRequestProgressTest, ASlowTransferIsToldAtMostTwentyTimesASecond) {
#ifdef _WIN32
    // The shortest sleep may be 16 ms.
    constexpr std::uint64_t size = 4 * 1024 * 1024;
#else
    constexpr std::uint64_t size = 32 * 1024 * 1024;
#endif
    peer.onConnection()
        .expectRequest()
        .reply("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n")
        .sendPattern(size);
    // This many blocks, with a callback for each.
    int blocks = 0;
    struct SlowSink : virtual vexil::CBase, CNetRequest::IDataSink {
        explicit SlowSink(int& count) : blocks(count) {}
        void write(const void*, int, int, const HeaderMap&) override {
            ++blocks;
            std::this_thread::sleep_for(milliseconds(1));
        }
        int& blocks;
    };
    request->setReceiveDataSink(new SlowSink(blocks));
    const auto begin = Clock::now();
    request->perform();
    const auto time = Clock::now() - begin;
    EXPECT_GE(progress->calls.size(), 2u);
    EXPECT_LE(progress->calls.size(), mostCallsIn(time));
    EXPECT_GT(static_cast<std::size_t>(blocks), mostCallsIn(time)) << "libcurl did not ask more often";
}

TEST_F(NetRequestProgressTest, ManyQuickTransfersOfARequestAreToldAtMostTwentyTimesASecond) {
    peer.setDefaultReply(okReply);
    std::size_t transfers = 0;
    const auto begin = Clock::now();
    while (transfers < 300 || transfers < 2 * mostCallsIn(Clock::now() - begin)) {
        request->perform();
        ++transfers;
        if (Clock::now() - begin > std::chrono::minutes(1)) {
            GTEST_SKIP() << "the machine is too slow for two transfers in the time of a call";
        }
    }
    EXPECT_GE(progress->calls.size(), 1u);
    EXPECT_LE(progress->calls.size(), mostCallsIn(Clock::now() - begin));
}

TEST_F(NetRequestProgressTest, WhatItThrowsEndsTheTransferAndIsThrown) {
    peer.setDefaultReply(okReply);
    const P<TestListener> listener = new TestListener;
    request->setDoneListener(listener);
    progress->then = [](const ProgressNumbers&) { throw OwnError("enough"); };
    const auto error = thrownBy<OwnError>([&] { request->perform(); });
    EXPECT_EQ(messageOf(error), "enough");
    EXPECT_EQ(error->getDomain(), "own");
    EXPECT_EQ(progress->calls.size(), 1u) << "called again after its error";
    EXPECT_THAT(peer.requests(), IsEmpty()) << "it went on";
    EXPECT_EQ(listener->count, 1);
    ASSERT_TRUE(listener->errorSeen);
    EXPECT_EQ(listener->errorSeen->getMessage(), "enough");
}

TEST_F(NetRequestProgressTest, OtherExceptionsAreErrorsWithTheirTexts) {
    peer.setDefaultReply(okReply);
    progress->then = [](const ProgressNumbers&) { throw std::runtime_error("full"); };
    EXPECT_EQ(messageOf(thrownBy<CError>([&] { request->perform(); })), "full");
}

TEST_F(NetRequestProgressTest, AnErrorOfItDoesNotStay) {
    peer.setDefaultReply(okReply);
    progress->then = [](const ProgressNumbers&) { throw OwnError("enough"); };
    thrownBy<OwnError>([&] { request->perform(); });
    progress->then = {};
    request->perform();
    EXPECT_EQ(bodyOf(*request), "ok");
}

TEST_F(NetRequestProgressTest, ItsErrorWinsOverACancel) {
    peer.setDefaultReply(okReply);
    progress->then = [this](const ProgressNumbers&) {
        request->cancel();
        throw OwnError("enough");
    };
    EXPECT_EQ(messageOf(thrownBy<OwnError>([&] { request->perform(); })), "enough");
}

TEST_F(NetRequestProgressTest, NullSwitchesItOff) {
    peer.setDefaultReply(okReply);
    request->perform();
    const std::size_t before = progress->calls.size();
    EXPECT_GE(before, 1u);
    request->setTransferProgress(nullptr);
    // Enough time for a call.
    const auto begin = Clock::now();
    while (Clock::now() - begin < milliseconds(200)) {
        request->perform();
    }
    EXPECT_EQ(progress->calls.size(), before);
}

/// A progress object that counts its living instances.
class CountedProgress : public TestProgress {
public:
    explicit CountedProgress(int& count) : m_alive(count) { ++m_alive; }
    ~CountedProgress() override { --m_alive; }

private:
    int& m_alive;
};

TEST_F(NetRequestProgressTest, AReferenceIsKeptUntilItIsReplaced) {
    int alive = 0;
    peer.setDefaultReply(okReply);
    request->setTransferProgress(new CountedProgress(alive));
    request->perform();
    EXPECT_EQ(alive, 1);
    request->setTransferProgress(progress);
    EXPECT_EQ(alive, 0);
}

TEST_F(NetRequestProgressTest, ResetLetsGoOfIt) {
    int alive = 0;
    request->setTransferProgress(new CountedProgress(alive));
    request->reset();
    EXPECT_EQ(alive, 0);
    EXPECT_FALSE(request->isCancellable());
    peer.setDefaultReply(okReply);
    request->setProxy("");
    request->setURL(peer.url().c_str());
    request->perform();
    EXPECT_EQ(bodyOf(*request), "ok");
}

TEST_F(NetRequestProgressTest, ItMayTakeItselfOff) {
    peer.onConnection()
        .expectRequest()
        .reply("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\na")
        .pause("rest")
        .reply("bc");
    int alive = 0;
    int calls = 0;
    CountedProgress* const counted = new CountedProgress(alive);
    request->setTransferProgress(counted);
    counted->then = [&](const ProgressNumbers&) {
        ++calls;
        request->setTransferProgress(nullptr);
        EXPECT_EQ(alive, 1) << "gone within its call";
        peer.release("rest");
    };
    request->perform();
    EXPECT_EQ(bodyOf(*request), "abc");
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(alive, 0);
}

// ---- cancelling ------------------------------------------------------------------------------------------

TEST_F(NetRequestProgressTest, ACancelledTransferTellsWhatItWas) {
    request->setTransferProgress(nullptr);
    request->setCancellable(true);
    request->setHTTPMethod("GET");
    peer.onConnection().clientMayLeave().expectRequest().waitForClose();
    const auto error = errorOfCancelled(
        *request, [&] { request->perform(); }, [&] { peer.waitForRequests(1); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), 42);
    EXPECT_EQ(error->getDomain(), "curl");
    EXPECT_EQ(error->getMessage(), cancelledMessage);
    EXPECT_EQ(error->getURL(), String::fromUTF8(peer.url("/a")));
    EXPECT_EQ(error->getResponseCodeDomain(), "http");
    EXPECT_EQ(error->getHTTPMethod(), "GET");
    EXPECT_THAT(propsOf(*error),
                ElementsAre("responseCodeDomain=http", "url=" + peer.url("/a"), "httpMethod=GET"));
}

TEST_F(NetRequestProgressTest, ACancelIsNoticedWithinLibcurlsSecond) {
    // It has just begun.
    expectOnceLessThan(milliseconds(2000), [this] {
        const std::size_t before = peer.requests().size();
        peer.onConnection().clientMayLeave().expectRequest().waitForClose();
        Clock::time_point begin;
        expectCancelled(errorOfCancelled(
            *request, [&] { request->perform(); },
            [&] {
                peer.waitForRequests(before + 1);
                progress->waitUntilItWaits();
                begin = Clock::now();
            }));
        return Clock::now() - begin;
    });
}

TEST_F(NetRequestProgressTest, ACancelWithinASinkEndsTheTransfer) {
    peer.onConnection()
        .clientMayLeave()
        .expectRequest()
        .reply("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc")
        .waitForClose();
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [this] { request->cancel(); };
    request->setReceiveDataSink(sink);
    const auto error = thrownBy<CCURLError>([&] { request->perform(); });
    expectCancelled(error);
    EXPECT_EQ(error->getMessage(), String(cancelledMessage) + " (response code: http 200)");
    EXPECT_EQ(sink->all(), "abc");
}

TEST_F(NetRequestProgressTest, ACancelWithinOnProgressEndsTheTransfer) {
    peer.setDefaultReply(okReply);
    progress->then = [this](const ProgressNumbers&) { request->cancel(); };
    expectCancelled(thrownBy<CCURLError>([&] { request->perform(); }));
    EXPECT_EQ(progress->calls.size(), 1u) << "not called after the end";
}

TEST_F(NetRequestProgressTest, ACancelBeforeATransferIsForgotten) {
    peer.setDefaultReply(okReply);
    request->cancel();
    request->perform();
    EXPECT_EQ(bodyOf(*request), "ok");
}

TEST_F(NetRequestProgressTest, ACancelBeforeAResetIsForgotten) {
    peer.setDefaultReply(okReply);
    request->announceAsync();
    request->cancel();
    request->reset();
    request->setCancellable(true);
    request->setProxy("");
    request->setURL(peer.url().c_str());
    request->setAsyncInfo(false, CURLE_OK);
    EXPECT_EQ(curl_easy_perform(request->getHandle()), CURLE_OK);
}

TEST_F(NetRequestProgressTest, ACancelAfterTheEndChangesNothing) {
    peer.setDefaultReply(okReply);
    const P<TestListener> listener = new TestListener;
    listener->then = [this] { request->cancel(); };
    request->setDoneListener(listener);
    request->perform();
    request->cancel();
    EXPECT_FALSE(listener->errorSeen);
    EXPECT_EQ(bodyOf(*request), "ok");
    EXPECT_EQ(request->getResponseCode(), 200);
    request->perform();
    EXPECT_EQ(bodyOf(*request), "ok");
}

TEST_F(NetRequestProgressTest, ACancelWhileASinkBeginsAgainCounts) {
    peer.setDefaultReply(okReply);
    struct Sink : virtual vexil::CBase, CNetRequest::IRestartableDataSink {
        explicit Sink(CNetRequest* cancelled) : request(cancelled) {}
        void restart() override { request->cancel(); }
        void write(const void*, int, int, const HeaderMap&) override {}
        CNetRequest* const request;
    };
    request->setReceiveDataSink(new Sink(request));
    expectCancelled(thrownBy<CCURLError>([&] { request->perform(); }));
    EXPECT_THAT(peer.requests(), IsEmpty());
}

TEST_F(NetRequestProgressTest, AnAnnouncementIsOverWithASynchronousTransfer) {
    peer.setDefaultReply(okReply);
    request->announceAsync();
    request->perform();
    request->cancel();
    request->setAsyncInfo(false, CURLE_OK);
    EXPECT_EQ(curl_easy_perform(request->getHandle()), CURLE_OK);
}

TEST_F(NetRequestProgressTest, TheConnectionOfACancelledTransferIsNotUsedAgain) {
    peer.onConnection()
        .expectRequest()
        .reply(okReply)
        .expectRequest()
        .reply("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc")
        .thenClientMayLeave()
        .waitForClose();
    peer.onConnection().expectRequest().reply(okReply);
    request->perform();
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [this] { request->cancel(); };
    request->setReceiveDataSink(sink);
    expectCancelled(thrownBy<CCURLError>([&] { request->perform(); }));
    EXPECT_EQ(peer.connectionCount(), 1u) << "kept before";
    request->setDefaultReceiveDataStream();
    request->perform();
    EXPECT_EQ(bodyOf(*request), "ok");
    EXPECT_EQ(peer.connectionCount(), 2u);
}

TEST_F(NetRequestProgressTest, AnAbortOfTheSourceIsNoCancel) {
    for (int i = 0; i < 2; ++i) {
        peer.onConnection().clientMayLeave().expectHead().waitForClose();
    }
    request->setHTTPMethod("PUT");
    const P<TestSource> source = new TestSource;
    request->setSendDataSource(source);
    request->setSendDataSize(3);
    // Cancelled first, so that its end is not mistaken for the end of the next one.
    source->onRead = [this](void*, int) -> int {
        request->cancel();
        return CURL_READFUNC_PAUSE;
    };
    expectCancelled(thrownBy<CCURLError>([&] { request->perform(); }));
    request->setTransferProgress(nullptr);
    source->onRead = [](void*, int) -> int { return CURL_READFUNC_ABORT; };
    const auto error = thrownBy<CCURLError>([&] { request->perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), 42);
    EXPECT_THAT(error->getMessage().toUTF8(), Not(HasSubstr("cancelled")));
}

TEST_F(NetRequestProgressTest, WithoutEnablingACancelIsAnErrorAndChangesNothing) {
    peer.onConnection().expectRequest().reply(okReply).expectRequest().reply(okReply);
    request->setTransferProgress(nullptr);
    EXPECT_FALSE(request->isCancellable());
    const auto expectRefused = [this] {
        const auto error = thrownBy<CError>([&] { request->cancel(); });
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getMessage(),
                  "The transfer cannot be cancelled: cancelling is not enabled for this request.");
        EXPECT_EQ(error->getDomain(), "");
        EXPECT_EQ(error->getCode(), -1);
    };
    expectRefused();
    const P<TestSink> sink = new TestSink;
    sink->onWrite = expectRefused;
    request->setReceiveDataSink(sink);
    request->perform();
    EXPECT_EQ(sink->all(), "ok");
    // The refused call must have no effect after cancelling is enabled.
    sink->onWrite = [&] {
        expectRefused();
        request->setCancellable(true);
    };
    request->perform();
    EXPECT_EQ(sink->all(), "okok");
}

TEST_F(NetRequestProgressTest, CancellingIsEnabledByEither) {
    EXPECT_TRUE(request->isCancellable()) << "by its progress object";
    request->setCancellable(true);
    request->setTransferProgress(nullptr);
    EXPECT_TRUE(request->isCancellable());
    request->cancel();
    request->setTransferProgress(progress);
    request->setCancellable(false);
    EXPECT_TRUE(request->isCancellable());
    request->cancel();
    request->setTransferProgress(nullptr);
    EXPECT_FALSE(request->isCancellable());
    EXPECT_THAT(whatOf([&] { request->cancel(); }), HasSubstr("not enabled"));
    request->setCancellable(true);
    EXPECT_TRUE(request->isCancellable());
}

TEST_F(NetRequestProgressTest, CancellingLastsOverTransfers) {
    request->setTransferProgress(nullptr);
    request->setCancellable(true);
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [this] { request->cancel(); };
    request->setReceiveDataSink(sink);
    for (int i = 0; i < 3; ++i) {
        peer.onConnection()
            .clientMayLeave()
            .expectRequest()
            .reply("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc")
            .waitForClose();
        expectCancelled(thrownBy<CCURLError>([&] { request->perform(); }));
    }
}

TEST_F(NetRequestProgressTest, ACancelWakesWhatDrivesTheTransfer) {
    struct Waker : virtual vexil::CBase, CNetRequest::ICancelWaker {
        void wake() noexcept override { ++calls; }
        int calls = 0;
    };
    const P<Waker> waker = new Waker;
    request->setCancelWaker(waker);
    request->cancel();
    EXPECT_EQ(waker->calls, 1);
    request->setTransferProgress(nullptr);
    EXPECT_THAT(whatOf([&] { request->cancel(); }), HasSubstr("not enabled"));
    EXPECT_EQ(waker->calls, 1);
    request->setTransferProgress(progress);
    request->setCancelWaker(nullptr);
    request->cancel();
    EXPECT_EQ(waker->calls, 1);
}

// ---- tokens ----------------------------------------------------------------------------------------------

class NetRequestTokenTest : public NetRequestProgressTest {
protected:
    NetRequestTokenTest() {
        request->setTransferProgress(nullptr);
        request->setCancelToken(token);
    }

    const P<CCancelToken> token = new CCancelToken;
};

TEST_F(NetRequestTokenTest, LetsTransfersRunUntilItIsCancelled) {
    peer.setDefaultReply(okReply);
    EXPECT_FALSE(token->isCancelled());
    EXPECT_NO_THROW(token->throwIfCancelled());
    request->perform();
    request->perform();
    EXPECT_EQ(bodyOf(*request), "ok");
    EXPECT_EQ(request->getCancelToken(), token);
}

TEST_F(NetRequestTokenTest, IsNotForgottenWhenATransferStarts) {
    peer.setDefaultReply(okReply);
    request->perform();
    token->cancel();
    for (int transfer = 0; transfer < 2; ++transfer) {
        const auto error = thrownBy<CCURLError>([&] { request->perform(); });
        expectCancelled(error);
        EXPECT_EQ(error->getMessage(), cancelledMessage);
        EXPECT_EQ(error->getURL(), request->getURL());
    }
    EXPECT_EQ(peer.requests().size(), 1u);
    EXPECT_EQ(bodyOf(*request), "");
}

TEST_F(NetRequestTokenTest, LeavesNoResponseOfTheTransferBefore) {
    peer.setDefaultReply(okReply);
    request->perform();
    EXPECT_EQ(request->getResponseCode(), 200);
    token->cancel();
    const auto error = thrownBy<CCURLError>([&] { request->perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getResponseCode(), 0);
    EXPECT_EQ(request->getResponseCode(), 0);
    EXPECT_EQ(request->getHTTPStatusLine(), "");
    request->setCancelToken(nullptr);
    request->perform();
    EXPECT_EQ(request->getResponseCode(), 200);
}

TEST_F(NetRequestTokenTest, KeepsATransferFromBeginning) {
    token->cancel();
    request->setURL("wrong://host/");
    expectCancelled(thrownBy<CCURLError>([&] { request->perform(); }));
    request->setURL(peer.url("/a").c_str());
    expectCancelled(thrownBy<CCURLError>([&] { request->perform(); }));
    EXPECT_TRUE(peer.waitUntilIdle());
    EXPECT_EQ(peer.connectionCount(), 0u);
}

TEST_F(NetRequestTokenTest, LastsPastAReset) {
    request->reset();
    request->setProxy("");
    request->setURL(peer.url("/a").c_str());
    peer.onConnection().clientMayLeave().expectRequest().waitForClose();
    std::thread canceller([&] {
        EXPECT_TRUE(peer.waitForRequests(1));
        token->cancel();
    });
    expectCancelled(thrownBy<CCURLError>([&] { request->perform(); }));
    canceller.join();
}

TEST_F(NetRequestTokenTest, AndACancelBothEndATransfer) {
    peer.onConnection().clientMayLeave().expectRequest().waitForClose();
    expectCancelled(errorOfCancelled(
        *request, [&] { request->perform(); }, [&] { EXPECT_TRUE(peer.waitForRequests(1)); }));
    EXPECT_FALSE(token->isCancelled());
}

P<CCancelToken> tokenOfHandler;

TEST_F(NetRequestTokenTest, MayBeCancelledByASignalHandler) {
    tokenOfHandler = token;
    const auto oldHandler = std::signal(SIGTERM, [](int) { tokenOfHandler->cancel(); });
    ASSERT_NE(oldHandler, SIG_ERR);
    std::raise(SIGTERM);
    std::signal(SIGTERM, oldHandler);
    tokenOfHandler = nullptr;
    expectCancelled(thrownBy<CCURLError>([&] { request->perform(); }));
    expectCancelled(thrownBy<CCURLError>([&] { token->throwIfCancelled(); }));
}

TEST_F(NetRequestTokenTest, EndsAPause) {
    EXPECT_TRUE(token->pause(0));
    EXPECT_TRUE(token->pause(-5));
    const auto start = Clock::now();
    EXPECT_TRUE(token->pause(20));
    EXPECT_GE(Clock::now() - start, milliseconds(20));
    std::thread canceller([&] { token->cancel(); });
    EXPECT_FALSE(token->pause(600000)) << "the deadline of this test is shorter";
    canceller.join();
    EXPECT_FALSE(token->pause(0));
}

}  // namespace
