// A worker gives all resources back to the system, and survives their refusal.
#include "tests/async/AsyncNetRequestThreadTestSupport.h"
#include "tests/async/SilentServer.h"

#include <cerrno>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <optional>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

/// Called before this thread makes an event descriptor readable.
thread_local std::function<void()> t_beforeWake;

}  // namespace

/// Replaces the system's own, for the library, too.
extern "C" int eventfd_write(int descriptor, eventfd_t value) {
    if (t_beforeWake) {
        t_beforeWake();
    }
    return write(descriptor, &value, sizeof value) == sizeof value ? 0 : -1;
}

// ThreadSanitizer must see each lock itself.
#ifndef __SANITIZE_THREAD__
namespace {

/// The next lock of this thread fails.
thread_local bool t_failsNextLock = false;
/// Called before each lock of this thread, except those that it takes itself.
thread_local std::function<void()> t_beforeLock;
thread_local bool t_isBeforeLock = false;

}  // namespace

/// Replaces the system's own, for the library, too.
extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    using Lock = int (*)(pthread_mutex_t*);
    static std::atomic<Lock> next{nullptr};
    if (t_failsNextLock) {
        t_failsNextLock = false;
        return EINVAL;
    }
    if (t_beforeLock && !t_isBeforeLock) {
        t_isBeforeLock = true;
        t_beforeLock();
        t_isBeforeLock = false;
    }
    if (!next) {
        next = reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    }
    return next.load()(mutex);
}
#endif

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;

int countDescriptors() {
    const std::filesystem::directory_iterator begin("/proc/self/fd");
    return static_cast<int>(std::distance(begin, std::filesystem::directory_iterator()));
}

int countThreads() {
    const std::filesystem::directory_iterator begin("/proc/self/task");
    return static_cast<int>(std::distance(begin, std::filesystem::directory_iterator()));
}

/// Used bytes of the heap.
std::int64_t heapSize() {
    const auto info = mallinfo2();
    return static_cast<std::int64_t>(info.uordblks + info.hblkhd);
}

class AsyncNetRequestThreadLinuxTest : public AsyncNetRequestThreadTest {
protected:
    AsyncNetRequestThreadLinuxTest() {
        peer.setRecordLimit(0);
        peer.setDefaultReply(okReply);
    }

    /// Runs this many requests, several at once.
    void runMany(CAsyncNetRequestThread& worker, int count) {
        std::vector<P<CNetRequest>> slots(16);
        for (int i = 0; i < count; ++i) {
            P<CNetRequest>& slot = slots[static_cast<std::size_t>(i) % slots.size()];
            if (slot) {
                finish(worker, *slot);
            }
            slot = makeRequest();
            slot->addDependencyObject(new CountedAcrossThreads(alive));
            worker.addRequest(slot);
        }
        for (const P<CNetRequest>& slot : slots) {
            finish(worker, *slot);
        }
        peer.clearRecords();
    }
    static void finish(CAsyncNetRequestThread& worker, CNetRequest& request) {
        EXPECT_TRUE(request.waitAsyncDone(longTime));
        EXPECT_FALSE(worker.removeRequest(&request));
        request.checkAsyncResult();
    }

    template <class Condition>
    static void waitUntil(const Condition& condition) {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(longTime);
        while (!condition() && std::chrono::steady_clock::now() < limit) {
            zet::threadYield(true);
        }
    }
    /// The peer closes its ends some time after ours.
    static void expectDescriptors(int count) {
        waitUntil([count] { return countDescriptors() == count; });
        EXPECT_EQ(countDescriptors(), count);
    }
    static void expectFewerDescriptors(int limit) {
        waitUntil([limit] { return countDescriptors() < limit; });
        EXPECT_LT(countDescriptors(), limit);
    }
    /// The system lists a thread for a moment after others have seen its end.
    static void expectThreads(int count) {
        waitUntil([count] { return countThreads() == count; });
        EXPECT_EQ(countThreads(), count);
    }

    std::atomic<int> alive = 0;
};

TEST_F(AsyncNetRequestThreadLinuxTest, GivesBackMemoryAndDescriptors) {
    const int descriptorsBefore = countDescriptors();
    const int threadsBefore = countThreads();
    P<CAsyncNetRequestThread> worker = makeWorker();
    worker->start();
    runMany(*worker, 10000);
    expectThreads(threadsBefore + 1);  // the worker, and no other
    // Connections use varying buffers of their own, also those of the peer; 100 bytes leaked by each request
    // would be 1,000,000 in every series.
    std::int64_t growth = 1000000;
    for (int series = 0; series < 5 && growth >= 1000000; ++series) {
        const std::int64_t before = heapSize();
        runMany(*worker, 10000);
        growth = heapSize() - before;
    }
    EXPECT_LT(growth, 1000000);
    EXPECT_EQ(alive, 0);
    expectFewerDescriptors(descriptorsBefore + 1 + 2 * 4 * 16 + 10);
    worker = nullptr;
    expectDescriptors(descriptorsBefore);
    expectThreads(threadsBefore);
}

TEST_F(AsyncNetRequestThreadLinuxTest, GivesBackWhatRemovalsLeave) {
    peer.setDefaultReply(std::string());
    const int before = countDescriptors();
    P<CAsyncNetRequestThread> worker = makeWorker();
    worker->start();
    for (int round = 0; round < 10; ++round) {
        for (int i = 0; i < 20; ++i) {
            addEndlessAnswer();
            const P<CNetRequest> request = makeRequest();
            request->addDependencyObject(new CountedAcrossThreads(alive));
            worker->addRequest(request);
        }
        EXPECT_TRUE(peer.waitForRequests(20, std::chrono::milliseconds(longTime)));
        worker->removeAllRequests();
        EXPECT_EQ(alive, 0);
        peer.clearRecords();
    }
    // None of the hundred connections is left; the worker has its own few.
    expectFewerDescriptors(before + 40);
    worker = nullptr;
    expectDescriptors(before);
}

TEST_F(AsyncNetRequestThreadLinuxTest, AThreadThatWasNeverStartedGivesItsDescriptorsBack) {
    const int before = countDescriptors();
    for (int i = 0; i < 100; ++i) {
        const P<CAsyncNetRequestThread> worker = makeWorker();
        worker->addRequest(makeRequest());
    }
    EXPECT_EQ(countDescriptors(), before);
}

TEST_F(AsyncNetRequestThreadLinuxTest, ARemovalOfTheLastPassIsReportedAsDone) {
    peer.setDefaultReply(std::string());
    bool wasRunning = false;
    thread->onEvents = [&](CAsyncNetRequestManager& manager) {
        if (manager.getRequestCount() == 0 && wasRunning) {
            thread->stop(false);
        }
        wasRunning = manager.getRequestCount() > 0;
    };
    thread->start();
    const P<CNetRequest> request = startEndless();
    // The remover is between its order and its check of the worker until the worker has ended.
    t_beforeWake = [&] { waitUntil([this] { return !thread->isAlive(); }); };
    EXPECT_TRUE(thread->removeRequest(request));
    EXPECT_FALSE(thread->isAlive()) << "the worker should have ended before the answer was asked for";
    t_beforeWake = nullptr;
}

TEST_F(AsyncNetRequestThreadLinuxTest, TheSystemShowsAsMuchOfTheNameAsFits) {
    std::string name;
    gate->callOnWorker([&] {
        std::ifstream file("/proc/thread-self/comm");
        std::getline(file, name);
        thread->stop(false);
    });
    thread->start();
    waitForEnd();
    EXPECT_EQ(name, "vexil.asyncNetR");
    EXPECT_EQ(thread->getThreadName(), "vexil.asyncNetRequest");
}

#ifndef __SANITIZE_THREAD__
/// Holds the thread that drops the last reference.
class SlowToGo : public virtual vexil::CBase {
public:
    SlowToGo(zet::CSignal& isGoing, zet::CSignal& mayGo) : m_isGoing(isGoing), m_mayGo(mayGo) {}
    ~SlowToGo() override {
        m_isGoing.set();
        m_mayGo.wait(-1);
    }

private:
    zet::CSignal& m_isGoing;
    zet::CSignal& m_mayGo;
};

/// Adds a request and removes it again, on its own thread.
class AddAndRemove {
public:
    AddAndRemove(CAsyncNetRequestThread& worker, const P<CNetRequest>& request)
        : m_thread([this, &worker, request] { run(worker, request); }) {
        EXPECT_TRUE(m_isOrdered.wait(longTime));
    }
    /// True if the removal has found the request.
    bool hasFound() {
        m_thread.join();
        return m_hasFound;
    }

private:
    void run(CAsyncNetRequestThread& worker, const P<CNetRequest>& request) {
        worker.addRequest(request);
        // The first lock is that of the queue, the second is that of its wait.
        t_beforeLock = [this, locks = 0]() mutable {
            if (++locks == 2) {
                m_isOrdered.set();
            }
        };
        m_hasFound = worker.removeRequest(request);
        t_beforeLock = nullptr;
    }

    zet::CSignal m_isOrdered;
    bool m_hasFound = false;
    std::thread m_thread;
};

TEST_F(AsyncNetRequestThreadLinuxTest, ARemovalFindsWhatWasAddedBeforeAtEveryPlaceOfAPass) {
    const SilentServer silent;
    thread->start();
    // Some passes: each has few locks.
    for (int place = 0; place < 10; ++place) {
        SCOPED_TRACE("before lock " + std::to_string(place) + " of the worker");
        const P<CNetRequest> request = makeRequest();
        request->setURL(String::fromUTF8(silent.url()));
        std::optional<AddAndRemove> other;
        zet::CSignal isThere;
        gate->callOnWorker([&] {
            t_beforeLock = [&, locks = 0]() mutable {
                if (locks++ == place) {
                    other.emplace(*thread, request);
                    isThere.set();
                }
            };
        });
        ASSERT_TRUE(isThere.wait(longTime));
        EXPECT_TRUE(other->hasFound());
        EXPECT_FALSE(thread->removeRequest(request));
        gate->callOnWorker([] { t_beforeLock = nullptr; });
        gate->waitForPasses(2);
    }
}

TEST_F(AsyncNetRequestThreadLinuxTest, TheDestructorThrowsNothing) {
    zet::CSignal isGoing;
    zet::CSignal mayGo;
    P<CAsyncNetRequestThread> worker = makeWorker();
    worker->start();
    addEndlessAnswer();
    {
        const P<CNetRequest> request = makeRequest();
        request->addDependencyObject(new SlowToGo(isGoing, mayGo));
        worker->addRequest(request);
    }
    EXPECT_TRUE(peer.waitForRequests(1, std::chrono::milliseconds(longTime)));
    worker->stop(false);
    EXPECT_TRUE(isGoing.wait(longTime));
    // The worker only has to remove its requests; the destructor cannot wait for that.
    std::atomic<bool> isOver = false;
    std::thread releasing([&] {
        while (!isOver && log.lines().empty()) {
            zet::threadYield(true);
        }
        mayGo.set();
    });
    t_failsNextLock = true;
    worker = nullptr;
    EXPECT_FALSE(std::exchange(t_failsNextLock, false)) << "nothing has failed";
    isOver = true;
    releasing.join();
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_THAT(log.lines()[0], testing::StartsWith("W: "));
    EXPECT_THAT(log.lines()[0], testing::HasSubstr("vexil::CAsyncNetRequestThread"));
}
#endif

}  // namespace
