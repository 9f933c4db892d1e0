#include "tests/net/VerboseLog.h"
#include "tests/support/ScriptedPeer.h"
#include "vexil/net/CURLError.h"
#include "zet/TimeFields.h"
#include "zet/URI.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using vexil::CNetRequest;
using vexil::P;
using vexil::String;
using vexil_test::describe;
using vexil_test::describeChildren;
using vexil_test::LogRequest;
using vexil_test::ScriptedPeer;
using zet::CXMLElement;

constexpr unsigned int whole = std::numeric_limits<unsigned int>::max();

std::vector<std::string> getNames(const CXMLElement& element) {
    std::vector<std::string> names;
    for (const auto& [name, value] : element.getAttributes().getEntries()) {
        names.push_back(name.toUTF8());
    }
    return names;
}

class NetRequestVerboseTest : public testing::Test {
protected:
    /// The element of one message as one line.
    std::string show(curl_infotype type, std::string_view bytes, unsigned int maxLength = whole) {
        return describe(*m_request->createVerboseXmlElement(makeMessage(type, bytes), maxLength));
    }

    static CNetRequest::CVerboseLogMessage makeMessage(curl_infotype type, std::string_view bytes) {
        CNetRequest::CVerboseLogMessage message;
        message.time = zet::CTime::fromMicroseconds(1583219109123456);
        message.type = type;
        message.data.append(bytes.data(), static_cast<int>(bytes.size()));
        return message;
    }

    std::vector<std::string> log(unsigned int maxLength = whole) {
        return describeChildren(*m_request->getVerboseOutput(maxLength));
    }

    P<LogRequest> m_request = new LogRequest;
};

// ---- one element per message -----------------------------------------------------------------------------

TEST_F(NetRequestVerboseTest, NamesElementsByKindOfMessage) {
    m_request->setVerboseSettings(vexil::VerboseLogBoth, vexil::VerboseLogBoth);

    EXPECT_EQ(show(CURLINFO_TEXT, "a b"), "info|a b");
    EXPECT_EQ(show(CURLINFO_HEADER_IN, "a b"), "receive type=header|a b");
    EXPECT_EQ(show(CURLINFO_HEADER_OUT, "a b"), "send type=header|a b");
    EXPECT_EQ(show(CURLINFO_DATA_IN, "a b"), "receive type=data bytes=3|a%20b");
    EXPECT_EQ(show(CURLINFO_DATA_OUT, "a b"), "send type=data bytes=3|a%20b");
    EXPECT_EQ(show(CURLINFO_SSL_DATA_IN, "a b"), "receive type=ssl_data bytes=3|a%20b");
    EXPECT_EQ(show(CURLINFO_SSL_DATA_OUT, "a b"), "send type=ssl_data bytes=3|a%20b");
    EXPECT_EQ(show(CURLINFO_END, "a b"), "unknown type=7 bytes=3|a%20b");
}

TEST_F(NetRequestVerboseTest, ShowsDataByDirectionAsSet) {
    struct Case {
        vexil::VerboseLogData setting;
        bool sent;
        bool received;
    };
    const Case cases[] = {{vexil::VerboseLogNone, false, false},
                          {vexil::VerboseLogSent, true, false},
                          {vexil::VerboseLogReceived, false, true},
                          {vexil::VerboseLogBoth, true, true}};
    const auto text = [](bool isShown) { return isShown ? "x" : "~stripped~"; };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.setting);
        m_request->setVerboseSettings(c.setting, vexil::VerboseLogNone);
        EXPECT_EQ(show(CURLINFO_DATA_IN, "x"), std::string("receive type=data bytes=1|") + text(c.received));
        EXPECT_EQ(show(CURLINFO_DATA_OUT, "x"), std::string("send type=data bytes=1|") + text(c.sent));
        EXPECT_EQ(show(CURLINFO_SSL_DATA_IN, "x"), "receive type=ssl_data bytes=1|~stripped~");
        EXPECT_EQ(show(CURLINFO_SSL_DATA_OUT, "x"), "send type=ssl_data bytes=1|~stripped~");

        m_request->setVerboseSettings(vexil::VerboseLogNone, c.setting);
        EXPECT_EQ(show(CURLINFO_SSL_DATA_IN, "x"),
                  std::string("receive type=ssl_data bytes=1|") + text(c.received));
        EXPECT_EQ(show(CURLINFO_SSL_DATA_OUT, "x"),
                  std::string("send type=ssl_data bytes=1|") + text(c.sent));
        EXPECT_EQ(show(CURLINFO_DATA_IN, "x"), "receive type=data bytes=1|~stripped~");
        EXPECT_EQ(show(CURLINFO_DATA_OUT, "x"), "send type=data bytes=1|~stripped~");
    }
}

TEST_F(NetRequestVerboseTest, ShowsInfoHeadersAndUnknownWhateverIsSet) {
    m_request->setVerboseSettings(vexil::VerboseLogNone, vexil::VerboseLogNone);

    EXPECT_EQ(show(CURLINFO_TEXT, "x"), "info|x");
    EXPECT_EQ(show(CURLINFO_HEADER_IN, "x"), "receive type=header|x");
    EXPECT_EQ(show(CURLINFO_HEADER_OUT, "x"), "send type=header|x");
    EXPECT_EQ(show(CURLINFO_END, "x"), "unknown type=7 bytes=1|x");
}

TEST_F(NetRequestVerboseTest, OrdersAttributesAndTellsTimeInMilliseconds) {
    const P<CXMLElement> data = m_request->createVerboseXmlElement(makeMessage(CURLINFO_DATA_IN, "x"), whole);
    EXPECT_THAT(getNames(*data), ElementsAre("type", "logTime", "bytes"));
    EXPECT_EQ(data->getAttributes().lookup("logTime").toUTF8(), "2020-03-03T07:05:09.123Z");

    EXPECT_THAT(getNames(*m_request->createVerboseXmlElement(makeMessage(CURLINFO_TEXT, "x"), whole)),
                ElementsAre("logTime"));
    EXPECT_THAT(getNames(*m_request->createVerboseXmlElement(makeMessage(CURLINFO_HEADER_IN, "x"), whole)),
                ElementsAre("type", "logTime"));
}

TEST_F(NetRequestVerboseTest, CutsBeforeItEscapes) {
    m_request->setVerboseSettings(vexil::VerboseLogBoth, vexil::VerboseLogNone);

    EXPECT_EQ(show(CURLINFO_DATA_IN, "    ", 2), "receive type=data bytes=4|%20%20...");
    EXPECT_EQ(show(CURLINFO_DATA_IN, "    ", 4), "receive type=data bytes=4|%20%20%20%20");
    EXPECT_EQ(show(CURLINFO_DATA_IN, "ab", 0), "receive type=data bytes=2|...");
    EXPECT_EQ(show(CURLINFO_TEXT, "abc", 2), "info|ab...");
    EXPECT_EQ(show(CURLINFO_TEXT, "abc", 3), "info|abc");
    EXPECT_EQ(show(CURLINFO_TEXT, "", 0), "info|");
}

TEST_F(NetRequestVerboseTest, TellsThatHiddenDataIsLongerThanTheLimit) {
    m_request->setVerboseSettings(vexil::VerboseLogNone, vexil::VerboseLogNone);

    EXPECT_EQ(show(CURLINFO_DATA_IN, "abc", 2), "receive type=data bytes=3|~stripped~...");
    EXPECT_EQ(show(CURLINFO_DATA_IN, "abc", 3), "receive type=data bytes=3|~stripped~");
}

TEST_F(NetRequestVerboseTest, EscapesEverythingButUnreservedInData) {
    m_request->setVerboseSettings(vexil::VerboseLogBoth, vexil::VerboseLogNone);

    EXPECT_EQ(show(CURLINFO_DATA_IN, "aZ09-._~ /+%\n"), "receive type=data bytes=13|aZ09-._~%20%2F%2B%25%0A");
    EXPECT_EQ(show(CURLINFO_DATA_IN, std::string("\0\xff", 2)), "receive type=data bytes=2|%00%C3%BF");
}

TEST_F(NetRequestVerboseTest, ReadsTextAsLatin1) {
    const std::string bytes("\x80\xe4\xff\0x", 5);
    EXPECT_EQ(m_request->createVerboseXmlElement(makeMessage(CURLINFO_TEXT, bytes), whole)->getText(),
              String(std::wstring(L"\x80\xe4\xff\0x", 5)));
}

TEST_F(NetRequestVerboseTest, TrimsOnlyTheRightEnd) {
    EXPECT_EQ(show(CURLINFO_TEXT, "  a  b \t\r\n"), "info|  a  b");
    EXPECT_EQ(show(CURLINFO_TEXT, " \r\n"), "info|");
    EXPECT_EQ(show(CURLINFO_HEADER_IN, "Server: x\r\n"), "receive type=header|Server: x");
    // A text that was cut ends in dots.
    EXPECT_EQ(show(CURLINFO_TEXT, "a   b", 3), "info|a  ...");
}

TEST_F(NetRequestVerboseTest, StripsTheValueOfTheAuthorizationHeader) {
    for (const curl_infotype type : {CURLINFO_HEADER_IN, CURLINFO_HEADER_OUT}) {
        const std::string start = type == CURLINFO_HEADER_IN ? "receive type=header|" : "send type=header|";
        EXPECT_EQ(show(type, "GET / HTTP/1.1\r\nAuthorization: AWS key:value\r\nAccept: */*\r\n\r\n"),
                  start + "GET / HTTP/1.1\r\nAuthorization: ~stripped~\nAccept: */*");
    }
}

TEST_F(NetRequestVerboseTest, StripsBehindTheTrimSoThatALastCharacterSurvives) {
    EXPECT_EQ(show(CURLINFO_HEADER_OUT, "Authorization: secret\r\n"),
              "send type=header|Authorization: ~stripped~t");
    EXPECT_EQ(show(CURLINFO_HEADER_OUT, "Authorization: secret"),
              "send type=header|Authorization: ~stripped~t");
    EXPECT_EQ(show(CURLINFO_HEADER_OUT, "Authorization: s"), "send type=header|Authorization: s");
    EXPECT_EQ(show(CURLINFO_HEADER_OUT, "Authorization: secret\r\n", 17),
              "send type=header|Authorization: ~stripped~.");
}

TEST_F(NetRequestVerboseTest, StripsTheFirstAuthorizationOnlyAndOnlyInThisSpelling) {
    EXPECT_EQ(show(CURLINFO_HEADER_OUT, "Authorization: a\nAuthorization: b\nx"),
              "send type=header|Authorization: ~stripped~\nAuthorization: b\nx");
    EXPECT_EQ(show(CURLINFO_HEADER_OUT, "Proxy-Authorization: a\nAuthorization: b\nx"),
              "send type=header|Proxy-Authorization: ~stripped~\nAuthorization: b\nx");
    EXPECT_EQ(show(CURLINFO_HEADER_OUT, "authorization: a\nx"), "send type=header|authorization: a\nx");
    EXPECT_EQ(show(CURLINFO_HEADER_OUT, "Authorization:a\nx"), "send type=header|Authorization:a\nx");
    EXPECT_EQ(show(CURLINFO_HEADER_OUT, "Authorization: \nx"), "send type=header|Authorization: \nx");
    EXPECT_EQ(show(CURLINFO_HEADER_OUT, "Authorization: "), "send type=header|Authorization:");
}

TEST_F(NetRequestVerboseTest, StripsInHeadersOnly) {
    m_request->setVerboseSettings(vexil::VerboseLogBoth, vexil::VerboseLogNone);

    EXPECT_EQ(show(CURLINFO_TEXT, "Authorization: a\nx"), "info|Authorization: a\nx");
    EXPECT_EQ(show(CURLINFO_DATA_OUT, "Authorization: a"), "send type=data bytes=16|Authorization%3A%20a");
}

// ---- recording -------------------------------------------------------------------------------------------

TEST_F(NetRequestVerboseTest, RecordsInOrderUnderARootWithMethodAndURL) {
    m_request->setURL("http://example.com/a b");
    m_request->log(CURLINFO_TEXT, "one");
    m_request->log(CURLINFO_HEADER_OUT, "two");
    m_request->log(CURLINFO_TEXT, "three");

    const P<CXMLElement> root = m_request->getVerboseOutput(whole);
    EXPECT_EQ(describe(*root), "NetRequest httpMethod=GET url=http://example.com/a b|");
    EXPECT_THAT(getNames(*root), ElementsAre("httpMethod", "url"));
    EXPECT_THAT(describeChildren(*root), ElementsAre("info|one", "send type=header|two", "info|three"));
}

TEST_F(NetRequestVerboseTest, NamesTheMethodAsTheRequestDoes) {
    const auto getMethod = [&] {
        return m_request->getVerboseOutput(0)->getAttributes().lookup("httpMethod").toUTF8();
    };
    EXPECT_EQ(getMethod(), "GET");
    m_request->setUpload(true);
    EXPECT_EQ(getMethod(), "PUT");
    m_request->setHTTPMethod("DELETE");
    EXPECT_EQ(getMethod(), "DELETE");
}

TEST_F(NetRequestVerboseTest, CopiesTheBytesAndTheTime) {
    char bytes[] = "abc";
    const zet::CTime before = zet::CTime::now();
    m_request->onLogDebugMessage(m_request->getHandle(), CURLINFO_TEXT, bytes, 3);
    bytes[0] = 'x';
    EXPECT_THAT(log(), ElementsAre("info|abc"));

    const std::string time =
        m_request->getVerboseOutput(0)->getChildren().front()->getAttributes().lookup("logTime").toUTF8();
    EXPECT_TRUE(std::regex_match(time, std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z)"))) << time;
    EXPECT_GE(time, zet::CTimeFields(before).toISODateTime(3).toUTF8());
    EXPECT_LE(time, zet::CTimeFields(zet::CTime::now()).toISODateTime(3).toUTF8());
}

TEST_F(NetRequestVerboseTest, IgnoresOtherHandlesAndANullRequest) {
    const P<CNetRequest> other = new CNetRequest;
    char bytes[] = "abc";
    EXPECT_EQ(
        CNetRequest::_curlDebugFunctionCallback(other->getHandle(), CURLINFO_TEXT, bytes, 3, m_request.get()),
        0);
    EXPECT_EQ(
        CNetRequest::_curlDebugFunctionCallback(m_request->getHandle(), CURLINFO_TEXT, bytes, 3, nullptr), 0);
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_EQ(CNetRequest::_curlDebugFunctionCallback(m_request->getHandle(), CURLINFO_TEXT, bytes, 3,
                                                      static_cast<CNetRequest*>(m_request.get())),
              0);
    EXPECT_THAT(log(), ElementsAre("info|abc"));
}

TEST_F(NetRequestVerboseTest, IsOffAtFirst) {
    const P<CNetRequest> request = new CNetRequest;
    EXPECT_FALSE(request->isVerboseEnabled());
    EXPECT_FALSE(request->getVerboseOutput(whole));
    EXPECT_FALSE(request->getRedactedVerboseOutput(whole));
}

TEST_F(NetRequestVerboseTest, GivesAndRecordsNothingWhileOffButKeepsWhatItHas) {
    m_request->log(CURLINFO_TEXT, "kept");
    m_request->setVerbose(false);
    EXPECT_FALSE(m_request->isVerboseEnabled());
    m_request->log(CURLINFO_TEXT, "not recorded");
    EXPECT_FALSE(m_request->getVerboseOutput(whole));
    EXPECT_FALSE(m_request->getRedactedVerboseOutput(whole));

    m_request->setVerbose(true);
    EXPECT_TRUE(m_request->isVerboseEnabled());
    EXPECT_THAT(log(), ElementsAre("info|kept"));
}

TEST_F(NetRequestVerboseTest, BeginsAnewWithEachTransferAndReset) {
    m_request->log(CURLINFO_TEXT, "one");
    m_request->resetForPerform();
    EXPECT_THAT(log(), IsEmpty());

    m_request->log(CURLINFO_TEXT, "two");
    m_request->setAsyncInfo(false, CURLE_OK);
    EXPECT_THAT(log(), IsEmpty());

    m_request->log(CURLINFO_TEXT, "three");
    m_request->reset();
    EXPECT_TRUE(m_request->isVerboseEnabled());
    EXPECT_THAT(log(), IsEmpty());
}

// ---- the limit -------------------------------------------------------------------------------------------

TEST_F(NetRequestVerboseTest, RecordsAllWithoutALimit) {
    m_request->setVerboseSettings(vexil::VerboseLogNone, vexil::VerboseLogNone);
    m_request->log(CURLINFO_DATA_IN, "abc");
    EXPECT_THAT(log(), ElementsAre("receive type=data bytes=3|~stripped~"));
    // What is shown is decided when the log is created.
    m_request->setVerboseSettings(vexil::VerboseLogBoth, vexil::VerboseLogNone);
    EXPECT_THAT(log(), ElementsAre("receive type=data bytes=3|abc"));
}

TEST_F(NetRequestVerboseTest, CountsOnlyWhatIsNotToBeShown) {
    m_request->setVerboseRecordLimit(1000000);
    m_request->setVerboseSettings(vexil::VerboseLogSent, vexil::VerboseLogNone);
    for (int i = 0; i < 1000; ++i) {
        m_request->log(CURLINFO_SSL_DATA_IN, "12345");
        m_request->log(CURLINFO_DATA_IN, std::string(16384, 'x'));
    }
    m_request->log(CURLINFO_TEXT, "between");
    m_request->log(CURLINFO_DATA_IN, "abc");
    m_request->log(CURLINFO_DATA_OUT, "abc");
    m_request->log(CURLINFO_DATA_OUT, "def");
    EXPECT_THAT(log(100), ElementsAre("receive type=ssl_data bytes=5000|~stripped~...",
                                      "receive type=data bytes=16384000|~stripped~...", "info|between",
                                      "receive type=data bytes=3|~stripped~", "send type=data bytes=3|abc",
                                      "send type=data bytes=3|def"));
    EXPECT_EQ(m_request->getVerboseLeftOutBytes(), 0);
    // Nothing is kept that could be shown.
    m_request->setVerboseSettings(vexil::VerboseLogBoth, vexil::VerboseLogBoth);
    EXPECT_THAT(log(), Contains("receive type=data bytes=16384000|..."));
    EXPECT_THAT(log(), Not(Contains(HasSubstr("x"))));
}

TEST_F(NetRequestVerboseTest, LeavesOutDataAboveTheLimit) {
    m_request->setVerboseRecordLimit(500);
    m_request->setVerboseSettings(vexil::VerboseLogBoth, vexil::VerboseLogBoth);
    m_request->log(CURLINFO_HEADER_OUT, "GET / HTTP/1.1\r\n\r\n");
    for (int i = 0; i < 100; ++i) {
        m_request->log(CURLINFO_SSL_DATA_IN, "12345");
        m_request->log(CURLINFO_DATA_IN, std::string(150, 'x'));
    }
    m_request->log(CURLINFO_TEXT, "left intact");
    const std::string block = "receive type=data bytes=150|" + std::string(150, 'x');
    EXPECT_THAT(log(), ElementsAre("send type=header|GET / HTTP/1.1", "receive type=ssl_data bytes=5|12345",
                                   block, "receive type=ssl_data bytes=5|12345", block, "info|left intact"));
    EXPECT_EQ(m_request->getVerboseLeftOutBytes(), 98 * 150);
    EXPECT_EQ(describe(*m_request->getVerboseOutput(0)),
              "NetRequest httpMethod=GET url= bytesLeftOut=14700|");
    EXPECT_EQ(describe(*m_request->getRedactedVerboseOutput(0)),
              "NetRequest httpMethod=GET url= bytesLeftOut=14700|");

    m_request->resetForPerform();
    EXPECT_EQ(m_request->getVerboseLeftOutBytes(), 0);
    m_request->log(CURLINFO_DATA_IN, "abc");
    EXPECT_THAT(log(), ElementsAre("receive type=data bytes=3|abc"));
}

TEST_F(NetRequestVerboseTest, EndsTheRecordWhenHeadersReachTheLimit) {
    m_request->setVerboseRecordLimit(1000);
    m_request->setVerboseSettings(vexil::VerboseLogBoth, vexil::VerboseLogBoth);
    for (int i = 0; i < 100000; ++i) {
        m_request->log(CURLINFO_HEADER_IN, "220-a line of an endless reply\r\n");
    }
    m_request->log(CURLINFO_DATA_OUT, "abc");
    m_request->log(CURLINFO_TEXT, "left intact");
    EXPECT_THAT(log(), testing::SizeIs(8));
    EXPECT_EQ(m_request->getVerboseLeftOutBytes(), 99992 * 32 + 3 + 11);
}

TEST_F(NetRequestVerboseTest, KeepsTheEndOfAHeadThatComesAsData) {
    m_request->setVerboseRecordLimit(1000);
    m_request->setVerboseSettings(vexil::VerboseLogReceived, vexil::VerboseLogNone);
    m_request->log(CURLINFO_HEADER_OUT, "PUT / HTTP/1.1\r\nReferer: http://user:pass");
    m_request->log(CURLINFO_DATA_OUT, "word@host/\r\nAccept: */*\r\n");
    m_request->log(CURLINFO_DATA_OUT, "\r\nbo");
    m_request->log(CURLINFO_DATA_OUT, "dy");
    m_request->log(CURLINFO_DATA_OUT, "body");
    // Only the text after it shows whether this is a login or a host.
    EXPECT_THAT(describeChildren(*m_request->getRedactedVerboseOutput(whole)),
                ElementsAre("send type=header|PUT / HTTP/1.1\r\nReferer: http://~stripped~",
                            "send type=data bytes=25|~stripped~", "send type=data bytes=4|~stripped~",
                            "send type=data bytes=6|~stripped~"));
}

TEST_F(NetRequestVerboseTest, KeepsTheLimitPastReset) {
    m_request->setVerboseRecordLimit(0);
    m_request->reset();
    m_request->log(CURLINFO_TEXT, "abc");
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_EQ(m_request->getVerboseLeftOutBytes(), 3);
    m_request->setVerboseRecordLimit(-1);
    m_request->log(CURLINFO_TEXT, "abc");
    EXPECT_THAT(log(), ElementsAre("info|abc"));
    EXPECT_THROW(m_request->setVerboseRecordLimit(-2), vexil::CInvalidArgError);
}

// ---- the automatic setting -------------------------------------------------------------------------------

TEST_F(NetRequestVerboseTest, DecidesForBothUnlessItUploads) {
    m_request->resetForPerform();
    EXPECT_EQ(show(CURLINFO_DATA_OUT, "x"), "send type=data bytes=1|x");
    EXPECT_EQ(show(CURLINFO_DATA_IN, "x"), "receive type=data bytes=1|x");
    EXPECT_EQ(show(CURLINFO_SSL_DATA_IN, "x"), "receive type=ssl_data bytes=1|~stripped~");
    EXPECT_EQ(show(CURLINFO_SSL_DATA_OUT, "x"), "send type=ssl_data bytes=1|~stripped~");
}

TEST_F(NetRequestVerboseTest, DecidesForReceivedWhenItUploads) {
    const auto expectReceivedOnly = [&] {
        m_request->resetForPerform();
        EXPECT_EQ(show(CURLINFO_DATA_OUT, "x"), "send type=data bytes=1|~stripped~");
        EXPECT_EQ(show(CURLINFO_DATA_IN, "x"), "receive type=data bytes=1|x");
    };
    m_request->setHTTPMethod("PUT");
    expectReceivedOnly();

    m_request = new LogRequest;
    m_request->setUpload(true);
    expectReceivedOnly();
}

TEST_F(NetRequestVerboseTest, DecidesOnce) {
    m_request->setHTTPMethod("PUT");
    m_request->resetForPerform();
    m_request->setHTTPMethod("GET");
    m_request->resetForPerform();
    EXPECT_EQ(show(CURLINFO_DATA_OUT, "x"), "send type=data bytes=1|~stripped~");

    m_request->setVerboseSettings(vexil::VerboseLogAutomatic, vexil::VerboseLogNone);
    m_request->resetForPerform();
    EXPECT_EQ(show(CURLINFO_DATA_OUT, "x"), "send type=data bytes=1|x");
}

TEST_F(NetRequestVerboseTest, DecidesInAResetByTheMethodThatItClears) {
    m_request->setHTTPMethod("PUT");
    m_request->reset();
    EXPECT_EQ(show(CURLINFO_DATA_OUT, "x"), "send type=data bytes=1|~stripped~");
}

TEST_F(NetRequestVerboseTest, DecidesForDataOnly) {
    m_request->setVerboseSettings(vexil::VerboseLogBoth, vexil::VerboseLogAutomatic);
    m_request->resetForPerform();
    EXPECT_EQ(show(CURLINFO_SSL_DATA_IN, "x"), "receive type=ssl_data bytes=1|~stripped~");
    EXPECT_EQ(show(CURLINFO_SSL_DATA_OUT, "x"), "send type=ssl_data bytes=1|~stripped~");
}

TEST_F(NetRequestVerboseTest, KeepsSettingsPastTransfersAndReset) {
    m_request->setVerboseSettings(vexil::VerboseLogSent, vexil::VerboseLogReceived);
    m_request->resetForPerform();
    m_request->reset();
    EXPECT_EQ(show(CURLINFO_DATA_OUT, "x"), "send type=data bytes=1|x");
    EXPECT_EQ(show(CURLINFO_DATA_IN, "x"), "receive type=data bytes=1|~stripped~");
    EXPECT_EQ(show(CURLINFO_SSL_DATA_IN, "x"), "receive type=ssl_data bytes=1|x");
    EXPECT_EQ(show(CURLINFO_SSL_DATA_OUT, "x"), "send type=ssl_data bytes=1|~stripped~");
}

// ---- transfers -------------------------------------------------------------------------------------------

class NetRequestVerboseWireTest : public NetRequestVerboseTest {
protected:
    void TearDown() override {
        EXPECT_TRUE(m_peer.waitUntilIdle());
        EXPECT_THAT(m_peer.failures(), IsEmpty());
    }

    ScriptedPeer m_peer;
};

TEST_F(NetRequestVerboseWireTest, ALimitMayBeSetBeforeTheLogIsOn) {
    const P<CNetRequest> request = new CNetRequest;
    EXPECT_EQ(request->getVerboseLeftOutBytes(), 0);
    request->setVerboseRecordLimit(0);
    request->setVerbose(true);
    request->setURL(String::fromUTF8(m_peer.url("/x")));
    m_peer.onConnection().expectHead().reply("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc");
    request->perform();
    EXPECT_THAT(describeChildren(*request->getVerboseOutput(whole)), IsEmpty());
    EXPECT_GT(request->getVerboseLeftOutBytes(), 3);
}

TEST_F(NetRequestVerboseWireTest, ShowsTheExchange) {
    m_peer.onConnection().expectHead().reply("HTTP/1.1 200 OK\r\nContent-Length: 3\r\nX-A: b\r\n\r\na b");
    m_request->setURL(String::fromUTF8(m_peer.url("/x")));
    const P<vexil::CNetHeaders> headers = new vexil::CNetHeaders;
    headers->add("Authorization", "AWS key:value");
    m_request->setCustomHTTPHeaders(headers);
    m_request->perform();

    const std::string host = "127.0.0.1:" + std::to_string(m_peer.port());
    const std::vector<std::string> lines = log();
    EXPECT_THAT(lines, Contains("send type=header|GET /x HTTP/1.1\r\nHost: " + host +
                                "\r\nAccept: */*\r\nAuthorization: ~stripped~e"));
    EXPECT_THAT(lines, Contains("receive type=header|HTTP/1.1 200 OK"));
    EXPECT_THAT(lines, Contains("receive type=header|X-A: b"));
    EXPECT_THAT(lines, Contains("receive type=data bytes=3|a%20b"));
    EXPECT_THAT(lines, Contains(StartsWith("info|")));
}

TEST_F(NetRequestVerboseWireTest, ShowsTheLastTransferOnly) {
    m_peer.setDefaultReply("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    m_request->setURL(String::fromUTF8(m_peer.url("/first")));
    m_request->perform();
    m_request->setURL(String::fromUTF8(m_peer.url("/second")));
    m_request->perform();

    EXPECT_THAT(log(), Not(Contains(HasSubstr("/first"))));
    EXPECT_THAT(log(), Contains(StartsWith("send type=header|GET /second ")));
}

TEST_F(NetRequestVerboseWireTest, CutsEveryBlockOfALargeDownload) {
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 1048576\r\n\r\n";
    m_peer.onConnection().expectHead().reply(head).sendPattern(1048576);
    m_request->setVerboseSettings(vexil::VerboseLogBoth, vexil::VerboseLogNone);
    m_request->setURL(String::fromUTF8(m_peer.url()));
    m_request->perform();

    vexil::int64 bytes = 0;
    const P<CXMLElement> root = m_request->getVerboseOutput(100);
    for (const P<CXMLElement>& child : root->getChildren()) {
        if (!(child->getAttributes().lookup("type") == "data")) {
            continue;
        }
        EXPECT_EQ(child->getName(), "receive");
        const vexil::int64 size = std::stoll(child->getAttributes().lookup("bytes").toUTF8());
        const std::string piece = ScriptedPeer::pattern(
            static_cast<std::uint64_t>(bytes), static_cast<std::size_t>(std::min<vexil::int64>(size, 100)));
        EXPECT_EQ(child->getText().toUTF8(),
                  zet::CURI::escape(String::fromLatin1(piece)).toUTF8() + (size > 100 ? "..." : ""));
        bytes += size;
    }
    EXPECT_EQ(bytes, 1048576);
}

TEST_F(NetRequestVerboseWireTest, CountsALargeDownloadThatIsNotShown) {
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 10000000\r\n\r\n";
    m_peer.onConnection().expectHead().reply(head).sendPattern(10000000);
    m_request->setVerboseSettings(vexil::VerboseLogNone, vexil::VerboseLogNone);
    m_request->setVerboseRecordLimit(100000);
    m_request->setReceiveDataSink(nullptr);
    m_request->setURL(String::fromUTF8(m_peer.url()));
    m_request->perform();
    // Newer versions of libcurl report a message after the first block.
    const std::string start = "receive type=data bytes=";
    const std::string end = "|~stripped~";
    int size = 0;
    for (const std::string& entry : log()) {
        if (entry.starts_with(start)) {
            EXPECT_TRUE(entry.ends_with(end)) << entry;
            size += std::stoi(entry.substr(start.size()));
        }
    }
    EXPECT_EQ(size, 10000000);
    EXPECT_THAT(log(), Contains(HasSubstr("left intact")));
}

TEST_F(NetRequestVerboseWireTest, HidesTheBodyOfAPutAndShowsItsAnswer) {
    m_peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\ndone");
    m_request->setURL(String::fromUTF8(m_peer.url()));
    m_request->setHTTPMethod("PUT");
    m_request->setSendDataAsUTF8("confidential");
    m_request->perform();

    EXPECT_THAT(log(), Contains("send type=data bytes=12|~stripped~"));
    EXPECT_THAT(log(), Contains("receive type=data bytes=4|done"));
    EXPECT_THAT(log(), Not(Contains(HasSubstr("confidential"))));
}

TEST_F(NetRequestVerboseWireTest, NeedsSetVerboseAgainAfterReset) {
    m_peer.setDefaultReply("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    m_request->reset();
    m_request->setURL(String::fromUTF8(m_peer.url()));
    m_request->perform();
    EXPECT_THAT(log(), IsEmpty());

    m_request->setVerbose(true);
    m_request->perform();
    EXPECT_THAT(log(), Contains("receive type=header|HTTP/1.1 200 OK"));
}

TEST_F(NetRequestVerboseWireTest, ShowsAFailedTransfer) {
    m_request->setURL(
        String::fromUTF8("http://127.0.0.1:" + std::to_string(ScriptedPeer::closedPort()) + "/"));
    EXPECT_THROW(m_request->perform(), vexil::CCURLError);
    EXPECT_THAT(log(), Contains(HasSubstr("onnect")));
}

}  // namespace
