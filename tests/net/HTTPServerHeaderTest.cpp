#include "vexil/net/HTTPServerHeader.h"

#include "tests/support/PrintText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

namespace {

using vexil::CHTTPServerHeader;
using vexil::String;
using vexil::TMap;

struct Case {
    const char* header;
    TMap<String, String> expected;
};

TEST(HTTPServerHeaderTest, TakesProductsApart) {
    const Case cases[] = {
        {"", {}},
        {" ", {}},
        {"     ", {}},
        {"nginx", {{"nginx", ""}}},
        {"nginx/1.22.1", {{"nginx", "1.22.1"}}},
        {"  a/1   b/2  ", {{"a", "1"}, {"b", "2"}}},
        {"Apache/2.4.1 (Unix)", {{"(Unix)", ""}, {"Apache", "2.4.1"}}},
        {"A/1 (two words) B", {{"(two", ""}, {"A", "1"}, {"B", ""}, {"words)", ""}}},
        {"a/1 a/2", {{"a", "2"}}},
        {"a/1 a", {{"a", ""}}},
        {"a/1 A/2", {{"A", "2"}, {"a", "1"}}},
        {"x/y/z", {{"x", "y/z"}}},
        {"a/", {{"a", ""}}},
        {"/1", {{"", "1"}}},
        {"/", {{"", ""}}},
        {"//", {{"", "/"}}},
        {"a/1\tb/2", {{"a", "1\tb/2"}}},
        {"a/1,b/2", {{"a", "1,b/2"}}},
        {"\xc3\xa4/\xe2\x82\xac", {{"\xc3\xa4", "\xe2\x82\xac"}}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(CHTTPServerHeader(c.header).getComponentVersionMap(), c.expected) << c.header;
    }
}

TEST(HTTPServerHeaderTest, LooksComponentsUpExactly) {
    const CHTTPServerHeader header("nginx/1.22 mod");
    EXPECT_TRUE(header.hasComponent("nginx"));
    EXPECT_TRUE(header.hasComponent("mod"));
    EXPECT_FALSE(header.hasComponent("Nginx"));
    EXPECT_FALSE(header.hasComponent("ngin"));
    EXPECT_FALSE(header.hasComponent(""));
    EXPECT_EQ(header.getComponentVersion("nginx"), "1.22");
    EXPECT_EQ(header.getComponentVersion("mod"), "");
    EXPECT_EQ(header.getComponentVersion("Nginx"), "");
    // A question adds nothing.
    EXPECT_EQ(header.getComponentVersionMap().size(), 2U);
}

TEST(HTTPServerHeaderTest, TakesEveryCut) {
    const String whole = "a/1 bc/23";
    const TMap<String, String> expected[] = {
        {},
        {{"a", ""}},
        {{"a", ""}},
        {{"a", "1"}},
        {{"a", "1"}},
        {{"a", "1"}, {"b", ""}},
        {{"a", "1"}, {"bc", ""}},
        {{"a", "1"}, {"bc", ""}},
        {{"a", "1"}, {"bc", "2"}},
        {{"a", "1"}, {"bc", "23"}},
    };
    for (std::size_t length = 0; length <= whole.length(); ++length) {
        EXPECT_EQ(CHTTPServerHeader(whole.substr(0, length)).getComponentVersionMap(), expected[length])
            << length;
    }
}

TEST(HTTPServerHeaderTest, CopiesAndMoves) {
    CHTTPServerHeader source("a/1");
    CHTTPServerHeader copy(source);
    EXPECT_EQ(copy.getComponentVersion("a"), "1");
    CHTTPServerHeader assigned("b");
    assigned = source;
    EXPECT_EQ(assigned.getComponentVersionMap(), source.getComponentVersionMap());
    const CHTTPServerHeader moved(std::move(source));
    EXPECT_EQ(moved.getComponentVersion("a"), "1");
    assigned = CHTTPServerHeader("c/3");
    EXPECT_EQ(assigned.getComponentVersion("c"), "3");
    EXPECT_FALSE(assigned.hasComponent("a"));
}

}  // namespace
