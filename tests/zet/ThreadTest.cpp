// How a thread starts, stops and ends, and which error has ended it.
#include "zet/Thread.h"

#include "tests/support/LogCapture.h"
#include "tests/support/PrintText.h"
#include "tests/support/WhatOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <new>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vexil_test::LogCapture;
using vexil_test::whatOf;
using zet::CError;
using zet::CSignal;
using zet::CThread;
using zet::P;
using zet::String;

constexpr int longTime = 60000;  // milliseconds; bound for events that must happen, even on a busy machine

/// An error of a type that is not the library's own.
class OwnError : public CError {
public:
    explicit OwnError(const String& message) : CError(message, "own", 7) {}
    P<CError> clone() const override { return new OwnError(*this); }
    [[noreturn]] void throwClone() const override { throw OwnError(*this); }
};

class Runnable : public virtual zet::CBase, public zet::IRunnable {
public:
    explicit Runnable(std::function<void(CThread&)> body) : m_body(std::move(body)) {}
    void run(CThread& thread) override { m_body(thread); }

private:
    const std::function<void(CThread&)> m_body;
};

P<CThread> makeThread(std::function<void(CThread&)> body, bool logErrors = true) {
    return new CThread(new Runnable(std::move(body)), logErrors);
}

/// Waits for the end of the body without stop(), which would ask for it.
void waitForEnd(const CThread& thread) {
    while (thread.isAlive()) {
        zet::threadYield(true);
    }
}

/// A body that runs until it is asked to stop.
void goOn(CThread& thread) {
    while (thread.checkContinue()) {
        zet::threadYield(true);
    }
}

TEST(ThreadTest, RunsARunnableOnItsOwnThread) {
    CThread* given = nullptr;
    CThread::ID id;
    const P<CThread> thread = makeThread([&](CThread& own) {
        given = &own;
        id = CThread::getCurrentID();
        EXPECT_EQ(own.getID(), id);
    });
    thread->start();
    waitForEnd(*thread);
    EXPECT_EQ(given, thread.get());
    EXPECT_NE(id, CThread::getCurrentID());
    EXPECT_EQ(thread->getID(), id);
}

TEST(ThreadTest, HasNoIDBeforeItsStart) {
    const P<CThread> thread = makeThread(goOn);
    EXPECT_EQ(thread->getID(), CThread::ID());
    EXPECT_NE(thread->getID(), CThread::getCurrentID());
    thread->start();
    EXPECT_NE(thread->getID(), CThread::ID()) << "known as soon as start() returns";
    EXPECT_NE(thread->getID(), CThread::getCurrentID());
    EXPECT_EQ(CThread::getCurrentID(), std::this_thread::get_id());
}

TEST(ThreadTest, IsAliveFromItsStartToTheEndOfItsBody) {
    CSignal mayEnd;
    bool wasAlive = false;
    const P<CThread> thread = makeThread([&](CThread& own) {
        wasAlive = own.isAlive();
        mayEnd.wait(-1);
    });
    EXPECT_FALSE(thread->isAlive());
    thread->start();
    EXPECT_TRUE(thread->isAlive());
    mayEnd.set();
    waitForEnd(*thread);
    EXPECT_TRUE(wasAlive);
    EXPECT_EQ(thread->getError().get(), nullptr);
}

TEST(ThreadTest, IsAliveOnceStartHasReturned) {
    for (int round = 0; round < 200; ++round) {
        CSignal mayEnd;
        const P<CThread> thread = makeThread([&](CThread&) { mayEnd.wait(-1); });
        thread->start();
        ASSERT_TRUE(thread->isAlive());
        mayEnd.set();
    }
}

TEST(ThreadTest, RunsNothingWithoutARunnable) {
    CThread thread;
    thread.start();
    thread.stop(true);
    EXPECT_FALSE(thread.isAlive());
    EXPECT_EQ(thread.getError().get(), nullptr);
}

TEST(ThreadTest, RunsTheBodyOfADerivedClass) {
    class Derived : public CThread {
    public:
        ~Derived() override { stop(true); }
        std::atomic<int> runs{0};

    protected:
        void runImpl() override { ++runs; }
    };
    Derived thread;
    thread.start();
    waitForEnd(thread);
    EXPECT_EQ(thread.runs, 1);
}

TEST(ThreadTest, StartsOnce) {
    CSignal mayEnd;
    std::atomic<int> runs = 0;
    const P<CThread> thread = makeThread([&](CThread&) {
        ++runs;
        mayEnd.wait(-1);
    });
    thread->setThreadName("backup");
    thread->start();
    EXPECT_EQ(whatOf([&] { thread->start(); }), "The thread 'backup' was started before.");
    EXPECT_TRUE(thread->isAlive()) << "the first start is not affected";
    mayEnd.set();
    waitForEnd(*thread);
    EXPECT_EQ(whatOf([&] { thread->start(); }), "The thread 'backup' was started before.");
    EXPECT_EQ(runs, 1);
}

TEST(ThreadTest, StopsOnRequest) {
    const P<CThread> thread = makeThread(goOn);
    EXPECT_TRUE(thread->checkContinue());
    thread->start();
    EXPECT_TRUE(thread->checkContinue());
    thread->stop(true);
    EXPECT_FALSE(thread->isAlive());
    EXPECT_FALSE(thread->checkContinue());
    thread->stop(true);
    thread->stop(false);
}

TEST(ThreadTest, AStopBeforeTheStartEndsTheBodyAtItsFirstCheck) {
    int checks = 0;
    const P<CThread> thread = makeThread([&](CThread& own) {
        do {
            ++checks;
        } while (own.checkContinue());
    });
    thread->stop(true);
    thread->start();
    waitForEnd(*thread);
    EXPECT_EQ(checks, 1);
}

TEST(ThreadTest, AStopThatDoesNotWaitReturnsWhileTheBodyRuns) {
    CSignal mayEnd;
    const P<CThread> thread = makeThread([&](CThread&) { mayEnd.wait(-1); });
    thread->start();
    thread->stop(false);
    EXPECT_TRUE(thread->isAlive());
    EXPECT_FALSE(thread->checkContinue());
    mayEnd.set();
    waitForEnd(*thread);
}

TEST(ThreadTest, AStopThatWaitsReturnsAfterTheBody) {
    for (int round = 0; round < 100; ++round) {
        std::atomic<bool> hasEnded = false;
        const P<CThread> thread = makeThread([&](CThread& own) {
            goOn(own);
            zet::threadYield(true);
            hasEnded = true;
        });
        thread->start();
        thread->stop(true);
        ASSERT_TRUE(hasEnded);
        ASSERT_FALSE(thread->isAlive());
    }
}

TEST(ThreadTest, SeveralThreadsMayStopIt) {
    for (int round = 0; round < 50; ++round) {
        std::atomic<bool> hasEnded = false;
        const P<CThread> thread = makeThread([&](CThread& own) {
            goOn(own);
            hasEnded = true;
        });
        thread->start();
        std::vector<std::thread> stoppers;
        for (int i = 0; i < 4; ++i) {
            stoppers.emplace_back([&] {
                thread->stop(true);
                EXPECT_TRUE(hasEnded);
            });
        }
        for (std::thread& stopper : stoppers) {
            stopper.join();
        }
    }
}

TEST(ThreadTest, MayStopItself) {
    bool goesOn = true;
    const P<CThread> thread = makeThread([&](CThread& own) {
        own.stop(true);
        goesOn = own.checkContinue();
    });
    thread->start();
    waitForEnd(*thread);
    EXPECT_FALSE(goesOn);
}

TEST(ThreadTest, TheDestructorStopsItAndWaits) {
    std::atomic<bool> hasEnded = false;
    P<CThread> thread = makeThread([&](CThread& own) {
        goOn(own);
        hasEnded = true;
    });
    thread->start();
    thread = nullptr;
    EXPECT_TRUE(hasEnded);
}

TEST(ThreadTest, NeedNotBeStarted) {
    std::atomic<bool> hasRun = false;
    makeThread([&](CThread&) { hasRun = true; });
    EXPECT_FALSE(hasRun);
}

TEST(ThreadTest, KeepsItsRunnableWhileItLives) {
    class Watched : public Runnable {
    public:
        explicit Watched(bool& isAlive) : Runnable([](CThread&) {}), m_isAlive(isAlive) { m_isAlive = true; }
        ~Watched() override { m_isAlive = false; }

    private:
        bool& m_isAlive;
    };
    bool isRunnableAlive = false;
    P<CThread> thread = new CThread(new Watched(isRunnableAlive));
    thread->start();
    thread->stop(true);
    EXPECT_TRUE(isRunnableAlive);
    thread = nullptr;
    EXPECT_FALSE(isRunnableAlive);
}

TEST(ThreadTest, ADerivedClassDecidesWhetherTheBodyGoesOn) {
    class Countdown : public CThread {
    public:
        explicit Countdown(zet::IRunnable* runnable) : CThread(runnable) {}
        ~Countdown() override { stop(true); }
        bool checkContinue() override { return --left > 0; }
        int left = 5;
    };
    int rounds = 0;
    Countdown thread(new Runnable([&](CThread& own) {
        while (own.checkContinue()) {
            ++rounds;
        }
    }));
    thread.start();
    waitForEnd(thread);
    EXPECT_EQ(rounds, 4);
}

TEST(ThreadTest, NotifiesADerivedClassAfterTheStopIsVisible) {
    class Waiting : public CThread {
    public:
        ~Waiting() override { stop(true); }
        CThread::ID tellingThread;
        bool goesOn = true;
        CSignal isTold;

    protected:
        void runImpl() override { isTold.wait(-1); }
        void onStopRequested() override {
            tellingThread = getCurrentID();
            goesOn = checkContinue();
            isTold.set();
        }
    };
    Waiting thread;
    thread.start();
    thread.stop(true);
    EXPECT_FALSE(thread.isAlive());
    EXPECT_EQ(thread.tellingThread, CThread::getCurrentID());
    EXPECT_FALSE(thread.goesOn);
}

TEST(ThreadTest, HasTheNameThatItWasGiven) {
    CThread thread;
    EXPECT_EQ(thread.getThreadName(), "");
    thread.setThreadName("vexil.asyncNetRequest");
    EXPECT_EQ(thread.getThreadName(), "vexil.asyncNetRequest");
}

/// A thread whose body throws.
class ThreadErrorTest : public testing::Test {
protected:
    /// Runs a body until its end.
    void run(std::function<void(CThread&)> body, bool logErrors = true) {
        thread = makeThread(std::move(body), logErrors);
        thread->start();
        thread->stop(true);
        EXPECT_FALSE(thread->isAlive());
    }

    LogCapture log;
    P<CThread> thread;
};

TEST_F(ThreadErrorTest, KeepsAnErrorWithItsType) {
    run([](CThread&) { throw OwnError("disk full"); });
    const P<CError> error = thread->getError();
    ASSERT_NE(error.get(), nullptr);
    EXPECT_NE(error.dynamicCast<OwnError>().get(), nullptr);
    EXPECT_EQ(error->getMessage(), "disk full");
    EXPECT_EQ(error->getDomain(), "own");
    EXPECT_EQ(error->getCode(), 7);
    EXPECT_THROW(error->throwClone(), OwnError);
    EXPECT_THAT(log.lines(), ElementsAre("E: An error has ended a thread. [disk full]"));
}

TEST_F(ThreadErrorTest, KeepsTheTextOfAnotherException) {
    run([](CThread&) { throw std::runtime_error("no space"); });
    ASSERT_NE(thread->getError().get(), nullptr);
    EXPECT_EQ(thread->getError()->getMessage(), "no space");
    EXPECT_THAT(log.lines(), ElementsAre("E: An error has ended a thread. [no space]"));
}

TEST_F(ThreadErrorTest, KeepsAnExceptionOfNoClassAsUnknown) {
    run([](CThread&) { throw 42; });
    ASSERT_NE(thread->getError().get(), nullptr);
    EXPECT_EQ(thread->getError()->getMessage(), "Unknown exception.");
    EXPECT_THAT(log.lines(), ElementsAre("E: An error has ended a thread. [Unknown exception.]"));
}

TEST_F(ThreadErrorTest, KeepsLackOfMemory) {
    run([](CThread&) { throw std::bad_alloc(); });
    ASSERT_NE(thread->getError().get(), nullptr);
    EXPECT_EQ(thread->getError()->getMessage(), "Out of memory.");
    EXPECT_THAT(log.lines(), ElementsAre("E: An error has ended a thread. [Out of memory.]"));
}

TEST_F(ThreadErrorTest, LogsNothingIfLoggingIsOff) {
    run([](CThread&) { throw OwnError("disk full"); }, false);
    ASSERT_NE(thread->getError().get(), nullptr);
    EXPECT_EQ(thread->getError()->getMessage(), "disk full");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ThreadErrorTest, LogsNothingOfAnOrderlyEnd) {
    run([](CThread&) {});
    EXPECT_EQ(thread->getError().get(), nullptr);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ThreadErrorTest, HasNoErrorWhileItRuns) {
    CSignal mayEnd;
    thread = makeThread([&](CThread&) {
        mayEnd.wait(-1);
        throw OwnError("disk full");
    });
    thread->start();
    EXPECT_EQ(thread->getError().get(), nullptr);
    mayEnd.set();
    waitForEnd(*thread);
    ASSERT_NE(thread->getError().get(), nullptr) << "known as soon as the thread is no longer alive";
}

TEST_F(ThreadErrorTest, WakesAWaiterForTheEnd) {
    CSignal mayEnd;
    CSignal isStopped;
    thread = makeThread([&](CThread&) {
        mayEnd.wait(-1);
        throw OwnError("disk full");
    });
    thread->start();
    std::thread stopper([&] {
        thread->stop(true);
        isStopped.set();
    });
    mayEnd.set();
    EXPECT_TRUE(isStopped.wait(longTime));
    stopper.join();
}

TEST_F(ThreadErrorTest, NamesTheThreadInTheLog) {
    class Details : public virtual zet::CBase, public zet::ILogSink {
    public:
        void log(const zet::CLogMessage& message) override { seen.push_back(message.detail); }
        std::vector<String> seen;
    };
    const P<Details> details = new Details;
    zet::setLogSink(details);
    thread = makeThread([](CThread&) { throw OwnError("disk full"); });
    thread->setThreadName("backup");
    thread->start();
    thread->stop(true);
    EXPECT_THAT(details->seen, ElementsAre(String("backup")));
}

TEST_F(ThreadErrorTest, EndsOnlyThatThread) {
    CSignal mayEnd;
    const P<CThread> other = makeThread([&](CThread&) { mayEnd.wait(-1); });
    other->start();
    run([](CThread&) { throw OwnError("disk full"); });
    EXPECT_TRUE(other->isAlive());
    mayEnd.set();
}

TEST(ThreadSleepTest, SleepsAtLeastForTheGivenTime) {
    const auto begin = std::chrono::steady_clock::now();
    CThread::sleep(30);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(30));
}

TEST(ThreadSleepTest, SleepsForNoTimeAtOnce) {
    const auto begin = std::chrono::steady_clock::now();
    CThread::sleep(0);
    CThread::sleep(-1);
    CThread::sleep(-1000000);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(longTime));
}

}  // namespace
