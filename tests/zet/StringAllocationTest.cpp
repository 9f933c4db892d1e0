#include "tests/support/AllocationCount.h"
#include "zet/String.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using vexil_test::allocationsOf;
using zet::String;

const char* const longASCII = "a text that is too long for the buffer inside of a string";

TEST(StringAllocationTest, CountsTheAllocationsOfTheLibrary) {
    EXPECT_EQ(allocationsOf([] { const String text(longASCII); }), 1);
}

TEST(StringAllocationTest, AssigningAViewReusesTheMemory) {
    String text(longASCII);
    EXPECT_EQ(allocationsOf([&] { text.assign(L"a text that fits into it"); }), 0);
    EXPECT_EQ(text, "a text that fits into it");
    text.assign({});
    EXPECT_EQ(text, "");
}

TEST(StringAllocationTest, ComparingWithPlainASCIIAllocatesNothing) {
    const String text(longASCII);
    bool isRight = true;
    EXPECT_EQ(allocationsOf([&] {
                  isRight = text == longASCII && !(text != longASCII) && text <= longASCII &&
                            !(text < longASCII) && text.startsWith(longASCII) &&
                            text.startsWithNoCase(longASCII) && text.endsWith(longASCII) &&
                            text.equalsNoCase(longASCII);
              }),
              0);
    EXPECT_TRUE(isRight);
}

TEST(StringAllocationTest, ComparingWithUTF8AllocatesNothing) {
    const std::string umlauts = std::string(longASCII) + "\xC3\xA4";
    const String text(umlauts);
    bool isRight = true;
    EXPECT_EQ(allocationsOf([&] {
                  isRight = text == umlauts && text == std::string_view(umlauts) && text == umlauts.c_str() &&
                            text >= umlauts;
              }),
              0);
    EXPECT_TRUE(isRight);
}

TEST(StringAllocationTest, SearchingForPlainASCIIAllocatesNothing) {
    const String text(longASCII);
    std::size_t found = String::npos;
    EXPECT_EQ(
        allocationsOf([&] { found = text.find(longASCII) + text.find(longASCII + 2) + text.find(L'a'); }), 0);
    EXPECT_EQ(found, 2u);
}

TEST(StringAllocationTest, AssigningReusesTheMemory) {
    String text(longASCII);
    EXPECT_EQ(allocationsOf([&] { text.assignUTF8("\xC3\xA4 a shorter text, yet no small one"); }), 0);
    EXPECT_EQ(text.length(), 34u);
}

TEST(StringAllocationTest, TrimmingAViewAllocatesNothing) {
    const String text = String("  ") + longASCII + "  ";
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(zet::trimmed(text.view()).size() + 4, text.length()); }), 0);
}

TEST(StringAllocationTest, TrimmingInPlaceAllocatesNothing) {
    String text = String("  ") + longASCII + "  ";
    EXPECT_EQ(allocationsOf([&] {
                  text.trim();
                  text.makeLower();
              }),
              0);
    EXPECT_EQ(text, longASCII);
}

}  // namespace
