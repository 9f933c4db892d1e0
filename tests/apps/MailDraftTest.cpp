#include "apps/vexil/mail/MailDraft.h"

#include "tests/support/PrintText.h"
#include "vexil/mail/MultiPartMimeMessage.h"
#include "zet/BufferStream.h"

#include <gtest/gtest.h>

#include <string>

namespace vexil::app {

namespace {

std::string store(const CMimeMessage& message) {
    const P<TBuffer<unsigned char>> buffer = new TBuffer<unsigned char>;
    const P<zet::CBufferStream> stream = new zet::CBufferStream(buffer);
    message.store(*stream);
    return {reinterpret_cast<const char*>(buffer->getData()), static_cast<std::size_t>(buffer->getUsed())};
}

CMailDraft makeDraft() {
    CMailDraft draft;
    draft.setFrom("", "backup@example.com");
    draft.addTo("jo@example.com");
    return draft;
}

P<CMimeMessage> makeAttachment() {
    const P<TBuffer<unsigned char>> content = new TBuffer<unsigned char>(3);
    return CMimeMessage::createAttachment("a.bin", "application/octet-stream", content);
}

}  // namespace

TEST(MailDraftTest, ATextAloneIsOnePart) {
    CMailDraft draft = makeDraft();
    draft.setText("text");
    const P<CMimeMessage> message = draft.makeMessage();
    EXPECT_FALSE(message.dynamicCast<CMultiPartMimeMessage>());
    EXPECT_TRUE(store(*message).ends_with("\r\n\r\ntext"));
}

TEST(MailDraftTest, NothingAtAllIsAnEmptyText) {
    const P<CMimeMessage> message = makeDraft().makeMessage();
    EXPECT_EQ(message->getHeaders()["Content-Type"], "text/plain; charset=utf-8");
    EXPECT_TRUE(store(*message).ends_with("\r\n\r\n"));
}

TEST(MailDraftTest, FilesStandBehindTheText) {
    CMailDraft draft = makeDraft();
    draft.addAttachment(makeAttachment());
    EXPECT_EQ(store(*draft.makeMessage()).find("text/plain"), std::string::npos);
    draft.setText("text");
    const std::string stored = store(*draft.makeMessage());
    EXPECT_NE(stored.find("multipart/mixed"), std::string::npos);
    EXPECT_LT(stored.find("text/plain"), stored.find("a.bin"));
}

TEST(MailDraftTest, EachKindOfRecipientIsTheServersAndNotAllAreNamed) {
    CMailDraft draft = makeDraft();
    draft.addBcc("b@example.com");
    draft.addCc("c@example.com");
    draft.addTo("d@example.com");
    EXPECT_EQ(draft.getSender(), "backup@example.com");
    EXPECT_EQ(draft.getRecipients(),
              (TArray<String>{"jo@example.com", "b@example.com", "c@example.com", "d@example.com"}));
    const P<CMimeMessage> message = draft.makeMessage();
    TMap<String, String>& headers = message->getHeaders();
    EXPECT_EQ(headers["To"], "jo@example.com,\r\n d@example.com");
    EXPECT_EQ(headers["Cc"], "c@example.com");
    EXPECT_EQ(headers.count("Bcc"), 0U);
}

TEST(MailDraftTest, ARecipientThatIsNamedTwiceIsOneRecipient) {
    CMailDraft draft = makeDraft();
    draft.addCc("jo@EXAMPLE.com");
    draft.addBcc("jo@example.com");
    // For a server this may be another mailbox.
    draft.addBcc("Jo@example.com");
    EXPECT_EQ(draft.getRecipients(), (TArray<String>{"jo@example.com", "Jo@example.com"}));
    EXPECT_EQ(draft.makeMessage()->getHeaders()["Cc"], "jo@EXAMPLE.com");
}

TEST(MailDraftTest, NoLineOfTheHeaderIsTooLong) {
    const std::string longText(2000, 'a');
    CMailDraft draft;
    draft.setFrom(String::fromUTF8(longText), "backup@example.com");
    for (int i = 0; i < 200; ++i) {
        draft.addTo("jo" + String::fromInt(i) + "@example.com");
    }
    draft.setSubject(String::fromUTF8(longText));
    const std::string stored = store(*draft.makeMessage());
    for (std::size_t begin = 0; begin < stored.size();) {
        const std::size_t end = std::min(stored.find("\r\n", begin), stored.size());
        EXPECT_LE(end - begin, 998u) << "RFC 5322, 2.1.1";
        begin = end + 2;
    }
    EXPECT_NE(stored.find("Subject: =?utf-8?q?aaa"), std::string::npos);
    EXPECT_THROW(draft.addTo(String::fromUTF8(longText) + "@example.com"), CInvalidArgError);
}

TEST(MailDraftTest, ASubjectThatLooksEncodedArrivesAsItIs) {
    CMailDraft draft = makeDraft();
    draft.setSubject("=?utf-8?q?Done?=");
    EXPECT_EQ(draft.makeMessage()->getHeaders()["Subject"], CMimeMessage::toEncodedWord("=?utf-8?q?Done?="));
    draft.setSubject("Done");
    EXPECT_EQ(draft.makeMessage()->getHeaders()["Subject"], "Done");
}

TEST(MailDraftTest, ASubjectIsOneLine) {
    CMailDraft draft;
    EXPECT_THROW(draft.setSubject("a\r\nBcc: b"), CInvalidArgError);
    EXPECT_THROW(draft.setSubject("ä\nb"), CInvalidArgError);
}

TEST(MailDraftTest, EachMessageHasAnIdentificationOfItsOwnAlsoAtTheSameTime) {
    const auto makeRandomPart = [] {
        const String id = makeDraft().makeMessage()->getHeaders()["Message-ID"];
        EXPECT_TRUE(id.endsWith("@example.com>"));
        return id.substr(id.find(L'.'), id.find(L'@') - id.find(L'.'));
    };
    const String first = makeRandomPart();
    EXPECT_GT(first.length(), 1U);
    EXPECT_NE(first, makeRandomPart());
}

TEST(MailDraftTest, AddressesThatCannotBeOnesAreRefused) {
    CMailDraft draft;
    for (const char* address :
         {"", "jo", "@a.b", "jo@", "jo@localhost", "a@b@c.d", "a b@c.d", "<a@b.c>", "a,b@c.d", "a;b@c.d",
          "a(b)@c.d", "a:b@c.d", "a@[1.2]", "a\\b@c.d", "ä@b.c", "a@ä.c"}) {
        EXPECT_THROW(draft.setFrom("", address), CInvalidArgError) << address;
        EXPECT_THROW(draft.addTo(address), CInvalidArgError) << address;
        EXPECT_THROW(draft.addCc(address), CInvalidArgError) << address;
        EXPECT_THROW(draft.addBcc(address), CInvalidArgError) << address;
    }
    EXPECT_TRUE(draft.getRecipients().empty());
}

}  // namespace vexil::app
