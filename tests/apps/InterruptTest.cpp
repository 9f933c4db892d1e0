#include "apps/vexil/platform/Interrupt.h"

#include "apps/vexil/platform/Platform.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <thread>
#include <unistd.h>

namespace {

using vexil::app::CInterrupt;

class InterruptDeathTest : public testing::TestWithParam<int> {
protected:
    /// Ends the process with the exit code of the program, 0 if no signal is noted.
    [[noreturn]] static void endWithExitCode() {
        _exit(CInterrupt::isRequested() ? CInterrupt::getExitCode() : 0);
    }
};

INSTANTIATE_TEST_SUITE_P(Signals, InterruptDeathTest, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_P(InterruptDeathTest, TheFirstSignalIsNoted) {
    EXPECT_EXIT(
        {
            CInterrupt::install();
            std::raise(GetParam());
            endWithExitCode();
        },
        testing::ExitedWithCode(128 + GetParam()), "");
}

TEST_P(InterruptDeathTest, TheSecondSignalKills) {
    EXPECT_EXIT(
        {
            CInterrupt::install();
            std::raise(GetParam());
            std::raise(GetParam());
            endWithExitCode();
        },
        testing::KilledBySignal(GetParam()), "");
}

TEST(InterruptIgnoredDeathTest, WhatNohupIgnoresStaysIgnored) {
    EXPECT_EXIT(
        {
            std::signal(SIGHUP, SIG_IGN);
            CInterrupt::install();
            std::raise(SIGHUP);
            std::raise(SIGHUP);
            _exit(CInterrupt::isRequested() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

/// Ends the process with code 0 if the wait for a silent standard input has ended by itself.
[[noreturn]] void readSilentInput(bool isEarlier) {
    CInterrupt::install();
    constexpr unsigned limit = 30;
    alarm(limit);
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0 || dup2(ends[0], STDIN_FILENO) != STDIN_FILENO) {
        _exit(2);
    }
    std::thread other([isEarlier] {
        std::this_thread::sleep_for(std::chrono::milliseconds(isEarlier ? 0 : 100));
        std::raise(SIGINT);
    });
    if (isEarlier) {
        other.join();
    }
    char byte = 0;
    const int count = vexil::app::readStandardInput(&byte, 1);
    _exit(count == 0 && CInterrupt::isRequested() ? 0 : 1);
}

// Neither signal interrupts the call that reads: it comes before, or another thread handles it.
TEST(StandardInputDeathTest, ASignalThatInterruptsNoCallEndsTheWait) {
    EXPECT_EXIT(readSilentInput(true), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(readSilentInput(false), testing::ExitedWithCode(0), "");
}

}  // namespace
