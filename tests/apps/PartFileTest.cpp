#include "apps/vexil/PartFile.h"

#include "zet/String.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;
using vexil::app::CPartFile;

class PartFileTest : public testing::Test {
protected:
    PartFileTest() { fs::create_directories(folder); }
    ~PartFileTest() override { fs::remove_all(folder); }

    /// The name of the part while a file of a name is written.
    std::string partNameOf(const std::string& name) const {
        const CPartFile file(folder / name);
        return fs::directory_iterator(folder)->path().filename().string();
    }

    const fs::path folder =
        fs::path(testing::TempDir()) / (std::string("vexil-part-file-test-") +
                                        testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(PartFileTest, HasTheNameOfTheFile) {
    EXPECT_EQ(partNameOf("a b.txt"), ".a b.txt.vexil-part");
    EXPECT_TRUE(fs::is_empty(folder)) << "nothing is left without a commit";
}

TEST_F(PartFileTest, ALongNameIsCutBetweenCharacters) {
    EXPECT_EQ(partNameOf(std::string(255, 'a')), "." + std::string(200, 'a') + ".vexil-part");
#ifndef _WIN32
    for (const char* character : {"\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"}) {
        for (const char* begin : {"", "1", "12", "123"}) {
            std::string name = begin;
            while (name.size() < 248) {
                name += character;
            }
            EXPECT_NO_THROW(zet::String::fromUTF8(partNameOf(name))) << name;
            EXPECT_GT(partNameOf(name).size(), 200u);
        }
    }
#endif
}

}  // namespace
