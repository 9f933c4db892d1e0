#include "apps/vexil/platform/Interrupt.h"

#include <gtest/gtest.h>

#include <csignal>
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

}  // namespace
