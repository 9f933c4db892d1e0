// Many threads with one worker, and many workers.
#include "tests/async/AsyncNetRequestThreadTestSupport.h"
#include "tests/async/SilentServer.h"

#include <deque>

namespace {

using namespace vexil_test;
using testing::IsEmpty;

class AsyncNetRequestThreadLoadTest : public AsyncNetRequestThreadTest {
protected:
    AsyncNetRequestThreadLoadTest() { peer.setDefaultReply(okReply); }

    /// A request that is counted while it exists.
    P<CNetRequest> makeCounted(bool ends) {
        P<CNetRequest> request = makeRequest();
        if (!ends) {
            request->setURL(String::fromUTF8(silent.url()));
        }
        request->addDependencyObject(new CountedAcrossThreads(alive));
        return request;
    }

    const SilentServer silent;
    std::atomic<int> alive = 0;
};

/// Passes requests from the adding threads to the removing threads.
class Pool {
public:
    void put(const P<CNetRequest>& request) {
        const std::lock_guard lock(m_mutex);
        m_requests.push_back(request);
        m_changed.notify_one();
    }
    /// No more will come.
    void close() {
        const std::lock_guard lock(m_mutex);
        m_isClosed = true;
        m_changed.notify_all();
    }
    /// Null if it is closed and empty.
    P<CNetRequest> take() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_isClosed || !m_requests.empty(); });
        if (m_requests.empty()) {
            return nullptr;
        }
        P<CNetRequest> request = std::move(m_requests.front());
        m_requests.pop_front();
        return request;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<P<CNetRequest>> m_requests;
    bool m_isClosed = false;
};

TEST_F(AsyncNetRequestThreadLoadTest, EachRequestIsEitherDoneOrRemoved) {
    constexpr int adders = 8;
    constexpr int requestsEach = 125;
    constexpr int removers = 3;
    std::atomic<int> done = 0;
    std::atomic<int> removed = 0;
    Pool pool;
    const auto remove = [&] {
        while (const P<CNetRequest> request = pool.take()) {
            // No other thread removes it: if it could not be removed, it has ended.
            const bool wasRemoved = thread->removeRequest(request);
            EXPECT_NE(wasRemoved, request->isAsyncDone());
            ++(wasRemoved ? removed : done);
        }
    };
    const auto add = [&] {
        for (int i = 0; i < requestsEach; ++i) {
            // One of three does not end by itself; another is removed while it may run.
            const P<CNetRequest> request = makeCounted(i % 3 != 0);
            thread->addRequest(request);
            if (i % 3 != 2) {
                pool.put(request);
                continue;
            }
            EXPECT_TRUE(request->waitAsyncDone(longTime));
            request->checkAsyncResult();
            EXPECT_FALSE(thread->removeRequest(request));
            ++done;
        }
    };
    thread->start();
    std::vector<std::thread> adding;
    std::vector<std::thread> removing;
    for (int i = 0; i < adders; ++i) {
        adding.emplace_back(add);
    }
    for (int i = 0; i < removers; ++i) {
        removing.emplace_back(remove);
    }
    for (std::thread& one : adding) {
        one.join();
    }
    pool.close();
    for (std::thread& one : removing) {
        one.join();
    }
    EXPECT_EQ(done + removed, adders * requestsEach);
    EXPECT_GE(removed, adders * requestsEach / 3);
    EXPECT_EQ(alive, 0) << "while the worker goes on";
    EXPECT_TRUE(thread->isAlive());
}

TEST_F(AsyncNetRequestThreadLoadTest, RemoveAllMeetsRequestsThatCome) {
    std::atomic<bool> goesOn = true;
    thread->start();
    std::vector<std::thread> adding;
    for (int i = 0; i < 4; ++i) {
        adding.emplace_back([&] {
            for (int round = 0; round < 100; ++round) {
                thread->addRequest(makeCounted(false));
                if (round % 10 == 0) {
                    gate->waitForPasses(1);
                }
            }
        });
    }
    std::thread removing([&] {
        while (goesOn) {
            thread->removeAllRequests();
        }
    });
    for (std::thread& one : adding) {
        one.join();
    }
    goesOn = false;
    removing.join();
    thread->removeAllRequests();
    EXPECT_EQ(alive, 0);
    EXPECT_TRUE(thread->isAlive());
}

TEST_F(AsyncNetRequestThreadLoadTest, AStopMeetsRequestsThatComeAndGo) {
    for (int round = 0; round < 20; ++round) {
        P<HookedThread> worker = new HookedThread(gate);
        std::vector<std::thread> clients;
        std::atomic<int> started = 0;
        for (int i = 0; i < 4; ++i) {
            clients.emplace_back([&] {
                for (int k = 0; k < 10; ++k) {
                    const P<CNetRequest> kept = makeCounted(false);
                    worker->addRequest(kept);
                    ++started;
                    worker->removeRequest(kept);
                    worker->addRequest(makeCounted(false));
                }
            });
        }
        worker->start();
        while (started < 20) {
            zet::threadYield(false);
        }
        worker->stop(true);
        for (std::thread& client : clients) {
            client.join();
        }
        EXPECT_EQ(worker->getError().get(), nullptr);
        worker = nullptr;
        ASSERT_EQ(alive, 0);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AsyncNetRequestThreadLoadTest, WorkersAreIndependent) {
    std::vector<std::thread> owners;
    for (int i = 0; i < 4; ++i) {
        owners.emplace_back([this] {
            const P<CAsyncNetRequestThread> worker = makeWorker();
            worker->start();
            std::vector<P<CNetRequest>> requests;
            for (int k = 0; k < 50; ++k) {
                requests.push_back(makeCounted(true));
                worker->addRequest(requests.back());
            }
            for (const P<CNetRequest>& request : requests) {
                EXPECT_TRUE(request->waitAsyncDone(longTime));
                request->checkAsyncResult();
                EXPECT_EQ(bodyOf(*request), "ok");
            }
        });
    }
    for (std::thread& owner : owners) {
        owner.join();
    }
    EXPECT_EQ(alive, 0);
}

}  // namespace
