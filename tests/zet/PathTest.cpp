#include "zet/Path.h"

#include "zet/InvalidArgError.h"
#include "zet/ResourceManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>
#include <vector>

namespace {

using zet::CResourceManager;
using zet::String;
using Path = CResourceManager::Path;
using Traits = zet::CWindowsPathTraits;

String separator() {
    return String(std::wstring{Traits::getSeparator()});
}

TEST(PathTest, KeepsItsTextAsWritten) {
    EXPECT_EQ(Path("/a//b/../c/").getText(), "/a//b/../c/");
    EXPECT_EQ(Path(String(L"\u00E4")).getText(), String(L"\u00E4"));
    EXPECT_TRUE(Path().isEmpty());
    EXPECT_TRUE(Path("").isEmpty());
    EXPECT_FALSE(Path("a").isEmpty());
}

TEST(PathTest, JoinsAFolderAndAName) {
    EXPECT_EQ(Path("a").join("b").getText(), "a" + separator() + "b");
    EXPECT_EQ(Path("a/").join("b").getText(), "a/b");
    EXPECT_EQ(Path("/").join("b").getText(), "/b");
    EXPECT_EQ(Path("a").join("b/c").getText(), "a" + separator() + "b/c");
    EXPECT_EQ(Path().join("b").getText(), "b");
}

TEST(PathTest, ComparesItsText) {
    EXPECT_EQ(Path("a/b"), Path("a/b"));
    EXPECT_NE(Path("a/b"), Path("a//b"));
    EXPECT_NE(Path("a"), Path("A"));
}

#ifdef _WIN32
TEST(PathTest, KnowsAbsolutePaths) {
    EXPECT_TRUE(Path("C:\\a").isAbsolute());
    EXPECT_TRUE(Path("C:/a").isAbsolute());
    EXPECT_TRUE(Path("\\\\server\\share").isAbsolute());
    EXPECT_FALSE(Path("C:a").isAbsolute());
    EXPECT_FALSE(Path("\\a").isAbsolute());
    EXPECT_FALSE(Path("a").isAbsolute());
    EXPECT_FALSE(Path().isAbsolute());
}

TEST(PathTest, AcceptsBothSeparators) {
    EXPECT_EQ(Traits::getSeparator(), L'\\');
    EXPECT_TRUE(Traits::isSeparator(L'/'));
    EXPECT_TRUE(Traits::isSeparator(L'\\'));
    EXPECT_EQ(Path("C:\\").join("b").getText(), "C:\\b");
    EXPECT_EQ(Path("a\\b/c").join("d").getText(), "a\\b/c\\d");
}
#else
TEST(PathTest, KnowsAbsolutePaths) {
    EXPECT_TRUE(Path("/a").isAbsolute());
    EXPECT_TRUE(Path("/").isAbsolute());
    EXPECT_FALSE(Path("a/b").isAbsolute());
    EXPECT_FALSE(Path("./a").isAbsolute());
    EXPECT_FALSE(Path("C:\\a").isAbsolute());
    EXPECT_FALSE(Path().isAbsolute());
}

TEST(PathTest, AcceptsOnlyTheSlash) {
    EXPECT_EQ(Traits::getSeparator(), L'/');
    EXPECT_TRUE(Traits::isSeparator(L'/'));
    EXPECT_FALSE(Traits::isSeparator(L'\\'));
    EXPECT_EQ(Path("a\\").join("b").getText(), "a\\/b");
}
#endif

/// Two folders with files, which the resource manager searches during a test.
class ResourceManagerTest : public testing::Test {
protected:
    void SetUp() override {
        m_root = std::filesystem::temp_directory_path() /
                 ("vexil-resources-" + std::to_string(std::random_device()()));
        // Characters of two, three and four bytes in UTF-8: one, one and two units in UTF-16.
        m_root += u8"-ä€\U0001F600";
        write("first/vexil/both.txt");
        write("first/vexil/one.txt");
        write("second/vexil/both.txt");
        write("second/vexil/folder/inner.txt");
    }

    void TearDown() override {
        m_manager->removeResourceFolder(path("first"));
        m_manager->removeResourceFolder(path("second"));
        std::filesystem::remove_all(m_root);
    }

    void write(const char* file) const {
        const auto target = m_root / file;
        std::filesystem::create_directories(target.parent_path());
        std::ofstream(target) << "text";
    }

    Path path(const char* name) const {
        const std::u8string bytes = (m_root / name).make_preferred().u8string();
        return String::fromUTF8(std::string(bytes.begin(), bytes.end()));
    }

    const zet::P<CResourceManager> m_manager = CResourceManager::get();
    std::filesystem::path m_root;
};

TEST_F(ResourceManagerTest, ExistsOnce) {
    EXPECT_NE(CResourceManager::get(), nullptr);
    EXPECT_EQ(CResourceManager::get().get(), m_manager.get());
}

TEST_F(ResourceManagerTest, FindsNothingInFoldersThatWereNotAdded) {
    EXPECT_TRUE(m_manager->findResource("vexil/both.txt").isEmpty());
}

TEST_F(ResourceManagerTest, FindsAFileByItsRelativePath) {
    m_manager->addResourceFolder(path("first"));
    const Path found = m_manager->findResource("vexil/one.txt");
    EXPECT_EQ(found, path("first/vexil/one.txt"));
    EXPECT_TRUE(found.isAbsolute());
}

TEST_F(ResourceManagerTest, LooksIntoTheLatestFolderFirst) {
    m_manager->addResourceFolder(path("first"));
    m_manager->addResourceFolder(path("second"));
    EXPECT_EQ(m_manager->findResource("vexil/both.txt"), path("second/vexil/both.txt"));
    EXPECT_EQ(m_manager->findResource("vexil/one.txt"), path("first/vexil/one.txt"))
        << "then in the other folders";
}

TEST_F(ResourceManagerTest, ForgetsAFolder) {
    m_manager->addResourceFolder(path("first"));
    m_manager->addResourceFolder(path("second"));
    m_manager->removeResourceFolder(path("second"));
    EXPECT_EQ(m_manager->findResource("vexil/both.txt"), path("first/vexil/both.txt"));
    m_manager->removeResourceFolder(path("first"));
    m_manager->removeResourceFolder(path("first"));
    EXPECT_TRUE(m_manager->findResource("vexil/both.txt").isEmpty());
}

TEST_F(ResourceManagerTest, FindsOnlyFiles) {
    m_manager->addResourceFolder(path("second"));
    EXPECT_TRUE(m_manager->findResource("vexil/folder").isEmpty()) << "a folder";
    EXPECT_TRUE(m_manager->findResource("vexil/absent.txt").isEmpty());
    EXPECT_TRUE(m_manager->findResource("").isEmpty());
}

TEST_F(ResourceManagerTest, GivesTheShortestFormOfAPath) {
    m_manager->addResourceFolder(path("second"));
    EXPECT_EQ(m_manager->findResource("vexil//folder/.././both.txt"), path("second/vexil/both.txt"));
}

TEST_F(ResourceManagerTest, RefusesARelativeFolder) {
    for (const char* folder : {"", "relative", "./relative"}) {
        try {
            m_manager->addResourceFolder(folder);
            ADD_FAILURE() << folder;
        } catch (const zet::CInvalidArgError& error) {
            EXPECT_EQ(error.getPlace(), "CResourceManager::addResourceFolder");
            EXPECT_EQ(error.getMessage(), "folder must be an absolute path");
        }
    }
}

TEST_F(ResourceManagerTest, WorksForManyThreads) {
    m_manager->addResourceFolder(path("first"));
    std::atomic<int> found = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                m_manager->addResourceFolder(path("second"));
                found += m_manager->findResource("vexil/one.txt").isEmpty() ? 0 : 1;
                m_manager->removeResourceFolder(path("second"));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(found, 200);
}

}  // namespace
