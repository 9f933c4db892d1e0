#include "zet/WakeUp.h"

#include "tests/support/Latch.h"
#include "zet/PosixSelect.h"

#include <asio/io_context.hpp>
#include <curl/curl.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

using vexil_test::Latch;
using zet::CPosixSelect;
using zet::CWakeUp;

constexpr int longTime = 60000;  // milliseconds

class WakeUpTest : public testing::Test {
protected:
    /// True if the descriptor becomes readable within some milliseconds. A negative time waits for ever.
    static bool isReadable(const CWakeUp& wakeUp, int milliseconds) {
        const auto descriptor = static_cast<curl_socket_t>(wakeUp.getDescriptor());
        fd_set read;
        FD_ZERO(&read);
        FD_SET(descriptor, &read);
        fd_set* const none = nullptr;
        const int count = static_cast<int>(wakeUp.getDescriptor()) + 1;
        return CPosixSelect::select(count, &read, none, none, milliseconds) == 1 &&
               FD_ISSET(descriptor, &read);
    }

    asio::io_context context;  // initialises sockets on Windows
    CWakeUp wakeUp;
};

TEST_F(WakeUpTest, IsADescriptorToWaitFor) {
    EXPECT_TRUE(CPosixSelect::canSelect(wakeUp.getDescriptor()));
    EXPECT_TRUE(wakeUp.canSelectNewDescriptors());
    EXPECT_FALSE(isReadable(wakeUp, 0));
}

TEST_F(WakeUpTest, StaysReadableUntilItIsCleared) {
    wakeUp.wake();
    EXPECT_TRUE(isReadable(wakeUp, longTime));
    EXPECT_TRUE(isReadable(wakeUp, 0));
    wakeUp.clear();
    EXPECT_FALSE(isReadable(wakeUp, 0));
}

TEST_F(WakeUpTest, WakesAgainAndAgain) {
    for (int i = 0; i < 1000; ++i) {
        wakeUp.wake();
        ASSERT_TRUE(isReadable(wakeUp, longTime)) << i;
        wakeUp.clear();
        ASSERT_FALSE(isReadable(wakeUp, 0)) << i;
    }
}

TEST_F(WakeUpTest, ManyWakesAreUndoneByOneClear) {
    for (int i = 0; i < 100000; ++i) {
        wakeUp.wake();
    }
    EXPECT_TRUE(isReadable(wakeUp, longTime));
    wakeUp.clear();
    EXPECT_FALSE(isReadable(wakeUp, 0));
}

TEST_F(WakeUpTest, AClearOfNothingLosesNoWake) {
    wakeUp.clear();
    wakeUp.wake();
    EXPECT_TRUE(isReadable(wakeUp, longTime));
}

TEST_F(WakeUpTest, EndsTheWaitOfAnotherThread) {
    Latch isWaiting(1);
    bool isWoken = false;
    std::thread other([&] {
        isWaiting.countDown();
        isWoken = isReadable(wakeUp, -1);
    });
    isWaiting.wait();
    wakeUp.wake();
    other.join();
    EXPECT_TRUE(isWoken);
}

TEST_F(WakeUpTest, IsReadableAfterTheLastOfManyThreads) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([this] {
            for (int j = 0; j < 1000; ++j) {
                wakeUp.wake();
            }
        });
    }
    for (int i = 0; i < 1000; ++i) {
        if (isReadable(wakeUp, 0)) {
            wakeUp.clear();
        }
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    wakeUp.wake();
    EXPECT_TRUE(isReadable(wakeUp, longTime));
}

TEST_F(WakeUpTest, IsIndependentOfOthers) {
    CWakeUp other;
    EXPECT_NE(other.getDescriptor(), wakeUp.getDescriptor());
    other.wake();
    EXPECT_TRUE(isReadable(other, longTime));
    EXPECT_FALSE(isReadable(wakeUp, 0));
}

}  // namespace
