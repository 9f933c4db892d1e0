#include "vexil/mail/SMTPParams.h"

#include "tests/support/PrintText.h"
#include "tests/support/WhatOf.h"

#include <gtest/gtest.h>

namespace {

using namespace vexil;
using vexil_test::whatOf;

TEST(SMTPParamsTest, HoldNothingAtFirst) {
    const CSMTPParams params;
    EXPECT_EQ(params.getHost(), "");
    EXPECT_EQ(params.getPort(), 0);
    EXPECT_EQ(params.getConnectType(), CSMTPParams::ConnectUnencrypted);
    EXPECT_EQ(params.getLoginName(), "");
    EXPECT_EQ(params.getLoginPassword(), "");
}

TEST(SMTPParamsTest, HoldWhatTheyAreGiven) {
    const CSMTPParams params("h", 465, CSMTPParams::ConnectSSL, "n", "p");
    const CSMTPParams copy(params);
    EXPECT_EQ(copy.getHost(), "h");
    EXPECT_EQ(copy.getPort(), 465);
    EXPECT_EQ(copy.getConnectType(), CSMTPParams::ConnectSSL);
    EXPECT_EQ(copy.getLoginName(), "n");
    EXPECT_EQ(copy.getLoginPassword(), "p");
}

TEST(SMTPParamsTest, ConnectTypesHaveNumbersAndNames) {
    EXPECT_EQ(CSMTPParams::ConnectUnencrypted, 0);
    EXPECT_EQ(CSMTPParams::ConnectSSL, 1);
    EXPECT_EQ(CSMTPParams::ConnectStartTLS, 2);
    EXPECT_EQ(CSMTPParams::connectTypeToString(CSMTPParams::ConnectUnencrypted), "unencrypted");
    EXPECT_EQ(CSMTPParams::connectTypeToString(CSMTPParams::ConnectSSL), "ssl");
    EXPECT_EQ(CSMTPParams::connectTypeToString(CSMTPParams::ConnectStartTLS), "starttls");
    EXPECT_EQ(CSMTPParams::connectTypeToInt("unencrypted"), CSMTPParams::ConnectUnencrypted);
    EXPECT_EQ(CSMTPParams::connectTypeToInt("ssl"), CSMTPParams::ConnectSSL);
    EXPECT_EQ(CSMTPParams::connectTypeToInt("starttls"), CSMTPParams::ConnectStartTLS);
}

TEST(SMTPParamsTest, OtherConnectTypesAreErrors) {
    for (const int type : {-1, 3, 100}) {
        EXPECT_EQ(
            whatOf([&] { CSMTPParams::connectTypeToString(static_cast<CSMTPParams::ConnectType>(type)); }),
            "CSMTPParams::connectTypeToString: invalid connect type: " + std::to_string(type));
    }
    for (const char* text : {"SSL", "", "ssl ", "StartTLS", "tls"}) {
        EXPECT_EQ(whatOf([&] { CSMTPParams::connectTypeToInt(text); }),
                  std::string("CSMTPParams::connectTypeToInt: invalid connect type: ") + text);
    }
    try {
        CSMTPParams::connectTypeToInt("SSL");
        FAIL();
    } catch (const CInvalidArgError& error) {
        EXPECT_EQ(error.getPlace(), "CSMTPParams::connectTypeToInt");
        EXPECT_EQ(error.getMessage(), "invalid connect type: SSL");
    }
}

}  // namespace
