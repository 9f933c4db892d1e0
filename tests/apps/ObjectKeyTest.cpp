#include "apps/vexil/s3/ObjectKey.h"

#include "apps/vexil/base/Text.h"
#include "tests/apps/BrokenName.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vexil::app {

namespace {

std::string keyErrorOf(const String& prefix, const std::filesystem::path& path) {
    try {
        makeObjectKey(prefix, path);
    } catch (const CError& error) {
        return error.what();
    }
    return "";
}

std::string keyErrorOf(const String& prefix, const std::string& path) {
    return keyErrorOf(prefix, toPath(path));
}

std::string pathErrorOf(const String& prefix, const String& key) {
    try {
        makeRelativePath(prefix, key);
    } catch (const CError& error) {
        return error.what();
    }
    return "";
}

}  // namespace

TEST(ObjectKeyTest, APrefixEndsWithASlash) {
    EXPECT_EQ(makeFolderPrefix(""), "");
    EXPECT_EQ(makeFolderPrefix("a"), "a/");
    EXPECT_EQ(makeFolderPrefix("a/"), "a/");
}

TEST(ObjectKeyTest, APathAndItsKeyLeadToEachOther) {
    for (const char* path : {
             "a",
             "a/b c/d",
             "..a",
             "ü/+%",
             "\xF0\x9F\x98\x80/\xF0\x90\x80\x80",
#ifndef _WIN32
             "a/...",
             "a\\b",
             "tab\tin",
#endif
         }) {
        const String key = makeObjectKey("pre/", toPath(std::string(path)));
        EXPECT_EQ(key, String("pre/") + path);
        EXPECT_EQ(makeRelativePath("pre/", key), toPath(std::string(path)));
    }
}

TEST(ObjectKeyTest, NamesThatAListingCannotHoldHaveAProblem) {
    const auto problemOf = [](const char* prefix, const char* name) {
        return findListingProblem(makeObjectKey(prefix, toPath(std::string(name)))).toUTF8();
    };
    for (const char* name : {"\x01", "a\x1F", "a\v", "a\f", "a\rb", "\xEF\xBF\xBF"}) {
        EXPECT_THAT(problemOf("", name), testing::HasSubstr("control character")) << name;
        EXPECT_THAT(problemOf("pre/", name), testing::HasSubstr("control character")) << name;
    }
    for (const char* name : {" ", " a", "\ta", "\na"}) {
        EXPECT_THAT(problemOf("", name), testing::HasSubstr("begins with a space")) << name;
        EXPECT_EQ(problemOf("pre/", name), "") << name;
    }
    EXPECT_EQ(problemOf("", "a\nb\tc d"), "");
    EXPECT_EQ(keyErrorOf("", vexil_test::makeBrokenName()), "its name is not UTF-8 text");
}

TEST(ObjectKeyTest, AKeyHas1024BytesAtMost) {
    EXPECT_EQ(keyErrorOf("pre/", std::string(1020, 'a')), "");
    EXPECT_EQ(keyErrorOf("pre/", std::string(1021, 'a')), "its key has 1,025 bytes, and 1,024 are allowed");
    EXPECT_NE(keyErrorOf("", std::string(1023, 'a') + "\xC3\xBC"), "");
}

TEST(ObjectKeyTest, KeysThatLeadOutOfTheFolderAreRefusedByName) {
    for (const char* key : {"", "/", "/a", "a/", "a//b", ".", "..", "../a", "a/..", "a/../b", "a/./b"}) {
        const String whole = String("pre/") + key;
        EXPECT_THAT(pathErrorOf("pre/", whole), testing::HasSubstr("'" + whole.toUTF8() + "'")) << key;
    }
}

}  // namespace vexil::app
