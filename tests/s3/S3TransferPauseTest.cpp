// Pauses of the transfers of CS3TransferManager.
#include "tests/s3/FakeObject.h"
#include "vexil/net/FunctionRequestSetup.h"
#include "vexil/s3/S3TransferManager.h"
#include "zet/BufferStream.h"
#include "zet/MemoryInStream.h"

#include <atomic>
#include <chrono>

namespace {

using namespace vexil_test;
using namespace std::chrono_literals;
using testing::IsEmpty;
using vexil::CCancelToken;
using vexil::CPauseToken;
using vexil::CRetryPolicy;
using vexil::CS3TransferManager;
using vexil::CS3TransferSettings;
using vexil::S3UploadCheck;
using Clock = std::chrono::steady_clock;
using Operation = FakeS3::Operation;

constexpr std::size_t objectSize = 400'000;
constexpr std::size_t half = objectSize / 2;
// Much longer than the worker takes to notice a pause.
constexpr auto settled = 300ms;

/// Calls a function when the progress is shown.
class Observer : public virtual vexil::CBase, public vexil::IS3TransferObserver {
public:
    void onProgress(int64 doneBytes, int64) override {
        done = doneBytes;
        if (whenShown) {
            whenShown();
        }
    }

    int64 done = 0;
    std::function<void()> whenShown;
};

/// Counts the requests.
class RequestObserver : public virtual vexil::CBase, public vexil::ITransferObserver {
public:
    void onStart(CNetRequest&) override { ++started; }
    void onEnd(CNetRequest&) override { ++ended; }

    int started = 0;
    int ended = 0;
};

/// Pauses a token when it is read from a position on.
class PausingStream : public zet::CMemoryInStream {
public:
    PausingStream(const std::string& bytes, int64 position, CPauseToken* token)
        : CMemoryInStream(bytes.data(), static_cast<int>(bytes.size())), m_pausePosition(position),
          m_token(token) {}

    [[nodiscard]] int read(void* buffer, int maxLength) override {
        const int length = CMemoryInStream::read(buffer, maxLength);
        end = getPosition();
        if (end >= m_pausePosition && !m_hasPaused) {
            m_hasPaused = true;
            m_token->pause();
        }
        return length;
    }

    std::atomic<int64> end{0};

private:
    const int64 m_pausePosition;
    const P<CPauseToken> m_token;
    bool m_hasPaused = false;
};

class S3TransferPauseTest : public testing::Test {
protected:
    S3TransferPauseTest() {
        observer = new Observer;
        CRetryPolicy::Settings retries;
        retries.maxRetries = 1;
        retries.pauseFactor = 0;
        settings.parallelParts = 1;
        settings.observer = observer;
        settings.pauseToken = token;
        settings.retryPolicy = CRetryPolicy(retries);
    }

    CS3Client makeClient(const ScriptedPeer& peer) const {
        CS3Client client({.accessKeyId = String(accessKey), .secretKey = String(secretKey)}, false);
        client.setBaseURL(String(peer.url("")));
        return client;
    }
    /// Since the token was first found paused.
    std::chrono::milliseconds pausedTime() {
        if (!token->isPaused()) {
            return 0ms;
        }
        m_pausedSince = m_pausedSince == Clock::time_point() ? Clock::now() : m_pausedSince;
        return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - m_pausedSince);
    }

    const P<CPauseToken> token = zet::make<CPauseToken>();
    P<Observer> observer;
    CS3TransferSettings settings;

private:
    Clock::time_point m_pausedSince;
};

// ---- downloads -------------------------------------------------------------------------------------------

/// The service sends half of an object, and the rest after release().
class S3DownloadPauseTest : public S3TransferPauseTest {
protected:
    S3DownloadPauseTest()
        : content(ScriptedPeer::pattern(0, objectSize)), script(object.peer.onConnection()) {
        object.set(content);
        const std::string whole = object.makePart(0, static_cast<int64>(objectSize) - 1);
        script.expectRequest().reply(whole.substr(0, whole.size() - half)).pause("rest");
        m_rest = whole.substr(whole.size() - half);
    }

    void sendRest() { script.reply(m_rest).thenDefault(); }
    std::string download() {
        CS3TransferManager manager(makeClient(object.peer), settings);
        const P<zet::CBufferStream> stream = zet::make<zet::CBufferStream>();
        (void)manager.download("b", "k", stream);
        return {reinterpret_cast<const char*>(stream->getBuffer()->getData()),
                static_cast<std::size_t>(stream->getBuffer()->getUsed())};
    }
    /// Pauses when half of the object has come. Then the service sends the rest.
    void pauseInTheMiddle(const std::function<void()>& whenSettled) {
        observer->whenShown = [this, whenSettled] {
            if (observer->done >= static_cast<int64>(half) && !m_hasPaused) {
                m_hasPaused = true;
                token->pause();
            }
            if (pausedTime() > settled && !m_isReleased) {
                m_isReleased = true;
                object.peer.release("rest");
            }
            if (pausedTime() > 2 * settled) {
                hasRested = true;
                whenSettled();
            }
        };
    }

    FakeObject object;
    const std::string content;
    ConnectionScript script;
    bool hasRested = false;

private:
    std::string m_rest;
    bool m_hasPaused = false;
    bool m_isReleased = false;
};

TEST_F(S3DownloadPauseTest, NoMoreBytesAreReadUntilItContinues) {
    sendRest();
    pauseInTheMiddle([this] {
        // A pass of the worker that has begun before the pause may read a block after it.
        EXPECT_LT(observer->done, static_cast<int64>(half + half / 2));
        token->resume();
    });
    EXPECT_TRUE(download() == content);
    EXPECT_TRUE(hasRested);
    EXPECT_EQ(object.peer.connectionCount(), 1u) << "the transfer has continued";
}

// libcurl averages the speed of five seconds.
TEST_F(S3DownloadPauseTest, PauseIsNotTooSlow) {
    sendRest();
    pauseInTheMiddle([this] {
        if (pausedTime() > 8s) {
            token->resume();
        }
    });
    CS3Client client = makeClient(object.peer);
    client.setRequestSetup(vexil::makeRequestSetup(
        [](CNetRequest& request) { request.setLowSpeedLimit(1, zet::CTimeSpan::fromSeconds(1)); }));
    CS3TransferManager manager(client, settings);
    EXPECT_EQ(manager.download("b", "k", zet::make<zet::CBufferStream>()).size,
              static_cast<int64>(objectSize));
    EXPECT_TRUE(hasRested);
    EXPECT_EQ(object.peer.connectionCount(), 1u);
}

TEST_F(S3DownloadPauseTest, ConnectionThatEndsInAPauseIsReplaced) {
    script.reset();
    pauseInTheMiddle([this] { token->resume(); });
    EXPECT_TRUE(download() == content);
    EXPECT_TRUE(hasRested);
    EXPECT_EQ(object.peer.connectionCount(), 2u);
}

TEST_F(S3DownloadPauseTest, PausedDownloadIsCancelled) {
    script.clientMayLeave();
    settings.cancelToken = new CCancelToken;
    pauseInTheMiddle([this] { settings.cancelToken->cancel(); });
    const auto start = Clock::now();
    EXPECT_EQ(thrownBy<CCURLError>([&] { (void)download(); })->getCode(), CURLE_ABORTED_BY_CALLBACK);
    EXPECT_LT(Clock::now() - start, 30s);
    EXPECT_TRUE(token->isPaused());
}

TEST_F(S3DownloadPauseTest, DeadlineEndsAPausedDownload) {
    script.clientMayLeave();
    settings.deadline = CRetryPolicy::Clock::now() + 2s;
    pauseInTheMiddle([] {});
    EXPECT_EQ(thrownBy<CCURLError>([&] { (void)download(); })->getCode(), CURLE_OPERATION_TIMEDOUT);
    EXPECT_TRUE(token->isPaused());
}

TEST_F(S3DownloadPauseTest, RequestsAreObserved) {
    sendRest();
    object.peer.release("rest");
    const P<RequestObserver> requests = zet::make<RequestObserver>();
    settings.requestObserver = requests;
    EXPECT_TRUE(download() == content);
    EXPECT_EQ(requests->started, 1);
    EXPECT_EQ(requests->ended, 1);
}

// ---- uploads ---------------------------------------------------------------------------------------------

class S3UploadPauseTest : public S3TransferPauseTest {
protected:
    S3UploadPauseTest() : content(ScriptedPeer::pattern(0, 12 << 20)) {
        settings.partSize = 5 << 20;
        settings.uploadCheck = S3UploadCheck::WhileSending;
    }

    void upload(const P<zet::IInStream>& stream) {
        CS3TransferManager manager(makeClient(service.peer), settings);
        (void)manager.upload(stream, static_cast<int64>(content.size()), "b", "k");
    }

    FakeS3 service;
    const std::string content;
};

TEST_F(S3UploadPauseTest, NothingBeginsDuringAPause) {
    token->pause();
    observer->whenShown = [this] {
        if (pausedTime() > settled) {
            EXPECT_EQ(service.peer.connectionCount(), 0u);
            token->resume();
        }
    };
    upload(zet::make<PausingStream>(content, int64{1} << 40, token));
    EXPECT_TRUE(service.object("k") == content);
}

TEST_F(S3UploadPauseTest, NoMoreBytesAreSentUntilItContinues) {
    const P<PausingStream> stream = zet::make<PausingStream>(content, 1 << 20, token);
    int64 end = -1;
    observer->whenShown = [&] {
        if (pausedTime() > settled && end < 0) {
            end = stream->end;
        }
        if (pausedTime() > 2 * settled) {
            EXPECT_EQ(stream->end, end);
            EXPECT_LT(end, 5 << 20) << "within the first part";
            token->resume();
        }
    };
    upload(stream);
    EXPECT_TRUE(service.object("k") == content);
    EXPECT_EQ(service.countOf(Operation::Part, 1), 1);
    EXPECT_GE(end, 1 << 20);
}

TEST_F(S3UploadPauseTest, UploadThatIsCancelledInAPauseLeavesNoParts) {
    settings.cancelToken = new CCancelToken;
    observer->whenShown = [&] {
        if (pausedTime() > settled) {
            settings.cancelToken->cancel();
        }
    };
    const P<PausingStream> stream = zet::make<PausingStream>(content, 6 << 20, token);
    EXPECT_EQ(thrownBy<CCURLError>([&] { upload(stream); })->getCode(), CURLE_ABORTED_BY_CALLBACK);
    EXPECT_EQ(service.countOf(Operation::Abort), 1);
    EXPECT_EQ(service.uploadCount(), 0u);
}

}  // namespace
