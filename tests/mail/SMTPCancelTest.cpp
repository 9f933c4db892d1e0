// Mails that are cancelled while the server lets them wait, with each driver.
#include "tests/async/TransferDriver.h"
#include "tests/mail/MailTestSupport.h"
#include "tests/net/CancelTestSupport.h"
#include "tests/support/Deadline.h"
#include "tests/support/ScriptedPeer.h"
#include "vexil/mail/SMTPClient.h"
#include "zet/BufferStream.h"

namespace {

using namespace vexil_test;
using testing::IsEmpty;
using vexil::CSMTPClient;
using vexil::CSMTPParams;

const std::string message = "Subject: s\r\n\r\ntext\r\n";
const std::string envelope = "MAIL FROM:<a@x>\r\nRCPT TO:<b@x>\r\nDATA\r\n" + message + ".\r\n";
/// The bytes before that, except a name of variable length.
const std::string ehlo = "EHLO \r\n";

CSMTPParams paramsOf(const ScriptedPeer& peer) {
    return CSMTPParams("127.0.0.1", peer.port(), CSMTPParams::ConnectUnencrypted, "", "");
}

/// The beginning of a connection, including the reply to EHLO.
ConnectionScript playGreeting(ScriptedPeer& peer) {
    ConnectionScript script = peer.onConnection();
    script.clientMayLeave().reply("220 Ready\r\n").expectLine().reply("250 mail\r\n");
    return script;
}

/// The same up to the message.
ConnectionScript playEnvelope(ScriptedPeer& peer) {
    ConnectionScript script = playGreeting(peer);
    script.expectLine("MAIL FROM:<a@x>").reply("250 ok\r\n").expectLine("RCPT TO:<b@x>").reply("250 ok\r\n");
    script.expectLine("DATA").reply("354 go on\r\n");
    return script;
}

class SMTPCancelTest : public testing::TestWithParam<Driver> {
protected:
    ~SMTPCancelTest() override {
        request = nullptr;
        EXPECT_TRUE(peer.waitUntilIdle());
        EXPECT_THAT(peer.failures(), IsEmpty());
    }

    /// Cancels the mail when the peer has read this many bytes, and checks the error.
    void cancelBehind(std::size_t count) {
        CSMTPClient::makeSendMailRequest(*request, paramsOf(peer), "a@x", {"b@x"},
                                         new zet::CBufferStream(sharedBufferOf(message)));
        request->setTransferProgress(progress);
        const auto error = errorOfCancelled(
            *request, [&] { drive(GetParam(), *request); },
            [&] {
                EXPECT_TRUE(peer.waitForReceived(0, count));
                progress->waitUntilItWaits();
            });
        expectCancelled(error);
        EXPECT_EQ(error->getURL(), request->getURL());
        EXPECT_EQ(error->getResponseCodeDomain(), "smtp");
        EXPECT_EQ(peer.connectionCount(), 1u);
    }

    const Deadline deadline{"a cancelled transfer ends, and its connection is not used again"};
    ScriptedPeer peer;
    P<CNetRequest> request = new CNetRequest;
    const P<TestProgress> progress = new TestProgress;
};
INSTANTIATE_TEST_SUITE_P(UnderEach, SMTPCancelTest, testing::ValuesIn(allDrivers), nameOfDriver);

TEST_P(SMTPCancelTest, WhileTheServerDoesNotGreet) {
    peer.onConnection().clientMayLeave().waitForClose();
    cancelBehind(0);
}

TEST_P(SMTPCancelTest, WhileARecipientIsNotAnswered) {
    playGreeting(peer)
        .expectLine("MAIL FROM:<a@x>")
        .reply("250 ok\r\n")
        .expectLine("RCPT TO:<b@x>")
        .waitForClose();
    cancelBehind(ehlo.size() + std::string("MAIL FROM:<a@x>\r\nRCPT TO:<b@x>\r\n").size());
}

TEST_P(SMTPCancelTest, WhileTheMessageIsNotTaken) {
    // libcurl waits here by itself, and sends QUIT; for a reply to that it would wait for two minutes.
    playEnvelope(peer).expectExactly(message + ".\r\n").expectLine("QUIT").reply("221 bye\r\n").close();
    cancelBehind(ehlo.size() + envelope.size());
}

TEST(SMTPCancelOperationTest, ACancelledClientSendsTheNextMail) {
    const Deadline deadline{"a cancelled transfer ends, and its connection is not used again"};
    ScriptedPeer peer;
    playEnvelope(peer).expectExactly(message + ".\r\n").readUntilClose();
    playEnvelope(peer).expectExactly(message + ".\r\n").reply("250 ok\r\n").expectLine("QUIT").close();
    {
        CSMTPClient client(paramsOf(peer));
        CNetRequest* request = nullptr;
        client.setRequestSetup(new FunctionSetup([&](CNetRequest& prepared) {
            prepared.setCancellable(true);
            request = &prepared;
        }));
        ASSERT_TRUE(request);
        const auto send = [&] { client.sendMail("a@x", {"b@x"}, bufferOf(message)); };
        expectCancelled(errorOfCancelled(
            *request, send, [&] { EXPECT_TRUE(peer.waitForReceived(0, ehlo.size() + envelope.size())); }));
        send();
    }
    EXPECT_TRUE(peer.waitUntilIdle());
    EXPECT_EQ(peer.connectionCount(), 2u);
    EXPECT_THAT(peer.failures(), IsEmpty());
}

TEST(SMTPCancelOperationTest, BetweenTwoMailsIsNotLostByAToken) {
    const Deadline deadline{"a cancelled client sends no further mail"};
    ScriptedPeer peer;
    playEnvelope(peer)
        .expectExactly(message + ".\r\n")
        .reply("250 ok\r\n")
        .expectLine("QUIT")
        .reply("221 bye\r\n")
        .close();
    const P<vexil::CCancelToken> token = new vexil::CCancelToken;
    {
        CSMTPClient client(paramsOf(peer));
        client.setCancelToken(token);
        // It initialises the request again.
        client.setRequestSetup(nullptr);
        client.sendMail("a@x", {"b@x"}, bufferOf(message));
        token->cancel();
        expectCancelled(thrownBy<CCURLError>([&] { client.sendMail("a@x", {"b@x"}, bufferOf(message)); }));
        expectCancelled(thrownBy<CCURLError>([&] { client.testConnection(); }));
        EXPECT_THAT(peer.received(0), testing::EndsWith(envelope));
    }
    EXPECT_TRUE(peer.waitUntilIdle());
    EXPECT_THAT(peer.failures(), IsEmpty());
    EXPECT_EQ(peer.connectionCount(), 1u);
}

}  // namespace
