#include "vexil/net/CURLError.h"
#include "vexil/net/ErrorClassification.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>
#include <string>

namespace {

using vexil::CCURLError;
using vexil::CError;
using vexil::CInvalidArgError;
using vexil::CProps;
using vexil::ErrorKind;
using vexil::String;

CCURLError easyError(int code, const String& domain = "", int responseCode = 0) {
    return CCURLError(static_cast<CURLcode>(code), "", domain, responseCode, "", "", "", "");
}

CCURLError multiError(int code) {
    return CCURLError(static_cast<CURLMcode>(code), "", "", 0, "", "", "", "");
}

CCURLError tunnelError(int status) {
    return CCURLError(CURLE_RECV_ERROR, "CONNECT tunnel failed, response " + String::fromInt(status), "ftp",
                      0, "", "", "", "");
}

template <class Key>
ErrorKind kindIn(const std::map<ErrorKind, std::set<Key>>& table, Key key, ErrorKind otherwise) {
    for (const auto& [kind, keys] : table) {
        if (keys.contains(key)) {
            return kind;
        }
    }
    return otherwise;
}

// By number: the names differ between versions of libcurl.
const std::map<ErrorKind, std::set<int>> codes = {
    {ErrorKind::InvalidArgument, {1, 3, 4, 43, 48, 49, 93, 100}},
    {ErrorKind::OutOfMemory, {27}},
    {ErrorKind::Cancelled, {42}},
    {ErrorKind::Network, {5, 6, 7, 10, 15, 16, 18, 30, 45, 52, 55, 56, 89, 92, 95, 96, 97}},
    {ErrorKind::Timeout, {12, 28}},
    {ErrorKind::TLS, {35, 53, 54, 58, 59, 60, 64, 66, 77, 80, 82, 83, 90, 91, 98, 101}},
    {ErrorKind::Unauthenticated, {67, 94}},
    {ErrorKind::PermissionDenied, {9, 69}},
    {ErrorKind::NotFound, {68, 78}},
    {ErrorKind::Conflict, {73}},
    {ErrorKind::StorageFull, {70}},
    {ErrorKind::Rejected, {17, 19, 21, 22, 25, 31, 33, 36, 47, 84}},
    {ErrorKind::InvalidData, {8, 11, 13, 14, 61, 85, 86, 87}},
};

const std::map<ErrorKind, std::set<int>> statuses = {
    {ErrorKind::Unauthenticated, {401, 407}},
    {ErrorKind::PermissionDenied, {403}},
    {ErrorKind::NotFound, {404, 410}},
    {ErrorKind::Timeout, {408}},
    {ErrorKind::Conflict, {409, 412}},
    {ErrorKind::Throttled, {429}},
    {ErrorKind::StorageFull, {507}},
    {ErrorKind::Unavailable, {425, 502, 503, 504, 520, 521, 522, 523, 524, 525, 526, 527}},
};

ErrorKind expectedForStatus(int status) {
    const ErrorKind otherwise = status < 300   ? ErrorKind::Other
                                : status < 500 ? ErrorKind::Rejected
                                : status < 600 ? ErrorKind::Server
                                               : ErrorKind::Other;
    return kindIn(statuses, status, otherwise);
}

// Their meaning does not depend on what the server has said before.
const std::set<int> decidingCodes = {1,  3,  4,  5,  6,  7,  27, 35, 42, 43, 48, 49, 53, 54,  58, 59,
                                     60, 64, 66, 67, 77, 80, 82, 83, 90, 91, 93, 94, 98, 100, 101};

TEST(ErrorKindTest, EveryCodeOfLibcurlHasItsKind) {
    for (int code = 1; code < 130; ++code) {
        EXPECT_EQ(easyError(code).getKind(), kindIn(codes, code, ErrorKind::Other)) << code;
        EXPECT_EQ(easyError(code, "http", 200).getKind(), kindIn(codes, code, ErrorKind::Other)) << code;
    }
}

TEST(ErrorKindTest, EveryHTTPStatusHasItsKind) {
    for (int status = -1; status <= 1000; ++status) {
        EXPECT_EQ(vexil::getKindOfHTTPStatus(status), expectedForStatus(status)) << status;
        if (status > 0) {
            const ErrorKind kind = expectedForStatus(status);
            EXPECT_EQ(easyError(22, "http", status).getKind(),
                      kind == ErrorKind::Other ? ErrorKind::Rejected : kind)
                << status;
        }
    }
}

TEST(ErrorKindTest, AStatusExplainsAnInterruptedTransferOnlyIfItIsARefusal) {
    for (int code = 1; code < 102; ++code) {
        for (const int status : {100, 200, 301, 304, 401, 404, 429, 503}) {
            const bool explains =
                !decidingCodes.contains(code) && (status >= 400 || (code == 22 && status >= 300));
            EXPECT_EQ(easyError(code, "http", status).getKind(),
                      explains ? expectedForStatus(status) : kindIn(codes, code, ErrorKind::Other))
                << code << " " << status;
        }
    }
}

TEST(ErrorKindTest, RepliesOfAnFTPServerHaveTheirKinds) {
    const std::map<ErrorKind, std::set<int>> replies = {
        {ErrorKind::Network, {425, 426}},
        {ErrorKind::Unauthenticated, {530, 532}},
        {ErrorKind::StorageFull, {452, 552}},
        {ErrorKind::Server, {451}},
        {ErrorKind::Unavailable, {421, 431, 434, 450}},
    };
    for (const int code : {8, 9, 13, 17, 19, 21, 25, 36, 55}) {
        for (const int reply : {421, 425, 426, 431, 434, 450, 451, 452, 500, 501,
                                502, 503, 504, 530, 532, 534, 550, 551, 552, 553}) {
            EXPECT_EQ(easyError(code, "ftp", reply).getKind(), kindIn(replies, reply, ErrorKind::Rejected))
                << code << " " << reply;
        }
        EXPECT_EQ(easyError(code, "ftp", 226).getKind(), kindIn(codes, code, ErrorKind::Other)) << code;
        EXPECT_EQ(easyError(code, "ftp", 350).getKind(), kindIn(codes, code, ErrorKind::Other)) << code;
    }
}

TEST(ErrorKindTest, AnFTPReplyBeforeAnInterruptionMayBelongToAnotherCommand) {
    for (const int reply : {500, 502, 550}) {
        EXPECT_EQ(easyError(28, "ftp", reply).getKind(), ErrorKind::Timeout) << reply;
        EXPECT_EQ(easyError(52, "ftp", reply).getKind(), ErrorKind::Network) << reply;
        EXPECT_EQ(easyError(56, "ftp", reply).getKind(), ErrorKind::Network) << reply;
    }
    EXPECT_EQ(easyError(28, "ftp", 421).getKind(), ErrorKind::Unavailable);
}

// A missing and a forbidden file have the same reply. To call a forbidden one missing could cost data.
TEST(ErrorKindTest, AnFTPFileIsNotFoundOnlyIfItCouldNotBeRead) {
    EXPECT_EQ(easyError(78, "ftp", 550).getKind(), ErrorKind::NotFound);
    EXPECT_EQ(easyError(78, "ftp", 213).getKind(), ErrorKind::NotFound);
    EXPECT_EQ(easyError(78, "ftp", 450).getKind(), ErrorKind::Unavailable);
    for (const int code : {9, 19, 21, 25}) {
        EXPECT_EQ(easyError(code, "ftp", 550).getKind(), ErrorKind::Rejected) << code;
    }
}

TEST(ErrorKindTest, ARefusedLoginIsOneUnlessTheServerTakesNoFurtherConnection) {
    for (const int reply : {0, 331, 430, 500, 530, 550}) {
        EXPECT_EQ(easyError(67, "ftp", reply).getKind(), ErrorKind::Unauthenticated) << reply;
    }
    EXPECT_EQ(easyError(67, "ftp", 421).getKind(), ErrorKind::Unavailable);
    EXPECT_EQ(easyError(67, "smtp", 535).getKind(), ErrorKind::Unauthenticated);
    EXPECT_EQ(easyError(67, "smtp", 421).getKind(), ErrorKind::Unavailable);
}

TEST(ErrorKindTest, RepliesOfAMailServerHaveTheirKinds) {
    const std::map<ErrorKind, std::set<int>> replies = {
        {ErrorKind::Unauthenticated, {432, 530, 534, 535, 538}},
        {ErrorKind::StorageFull, {452, 552}},
        {ErrorKind::Server, {451}},
    };
    for (const int code : {8, 28, 55, 56}) {
        for (const int reply : {421, 432, 450, 451, 452, 454, 455, 500, 502, 504, 530, 534, 535, 538, 550,
                                551, 552, 553, 554}) {
            const ErrorKind otherwise = reply < 500 ? ErrorKind::Unavailable : ErrorKind::Rejected;
            EXPECT_EQ(easyError(code, "smtp", reply).getKind(), kindIn(replies, reply, otherwise))
                << code << " " << reply;
        }
        EXPECT_EQ(easyError(code, "smtp", 354).getKind(), kindIn(codes, code, ErrorKind::Other)) << code;
    }
}

TEST(ErrorKindTest, AProxyThatRefusesATunnelSpeaksOfItself) {
    EXPECT_EQ(tunnelError(407).getKind(), ErrorKind::Unauthenticated);
    EXPECT_EQ(tunnelError(403).getKind(), ErrorKind::PermissionDenied);
    EXPECT_EQ(tunnelError(429).getKind(), ErrorKind::Throttled);
    for (const int status : {502, 503, 504}) {
        EXPECT_EQ(tunnelError(status).getKind(), ErrorKind::Unavailable) << status;
    }
    for (const int status : {302, 400, 404, 405, 410, 500, 507}) {
        EXPECT_EQ(tunnelError(status).getKind(), ErrorKind::Network) << status;
    }
    const CCURLError toHTTP(CURLE_RECV_ERROR, "", "http", 0, "", "HTTP/1.1 407 Login", "", "");
    EXPECT_EQ(toHTTP.getKind(), ErrorKind::Unauthenticated);
}

TEST(ErrorKindTest, CodesOfTheMultiInterfaceHaveTheirKinds) {
    const std::map<ErrorKind, std::set<int>> multiCodes = {
        {ErrorKind::InvalidArgument, {1, 2, 5, 6, 7, 8, 10}},
        {ErrorKind::OutOfMemory, {3}},
        {ErrorKind::Cancelled, {11}},
    };
    for (int code = -1; code < 20; ++code) {
        EXPECT_EQ(multiError(code).getKind(), kindIn(multiCodes, code, ErrorKind::Other)) << code;
    }
}

TEST(ErrorKindTest, ResponsesOfOtherDomainsSayNothing) {
    EXPECT_EQ(easyError(8, "imap", 530).getKind(), ErrorKind::InvalidData);
    EXPECT_EQ(easyError(56, "", 530).getKind(), ErrorKind::Network);
}

TEST(ErrorKindTest, StaysWhenAnErrorIsKept) {
    const CCURLError error = easyError(67);
    EXPECT_EQ(error.clone()->getKind(), ErrorKind::Unauthenticated);
    EXPECT_EQ(CCURLError(error).getKind(), ErrorKind::Unauthenticated);
    EXPECT_EQ(static_cast<const CError&>(CError(error)).getKind(), ErrorKind::Unauthenticated)
        << "a copy as the base type";
    try {
        error.clone()->throwClone();
    } catch (const CError& thrown) {
        EXPECT_EQ(thrown.getKind(), ErrorKind::Unauthenticated);
    }
}

TEST(ErrorKindTest, ContentThatLibcurlDoesNotCheckIsInvalidData) {
    EXPECT_EQ(vexil::makeTransientError("The response is too short.").getKind(), ErrorKind::InvalidData);
}

// What may go away is never called a mistake of the caller, a missing file or a refused login.
TEST(ErrorKindTest, AgreesWithTheOtherFunctions) {
    const std::set<ErrorKind> final = {ErrorKind::InvalidArgument,  ErrorKind::OutOfMemory,
                                       ErrorKind::Cancelled,        ErrorKind::Unauthenticated,
                                       ErrorKind::PermissionDenied, ErrorKind::NotFound};
    for (const int code : {5, 6, 7, 8, 9, 13, 18, 19, 21, 22, 25, 28, 35, 52, 55, 56, 78, 92}) {
        for (const char* domain : {"", "http", "ftp", "smtp"}) {
            for (int response = 100; response < 600; ++response) {
                const CCURLError error = easyError(code, domain, response);
                EXPECT_FALSE(vexil::isTransientError(error) && final.contains(error.getKind()))
                    << code << " " << domain << " " << response;
            }
        }
    }
}

}  // namespace
