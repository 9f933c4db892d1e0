#include "vexil/net/ErrorClassification.h"

#include "vexil/net/CURLError.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>

namespace {

using vexil::CCURLError;
using vexil::CError;
using vexil::CProps;
using vexil::String;

CCURLError easyError(int code, const String& domain, int responseCode) {
    return CCURLError(static_cast<CURLcode>(code), "", domain, responseCode, "", "", "", "");
}

CCURLError multiError(int code, const String& domain, int responseCode) {
    return CCURLError(static_cast<CURLMcode>(code), "", domain, responseCode, "", "", "", "");
}

CProps makeProps(const String& domain, const String& responseCode) {
    CProps props;
    props.add("responseCodeDomain", domain);
    props.add("responseCode", responseCode);
    return props;
}

TEST(ErrorClassificationTest, StatusOfAPropertyList) {
    EXPECT_EQ(vexil::getHTTPStatusCodeFromErrorParams(CProps()), -1);
    EXPECT_EQ(vexil::getHTTPStatusCodeFromErrorParams(makeProps("http", "404")), 404);
    EXPECT_EQ(vexil::getHTTPStatusCodeFromErrorParams(makeProps("http", "")), -1);
    EXPECT_EQ(vexil::getHTTPStatusCodeFromErrorParams(makeProps("http", "x")), 0);
    for (const char* domain : {"", "HTTP", "https", "ftp", "smtp"}) {
        EXPECT_EQ(vexil::getHTTPStatusCodeFromErrorParams(makeProps(domain, "404")), -1) << domain;
    }
}

TEST(ErrorClassificationTest, StatusIsTheCodeOfAnErrorOfDomainHttp) {
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(CError("m", "http", 412)), 412);
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(CError("m", "http", 0)), 0);
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(CError("m", "http", 412, makeProps("http", "503"))), 412);
}

TEST(ErrorClassificationTest, StatusOfAnErrorOfAnotherDomainStandsInItsProperties) {
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(CError("m", "HTTP", 412)), -1);
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(CError("m")), -1);
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(CError("m", "app", 1, makeProps("http", "200"))), 200);
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(CError("m", "app", 1, makeProps("ftp", "421"))), -1);
}

TEST(ErrorClassificationTest, ATransferBrokenAfterSuccessHasNoStatus) {
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(easyError(28, "http", 200)), -1);
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(easyError(56, "http", 399)), -1);
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(easyError(56, "http", 400)), 400);
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(easyError(56, "http", 500)), 500);
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(easyError(7, "", 0)), -1);
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(easyError(28, "ftp", 500)), -1);
}

TEST(ErrorClassificationTest, AStatusThatFailedTheTransferIsReportedWhateverItIs) {
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(easyError(22, "http", 404)), 404);
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(easyError(22, "http", 304)), 304);
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(easyError(22, "http", 0)), -1);
}

TEST(ErrorClassificationTest, MultiErrorsGiveTheirStatusAsItIs) {
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(multiError(CURLM_INTERNAL_ERROR, "http", 200)), 200);
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(multiError(CURLM_INTERNAL_ERROR, "", 200)), -1);
}

TEST(ErrorClassificationTest, OnlyFourCodesMeanNetworkDown) {
    const std::set<int> down{5, 6, 7, 35};
    for (int code = 0; code < CURL_LAST; ++code) {
        EXPECT_EQ(vexil::isNetworkOrServiceDownError(easyError(code, "", 0)), down.contains(code)) << code;
        EXPECT_EQ(vexil::isNetworkOrServiceDownError(easyError(code, "http", 404)), down.contains(code))
            << code;
        EXPECT_FALSE(vexil::isNetworkOrServiceDownError(multiError(code % CURLM_LAST, "http", 503))) << code;
    }
}

TEST(ErrorClassificationTest, OnlyTwoAnswersMeanServiceDown) {
    EXPECT_TRUE(vexil::isNetworkOrServiceDownError(easyError(22, "http", 503)));
    EXPECT_TRUE(vexil::isNetworkOrServiceDownError(easyError(9, "ftp", 421)));
    EXPECT_TRUE(vexil::isNetworkOrServiceDownError(easyError(28, "http", 503)));
    for (const int status : {0, 200, 404, 421, 500, 502, 504}) {
        EXPECT_FALSE(vexil::isNetworkOrServiceDownError(easyError(22, "http", status))) << status;
    }
    EXPECT_FALSE(vexil::isNetworkOrServiceDownError(easyError(9, "ftp", 503)));
    EXPECT_FALSE(vexil::isNetworkOrServiceDownError(easyError(9, "smtp", 421)));
    EXPECT_FALSE(vexil::isNetworkOrServiceDownError(easyError(9, "smtp", 503)));
    EXPECT_FALSE(vexil::isNetworkOrServiceDownError(easyError(9, "", 503)));
}

TEST(ErrorClassificationTest, OnlyErrorsOfDomainCurlMeanNetworkDown) {
    EXPECT_FALSE(vexil::isNetworkOrServiceDownError(std::runtime_error("down")));
    EXPECT_FALSE(vexil::isNetworkOrServiceDownError(CError("m", "", 6)));
    EXPECT_FALSE(vexil::isNetworkOrServiceDownError(CError("m", "http", 503, makeProps("http", "503"))));
    EXPECT_FALSE(vexil::isNetworkOrServiceDownError(CError("m", "CURL", 6)));
    EXPECT_FALSE(vexil::isNetworkOrServiceDownError(multiError(6, "", 0)));
    // By the domain, not by the class.
    EXPECT_TRUE(vexil::isNetworkOrServiceDownError(CError("m", "curl", 6)));
    EXPECT_TRUE(vexil::isNetworkOrServiceDownError(CError("m", "curl", 9, makeProps("ftp", "421"))));
}

}  // namespace
