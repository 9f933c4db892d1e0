// Tests when a refusal of an FTP server means that it accepts no further connection.
#include "apps/vexil/ftp/FTPTransferPolicy.h"

#include "tests/ftp/FTPPeer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace vexil::app {

namespace {

using testing::IsEmpty;
using vexil_test::FTPDialogue;
using vexil_test::FTPExchange;
using vexil_test::FTPPeer;
using Data = FTPExchange::Data;

const FTPExchange greeting{"", {"220 Ready"}};
const FTPExchange user{"USER anonymous", {"331 Password"}};
const FTPExchange password{"PASS ftp@example.com", {"230 In"}};
const FTPExchange pwd{"PWD", {"257 \"/\" is where you are"}};
const FTPExchange epsv{"EPSV", {"229 Extended passive (|||DATA_PORT|)"}};
const FTPExchange binary{"TYPE I", {"200 Binary"}};
const FTPExchange size{"SIZE a", {"213 3"}};
const FTPExchange retr{"RETR a", {"150 Here it comes", "226 Sent"}, Data::Send, "abc"};
const FTPExchange quitOrNothing{"QUIT", {"221 Bye"}, Data::None, "", true};
const FTPDialogue login{greeting, user, password, pwd};
const FTPDialogue firstTransfer{epsv, binary, size, retr};

FTPDialogue joined(std::initializer_list<FTPDialogue> parts) {
    FTPDialogue all;
    for (const FTPDialogue& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

class FTPTransferPolicyTest : public testing::Test {
protected:
    void SetUp() override { m_request->setOptionInt(CURLOPT_FTP_FILEMETHOD, CURLFTPMETHOD_NOCWD); }

    void transfer() {
        m_request->setURL("ftp://" + String::fromUTF8(m_peer.host()) + "/a");
        m_policy.perform(*m_request);
    }
    /// Performs a request that must fail. Returns whether the server accepts no further connection.
    bool isRefused() {
        try {
            transfer();
        } catch (const CError& error) {
            return m_policy.isRefusedConnection(*m_request, error);
        }
        ADD_FAILURE() << "the transfer has not failed";
        return false;
    }
    void expectEnd() {
        EXPECT_TRUE(m_peer.waitUntilTold());
        EXPECT_THAT(m_peer.failures(), IsEmpty());
    }

    FTPPeer m_peer;
    const P<CNetRequest> m_request = new CNetRequest;
    CFTPTransferPolicy m_policy;
};

/// The ways in which a server may refuse a login.
struct Refusal {
    const char* description;
    FTPDialogue dialogue;
};

const Refusal refusals[] = {
    {"421 for a greeting", {{"", {"421 Too many connections"}}}},
    {"421 for the user name", {greeting, {"USER anonymous", {"421 Too many users"}}}},
    {"421 for the password", {greeting, user, {"PASS ftp@example.com", {"421 Too many users"}}}},
    {"530 for the user name", {greeting, {"USER anonymous", {"530 Too many users"}}, quitOrNothing}},
    {"530 for the password",
     {greeting, user, {"PASS ftp@example.com", {"530 Too many logins"}}, quitOrNothing}},
    {"the end instead of a greeting", {{"", {}}}},
    {"the end instead of a reply to the user name", {greeting, {"USER anonymous", {}}}},
    {"the end instead of a reply to the password", {greeting, user, {"PASS ftp@example.com", {}}}},
};

TEST_F(FTPTransferPolicyTest, ARefusedLoginBehindOneThatHasWorkedIsARefusedConnection) {
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.description);
        FTPPeer peer;
        peer.play(joined({login, firstTransfer, {quitOrNothing}}));
        peer.play(refusal.dialogue);
        CFTPTransferPolicy policy;
        m_request->setURL("ftp://" + String::fromUTF8(peer.host()) + "/a");
        policy.perform(*m_request);
        // As if another request used the connection.
        m_request->setOptionInt(CURLOPT_FRESH_CONNECT, 1);
        try {
            policy.perform(*m_request);
            ADD_FAILURE() << "the transfer has not failed";
        } catch (const CError& error) {
            EXPECT_TRUE(policy.isRefusedConnection(*m_request, error));
        }
        m_request->setOptionInt(CURLOPT_FRESH_CONNECT, 0);
        EXPECT_THAT(peer.failures(), IsEmpty());
    }
}

TEST_F(FTPTransferPolicyTest, ARefusedLoginBeforeOneHasWorkedIsNot) {
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.description);
        m_peer.play(refusal.dialogue);
        EXPECT_FALSE(isRefused());
    }
    expectEnd();
}

TEST_F(FTPTransferPolicyTest, AKeptConnectionThatTheServerEndsIsNot) {
    m_peer.play(joined({login, firstTransfer, {{"EPSV", {"421 Idle for too long"}}}}));
    transfer();
    EXPECT_FALSE(isRefused());
    expectEnd();
}

TEST_F(FTPTransferPolicyTest, ATransferThatTheServerRefusesWith421IsNot) {
    const FTPExchange refused{"RETR a", {"421 Not this one"}};
    m_peer.play(joined({login, firstTransfer, {epsv, size, refused}}));
    transfer();
    EXPECT_FALSE(isRefused()) << "on a kept connection";
    m_peer.play(joined({login, {epsv, binary, size, refused}}));
    EXPECT_FALSE(isRefused()) << "on a new connection";
    expectEnd();
}

TEST_F(FTPTransferPolicyTest, AFileThatTheServerRefusesWith530IsNot) {
    m_peer.play(joined({login, firstTransfer, {epsv, size, {"RETR a", {"530 Not for you"}}, quitOrNothing}}));
    transfer();
    EXPECT_FALSE(isRefused());
}

}  // namespace

}  // namespace vexil::app
