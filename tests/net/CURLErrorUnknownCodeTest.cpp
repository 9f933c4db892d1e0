// Linux: the definitions of libcurl's functions in this program win over libcurl's own.
#include "tests/support/PrintText.h"
#include "vexil/net/CURLError.h"

#include <gtest/gtest.h>

const char* curl_easy_strerror(CURLcode) {
    return nullptr;
}

const char* curl_multi_strerror(CURLMcode) {
    return nullptr;
}

namespace {

using vexil::CCURLError;

TEST(CURLErrorUnknownCodeTest, ACodeWithoutATextHasOneAllTheSame) {
    EXPECT_EQ(CCURLError::makeErrorText(CURLE_OK, "", "", 0), "invalid CURL easy error code");
    EXPECT_EQ(CCURLError::makeErrorText(CURLE_OK, "the detail", "http", 404),
              "invalid CURL easy error code: the detail (response code: http 404)");
    EXPECT_EQ(CCURLError::makeErrorText(CURLM_OK, "", 0), "invalid CURL multi error code");
    EXPECT_EQ(CCURLError::makeErrorText(CURLM_OK, "the detail", 404),
              "invalid CURL multi error code: the detail (response code: 404)");
}

}  // namespace
