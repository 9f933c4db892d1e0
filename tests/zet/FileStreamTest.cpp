#include "tests/support/WhatOf.h"
#include "zet/DisplayText.h"
#include "zet/Error.h"
#include "zet/FileInStream.h"
#include "zet/FileOutStream.h"
#include "zet/InvalidArgError.h"
#include "zet/LockedFile.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <string>

namespace {

namespace fs = std::filesystem;

using vexil_test::whatOf;
using zet::CError;
using zet::CFileInStream;
using zet::CFileOutStream;
using zet::CLockedFile;
using zet::CNativeFile;
using zet::make;
using zet::P;

class FileStreamTest : public testing::Test {
protected:
    FileStreamTest() { fs::create_directories(m_folder); }
    ~FileStreamTest() override { fs::remove_all(m_folder); }

    fs::path store(const fs::path& name, const std::string& content) const {
        std::ofstream(m_folder / name, std::ios::binary) << content;
        return m_folder / name;
    }

    static std::string load(const fs::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    static std::string readFrom(CFileInStream& stream, int maxLength) {
        std::string text(100, '~');
        const int length = stream.read(text.data(), maxLength);
        EXPECT_EQ(text.substr(static_cast<std::size_t>(length)).find_first_not_of('~'), std::string::npos);
        return text.substr(0, static_cast<std::size_t>(length));
    }

    const fs::path m_folder =
        fs::path(testing::TempDir()) / (std::string("vexil-file-stream-test-") +
                                        testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(FileStreamTest, AFileIsReadLikeEveryStream) {
    const auto stream = make<CFileInStream>(store("f", "abc\r\nd\x1A"));
    EXPECT_EQ(stream->getSize(), 7);
    EXPECT_EQ(stream->getPosition(), 0);
    EXPECT_EQ(readFrom(*stream, 2), "ab");
    EXPECT_EQ(stream->getPosition(), 2);
    EXPECT_EQ(readFrom(*stream, 0), "");
    EXPECT_EQ(readFrom(*stream, -1), "");
    EXPECT_EQ(readFrom(*stream, 100), "c\r\nd\x1A") << "no line end is translated";
    EXPECT_EQ(readFrom(*stream, 100), "");
    EXPECT_EQ(stream->getPosition(), 7);
    stream->seek(1);
    EXPECT_EQ(readFrom(*stream, 2), "bc");
    stream->seek(7);
    EXPECT_EQ(readFrom(*stream, 1), "");
    for (const zet::int64 position : {zet::int64{-1}, zet::int64{8}, zet::int64{1} << 40}) {
        EXPECT_EQ(whatOf([&] { stream->seek(position); }), "The position is outside the stream.");
        EXPECT_EQ(stream->getPosition(), 7);
    }
}

TEST_F(FileStreamTest, AnEmptyFileHasNoBytes) {
    const auto stream = make<CFileInStream>(store("f", ""));
    EXPECT_EQ(stream->getSize(), 0);
    EXPECT_EQ(readFrom(*stream, 100), "");
    stream->seek(0);
    EXPECT_EQ(readFrom(*stream, 100), "");
    stream->checkUnchanged();
}

TEST_F(FileStreamTest, WhatIsNoRegularFileIsRefused) {
    const std::string folder = zet::toDisplayPath(m_folder).toUTF8();
    EXPECT_EQ(whatOf([this] { (void)make<CFileInStream>(m_folder / "none"); }),
              "CFileInStream: there is no file '" + folder + "/none'");
    EXPECT_EQ(whatOf([] { (void)make<CFileInStream>(fs::path()); }), "CFileInStream: there is no file ''");
    EXPECT_EQ(whatOf([this] { (void)make<CFileInStream>(m_folder); }),
              "CFileInStream: '" + folder + "' is not a regular file");
    EXPECT_THROW((void)make<CFileInStream>(m_folder / "none"), zet::CInvalidArgError);
    EXPECT_THROW((void)make<CFileInStream>(m_folder), zet::CInvalidArgError);
}

TEST_F(FileStreamTest, AppendedBytesAreNotRead) {
    const fs::path path = store("f", "abc");
    const auto stream = make<CFileInStream>(path);
    EXPECT_FALSE(stream->hasChanged());
    std::ofstream(path, std::ios::binary | std::ios::app) << "def";
    EXPECT_EQ(readFrom(*stream, 100), "abc");
    EXPECT_EQ(stream->getSize(), 3);
    EXPECT_TRUE(stream->hasChanged());
}

TEST_F(FileStreamTest, AFileThatBecomesShorterIsAnError) {
    const fs::path path = store("f", "abcdef");
    const auto stream = make<CFileInStream>(path);
    EXPECT_EQ(readFrom(*stream, 2), "ab");
    fs::resize_file(path, 3);
    EXPECT_EQ(readFrom(*stream, 100), "c");
    EXPECT_EQ(whatOf([&] { (void)readFrom(*stream, 100); }),
              "The file '" + zet::toDisplayPath(path).toUTF8() + "' became shorter while it was read.");
    EXPECT_TRUE(stream->hasChanged());
}

TEST_F(FileStreamTest, AChangedFileIsNoticed) {
    const fs::path path = store("f", "abc");
    const auto stream = make<CFileInStream>(path);
    stream->checkUnchanged();
    // The same size with another time.
    fs::last_write_time(path, fs::last_write_time(path) - std::chrono::hours(1));
    EXPECT_TRUE(stream->hasChanged());
    EXPECT_EQ(whatOf([&] { stream->checkUnchanged(); }),
              "The file '" + zet::toDisplayPath(path).toUTF8() +
                  "' was changed while it was stored: "
                  "the stored content may be neither the old nor the new one.");
}

TEST_F(FileStreamTest, AFileIsWrittenFromItsBeginning) {
    const fs::path path = store("f", "something that is longer");
    {
        const auto stream = make<CFileOutStream>(path);
        EXPECT_EQ(stream->getSize(), 0);
        stream->write("a\nc", 3);
        stream->write("x", 0);
        stream->write("x", -1);
        EXPECT_EQ(load(path), "a\nc") << "the system has the data when a write returns";
        stream->seek(1);
        stream->write("b", 1);
        EXPECT_EQ(stream->getPosition(), 2);
        EXPECT_EQ(stream->getSize(), 3);
        stream->seek(3);
        stream->write("d", 1);
        EXPECT_EQ(stream->getSize(), 4);
        stream->close();
    }
    EXPECT_EQ(load(path), "abcd");
}

TEST_F(FileStreamTest, AGapIsFilledWithZeros) {
    const auto stream = make<CFileOutStream>(m_folder / "f");
    stream->write("a", 1);
    stream->seek(3);
    EXPECT_EQ(stream->getSize(), 1);
    stream->write("d", 1);
    EXPECT_EQ(stream->getSize(), 4);
    stream->close();
    EXPECT_EQ(load(m_folder / "f"), std::string("a\0\0d", 4));
}

TEST_F(FileStreamTest, AFileThatCannotBeCreatedIsAnErrorOfTheSystem) {
    const fs::path path = m_folder / "none" / "f";
    try {
        (void)make<CFileOutStream>(path);
        FAIL() << "no error";
    } catch (const CError& error) {
        EXPECT_EQ(error.getDomain(), "system");
        EXPECT_EQ(error.getCode(), ENOENT);
        EXPECT_TRUE(
            error.getMessage().startsWith("Cannot create the file '" + zet::toDisplayPath(path) + "': "));
    }
    EXPECT_NE(
        whatOf([&] { (void)make<CFileOutStream>(path, "shown"); }).find("Cannot create the file 'shown': "),
        std::string::npos);
}

TEST_F(FileStreamTest, AClosedFileIsNotWritten) {
    const auto stream = make<CFileOutStream>(m_folder / "f");
    stream->write("a", 1);
    stream->close();
    stream->close();
    try {
        stream->write("b", 1);
        FAIL() << "no error";
    } catch (const CError& error) {
        EXPECT_EQ(error.getCode(), EBADF);
    }
    EXPECT_EQ(stream->getPosition(), 1);
    EXPECT_THROW(stream->seek(0), CError);
    EXPECT_EQ(load(m_folder / "f"), "a");
}

TEST_F(FileStreamTest, APositionBelowZeroIsRefused) {
    const auto stream = make<CFileOutStream>(m_folder / "f");
    stream->write("ab", 2);
    for (const zet::int64 position : {zet::int64{-1}, std::numeric_limits<zet::int64>::min()}) {
        EXPECT_THROW(stream->seek(position), CError) << position;
    }
    EXPECT_EQ(stream->getPosition(), 2);
    stream->write("c", 1);
    stream->close();
    EXPECT_EQ(load(m_folder / "f"), "abc");
}

TEST_F(FileStreamTest, AnOpenFileCanBeGiven) {
    const fs::path path = m_folder / "f";
    const auto file = std::make_shared<CNativeFile>();
    ASSERT_EQ(file->openForWriting(path), 0);
    {
        const auto stream = make<CFileOutStream>(file, 0, "shown");
        stream->write("ab", 2);
    }
    EXPECT_TRUE(file->isOpen()) << "somebody shares it";
    EXPECT_EQ(file->truncate(1), 0);
    zet::int64 size = 0;
    EXPECT_EQ(file->getSize(size), 0);
    EXPECT_EQ(size, 1);
    EXPECT_EQ(file->close(), 0);
    EXPECT_EQ(load(path), "a");
    EXPECT_EQ(whatOf([] { (void)make<CFileOutStream>(nullptr, 0, "shown"); }),
              "CFileOutStream: file must not be null");
}

TEST_F(FileStreamTest, BytesAreWrittenAndReadAtPositions) {
    CLockedFile file;
    ASSERT_EQ(file.create(m_folder / "f", zet::FileAccess::Usual), 0);
    EXPECT_EQ(file.writeAt(4, "ef", 2), 0);
    EXPECT_EQ(file.writeAt(0, "abcd", 4), 0);
    EXPECT_EQ(file.writeAt(1, "B", 1), 0);
    EXPECT_EQ(file.flush(), 0);
    EXPECT_EQ(load(m_folder / "f"), "aBcdef");
    char bytes[8] = {};
    std::size_t count = 0;
    EXPECT_EQ(file.readAt(3, bytes, 2, count), 0);
    EXPECT_EQ(std::string(bytes, count), "de");
    EXPECT_EQ(file.readAt(3, bytes, 8, count), 0);
    EXPECT_EQ(std::string(bytes, count), "def");
    EXPECT_EQ(file.readAt(6, bytes, 8, count), 0);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(file.readAt(-1, bytes, 8, count), EINVAL);
    EXPECT_EQ(file.writeAt(-1, bytes, 1), EINVAL);
}

TEST_F(FileStreamTest, AFileThatIsNotOpenFails) {
    CNativeFile file;
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(file.close(), 0);
    char byte = 0;
    std::size_t count = 1;
    EXPECT_EQ(file.read(&byte, 1, count), EBADF);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(file.write(&byte, 1), EBADF);
    EXPECT_EQ(file.seek(0), EBADF);
    EXPECT_EQ(file.readAt(0, &byte, 1, count), EBADF);
    EXPECT_EQ(file.writeAt(0, &byte, 1), EBADF);
    EXPECT_EQ(file.flush(), EBADF);
    EXPECT_EQ(file.truncate(0), EBADF);
    zet::int64 size = 0;
    EXPECT_EQ(file.getSize(size), EBADF);
    EXPECT_EQ(file.openForReading(m_folder / "none"), ENOENT);
    EXPECT_FALSE(file.isOpen());
}

TEST_F(FileStreamTest, NamesMayBeAnyText) {
    const fs::path path = m_folder / fs::path(u8"\u00E4\u20AC\U0001F600 #1");
    const auto out = make<CFileOutStream>(path);
    out->write("abc", 3);
    out->close();
    EXPECT_EQ(readFrom(*make<CFileInStream>(path), 100), "abc");
    EXPECT_NE(whatOf([&] {
                  (void)make<CFileInStream>(path / "x");
              }).find("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80 #1/x'"),
              std::string::npos);
}

TEST(DisplayTextTest, ControlCharactersAreEscaped) {
    EXPECT_EQ(zet::toDisplayText(zet::String::fromUTF8("a\x1B[2J\n\x7F\xC2\x85\xC3\xA4")),
              zet::String::fromUTF8("a\\x1B[2J\\x0A\\x7F\\x85\xC3\xA4"));
    EXPECT_EQ(zet::toDisplayPath(fs::path("a\tb") / "c"), "a\\x09b/c");
    EXPECT_EQ(zet::describeSystemError(0), "unknown error");
    EXPECT_EQ(zet::describeSystemError(ENOENT), "No such file or directory");
}

}  // namespace
