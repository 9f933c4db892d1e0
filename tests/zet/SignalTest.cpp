#include "zet/Signal.h"

#include "tests/support/Deadline.h"
#include "zet/Mutex.h"
#include "zet/Thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <optional>
#include <thread>
#include <type_traits>

namespace {

using zet::CMutex;
using zet::CMutexLock;
using zet::CSignal;

TEST(SignalTest, IsNotSetAtFirst) {
    CSignal signal;
    EXPECT_FALSE(signal.isSet());
    EXPECT_FALSE(signal.wait(0));
    EXPECT_FALSE(signal.wait(1));
}

TEST(SignalTest, StaysSetUntilItIsReset) {
    CSignal signal;
    signal.set();
    signal.set();
    EXPECT_TRUE(signal.isSet());
    EXPECT_TRUE(signal.wait(0));
    EXPECT_TRUE(signal.wait(-1));
    EXPECT_TRUE(signal.wait(1000000));
    EXPECT_TRUE(signal.isSet());
    signal.reset();
    signal.reset();
    EXPECT_FALSE(signal.isSet());
    EXPECT_FALSE(signal.wait(0));
}

TEST(SignalTest, WakesEveryWaiter) {
    const vexil_test::Deadline deadline("set() wakes all who wait");
    CSignal signal;
    bool results[4]{};
    std::thread forEver([&] { results[0] = signal.wait(-1); });
    std::thread forEverToo([&] { results[1] = signal.wait(-7); });
    std::thread forLong([&] { results[2] = signal.wait(1000000); });
    std::thread setter([&] { signal.set(); });
    results[3] = signal.wait(-1);
    for (std::thread* thread : {&forEver, &forEverToo, &forLong, &setter}) {
        thread->join();
    }
    for (const bool result : results) {
        EXPECT_TRUE(result);
    }
}

TEST(SignalTest, MayBeDestroyedByTheWaiterAtOnce) {
    for (int round = 0; round < 200; ++round) {
        std::optional<CSignal> signal(std::in_place);
        std::thread setter([raw = &*signal] { raw->set(); });
        signal->wait(-1);
        signal.reset();
        setter.join();
    }
}

TEST(SignalTest, CannotBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible_v<CSignal>);
    EXPECT_FALSE(std::is_copy_assignable_v<CSignal>);
}

TEST(MutexTest, MayBeLockedAgainByItsHolder) {
    CMutex mutex;
    const CMutexLock outer(mutex);
    const CMutexLock inner(mutex);
}

TEST(MutexTest, KeepsOtherThreadsOut) {
    CMutex mutex;
    int count = 0;
    const auto work = [&] {
        for (int i = 0; i < 10000; ++i) {
            const CMutexLock lock(mutex);
            ++count;
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_EQ(count, 20000);
}

TEST(MutexTest, ACopyIsALockOfItsOwn) {
    const vexil_test::Deadline deadline("a copy is a lock of its own");
    CMutex mutex;
    CMutex other;
    const CMutexLock lock(mutex);
    CMutex copy(mutex);
    other = mutex;
    // Neither call would return if this thread had the lock.
    std::thread([&] { const CMutexLock own(copy); }).join();
    std::thread([&] { const CMutexLock own(other); }).join();
}

TEST(ThreadTest, SleepsForNoTimeAtOnce) {
    zet::CThread::sleep(0);
    zet::CThread::sleep(-1);
    zet::CThread::sleep(std::numeric_limits<int>::min());
}

TEST(ThreadTest, YieldsToOtherThreads) {
    std::atomic<bool> isReady = false;
    std::thread other([&] { isReady = true; });
    for (int i = 0; !isReady; ++i) {
        zet::threadYield(i > 100);
    }
    other.join();
}

}  // namespace
