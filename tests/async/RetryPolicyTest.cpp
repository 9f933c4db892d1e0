// The rule of the pauses, with the test's own clock and random numbers.
#include "vexil/net/RetryPolicy.h"

#include "tests/support/ScriptedPeer.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/NetRequest.h"
#include "zet/TimeFields.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace vexil {

namespace {

using namespace std::chrono_literals;
using Milliseconds = CRetryPolicy::Milliseconds;

const CCURLError refused(CURLE_COULDNT_CONNECT, "", "", 0, "", "", "", "");
const CCURLError busy(CURLE_HTTP_RETURNED_ERROR, "", "http", 503, "", "", "", "");

class RetryPolicyTest : public testing::Test {
protected:
    CRetryPolicy make() {
        m_settings.getTime = [this] { return m_now; };
        m_settings.getRandom = [this] { return m_random; };
        return CRetryPolicy(m_settings);
    }
    /// Fails until the policy gives up. Returns the pauses.
    std::vector<Milliseconds> failUntilEnd(CRetryPolicy& policy, CRetryPolicy::Failures& failures,
                                           const CError& error, Milliseconds tryTime = 0ms) {
        std::vector<Milliseconds> pauses;
        while (const auto pause = policy.decidePause(error, failures)) {
            pauses.push_back(*pause);
            m_now += *pause + tryTime;
        }
        return pauses;
    }

    CRetryPolicy::Settings m_settings;
    CRetryPolicy::Clock::time_point m_now = CRetryPolicy::Clock::now();
    CRetryPolicy::Clock::time_point m_begin = m_now;
    double m_random = 1;
};

TEST_F(RetryPolicyTest, PausesDoubleTo30Seconds) {
    CRetryPolicy policy = make();
    CRetryPolicy::Failures failures;
    const auto pauses = failUntilEnd(policy, failures, busy);
    ASSERT_GT(pauses.size(), 12u);
    const std::vector<Milliseconds> begin(pauses.begin(), pauses.begin() + 10);
    EXPECT_THAT(begin, testing::ElementsAre(200ms, 400ms, 800ms, 1600ms, 3200ms, 6400ms, 12800ms, 25600ms,
                                            30000ms, 30000ms));
    EXPECT_EQ(policy.getRetryCount(), static_cast<int64>(pauses.size()));
}

TEST_F(RetryPolicyTest, ARandomShareOfHalfAndAllIsWaited) {
    for (const double random : {0.0, 0.25, 0.5, 1.0}) {
        m_random = random;
        CRetryPolicy policy = make();
        CRetryPolicy::Failures failures;
        EXPECT_EQ(policy.decidePause(busy, failures), Milliseconds(static_cast<int>(100 + 100 * random)));
        EXPECT_EQ(policy.decidePause(busy, failures), Milliseconds(static_cast<int>(200 + 200 * random)));
    }
    std::vector<Milliseconds> pauses;
    CRetryPolicy policy;
    for (int i = 0; i < 20; ++i) {
        CRetryPolicy::Failures failures;
        pauses.push_back(*policy.decidePause(busy, failures));
        EXPECT_GE(pauses.back(), 100ms);
        EXPECT_LE(pauses.back(), 200ms);
    }
    EXPECT_THAT(pauses, testing::Contains(testing::Ne(pauses.front())));
}

TEST_F(RetryPolicyTest, TheRandomShareCanBeSet) {
    for (const auto& [share, pause] : {std::pair(0.0, 200ms), {0.5, 100ms}, {1.0, 0ms}}) {
        m_random = 0;
        m_settings.randomShare = share;
        CRetryPolicy policy = make();
        CRetryPolicy::Failures failures;
        EXPECT_EQ(policy.decidePause(busy, failures), pause) << share;
    }
}

TEST_F(RetryPolicyTest, RefusesSettingsWithoutAMeaning) {
    const auto refuses = [](CRetryPolicy::Settings settings) {
        try {
            const CRetryPolicy policy(std::move(settings));
            return false;
        } catch (const CInvalidArgError&) {
            return true;
        }
    };
    EXPECT_FALSE(refuses({}));
    for (const double share : {-0.1, 1.1, std::nan("")}) {
        EXPECT_TRUE(refuses({.randomShare = share})) << share;
    }
    EXPECT_TRUE(refuses({.pauseFactor = -1}));
    EXPECT_TRUE(refuses({.maxRetries = -1}));
}

TEST_F(RetryPolicyTest, NoTryBeginsAtTheDeadlineOrLater) {
    m_settings.randomShare = 0;
    m_settings.deadline = m_now + 1401ms;
    CRetryPolicy policy = make();
    CRetryPolicy::Failures failures;
    EXPECT_THAT(failUntilEnd(policy, failures, busy), testing::ElementsAre(200ms, 400ms, 800ms));
    EXPECT_EQ(policy.getRetryCount(), 3);
    EXPECT_EQ(failures.count, 3);
    m_settings.deadline = m_now + 200ms;
    CRetryPolicy other = make();
    failures = {};
    EXPECT_FALSE(other.decidePause(busy, failures));
    // A pause that the server demands counts, too.
    m_settings.deadline = m_now + 5s;
    CRetryPolicy patient = make();
    failures = {};
    EXPECT_FALSE(patient.decidePause(busy, failures, false, 5s));
    EXPECT_TRUE(patient.decidePause(busy, failures, false, 4s));
}

TEST_F(RetryPolicyTest, PoliciesShareABudget) {
    m_settings.budget = new CRetryBudget(4, 0.1);
    CRetryPolicy policy = make();
    CRetryPolicy other = make();
    CRetryPolicy copy = policy;
    CRetryPolicy::Failures failures;
    EXPECT_TRUE(policy.decidePause(busy, failures));
    EXPECT_TRUE(other.decidePause(busy, failures));
    // What is given up for another reason takes nothing.
    EXPECT_FALSE(copy.decidePause(busy, failures, false, 24h));
    EXPECT_EQ(m_settings.budget->getLeft(), 2);
    EXPECT_THAT(failUntilEnd(copy, failures, busy), testing::SizeIs(2));
    EXPECT_FALSE(policy.decidePause(busy, failures));
    for (int i = 0; i < 9; ++i) {
        other.onSuccess();
    }
    EXPECT_FALSE(policy.decidePause(busy, failures));
    other.onSuccess();
    EXPECT_EQ(m_settings.budget->getLeft(), 1);
    EXPECT_TRUE(policy.decidePause(busy, failures));
    for (int i = 0; i < 100; ++i) {
        policy.onSuccess();
    }
    EXPECT_EQ(m_settings.budget->getLeft(), 4);
}

TEST_F(RetryPolicyTest, BudgetsWithoutAMeaningAreRefused) {
    const auto refuses = [](int retries, double perSuccess) {
        try {
            const CRetryBudget budget(retries, perSuccess);
            return false;
        } catch (const CInvalidArgError&) {
            return true;
        }
    };
    EXPECT_FALSE(refuses(0, 0));
    EXPECT_FALSE(refuses(1000000000, 1));
    EXPECT_TRUE(refuses(-1, 0));
    EXPECT_TRUE(refuses(1000000001, 0));
    EXPECT_TRUE(refuses(1, -0.1));
    EXPECT_TRUE(refuses(1, 1.1));
    EXPECT_TRUE(refuses(1, std::nan("")));
}

TEST_F(RetryPolicyTest, BreaksAfter100AndInside200AreTemporary) {
    const CRetryPolicy policy = make();
    for (const int status : {100, 200}) {
        EXPECT_TRUE(policy.isTemporary(CCURLError(CURLE_RECV_ERROR, "", "http", status, "", "", "", "")));
    }
    EXPECT_FALSE(policy.isTemporary(CCURLError(CURLE_HTTP_RETURNED_ERROR, "", "http", 404, "", "", "", "")));
    m_settings.isTemporary = [](const CError&) { return false; };
    EXPECT_FALSE(make().isTemporary(busy));
}

TEST_F(RetryPolicyTest, ItEndsAfter15MinutesWithoutProgress) {
    for (const Milliseconds tryTime : {0ms, 20000ms}) {
        m_begin = m_now;
        CRetryPolicy policy = make();
        CRetryPolicy::Failures failures;
        failUntilEnd(policy, failures, busy, tryTime);
        EXPECT_GE(m_now - m_begin, 15min);
        EXPECT_LE(m_now - m_begin, 15min + tryTime);
    }
}

TEST_F(RetryPolicyTest, WhatNeverRespondedIsGivenUpAfter10Seconds) {
    CRetryPolicy policy = make();
    CRetryPolicy::Failures failures;
    failUntilEnd(policy, failures, refused);
    EXPECT_EQ(m_now - m_begin, 10s);
    // A server that has responded before is down only for a while.
    CRetryPolicy other = make();
    other.onSuccess();
    m_begin = m_now;
    failures = {};
    failUntilEnd(other, failures, refused);
    EXPECT_EQ(m_now - m_begin, 15min);
}

// Otherwise each of a million files would wait this long.
TEST_F(RetryPolicyTest, AnotherOperationDoesNotWaitForThatLongAgain) {
    CRetryPolicy policy = make();
    CRetryPolicy::Failures first;
    failUntilEnd(policy, first, busy);
    CRetryPolicy::Failures second;
    EXPECT_FALSE(policy.decidePause(busy, second));
    policy.onSuccess();
    CRetryPolicy::Failures third;
    EXPECT_TRUE(policy.decidePause(busy, third));
}

TEST_F(RetryPolicyTest, SuccessesOfOthersDoNotKeepAnOperationForEver) {
    CRetryPolicy policy = make();
    CRetryPolicy::Failures failures;
    while (const auto pause = policy.decidePause(busy, failures)) {
        m_now += *pause;
        policy.onSuccess();
        ASSERT_LE(m_now - m_begin, 16min);
    }
    EXPECT_GE(m_now - m_begin, 15min);
}

TEST_F(RetryPolicyTest, BytesThatMoveAreProgressBut50BrokenTransfersAreEnough) {
    CRetryPolicy policy = make();
    CRetryPolicy::Failures failures;
    int tries = 0;
    while (const auto pause = policy.decidePause(refused, failures, true)) {
        m_now += *pause + 14min;
        ++tries;
        ASSERT_LE(tries, 50);
    }
    EXPECT_EQ(tries, 50);
}

TEST_F(RetryPolicyTest, ThereAreNoMoreRetriesThanAreSet) {
    for (const bool hasMoved : {false, true}) {
        for (const int count : {0, 1, 3}) {
            m_settings.maxRetries = count;
            CRetryPolicy policy = make();
            CRetryPolicy::Failures failures;
            for (int i = 0; i < count; ++i) {
                EXPECT_TRUE(policy.mayTryAgain(failures));
                EXPECT_TRUE(policy.decidePause(busy, failures, hasMoved));
            }
            EXPECT_FALSE(policy.mayTryAgain(failures));
            EXPECT_FALSE(policy.decidePause(busy, failures, hasMoved));
            EXPECT_EQ(policy.getRetryCount(), count);
        }
    }
}

TEST_F(RetryPolicyTest, WithALimitOf0NothingIsTriedAgain) {
    m_settings.limit = 0ms;
    CRetryPolicy policy = make();
    CRetryPolicy::Failures failures;
    EXPECT_FALSE(policy.decidePause(busy, failures));
}

TEST_F(RetryPolicyTest, TheServerMayWantALongerPause) {
    CRetryPolicy policy = make();
    CRetryPolicy::Failures failures;
    EXPECT_EQ(policy.decidePause(busy, failures, false, 100s), 100s);
    EXPECT_EQ(policy.decidePause(busy, failures, false, 1ms), 400ms);
    EXPECT_EQ(policy.decidePause(busy, failures, false, 15min), 15min);
    EXPECT_FALSE(policy.decidePause(busy, failures, false, 15min + 1ms)) << "longer than the limit";
}

TEST_F(RetryPolicyTest, EachPauseIsTold) {
    std::vector<std::string> told;
    m_settings.onPause = [&told](const CError& error, int tries, Milliseconds pause) {
        told.push_back(std::to_string(error.getCode()) + " " + std::to_string(tries) + " " +
                       std::to_string(pause.count()));
    };
    CRetryPolicy policy = make();
    CRetryPolicy::Failures failures;
    EXPECT_TRUE(policy.decidePause(busy, failures));
    EXPECT_TRUE(policy.decidePause(refused, failures));
    EXPECT_THAT(told, testing::ElementsAre("22 1 200", "7 2 400"));
}

TEST(RetryAfterTest, IsANumberOfSecondsOrADate) {
    vexil_test::ScriptedPeer peer;
    const P<CNetRequest> request = new CNetRequest;
    const auto findFor = [&](const std::string& header) {
        peer.setDefaultReply("HTTP/1.1 200 OK\r\n" + header + "Content-Length: 0\r\n\r\n");
        request->setURL(String::fromUTF8(peer.url("/")));
        request->perform();
        return CRetryPolicy::findRetryAfter(*request);
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

}  // namespace vexil
