#include "apps/vexil/mirror/FolderStore.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/Console.h"
#include "apps/vexil/console/Progress.h"
#include "apps/vexil/files/FolderWalker.h"
#include "tests/support/WhatOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace vexil::app {

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using vexil_test::whatOf;

class FolderStoreTest : public testing::Test {
protected:
    FolderStoreTest() { fs::create_directories(m_root / "outside"); }
    ~FolderStoreTest() override { fs::remove_all(m_root); }

    void write(const std::string& name, const std::string& content = "x") const {
        fs::create_directories((m_root / name).parent_path());
        std::ofstream(m_root / name, std::ios::binary) << content;
    }
    std::string read(const std::string& name) const {
        std::ifstream file(m_root / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void store(const std::string& source, const std::string& name) {
        CProgress progress(m_console);
        CFileProgress fileProgress(progress, "");
        m_store.storeAlone(m_root / source, name, std::nullopt, fileProgress);
    }
    /// Their relative names, or what is wrong with them.
    std::vector<std::string> list() {
        std::vector<std::string> names;
        const auto listing = m_store.list();
        while (const auto file = listing->findNext()) {
            names.push_back(file->getRelativeName().toUTF8());
            if (const std::string problem = whatOf([&] { (void)file->getRelativePath(); });
                problem != "no error") {
                names.back() += ": " + problem;
            }
        }
        return names;
    }

    const fs::path m_root =
        fs::path(testing::TempDir()) / ("vexil-folder-store-" + std::to_string(std::random_device()()));
    std::ostringstream m_output;
    CConsole m_console{m_output, m_output, false};
    CFolderStore m_store{m_console, m_root / "store"};
};

TEST_F(FolderStoreTest, AMissingFolderIsNamed) {
    EXPECT_THAT(whatOf([&] { list(); }), HasSubstr("store' does not exist."));
}

TEST_F(FolderStoreTest, AFileInPlaceOfTheFolderIsNamed) {
    write("store");
    EXPECT_THAT(whatOf([&] { m_store.beginUploads(); }), HasSubstr("Cannot make the folder '"));
    EXPECT_THAT(whatOf([&] { list(); }), HasSubstr("Cannot read the folder '"));
}

TEST_F(FolderStoreTest, PartsOfKilledRunsAreNotFilesAndAreDeletedAtTheEnd) {
    m_store.beginUploads();
    write("store/a/.b.vexil-part-0123456789abcdef", "half");
    write("store/a/.c.vexil-part-0123456789abcdef", "half");
    write("source", "new");
    EXPECT_THAT(list(), ElementsAre(HasSubstr(".b.vexil-part-0123456789abcdef: it is a part of a file"),
                                    HasSubstr(".c.vexil-part-0123456789abcdef: it is a part of a file")));
    store("source", "a/b");
    EXPECT_FALSE(fs::exists(m_root / "store/a/.b.vexil-part-0123456789abcdef"))
        << "of the same file: at once";
    m_store.finishUploads(CFolderWalker(m_root), true, [](const String&, const String&) {});
    EXPECT_THAT(list(), ElementsAre("a/b"));
}

TEST_F(FolderStoreTest, AFailedCopyLeavesTheOldFileAndNoPart) {
    m_store.beginUploads();
    write("store/a", "old");
    EXPECT_THAT(whatOf([&] { store("missing", "a"); }), HasSubstr("missing"));
    EXPECT_EQ(read("store/a"), "old");
    EXPECT_THAT(list(), ElementsAre("a"));
}

TEST_F(FolderStoreTest, AFileThatIsRewrittenMeanwhileLeavesTheOldFileAndNoPart) {
    m_store.beginUploads();
    write("store/a", "old");
    write("source", "first");
    bool isCopying = false;
    // The progress asks for the time after each block.
    CProgress progress(m_console, [&] {
        if (isCopying) {
            write("source", "other content");
        }
        return std::chrono::steady_clock::now();
    });
    CFileProgress fileProgress(progress, "");
    isCopying = true;
    EXPECT_THAT(whatOf([&] { m_store.storeAlone(m_root / "source", "a", std::nullopt, fileProgress); }),
                HasSubstr("source' was changed while it was copied"));
    isCopying = false;
    EXPECT_EQ(read("store/a"), "old");
    EXPECT_THAT(list(), ElementsAre("a"));
}

TEST_F(FolderStoreTest, RemovalStaysWithinTheFolder) {
    m_store.beginUploads();
    write("outside/file");
    for (const char* name : {"", "..", "../outside/file", "a/../../outside/file", ".", "/", "a/"}) {
        EXPECT_THROW(m_store.remove(String::fromUTF8(name)), CInvalidArgError) << name;
    }
    EXPECT_THROW(m_store.remove(toText(m_root / "outside/file")), CInvalidArgError);
    EXPECT_EQ(read("outside/file"), "x");
}

TEST_F(FolderStoreTest, NothingIsStoredThroughALink) {
    m_store.beginUploads();
    write("source");
    std::error_code failure;
    fs::create_directory_symlink(m_root / "outside", m_root / "store/link", failure);
    if (failure) {
        GTEST_SKIP() << "this system makes no links here";
    }
    EXPECT_THAT(whatOf([&] { store("source", "link/file"); }), HasSubstr("there is a link of this name"));
    EXPECT_FALSE(fs::exists(m_root / "outside/file"));
    EXPECT_THAT(list(), ElementsAre());
    EXPECT_THAT(m_output.str(), HasSubstr("link: neither a file nor a folder"));
}

TEST_F(FolderStoreTest, AFolderReplacesAFileAndThisIsReported) {
    m_store.beginUploads();
    write("store/x", "old");
    write("source", "new");
    store("source", "x/y/z");
    EXPECT_EQ(read("store/x/y/z"), "new");
    EXPECT_THAT(list(), ElementsAre("x/y/z"));
    EXPECT_THAT(m_output.str(), HasSubstr("x', which is a folder now"));
}

}  // namespace

}  // namespace vexil::app
