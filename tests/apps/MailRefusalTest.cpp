#include "apps/vexil/mail/MailRefusal.h"

#include "apps/vexil/console/ErrorReport.h"
#include "apps/vexil/program/Diagnosis.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vexil::app {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// A failed mail: libcurl's code and detail, and the replies of the server. The last reply has that code.
struct CFailure {
    CURLcode code = CURLE_SEND_ERROR;
    const char* detail = "";
    std::vector<const char*> replies;
    bool mayHaveBeenSent = false;

    CMailError makeError() const {
        TArray<CNetReply> all;
        for (const char* reply : replies) {
            all.push_back(CNetReply(std::stoi(reply), String(reply).substr(4), reply));
        }
        const int last = all.empty() ? 0 : all.back().getCode();
        const CCURLError error(code, detail, "smtp", last, all.empty() ? String() : all.back().getText(), "",
                               "smtp://h:25", "");
        return makeMailError(error, all, {"jo@example.com"}, mayHaveBeenSent);
    }
    std::string getText() const {
        const CMailError error = makeError();
        return CErrorReport(error, diagnose(error).hint).getText().toUTF8();
    }
    ExitCode getExitCode() const { return diagnose(makeError()).getExitCode(); }
};

CFailure refuseLogin(const char* reply) {
    return {CURLE_LOGIN_DENIED, "", {"220 h", "250 AUTH PLAIN", reply}};
}

CFailure refuse(const char* command, const char* reply) {
    return {CURLE_SEND_ERROR, command, {"220 h", "250 h", reply}};
}

CFailure refuseContent(const char* reply) {
    return {CURLE_WEIRD_SERVER_REPLY, "", {"220 h", "250 h", "250 ok", "250 ok", "354 go on", reply}};
}

}  // namespace

TEST(MailRefusalTest, ARefusedLoginIsAWrongPassword) {
    for (const char* const reply : {"535 5.7.8 no", "550 no", "525 disabled", "554 no"}) {
        const CFailure failure = refuseLogin(reply);
        EXPECT_THAT(failure.getText(), AllOf(HasSubstr("The server refuses the login."), HasSubstr(reply),
                                             HasSubstr("Check VEXIL_MAIL_USER and VEXIL_MAIL_PASSWORD")));
        EXPECT_EQ(failure.getExitCode(), ExitCode::RefusedLogin) << reply;
    }
}

TEST(MailRefusalTest, ALoginThatCannotBeCheckedNowIsNoWrongPassword) {
    for (const char* const reply :
         {"454 4.7.0 Temporary authentication failure", "421 4.3.0 later", "432 4.7.12 change"}) {
        const CFailure failure = refuseLogin(reply);
        EXPECT_THAT(failure.getText(), AllOf(HasSubstr(reply), HasSubstr("Try again later"),
                                             Not(HasSubstr("VEXIL_MAIL_PASSWORD"))));
        EXPECT_EQ(failure.getExitCode(), ExitCode::Failed) << reply;
    }
}

TEST(MailRefusalTest, ALoginThatNeedsEncryptionIsNoWrongPassword) {
    for (const CFailure& failure :
         {refuseLogin("538 5.7.11 Encryption required"),
          refuseLogin("530 5.7.0 Must issue a STARTTLS command first"),
          refuse("MAIL failed: 530", "530 5.7.0 Must issue a STARTTLS command first"),
          refuse("RCPT failed: 530 (last error)", "530 5.7.10 tls required")}) {
        EXPECT_THAT(failure.getText(),
                    AllOf(HasSubstr("The server demands an encrypted connection."),
                          HasSubstr("--security starttls"), Not(HasSubstr("VEXIL_MAIL_PASSWORD"))));
        EXPECT_EQ(failure.getExitCode(), ExitCode::Failed);
    }
}

TEST(MailRefusalTest, ALoginOfAnotherKindIsNoWrongPassword) {
    const CFailure noneInCommon = {CURLE_LOGIN_DENIED, "", {"220 h", "250 AUTH GSSAPI"}};
    EXPECT_THAT(noneInCommon.getText(), AllOf(Not(HasSubstr("AUTH GSSAPI")), Not(HasSubstr("250"))));
    for (const CFailure& failure : {noneInCommon, refuseLogin("504 5.5.4 unknown"),
                                    refuseLogin("534 5.7.9 too weak"), refuseLogin("334 more")}) {
        EXPECT_THAT(failure.getText(), AllOf(HasSubstr("no way to log in that this program knows"),
                                             Not(HasSubstr("VEXIL_MAIL_PASSWORD"))));
        EXPECT_EQ(failure.getExitCode(), ExitCode::Failed);
    }
}

TEST(MailRefusalTest, ALoginThatIsMissingIsToldAtEachCommand) {
    for (const char* const command :
         {"MAIL failed: 530", "RCPT failed: 530 (last error)", "DATA failed: 530"}) {
        const CFailure failure = refuse(command, "530 5.7.0 Authentication required");
        EXPECT_THAT(failure.getText(),
                    AllOf(HasSubstr("The server demands a login."), HasSubstr("set VEXIL_MAIL_USER")));
        EXPECT_EQ(failure.getExitCode(), ExitCode::RefusedLogin) << command;
    }
}

TEST(MailRefusalTest, WhatIsRefusedFollowsFromTheCommand) {
    EXPECT_THAT(refuse("MAIL failed: 550", "550 no").getText(), HasSubstr("The server refuses the sender."));
    EXPECT_THAT(
        refuse("MAIL failed: 552", "552 5.3.4 too big").getText(),
        AllOf(HasSubstr("because of its size."), HasSubstr("552 5.3.4 too big"), Not(HasSubstr("sender."))));
    EXPECT_THAT(refuse("MAIL failed: 452", "452 4.3.1 disk").getText(),
                AllOf(HasSubstr("The server accepts no mail for now."), HasSubstr("Try again later")));
    // 552 to RCPT means a full mailbox.
    const CFailure fullMailbox = {
        CURLE_SEND_ERROR, "RCPT failed: 552 (last error)", {"220 h", "250 h", "250 ok", "552 full"}};
    EXPECT_THAT(fullMailbox.getText(), AllOf(HasSubstr("The server refuses the recipient jo@example.com."),
                                             HasSubstr("552 full"), Not(HasSubstr("size"))));
    EXPECT_THAT(refuse("DATA failed: 554", "554 no").getText(), HasSubstr("The server refuses the mail."));
    EXPECT_THAT(refuseContent("554 5.7.1 spam").getText(),
                AllOf(HasSubstr("The server refuses the content of the mail."), HasSubstr("554 5.7.1 spam")));
    EXPECT_THAT(refuseContent("552 5.3.4 too big").getText(), HasSubstr("because of its size."));
    // With and without the enhanced code.
    for (const CFailure& failure :
         {refuse("MAIL failed: 552", "552 too big"), refuseContent("552 too big"),
          refuseContent("554 5.3.4 too big"), refuse("MAIL failed: 554", "554 5.3.4 too big")}) {
        EXPECT_THAT(failure.getText(), HasSubstr("because of its size."));
    }
    EXPECT_THAT(refuseContent("451 later").getText(), HasSubstr("Try again later."));
    EXPECT_THAT(refuse("MAIL failed: 421", "421 bye").getText(),
                AllOf(HasSubstr("The server ends the connection."), HasSubstr("Try again later.")));
    const CFailure greeting = {
        CURLE_WEIRD_SERVER_REPLY, "Got unexpected smtp-server response: 554", {"554 go away"}};
    EXPECT_THAT(greeting.getText(),
                AllOf(HasSubstr("The server refuses the connection."), HasSubstr("554 go away")));
    EXPECT_EQ(greeting.getExitCode(), ExitCode::Failed);
}

TEST(MailRefusalTest, ARefusedMailIsNotCalledABrokenConnection) {
    EXPECT_THAT(refuse("MAIL failed: 550", "550 no").getText(), Not(HasSubstr("what you can do")));
    EXPECT_THAT(refuse("MAIL failed: 499", "499 no").getText(), HasSubstr("Try again later."));
    EXPECT_THAT(refuse("MAIL failed: 500", "500 no").getText(), Not(HasSubstr("Try again")));
    const CFailure broken = {CURLE_RECV_ERROR, "", {"220 h", "250 h"}};
    EXPECT_THAT(broken.getText(), HasSubstr("The connection was lost."));
}

TEST(MailRefusalTest, ATemporaryRefusalOfEncryptionIsNoAdviceToGoWithout) {
    const CFailure temporary = {CURLE_USE_SSL_FAILED,
                                "STARTTLS denied, code 454",
                                {"220 h", "250 STARTTLS", "454 4.7.0 TLS not available"}};
    EXPECT_THAT(temporary.getText(), AllOf(HasSubstr("The server refuses to encrypt the connection."),
                                           HasSubstr("Try again later."), Not(HasSubstr("unencrypted"))));
    const CFailure missing = {CURLE_USE_SSL_FAILED, "STARTTLS not supported.", {"220 h", "250 h"}};
    EXPECT_THAT(missing.getText(), AllOf(HasSubstr("offers no STARTTLS"), Not(HasSubstr("250"))));
}

TEST(MailRefusalTest, AReplyThatIsNotTheFailureIsNotShown) {
    for (const CURLcode code :
         {CURLE_RECV_ERROR, CURLE_SEND_ERROR, CURLE_GOT_NOTHING, CURLE_OPERATION_TIMEDOUT,
          CURLE_SSL_CONNECT_ERROR, CURLE_PEER_FAILED_VERIFICATION}) {
        for (const char* const reply : {"250 all is well", "220 ready", "503 use HELO"}) {
            const std::string text = CFailure{code, "detail", {reply}}.getText();
            EXPECT_THAT(text, AllOf(HasSubstr("detail"), Not(HasSubstr("server message")),
                                    Not(HasSubstr("response code"))))
                << text;
        }
    }
}

TEST(MailRefusalTest, AMailThatMayHaveArrivedIsNotToBeSentAgain) {
    for (const CURLcode code : {CURLE_RECV_ERROR, CURLE_SEND_ERROR, CURLE_OPERATION_TIMEDOUT}) {
        const CFailure failure = {code, "", {"220 h", "250 h", "250 ok", "250 ok", "354 go on"}, true};
        EXPECT_THAT(failure.getText(), AllOf(HasSubstr("The server may have accepted the mail."),
                                             HasSubstr("before you send it again"),
                                             Not(HasSubstr("Try again")), Not(HasSubstr("go on"))));
        EXPECT_EQ(failure.getExitCode(), ExitCode::Failed);
    }
}

}  // namespace vexil::app
