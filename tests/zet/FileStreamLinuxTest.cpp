// The system refuses to read, write or close a file. Defines these functions of the system for the whole
// program, for the library too.
#include "tests/support/WhatOf.h"
#include "zet/Error.h"
#include "zet/FileInStream.h"
#include "zet/FileOutStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int readsUntilFailure = -1;  // 0: the next read fails, and all later ones
bool isInterrupted = false;  // the next read and the next write are interrupted by a signal
ssize_t roomOnDisk = -1;     // how many bytes can be written; -1: as many as the real disk takes
std::size_t largestWrite = SIZE_MAX;
int closeError = 0;

template <class Function>
Function* findReal(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

ssize_t fail(int error) {
    errno = error;
    return -1;
}

}  // namespace

extern "C" ssize_t read(int descriptor, void* buffer, std::size_t length) {
    static auto* const real = findReal<ssize_t(int, void*, std::size_t)>("read");
    if (isInterrupted) {
        isInterrupted = false;
        return fail(EINTR);
    }
    if (readsUntilFailure == 0) {
        return fail(EIO);
    }
    readsUntilFailure -= readsUntilFailure > 0;
    return real(descriptor, buffer, length);
}

extern "C" ssize_t write(int descriptor, const void* data, std::size_t length) {
    static auto* const real = findReal<ssize_t(int, const void*, std::size_t)>("write");
    if (isInterrupted) {
        isInterrupted = false;
        return fail(EINTR);
    }
    if (roomOnDisk == 0) {
        return fail(ENOSPC);
    }
    length = std::min(length, largestWrite);
    if (roomOnDisk > 0) {
        length = std::min(length, static_cast<std::size_t>(roomOnDisk));
        roomOnDisk -= static_cast<ssize_t>(length);
    }
    return real(descriptor, data, length);
}

extern "C" int close(int descriptor) {
    static auto* const real = findReal<int(int)>("close");
    const int result = real(descriptor);
    return closeError != 0 ? static_cast<int>(fail(closeError)) : result;
}

namespace {

namespace fs = std::filesystem;

using vexil_test::whatOf;
using zet::CError;
using zet::CFileInStream;
using zet::CFileOutStream;
using zet::int64;
using zet::make;
using zet::P;

class FileStreamLinuxTest : public testing::Test {
protected:
    FileStreamLinuxTest() { fs::create_directories(m_folder); }
    ~FileStreamLinuxTest() override {
        readsUntilFailure = -1;
        isInterrupted = false;
        roomOnDisk = -1;
        largestWrite = SIZE_MAX;
        closeError = 0;
        fs::remove_all(m_folder);
    }

    fs::path store(const fs::path& name, const std::string& content) const {
        std::ofstream(m_folder / name, std::ios::binary) << content;
        return m_folder / name;
    }

    static std::string load(const fs::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    template <class Function>
    static int64 codeOf(const Function& function) {
        try {
            function();
        } catch (const CError& error) {
            EXPECT_EQ(error.getDomain(), "system");
            return error.getCode();
        }
        return 0;
    }

    const fs::path m_folder =
        fs::path(testing::TempDir()) / (std::string("vexil-file-stream-linux-test-") +
                                        testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(FileStreamLinuxTest, AFileThatCannotBeReadToItsEndIsAnError) {
    const auto file = make<CFileInStream>(store("f", std::string(100000, 'x')));
    std::string block(60000, '\0');
    EXPECT_EQ(file->read(block.data(), 60000), 60000);
    readsUntilFailure = 0;
    try {
        (void)file->read(block.data(), 60000);
        FAIL() << "no error";
    } catch (const CError& error) {
        EXPECT_EQ(error.getDomain(), "system");
        EXPECT_EQ(error.getCode(), EIO);
        EXPECT_NE(error.getMessage().toUTF8().find("Input/output error"), std::string::npos);
    }
    EXPECT_EQ(file->getPosition(), 60000);
    readsUntilFailure = -1;
    EXPECT_EQ(file->read(block.data(), 60000), 40000) << "the disk can be read again";
}

TEST_F(FileStreamLinuxTest, AnEmptyFileThatCannotBeReadIsAnError) {
    const fs::path path = store("f", "");
    readsUntilFailure = 0;
    EXPECT_EQ(codeOf([&] { (void)make<CFileInStream>(path); }), EIO);
}

TEST_F(FileStreamLinuxTest, AFileWithContentButWithoutASizeIsRefused) {
    EXPECT_EQ(whatOf([] { (void)make<CFileInStream>("/proc/self/status"); }),
              "Cannot read the file '/proc/self/status': the system does not report its size.");
}

TEST_F(FileStreamLinuxTest, APipeIsRefusedWithoutWaiting) {
    const fs::path path = m_folder / "pipe";
    ASSERT_EQ(mkfifo(path.c_str(), S_IRUSR | S_IWUSR), 0);
    EXPECT_EQ(whatOf([&] { (void)make<CFileInStream>(path); }),
              "CFileInStream: '" + path.string() + "' is not a regular file");
}

TEST_F(FileStreamLinuxTest, ANameThatCannotBeExaminedIsAnErrorOfTheLibrary) {
    const fs::path path = m_folder / std::string(300, 'x');
    EXPECT_EQ(codeOf([&] { (void)make<CFileInStream>(path); }), ENAMETOOLONG);
    const fs::path loop = m_folder / "loop";
    fs::create_symlink(loop, loop);
    EXPECT_EQ(codeOf([&] { (void)make<CFileInStream>(loop); }), ELOOP);
}

TEST_F(FileStreamLinuxTest, ASignalInterruptsNothing) {
    const auto out = make<CFileOutStream>(m_folder / "f");
    isInterrupted = true;
    out->write("abc", 3);
    out->close();
    const auto in = make<CFileInStream>(m_folder / "f");
    isInterrupted = true;
    std::string text(3, '~');
    EXPECT_EQ(in->read(text.data(), 3), 3);
    EXPECT_EQ(text, "abc");
    EXPECT_FALSE(isInterrupted);
}

TEST_F(FileStreamLinuxTest, AReplacedFileIsReadToItsEnd) {
    const fs::path path = store("f", "old content");
    const auto file = make<CFileInStream>(path);
    std::string text(100, '~');
    EXPECT_EQ(file->read(text.data(), 4), 4);
    fs::rename(store("g", "new content of another size"), path);
    EXPECT_EQ(file->read(text.data() + 4, 96), 7);
    EXPECT_EQ(text.substr(0, 11), "old content");
    EXPECT_TRUE(file->hasChanged());
    fs::remove(path);
    EXPECT_TRUE(file->hasChanged());
}

TEST_F(FileStreamLinuxTest, AFullDiskIsReportedByTheWrite) {
    const auto full = make<CFileOutStream>("/dev/full");
    EXPECT_EQ(whatOf([&] { full->write("abc", 3); }),
              "Cannot write the file '/dev/full': No space left on device");
    EXPECT_EQ(codeOf([&] { full->write("abc", 3); }), ENOSPC);
    EXPECT_EQ(full->getPosition(), 0);
    EXPECT_EQ(full->getSize(), 0);
}

TEST_F(FileStreamLinuxTest, AWriteThatFailsInTheMiddleCanBeRepeated) {
    const fs::path path = m_folder / "f";
    const auto file = make<CFileOutStream>(path);
    file->write("abc", 3);
    roomOnDisk = 2;
    EXPECT_EQ(codeOf([&] { file->write("defg", 4); }), ENOSPC);
    EXPECT_EQ(file->getPosition(), 3);
    EXPECT_EQ(file->getSize(), 3);
    roomOnDisk = -1;
    file->write("DEFG", 4);
    file->close();
    EXPECT_EQ(load(path), "abcDEFG") << "the position of the system is that of the stream";
}

TEST_F(FileStreamLinuxTest, AWriteInSeveralPartsIsComplete) {
    const fs::path path = m_folder / "f";
    const auto file = make<CFileOutStream>(path);
    largestWrite = 2;
    file->write("abcde", 5);
    file->close();
    EXPECT_EQ(load(path), "abcde");
}

TEST_F(FileStreamLinuxTest, AFullDiskIsReportedByClose) {
    const auto file = make<CFileOutStream>(m_folder / "f");
    file->write("abc", 3);
    closeError = ENOSPC;
    const std::string expected =
        "Cannot write the file '" + (m_folder / "f").string() + "': No space left on device";
    EXPECT_EQ(whatOf([&] { file->close(); }), expected);
    closeError = 0;
    EXPECT_EQ(whatOf([&] { file->close(); }), expected) << "the content is still lost";
}

TEST_F(FileStreamLinuxTest, ClosingTwiceClosesOnce) {
    const auto file = make<CFileOutStream>(m_folder / "f");
    file->close();
    // It gets the descriptor of the file that was closed.
    const auto other = make<CFileOutStream>(m_folder / "g");
    file->close();
    other->write("abc", 3);
    other->close();
    EXPECT_EQ(load(m_folder / "g"), "abc");
}

TEST_F(FileStreamLinuxTest, TheDestructorThrowsNothing) {
    const fs::path path = m_folder / "f";
    {
        const auto file = make<CFileOutStream>(path);
        file->write("abc", 3);
        roomOnDisk = 0;
        EXPECT_EQ(codeOf([&] { file->write("def", 3); }), ENOSPC);
        closeError = EIO;
    }
    closeError = 0;
    EXPECT_EQ(load(path), "abc");
}

TEST_F(FileStreamLinuxTest, PositionsMayBeAbove4GiB) {
    const fs::path path = m_folder / "f";
    const int64 position = (int64{5} << 30) + 7;
    const auto out = make<CFileOutStream>(path);
    out->seek(position);
    out->write("abc", 3);
    EXPECT_EQ(out->getSize(), position + 3);
    out->close();
    const auto in = make<CFileInStream>(path);
    EXPECT_EQ(in->getSize(), position + 3);
    in->seek(position - 1);
    std::string text(10, '~');
    EXPECT_EQ(in->read(text.data(), 10), 4);
    EXPECT_EQ(text.substr(0, 4), std::string("\0abc", 4));
    EXPECT_EQ(in->getPosition(), position + 3);
}

TEST_F(FileStreamLinuxTest, NamesMayHaveAnyBytes) {
    const fs::path path = m_folder / "a\xE4\n\xFF";
    const auto out = make<CFileOutStream>(path);
    out->write("abc", 3);
    out->close();
    EXPECT_TRUE(fs::exists(path));
    const auto in = make<CFileInStream>(path);
    EXPECT_EQ(in->getSize(), 3);
    EXPECT_FALSE(in->hasChanged());
    fs::resize_file(path, 0);
    char byte = 0;
    const std::string what = whatOf([&] { (void)in->read(&byte, 1); });
    EXPECT_NE(what.find("/a\xEF\xBF\xBD\\x0A\xEF\xBF\xBD' became shorter"), std::string::npos) << what;
}

}  // namespace
