#include "apps/vexil/program/HelpText.h"

#include "apps/vexil/command/UsageProblem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace vexil::app {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(HelpTextTest, WordsAreWrappedAtTheWidth) {
    EXPECT_EQ(wrapWords("aa bb  cc\ndd", 0, 5), "aa bb\ncc dd\n");
    EXPECT_EQ(wrapWords("aa bb cc", 3, 8), "aa bb\n   cc\n");
    EXPECT_EQ(wrapWords("aa bb cc", 3, 7), "aa\n   bb\n   cc\n");
    EXPECT_EQ(wrapWords("longer than five", 0, 5), "longer\nthan\nfive\n");
    EXPECT_EQ(wrapWords("", 3, 5), "\n");
}

TEST(HelpTextTest, ParagraphsAreWrappedAgainAndExamplesAreKept) {
    EXPECT_EQ(wrapParagraphs("one two\nthree\n\nExamples:\n  a b c d e f g\n  h i\nfour", 9),
              "one two\nthree\n\nExamples:\n  a b c d e f g\n  h i\nfour\n");
    EXPECT_EQ(wrapParagraphs("one\ntwo\n\nthree", 80), "one two\n\nthree\n");
    EXPECT_EQ(wrapParagraphs("  NAME\n            one two\n            three four", 20),
              "  NAME\n            one two\n            three\n            four\n");
}

TEST(HelpTextTest, TheSecondColumnOfALongLineIsWrapped) {
    EXPECT_EQ(wrapParagraphs("  130  one two three", 18), "  130  one two\n       three\n");
    EXPECT_EQ(wrapParagraphs("  130  one two", 14), "  130  one two\n");
    EXPECT_EQ(wrapParagraphs("  an example  (with a note)", 18), "  an example  (with a note)\n");
}

TEST(SimilarNamesTest, TheNearestNamesAreFound) {
    EXPECT_THAT(findSimilarNames("htpt", {"http", "s3", "ftp"}), ElementsAre("http"));
    EXPECT_THAT(findSimilarNames("--recrusive", {"--recursive", "--retries"}), ElementsAre("--recursive"));
    EXPECT_THAT(findSimilarNames("lst", {"ls", "last", "lost"}), ElementsAre("ls", "last", "lost"));
    EXPECT_THAT(findSimilarNames("--verb", {"--verify", "--verbose-log"}), ElementsAre("--verbose-log"));
    EXPECT_THAT(findSimilarNames("backups", {"backup"}), ElementsAre("backup"));
}

TEST(SimilarNamesTest, WhatIsFarOffIsNotProposed) {
    EXPECT_THAT(findSimilarNames("xyzzy", {"http", "s3"}), IsEmpty());
    EXPECT_THAT(findSimilarNames("mv", {"cp", "rm", "ls"}), IsEmpty());
    EXPECT_THAT(findSimilarNames("--x", {"--y"}), IsEmpty());
    EXPECT_THAT(findSimilarNames("", {"a", "ls"}), IsEmpty());
    EXPECT_THAT(findSimilarNames(std::string(100000, 'x'), {std::string(100000, 'x')}), IsEmpty());
}

}  // namespace vexil::app
