// The rule of the pauses, with the test's own clock and random numbers.
#include "apps/vexil/transfer/Patience.h"

#include "apps/vexil/platform/Interrupt.h"
#include "tests/support/ScriptedPeer.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/NetRequest.h"
#include "zet/TimeFields.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <thread>
#include <vector>

namespace vexil::app {

namespace {

using namespace std::chrono_literals;
using Milliseconds = CPatience::Milliseconds;

const CCURLError refused(CURLE_COULDNT_CONNECT, "", "", 0, "", "", "", "");
const CCURLError busy(CURLE_HTTP_RETURNED_ERROR, "", "http", 503, "", "", "", "");

class PatienceTest : public testing::Test {
protected:
    CPatience make() {
        m_settings.getTime = [this] { return m_now; };
        m_settings.getRandom = [this] { return m_random; };
        return CPatience(m_settings);
    }
    /// Fails until the patience ends. Returns the pauses.
    std::vector<Milliseconds> failUntilEnd(CPatience& patience, CPatience::Failures& failures,
                                           const CError& error, Milliseconds tryTime = 0ms) {
        std::vector<Milliseconds> pauses;
        while (const auto pause = patience.decidePause(error, failures)) {
            pauses.push_back(*pause);
            m_now += *pause + tryTime;
        }
        return pauses;
    }

    CPatience::Settings m_settings;
    CPatience::Clock::time_point m_now = CPatience::Clock::now();
    CPatience::Clock::time_point m_begin = m_now;
    double m_random = 1;
};

TEST_F(PatienceTest, PausesDoubleTo30Seconds) {
    CPatience patience = make();
    CPatience::Failures failures;
    const auto pauses = failUntilEnd(patience, failures, busy);
    ASSERT_GT(pauses.size(), 12u);
    const std::vector<Milliseconds> begin(pauses.begin(), pauses.begin() + 10);
    EXPECT_THAT(begin, testing::ElementsAre(200ms, 400ms, 800ms, 1600ms, 3200ms, 6400ms, 12800ms, 25600ms,
                                            30000ms, 30000ms));
    EXPECT_EQ(patience.getRetryCount(), static_cast<int64>(pauses.size()));
}

TEST_F(PatienceTest, ARandomShareOfHalfAndAllIsWaited) {
    for (const double random : {0.0, 0.25, 0.5, 1.0}) {
        m_random = random;
        CPatience patience = make();
        CPatience::Failures failures;
        EXPECT_EQ(patience.decidePause(busy, failures), Milliseconds(static_cast<int>(100 + 100 * random)));
        EXPECT_EQ(patience.decidePause(busy, failures), Milliseconds(static_cast<int>(200 + 200 * random)));
    }
    std::vector<Milliseconds> pauses;
    CPatience patience;
    for (int i = 0; i < 20; ++i) {
        CPatience::Failures failures;
        pauses.push_back(*patience.decidePause(busy, failures));
        EXPECT_GE(pauses.back(), 100ms);
        EXPECT_LE(pauses.back(), 200ms);
    }
    EXPECT_THAT(pauses, testing::Contains(testing::Ne(pauses.front())));
}

TEST_F(PatienceTest, ItEndsAfter15MinutesWithoutProgress) {
    for (const Milliseconds tryTime : {0ms, 20000ms}) {
        m_begin = m_now;
        CPatience patience = make();
        CPatience::Failures failures;
        failUntilEnd(patience, failures, busy, tryTime);
        EXPECT_GE(m_now - m_begin, 15min);
        EXPECT_LE(m_now - m_begin, 15min + tryTime);
    }
}

TEST_F(PatienceTest, WhatNeverAnsweredIsGivenUpAfter10Seconds) {
    CPatience patience = make();
    CPatience::Failures failures;
    failUntilEnd(patience, failures, refused);
    EXPECT_EQ(m_now - m_begin, 10s);
    // A server that has responded before is down only for a while.
    CPatience other = make();
    other.onSuccess();
    m_begin = m_now;
    failures = {};
    failUntilEnd(other, failures, refused);
    EXPECT_EQ(m_now - m_begin, 15min);
}

// Otherwise each of a million files would wait this long.
TEST_F(PatienceTest, AnotherOperationDoesNotWaitForThatLongAgain) {
    CPatience patience = make();
    CPatience::Failures first;
    failUntilEnd(patience, first, busy);
    CPatience::Failures second;
    EXPECT_FALSE(patience.decidePause(busy, second));
    patience.onSuccess();
    CPatience::Failures third;
    EXPECT_TRUE(patience.decidePause(busy, third));
}

TEST_F(PatienceTest, SuccessesOfOthersDoNotKeepAnOperationForEver) {
    CPatience patience = make();
    CPatience::Failures failures;
    while (const auto pause = patience.decidePause(busy, failures)) {
        m_now += *pause;
        patience.onSuccess();
        ASSERT_LE(m_now - m_begin, 16min);
    }
    EXPECT_GE(m_now - m_begin, 15min);
}

TEST_F(PatienceTest, BytesThatMoveAreProgressBut50BrokenTransfersAreEnough) {
    CPatience patience = make();
    CPatience::Failures failures;
    int tries = 0;
    while (const auto pause = patience.decidePause(refused, failures, true)) {
        m_now += *pause + 14min;
        ++tries;
        ASSERT_LE(tries, 50);
    }
    EXPECT_EQ(tries, 50);
}

TEST_F(PatienceTest, ThereAreNoMoreRetriesThanAreSet) {
    for (const bool hasMoved : {false, true}) {
        for (const int count : {0, 1, 3}) {
            m_settings.maxRetries = count;
            CPatience patience = make();
            CPatience::Failures failures;
            for (int i = 0; i < count; ++i) {
                EXPECT_TRUE(patience.mayTryAgain(failures));
                EXPECT_TRUE(patience.decidePause(busy, failures, hasMoved));
            }
            EXPECT_FALSE(patience.mayTryAgain(failures));
            EXPECT_FALSE(patience.decidePause(busy, failures, hasMoved));
            EXPECT_EQ(patience.getRetryCount(), count);
        }
    }
}

TEST_F(PatienceTest, WithoutPatienceNothingIsTriedAgain) {
    m_settings.limit = 0ms;
    CPatience patience = make();
    CPatience::Failures failures;
    EXPECT_FALSE(patience.decidePause(busy, failures));
}

TEST_F(PatienceTest, TheServerMayWantALongerPause) {
    CPatience patience = make();
    CPatience::Failures failures;
    EXPECT_EQ(patience.decidePause(busy, failures, false, 100s), 100s);
    EXPECT_EQ(patience.decidePause(busy, failures, false, 1ms), 400ms);
    EXPECT_EQ(patience.decidePause(busy, failures, false, 15min), 15min);
    EXPECT_FALSE(patience.decidePause(busy, failures, false, 15min + 1ms)) << "longer than the patience";
}

TEST_F(PatienceTest, EachPauseIsTold) {
    std::vector<std::string> told;
    m_settings.onPause = [&told](const CError& error, int tries, Milliseconds pause) {
        told.push_back(std::to_string(error.getCode()) + " " + std::to_string(tries) + " " +
                       std::to_string(pause.count()));
    };
    CPatience patience = make();
    CPatience::Failures failures;
    patience.decidePause(busy, failures);
    patience.decidePause(refused, failures);
    EXPECT_THAT(told, testing::ElementsAre("22 1 200", "7 2 400"));
}

TEST(PatienceWaitTest, EndsWithinAnInstantOfAnInterrupt) {
    const auto begin = CPatience::Clock::now();
    std::thread interrupter([] {
        std::this_thread::sleep_for(100ms);
        CInterrupt::request(SIGINT);
    });
    EXPECT_THROW(CPatience::wait(60s), CError);
    interrupter.join();
    CInterrupt::clear();
    // Far more than a loaded machine needs, far less than the pause.
    EXPECT_LT(CPatience::Clock::now() - begin, 20s);
}

TEST(RetryAfterTest, IsANumberOfSecondsOrADate) {
    vexil_test::ScriptedPeer peer;
    const P<CNetRequest> request = new CNetRequest;
    const auto findFor = [&](const std::string& header) {
        peer.setDefaultReply("HTTP/1.1 200 OK\r\n" + header + "Content-Length: 0\r\n\r\n");
        request->setURL(String::fromUTF8(peer.url("/")));
        request->perform();
        return CPatience::findRetryAfter(*request);
    };
    EXPECT_EQ(findFor(""), 0s);
    EXPECT_EQ(findFor("Retry-After: 120\r\n"), 120s);
    EXPECT_EQ(findFor("retry-after:  7 \r\n"), 7s);
    for (const char* const value : {"-1", "x", "", "1.5", "99999999999999999999"}) {
        EXPECT_EQ(findFor(std::string("Retry-After: ") + value + "\r\n"), 0s) << value;
    }
    EXPECT_EQ(findFor("Retry-After: 999999999\r\n"), 24h);
    const auto inAMinute = zet::CTime::fromMicroseconds(zet::CTime::now().getMicroseconds() + 60000000);
    const Milliseconds pause =
        findFor("Retry-After: " + zet::CTimeFields(inAMinute).toInternetTimestamp().toUTF8() + "\r\n");
    EXPECT_GT(pause, 50s);
    EXPECT_LE(pause, 61s);
    EXPECT_EQ(findFor("Retry-After: Fri, 31 Dec 1999 23:59:59 GMT\r\n"), 0s);
}

}  // namespace

}  // namespace vexil::app
