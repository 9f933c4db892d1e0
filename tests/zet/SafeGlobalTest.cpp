#include "zet/SafeGlobal.h"

#include "tests/support/Latch.h"
#include "zet/Error.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

using vexil_test::Latch;
using zet::CSafeGlobalGuard;
using zet::P;
using zet::TSafeGlobal;

class CInstance : public virtual zet::CBase {};

std::atomic<int> g_creations = 0;
void (*g_beforeCreation)() = nullptr;

P<CInstance> create() {
    ++g_creations;
    if (g_beforeCreation) {
        g_beforeCreation();
    }
    return new CInstance;
}

P<CInstance> createAndFail() {
    create();
    throw zet::CError("original failure");
}

void disposeNothing() {}

/// Guard and holder of one instance. Each test has its own, because a failure is final.
struct CGlobal {
    explicit CGlobal(P<CInstance> (*createInstance)()) : holder(guard, createInstance, &disposeNothing) {}

    std::string messageOfGet() {
        try {
            holder.get();
        } catch (const zet::CError& error) {
            return error.what();
        }
        return "no error";
    }

    CSafeGlobalGuard guard;
    TSafeGlobal<CInstance> holder;
};

class SafeGlobalTest : public testing::Test {
protected:
    void SetUp() override {
        g_creations = 0;
        g_beforeCreation = nullptr;
    }
};

const char* const finalMessage = "Construction of static object has failed.";

TEST_F(SafeGlobalTest, ConstructsOnFirstUseAndOnce) {
    CGlobal global(&create);
    EXPECT_EQ(global.guard.getState(), CSafeGlobalGuard::NotConstructed);
    EXPECT_EQ(g_creations, 0);
    const CInstance* first = global.holder.get();
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(global.guard.getState(), CSafeGlobalGuard::Constructed);
    EXPECT_EQ(global.holder.get().get(), first);
    EXPECT_EQ(g_creations, 1);
}

TEST_F(SafeGlobalTest, NeverTriesAgainAfterAFailure) {
    CGlobal global(&createAndFail);
    EXPECT_EQ(global.messageOfGet(), "original failure");
    EXPECT_EQ(global.guard.getState(), CSafeGlobalGuard::ConstructionFailed);
    EXPECT_EQ(global.messageOfGet(), finalMessage);
    EXPECT_EQ(global.messageOfGet(), finalMessage);
    EXPECT_EQ(g_creations, 1);
}

TEST_F(SafeGlobalTest, KeepsForeignExceptionsForTheFirstCaller) {
    CGlobal global(+[]() -> P<CInstance> { throw 5; });
    EXPECT_THROW(global.holder.get(), int);
    EXPECT_EQ(global.messageOfGet(), finalMessage);
}

/// Calls get() on several threads at once and returns the sorted messages of their errors.
std::vector<std::string> messagesOfConcurrentGets(CGlobal& global) {
    constexpr int threadCount = 8;
    std::vector<std::string> messages(threadCount);
    Latch start(threadCount);
    std::vector<std::thread> threads;
    for (std::string& message : messages) {
        threads.emplace_back([&] {
            start.arriveAndWait();
            message = global.messageOfGet();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::sort(messages.begin(), messages.end());
    return messages;
}

TEST_F(SafeGlobalTest, ConstructsOnceForManyThreads) {
    for (int round = 0; round < 50; ++round) {
        g_creations = 0;
        CGlobal global(&create);
        EXPECT_EQ(messagesOfConcurrentGets(global), std::vector<std::string>(8, "no error"));
        EXPECT_EQ(g_creations, 1);
    }
}

TEST_F(SafeGlobalTest, GivesTheOriginalErrorToOneOfManyThreads) {
    for (int round = 0; round < 50; ++round) {
        g_creations = 0;
        CGlobal global(&createAndFail);
        std::vector<std::string> expected(8, finalMessage);
        expected.back() = "original failure";
        EXPECT_EQ(messagesOfConcurrentGets(global), expected);
        EXPECT_EQ(g_creations, 1);
    }
}

CGlobal* g_concurrent = nullptr;
Latch* g_isConstructing = nullptr;
Latch* g_mayContinue = nullptr;

TEST_F(SafeGlobalTest, LetsOthersWaitForTheConstruction) {
    CGlobal global(&create);
    Latch isConstructing(1);
    Latch mayContinue(1);
    g_isConstructing = &isConstructing;
    g_mayContinue = &mayContinue;
    g_beforeCreation = [] {
        g_isConstructing->countDown();
        g_mayContinue->wait();
    };
    const CInstance* first = nullptr;
    const CInstance* second = nullptr;
    std::thread constructing([&] { first = global.holder.get(); });
    isConstructing.wait();
    EXPECT_EQ(global.guard.getState(), CSafeGlobalGuard::Constructing);
    EXPECT_FALSE(global.guard.claimConstruction()) << "another thread is constructing";
    std::thread waiting([&] { second = global.holder.get(); });
    mayContinue.countDown();
    constructing.join();
    waiting.join();
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(first, second);
    EXPECT_EQ(g_creations, 1);
}

TEST_F(SafeGlobalTest, RefusesToWaitForItself) {
    CGlobal global(&create);
    g_concurrent = &global;
    g_beforeCreation = [] { g_concurrent->holder.get(); };
    EXPECT_EQ(global.messageOfGet(), "A static object is needed for its own construction.");
    EXPECT_EQ(global.messageOfGet(), finalMessage);
}

TEST_F(SafeGlobalTest, ClaimsAConstructionOnce) {
    CSafeGlobalGuard guard;
    EXPECT_TRUE(guard.claimConstruction());
    EXPECT_THROW(static_cast<void>(guard.claimConstruction()), zet::CError);
    guard.finishConstruction(true);
    EXPECT_FALSE(guard.claimConstruction());
    EXPECT_EQ(guard.getState(), CSafeGlobalGuard::Constructed);

    CSafeGlobalGuard failing;
    EXPECT_TRUE(failing.claimConstruction());
    failing.finishConstruction(false);
    EXPECT_FALSE(failing.claimConstruction());
    EXPECT_EQ(failing.getState(), CSafeGlobalGuard::ConstructionFailed);
}

TEST_F(SafeGlobalTest, ThrowsTheFinalFailure) {
    try {
        zet::throwStaticConstructionFailed();
    } catch (const zet::CError& error) {
        EXPECT_EQ(error.getMessage(), finalMessage);
        EXPECT_EQ(error.getCode(), -1);
    }
}

using SafeGlobalDeathTest = SafeGlobalTest;

TEST_F(SafeGlobalDeathTest, DisposesWhenTheProcessEnds) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        {
            static CSafeGlobalGuard guard;
            static TSafeGlobal<CInstance> holder(
                guard, &create, +[] { std::fputs("disposed", stderr); });
            holder.get();
            holder.get();
            std::exit(3);
        },
        testing::ExitedWithCode(3), "^disposed$");
}

TEST_F(SafeGlobalDeathTest, DisposesNothingThatWasNotConstructed) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        {
            static CSafeGlobalGuard guard;
            static TSafeGlobal<CInstance> holder(
                guard, &createAndFail, +[] { std::fputs("disposed", stderr); });
            try {
                holder.get();
            } catch (const zet::CError&) {
            }
            std::exit(3);
        },
        testing::ExitedWithCode(3), "^$");
}

}  // namespace
