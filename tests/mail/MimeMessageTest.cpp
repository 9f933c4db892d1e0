// Messages in their written form: header fields, encoded words, bodies, parts.
#include "vexil/mail/MimeMessage.h"

#include "tests/support/Inspect.h"
#include "tests/support/PrintText.h"
#include "tests/support/WhatOf.h"
#include "vexil/mail/MultiPartMimeMessage.h"
#include "zet/BufferStream.h"
#include "zet/MemoryInStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

namespace {

using namespace vexil;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using vexil_test::whatOf;

// Not GoogleTest's: on Windows its patterns do not support sets of characters.
MATCHER_P(MatchesPattern, pattern, "") {
    return std::regex_match(arg, std::regex(pattern));
}

/// Makes protected members accessible.
class COpenMessage : public CMimeMessage {
public:
    using CMimeMessage::CMimeMessage;
    using CMimeMessage::makeHeaderField;
};

P<TBuffer<unsigned char>> bufferOf(std::string_view text) {
    P<TBuffer<unsigned char>> buffer = new TBuffer<unsigned char>;
    buffer->append(reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    return buffer;
}

std::string textOf(const TBuffer<unsigned char>& buffer) {
    return {reinterpret_cast<const char*>(buffer.getData()), static_cast<std::size_t>(buffer.getUsed())};
}

std::string stored(const CMimeMessage& message) {
    zet::CBufferStream stream;
    message.store(stream);
    return textOf(*stream.getBuffer());
}

std::string bodyOf(const CMimeMessage& message) {
    zet::CBufferStream stream;
    message.storeBody(stream);
    return textOf(*stream.getBuffer());
}

std::string encodedWord(const char* text) {
    return CMimeMessage::toEncodedWord(text).toUTF8();
}

std::string field(const char* name, const char* value) {
    return COpenMessage::makeHeaderField(name, value).toUTF8();
}

String repeated(const char* text, int count) {
    String result;
    for (int i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

std::vector<std::string> wordsIn(const std::string& text) {
    std::vector<std::string> words;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find("\r\n ", begin), text.size());
        words.push_back(text.substr(begin, end - begin));
        begin = end + 3;
    }
    return words;
}

// ---- header fields ---------------------------------------------------------------------------------------

TEST(MimeMessageTest, HasAVersionAndAContentType) {
    EXPECT_EQ(stored(CMimeMessage("text/plain; charset=utf-8")),
              "Content-Type: text/plain; charset=utf-8\r\nMIME-Version: 1.0\r\n\r\n");
    EXPECT_EQ(stored(CMimeMessage("")), "MIME-Version: 1.0\r\n\r\n");
}

TEST(MimeMessageTest, FieldsStandInTheOrdinalOrderOfTheirNames) {
    CMimeMessage message("a/b");
    message.getHeaders()["subject"] = "s";
    message.getHeaders()["Subject"] = "S";
    message.getHeaders()["Date"] = "d";
    message.getHeaders()["a"] = "1";
    message.getHeaders()["Zoo"] = "z";
    EXPECT_EQ(stored(message), "Content-Type: a/b\r\nDate: d\r\nMIME-Version: 1.0\r\nSubject: S\r\nZoo: z\r\n"
                               "a: 1\r\nsubject: s\r\n\r\n");
}

TEST(MimeMessageTest, AFieldsValueIsEncodedOnlyIfItHasToBe) {
    EXPECT_EQ(field("Subject", "Hello"), "Subject: Hello");
    EXPECT_EQ(field("Subject", "Grüße"), "Subject: =?utf-8?q?Gr=C3=BC=C3=9Fe?=");
    EXPECT_EQ(field("Größe", "x"), "Größe: x") << "names are never encoded";
    EXPECT_EQ(field("Subject", ""), "Subject: ");
    EXPECT_EQ(field("X", "\x7F"), "X: \x7F");
    EXPECT_EQ(field("X", "\xC2\x80"), "X: =?utf-8?q?=C2=80?=");
}

TEST(MimeMessageTest, ALongASCIIValueIsNeitherEncodedNorFolded) {
    const String value = repeated("a", 1000);
    EXPECT_EQ(COpenMessage::makeHeaderField("Subject", value), "Subject: " + value);
}

TEST(MimeMessageTest, WhatLatin1CannotHoldInANameIsAQuestionMark) {
    CMimeMessage message("");
    message.getHeaders()["\xC3\xA4\xE2\x82\xAC"] = "x";
    EXPECT_THAT(stored(message), HasSubstr("\xE4?: x\r\n"));
}

TEST(MimeMessageTest, AFieldCannotBeginAnotherOne) {
    const auto errorOf = [](const char* name, const String& value) {
        CMimeMessage message("");
        message.getHeaders()[name] = value;
        zet::CBufferStream stream;
        const std::string error = whatOf([&] { message.store(stream); });
        EXPECT_EQ(stream.getSize(), 0) << "nothing is written before";
        return error;
    };
    const std::string badField =
        "CMimeMessage::storeHeader: header field must not contain line ends: 'Subject'";
    for (const char* value :
         {"a\r\nBcc: b", "a\nb", "a\rb", "a\r\n", "\r\n", "a\r\n\r\n b", "a\r\r\n b", "a\n b", "a\r\n\x0B"}) {
        EXPECT_EQ(errorOf("Subject", value), badField) << testing::PrintToString(value);
    }
    EXPECT_EQ(errorOf("A:b", "x"),
              "CMimeMessage::storeHeader: header field name must not contain CR, LF, NUL or ':': 'A:b'");
    EXPECT_THAT(errorOf("A\nb", "x"), StartsWith("CMimeMessage::storeHeader: header field name must not"));
    EXPECT_THAT(errorOf("A\rb", "x"), StartsWith("CMimeMessage::storeHeader: header field name must not"));
    CMimeMessage withNUL("");
    withNUL.getHeaders()[String(std::wstring(L"A\0b", 3))] = "x";
    EXPECT_THAT(whatOf([&] { stored(withNUL); }), StartsWith("CMimeMessage::storeHeader"));
}

TEST(MimeMessageTest, AFieldNeedsANameWithoutSpaces) {
    for (const char* const name : {"", " ", " A", "A ", "A b", "\tA", "A\x0B", "\x7F"}) {
        CMimeMessage message("");
        message.getHeaders()[name] = "x";
        zet::CBufferStream stream;
        const std::string error =
            std::string("header field name must not ") +
            (*name ? "contain spaces or control characters: '" + std::string(name) + "'" : "be empty");
        EXPECT_EQ(whatOf([&] { message.storeHeader(stream); }), "CMimeMessage::storeHeader: " + error);
        EXPECT_EQ(stream.getSize(), 0) << "nothing is written before";
        CNetRequest request;
        EXPECT_EQ(whatOf([&] { message.fillRequest(request); }), "CMimeMessage::fillRequest: " + error);
        EXPECT_FALSE(request.getCustomHTTPHeaders());
        CNetHeaders headers;
        EXPECT_EQ(whatOf([&] { message.updateNetHeaders(headers); }),
                  "CMimeMessage::updateNetHeaders: " + error);
        EXPECT_EQ(headers.getSList(), nullptr);
    }
}

TEST(MimeMessageTest, AFieldNeedsAValueWithoutNUL) {
    CMimeMessage message("");
    message.getHeaders()["Subject"] = String(std::wstring(L"a\0b", 3));
    EXPECT_EQ(whatOf([&] { stored(message); }),
              "CMimeMessage::storeHeader: header field must not contain NUL: 'Subject'");
    CNetRequest request;
    EXPECT_EQ(whatOf([&] { message.fillRequest(request); }),
              "CMimeMessage::fillRequest: header field must not contain NUL: 'Subject'");
}

TEST(MimeMessageTest, AFieldCannotBeginAHeaderOfARequest) {
    for (const char* const value :
         {"a\r\nX-Evil: b", "a\nb", "a\rb", "a\r\n", "ä\r\nX-Evil: b", "a\r\n\r\n b"}) {
        CMimeMessage message("");
        message.getHeaders()["X-Name"] = value;
        CNetRequest request;
        EXPECT_EQ(whatOf([&] { message.fillRequest(request); }),
                  "CMimeMessage::fillRequest: header field must not contain line ends: 'X-Name'");
        EXPECT_FALSE(request.getCustomHTTPHeaders());
    }
    CMimeMessage message("");
    message.getHeaders()["A:b"] = "c";
    CNetRequest request;
    EXPECT_THAT(
        whatOf([&] { message.fillRequest(request); }),
        StartsWith("CMimeMessage::fillRequest: header field name must not contain CR, LF, NUL or ':'"));
}

TEST(MimeMessageTest, AFoldedFieldIsOneLineOfARequest) {
    CMimeMessage message("");
    message.getHeaders()["A"] = "x;\r\n y;\r\n\tz";
    CNetHeaders headers;
    message.updateNetHeaders(headers);
    EXPECT_STREQ(headers.getSList()->data, "A: x; y; z");
}

TEST(MimeMessageTest, AFieldMayBeFolded) {
    CMimeMessage message("");
    message.getHeaders()["A"] = "x\r\n y\r\n\tz";
    EXPECT_EQ(stored(message), "A: x\r\n y\r\n\tz\r\nMIME-Version: 1.0\r\n\r\n");
}

TEST(MimeMessageTest, LineEndsInAnEncodedValueAreEncodedToo) {
    CMimeMessage message("");
    message.getHeaders()["Subject"] = "ä\r\nBcc: b";
    EXPECT_THAT(stored(message), HasSubstr("Subject: =?utf-8?q?=C3=A4=0D=0ABcc=3A=20b?=\r\n"));
}

// ---- encoded words ---------------------------------------------------------------------------------------

TEST(EncodedWordTest, OnlyLettersAndDigitsStay) {
    EXPECT_EQ(encodedWord("AZaz09"), "=?utf-8?q?AZaz09?=");
    EXPECT_EQ(encodedWord(" _-.=?"), "=?utf-8?q?=20=5F=2D=2E=3D=3F?=");
    EXPECT_EQ(encodedWord("ä€😀"), "=?utf-8?q?=C3=A4=E2=82=AC=F0=9F=98=80?=");
    EXPECT_EQ(encodedWord(""), "");
}

TEST(EncodedWordTest, AWordEndsBehindMoreThan45Characters) {
    EXPECT_EQ(CMimeMessage::toEncodedWord(repeated("a", 45)), "=?utf-8?q?" + repeated("a", 45) + "?=");
    EXPECT_EQ(CMimeMessage::toEncodedWord(repeated("a", 46)), "=?utf-8?q?" + repeated("a", 46) + "?=")
        << "nothing is left for a second word";
    EXPECT_EQ(CMimeMessage::toEncodedWord(repeated("a", 47)),
              "=?utf-8?q?" + repeated("a", 46) + "?=\r\n =?utf-8?q?a?=");
}

TEST(EncodedWordTest, HalfACharacterIsReplaced) {
    const auto encoded = [](std::wstring text) {
        return CMimeMessage::toEncodedWord(String(std::move(text)));
    };
    EXPECT_EQ(encoded({L'a', static_cast<wchar_t>(0xD83D)}), "=?utf-8?q?a=EF=BF=BD?=");
    EXPECT_EQ(encoded({static_cast<wchar_t>(0xDE00), L'a'}), "=?utf-8?q?=EF=BF=BDa?=");
}

TEST(EncodedWordTest, ACharacterIsNeverSplit) {
    EXPECT_EQ(CMimeMessage::toEncodedWord(repeated("a", 45) + "😀b"),
              "=?utf-8?q?" + repeated("a", 45) + "=F0=9F=98=80?=\r\n =?utf-8?q?b?=");
    for (const char* character : {"ä", "€", "😀", " ", "x"}) {
        for (const std::string& word :
             wordsIn(CMimeMessage::toEncodedWord(repeated(character, 300)).toUTF8())) {
            EXPECT_LE(word.size(), 75u) << "RFC 2047, 2";
            EXPECT_THAT(word, MatchesPattern("=\\?utf-8\\?q\\?(=[0-9A-F]{2}|[A-Za-z0-9])+\\?="));
            const std::size_t bytes = word.size() - 12;
            EXPECT_EQ(bytes % (character[0] == 'x' ? 1 : 3 * std::string(character).size()), 0u) << word;
        }
    }
}

TEST(QuotedStringTest, EscapesInItsOrder) {
    const auto quoted = [](const char* text) { return CMimeMessage::toQuotedString(text).toUTF8(); };
    EXPECT_EQ(quoted("a b"), "\"a b\"");
    EXPECT_EQ(quoted(""), "\"\"");
    EXPECT_EQ(quoted("a\\b\"c\rd"), "\"a\\\\b\\\"c\\\rd\"");
    EXPECT_EQ(quoted("\\\""), "\"\\\\\\\"\"");
    EXPECT_EQ(quoted("\n"), "\"\n\"");
}

// ---- bodies ----------------------------------------------------------------------------------------------

TEST(MimeMessageTest, ABodyIsWrittenAsItIs) {
    CMimeMessage message("");
    EXPECT_EQ(bodyOf(message), "");
    const auto body = bufferOf(std::string_view("a\0\n.\r\n", 6));
    message.setBody(body, "");
    EXPECT_EQ(bodyOf(message), std::string("a\0\n.\r\n", 6));
    body->append(reinterpret_cast<const unsigned char*>("!"), 1);
    EXPECT_EQ(bodyOf(message), std::string("a\0\n.\r\n!", 7)) << "it is the caller's own";
    message.setBody(nullptr, "");
    EXPECT_EQ(bodyOf(message), "");
}

TEST(MimeMessageTest, TheTransferEncodingComesAndGoesWithTheBody) {
    CMimeMessage message("");
    message.setBody(bufferOf("eA=="), "base64");
    EXPECT_EQ(stored(message), "Content-Transfer-Encoding: base64\r\nMIME-Version: 1.0\r\n\r\neA==");
    message.setBody(bufferOf("x"), "");
    EXPECT_EQ(stored(message), "MIME-Version: 1.0\r\n\r\nx");
    message.setBody(bufferOf("y"), "");
    EXPECT_EQ(stored(message), "MIME-Version: 1.0\r\n\r\ny");
}

TEST(MimeMessageTest, CopiesShareTheBodyAndHaveTheirOwnFields) {
    CMimeMessage message("");
    message.setBody(bufferOf("x"), "");
    CMimeMessage copy(message);
    copy.getHeaders()["A"] = "b";
    EXPECT_EQ(stored(message), "MIME-Version: 1.0\r\n\r\nx");
    EXPECT_EQ(stored(copy), "A: b\r\nMIME-Version: 1.0\r\n\r\nx");
    const CMimeMessage moved(std::move(copy));
    EXPECT_EQ(stored(moved), "A: b\r\nMIME-Version: 1.0\r\n\r\nx");
    message = moved;
    EXPECT_EQ(stored(message), stored(moved));
}

TEST(MimeMessageTest, FillsARequest) {
    CMimeMessage message("multipart/form-data");
    message.setBody(bufferOf("body"), "8bit");
    message.getHeaders()["X-Name"] = "Grüße";
    CNetRequest request;
    request.setHTTPMethod("POST");
    message.fillRequest(request);
    TMap<String, String> headers;
    request.getCustomHTTPHeaders()->fillMap(headers);
    EXPECT_EQ(headers.size(), 4u);
    EXPECT_EQ(headers["content-type"], "multipart/form-data");
    EXPECT_EQ(headers["mime-version"], "1.0");
    EXPECT_EQ(headers["x-name"], String("Grüße")) << "raw, not as encoded words";
}

TEST(MimeMessageTest, AddsToTheHeadersThatARequestHas) {
    CNetRequest request;
    const P<CNetHeaders> own = new CNetHeaders;
    own->add("Own", "1");
    request.setCustomHTTPHeaders(own);
    CMimeMessage("a/b").fillRequest(request);
    EXPECT_EQ(request.getCustomHTTPHeaders(), own);
    TMap<String, String> headers;
    own->fillMap(headers);
    EXPECT_EQ(headers.size(), 3u);
}

TEST(HeaderTextTest, IsEncodedOnlyIfItHasToBe) {
    for (const String& text :
         {String(""), String("Hello, you"), String("a=b?"), String("?= =?"), repeated("a", 900)}) {
        EXPECT_EQ(CMimeMessage::toHeaderText(text), text);
    }
    EXPECT_EQ(CMimeMessage::toHeaderText("Grüße"), "=?utf-8?q?Gr=C3=BC=C3=9Fe?=");
    EXPECT_EQ(CMimeMessage::toHeaderText("=?utf-8?q?x?="), "=?utf-8?q?=3D=3Futf=2D8=3Fq=3Fx=3F=3D?=");
    EXPECT_EQ(CMimeMessage::toHeaderText("a =?b c?="), CMimeMessage::toEncodedWord("a =?b c?="));
    const String longText = repeated("word ", 400);
    EXPECT_EQ(CMimeMessage::toHeaderText(longText), CMimeMessage::toEncodedWord(longText));
    EXPECT_EQ(CMimeMessage::toHeaderText(repeated("a", 901)),
              CMimeMessage::toEncodedWord(repeated("a", 901)));
    for (const wchar_t c : {L'\r', L'\n', L'\0'}) {
        EXPECT_EQ(whatOf([&] { (void)CMimeMessage::toHeaderText(std::wstring(L"a") + c); }),
                  "CMimeMessage::toHeaderText: text must not contain CR, LF or NUL");
    }
}

// ---- text and attachments --------------------------------------------------------------------------------

TEST(MimeMessageTest, AShortASCIITextIsWrittenAsItIs) {
    CMimeMessage message("");
    message.setTextBody("one\ntwo\rthree\r\nfour\n\n");
    EXPECT_EQ(stored(message), "Content-Type: text/plain; charset=utf-8\r\nMIME-Version: 1.0\r\n\r\n"
                               "one\r\ntwo\r\nthree\r\nfour\r\n\r\n");
}

TEST(MimeMessageTest, AMessageKeepsItsContentType) {
    CMimeMessage message("text/html; charset=utf-8");
    message.setTextBody("<p>");
    EXPECT_THAT(stored(message), StartsWith("Content-Type: text/html; charset=utf-8\r\n"));
}

TEST(MimeMessageTest, ATextTakesTheEncodingThatSuitsIt) {
    const auto encodingOf = [](const String& text) {
        CMimeMessage message("");
        message.setTextBody(text);
        return message.getHeaders()["Content-Transfer-Encoding"].toUTF8();
    };
    EXPECT_EQ(encodingOf(""), "");
    EXPECT_EQ(encodingOf(repeated("a", 76)), "");
    EXPECT_EQ(encodingOf(repeated("a", 76) + "\n" + repeated("b", 76) + "\n\tc"), "");
    EXPECT_EQ(encodingOf(repeated("a", 78)), "quoted-printable");
    EXPECT_EQ(encodingOf("Grüße aus dem Norden"), "quoted-printable");
    EXPECT_EQ(encodingOf("日本語の本文"), "base64");
    EXPECT_EQ(encodingOf("a bell \x07 rings"), "quoted-printable");
}

TEST(MimeMessageTest, AnAttachmentHasItsNameTwice) {
    const auto attachment =
        CMimeMessage::createAttachment("Grüße \"1\".txt", "text/plain", bufferOf("hello"));
    EXPECT_EQ(stored(*attachment), "Content-Disposition: attachment;\r\n"
                                   " filename*=utf-8''Gr%C3%BC%C3%9Fe%20%221%22.txt;\r\n"
                                   " filename=\"Gr__e \\\"1\\\".txt\"\r\n"
                                   "Content-Transfer-Encoding: base64\r\n"
                                   "Content-Type: text/plain\r\n"
                                   "MIME-Version: 1.0\r\n\r\n"
                                   "aGVsbG8=");
}

TEST(MimeMessageTest, APlainNameOfAnAttachmentStandsOnce) {
    const auto attachment = CMimeMessage::createAttachment("list.txt", "", bufferOf(""));
    EXPECT_EQ(stored(*attachment), "Content-Disposition: attachment;\r\n filename=\"list.txt\"\r\n"
                                   "Content-Transfer-Encoding: base64\r\nMIME-Version: 1.0\r\n\r\n");
}

TEST(MimeMessageTest, AnAttachmentNeedsANameAndBytes) {
    const auto errorOf = [](const String& name, const TBuffer<unsigned char>* buffer) {
        return whatOf([&] { (void)CMimeMessage::createAttachment(name, "", buffer); });
    };
    const std::string badName =
        "CMimeMessage::createAttachment: name must have 1 to 255 bytes and no control characters";
    const auto bytes = bufferOf("x");
    for (const String& name : {String(""), String("a\nb"), String("a\tb"), String("\x7F"), repeated("a", 256),
                               repeated("ä", 128)}) {
        EXPECT_EQ(errorOf(name, bytes), badName);
    }
    EXPECT_EQ(errorOf(repeated("a", 255), bytes), "no error");
    EXPECT_EQ(errorOf("a", nullptr), "CMimeMessage::createAttachment: buffer must not be null");
}

TEST(MimeMessageTest, NoLineOfAnAttachmentsHeaderIsTooLong) {
    const auto attachment = CMimeMessage::createAttachment(repeated("ä", 127), "", bufferOf(""));
    const std::string text = stored(*attachment);
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = text.find("\r\n", begin);
        ASSERT_NE(end, std::string::npos);
        EXPECT_LE(end - begin, 998u) << "RFC 5322, 2.1.1";
        begin = end + 2;
    }
}

// ---- parts -----------------------------------------------------------------------------------------------

TEST(MultiPartMimeMessageTest, NamesItsBoundaryWithoutQuotes) {
    CMultiPartMimeMessage message;
    EXPECT_EQ(message.getHeaders()["Content-Type"], "multipart/mixed; boundary=" + message.getBoundary());
    EXPECT_EQ(message.getHeaders()["MIME-Version"], "1.0");
    EXPECT_EQ(message.getHeaders().size(), 2u);
    CMultiPartMimeMessage alternative("alternative");
    EXPECT_EQ(alternative.getHeaders()["Content-Type"],
              "multipart/alternative; boundary=" + alternative.getBoundary());
}

TEST(MultiPartMimeMessageTest, BoundariesAreRandomHexDigits) {
    std::string last;
    for (int i = 0; i < 1000; ++i) {
        const std::string boundary = CMultiPartMimeMessage().getBoundary().toUTF8();
        EXPECT_THAT(boundary, MatchesPattern("[0-9a-f]{10,32}"));
        EXPECT_NE(boundary, last);
        last = boundary;
    }
}

TEST(MultiPartMimeMessageTest, WithoutPartsItOnlyEnds) {
    const CMultiPartMimeMessage message;
    EXPECT_EQ(bodyOf(message), "\r\n--" + message.getBoundary().toUTF8() + "--\r\n");
}

TEST(MultiPartMimeMessageTest, FramesItsParts) {
    CMultiPartMimeMessage message;
    const std::string boundary = message.getBoundary().toUTF8();
    const P<CMimeMessage> first = new CMimeMessage("a/b");
    first->setBody(bufferOf("one"), "");
    message.addPart(first);
    message.addPart(nullptr);
    const std::string firstPart = "--" + boundary + "\r\nContent-Type: a/b\r\nMIME-Version: 1.0\r\n\r\none";
    EXPECT_EQ(bodyOf(message), firstPart + "\r\n--" + boundary + "--\r\n");
    const P<CMimeMessage> second = new CMimeMessage("");
    message.addPart(second);
    EXPECT_EQ(bodyOf(message), firstPart + "\r\n--" + boundary + "\r\nMIME-Version: 1.0\r\n\r\n" + "\r\n--" +
                                   boundary + "--\r\n");
    EXPECT_EQ(stored(message), "Content-Type: multipart/mixed; boundary=" + boundary +
                                   "\r\nMIME-Version: 1.0\r\n\r\n" + bodyOf(message));
}

TEST(MultiPartMimeMessageTest, PartsMayHaveParts) {
    const P<CMultiPartMimeMessage> inner = new CMultiPartMimeMessage("alternative");
    CMultiPartMimeMessage message;
    message.addPart(inner);
    const std::string boundary = message.getBoundary().toUTF8();
    EXPECT_EQ(bodyOf(message), "--" + boundary + "\r\n" + stored(*inner) + "\r\n--" + boundary + "--\r\n");
}

TEST(MultiPartMimeMessageTest, HasNoBodyOfItsOwn) {
    CMultiPartMimeMessage message;
    const std::string before = stored(message);
    const std::string error = "CMultiPartMimeMessage::setBody should not be used.";
    EXPECT_EQ(whatOf([&] { message.setBody(bufferOf("x"), "base64"); }), error);
    EXPECT_EQ(whatOf([&] { message.setBody(nullptr, ""); }), error);
    EXPECT_EQ(whatOf([&] { message.setTextBody("x"); }), error);
    EXPECT_EQ(stored(message), before);
}

TEST(MultiPartMimeMessageTest, CopiesHaveTheSameBoundaryAndParts) {
    CMultiPartMimeMessage message;
    message.addPart(new CMimeMessage("a/b"));
    const CMultiPartMimeMessage copy(message);
    EXPECT_EQ(stored(copy), stored(message));
    message.addPart(new CMimeMessage(""));
    EXPECT_NE(stored(copy), stored(message)) << "the list is the copy's own";
}

}  // namespace
