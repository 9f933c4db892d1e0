#include "apps/vexil/console/Progress.h"

#include "apps/vexil/console/Console.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

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

/// The pieces of the written output.
class PiecesBuffer : public std::streambuf {
public:
    std::vector<std::string> pieces;

protected:
    std::streamsize xsputn(const char* data, std::streamsize size) override {
        pieces.emplace_back(data, static_cast<std::size_t>(size));
        return size;
    }
    int_type overflow(int_type character) override {
        pieces.emplace_back(1, traits_type::to_char_type(character));
        return character;
    }
};

/// The text that a line of a terminal shows at the end, and the largest column of the cursor.
struct TerminalLine {
    explicit TerminalLine(const std::string& written) {
        std::size_t column = 0;
        for (const char character : written) {
            if (character == '\r') {
                column = 0;
                continue;
            }
            shown.resize(std::max(shown.size(), column + 1), ' ');
            shown[column++] = character;
            columns = std::max(columns, column);
        }
        shown.erase(shown.find_last_not_of(' ') + 1);
    }

    std::string shown;
    std::size_t columns = 0;
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

TEST_F(ProgressTest, ATerminalShowsABarForTheOnlyFile) {
    CConsole console(m_output, m_errors, true);
    CProgress progress(console, getClock());
    const int file = progress.beginFile("");
    pass(1000);
    progress.update(file, 250, 1000);
    pass(2000);
    progress.update(file, 500, 1000);
    pass(1000);
    progress.update(file, 2000, 1000);
    EXPECT_EQ(m_errors.str(),
              "[####------------]   25%  250 bytes of 1.0 kB  250 bytes/s  3 s left" + eraser +
                  "[########--------]   50%  500 bytes of 1.0 kB  166 bytes/s  3 s left" + eraser +
                  "[################]  100%  2.0 kB of 1.0 kB  500 bytes/s  0 s left");
}

TEST_F(ProgressTest, TheBarTakesTheRoomThatThereIs) {
    int columns = 200;
    CConsole console(m_output, m_errors, true, [&columns] { return columns; });
    CProgress progress(console, getClock());
    const int file = progress.beginFile("");
    const std::string line = "50%  500 bytes of 1.0 kB  500 bytes/s  1 s left";
    for (const auto& [width, wanted] :
         {std::pair(200, "[" + std::string(20, '#') + std::string(20, '-') + "]   " + line),
          std::pair(74, "[#####-----]   " + line), std::pair(73, " " + line), std::pair(51, " " + line),
          std::pair(50, std::string(" 50%  500 bytes/s  1 s left")),
          std::pair(13, std::string(" 50%  500 "))}) {
        m_errors.str("");
        columns = width;
        m_time = std::chrono::milliseconds(1000);
        CProgress other(console, getClock());
        const int onlyFile = other.beginFile("");
        pass(1000);
        other.update(onlyFile, 500, 1000);
        const std::string drawn = m_errors.str();
        EXPECT_EQ(drawn.substr(drawn.rfind('\r') + 1), wanted) << width;
        EXPECT_LT(wanted.size(), static_cast<std::size_t>(width));
    }
    progress.dropFile(file);
}

TEST_F(ProgressTest, WithoutATotalOrAByteThereIsNoTimeLeft) {
    CConsole console(m_output, m_errors, true);
    CProgress progress(console, getClock());
    const int file = progress.beginFile("");
    pass(1000);
    progress.update(file, 500);
    pass(1000);
    progress.update(file, 0, 1000);
    EXPECT_EQ(m_errors.str(), "0 files, 500 bytes, 500 bytes/s" + eraser + "[" + std::string(16, '-') +
                                  "]    0%  0 bytes of 1.0 kB  0 bytes/s");
}

TEST_F(ProgressTest, OfAFileAmongOthersTheShareIsShown) {
    CConsole console(m_output, m_errors, true);
    CProgress progress(console, getClock());
    const int file = progress.beginFile("big");
    progress.beginFile("other");
    pass(1000);
    progress.update(file, 999, 1000);
    EXPECT_EQ(m_errors.str(), "0 files, 999 bytes, 999 bytes/s  99% of big");
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
    int columns = 0;
    CConsole console(m_output, m_errors, true, [&columns] { return columns; });
    CProgress progress(console, getClock());
    const int file = progress.beginFile(String(std::wstring(200, L'x')));
    // A column stays free, and room for "^C".
    for (const auto& [width, length] :
         {std::pair(0, 77u), std::pair(80, 77u), std::pair(40, 37u), std::pair(200, 197u), std::pair(4, 1u),
          std::pair(3, 0u), std::pair(1, 0u)}) {
        m_errors.str("");
        columns = width;
        pass(1000);
        progress.update(file, 0);
        const std::string drawn = m_errors.str();
        EXPECT_EQ(drawn.size() - drawn.rfind('\r') - 1, width == 0 ? drawn.size() : length) << width;
        EXPECT_LE(drawn.find('\r', 1), width == 0 ? std::string::npos : static_cast<std::size_t>(width))
            << width;
    }
}

TEST_F(ProgressTest, NothingIsLeftOfAnInterruptWhereverTheTerminalShowsIt) {
    constexpr int width = 40;
    PiecesBuffer buffer;
    std::ostream errors(&buffer);
    CConsole console(m_output, errors, true, [] { return width; });
    const String longLine(std::wstring(200, L'x'));
    for (const String& line : {longLine, String("short"), String(), longLine}) {
        console.showProgressLine(line);
    }
    console.message(Verbosity::Error, "vexil: interrupted");
    for (std::size_t at = 0; at < buffer.pieces.size(); ++at) {
        std::vector<std::string> written = buffer.pieces;
        written.insert(written.begin() + static_cast<std::ptrdiff_t>(at), "^C");
        std::string all;
        for (const std::string& piece : written) {
            all += piece;
        }
        const TerminalLine line(all.substr(0, all.find('\n')));
        EXPECT_EQ(line.shown, "vexil: interrupted") << at;
        EXPECT_LT(line.columns, static_cast<std::size_t>(width)) << at;
    }
}

TEST_F(ProgressTest, WideCharactersTakeTwoColumns) {
    CConsole console(m_output, m_errors, true, [] { return 43; });
    CProgress progress(console, getClock());
    pass(1000);
    progress.beginFile(String::fromUTF8("ä漢字漢字漢字"));
    EXPECT_EQ(m_errors.str(), "0 files, 0 bytes, 0 bytes/s  ä漢字漢字漢");
}

TEST_F(ProgressTest, ElsewhereThereIsAPlainLineNowAndThen) {
    CConsole console(m_output, m_errors, false);
    CProgress progress(console, getClock());
    for (int i = 0; i < 200; ++i) {
        pass(100);
        progress.endFile(progress.beginFile("a"), 2000);
    }
    // No bar, and no share.
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
    // As after a transfer has begun again.
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

TEST_F(ProgressTest, TotalsAndTheTimeLeftAreShownOnceTheyAreKnown) {
    CConsole console(m_output, m_errors, false);
    CProgress progress(console, getClock());
    progress.expect(1000, 1'000'000);
    pass(10000);
    progress.expect(1000, 3'000'000);
    EXPECT_EQ(m_errors.str(), "0 of 2,000 files, 0 bytes of 4.0 MB, 0 bytes/s\n");
    progress.endCounting();
    progress.endFile(progress.beginFile("a"), 1'000'000);
    pass(10000);
    m_errors.str("");
    progress.beginFile("b");
    EXPECT_EQ(m_errors.str(), "1 of 2,000 files, 1.0 MB of 4.0 MB, 50.0 kB/s, 1 min 00 s left  b\n");
}

TEST_F(ProgressTest, EventsComeAtMostOnceASecondWhateverIsShown) {
    CConsole console(m_output, m_errors, true);
    console.setHasEvents(true);
    console.setVerbosity(Verbosity::Error);
    CProgress progress(console, getClock());
    CProgress other(console, getClock());
    progress.tellEvents();
    for (int i = 0; i < 25; ++i) {
        pass(100);
        progress.expect(1, 1);
        other.expect(1, 1);
    }
    const std::string text = m_output.str();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2) << text;
    EXPECT_EQ(m_errors.str(), "");
}

}  // namespace vexil::app
