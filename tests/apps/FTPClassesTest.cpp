// The parts of the program's FTP commands: paths, replies, lines of a listing, further tries.
#include "apps/vexil/base/Text.h"
#include "apps/vexil/ftp/FTPEntryText.h"
#include "apps/vexil/ftp/FTPPath.h"
#include "apps/vexil/ftp/FTPReplies.h"
#include "apps/vexil/ftp/FTPTransferPolicy.h"
#include "tests/apps/BrokenName.h"
#include "tests/support/PrintText.h"
#include "tests/support/WhatOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vexil::app {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vexil_test::whatOf;
using namespace std::chrono_literals;

CCURLError refusal(int reply, CURLcode code = CURLE_QUOTE_ERROR) {
    return CCURLError(code, "", "ftp", reply, "", "", "", "");
}

TEST(FTPPathTest, BeginsWithASlashAndEndsWithNone) {
    EXPECT_EQ(makeServerPath("/"), "/");
    EXPECT_EQ(makeServerPath("///"), "/");
    EXPECT_EQ(makeServerPath("/a/b//"), "/a/b");
    EXPECT_EQ(makeServerPath("/ü #"), String("/ü #"));
    EXPECT_EQ(whatOf([] { makeServerPath("a"); }),
              "makeServerPath: the path 'a' on the server does not begin with '/'");
    EXPECT_NE(whatOf([] { makeServerPath(""); }), "no error");
}

TEST(FTPPathTest, HasADirectoryAndAName) {
    EXPECT_EQ(joinServerPath("/", "a"), "/a");
    EXPECT_EQ(joinServerPath("/a", "b/c"), "/a/b/c");
    EXPECT_EQ(getServerDirectory("/a"), "/");
    EXPECT_EQ(getServerDirectory("/a/b"), "/a");
    EXPECT_EQ(getServerName("/a/b c"), "b c");
    EXPECT_THAT(getDirsDownTo("/a/b/c"), ElementsAre("/a", "/a/b", "/a/b/c"));
    EXPECT_THAT(getDirsDownTo("/"), IsEmpty());
}

TEST(FTPPathTest, OnlyNamesThatCanBeTransferredAreTaken) {
    EXPECT_EQ(makeServerName("a/b #%41;type=d"), "a/b #%41;type=d");
    EXPECT_EQ(makeServerName(toPath(std::string("\xF0\x9F\x98\x80/b"))), String("\xF0\x9F\x98\x80/b"));
    EXPECT_EQ(whatOf([] { makeServerName(vexil_test::makeBrokenName()); }), "its name is not UTF-8 text");
    for (const char* name : {"a\nb", "a\rb", "a\tb", "\x7F"}) {
        EXPECT_EQ(whatOf([name] { makeServerName(name); }),
                  "its name has a control character, which cannot be transferred over FTP");
    }
}

TEST(FTPPathTest, NoNameOfAListingLeadsOutOfTheFolder) {
    for (const char* name : {"", ".", "..", "../x", "a/b", "/"}) {
        EXPECT_EQ(findEntryNameProblem(name), "could lead out of the folder") << name;
    }
#ifdef _WIN32
    EXPECT_EQ(findEntryNameProblem("..."), "ends in a full stop or a space, which Windows drops");
#else
    EXPECT_EQ(findEntryNameProblem("..."), "");
#endif
    EXPECT_EQ(findEntryNameProblem("a b"), "");
}

TEST(FTPRepliesTest, TellUnknownCommandsFromRefusedFiles) {
    for (const int reply : {500, 502, 504}) {
        EXPECT_TRUE(isUnknownCommand(reply)) << reply;
        EXPECT_FALSE(isRefusedFile(refusal(reply))) << reply;
    }
    for (const int reply : {501, 550, 553}) {
        EXPECT_TRUE(isRefusedFile(refusal(reply))) << reply;
        EXPECT_FALSE(isUnknownCommand(reply)) << reply;
    }
    EXPECT_FALSE(isRefusedFile(refusal(530)));
    EXPECT_FALSE(isRefusedFile(CError("550")));
}

TEST(FTPRepliesTest, AFileIsTheSameWithItsSizeAndAKnownTime) {
    const CFTPDirEntry file("size=3;modify=20200131235959; a");
    EXPECT_TRUE(isSameFile(file, CFTPDirEntry("size=3;modify=20200131235959; /x/a")));
    EXPECT_FALSE(isSameFile(file, CFTPDirEntry("size=4;modify=20200131235959; a")));
    EXPECT_FALSE(isSameFile(file, CFTPDirEntry("size=3;modify=20200131235958; a")));
    EXPECT_FALSE(isSameFile(CFTPDirEntry("size=3; a"), CFTPDirEntry("size=3; a"))) << "the time is not known";
}

TEST(FTPEntryLineTest, HasColumns) {
    EXPECT_EQ(makeEntryLine(CFTPDirEntry("type=file;size=1024;modify=20200131235959; a b")),
              "file          1024  2020-01-31T23:59:59Z  a b");
    EXPECT_EQ(makeEntryLine(CFTPDirEntry("type=dir;size=4096; d")),
              "dir              -  -                     d");
    EXPECT_EQ(makeEntryLine(CFTPDirEntry("type=OS.unix=slink:; l")),
              "-                -  -                     l");
}

TEST(FTPTransferPolicyTest, TriesAgainWhatMayPass) {
    CFTPTransferPolicy policy;
    const P<CNetRequest> request = new CNetRequest;
    const auto isTriedAgain = [&](const CError& error) {
        CRetryPolicy::Failures failures;
        return policy.decideRetry(*request, error, failures).has_value();
    };
    for (const CURLcode code :
         {CURLE_COULDNT_CONNECT, CURLE_COULDNT_RESOLVE_HOST, CURLE_PARTIAL_FILE, CURLE_OPERATION_TIMEDOUT,
          CURLE_GOT_NOTHING, CURLE_SEND_ERROR, CURLE_RECV_ERROR}) {
        EXPECT_TRUE(isTriedAgain(refusal(0, code))) << code;
    }
    for (const int reply : {421, 425, 426, 450, 451}) {
        EXPECT_TRUE(isTriedAgain(refusal(reply))) << reply;
    }
    EXPECT_EQ(policy.getRetryCount(), 12);
    for (const int reply : {452, 500, 530, 550, 553}) {
        EXPECT_FALSE(isTriedAgain(refusal(reply))) << reply;
    }
    EXPECT_FALSE(isTriedAgain(refusal(421, CURLE_ABORTED_BY_CALLBACK))) << "the user has interrupted";
    EXPECT_FALSE(isTriedAgain(CError("disk full")));
    EXPECT_EQ(policy.getRetryCount(), 12);
}

}  // namespace

}  // namespace vexil::app
