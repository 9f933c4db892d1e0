#include "vexil/net/ErrorClassification.h"

#include "vexil/net/CURLError.h"

#include <gtest/gtest.h>

#include <new>
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
    // The domain decides, not the class.
    EXPECT_TRUE(vexil::isNetworkOrServiceDownError(CError("m", "curl", 6)));
    EXPECT_TRUE(vexil::isNetworkOrServiceDownError(CError("m", "curl", 9, makeProps("ftp", "421"))));
}

// ---- what may pass ---------------------------------------------------------------------------------------

CError s3Error(const String& s3Code, int status) {
    CProps props;
    props.add("s3-code", s3Code);
    return CError("m", "http", status, props);
}

CCURLError tunnelError(const String& detail, const String& statusLine) {
    return CCURLError(CURLE_RECV_ERROR, detail, statusLine.isEmpty() ? "ftp" : "http", 0, "", statusLine, "",
                      "");
}

TEST(TransientErrorTest, IsABrokenTransferOfTheseCodes) {
    const std::set<int> transient{5, 6, 7, 10, 12, 16, 18, 28, 35, 52, 55, 56, 89, 92, 95, 96};
    for (int code = 1; code < CURL_LAST; ++code) {
        EXPECT_EQ(vexil::isTransientError(easyError(code, "", 0)), transient.contains(code)) << code;
        EXPECT_FALSE(vexil::isTransientError(multiError(code % CURLM_LAST, "http", 503))) << code;
    }
}

TEST(TransientErrorTest, IsATransferThatBrokeAfterTheServerBeganToSpeak) {
    for (const int code : {18, 28, 52, 55, 56, 92}) {
        for (const int status : {100, 200, 206, 302}) {
            EXPECT_TRUE(vexil::isTransientError(easyError(code, "http", status))) << code << " " << status;
        }
    }
    for (const int code : {1, 3, 23, 26, 27, 42, 47, 60, 65}) {
        EXPECT_FALSE(vexil::isTransientError(easyError(code, "http", 200))) << code;
        EXPECT_FALSE(vexil::isTransientError(easyError(code, "http", 100))) << code;
    }
}

TEST(TransientErrorTest, IsDecidedByTheHTTPStatusThatRefuses) {
    const std::set<int> transient{408, 425, 429, 500, 502, 503, 504, 520, 521, 522, 523, 524, 525, 526, 527};
    for (int status = 100; status < 600; ++status) {
        EXPECT_EQ(vexil::isTransientError(easyError(22, "http", status)), transient.contains(status))
            << status;
        if (status >= 400) {
            EXPECT_EQ(vexil::isTransientError(easyError(56, "http", status)), transient.contains(status))
                << status;
        }
    }
    EXPECT_FALSE(vexil::isTransientError(easyError(22, "http", 0)));
}

TEST(TransientErrorTest, IsNoCancelledTransferAndNoLocalFailureWhateverTheServerSaid) {
    for (const int code : {23, 26, 27, 42, 60}) {
        EXPECT_FALSE(vexil::isTransientError(easyError(code, "http", 503))) << code;
        EXPECT_FALSE(vexil::isTransientError(easyError(code, "ftp", 421))) << code;
        EXPECT_FALSE(vexil::isTransientError(easyError(code, "smtp", 451))) << code;
    }
}

TEST(TransientErrorTest, IsDecidedByTheReplyOfAnFTPServer) {
    const std::set<int> transient{421, 425, 426, 431, 434, 450, 451};
    for (int reply = 400; reply < 600; ++reply) {
        for (const int code : {9, 18, 19, 21, 25, 55, 64, 67, 78}) {
            EXPECT_EQ(vexil::isTransientError(easyError(code, "ftp", reply)), transient.contains(reply))
                << code << " " << reply;
        }
        // The reply may be an older one.
        for (const int code : {7, 28, 35, 52, 56}) {
            EXPECT_TRUE(vexil::isTransientError(easyError(code, "ftp", reply))) << code << " " << reply;
        }
    }
    EXPECT_TRUE(vexil::isTransientError(easyError(55, "ftp", 150)));
    EXPECT_TRUE(vexil::isTransientError(easyError(18, "ftp", 226)));
    EXPECT_FALSE(vexil::isTransientError(easyError(25, "ftp", 226)));
}

TEST(TransientErrorTest, IsDecidedByTheReplyOfAMailServer) {
    for (int reply = 400; reply < 600; ++reply) {
        for (const int code : {28, 55, 56, 64, 67}) {
            EXPECT_EQ(vexil::isTransientError(easyError(code, "smtp", reply)), reply < 500 && reply != 432)
                << code << " " << reply;
        }
    }
    EXPECT_TRUE(vexil::isTransientError(easyError(56, "smtp", 250)));
    EXPECT_TRUE(vexil::isTransientError(easyError(28, "smtp", 220)));
}

TEST(TransientErrorTest, IsNoMailThatTheServerMayHaveTaken) {
    for (const int code : {28, 52, 55, 56}) {
        EXPECT_FALSE(vexil::isTransientError(easyError(code, "smtp", 354))) << code;
    }
}

TEST(TransientErrorTest, IsDecidedByAProxyThatRefusedATunnel) {
    EXPECT_TRUE(vexil::isTransientError(tunnelError("", "HTTP/1.1 502 Bad Gateway")));
    EXPECT_TRUE(vexil::isTransientError(tunnelError("", "HTTP/1.0 503")));
    EXPECT_FALSE(vexil::isTransientError(tunnelError("", "HTTP/1.1 403 Forbidden")));
    EXPECT_FALSE(vexil::isTransientError(tunnelError("", "HTTP/1.1 407 Proxy Authentication Required")));
    EXPECT_TRUE(vexil::isTransientError(tunnelError("", "HTTP/1.1 200 Connection established")));
    for (const char* line : {"HTTP/1.1", "HTTP/1.1 ", "HTTP/1.1 4", "HTTP/1.1 4x3", " ", "403"}) {
        EXPECT_TRUE(vexil::isTransientError(tunnelError("", line))) << line;
    }
    EXPECT_TRUE(vexil::isTransientError(tunnelError("CONNECT tunnel failed, response 502", "")));
    EXPECT_FALSE(vexil::isTransientError(tunnelError("CONNECT tunnel failed, response 407", "")));
}

TEST(TransientErrorTest, IsDecidedByS3StatusOrCode) {
    EXPECT_TRUE(vexil::isTransientError(s3Error("Unheard", 503)));
    EXPECT_TRUE(vexil::isTransientError(s3Error("TooManyRequests", 429)));
    EXPECT_TRUE(vexil::isTransientError(s3Error("InternalError", 0)));
    for (const char* code :
         {"InternalError", "SlowDown", "IncompleteBody", "InvalidDigest", "OperationAborted",
          "RequestTimeTooSkewed", "BadDigest", "RequestTimeout", "ServiceUnavailable"}) {
        EXPECT_TRUE(vexil::isTransientError(s3Error(code, 400))) << code;
    }
    for (const char* code : {"AccessDenied", "NoSuchKey", "SignatureDoesNotMatch", "EntityTooLarge", ""}) {
        EXPECT_FALSE(vexil::isTransientError(s3Error(code, 400))) << code;
        EXPECT_FALSE(vexil::isTransientError(s3Error(code, 501))) << code;
    }
}

TEST(TransientErrorTest, IsOneThatSaysSo) {
    const CError own = vexil::makeTransientError("too short");
    EXPECT_EQ(own.getMessage(), "too short");
    EXPECT_EQ(own.getDomain(), "");
    EXPECT_EQ(own.getCode(), -1);
    EXPECT_TRUE(vexil::isTransientError(own));
    EXPECT_TRUE(vexil::isTransientError(*own.clone()));
    CProps props;
    props.add("transient", "false");
    EXPECT_FALSE(vexil::isTransientError(CError("m", "", -1, props)));
    EXPECT_FALSE(vexil::isTransientError(CError("m")));
    EXPECT_FALSE(vexil::isTransientError(CError("m", "", 56)));
    EXPECT_FALSE(vexil::isTransientError(std::runtime_error("x")));
    EXPECT_FALSE(vexil::isTransientError(std::bad_alloc()));
}

TEST(OutageErrorTest, IsWhatTellsThatNetworkOrServiceAreDown) {
    for (const int code : {5, 6, 7, 35}) {
        EXPECT_TRUE(vexil::isOutageError(easyError(code, "", 0))) << code;
    }
    EXPECT_TRUE(vexil::isOutageError(easyError(22, "http", 503)));
    EXPECT_TRUE(vexil::isOutageError(easyError(9, "ftp", 421)));
    EXPECT_TRUE(vexil::isOutageError(easyError(8, "smtp", 421)));
    EXPECT_TRUE(vexil::isOutageError(s3Error("Unheard", 503)));
    EXPECT_TRUE(vexil::isOutageError(s3Error("SlowDown", 0)));
    EXPECT_TRUE(vexil::isOutageError(tunnelError("", "HTTP/1.1 502 Bad Gateway")));
    EXPECT_FALSE(vexil::isOutageError(tunnelError("", "HTTP/1.1 407 x")));
    EXPECT_FALSE(vexil::isOutageError(easyError(28, "http", 200)));
    EXPECT_FALSE(vexil::isOutageError(easyError(22, "http", 502)));
    EXPECT_FALSE(vexil::isOutageError(s3Error("InternalError", 500)));
    EXPECT_FALSE(vexil::isOutageError(multiError(6, "smtp", 421)));
    EXPECT_FALSE(vexil::isOutageError(std::runtime_error("x")));
}

}  // namespace
