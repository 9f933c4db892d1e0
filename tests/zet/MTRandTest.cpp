#include "zet/MTRand.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <vector>

namespace {

using zet::CMTRand;

TEST(MTRandTest, IsTheGeneratorOfTheStandard) {
    // The 10,000th number of the default seed, from the C++ standard (rand.predef).
    CMTRand generator(5489);
    for (int i = 1; i < 10000; ++i) {
        generator.rand64();
    }
    EXPECT_EQ(generator.rand64(), 9981545732273789042u);
}

TEST(MTRandTest, TheSameSeedBeginsTheSameSequence) {
    CMTRand first(1);
    CMTRand second(1);
    CMTRand other(2);
    const auto number = first.rand64();
    EXPECT_EQ(second.rand64(), number);
    EXPECT_NE(other.rand64(), number);
}

TEST(MTRandTest, ThereIsOneForTheProcess) {
    ASSERT_NE(CMTRand::getGlobal(), nullptr);
    EXPECT_EQ(CMTRand::getGlobal(), CMTRand::getGlobal());
    EXPECT_EQ(&CMTRand::getGlobalInstanceMutex(), &CMTRand::getGlobalInstanceMutex());
}

TEST(MTRandTest, ManyThreadsUseTheGlobalOneUnderItsLock) {
    constexpr int threadCount = 4;
    constexpr int numbersOfEach = 1000;
    std::set<zet::uint64> numbers;
    const auto draw = [&numbers] {
        for (int i = 0; i < numbersOfEach; ++i) {
            const zet::CMutexLock lock(CMTRand::getGlobalInstanceMutex());
            numbers.insert(CMTRand::getGlobal()->rand64());
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back(draw);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(numbers.size(), static_cast<std::size_t>(threadCount * numbersOfEach))
        << "no number comes twice";
}

}  // namespace
