// Errors without a transfer: the texts taken from responses, and the content of a CCURLError.
#include "tests/net/NetRequestTestSupport.h"

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;

std::string messageOfBody(std::string_view body, const HeaderMap& headers = {}) {
    return CNetRequest::getServerErrorMessageFromResponseData(
               reinterpret_cast<const unsigned char*>(body.data()), static_cast<int>(body.size()), headers)
        .toUTF8();
}

std::string messageOfHTML(std::string_view body) {
    return messageOfBody(body, {{"content-type", "text/html"}});
}

/// A step, with a body that shows it.
struct HTMLStep {
    const char* name;
    const char* body;
    const char* text;
};

class ServerMessageOfHTMLTest : public testing::TestWithParam<HTMLStep> {};

TEST_P(ServerMessageOfHTMLTest, IsPlainText) {
    EXPECT_EQ(messageOfHTML(GetParam().body), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Steps, ServerMessageOfHTMLTest,
    testing::Values(HTMLStep{"ATagBecomesABlank", "a<b>c", "a c"},
                    HTMLStep{"EachTagBecomesABlank", "a<b>c</b>d<br/>e", "a c d e"},
                    HTMLStep{"ATagMaySpanLines", "a<b\nc\n>d", "a d"},
                    HTMLStep{"ATagEndsAtItsFirstBracket", "a<b<c>d>e", "a d>e"},
                    HTMLStep{"ALooseClosingBracketStays", "a>b", "a>b"},
                    HTMLStep{"AnOpenTagTakesTheRest", "abc<def\nghi", "abc"},
                    HTMLStep{"AnOpenTagAtTheEndGoes", "abc<", "abc"},
                    HTMLStep{"EntitiesStay", "a&lt;b&amp;c", "a&lt;b&amp;c"},
                    HTMLStep{"LineEndsAreUnified", "a\r\nb", "a\nb"},
                    HTMLStep{"ALooseCarriageReturnStays", "a\rb", "a\rb"},
                    HTMLStep{"TabsBecomeBlanks", "a\tb", "a b"},
                    HTMLStep{"BothEndsAreTrimmed", " \r\n\t a \t\r\n ", "a"},
                    HTMLStep{"OneBlankIsLeftOfMany", "a     b", "a b"},
                    HTMLStep{"BlanksOfTagsCountToo", "a<i><b> <u>c", "a c"},
                    HTMLStep{"BlanksBeforeALineEndGo", "a  \nb", "a\nb"},
                    HTMLStep{"BlanksBehindALineEndGo", "a\n  b", "a\nb"},
                    HTMLStep{"EmptyLinesGo", "a\n\n\n\nb", "a\nb"},
                    HTMLStep{"LinesOfBlanksGo", "a\n \n \nb", "a\nb"},
                    HTMLStep{"LineEndsThenLineEndsWithReturns", "a\r\n\r\n\r\nb", "a\nb"},
                    HTMLStep{"NothingButTags", "<html><body></body></html>", ""}, HTMLStep{"Nothing", "", ""},
                    HTMLStep{"AWholePage",
                             "<html>\r\n<head><title>404 Not Found</title></head>\r\n<body>\r\n"
                             "<center><h1>404 Not Found</h1></center>\r\n<hr><center>nginx</center>\r\n"
                             "</body>\r\n</html>\r\n",
                             "404 Not Found\n404 Not Found\nnginx"}),
    [](const auto& step) { return std::string(step.param.name); });

TEST(ServerMessageTest, HTMLIsToldByItsContentType) {
    EXPECT_EQ(messageOfBody("a<b>c", {{"content-type", "text/html; charset=utf-8"}}), "a c");
    EXPECT_EQ(messageOfBody("a<b>c", {{"content-type", "text/plain"}}), "a<b>c");
    EXPECT_EQ(messageOfBody("a<b>c", {{"content-type", "Text/HTML"}}), "a<b>c");
    EXPECT_EQ(messageOfBody("a<b>c", {{"content-type", "x text/html"}}), "a<b>c");
    EXPECT_EQ(messageOfBody("a<b>c", {{"Content-Type", "text/html"}}), "a<b>c");
}

TEST(ServerMessageTest, HTMLIsToldByItsRootTagInLowerCase) {
    EXPECT_EQ(messageOfBody("x <html lang='en'>c"), "x c");
    EXPECT_EQ(messageOfBody("<html>c", {{"content-type", "text/plain"}}), "c");
    EXPECT_EQ(messageOfBody("<HTML>c"), "<HTML>c");
}

TEST(ServerMessageTest, OtherBodiesStayUntouched) {
    const std::string json = " {\r\n\t\"error\":  \"<b>\" }\n\n ";
    EXPECT_EQ(messageOfBody(json, {{"content-type", "application/json"}}), json);
    EXPECT_EQ(messageOfBody(json), json);
}

TEST(ServerMessageTest, TheFirst4096BytesCount) {
    const std::string body(10000, 'x');
    EXPECT_EQ(messageOfBody(body), std::string(4096, 'x'));
    EXPECT_EQ(messageOfBody(body.substr(0, 4096)), std::string(4096, 'x'));
    EXPECT_EQ(messageOfBody(body.substr(0, 4095)), std::string(4095, 'x'));
    EXPECT_EQ(messageOfBody(std::string(4096, 'x') + "<html>"), std::string(4096, 'x'));
}

TEST(ServerMessageTest, ATagThatIsCutTakesTheRest) {
    EXPECT_EQ(messageOfHTML("a" + std::string("<b") + std::string(5000, ' ') + ">c"), "a");
}

TEST(ServerMessageTest, BytesThatAreNotUTF8GiveNothing) {
    EXPECT_EQ(messageOfBody("abc\xff"), "");
    EXPECT_EQ(messageOfBody("gr\xfc\xdf", {{"content-type", "text/html; charset=iso-8859-1"}}), "");
    EXPECT_EQ(messageOfBody("gr\xc3\xbc\xc3\x9f"), "gr\xc3\xbc\xc3\x9f");
}

TEST(ServerMessageTest, ACutWithinACharacterGivesNothing) {
    EXPECT_EQ(messageOfBody(std::string(4095, 'x') + "\xc3\xbc"), "");
    EXPECT_EQ(messageOfBody(std::string(4094, 'x') + "\xc3\xbc" + "y"), std::string(4094, 'x') + "\xc3\xbc");
}

TEST(ServerMessageTest, NoDataGivesNothing) {
    EXPECT_EQ(CNetRequest::getServerErrorMessageFromResponseData(nullptr, 0, {}), "");
    EXPECT_EQ(CNetRequest::getServerErrorMessageFromResponseData(nullptr, -1, {}), "");
}

// ---- throwError ------------------------------------------------------------------------------------------

class NetRequestErrorTest : public testing::Test {
protected:
    CCURLError thrown(CURLcode code, const String& domain, int responseCode, const String& detail) {
        const auto error =
            thrownBy<CCURLError>([&] { request->throwError(code, domain, responseCode, detail); });
        return error ? *error : CCURLError(CURLE_OK, "", "", 0, "", "", "", "");
    }

    void fillDefaultBuffer(std::string_view body) { request->write(body); }

    LogCapture log;
    P<OpenRequest> request = new OpenRequest;
};

TEST_F(NetRequestErrorTest, CarriesEverythingOfAnHTTPAnswer) {
    request->setURL("http://h/a");
    request->setHTTPMethod("HEAD");
    request->header("HTTP/1.1 404 Not Found\r\n");
    request->header("Content-Type: text/html\r\n");
    fillDefaultBuffer("<p>gone</p>");
    const CCURLError error = thrown(CURLE_HTTP_RETURNED_ERROR, "http", 404, "because");
    EXPECT_EQ(error.getMessage(), "HTTP response code said error: because (response code: http 404)");
    EXPECT_EQ(error.getDomain(), "curl");
    EXPECT_EQ(error.getCode(), 22);
    EXPECT_EQ(error.getInnerError().get(), nullptr);
    EXPECT_THAT(propsOf(error),
                ElementsAre("responseCodeDomain=http", "responseCode=404", "serverMessage=gone",
                            "httpStatusLine=HTTP/1.1 404 Not Found", "url=http://h/a", "httpMethod=HEAD"));
    EXPECT_EQ(error.getResponseCode(), 404);
    EXPECT_EQ(error.getResponseCodeDomain(), "http");
    EXPECT_EQ(error.getServerMessage(), "gone");
    EXPECT_EQ(error.getHTTPStatusLine(), "HTTP/1.1 404 Not Found");
    EXPECT_EQ(error.getURL(), "http://h/a");
    EXPECT_EQ(error.getHTTPMethod(), "HEAD");
}

TEST_F(NetRequestErrorTest, ADefaultMethodIsNoProperty) {
    request->setURL("http://h/a");
    EXPECT_FALSE(thrown(CURLE_COULDNT_CONNECT, "http", 0, "").getProps().has("httpMethod"));
    request->setUpload(true);
    EXPECT_FALSE(thrown(CURLE_COULDNT_CONNECT, "http", 0, "").getProps().has("httpMethod"));
}

TEST_F(NetRequestErrorTest, OtherDomainsHaveNeitherStatusLineNorMethodNorBody) {
    request->setURL("http://h/a");
    request->setHTTPMethod("GET");
    request->header("HTTP/1.1 404 Not Found\r\n");
    fillDefaultBuffer("body");
    for (const char* domain : {"", "ftp", "smtp"}) {
        const CCURLError error = thrown(CURLE_RECV_ERROR, domain, -1, "x");
        EXPECT_EQ(error.getHTTPStatusLine(), "");
        EXPECT_EQ(error.getHTTPMethod(), "");
        EXPECT_EQ(error.getServerMessage(), "");
        EXPECT_EQ(error.getURL(), "http://h/a");
    }
}

TEST_F(NetRequestErrorTest, ABodyThatWentToAnotherSinkIsNoServerMessage) {
    request->setURL("http://h/a");
    request->setReceiveDataSink(new TestSink);
    request->header("HTTP/1.1 404 Not Found\r\n");
    request->write("body");
    EXPECT_EQ(thrown(CURLE_HTTP_RETURNED_ERROR, "http", 404, "").getServerMessage(), "");
}

TEST_F(NetRequestErrorTest, TheServerMessageOfMailIsTheLastReplyAsItCame) {
    request->setURL("smtp://h/");
    request->header("220 h\r\n");
    request->header("550 No such user\r\n");
    EXPECT_EQ(thrown(CURLE_SEND_ERROR, "smtp", 550, "x").getServerMessage(), "550 No such user\r\n");
    EXPECT_EQ(thrown(CURLE_SEND_ERROR, "smtp", 1, "x").getServerMessage(), "550 No such user\r\n");
    EXPECT_EQ(thrown(CURLE_SEND_ERROR, "smtp", 0, "x").getServerMessage(), "");
    EXPECT_EQ(thrown(CURLE_SEND_ERROR, "ftp", 550, "x").getServerMessage(), "");
}

TEST_F(NetRequestErrorTest, MailWithoutAReplyHasNoServerMessage) {
    request->setURL("smtp://h/");
    EXPECT_EQ(thrown(CURLE_SEND_ERROR, "smtp", 550, "x").getServerMessage(), "");
}

/// libcurl's message about a URL that it cannot use.
std::string libcurlsDetail(const char* url) {
    char detail[CURL_ERROR_SIZE] = "";
    CURL* const handle = curl_easy_init();
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, detail);
    curl_easy_setopt(handle, CURLOPT_URL, url);
    EXPECT_NE(curl_easy_perform(handle), CURLE_OK);
    curl_easy_cleanup(handle);
    return detail;
}

/// Makes libcurl fill its error buffer by a transfer that fails without a connection.
void performWithLibcurl(CNetRequest& request) {
    EXPECT_NE(curl_easy_perform(request.getHandle()), CURLE_OK);
}

TEST_F(NetRequestErrorTest, WithoutADetailLibcurlsTextIsTaken) {
    request->setURL("none://h/");
    performWithLibcurl(*request);
    const std::string detail = libcurlsDetail("none://h/");
    EXPECT_THAT(detail, testing::StartsWith("Protocol \"none\" not supported"));
    EXPECT_EQ(request->getErrorMessage().toUTF8(), detail);
    EXPECT_EQ(thrown(CURLE_UNSUPPORTED_PROTOCOL, "", 0, "").getMessage().toUTF8(),
              "Unsupported protocol: " + detail);
    EXPECT_EQ(thrown(CURLE_UNSUPPORTED_PROTOCOL, "", 0, "mine").getMessage(), "Unsupported protocol: mine");
}

TEST_F(NetRequestErrorTest, AnErrorBufferThatIsNotUTF8IsLoggedAndEmpty) {
    // libcurl quotes an invalid proxy byte for byte.
    request->setURL("http://h/");
    ASSERT_EQ(curl_easy_setopt(request->getHandle(), CURLOPT_PROXY, "x\xff://"), CURLE_OK);
    performWithLibcurl(*request);
    EXPECT_EQ(request->getErrorMessage(), "");
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_THAT(
        log.lines()[0],
        testing::StartsWith("E: A CURL function has failed, but the CURL error buffer does not contain "
                            "valid UTF8 data."));
}

TEST_F(NetRequestErrorTest, AnOptionThatLibcurlRefusesIsAnErrorWithoutAResponse) {
    request->setURL("http://h/a");
    request->header("HTTP/1.1 404 Not Found\r\n");
    fillDefaultBuffer("body");
    const auto unknown = static_cast<CURLoption>(9999);
    const auto check = [&](auto call, CURLcode code) {
        const auto error = thrownBy<CCURLError>(call);
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getDomain(), "curl");
        EXPECT_EQ(error->getCode(), code);
        EXPECT_EQ(error->getResponseCode(), -1);
        // libcurl 8 may name the option after it.
        EXPECT_THAT(error->getMessage().toUTF8(), testing::StartsWith(curl_easy_strerror(code)));
        EXPECT_THAT(propsOf(*error), ElementsAre("url=http://h/a"));
    };
    check([&] { request->setOptionInt(unknown, 1); }, CURLE_UNKNOWN_OPTION);
    check([&] { request->setOptionInt64(unknown, 1); }, CURLE_UNKNOWN_OPTION);
    check([&] { request->setOptionPtr(unknown, nullptr); }, CURLE_UNKNOWN_OPTION);
    check([&] { request->setOptionString(unknown, "x"); }, CURLE_UNKNOWN_OPTION);
    check([&] { request->setSendDataSize(-2); }, CURLE_BAD_FUNCTION_ARGUMENT);
    check([&] { request->setLowSpeedLimit(-1, zet::CTimeSpan::fromSeconds(1)); },
          CURLE_BAD_FUNCTION_ARGUMENT);
}

TEST_F(NetRequestErrorTest, AnOptionSetterForgetsAnOlderText) {
    request->setURL("none://h/");
    performWithLibcurl(*request);
    EXPECT_NE(request->getErrorMessage(), "");
    request->setOptionInt(CURLOPT_NOSIGNAL, 1);
    EXPECT_EQ(request->getErrorMessage(), "");
}

TEST_F(NetRequestErrorTest, AFigureThatLibcurlDoesNotKnowIsAnErrorThatKeepsTheOlderText) {
    request->setURL("none://h/");
    performWithLibcurl(*request);
    const String text = request->getErrorMessage();
    EXPECT_NE(text, "");
    EXPECT_EQ(request->getResponseCode(), 0);
    EXPECT_EQ(request->getDownloadedBytes(), 0);
    EXPECT_EQ(request->getErrorMessage(), text);
    const auto error = thrownBy<CCURLError>([&] { request->getInfoLong(CURLINFO_NONE); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_UNKNOWN_OPTION);
    EXPECT_EQ(error->getResponseCode(), -1);
    EXPECT_EQ(error->getResponseCodeDomain(), "");
    EXPECT_EQ(error->getMessage(), String(curl_easy_strerror(CURLE_UNKNOWN_OPTION)) + ": " + text);
}

TEST_F(NetRequestErrorTest, AFigureOfAnotherTypeIsRefused) {
    const auto code = [](auto call) {
        const auto error = thrownBy<CCURLError>(call);
        return error ? error->getCode() : -1;
    };
    EXPECT_EQ(code([&] { request->getInfoLong(CURLINFO_TOTAL_TIME); }), CURLE_UNKNOWN_OPTION);
    EXPECT_EQ(code([&] { request->getInfoLong(CURLINFO_EFFECTIVE_URL); }), CURLE_UNKNOWN_OPTION);
    EXPECT_EQ(code([&] { request->getInfoDouble(CURLINFO_RESPONSE_CODE); }), CURLE_UNKNOWN_OPTION);
    EXPECT_EQ(code([&] { request->getInfoDouble(CURLINFO_SIZE_DOWNLOAD_T); }), CURLE_UNKNOWN_OPTION);
    EXPECT_EQ(code([&] { request->getInfoInt64(CURLINFO_TOTAL_TIME); }), CURLE_UNKNOWN_OPTION);
    EXPECT_EQ(code([&] { request->getInfoInt64(CURLINFO_RESPONSE_CODE); }), CURLE_UNKNOWN_OPTION);
    EXPECT_EQ(request->getInfoInt64(CURLINFO_SIZE_DOWNLOAD_T), 0);
}

TEST_F(NetRequestErrorTest, AnOptionOfAnotherTypeIsRefusedByItsName) {
    const auto check = [&](auto call, const char* detail) {
        const auto error = thrownBy<CCURLError>(call);
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getCode(), CURLE_UNKNOWN_OPTION);
        EXPECT_EQ(error->getMessage(), String(curl_easy_strerror(CURLE_UNKNOWN_OPTION)) + ": " + detail);
    };
    request->setURL("none://h/");
    performWithLibcurl(*request);
    check([&] { request->setOptionInt(CURLOPT_URL, 5); }, "CURLOPT_URL takes a string");
    EXPECT_EQ(request->getErrorMessage(), "") << "the text of the transfer is forgotten";
    check([&] { request->setOptionInt(CURLOPT_MAX_RECV_SPEED_LARGE, 5); },
          "CURLOPT_MAX_RECV_SPEED_LARGE takes a number of 64 bits");
    check([&] { request->setOptionInt64(CURLOPT_HTTPAUTH, 1); },
          "CURLOPT_HTTPAUTH takes a number of 32 bits");
    check([&] { request->setOptionPtr(CURLOPT_NOBODY, nullptr); },
          "CURLOPT_NOBODY takes a number of 32 bits");
    check([&] { request->setOptionString(CURLOPT_NOBODY, "0"); }, "CURLOPT_NOBODY takes a number of 32 bits");
    check([&] { request->setOptionString(CURLOPT_HTTPHEADER, "A: b"); }, "CURLOPT_HTTPHEADER takes a list");
    check([&] { request->setOptionString(CURLOPT_WRITEDATA, "x"); }, "CURLOPT_WRITEDATA takes a pointer");
    check([&] { request->setOptionString(CURLOPT_WRITEFUNCTION, "x"); },
          "CURLOPT_WRITEFUNCTION takes a function");
    check([&] { request->setOptionString(CURLOPT_CAINFO_BLOB, "x"); }, "CURLOPT_CAINFO_BLOB takes a pointer");
    check([&] { request->setOptionInt(CURLOPT_POSTFIELDS, 5); }, "CURLOPT_POSTFIELDS takes a pointer");
    check([&] { request->setOptionInt64(CURLOPT_POSTFIELDSIZE, 5); },
          "CURLOPT_POSTFIELDSIZE takes a number of 32 bits");
    request->setOptionPtr(CURLOPT_USERAGENT, nullptr);
}

TEST_F(NetRequestErrorTest, ATextWithANULIsRefusedWhereLibcurlWouldCutIt) {
    const auto error = thrownBy<vexil::CInvalidArgError>(
        [&] { request->setUserPassword(String(std::wstring(L"ab\0cd", 5))); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getPlace(), "CNetRequest::setUserPassword");
    EXPECT_EQ(error->getMessage(), "value contains a NUL character");
}

TEST_F(NetRequestErrorTest, ATextWithANULIsRefusedByTheNameOfTheSetter) {
    const String text(std::wstring(L"ab\0cd", 5));
    const std::pair<const char*, std::function<void()>> setters[] = {
        {"setURL", [&] { request->setURL(text); }},
        {"setProxy", [&] { request->setProxy(text); }},
        {"setUserName", [&] { request->setUserName(text); }},
        {"setUserPassword", [&] { request->setUserPassword(text); }},
        {"setHTTPMethod", [&] { request->setHTTPMethod(text); }},
        {"setRootCertBundlePath",
         [&] { request->setRootCertBundlePath(vexil::TPathImpl<vexil::CWindowsPathTraits>(text)); }},
        {"setRedirectProtocols", [&] { request->setRedirectProtocols(text); }},
        {"setFTPListOverrideCommand", [&] { request->setFTPListOverrideCommand(text); }},
        {"setOptionString", [&] { request->setOptionString(CURLOPT_USERAGENT, text); }},
        {"setOptionString", [&] { request->setOptionString(CURLOPT_POSTFIELDS, text); }},
    };
    for (const auto& [name, set] : setters) {
        const auto error = thrownBy<vexil::CInvalidArgError>(set);
        ASSERT_TRUE(error) << name;
        EXPECT_EQ(error->getPlace(), String("CNetRequest::") + name);
    }
}

TEST_F(NetRequestErrorTest, AMethodOrCommandWithALineEndIsRefused) {
    for (const char* const text : {"GET / HTTP/1.1\r\nX-Evil: 1", "A\nB", "A\rB", "\n"}) {
        const auto methodError = thrownBy<vexil::CInvalidArgError>([&] { request->setHTTPMethod(text); });
        ASSERT_TRUE(methodError);
        EXPECT_EQ(methodError->getPlace(), "CNetRequest::setHTTPMethod");
        EXPECT_EQ(methodError->getMessage(), "value contains a CR or LF character");
        EXPECT_EQ(request->getHTTPMethod(), "GET");
        const auto commandError =
            thrownBy<vexil::CInvalidArgError>([&] { request->setFTPListOverrideCommand(text); });
        ASSERT_TRUE(commandError);
        EXPECT_EQ(commandError->getPlace(), "CNetRequest::setFTPListOverrideCommand");
    }
}

// ---- small figures ---------------------------------------------------------------------------------------

TEST_F(NetRequestErrorTest, TheDomainFollowsFromTheScheme) {
    const std::vector<std::pair<const char*, const char*>> domains = {
        {"http://h", "http"},  {"https://h", "http"},
        {"HTTPS://h", "http"}, {"Http:x", "http"},
        {"ftp://h", "ftp"},    {"FTPS://h", "ftp"},
        {"sftp://h", "ftp"},   {"smtp://h", "smtp"},
        {"SMTPS://h", "smtp"}, {"file:///x", ""},
        {"httpx://h", ""},     {"http", ""},
        {"h/http:", ""},       {"", ""},
        {"imap://h", ""},      {"ftpx:", ""}};
    for (const auto& [url, domain] : domains) {
        request->setURL(url);
        EXPECT_EQ(request->getResponseCodeDomain(), domain) << url;
        EXPECT_EQ(request->getURL(), url);
    }
}

TEST_F(NetRequestErrorTest, URLEscapingKeepsUnreservedCharactersOnly) {
    EXPECT_EQ(request->urlEscape("AZaz09-._~"), "AZaz09-._~");
    EXPECT_EQ(request->urlEscape(" /+%&=?#*\xc3\xbc"), "%20%2F%2B%25%26%3D%3F%23%2A%C3%BC");
    EXPECT_EQ(request->urlEscape(""), "");
    EXPECT_EQ(request->urlEscape(String(std::wstring(L"a\0b", 3))), "a%00b");
}

TEST(NetRequestNULTest, IsRefusedBeforeAnythingIsChanged) {
    CNetRequest request;
    request.setURL("ftp://a/");
    request.setHTTPMethod("PUT");
    EXPECT_THROW(request.setURL(String::fromUTF8({"http://b/\0x", 11})), vexil::CInvalidArgError);
    EXPECT_EQ(request.getURL(), "ftp://a/");
    EXPECT_EQ(request.getResponseCodeDomain(), "ftp");
    EXPECT_THROW(request.setHTTPMethod(String::fromUTF8({"A\0B", 3})), vexil::CInvalidArgError);
    EXPECT_EQ(request.getHTTPMethod(), "PUT");
}

}  // namespace
