// The commands of the mail client to a server, line by line, and its result for each reply and each lost
// connection.
#include "tests/mail/MailTestSupport.h"
#include "tests/mail/SMTPPeer.h"
#include "tests/net/NetRequestTestSupport.h"
#include "tests/support/ScriptedPeer.h"
#include "tests/support/WhatOf.h"
#include "vexil/mail/MimeMessage.h"
#include "vexil/mail/SMTPClient.h"
#include "vexil/net/CURLError.h"
#include "zet/BufferStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace vexil;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using vexil_test::bufferOf;
using vexil_test::LogCapture;
using vexil_test::ScriptedPeer;
using vexil_test::sharedBufferOf;
using vexil_test::SMTPPeer;
using vexil_test::thrownBy;
using vexil_test::whatOf;
using Security = SMTPPeer::Security;
using Texts = std::vector<std::string>;

CSMTPParams paramsOf(const SMTPPeer& peer, CSMTPParams::ConnectType type = CSMTPParams::ConnectUnencrypted,
                     const char* login = "", const char* password = "secret") {
    return CSMTPParams("127.0.0.1", peer.port(), type, login, password);
}

void send(CSMTPClient& client, std::string_view message = "Subject: s\r\n\r\ntext\r\n") {
    client.sendMail("a@x", {"b@x", "c@x"}, bufferOf(message));
}

const Texts mail = {"MAIL FROM:<a@x>", "RCPT TO:<b@x>", "RCPT TO:<c@x>", "DATA",
                    "Subject: s\r\n\r\ntext\r\n.\r\n"};
const Texts plainLogin = {"AUTH PLAIN", "AHRlc3RlcgBzZWNyZXQ="};   // NUL "tester" NUL "secret"
const Texts stagedLogin = {"AUTH LOGIN", "dGVzdGVy", "c2VjcmV0"};  // "tester", "secret"

Texts join(const std::vector<Texts>& pieces) {
    Texts all;
    for (const Texts& piece : pieces) {
        all.insert(all.end(), piece.begin(), piece.end());
    }
    return all;
}

// ---- dialogues -------------------------------------------------------------------------------------------

TEST(SMTPClientWireTest, SaysWhatAMailNeeds) {
    SMTPPeer peer;
    CSMTPClient client(paramsOf(peer));
    send(client);
    EXPECT_THAT(peer.dialogue(0), ElementsAreArray(join({{"EHLO *"}, mail})));
}

TEST(SMTPClientWireTest, LaterMailsUseTheSameConnection) {
    SMTPPeer peer(Security::None, {"AUTH PLAIN"});
    {
        CSMTPClient client(paramsOf(peer, CSMTPParams::ConnectUnencrypted, "tester"));
        send(client);
        send(client);
        client.sendMail("other@x", {"d@x"}, bufferOf("m"));
    }
    ASSERT_TRUE(peer.waitUntilEnded());
    EXPECT_EQ(peer.connectionCount(), 1u);
    EXPECT_THAT(
        peer.dialogue(0),
        ElementsAreArray(join({{"EHLO *"},
                               plainLogin,
                               mail,
                               mail,
                               {"MAIL FROM:<other@x>", "RCPT TO:<d@x>", "DATA", "m\r\n.\r\n", "QUIT"}})));
}

TEST(SMTPClientWireTest, LogsInAsTheServerWants) {
    const auto dialogueWith = [](const Texts& offers) {
        SMTPPeer peer(Security::None, offers);
        CSMTPClient client(paramsOf(peer, CSMTPParams::ConnectUnencrypted, "tester"));
        send(client);
        return peer.dialogue(0);
    };
    EXPECT_THAT(dialogueWith({"AUTH PLAIN"}), ElementsAreArray(join({{"EHLO *"}, plainLogin, mail})));
    EXPECT_THAT(dialogueWith({"SIZE", "AUTH LOGIN", "HELP"}),
                ElementsAreArray(join({{"EHLO *"}, stagedLogin, mail})));
    EXPECT_THAT(dialogueWith({"SIZE 1000"}), ElementsAreArray(join({{"EHLO *"}, mail})))
        << "skipped silently where no login is offered";
}

TEST(SMTPClientWireTest, TurnsTLSOnFirst) {
    for (const char* login : {"", "tester"}) {
        SMTPPeer peer(Security::None, {"STARTTLS", "AUTH PLAIN"});
        CSMTPClient client(paramsOf(peer, CSMTPParams::ConnectStartTLS, login));
        send(client);
        send(client);
        EXPECT_THAT(
            peer.dialogue(0),
            ElementsAreArray(join(
                {{"EHLO *", "STARTTLS", "(TLS)", "EHLO *"}, *login ? plainLogin : Texts(), mail, mail})));
    }
}

TEST(SMTPClientWireTest, BeginsWithTLS) {
    for (const char* login : {"", "tester"}) {
        SMTPPeer peer(Security::Implicit, {"AUTH LOGIN"});
        CSMTPClient client(paramsOf(peer, CSMTPParams::ConnectSSL, login));
        send(client);
        send(client);
        EXPECT_THAT(
            peer.dialogue(0),
            ElementsAreArray(join({{"(TLS)", "EHLO *"}, *login ? stagedLogin : Texts(), mail, mail})));
    }
}

TEST(SMTPClientWireTest, WithoutEncryptionSTARTTLSIsNotUsed) {
    SMTPPeer peer(Security::None, {"STARTTLS"});
    CSMTPClient client(paramsOf(peer));
    send(client);
    EXPECT_THAT(peer.dialogue(0), ElementsAreArray(join({{"EHLO *"}, mail})));
}

TEST(SMTPClientWireTest, AMailMayHaveNoSender) {
    SMTPPeer peer;
    CSMTPClient client(paramsOf(peer));
    client.sendMail("", {"<b@x>"}, bufferOf("m"));
    EXPECT_THAT(peer.dialogue(0),
                ElementsAre("EHLO *", "MAIL FROM:<>", "RCPT TO:<b@x>", "DATA", "m\r\n.\r\n"));
}

TEST(SMTPClientWireTest, ARequestOfTheCallersSendsAMail) {
    SMTPPeer peer;
    CNetRequest request;
    const auto bytes = sharedBufferOf("m");
    CSMTPClient::makeSendMailRequest(request, paramsOf(peer), "a@x", {"b@x"}, new zet::CBufferStream(bytes));
    EXPECT_EQ(peer.connectionCount(), 0u);
    request.perform();
    EXPECT_THAT(peer.dialogue(0),
                ElementsAre("EHLO *", "MAIL FROM:<a@x>", "RCPT TO:<b@x>", "DATA", "m\r\n.\r\n"));
}

/// A stream that records its destruction.
class WatchedStream : public zet::CBufferStream {
public:
    WatchedStream(const TBuffer<unsigned char>* bytes, bool& isThere)
        : CBufferStream(bytes), m_isThere(isThere) {
        m_isThere = true;
    }
    ~WatchedStream() override { m_isThere = false; }

private:
    bool& m_isThere;
};

TEST(SMTPClientWireTest, AMessageThatOnlyTheRequestHoldsMayBeSentAgain) {
    SMTPPeer peer;
    CNetRequest request;
    bool isThere = false;
    const auto bytes = sharedBufferOf("m");
    auto* const stream = new WatchedStream(bytes, isThere);
    CSMTPClient::makeSendMailRequest(request, paramsOf(peer), "a@x", {"b@x"}, stream);
    request.perform();
    ASSERT_TRUE(isThere);
    CSMTPClient::makeSendMailRequest(request, paramsOf(peer), "a@x", {"c@x"}, stream);
    ASSERT_TRUE(isThere);
    request.perform();
    EXPECT_EQ(peer.dialogue(0).size(), 9u);
}

TEST(SMTPClientWireTest, TheRecipientsAreThoseOfTheListWhenATransferBegins) {
    SMTPPeer peer;
    CNetRequest request;
    const auto bytes = sharedBufferOf("m");
    CSMTPClient::makeSendMailRequest(request, paramsOf(peer), "a@x", {"b@x"}, new zet::CBufferStream(bytes));
    const P<CNetStringList> recipients = new CNetStringList;
    request.setMailRecipients(recipients);
    recipients->add("<c@x>");
    request.perform();
    CNetStringList others;
    others.add("<d@x>");
    *recipients = others;
    request.perform();
    EXPECT_THAT(peer.dialogue(0),
                ElementsAre("EHLO *", "MAIL FROM:<a@x>", "RCPT TO:<c@x>", "DATA", "m\r\n.\r\n",
                            "MAIL FROM:<a@x>", "RCPT TO:<d@x>", "DATA", "m\r\n.\r\n"));
}

TEST(SMTPClientWireTest, AMailToNobodyIsASuccessWithAWarning) {
    SMTPPeer peer;
    CSMTPClient client(paramsOf(peer));
    const LogCapture log;
    client.sendMail("a@x", {}, bufferOf("m"));
    EXPECT_THAT(peer.dialogue(0), ElementsAre("EHLO *", "HELP"));
    EXPECT_THAT(log.lines(), ElementsAre("W: A mail without recipients is sent to nobody."));
    send(client);
    EXPECT_THAT(peer.dialogue(0), ElementsAreArray(join({{"EHLO *", "HELP"}, mail})));
}

// ---- tests of the connection -----------------------------------------------------------------------------

TEST(SMTPClientWireTest, ATestLogsInAndHangsUp) {
    const auto dialogueOf = [](Security security, CSMTPParams::ConnectType type) {
        SMTPPeer peer(security, {"STARTTLS", "AUTH PLAIN"});
        CSMTPClient client(paramsOf(peer, type, "tester"));
        client.testConnection();
        EXPECT_TRUE(peer.waitUntilEnded()) << "the connection is left open";
        Texts said = peer.dialogue(0);
        // It does not matter if it sends QUIT.
        std::erase(said, "QUIT");
        return said;
    };
    EXPECT_THAT(dialogueOf(Security::None, CSMTPParams::ConnectUnencrypted),
                ElementsAreArray(join({{"EHLO *"}, plainLogin})));
    EXPECT_THAT(dialogueOf(Security::None, CSMTPParams::ConnectStartTLS),
                ElementsAreArray(join({{"EHLO *", "STARTTLS", "(TLS)", "EHLO *"}, plainLogin})));
    EXPECT_THAT(dialogueOf(Security::Implicit, CSMTPParams::ConnectSSL),
                ElementsAreArray(join({{"(TLS)", "EHLO *"}, plainLogin})));
}

TEST(SMTPClientWireTest, ATestDoesNotDisturbTheConnectionOfTheMails) {
    SMTPPeer peer;
    CSMTPClient client(paramsOf(peer));
    send(client);
    client.testConnection();
    send(client);
    EXPECT_EQ(peer.connectionCount(), 2u);
    EXPECT_THAT(peer.dialogue(0), ElementsAreArray(join({{"EHLO *"}, mail, mail})));
}

TEST(SMTPClientWireTest, ATestFailsAsAMailWould) {
    SMTPPeer peer(Security::None, {"AUTH PLAIN"});
    peer.setReply("(login)", "535 5.7.8 wrong\r\n");
    CSMTPClient client(paramsOf(peer, CSMTPParams::ConnectUnencrypted, "tester"));
    const auto error = thrownBy<CCURLError>([&] { client.testConnection(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_LOGIN_DENIED);
    EXPECT_EQ(error->getResponseCode(), 535);
    EXPECT_TRUE(peer.waitUntilEnded());
}

// ---- messages --------------------------------------------------------------------------------------------

std::string onTheWire(std::string_view message) {
    SMTPPeer peer;
    CSMTPClient client(paramsOf(peer));
    send(client, message);
    const Texts said = peer.dialogue(0);
    return said.size() == mail.size() + 1 ? said.back() : "no message";
}

TEST(SMTPClientWireTest, StuffsLeadingDotsAndEndsTheLastLine) {
    EXPECT_EQ(onTheWire("m"), "m\r\n.\r\n");
    EXPECT_EQ(onTheWire("m\r\n"), "m\r\n.\r\n");
    EXPECT_EQ(onTheWire("m\r\n\r\n"), "m\r\n\r\n.\r\n");
    EXPECT_EQ(onTheWire(".a\r\n..b\r\nc.\r\n.\r\nd"), "..a\r\n...b\r\nc.\r\n..\r\nd\r\n.\r\n");
    EXPECT_EQ(onTheWire("a\r\n."), "a\r\n..\r\n.\r\n");
    EXPECT_EQ(onTheWire("."), "..\r\n.\r\n");
    EXPECT_EQ(onTheWire("a\r\n.\r\nQUIT\r\n"), "a\r\n..\r\nQUIT\r\n.\r\n") << "no message ends itself";
    EXPECT_EQ(onTheWire("a\nb\n.c"), "a\nb\n.c\r\n.\r\n") << "a bare LF is no line end";
}

TEST(SMTPClientWireTest, AnEmptyMessageStaysEmpty) {
    EXPECT_EQ(onTheWire(""), ".\r\n");
}

TEST(SMTPClientWireTest, LongLinesStay) {
    const std::string line(200000, 'x');
    EXPECT_TRUE(onTheWire(line + "\r\n" + line) == line + "\r\n" + line + "\r\n.\r\n");
}

TEST(SMTPClientWireTest, DotsAreStuffedWhereverABlockEnds) {
    // Lines of 61 bytes, a prime: dots are at every position of libcurl's blocks.
    std::string message;
    std::string stuffed;
    for (int i = 0; i < 4000; ++i) {
        const std::string line = "." + std::string(58, static_cast<char>('a' + i % 26)) + "\r\n";
        message += line;
        stuffed += "." + line;
    }
    EXPECT_TRUE(onTheWire(message) == stuffed + ".\r\n");
}

TEST(SMTPClientWireTest, AMIMEMessageArrivesAsItIsStored) {
    CMimeMessage message("");
    message.getHeaders()["Subject"] = "Grüße";
    message.setTextBody(".a\n");
    SMTPPeer peer;
    CSMTPClient client(paramsOf(peer));
    client.sendMail("a@x", {"b@x"}, message);
    const Texts said = peer.dialogue(0);
    ASSERT_EQ(said.size(), 5u);
    EXPECT_EQ(said[4], "Content-Type: text/plain; charset=utf-8\r\nMIME-Version: 1.0\r\n"
                       "Subject: =?utf-8?q?Gr=C3=BC=C3=9Fe?=\r\n\r\n..a\r\n.\r\n");
}

class CBrokenStream : public virtual CBase, public zet::IInStream {
public:
    int read(void*, int) override { throw CError("the disk is gone"); }
    int64 getSize() override { return -1; }
    void seek(int64) override {}
    int64 getPosition() override { return 0; }
};

TEST(SMTPClientWireTest, AMessageThatCannotBeReadIsItsOwnError) {
    SMTPPeer peer;
    CNetRequest request;
    CSMTPClient::makeSendMailRequest(request, paramsOf(peer), "a@x", {"b@x"}, new CBrokenStream);
    EXPECT_EQ(whatOf([&] { request.perform(); }), "the disk is gone");
    ASSERT_TRUE(peer.waitUntilEnded());
    EXPECT_THAT(peer.dialogue(0), ElementsAre("EHLO *", "MAIL FROM:<a@x>", "RCPT TO:<b@x>", "DATA"))
        << "no message was completed";
}

// ---- refusals --------------------------------------------------------------------------------------------

TEST(SMTPClientWireTest, ARefusedAddressIsTheServersError) {
    const struct {
        const char* command;
        Texts said;
    } cases[] = {
        {"MAIL", {"EHLO *", "MAIL FROM:<a@x>", "QUIT"}},
        {"RCPT TO:<b", {"EHLO *", "MAIL FROM:<a@x>", "RCPT TO:<b@x>", "QUIT"}},
        {"RCPT TO:<c", {"EHLO *", "MAIL FROM:<a@x>", "RCPT TO:<b@x>", "RCPT TO:<c@x>", "QUIT"}},
    };
    for (const auto& [command, said] : cases) {
        SMTPPeer peer;
        peer.setReply(command, "550-5.1.1 no\r\n550 5.1.1 such user\r\n");
        CSMTPClient client(paramsOf(peer));
        const auto error = thrownBy<CCURLError>([&] { send(client); });
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getCode(), CURLE_SEND_ERROR);
        EXPECT_EQ(error->getResponseCodeDomain(), "smtp");
        EXPECT_EQ(error->getResponseCode(), 550);
        EXPECT_EQ(client.getRequest().getResponseText(550), "550-5.1.1 no\n550 5.1.1 such user");
        // Depending on its version, libcurl sends QUIT during the transfer or after it.
        const String goodbye = client.getRequest().getResponseText(221);
        EXPECT_THAT(goodbye.toUTF8(), testing::AnyOf("", "221 bye"));
        EXPECT_THAT(error->getServerMessage().toUTF8(),
                    HasSubstr(goodbye.isEmpty() ? "550 5.1.1 such user" : "221 bye"))
            << "it is the last reply";
        EXPECT_THAT(peer.dialogue(0), ElementsAreArray(said));
        peer.setReply(command, "250 ok\r\n");
        send(client);
        EXPECT_THAT(peer.dialogue(1), ElementsAreArray(join({{"EHLO *"}, mail})))
            << "the client is usable again";
    }
}

TEST(SMTPClientWireTest, ARefusedMessageIsTheServersError) {
    for (const char* command : {"DATA", "."}) {
        SMTPPeer peer;
        peer.setReply(command, "554 5.7.1 spam\r\n");
        CSMTPClient client(paramsOf(peer));
        const auto error = thrownBy<CCURLError>([&] { send(client); });
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getResponseCode(), 554);
        EXPECT_EQ(client.getRequest().getResponseText(554), "554 5.7.1 spam");
        peer.setReply(command, *command == '.' ? "250 ok\r\n" : "354 go on\r\n");
        send(client);
    }
}

TEST(SMTPClientWireTest, AMailWithoutAFinalReplyMayHaveBeenSent) {
    const std::string reply = "250 taken\r\n";
    SMTPPeer whole;
    whole.setReply(".", reply);
    CSMTPClient success(paramsOf(whole));
    send(success);
    EXPECT_FALSE(success.mayHaveBeenSent());
    const std::size_t total = whole.replyBytes(0);
    for (std::size_t cut = 0; cut < total; ++cut) {
        SMTPPeer peer;
        peer.setReply(".", reply);
        peer.cutAfter(cut);
        CSMTPClient client(paramsOf(peer));
        ASSERT_TRUE(thrownBy<CCURLError>([&] { send(client); })) << cut;
        EXPECT_EQ(client.mayHaveBeenSent(), cut >= total - reply.size()) << cut;
        try {
            client.testConnection();
        } catch (const CCURLError&) {
            // Replies that are cut early also end a test.
        }
        EXPECT_FALSE(client.mayHaveBeenSent()) << "it is about the last operation";
    }
}

TEST(SMTPClientWireTest, ARefusedMailWasNotSentAndAnUnclearReplyMayBeOneOfSuccess) {
    for (const auto& [command, reply, mayHaveBeenSent] : {std::tuple{"MAIL", "550 no\r\n", false},
                                                          {"DATA", "554 no\r\n", false},
                                                          {".", "554 no\r\n", false},
                                                          {".", "451 later\r\n", false},
                                                          {".", "421 closing\r\n", false},
                                                          {".", "251 taken\r\n", true}}) {
        SMTPPeer peer;
        peer.setReply(command, reply);
        CSMTPClient client(paramsOf(peer));
        ASSERT_TRUE(thrownBy<CCURLError>([&] { send(client); })) << reply;
        EXPECT_EQ(client.mayHaveBeenSent(), mayHaveBeenSent) << command << " " << reply;
        peer.setReply(command, std::string(command) == "DATA" ? "354 go on\r\n" : "250 ok\r\n");
        send(client);
        EXPECT_FALSE(client.mayHaveBeenSent());
    }
}

TEST(SMTPClientWireTest, AfterAGoodbyeTheNextMailHasAConnectionOfItsOwn) {
    ScriptedPeer peer;
    for (const char* const verdict : {"421 closing\r\n", "250 taken\r\n"}) {
        auto script = peer.onConnection().clientMayLeave().reply("220 peer\r\n");
        for (int command = 0; command < 4; ++command) {
            script.expectLine().reply("250 ok\r\n");
        }
        script.expectLine("DATA").reply("354 go on\r\n");
        script.expectExactly("Subject: s\r\n\r\ntext\r\n.\r\n").reply(verdict);
        // If a server closes slowly, the client has time to use the connection for the next mail.
        script.waitForClose();
    }
    CSMTPClient client(CSMTPParams("127.0.0.1", peer.port(), CSMTPParams::ConnectUnencrypted, "", "secret"));
    ASSERT_TRUE(thrownBy<CCURLError>([&] { send(client); }));
    send(client);
    EXPECT_EQ(peer.connectionCount(), 2u);
}

TEST(SMTPClientWireTest, AWrongPasswordIsALoginThatWasDenied) {
    for (const char* mechanism : {"AUTH PLAIN", "AUTH LOGIN"}) {
        SMTPPeer peer(Security::None, {mechanism});
        peer.setReply("(login)", "535 5.7.8 wrong\r\n");
        CSMTPClient client(paramsOf(peer, CSMTPParams::ConnectUnencrypted, "tester"));
        const auto error = thrownBy<CCURLError>([&] { send(client); });
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getCode(), CURLE_LOGIN_DENIED);
        EXPECT_EQ(error->getResponseCode(), 535);
        EXPECT_EQ(client.getRequest().getResponseText(535), "535 5.7.8 wrong");
        for (const std::string& line : peer.dialogue(0)) {
            EXPECT_FALSE(line.starts_with("MAIL")) << "nothing is sent without the login";
        }
        peer.setReply("(login)", "235 welcome\r\n");
        send(client);
    }
}

TEST(SMTPClientWireTest, WithoutSTARTTLSNothingIsSaid) {
    SMTPPeer peer(Security::None, {"AUTH PLAIN"});
    CSMTPClient client(paramsOf(peer, CSMTPParams::ConnectStartTLS, "tester"));
    for (const bool isMail : {true, false}) {
        const auto error = thrownBy<CCURLError>([&] { isMail ? send(client) : client.testConnection(); });
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getCode(), CURLE_USE_SSL_FAILED);
    }
    ASSERT_TRUE(peer.waitUntilEnded());
    for (const std::size_t connection : {0u, 1u}) {
        Texts said = peer.dialogue(connection);
        std::erase(said, "QUIT");
        EXPECT_THAT(said, ElementsAre("EHLO *")) << "neither login nor mail goes out in clear";
    }
}

TEST(SMTPClientWireTest, ARefusedSTARTTLSIsAnError) {
    SMTPPeer peer(Security::None, {"STARTTLS", "AUTH PLAIN"});
    peer.setReply("STARTTLS", "454 4.7.0 not now\r\n");
    CSMTPClient client(paramsOf(peer, CSMTPParams::ConnectStartTLS, "tester"));
    const auto error = thrownBy<CCURLError>([&] { send(client); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_USE_SSL_FAILED);
    Texts said = peer.dialogue(0);
    std::erase(said, "QUIT");
    EXPECT_THAT(said, ElementsAre("EHLO *", "STARTTLS"));
}

TEST(SMTPClientWireTest, AServerThatIsClosingIsAnError) {
    for (const char* command : {"", "EHLO", "MAIL", "RCPT", "DATA", "."}) {
        SMTPPeer peer;
        // Without a reply to EHLO the client tries HELO, which gets no reply either.
        peer.setReply(command, "421 4.3.2 closing\r\n");
        CSMTPClient client(paramsOf(peer));
        const auto error = thrownBy<CCURLError>([&] { send(client); });
        ASSERT_TRUE(error) << command;
        EXPECT_EQ(error->getResponseCode(), 421) << command;
        EXPECT_EQ(client.getRequest().getResponseText(421), "421 4.3.2 closing") << command;
    }
}

TEST(SMTPClientWireTest, ACertificateThatNobodyVouchesForIsRefusedWhereThatIsWanted) {
    for (const auto type : {CSMTPParams::ConnectSSL, CSMTPParams::ConnectStartTLS}) {
        const bool isImplicit = type == CSMTPParams::ConnectSSL;
        SMTPPeer peer(isImplicit ? Security::Implicit : Security::None, {"STARTTLS"});
        CSMTPClient client(paramsOf(peer, type));
        client.setVerifyCertificate(true);
        const auto error = thrownBy<CCURLError>([&] { send(client); });
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getCode(), CURLE_PEER_FAILED_VERIFICATION);
        client.setVerifyCertificate(false);
        send(client);
        ASSERT_EQ(peer.connectionCount(), 2u);
        for (const std::string& line : peer.dialogue(0)) {
            EXPECT_FALSE(line.starts_with("MAIL"));
        }
    }
}

TEST(SMTPClientWireTest, AConnectionThatWasNotCheckedIsNotUsedWhereThatIsWanted) {
    for (const auto type : {CSMTPParams::ConnectSSL, CSMTPParams::ConnectStartTLS}) {
        const bool isImplicit = type == CSMTPParams::ConnectSSL;
        SMTPPeer peer(isImplicit ? Security::Implicit : Security::None, {"STARTTLS"});
        CSMTPClient client(paramsOf(peer, type));
        send(client);
        client.setVerifyCertificate(true);
        for (int i = 0; i < 2; ++i) {
            const auto error = thrownBy<CCURLError>([&] { send(client); });
            ASSERT_TRUE(error);
            EXPECT_EQ(error->getCode(), CURLE_PEER_FAILED_VERIFICATION);
        }
        client.setVerifyCertificate(false);
        send(client);
        send(client);
        EXPECT_EQ(peer.connectionCount(), 4u) << "later mails use the new one";
        const Texts said = peer.dialogue(0);
        EXPECT_EQ(std::count(said.begin(), said.end(), "DATA"), 1);
    }
}

// ---- broken connections ----------------------------------------------------------------------------------

std::size_t replyBytesOfMails(int count) {
    SMTPPeer peer;
    CSMTPClient client(paramsOf(peer));
    for (int i = 0; i < count; ++i) {
        send(client);
    }
    return peer.replyBytes(0);
}

TEST(SMTPClientWireTest, AConnectionThatEndedMeanwhileIsReplaced) {
    SMTPPeer peer;
    CSMTPClient client(paramsOf(peer));
    peer.cutAfter(replyBytesOfMails(1));
    send(client);
    ASSERT_TRUE(peer.waitUntilEnded());
    peer.cutAfter(SMTPPeer::unlimited);
    send(client);
    ASSERT_EQ(peer.connectionCount(), 2u);
    EXPECT_THAT(peer.dialogue(1), ElementsAreArray(join({{"EHLO *"}, mail})));
}

TEST(SMTPClientWireTest, AConnectionThatEndsWithinALaterMailIsAnError) {
    const std::size_t first = replyBytesOfMails(1);
    const std::size_t both = replyBytesOfMails(2);
    ASSERT_GT(both, first);
    for (std::size_t cut = first + 1; cut < both; ++cut) {
        SMTPPeer peer;
        CSMTPClient client(paramsOf(peer));
        peer.cutAfter(cut);
        send(client);
        peer.cutAfter(SMTPPeer::unlimited);
        EXPECT_TRUE(thrownBy<CCURLError>([&] { send(client); }))
            << "cut behind " << cut << " of " << both << " bytes";
        EXPECT_EQ(peer.connectionCount(), 1u) << "no mail is sent twice";
        send(client);
        EXPECT_THAT(peer.dialogue(1), ElementsAreArray(join({{"EHLO *"}, mail})));
    }
}

TEST(SMTPClientWireTest, NobodyWhoAnswersIsAnError) {
    int port = 0;
    {
        const SMTPPeer peer;
        port = peer.port();
    }
    CSMTPClient client(CSMTPParams("127.0.0.1", port, CSMTPParams::ConnectUnencrypted, "", ""));
    const auto error = thrownBy<CCURLError>([&] { send(client); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_COULDNT_CONNECT);
    EXPECT_LT(error->getResponseCode(), 1);
}

TEST(SMTPClientWireTest, AServerThatSpeaksNoTLSIsAnError) {
    SMTPPeer peer;
    CSMTPClient client(paramsOf(peer, CSMTPParams::ConnectSSL));
    const auto error = thrownBy<CCURLError>([&] { send(client); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_SSL_CONNECT_ERROR);
}

struct Kind {
    const char* name;
    Security security;
    CSMTPParams::ConnectType type;
    const char* login;
    std::string offer;
};

void PrintTo(const Kind& kind, std::ostream* out) {
    *out << kind.name;
}

class SMTPCutTest : public testing::TestWithParam<Kind> {};

TEST_P(SMTPCutTest, BehindEachByteOfTheRepliesIsAnErrorAndTheNextMailArrives) {
    const Kind& kind = GetParam();
    const std::size_t bytesOfTheLastReply = std::string("250 taken\r\n").size();
    Texts whole;
    std::size_t bytes = 0;
    {
        SMTPPeer peer(kind.security, {"STARTTLS", kind.offer});
        CSMTPClient client(paramsOf(peer, kind.type, kind.login));
        send(client);
        whole = peer.dialogue(0);
        bytes = peer.replyBytes(0);
    }
    ASSERT_GT(bytes, 60u);
    SMTPPeer peer(kind.security, {"STARTTLS", kind.offer});
    for (std::size_t cut = 0; cut <= bytes; ++cut) {
        const std::size_t first = peer.connectionCount();
        CSMTPClient client(paramsOf(peer, kind.type, kind.login));
        peer.cutAfter(cut);
        if (cut == bytes) {
            send(client);
            EXPECT_EQ(peer.dialogue(first), whole) << "a mail is sent once its last reply is there";
            break;
        }
        const auto error = thrownBy<CCURLError>([&] { send(client); });
        ASSERT_TRUE(error) << "cut behind " << cut << " of " << bytes << " bytes";
        EXPECT_EQ(error->getDomain(), "curl");
        EXPECT_NE(error->getCode(), CURLE_OK);
        EXPECT_EQ(error->getResponseCodeDomain(), "smtp");
        EXPECT_EQ(peer.connectionCount(), first + 1) << "no mail is sent twice";
        EXPECT_EQ(peer.dialogue(first).size() == whole.size(), cut > bytes - bytesOfTheLastReply) << cut;
        peer.cutAfter(SMTPPeer::unlimited);
        send(client);
        ASSERT_EQ(peer.dialogue(first + 1), whole) << cut;
    }
}

INSTANTIATE_TEST_SUITE_P(
    SMTPClientWire, SMTPCutTest,
    testing::Values(Kind{"Plain", Security::None, CSMTPParams::ConnectUnencrypted, "", "SIZE"},
                    Kind{"PlainWithLogin", Security::None, CSMTPParams::ConnectUnencrypted, "tester",
                         "AUTH LOGIN"},
                    Kind{"StartTLS", Security::None, CSMTPParams::ConnectStartTLS, "tester", "AUTH PLAIN"},
                    Kind{"ImplicitTLS", Security::Implicit, CSMTPParams::ConnectSSL, "tester", "AUTH PLAIN"}),
    [](const auto& kind) { return kind.param.name; });

}  // namespace
