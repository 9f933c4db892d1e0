#include "apps/vexil/Progress.h"

#include "apps/vexil/Console.h"

#include <gtest/gtest.h>

#include <sstream>

namespace vexil::app {

namespace {

class ProgressTest : public testing::Test {
protected:
    CProgress::Clock getClock() {
        return [this] { return std::chrono::steady_clock::time_point(m_time); };
    }
    void pass(int milliseconds) { m_time += std::chrono::milliseconds(milliseconds); }

    std::chrono::milliseconds m_time{0};
    std::ostringstream m_output;
    std::ostringstream m_errors;
};

const std::string eraser = "\r" + std::string(79, ' ') + "\r";

}  // namespace

TEST_F(ProgressTest, ATerminalHasOneLineThatIsWrittenOver) {
    CConsole console(m_output, m_errors, true);
    {
        CProgress progress(console, getClock());
        pass(1000);
        const int file = progress.beginFile("a");
        EXPECT_EQ(m_errors.str(), "0 files, 0 bytes, 0 bytes/s  a");
        progress.update(file, 500);
        pass(1000);
        progress.update(file, 2000);
        EXPECT_EQ(m_errors.str(), "0 files, 0 bytes, 0 bytes/s  a" + eraser + "0 files, 2.0 kB, 1.0 kB/s  a");
    }
    EXPECT_TRUE(m_errors.str().ends_with(eraser));
    EXPECT_EQ(m_output.str(), "");
}

TEST_F(ProgressTest, AMessageTakesThePlaceOfTheLine) {
    CConsole console(m_output, m_errors, true);
    CProgress progress(console, getClock());
    pass(1000);
    progress.beginFile("a");
    console.message(Verbosity::Warning, "look");
    EXPECT_TRUE(m_errors.str().ends_with(eraser + "look\n"));
}

TEST_F(ProgressTest, ALongNameDoesNotBreakTheLine) {
    CConsole console(m_output, m_errors, true);
    CProgress progress(console, getClock());
    pass(1000);
    progress.beginFile(String(std::wstring(200, L'x')));
    EXPECT_EQ(m_errors.str().size(), 79u);
}

TEST_F(ProgressTest, ElsewhereThereIsAPlainLineNowAndThen) {
    CConsole console(m_output, m_errors, false);
    CProgress progress(console, getClock());
    for (int i = 0; i < 200; ++i) {
        pass(100);
        progress.endFile(progress.beginFile("a"), 2000);
    }
    EXPECT_EQ(m_errors.str(), "99 files, 198.0 kB, 19.8 kB/s  a\n199 files, 398.0 kB, 19.9 kB/s  a\n");
}

TEST_F(ProgressTest, FilesThatAreUnderWayAtOnceAreSummed) {
    CConsole console(m_output, m_errors, false);
    CProgress progress(console, getClock());
    const int first = progress.beginFile("a");
    const int second = progress.beginFile("b");
    progress.update(first, 100);
    progress.update(second, 2000);
    pass(10000);
    progress.update(second, 3000);
    progress.endFile(first, 150);
    pass(10000);
    // As when its transfer has begun again.
    progress.update(second, 50);
    pass(10000);
    progress.dropFile(second);
    EXPECT_EQ(m_errors.str(), "0 files, 3.1 kB, 310 bytes/s  a\n"
                              "1 file, 200 bytes, 10 bytes/s  b\n"
                              "1 file, 150 bytes, 5 bytes/s\n");
}

TEST_F(ProgressTest, AFileThatIsNoMoreUnderWayChangesNothing) {
    CConsole console(m_output, m_errors, false);
    CProgress progress(console, getClock());
    const int file = progress.beginFile("a");
    progress.endFile(file, 5);
    progress.update(file, 7);
    progress.endFile(file, 7);
    progress.dropFile(file);
    EXPECT_EQ(progress.getFileCount(), 1);
    EXPECT_EQ(progress.getByteCount(), 5);
}

TEST_F(ProgressTest, WhoWantsErrorsOnlySeesNone) {
    for (const bool isTerminal : {false, true}) {
        CConsole console(m_output, m_errors, isTerminal);
        console.setVerbosity(Verbosity::Error);
        CProgress progress(console, getClock());
        pass(100000);
        progress.beginFile("a");
        EXPECT_EQ(m_errors.str(), "");
    }
}

TEST_F(ProgressTest, FailedFilesDoNotCount) {
    CConsole console(m_output, m_errors, false);
    CProgress progress(console, getClock());
    const int failed = progress.beginFile("a");
    progress.update(failed, 5);
    progress.dropFile(failed);
    progress.endFile(progress.beginFile("b"), 7);
    pass(1500);
    EXPECT_EQ(progress.getFileCount(), 1);
    EXPECT_EQ(progress.getByteCount(), 7);
    EXPECT_EQ(progress.getSeconds(), 1.5);
}

}  // namespace vexil::app
