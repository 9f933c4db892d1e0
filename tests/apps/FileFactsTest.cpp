#include "apps/vexil/platform/FileFacts.h"

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <random>

namespace vexil::app {

namespace {

namespace fs = std::filesystem;

class FileFactsTest : public testing::Test {
protected:
    FileFactsTest() {
        fs::create_directories(m_folder);
        std::ofstream(m_file, std::ios::binary) << "12345";
    }
    ~FileFactsTest() override { fs::remove_all(m_folder); }

    static CFileFacts read(const fs::path& path) {
        std::error_code failure;
        const CFileFacts facts = readFileFacts(path, failure);
        EXPECT_FALSE(failure) << failure.message();
        return facts;
    }
    static void set(const fs::path& path, const std::optional<CFileTime>& time,
                    const std::optional<int>& mode = std::nullopt) {
        std::error_code failure;
        setFileFacts(path, time, mode, failure);
        EXPECT_FALSE(failure) << failure.message();
    }

    const fs::path m_folder =
        fs::path(testing::TempDir()) / ("vexil-facts-" + std::to_string(std::random_device()()));
    const fs::path m_file = m_folder / "file";
};

TEST_F(FileFactsTest, AFileHasSizeAndTime) {
    const CFileFacts facts = read(m_file);
    EXPECT_EQ(facts.size, 5);
    EXPECT_LE(facts.time.seconds, facts.readAt);
    EXPECT_GE(facts.time.seconds, facts.readAt - 60);
    EXPECT_LE(facts.readAt, static_cast<int64>(std::time(nullptr)));
    EXPECT_EQ(read(m_folder).size, 0);
}

TEST_F(FileFactsTest, EachTimeThatIsSetIsReadBack) {
    // Windows counts in hundreds of nanoseconds.
    for (const CFileTime time : {CFileTime{1'577'934'245, 123'456'700}, CFileTime{0, 0},
                                 CFileTime{1, 999'999'900}, CFileTime{4'102'444'800, 0}}) {
        for (const fs::path& path : {m_file, m_folder}) {
            set(path, time);
            EXPECT_EQ(read(path).time, time) << path;
        }
    }
}

TEST_F(FileFactsTest, WhatIsNotGivenStays) {
    const CFileFacts before = read(m_file);
    set(m_file, std::nullopt);
    EXPECT_EQ(read(m_file).time, before.time);
    EXPECT_EQ(read(m_file).mode, before.mode);
}

TEST_F(FileFactsTest, AMissingEntryIsAFailure) {
    std::error_code failure;
    (void)readFileFacts(m_folder / "missing", failure);
    EXPECT_EQ(failure, std::errc::no_such_file_or_directory);
    setFileFacts(m_folder / "missing", CFileTime{1, 0}, std::nullopt, failure);
    EXPECT_EQ(failure, std::errc::no_such_file_or_directory);
    setFileFacts(m_file, CFileTime{1, 0}, std::nullopt, failure);
    EXPECT_FALSE(failure) << "of an earlier call";
}

#ifndef _WIN32
TEST_F(FileFactsTest, AModeIsSetAndReadBack) {
    for (const int mode : {0640, 0400, 0777, 04711}) {
        set(m_file, std::nullopt, mode);
        EXPECT_EQ(read(m_file).mode, mode);
    }
}

TEST_F(FileFactsTest, ALinkIsNotFollowed) {
    const CFileFacts before = read(m_file);
    const fs::path link = m_folder / "link";
    fs::create_symlink("file", link);
    set(link, CFileTime{5, 7}, 0777);
    EXPECT_EQ(read(link).time, (CFileTime{5, 7}));
    EXPECT_EQ(read(link).size, 0);
    EXPECT_EQ(read(m_file).time, before.time);
    EXPECT_EQ(read(m_file).mode, before.mode);
}
#endif

}  // namespace

}  // namespace vexil::app
