#include "apps/vexil/files/PartFile.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/files/PartName.h"
#include "tests/support/WhatOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

namespace fs = std::filesystem;
using vexil::String;
using namespace vexil::app;

class PartFileTest : public testing::Test {
protected:
    PartFileTest() { fs::create_directories(folder); }
    ~PartFileTest() override { fs::remove_all(folder); }

    /// The name of the part while a file of this name is written.
    std::string partNameOf(const std::string& name) const {
        const CPartFile file(folder / name);
        return fs::directory_iterator(folder)->path().filename().string();
    }

    const fs::path folder =
        fs::path(testing::TempDir()) / (std::string("vexil-part-file-test-") +
                                        testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(PartFileTest, HasTheNameOfTheFile) {
    const std::string start = ".a b.txt.vexil-part-";
    const std::string name = partNameOf("a b.txt");
    EXPECT_EQ(name.substr(0, start.size()), start);
    EXPECT_EQ(name.size(), start.size() + 16) << name;
    EXPECT_EQ(name.find_first_not_of("0123456789abcdef", start.size()), name.npos) << name;
    EXPECT_TRUE(isPartName(name));
    EXPECT_TRUE(fs::is_empty(folder)) << "nothing is left without a commit";
}

TEST_F(PartFileTest, APartOfTheSameContentIsTakenOver) {
    const fs::path part = folder / makePartName("a", makeDigitsFor("content 5"));
    std::ofstream(part, std::ios::binary) << "01234";
    {
        CPartFile file(folder / "a", FileAccess::Usual, "content 5");
        EXPECT_EQ(file.getStream()->getSize(), 5);
        EXPECT_EQ(file.getStream()->getPosition(), 0);
        std::string kept;
        file.getStream()->keep(3, [&kept](const void* data, int length) {
            kept.append(static_cast<const char*>(data), static_cast<std::size_t>(length));
        });
        EXPECT_EQ(kept, "012");
        EXPECT_EQ(file.getStream()->getSize(), 3);
        file.getStream()->write("abc", 3);
        // No other process takes the name in between.
        const CPartFile other(folder / "a", FileAccess::Usual, "content 5");
        EXPECT_EQ(other.getStream()->getSize(), 0);
        CLockedFile left;
        EXPECT_NE(left.openLeft(part), 0);
        file.commit();
    }
    std::ifstream stream(folder / "a", std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "012abc");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
}

TEST_F(PartFileTest, WhatHasTheNameOfANewFileIsKept) {
    const fs::path path = folder / "a";
    std::ofstream(path) << "precious";
    CLockedFile file;
    EXPECT_EQ(file.create(path, FileAccess::Usual), EEXIST);
    EXPECT_EQ(fs::file_size(path), 8u);
}

struct PartNameCase {
    const char* text;
    const char* name;  // null for no part
    bool isOld;
};

TEST_F(PartFileTest, TheNameOfAPartIsRead) {
    const std::string longName(196, 'x');
    const std::string longPart = "." + longName + ".vexil-part-0123456789abcdef";
    const std::string longerPart = ".x" + longName + ".vexil-part-0123456789abcdef";
    const PartNameCase cases[] = {
        {".a b.vexil-part-0123456789abcdef", "a b", false},
        {".a.VEXIL-PART-0123456789ABCDEF-OLD", "a", true},
        {longPart.c_str(), longName.c_str(), false},
        {longerPart.c_str(), "", false},
        {"a.vexil-part-0123456789abcdef", nullptr, false},
        {"..vexil-part-0123456789abcdef", nullptr, false},
        {".vexil-part-0123456789abcdef", nullptr, false},
        {".a.vexil-part-0123456789abcde", nullptr, false},
        {".a.vexil-part-0123456789abcdefa", nullptr, false},
        {".a.vexil-part-0123456789abcdeg", nullptr, false},
        {".a.vexil-part-0123456789abcdef-ol", nullptr, false},
        {"", nullptr, false},
        {"-old", nullptr, false},
    };
    for (const PartNameCase& test : cases) {
        const auto part = findPartName(test.text);
        ASSERT_EQ(part.has_value(), test.name != nullptr) << test.text;
        EXPECT_EQ(isPartName(test.text), part.has_value()) << test.text;
        if (part) {
            EXPECT_EQ(part->name, test.name);
            EXPECT_EQ(part->digits, "0123456789abcdef");
            EXPECT_EQ(part->isOld, test.isOld) << test.text;
        }
    }
}

// Two programs that write one file at the same time must not write into one part.
TEST_F(PartFileTest, EachPartHasANameOfItsOwn) {
    EXPECT_NE(partNameOf("a"), partNameOf("a"));
    EXPECT_NE(makeRandomDigits(), makeRandomDigits());
}

/// The name of a part before its random digits, both in UTF-8 whatever the system's own form of names.
std::string makeName(const std::string& name) {
    const std::u8string part = makePartName(toPath(name), "0123456789abcdef").u8string();
    return std::string(part.begin(), part.end() - 17);
}

std::string repeated(const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

TEST_F(PartFileTest, ALongNameIsCutTo200BytesOfUTF8) {
    EXPECT_EQ(makeName(std::string(200, 'a')), "." + std::string(200, 'a') + ".vexil-part");
    EXPECT_EQ(makeName(std::string(201, 'a')), "." + std::string(200, 'a') + ".vexil-part");
    // The same number of characters, but UTF-16 units are not counted.
    EXPECT_EQ(makeName(repeated("\xE2\x82\xAC", 66)), "." + repeated("\xE2\x82\xAC", 66) + ".vexil-part");
    EXPECT_EQ(makeName(repeated("\xE2\x82\xAC", 85)), "." + repeated("\xE2\x82\xAC", 66) + ".vexil-part");
}

TEST_F(PartFileTest, ALongNameIsCutBetweenCharacters) {
    for (const std::string character : {"\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"}) {
        const std::size_t size = character.size();
        for (std::size_t shift = 0; shift < size; ++shift) {
            const std::string begin(shift, '1');
            EXPECT_EQ(makeName(begin + repeated(character, 100)),
                      "." + begin + repeated(character, static_cast<int>((200 - shift) / size)) +
                          ".vexil-part")
                << shift;
        }
    }
}

TEST_F(PartFileTest, AFileMayHaveTheLongestName) {
    for (const std::string& name :
         {std::string(255, 'a'), repeated("\xE2\x82\xAC", 85), "123" + repeated("\xF0\x9F\x98\x80", 63)}) {
        const fs::path target = folder / toPath(name);
        CPartFile file(target);
        EXPECT_FALSE(fs::exists(target)) << name;
        file.commit();
        EXPECT_TRUE(fs::is_regular_file(target)) << name;
    }
    // There are three parts, and nothing else exists.
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 3);
}

// The part could be written, but the transfer would be useless.
TEST_F(PartFileTest, ANameThatIsTooLongIsRefusedBeforeAnythingIsWritten) {
    const std::string name(256, 'a');
    EXPECT_THAT(vexil_test::whatOf([&] { CPartFile(folder / name); }),
                testing::EndsWith(name + "': File name too long"));
    EXPECT_TRUE(fs::is_empty(folder));
}

}  // namespace
