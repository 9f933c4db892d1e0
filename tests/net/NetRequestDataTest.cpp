// The four callbacks, called as by libcurl, and the streams of sources and sinks.
#include "tests/net/NetRequestTestSupport.h"
#include "zet/MemoryInStream.h"

#include <climits>

#include <new>
#include <stdexcept>

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using vexil::CServerInfo;
using vexil::TBuffer;

constexpr char headerWarning[] = "W: Exception during CNetRequest header parsing (ignored).";

class NetRequestDataTest : public testing::Test {
protected:
    NetRequestDataTest() {
        request->setURL("http://h/a");
        request->setReceiveDataSink(sink);
        request->setSendDataSource(source);
    }

    std::size_t read(std::size_t size, std::size_t count) {
        return request->readHandler(memory, size, count);
    }

    /// Checks the error that was kept.
    void expectKept(const std::string& message) {
        const auto kept = request->keptError();
        ASSERT_TRUE(kept) << "no error was kept";
        EXPECT_EQ(kept->getMessage().toUTF8(), message);
    }

    LogCapture log;
    P<OpenRequest> request = new OpenRequest;
    P<TestSink> sink = new TestSink;
    P<TestSource> source = new TestSource("0123456789");
    char memory[64] = {};
};

// ---- write -----------------------------------------------------------------------------------------------

TEST_F(NetRequestDataTest, ABlockReachesTheSinkWithStatusAndHeaders) {
    request->header("HTTP/1.1 206 Partial Content\r\n");
    request->header("ETag: \"x\"\r\n");
    request->header("\r\n");
    EXPECT_EQ(request->writeHandler("abcdef", 2, 3), 6u);
    EXPECT_THAT(sink->blocks, ElementsAre("abcdef"));
    EXPECT_THAT(sink->statuses, ElementsAre(206));
    EXPECT_THAT(sink->headersSeen, ElementsAre(Pair(String("etag"), String("\"x\""))));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(NetRequestDataTest, WithoutASinkABlockIsAcceptedAndNothingIsParsedOrLogged) {
    request->header("HTTP/1.1 garbled\r\n");
    request->setReceiveDataSink(nullptr);
    EXPECT_EQ(request->write("abc"), 3u);
    EXPECT_EQ(request->write(""), 0u);
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_FALSE(request->keptError());
}

TEST_F(NetRequestDataTest, TheStatusIsParsedOncePerTransfer) {
    request->header("HTTP/1.1 200 OK\r\n");
    request->write("a");
    request->header("HTTP/1.1 404 Not Found\r\n");
    request->write("b");
    EXPECT_THAT(sink->statuses, ElementsAre(200, 200));
    request->resetForPerform();
    request->header("HTTP/1.1 404 Not Found\r\n");
    request->write("c");
    EXPECT_THAT(sink->statuses, ElementsAre(200, 200, 404));
}

TEST_F(NetRequestDataTest, AGarbledStatusLineGivesStatus0AndOneLogLine) {
    request->setHTTPMethod("POST");
    request->header("HTTP/1.1 2x0 OK\r\n");
    EXPECT_EQ(request->write("a"), 1u);
    EXPECT_EQ(request->write("b"), 1u);
    EXPECT_THAT(sink->statuses, ElementsAre(0, 0));
    EXPECT_THAT(log.lines(), ElementsAre("E: Error parsing HTTP status line - ignoring (statusLine: "
                                         "'HTTP/1.1 2x0 OK', method: 'POST', URL: 'http://h/a') "
                                         "[Invalid HTTP status line: 'HTTP/1.1 2x0 OK']"));
    EXPECT_FALSE(request->keptError());
}

TEST_F(NetRequestDataTest, ABlockWithoutAnyStatusLineHasStatus0AndTheDefaultMethodIsLoggedAsSet) {
    EXPECT_EQ(request->write("a"), 1u);
    EXPECT_THAT(sink->statuses, ElementsAre(0));
    EXPECT_THAT(log.lines(),
                ElementsAre("E: Error parsing HTTP status line - ignoring (statusLine: '', method: '', "
                            "URL: 'http://h/a') [Invalid HTTP status line: '']"));
}

TEST_F(NetRequestDataTest, OtherProtocolsHaveStatusMinus1) {
    request->setURL("ftp://h/a");
    request->header("226 Done\r\n");
    EXPECT_EQ(request->write("a"), 1u);
    EXPECT_THAT(sink->statuses, ElementsAre(-1));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(NetRequestDataTest, ASinkThatThrowsGivesAnotherCountThanOffered) {
    request->header("HTTP/1.1 200 OK\r\n");
    sink->onWrite = [] { throw CError("disk full"); };
    EXPECT_EQ(request->write("abc"), 0u);
    EXPECT_EQ(request->write(""), 1u);
    expectKept("disk full");
}

TEST_F(NetRequestDataTest, AnEmptyBlockIsASuccess) {
    request->header("HTTP/1.1 200 OK\r\n");
    EXPECT_EQ(request->write(""), 0u);
    EXPECT_THAT(sink->blocks, ElementsAre(""));
    EXPECT_FALSE(request->keptError());
}

// ---- what a callback throws ------------------------------------------------------------------------------

TEST_F(NetRequestDataTest, AKeptErrorHasItsOwnType) {
    sink->onWrite = [] { throw OwnError("mine"); };
    EXPECT_EQ(request->write("a"), 0u);
    request->setAsyncInfo(true, CURLE_OK);
    const auto error = thrownBy<OwnError>([&] { request->checkAsyncResult(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getMessage(), "mine");
    EXPECT_EQ(error->getDomain(), "own");
    EXPECT_EQ(error->getCode(), 7);
}

TEST_F(NetRequestDataTest, AForeignExceptionBecomesAnErrorWithItsText) {
    sink->onWrite = [] { throw std::runtime_error("gr\xc3\xbc\xc3\x9f"); };
    EXPECT_EQ(request->write("a"), 0u);
    const auto kept = request->keptError();
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->getMessage().toUTF8(), "gr\xc3\xbc\xc3\x9f");
    EXPECT_EQ(kept->getDomain(), "");
    EXPECT_EQ(kept->getCode(), -1);
}

TEST_F(NetRequestDataTest, AnExceptionThatIsNoneOfTheStandardsBecomesAnErrorToo) {
    sink->onWrite = [] { throw 5; };
    EXPECT_EQ(request->write("a"), 0u);
    expectKept("Unknown exception.");
}

TEST_F(NetRequestDataTest, ExhaustedMemoryBecomesAnErrorToo) {
    sink->onWrite = [] { throw std::bad_alloc(); };
    EXPECT_EQ(request->write("a"), 0u);
    expectKept("Out of memory.");
}

TEST_F(NetRequestDataTest, TheFirstErrorOfATransferWins) {
    source->onRead = [](void*, int) -> int { throw CError("first"); };
    sink->onWrite = [] { throw CError("second"); };
    source->onSeek = [](int64) { throw CError("third"); };
    EXPECT_EQ(read(1, 8), CURL_READFUNC_ABORT);
    EXPECT_EQ(request->write("a"), 0u);
    EXPECT_EQ(request->seekHandler(0, SEEK_SET), CURL_SEEKFUNC_FAIL);
    expectKept("first");
}

TEST_F(NetRequestDataTest, ANewTransferForgetsTheKeptError) {
    sink->onWrite = [] { throw CError("old"); };
    request->write("a");
    request->resetForPerform();
    EXPECT_FALSE(request->keptError());
}

// ---- read ------------------------------------------------------------------------------------------------

TEST_F(NetRequestDataTest, WithoutASourceTheBodyIsEmpty) {
    request->setSendDataSource(nullptr);
    EXPECT_EQ(read(1, 8), 0u);
    EXPECT_FALSE(request->keptError());
}

TEST_F(NetRequestDataTest, ASourceIsAskedForSizeTimesCountWithTheHeadersSoFar) {
    request->header("HTTP/1.1 100 Continue\r\n");
    request->header("X-A: b\r\n");
    EXPECT_EQ(read(2, 4), 8u);
    EXPECT_EQ(std::string(memory, 8), "01234567");
    EXPECT_EQ(read(2, 4), 2u);
    EXPECT_EQ(read(2, 4), 0u);
    EXPECT_THAT(source->calls, ElementsAre("read 8", "read 8", "read 8"));
    EXPECT_THAT(source->headersSeen, ElementsAre(Pair(String("x-a"), String("b"))));
    EXPECT_FALSE(request->keptError());
}

TEST_F(NetRequestDataTest, ASourceThatThrowsAbortsTheTransfer) {
    source->onRead = [](void*, int) -> int { throw CError("unreadable"); };
    EXPECT_EQ(read(1, 8), CURL_READFUNC_ABORT);
    expectKept("unreadable");
}

TEST_F(NetRequestDataTest, ASourceThatReturnsMoreThanItWasAskedForIsAnError) {
    source->onRead = [](void*, int maxLength) { return maxLength + 1; };
    EXPECT_EQ(read(1, 8), CURL_READFUNC_ABORT);
    expectKept("The data source returned 9 bytes where 0 to 8 were asked for.");
}

TEST_F(NetRequestDataTest, ASourceThatReturnsLessThanNothingIsAnError) {
    source->onRead = [](void*, int) { return -1; };
    EXPECT_EQ(read(1, 8), CURL_READFUNC_ABORT);
    expectKept("The data source returned -1 bytes where 0 to 8 were asked for.");
    request->resetForPerform();
    source->onRead = [](void*, int) { return INT_MIN; };
    EXPECT_EQ(read(1, 8), CURL_READFUNC_ABORT);
    expectKept("The data source returned -2147483648 bytes where 0 to 8 were asked for.");
}

TEST_F(NetRequestDataTest, ASourceMayAbortOrPauseByLibcurlsOwnValues) {
    source->onRead = [](void*, int) { return CURL_READFUNC_ABORT; };
    EXPECT_EQ(read(1, 8), CURL_READFUNC_ABORT);
    source->onRead = [](void*, int) { return CURL_READFUNC_PAUSE; };
    EXPECT_EQ(read(1, 8), CURL_READFUNC_PAUSE);
    EXPECT_FALSE(request->keptError());
}

// ---- seek ------------------------------------------------------------------------------------------------

TEST_F(NetRequestDataTest, SeekingWorksFromAllThreeOrigins) {
    source->size = 10;
    EXPECT_EQ(request->seekHandler(3, SEEK_SET), CURL_SEEKFUNC_OK);
    EXPECT_EQ(request->seekHandler(4, SEEK_CUR), CURL_SEEKFUNC_OK);
    EXPECT_EQ(request->seekHandler(-5, SEEK_CUR), CURL_SEEKFUNC_OK);
    EXPECT_EQ(request->seekHandler(-1, SEEK_END), CURL_SEEKFUNC_OK);
    EXPECT_EQ(request->seekHandler(0, SEEK_SET), CURL_SEEKFUNC_OK);
    EXPECT_THAT(source->seeks(), ElementsAre("seek 3", "seek 7", "seek 2", "seek 9", "seek 0"));
    EXPECT_FALSE(request->keptError());
}

TEST_F(NetRequestDataTest, SeekingPositionsHave64Bits) {
    EXPECT_EQ(request->seekHandler(0x123456789abLL, SEEK_SET), CURL_SEEKFUNC_OK);
    EXPECT_EQ(source->position, 0x123456789abLL);
}

TEST_F(NetRequestDataTest, SeekingWithoutASourceFailsAndKeepsNothing) {
    request->setSendDataSource(nullptr);
    EXPECT_EQ(request->seekHandler(0, SEEK_SET), CURL_SEEKFUNC_FAIL);
    EXPECT_FALSE(request->keptError());
}

TEST_F(NetRequestDataTest, SeekingToTheEndOfAnUnknownSizeFailsAndKeepsNothing) {
    EXPECT_EQ(request->seekHandler(0, SEEK_END), CURL_SEEKFUNC_FAIL);
    EXPECT_THAT(source->seeks(), IsEmpty());
    EXPECT_FALSE(request->keptError());
}

TEST_F(NetRequestDataTest, SeekingFromAnUnknownOriginFailsAndKeepsNothing) {
    EXPECT_EQ(request->seekHandler(0, 3), CURL_SEEKFUNC_FAIL);
    EXPECT_EQ(request->seekHandler(0, -1), CURL_SEEKFUNC_FAIL);
    EXPECT_THAT(source->seeks(), IsEmpty());
    EXPECT_FALSE(request->keptError());
}

TEST_F(NetRequestDataTest, ASourceThatThrowsWhileSeekingFailsAndKeepsItsError) {
    source->onSeek = [](int64) { throw CError("cannot seek"); };
    EXPECT_EQ(request->seekHandler(0, SEEK_SET), CURL_SEEKFUNC_FAIL);
    expectKept("cannot seek");
}

// ---- header ----------------------------------------------------------------------------------------------

TEST_F(NetRequestDataTest, HeaderLinesFillStatusLineMapAndResponseInfo) {
    EXPECT_EQ(request->header("HTTP/1.1 200 OK\r\n"), 17u);
    EXPECT_EQ(request->header("Content-Type:  text/plain \r\n"), 28u);
    EXPECT_EQ(request->header("\r\n"), 2u);
    EXPECT_EQ(request->getHTTPStatusLine(), "HTTP/1.1 200 OK");
    EXPECT_THAT(request->getResponseHeaderMap(),
                ElementsAre(Pair(String("content-type"), String("text/plain"))));
    EXPECT_THAT(linesOf(request->getResponseInfo()),
                ElementsAre("HTTP/1.1 200 OK\r\n", "Content-Type:  text/plain \r\n", "\r\n"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(NetRequestDataTest, ResponseInfoThatWasAskedForGetsTheLinesThatFollow) {
    const auto& info = request->getResponseInfo();
    EXPECT_THAT(linesOf(info), IsEmpty());
    request->header("HTTP/1.1 200 OK\r\n");
    EXPECT_THAT(linesOf(info), ElementsAre("HTTP/1.1 200 OK\r\n"));
    request->header("X-A: b\r\n");
    EXPECT_THAT(linesOf(info), ElementsAre("HTTP/1.1 200 OK\r\n", "X-A: b\r\n"));
    EXPECT_EQ(&request->getResponseInfo(), &info);
}

TEST_F(NetRequestDataTest, ALineWithANULIsMissingInResponseInfoAndWarned) {
    request->header("HTTP/1.1 200 OK\r\n");
    request->header(std::string_view("X-A: b\0c\r\n", 10));
    request->header("X-D: e\r\n");
    EXPECT_THAT(linesOf(request->getResponseInfo()), ElementsAre("HTTP/1.1 200 OK\r\n", "X-D: e\r\n"));
    EXPECT_THAT(log.lines(), ElementsAre(testing::StartsWith(headerWarning)));
}

TEST_F(NetRequestDataTest, TheStatusLineOfHTTP2IsTrimmed) {
    request->header("HTTP/2 200 \r\n");
    EXPECT_EQ(request->getHTTPStatusLine(), "HTTP/2 200");
    request->write("a");
    EXPECT_THAT(sink->statuses, ElementsAre(200));
}

TEST_F(NetRequestDataTest, ASecondStatusLineBeginsTheHeadersAnewButNotTheResponseInfo) {
    request->header("HTTP/1.1 100 Continue\r\n");
    request->header("X-Interim: 1\r\n");
    request->header("\r\n");
    EXPECT_TRUE(request->isResponseComplete());
    request->header("HTTP/1.1 200 OK\r\n");
    EXPECT_FALSE(request->isResponseComplete());
    request->header("X-Final: 2\r\n");
    request->header("\r\n");
    EXPECT_EQ(request->getHTTPStatusLine(), "HTTP/1.1 200 OK");
    EXPECT_THAT(request->getResponseHeaderMap(), ElementsAre(Pair(String("x-final"), String("2"))));
    EXPECT_EQ(linesOf(request->getResponseInfo()).size(), 6u);
}

TEST_F(NetRequestDataTest, HeadersBeforeTheFirstStatusLineStay) {
    request->header("X-Early: 1\r\n");
    request->header("HTTP/1.1 200 OK\r\n");
    EXPECT_EQ(request->getResponseHeaderMap().count("x-early"), 1u);
}

TEST_F(NetRequestDataTest, ALineThatIsNotUTF8IsMissingEverywhereAndWarned) {
    request->header("HTTP/1.1 200 OK\r\n");
    EXPECT_EQ(request->header("X-Bad: \xff\r\n"), 10u);
    request->header("X-Good: \xc3\xbc\r\n");
    EXPECT_THAT(request->getResponseHeaderMap(), ElementsAre(Pair(String("x-good"), String("\xc3\xbc"))));
    EXPECT_THAT(linesOf(request->getResponseInfo()),
                ElementsAre("HTTP/1.1 200 OK\r\n", "X-Good: \xc3\xbc\r\n"));
    EXPECT_THAT(log.lines(), ElementsAre(std::string(headerWarning) + " [Invalid UTF-8 data.]"));
    EXPECT_FALSE(request->keptError());
}

TEST_F(NetRequestDataTest, ALineThatCannotBeParsedIsWarnedAndMissingInResponseInfoToo) {
    request->header("HTTP/1.1 200 OK\r\n");
    EXPECT_EQ(request->header(" continued\r\n"), 12u);
    EXPECT_EQ(request->header("no colon\r\n"), 10u);
    EXPECT_THAT(request->getResponseHeaderMap(), IsEmpty());
    EXPECT_THAT(linesOf(request->getResponseInfo()), ElementsAre("HTTP/1.1 200 OK\r\n"));
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[0], testing::StartsWith(headerWarning));
    EXPECT_THAT(lines[1], testing::StartsWith(headerWarning));
    EXPECT_FALSE(request->keptError());
}

TEST_F(NetRequestDataTest, AStatusLineBeginsWithCapitalLetters) {
    request->header("http/1.1 200 OK\r\n");
    EXPECT_EQ(request->getHTTPStatusLine(), "");
    EXPECT_EQ(log.lines().size(), 1u);
}

TEST_F(NetRequestDataTest, RepliesOfOtherProtocolsOnlyGoToResponseInfo) {
    request->setURL("smtp://h/");
    EXPECT_EQ(request->header("220 h ESMTP\r\n"), 13u);
    EXPECT_EQ(request->header("HTTP/1.1 200 OK\r\n"), 17u);
    EXPECT_EQ(request->header("X-A: b\r\n"), 8u);
    EXPECT_EQ(request->getHTTPStatusLine(), "");
    EXPECT_THAT(request->getResponseHeaderMap(), IsEmpty());
    EXPECT_THAT(linesOf(request->getResponseInfo()),
                ElementsAre("220 h ESMTP\r\n", "HTTP/1.1 200 OK\r\n", "X-A: b\r\n"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(NetRequestDataTest, AReplyIsFoundByItsCode) {
    request->setURL("smtp://h/");
    EXPECT_EQ(request->getResponseText(550), "");
    for (const char* line :
         {"220 h ESMTP\r\n", "250-h\r\n", "250-SIZE 1\r\n", "250 HELP\r\n", "250 sender ok\r\n",
          "550-5.1.1 no\r\n", "550-5.1.1 such\r\n", "550 5.1.1 user\r\n", "221 Bye\r\n"}) {
        request->header(line);
    }
    EXPECT_EQ(request->getResponseText(220), "220 h ESMTP");
    EXPECT_EQ(request->getResponseText(250), "250 sender ok") << "the last one with this code";
    EXPECT_EQ(request->getResponseText(550), "550-5.1.1 no\n550-5.1.1 such\n550 5.1.1 user");
    EXPECT_EQ(request->getResponseText(221), "221 Bye");
    EXPECT_EQ(request->getResponseText(354), "");
    EXPECT_EQ(request->getResponseText(55), "") << "another code that begins so";
    EXPECT_EQ(request->getResponseText(5), "");
    EXPECT_EQ(request->getResponseText(0), "");
}

TEST_F(NetRequestDataTest, TheLastReplyWithACodeCountsHoweverLong) {
    request->setURL("smtp://h/");
    for (const char* line : {"250 one\r\n", "250-two\r\n", "250 three\r\n", "250-four\r\n", "250 five\r\n"}) {
        request->header(line);
    }
    EXPECT_EQ(request->getResponseText(250), "250-four\n250 five");
    request->header("250 six\r\n");
    EXPECT_EQ(request->getResponseText(250), "250 six");
    request->header("250-seven\r\n");
    EXPECT_EQ(request->getResponseText(250), "250-seven") << "as far as it came";
}

TEST_F(NetRequestDataTest, AReplyMayBeItsCodeAlone) {
    request->setURL("smtp://h/");
    for (const char* line : {"250 text\r\n", "250\r\n", "5501 x\r\n", "550x\r\n", "x550 x\r\n"}) {
        request->header(line);
    }
    EXPECT_EQ(request->getResponseText(250), "250");
    EXPECT_EQ(request->getResponseText(550), "");
    request->header("250-\r\n");
    request->header("250 \r\n");
    EXPECT_EQ(request->getResponseText(250), "250-\n250") << "without the spaces around it";
}

TEST_F(NetRequestDataTest, LinesWithoutACodeAreNotPartOfAReply) {
    request->setURL("ftp://h/");
    for (const char* line : {"250-Listing x\r\n", " type=file; x\r\n", "250 End\r\n"}) {
        request->header(line);
    }
    EXPECT_EQ(request->getResponseText(250), "250-Listing x\n250 End");
}

// ---- replies ---------------------------------------------------------------------------------------------

/// Each reply as "CODE:TEXT".
std::vector<std::string> repliesOf(const CNetRequest& request) {
    std::vector<std::string> replies;
    for (const vexil::CNetReply& reply : request.getReplies()) {
        replies.push_back(std::to_string(reply.getCode()) + ":" + reply.getText().toUTF8());
    }
    return replies;
}

TEST_F(NetRequestDataTest, RepliesAreKeptInTheirOrder) {
    request->setURL("ftp://h/");
    EXPECT_THAT(request->getReplies(), IsEmpty());
    for (const char* line :
         {"220 h\r\n", "250-Listing x\r\n", " type=file; x\r\n", "250 End\r\n", "221\r\n"}) {
        request->header(line);
    }
    EXPECT_THAT(repliesOf(*request), ElementsAre("220:h", "250:Listing x\n type=file; x\nEnd", "221:"));
    EXPECT_EQ(request->getReplies()[1].getBytes(), "250-Listing x\r\n type=file; x\r\n250 End\r\n");
    request->resetForPerform();
    EXPECT_THAT(request->getReplies(), IsEmpty());
}

TEST_F(NetRequestDataTest, NoReplyIsMissingBecauseOfItsBytes) {
    request->setURL("smtp://h/");
    for (const char* line : {"220 gr\xFC\xDF gott\r\n", "550-\xE9t\xE9\r\n", "550-\xC3\xA9t\xC3\xA9\r\n",
                             "550 \x80\xFF\r\n", "221 \xC3\r\n"}) {
        request->header(line);
    }
    request->header(std::string_view("250 a\0b\r\n", 9));
    EXPECT_THAT(repliesOf(*request),
                ElementsAre("220:grüß gott", "550:été\nété\n\xC2\x80ÿ", "221:Ã", std::string("250:a\0b", 7)));
    EXPECT_EQ(request->getReplies()[0].getBytes(), "220 gr\xFC\xDF gott\r\n");
}

TEST_F(NetRequestDataTest, TheCodeIsTakenOffEachLineThatHasIt) {
    request->setURL("smtp://h/");
    for (const char* line :
         {"550-one\r\n", "550-\r\n", "551-other\r\n", "550three\r\n", "55\r\n", "550 four\n"}) {
        request->header(line);
    }
    EXPECT_THAT(repliesOf(*request), ElementsAre("550:one\n\n551-other\n550three\n55\nfour"));
}

TEST_F(NetRequestDataTest, AReplyThatEndsWithAnotherCodeHidesNoOther) {
    request->setURL("ftp://h/");
    for (const char* line : {"250-one\r\n", "226 two\r\n", "550 three\r\n", "250-four\r\n"}) {
        request->header(line);
    }
    EXPECT_THAT(repliesOf(*request), ElementsAre("226:one\ntwo", "550:three"))
        << "the last one has not ended";
}

TEST_F(NetRequestDataTest, WhatIsNoReplyIsLeftOut) {
    request->setURL("ftp://h/");
    for (const char* line : {"HTTP/1.1 200 OK\r\n", "\r\n", "22 x\r\n", "5501 x\r\n", "", "220 h\r\n"}) {
        request->header(line);
    }
    EXPECT_THAT(repliesOf(*request), ElementsAre("220:h"));
    request->setURL("http://h/");
    request->resetForPerform();
    request->header("220 h\r\n");
    EXPECT_THAT(request->getReplies(), IsEmpty());
}

TEST_F(NetRequestDataTest, TheServerRecordLearnsFromAFinishedHeaderBlock) {
    const P<CServerInfo> info = new CServerInfo;
    request->setServerInfoToUpdate(info);
    request->header("HTTP/1.1 200 OK\r\n");
    request->header("Server: peer/1\r\n");
    EXPECT_EQ(info->getServerHeader(), "");
    request->header("\r\n");
    EXPECT_EQ(info->getServerHeader(), "peer/1");
}

TEST_F(NetRequestDataTest, AResponseIsCompleteOnceItsHeaderBlockHasEnded) {
    EXPECT_FALSE(request->isResponseComplete());
    request->header("HTTP/1.1 200 OK\r\n");
    EXPECT_FALSE(request->isResponseComplete());
    request->header("\n");
    EXPECT_FALSE(request->isResponseComplete());
    request->header("\r\n");
    EXPECT_TRUE(request->isResponseComplete());
    request->header("X-Trailer: t\r\n");
    EXPECT_TRUE(request->isResponseComplete());
    EXPECT_EQ(request->getResponseHeaderMap().count("x-trailer"), 0u);
    request->resetForPerform();
    EXPECT_FALSE(request->isResponseComplete());
    request->setURL("ftp://h/");
    EXPECT_TRUE(request->isResponseComplete());
}

TEST_F(NetRequestDataTest, AStatusLineThatIsNotUTF8BeginsAnotherResponse) {
    for (const char* first :
         {"HTTP/1.1 100 Continue\r\n", "HTTP/1.1 302 Found\r\n", "HTTP/1.1 200 D\xe9j\xe0\r\n"}) {
        request->resetForPerform();
        request->header(first);
        request->header("Location: /b\r\n");
        request->header("\r\n");
        EXPECT_TRUE(request->isResponseComplete());
        request->header("HTTP/1.1 200 D\xe9j\xe0\r\n");
        EXPECT_FALSE(request->isResponseComplete()) << first;
        EXPECT_THAT(request->getResponseHeaderMap(), IsEmpty()) << first;
        request->header("X-A: b\r\n");
        EXPECT_FALSE(request->isResponseComplete()) << first;
        request->header("\r\n");
        EXPECT_TRUE(request->isResponseComplete()) << first;
        EXPECT_FALSE(request->hasDroppedHeaderLine());
        request->write("x");
        EXPECT_THAT(request->getResponseHeaderMap(), ElementsAre(Pair(String("x-a"), String("b"))));
    }
    EXPECT_THAT(sink->statuses, ElementsAre(0, 0, 0));
    EXPECT_THAT(log.lines(),
                testing::Contains("E: Error parsing HTTP status line - ignoring (statusLine: '', method: "
                                  "'', URL: 'http://h/a') [Invalid HTTP status line: '']")
                    .Times(3));
}

TEST_F(NetRequestDataTest, ADroppedHeaderLineMakesItsResponseIncomplete) {
    request->header("HTTP/1.1 200 OK\r\n");
    request->header("X-Bad: \xff\r\n");
    EXPECT_TRUE(request->hasDroppedHeaderLine());
    request->header("\r\n");
    EXPECT_FALSE(request->isResponseComplete());
    request->header("HTTP/1.1 200 OK\r\n");
    EXPECT_FALSE(request->hasDroppedHeaderLine());
    request->header("\r\n");
    EXPECT_TRUE(request->isResponseComplete()) << "another response";
    request->header("X-Trailer: \xff\r\n");
    EXPECT_TRUE(request->isResponseComplete()) << "a trailer is no part of the header block";
    for (const char* line : {"no colon\r\n", ": no name\r\n", " folded\r\n", "\xff"}) {
        request->resetForPerform();
        EXPECT_FALSE(request->hasDroppedHeaderLine());
        request->header("HTTP/1.1 200 OK\r\n");
        request->header(line);
        request->header("\r\n");
        EXPECT_TRUE(request->hasDroppedHeaderLine()) << line;
        EXPECT_FALSE(request->isResponseComplete()) << line;
    }
    request->setURL("ftp://h/");
    request->header("250 \xff\r\n");
    EXPECT_FALSE(request->hasDroppedHeaderLine());
    EXPECT_TRUE(request->isResponseComplete());
}

// ---- sources and sinks -----------------------------------------------------------------------------------

TEST_F(NetRequestDataTest, AStreamSourceForwardsToItsStream) {
    const P<zet::CMemoryInStream> stream = new zet::CMemoryInStream("abcdef", 6);
    const P<CNetRequest::CStreamDataSource> adapter = new CNetRequest::CStreamDataSource(stream);
    EXPECT_EQ(adapter->getSize(), 6);
    EXPECT_EQ(adapter->read(memory, 4, {}), 4);
    EXPECT_EQ(std::string(memory, 4), "abcd");
    EXPECT_EQ(adapter->getPosition(), 4);
    adapter->seek(1);
    EXPECT_EQ(stream->getPosition(), 1);
}

TEST_F(NetRequestDataTest, AStreamSinkForwardsToItsStream) {
    const P<zet::CBufferStream> stream = new zet::CBufferStream;
    request->setReceiveDataStream(stream);
    EXPECT_FALSE(request->usesDefaultReceiveBuffer());
    request->header("HTTP/1.1 200 OK\r\n");
    EXPECT_EQ(request->write("abc"), 3u);
    EXPECT_EQ(request->write("d"), 1u);
    EXPECT_EQ(stream->getSize(), 4);
    EXPECT_EQ(std::memcmp(stream->getBuffer()->getData(), "abcd", 4), 0);
}

TEST_F(NetRequestDataTest, ANullStreamMeansNoSinkAndNoSource) {
    request->setReceiveDataStream(nullptr);
    EXPECT_EQ(request->write("abc"), 3u);
    EXPECT_THAT(log.lines(), IsEmpty());
    request->setSendDataStream(nullptr);
    EXPECT_EQ(read(1, 8), 0u);
    EXPECT_EQ(request->seekHandler(0, SEEK_SET), CURL_SEEKFUNC_FAIL);
}

TEST_F(NetRequestDataTest, TheDefaultSinkFillsTheDefaultBuffer) {
    EXPECT_FALSE(request->usesDefaultReceiveBuffer());
    request->setDefaultReceiveDataStream();
    EXPECT_TRUE(request->usesDefaultReceiveBuffer());
    request->header("HTTP/1.1 200 OK\r\n");
    request->write("abc");
    request->write("de");
    EXPECT_EQ(bodyOf(*request), "abcde");
    request->resetForPerform();
    EXPECT_EQ(bodyOf(*request), "");
    request->write("x");
    EXPECT_EQ(bodyOf(*request), "x");
}

TEST_F(NetRequestDataTest, ABufferIsSentFromItsStart) {
    const P<TBuffer<unsigned char>> buffer = new TBuffer<unsigned char>;
    buffer->append(reinterpret_cast<const unsigned char*>("abc"), 3);
    request->setSendDataBuffer(buffer);
    EXPECT_EQ(read(1, 8), 3u);
    EXPECT_EQ(std::string(memory, 3), "abc");
    EXPECT_EQ(read(1, 8), 0u);
    EXPECT_EQ(request->seekHandler(1, SEEK_SET), CURL_SEEKFUNC_OK);
    EXPECT_EQ(read(1, 8), 2u);
}

TEST_F(NetRequestDataTest, ANullBufferIsRefused) {
    const auto error = thrownBy<vexil::CInvalidArgError>([&] { request->setSendDataBuffer(nullptr); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getPlace(), "CNetRequest::setSendDataBuffer");
    EXPECT_EQ(error->getMessage(), "buffer must not be null");
    EXPECT_EQ(read(1, 4), 4u) << "the former source is still there";
}

TEST_F(NetRequestDataTest, ATextIsSentAsUTF8WithoutTerminator) {
    request->setSendDataAsUTF8("gr\xc3\xbc\xc3\x9f");
    EXPECT_EQ(read(1, 64), 6u);
    EXPECT_EQ(std::string(memory, 6), "gr\xc3\xbc\xc3\x9f");
    EXPECT_EQ(read(1, 64), 0u);
}

TEST_F(NetRequestDataTest, ANewTransferRewindsASourceThatHasMoved) {
    request->resetForPerform();
    EXPECT_THAT(source->calls, IsEmpty());
    read(1, 4);
    request->resetForPerform();
    EXPECT_THAT(source->calls, ElementsAre("read 4", "seek 0"));
    EXPECT_EQ(source->position, 0);
}

TEST_F(NetRequestDataTest, ARestartableSinkIsRestartedByEveryNewTransfer) {
    struct Restartable : virtual vexil::CBase, CNetRequest::IRestartableDataSink {
        void write(const void*, int, int, const HeaderMap&) override {}
        void restart() override { ++count; }
        int count = 0;
    };
    const P<Restartable> restartable = new Restartable;
    request->setReceiveDataSink(restartable);
    EXPECT_EQ(restartable->count, 0);
    request->resetForPerform();
    request->resetForPerform();
    EXPECT_EQ(restartable->count, 2);
    request->setReceiveDataSink(sink);
    request->resetForPerform();
    EXPECT_EQ(restartable->count, 2);
}

TEST(NetRequestRestartTest, IsNotForASinkThatWasGivenUp) {
    struct Restartable : virtual vexil::CBase, CNetRequest::IRestartableDataSink {
        void write(const void*, int, int, const HeaderMap&) override {}
        void restart() override { ++restarts; }
        int restarts = 0;
    };
    const P<Restartable> sink = new Restartable;
    CNetRequest request;
    request.setReceiveDataSink(sink);
    request.resetForPerform();
    EXPECT_EQ(sink->restarts, 1);
    request.reset();
    request.resetForPerform();
    EXPECT_EQ(sink->restarts, 1) << "after reset()";
    request.setReceiveDataSink(sink);
    request.setDefaultReceiveDataStream();
    request.resetForPerform();
    EXPECT_EQ(sink->restarts, 1) << "after setDefaultReceiveDataStream()";
}

// ---- what goes away within its own call
// ---------------------------------------------------------------------

/// Calls a function in each of its members, and records whether it still lives afterwards.
class Leaving : public virtual vexil::CBase,
                public CNetRequest::IRestartableDataSink,
                public CNetRequest::IDataSource {
public:
    Leaving(int& alive, std::vector<std::string>& seen) : m_alive(alive), m_seen(seen) { ++m_alive; }
    ~Leaving() override { --m_alive; }

    void write(const void*, int, int, const HeaderMap&) override { leave("write"); }
    void restart() override { leave("restart"); }
    int read(void*, int, const HeaderMap&) override {
        leave("read");
        return 0;
    }
    int64 getSize() override {
        leave("getSize");
        return 0;
    }
    void seek(int64) override { leave("seek"); }
    int64 getPosition() override {
        leave("getPosition");
        return 1;
    }

    std::string leavesIn;
    std::function<void()> onLeave;

private:
    void leave(const char* name) {
        if (leavesIn != name) {
            return;
        }
        int& alive = m_alive;
        std::vector<std::string>& seen = m_seen;
        const auto call = std::exchange(onLeave, {});
        call();
        seen.push_back(std::string(name) + (alive > 0 ? ": there" : ": gone"));
    }

    int& m_alive;
    std::vector<std::string>& m_seen;
};

class NetRequestLeavingTest : public NetRequestDataTest {
protected:
    Leaving* make(const char* leavesIn, std::function<void()> onLeave) {
        auto* const object = new Leaving(alive, seen);
        object->leavesIn = leavesIn;
        object->onLeave = std::move(onLeave);
        return object;
    }

    int alive = 0;
    std::vector<std::string> seen;
};

TEST_F(NetRequestLeavingTest, ASinkMayReplaceItself) {
    request->setReceiveDataSink(make("write", [this] { request->setReceiveDataSink(sink); }));
    EXPECT_EQ(request->write("a"), 1u);
    EXPECT_EQ(request->write("b"), 1u);
    request->setReceiveDataSink(make("restart", [this] { request->setReceiveDataSink(sink); }));
    request->resetForPerform();
    EXPECT_THAT(seen, ElementsAre("write: there", "restart: there"));
    EXPECT_THAT(sink->blocks, ElementsAre("b"));
    EXPECT_EQ(alive, 0) << "it goes after its call";
}

TEST_F(NetRequestLeavingTest, ASourceMayReplaceItself) {
    const auto replace = [this] { request->setSendDataSource(source); };
    request->setSendDataSource(make("read", replace));
    EXPECT_EQ(read(1, 4), 0u);
    EXPECT_EQ(read(1, 4), 4u);
    request->setSendDataSource(make("seek", replace));
    EXPECT_EQ(request->seekHandler(0, SEEK_SET), CURL_SEEKFUNC_OK);
    request->setSendDataSource(make("getPosition", replace));
    EXPECT_EQ(request->seekHandler(0, SEEK_CUR), CURL_SEEKFUNC_OK);
    request->setSendDataSource(make("getSize", replace));
    EXPECT_EQ(request->seekHandler(0, SEEK_END), CURL_SEEKFUNC_OK);
    request->setSendDataSource(make("getPosition", replace));
    request->resetForPerform();
    request->setSendDataSource(make("seek", replace));
    request->resetForPerform();
    EXPECT_THAT(seen, ElementsAre("read: there", "seek: there", "getPosition: there", "getSize: there",
                                  "getPosition: there", "seek: there"));
    EXPECT_EQ(alive, 0) << "it goes after its call";
}

}  // namespace
