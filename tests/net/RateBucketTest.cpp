// The arithmetic of a rate limit, by a clock that only the test moves.
#include "vexil/net/RateBucket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace {

using std::chrono::hours;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::AllOf;
using testing::Each;
using testing::Ge;
using testing::Le;
using vexil::CRateBucket;
using vexil::int64;

using Place = CRateBucket::Place;

constexpr int64 largest = std::numeric_limits<int64>::max();
constexpr int64 block = 16384;

/// One who always has something to move.
struct Taker {
    int64 wanted = block;
    Place place = {};
    int64 total = 0;
};

class RateBucketTest : public testing::Test {
protected:
    void setRate(int64 rate) { bucket.setRate(rate, now); }

    int64 take(Taker& taker) {
        const int64 bytes = bucket.take(taker.place, taker.wanted, now);
        taker.total += bytes;
        return bytes;
    }

    /// Lets them take all that they can, every `step`.
    void run(std::vector<Taker>& takers, nanoseconds time, nanoseconds step) {
        for (const nanoseconds end = now + time; now < end;) {
            now += step;
            for (bool isTaken = true; isTaken;) {
                isTaken = false;
                for (Taker& taker : takers) {
                    isTaken = take(taker) > 0 || isTaken;
                }
            }
        }
    }

    static int64 sumOf(const std::vector<Taker>& takers) {
        int64 sum = 0;
        for (const Taker& taker : takers) {
            sum += taker.total;
        }
        return sum;
    }

    CRateBucket bucket;
    nanoseconds now = seconds(1000);
};

TEST_F(RateBucketTest, WithoutARateAllIsTakenAtOnce) {
    Taker taker{.wanted = largest};
    EXPECT_EQ(take(taker), largest);
    EXPECT_EQ(taker.place.bytes, 0);
    EXPECT_EQ(bucket.getWait(taker.place, now), nanoseconds(0));
    EXPECT_EQ(bucket.getRate(), 0);
}

TEST_F(RateBucketTest, TheNextTurnComesWhenTheBytesOfTheLastOneAreFilled) {
    setRate(1000);
    EXPECT_EQ(bucket.getRate(), 1000);
    Taker taker{.wanted = 40};
    EXPECT_EQ(take(taker), 40);
    EXPECT_EQ(take(taker), 0);
    const nanoseconds wait = bucket.getWait(taker.place, now);
    EXPECT_GE(wait, milliseconds(40));
    EXPECT_LE(wait, milliseconds(40) + nanoseconds(2));
    now += milliseconds(40) - nanoseconds(1);
    EXPECT_EQ(take(taker), 0);
    now += nanoseconds(1);
    EXPECT_EQ(bucket.getWait(taker.place, now), nanoseconds(0));
    EXPECT_EQ(take(taker), 40);
    EXPECT_EQ(take(taker), 0);
}

TEST_F(RateBucketTest, ATurnIsAtMost50Milliseconds) {
    setRate(1000);
    Taker taker{.wanted = 5000};
    EXPECT_EQ(take(taker), 50);
    now += hours(1);
    setRate(1);
    now += hours(1);
    EXPECT_EQ(take(taker), 1);
    setRate(largest);
    now += hours(1);
    taker.wanted = largest;
    EXPECT_EQ(take(taker), 65536);
}

TEST_F(RateBucketTest, TheRateIsKeptOverFiveSeconds) {
    for (const int64 rate : {1000, 4096, 65536, 1000000, 4194304, 123456789}) {
        for (const int64 wanted : {int64{1}, block, int64{65536}}) {
            for (const nanoseconds step : {nanoseconds(milliseconds(1)), nanoseconds(milliseconds(37))}) {
                if (wanted == 1 && rate > 65536) {
                    continue;  // a loop over each byte
                }
                bucket = {};
                setRate(rate);
                std::vector<Taker> takers(3, Taker{.wanted = wanted});
                run(takers, seconds(5), step);
                EXPECT_THAT(sumOf(takers), AllOf(Ge(rate * 5 * 95 / 100), Le(rate * 5 * 105 / 100)))
                    << rate << " by " << wanted;
            }
        }
    }
}

TEST_F(RateBucketTest, NoPartOfAByteIsLost) {
    setRate(3);
    Taker taker{.wanted = 1};
    std::vector<Taker> takers{taker};
    run(takers, seconds(100), microseconds(997));
    EXPECT_GE(takers[0].total, 300);
    EXPECT_LE(takers[0].total, 301);
}

TEST_F(RateBucketTest, AChangedRateCountsAtOnce) {
    setRate(100000);
    std::vector<Taker> takers(10);
    run(takers, seconds(2), milliseconds(1));
    const int64 first = sumOf(takers);
    EXPECT_THAT(first, AllOf(Ge(190000), Le(210000)));
    setRate(1000);
    run(takers, seconds(2), milliseconds(1));
    const int64 second = sumOf(takers) - first;
    // The turns that wait keep their sizes: 10 of 5,000 bytes. All together stay at the rate.
    EXPECT_LE(second, 2000 + 5000);
    setRate(1000000);
    run(takers, seconds(2), milliseconds(1));
    EXPECT_THAT(sumOf(takers) - first - second, AllOf(Ge(1900000), Le(2100000)));
    setRate(0);
    for (Taker& taker : takers) {
        EXPECT_EQ(take(taker), block) << "those that wait get all at once";
    }
}

TEST_F(RateBucketTest, ALimitThatBeginsLateStartsAtZero) {
    Taker taker{.wanted = 1 << 20};
    take(taker);
    now += hours(1);
    setRate(1000);
    EXPECT_EQ(take(taker), 50);
    EXPECT_EQ(take(taker), 0);
}

TEST_F(RateBucketTest, AnIdleBucketCollectsATenthOfASecond) {
    setRate(100000);
    now += hours(24);
    std::vector<Taker> takers(1, Taker{.wanted = 1000});
    run(takers, nanoseconds(1), nanoseconds(1));
    EXPECT_EQ(takers[0].total, 10000 + 1000);
    // If those that wait come late, it has collected as much beside their turns.
    now += hours(24);
    takers[0].total = 0;
    run(takers, nanoseconds(1), nanoseconds(1));
    EXPECT_EQ(takers[0].total, 1000 + 10000 + 1000);
    setRate(1000);
    now += hours(24);
    takers[0].total = 0;
    run(takers, nanoseconds(1), nanoseconds(1));
    EXPECT_LE(takers[0].total, 100 + 1000 + 50);
    setRate(100000);
    now += hours(24);
    setRate(1000);
    takers[0].total = 0;
    run(takers, nanoseconds(1), nanoseconds(1));
    EXPECT_LE(takers[0].total, 100 + 1000 + 50) << "what a higher rate has collected is lost";
}

TEST_F(RateBucketTest, ALateDriverLosesNothingUpToATenthOfASecond) {
    setRate(1000000);
    std::vector<Taker> takers(2);
    run(takers, seconds(5), milliseconds(90));
    EXPECT_THAT(sumOf(takers), AllOf(Ge(4750000), Le(5250000)));
    const int64 before = sumOf(takers);
    run(takers, seconds(5), milliseconds(500));
    EXPECT_LE(sumOf(takers) - before, 10 * (100000 + 3 * block));
}

TEST_F(RateBucketTest, AllGetTheSameShare) {
    setRate(1000000);
    std::vector<Taker> takers(8);
    takers[3].wanted = 65536;  // its turns are longer
    run(takers, seconds(8), milliseconds(1));
    for (std::size_t i = 0; i < takers.size(); ++i) {
        if (i != 3) {
            EXPECT_NEAR(static_cast<double>(takers[i].total), static_cast<double>(takers[0].total),
                        2 * block);
        }
    }
    EXPECT_LE(takers[3].total, takers[0].total * 4);
}

TEST_F(RateBucketTest, AShareThatIsNotUsedGoesToTheOthersAtOnce) {
    setRate(1000000);
    std::vector<Taker> takers(8);
    run(takers, seconds(1), milliseconds(1));
    for (std::size_t i = 1; i < takers.size(); ++i) {
        bucket.drop(takers[i].place);
    }
    std::vector<Taker> last{takers[0]};
    last[0].total = 0;
    run(last, seconds(1), milliseconds(1));
    EXPECT_THAT(last[0].total, AllOf(Ge(950000), Le(1050000)));
}

TEST_F(RateBucketTest, ASmallOneWaitsForOneTurnOfEachLargeOne) {
    setRate(1000000);
    std::vector<Taker> large(4);
    run(large, seconds(1), milliseconds(1));
    Taker small{.wanted = 10};
    const nanoseconds start = now;
    while (take(small) == 0) {
        run(large, milliseconds(1), milliseconds(1));
    }
    EXPECT_LE(now - start, milliseconds(5 * 17 + 2)) << "the last turn, and one of each";
}

TEST_F(RateBucketTest, ReturnedBytesGoToTheNext) {
    setRate(100000);
    Taker first{.wanted = 5000};
    Taker second{.wanted = 5000};
    EXPECT_EQ(take(first), 5000);
    EXPECT_EQ(take(second), 0);
    bucket.giveBack(5000);
    EXPECT_EQ(take(second), 5000);
    EXPECT_EQ(take(first), 0);
    // It wants less than when it asked.
    now += milliseconds(50);
    first.wanted = 1000;
    EXPECT_EQ(take(first), 1000);
    EXPECT_EQ(take(second), 0);
    now += milliseconds(10);
    EXPECT_EQ(take(second), 5000);
    bucket.giveBack(largest);
    Taker third{.wanted = 5000};
    int64 taken = 0;
    while (const int64 bytes = take(third)) {
        taken += bytes;
    }
    EXPECT_LE(taken, 10000 + 5000) << "no more than an idle bucket has";
}

TEST_F(RateBucketTest, ATimeThatGoesBackwardsCountsAsNone) {
    setRate(1000);
    Taker taker{.wanted = 50};
    take(taker);
    now -= hours(1);
    EXPECT_EQ(take(taker), 0);
    now += hours(1) + milliseconds(50);
    EXPECT_EQ(take(taker), 50);
    EXPECT_EQ(take(taker), 0);
}

TEST_F(RateBucketTest, TheLargestNumbersDoNotOverflow) {
    for (const int64 rate : {largest, largest - 1, largest / 2 + 1, int64{999999999}, int64{1999999999}}) {
        bucket = {};
        setRate(rate);
        Taker taker{.wanted = largest};
        EXPECT_EQ(take(taker), std::min<int64>(rate / 20, 65536));
        now += hours(24 * 365);
        EXPECT_GT(take(taker), 0);
        now += seconds(9);
        EXPECT_GT(take(taker), 0);
        bucket.giveBack(largest);
        setRate(1);
        EXPECT_GE(bucket.getWait(taker.place, now), nanoseconds(0));
        setRate(largest);
        now += nanoseconds(1);
        EXPECT_GE(bucket.getWait(taker.place, now), nanoseconds(0));
    }
    bucket = {};
    setRate(1);
    std::vector<Taker> takers(1000, Taker{.wanted = 1});
    for (Taker& taker : takers) {
        take(taker);
    }
    EXPECT_GE(bucket.getWait(takers[999].place, now), seconds(998));
    setRate(0);
    setRate(1000000);
    for (Taker& taker : takers) {
        taker = {.wanted = 50000};
        take(taker);
    }
    setRate(1);
    EXPECT_THAT(bucket.getWait(takers[999].place, now), AllOf(Ge(seconds(3600)), Le(seconds(3601))));
}

}  // namespace
