#include "apps/vexil/files/PathPattern.h"

#include <gtest/gtest.h>

#include <cctype>
#include <chrono>
#include <string>

namespace vexil::app {

TEST(PathPatternTest, MatchesNamesAtAnyDepth) {
    const CPathPattern pattern("*.o");
    EXPECT_TRUE(pattern.matches("a.o", false));
    EXPECT_TRUE(pattern.matches("sub/deep/.o", true));
    EXPECT_FALSE(pattern.matches("a.o/b", false));
}

TEST(PathPatternTest, ASlashTiesToTheTop) {
    EXPECT_TRUE(CPathPattern("/a").matches("a", false));
    EXPECT_FALSE(CPathPattern("/a").matches("b/a", false));
    EXPECT_TRUE(CPathPattern("b/?").matches("b/a", false));
    EXPECT_FALSE(CPathPattern("b/?").matches("x/b/a", false));
    EXPECT_FALSE(CPathPattern("b*a").matches("b/a", false));
    EXPECT_FALSE(CPathPattern("/b[!x]a").matches("b/a", false));
}

TEST(PathPatternTest, TwoStarsAreAnyNumberOfFolders) {
    const CPathPattern within("a/**/b");
    EXPECT_TRUE(within.matches("a/b", false));
    EXPECT_TRUE(within.matches("a/x/y/b", false));
    EXPECT_FALSE(within.matches("a/xb", false));
    EXPECT_TRUE(CPathPattern("**/b/c").matches("b/c", false));
    EXPECT_TRUE(CPathPattern("a/**").matches("a/x/y", false));
    EXPECT_FALSE(CPathPattern("a/**").matches("a", true));
    EXPECT_FALSE(CPathPattern("a/x**y").matches("a/x/y", false));
}

TEST(PathPatternTest, ASlashAtTheEndIsForFolders) {
    EXPECT_TRUE(CPathPattern("a/").matches("x/a", true));
    EXPECT_FALSE(CPathPattern("a/").matches("x/a", false));
}

TEST(PathPatternTest, EachByteCanBeMatched) {
    for (int i = 1; i < 256; ++i) {
        const std::string byte(1, static_cast<char>(i));
        EXPECT_EQ(CPathPattern("/[!x]").matches(byte, false), byte != "/" && byte != "x") << i;
        EXPECT_EQ(CPathPattern("/?").matches(byte, false), byte != "/") << i;
        if (byte != "/") {
            EXPECT_TRUE(CPathPattern("\\" + byte).matches(byte, false)) << i;
        }
    }
}

TEST(PathPatternTest, ClassesAreThoseOfASCII) {
    for (int i = 1; i < 128; ++i) {
        const std::string byte(1, static_cast<char>(i));
        if (byte == "/") {
            continue;
        }
        const auto matches = [&](const char* name) {
            return CPathPattern("/[[:" + std::string(name) + ":]]").matches(byte, false);
        };
        EXPECT_EQ(matches("alnum"), std::isalnum(i) != 0) << i;
        EXPECT_EQ(matches("alpha"), std::isalpha(i) != 0) << i;
        EXPECT_EQ(matches("\x62lank"), std::isblank(i) != 0) << i;
        EXPECT_EQ(matches("cntrl"), std::iscntrl(i) != 0) << i;
        EXPECT_EQ(matches("digit"), std::isdigit(i) != 0) << i;
        EXPECT_EQ(matches("graph"), std::isgraph(i) != 0) << i;
        EXPECT_EQ(matches("lower"), std::islower(i) != 0) << i;
        EXPECT_EQ(matches("print"), std::isprint(i) != 0) << i;
        EXPECT_EQ(matches("punct"), std::ispunct(i) != 0) << i;
        EXPECT_EQ(matches("space"), std::isspace(i) != 0) << i;
        EXPECT_EQ(matches("upper"), std::isupper(i) != 0) << i;
        EXPECT_EQ(matches("xdigit"), std::isxdigit(i) != 0) << i;
    }
}

TEST(PathPatternTest, ManyStarsTakeNoLongTime) {
    std::string pattern;
    for (int i = 0; i < 100; ++i) {
        pattern += "*a";
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(CPathPattern(pattern + "b").matches(std::string(250, 'a'), false));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(PathPatternTest, PatternsThatNeverMatchAreRefused) {
    for (const char* text :
         {"", "/", "[", "[]", "[!]", "[a", "a\\", "[a\\", "[b-a]", "[[:abc:]]", "[[::]]"}) {
        EXPECT_THROW(CPathPattern{text}, CInvalidArgError) << text;
    }
}

}  // namespace vexil::app
