#include "vexil/net/CURLError.h"

#include "tests/support/PrintText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exception>
#include <limits>
#include <thread>
#include <type_traits>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using vexil::CCURLError;
using vexil::CError;
using vexil::CProps;
using vexil::P;
using vexil::String;

constexpr int largest = std::numeric_limits<int>::max();
constexpr int smallest = std::numeric_limits<int>::min();

String easyText(CURLcode code) {
    return curl_easy_strerror(code);
}

String multiText(CURLMcode code) {
    return curl_multi_strerror(code);
}

CCURLError makeFull() {
    return CCURLError(CURLE_HTTP_RETURNED_ERROR, "the detail", "http", 404, "No such key",
                      "HTTP/1.1 404 Not Found", "http://host/bücket/key", "GET");
}

CCURLError makeEmpty(int responseCode = 0) {
    return CCURLError(CURLE_COULDNT_CONNECT, "", "", responseCode, "", "", "", "");
}

CProps makeProps(const String& responseCode) {
    CProps props;
    props.add("responseCode", responseCode);
    return props;
}

void expectSame(const CCURLError& actual, const CCURLError& expected) {
    EXPECT_EQ(actual.getMessage(), expected.getMessage());
    EXPECT_STREQ(actual.what(), expected.what());
    EXPECT_EQ(actual.getDomain(), expected.getDomain());
    EXPECT_EQ(actual.getCode(), expected.getCode());
    EXPECT_EQ(actual.getProps().getEntries(), expected.getProps().getEntries());
    EXPECT_EQ(actual.getInnerError(), expected.getInnerError());
    EXPECT_EQ(actual.getResponseCodeDomain(), expected.getResponseCodeDomain());
    EXPECT_EQ(actual.getResponseCode(), expected.getResponseCode());
    EXPECT_EQ(actual.getServerMessage(), expected.getServerMessage());
    EXPECT_EQ(actual.getHTTPStatusLine(), expected.getHTTPStatusLine());
    EXPECT_EQ(actual.getURL(), expected.getURL());
    EXPECT_EQ(actual.getHTTPMethod(), expected.getHTTPMethod());
}

TEST(CURLErrorTest, EasyTextIsLibcurlsAlone) {
    EXPECT_EQ(CCURLError::makeErrorText(CURLE_COULDNT_CONNECT, "", "", 0), easyText(CURLE_COULDNT_CONNECT));
    EXPECT_EQ(CCURLError::makeErrorText(CURLE_OK, "", "", 0), "No error");
}

TEST(CURLErrorTest, EasyTextTakesTheDetail) {
    EXPECT_EQ(CCURLError::makeErrorText(CURLE_OPERATION_TIMEDOUT, "after 5 ms", "http", 0),
              easyText(CURLE_OPERATION_TIMEDOUT) + ": after 5 ms");
}

TEST(CURLErrorTest, EasyTextTakesDomainAndResponseCode) {
    EXPECT_EQ(CCURLError::makeErrorText(CURLE_RECV_ERROR, "", "ftp", 421),
              easyText(CURLE_RECV_ERROR) + " (response code: ftp 421)");
    EXPECT_EQ(CCURLError::makeErrorText(CURLE_HTTP_RETURNED_ERROR, "the detail", "http", 404),
              easyText(CURLE_HTTP_RETURNED_ERROR) + ": the detail (response code: http 404)");
}

TEST(CURLErrorTest, EasyTextKeepsTheBlankOfAnEmptyDomain) {
    EXPECT_EQ(CCURLError::makeErrorText(CURLE_RECV_ERROR, "", "", 200),
              easyText(CURLE_RECV_ERROR) + " (response code:  200)");
}

TEST(CURLErrorTest, MultiTextNeverNamesTheDomain) {
    EXPECT_EQ(CCURLError::makeErrorText(CURLM_BAD_HANDLE, "", 0), multiText(CURLM_BAD_HANDLE));
    EXPECT_EQ(CCURLError::makeErrorText(CURLM_BAD_HANDLE, "the detail", 0),
              multiText(CURLM_BAD_HANDLE) + ": the detail");
    EXPECT_EQ(CCURLError::makeErrorText(CURLM_BAD_HANDLE, "", 503),
              multiText(CURLM_BAD_HANDLE) + " (response code: 503)");
    EXPECT_EQ(CCURLError::makeErrorText(CURLM_BAD_HANDLE, "the detail", 503),
              multiText(CURLM_BAD_HANDLE) + ": the detail (response code: 503)");
    EXPECT_EQ(CCURLError(CURLM_BAD_HANDLE, "", "http", 503, "", "", "", "").getMessage(),
              multiText(CURLM_BAD_HANDLE) + " (response code: 503)");
}

TEST(CURLErrorTest, TextsShowResponseCodesFromOneOn) {
    for (const int code : {0, -1, smallest}) {
        EXPECT_EQ(CCURLError::makeErrorText(CURLE_RECV_ERROR, "", "http", code), easyText(CURLE_RECV_ERROR))
            << code;
        EXPECT_EQ(CCURLError::makeErrorText(CURLM_BAD_HANDLE, "", code), multiText(CURLM_BAD_HANDLE)) << code;
    }
    for (const int code : {1, 99, largest}) {
        const String number = String::fromInt(code);
        EXPECT_EQ(CCURLError::makeErrorText(CURLE_RECV_ERROR, "", "smtp", code),
                  easyText(CURLE_RECV_ERROR) + " (response code: smtp " + number + ")");
        EXPECT_EQ(CCURLError::makeErrorText(CURLM_BAD_HANDLE, "", code),
                  multiText(CURLM_BAD_HANDLE) + " (response code: " + number + ")");
    }
}

TEST(CURLErrorTest, EveryCodeHasItsText) {
    for (int code = 0; code < CURL_LAST; ++code) {
        const auto easy = static_cast<CURLcode>(code);
        EXPECT_EQ(CCURLError::makeErrorText(easy, "", "", 0), easyText(easy)) << code;
    }
    for (int code = CURLM_CALL_MULTI_PERFORM; code < CURLM_LAST; ++code) {
        const auto multi = static_cast<CURLMcode>(code);
        EXPECT_EQ(CCURLError::makeErrorText(multi, "", 0), multiText(multi)) << code;
    }
}

TEST(CURLErrorTest, EasyErrorKeepsAllArguments) {
    const CCURLError error = makeFull();
    EXPECT_EQ(error.getMessage(),
              easyText(CURLE_HTTP_RETURNED_ERROR) + ": the detail (response code: http 404)");
    EXPECT_EQ(error.what(), error.getMessage().toUTF8());
    EXPECT_EQ(error.getDomain(), "curl");
    EXPECT_EQ(error.getCode(), 22);
    EXPECT_EQ(error.getInnerError(), nullptr);
    EXPECT_EQ(error.getResponseCodeDomain(), "http");
    EXPECT_EQ(error.getResponseCode(), 404);
    EXPECT_EQ(error.getServerMessage(), "No such key");
    EXPECT_EQ(error.getHTTPStatusLine(), "HTTP/1.1 404 Not Found");
    EXPECT_EQ(error.getURL(), String("http://host/bücket/key"));
    EXPECT_EQ(error.getHTTPMethod(), "GET");
    EXPECT_THAT(error.getProps().getEntries(),
                ElementsAre(Pair("responseCodeDomain", "http"), Pair("responseCode", "404"),
                            Pair("serverMessage", "No such key"),
                            Pair("httpStatusLine", "HTTP/1.1 404 Not Found"),
                            Pair("url", String("http://host/bücket/key")), Pair("httpMethod", "GET")));
}

TEST(CURLErrorTest, MultiErrorKeepsAllArguments) {
    const CCURLError error(CURLM_CALL_MULTI_PERFORM, "the detail", "ftp", 550, "message", "line", "url",
                           "RETR");
    EXPECT_EQ(error.getMessage(), multiText(CURLM_CALL_MULTI_PERFORM) + ": the detail (response code: 550)");
    EXPECT_EQ(error.getDomain(), "curlm");
    EXPECT_EQ(error.getCode(), -1);
    EXPECT_EQ(error.getInnerError(), nullptr);
    EXPECT_EQ(error.getResponseCodeDomain(), "ftp");
    EXPECT_EQ(error.getResponseCode(), 550);
    EXPECT_EQ(error.getServerMessage(), "message");
    EXPECT_EQ(error.getHTTPStatusLine(), "line");
    EXPECT_EQ(error.getURL(), "url");
    EXPECT_EQ(error.getHTTPMethod(), "RETR");
    EXPECT_THAT(error.getProps().getEntries(),
                ElementsAre(Pair("responseCodeDomain", "ftp"), Pair("responseCode", "550"),
                            Pair("serverMessage", "message"), Pair("httpStatusLine", "line"),
                            Pair("url", "url"), Pair("httpMethod", "RETR")));
}

TEST(CURLErrorTest, CodesOfBothFamiliesAreKeptAsNumbers) {
    EXPECT_EQ(CCURLError(CURLE_OK, "", "", 0, "", "", "", "").getCode(), 0);
    // The largest value of the type; libcurl has no such code.
    EXPECT_EQ(CCURLError(static_cast<CURLcode>(127), "", "", 0, "", "", "", "").getCode(), 127);
    EXPECT_EQ(CCURLError(CURLM_UNRECOVERABLE_POLL, "", "", 0, "", "", "", "").getCode(), 12);
}

TEST(CURLErrorTest, AbsentFactsAreNoProperties) {
    EXPECT_THAT(makeEmpty().getProps().getEntries(), IsEmpty());
    EXPECT_THAT(CCURLError(CURLM_BAD_HANDLE, "", "", 0, "", "", "", "").getProps().getEntries(), IsEmpty());
}

TEST(CURLErrorTest, EachPropertyStandsForItself) {
    const auto entries = [](const CCURLError& error) { return error.getProps().getEntries(); };
    constexpr CURLcode code = CURLE_COULDNT_CONNECT;
    EXPECT_THAT(entries({code, "d", "http", 0, "", "", "", ""}),
                ElementsAre(Pair("responseCodeDomain", "http")));
    EXPECT_THAT(entries({code, "d", "", 500, "", "", "", ""}), ElementsAre(Pair("responseCode", "500")));
    EXPECT_THAT(entries({code, "d", "", 0, "m", "", "", ""}), ElementsAre(Pair("serverMessage", "m")));
    EXPECT_THAT(entries({code, "d", "", 0, "", "l", "", ""}), ElementsAre(Pair("httpStatusLine", "l")));
    EXPECT_THAT(entries({code, "d", "", 0, "", "", "u", ""}), ElementsAre(Pair("url", "u")));
    EXPECT_THAT(entries({code, "d", "", 0, "", "", "", "M"}), ElementsAre(Pair("httpMethod", "M")));
}

TEST(CURLErrorTest, ResponseCodeIsAPropertyOnlyAboveZero) {
    for (const int code : {0, -1, -404, smallest}) {
        const CCURLError error = makeEmpty(code);
        EXPECT_FALSE(error.getProps().has("responseCode")) << code;
        EXPECT_EQ(error.getResponseCode(), code);
    }
    EXPECT_EQ(makeEmpty(1).getProps().lookup("responseCode"), "1");
    EXPECT_EQ(makeEmpty(largest).getProps().lookup("responseCode"), "2147483647");
}

TEST(CURLErrorTest, ResponseCodeOfAPropertyList) {
    EXPECT_EQ(CCURLError::getResponseCode(CProps()), -1);
    EXPECT_EQ(CCURLError::getResponseCode(makeProps("")), -1);
    EXPECT_EQ(CCURLError::getResponseCode(makeProps("503")), 503);
    EXPECT_EQ(CCURLError::getResponseCode(makeProps("-7")), -7);
    EXPECT_EQ(CCURLError::getResponseCode(makeProps("many")), 0);
    EXPECT_EQ(CCURLError::getResponseCode(makeProps("99999999999999999999")), 0);
    // The low 32 bits.
    EXPECT_EQ(CCURLError::getResponseCode(makeProps("4294967700")), 404);
    EXPECT_EQ(CCURLError::getResponseCode(makeFull().getProps()), 404);
}

TEST(CURLErrorTest, ResponseCodeDomainOfAPropertyList) {
    EXPECT_EQ(CCURLError::getResponseCodeDomain(CProps()), "");
    EXPECT_EQ(CCURLError::getResponseCodeDomain(makeFull().getProps()), "http");
}

TEST(CURLErrorTest, IsCaughtAsEachOfItsBases) {
    static_assert(std::is_base_of_v<CError, CCURLError> && std::is_base_of_v<std::exception, CCURLError>);
    const CCURLError error = makeFull();
    EXPECT_THROW(error.throwClone(), CCURLError);
    EXPECT_THROW(error.throwClone(), CError);
    EXPECT_THROW(error.throwClone(), std::exception);
    EXPECT_THROW(error.throwClone(), vexil::CBase);
    EXPECT_THROW(error.throwClone(), vexil::IBase);
}

TEST(CURLErrorTest, CloneKeepsTypeAndContents) {
    P<CError> clone;
    {
        const CCURLError error = makeFull();
        clone = error.clone();
        EXPECT_NE(clone.get(), &error);
    }
    const auto* const typed = dynamic_cast<const CCURLError*>(clone.get());
    ASSERT_NE(typed, nullptr);
    expectSame(*typed, makeFull());
}

TEST(CURLErrorTest, IsThrownAgainOnAnotherThread) {
    P<CError> kept;
    try {
        throw makeFull();
    } catch (const CError& error) {
        kept = error.clone();
    }
    std::thread([&kept] {
        try {
            kept->throwClone();
            ADD_FAILURE() << "nothing was thrown";
        } catch (const CCURLError& error) {
            EXPECT_NE(static_cast<const CError*>(&error), kept.get());
            expectSame(error, makeFull());
        }
    }).join();
}

TEST(CURLErrorTest, CopiesAndAssignmentsTakeEverything) {
    const CCURLError full = makeFull();
    const CCURLError copy(full);
    expectSame(copy, full);

    CCURLError assigned = makeEmpty();
    assigned = full;
    expectSame(assigned, full);
    assigned = *&assigned;
    expectSame(assigned, full);

    CCURLError emptied = makeFull();
    emptied = makeEmpty();
    expectSame(emptied, makeEmpty());
}

}  // namespace
