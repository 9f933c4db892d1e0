// A message as the body of an HTTP request.
#include "tests/mail/MailTestSupport.h"
#include "tests/support/PrintText.h"
#include "tests/support/ScriptedPeer.h"
#include "vexil/mail/MultiPartMimeMessage.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace vexil;
using vexil_test::RecordedRequest;
using vexil_test::ScriptedPeer;
using vexil_test::sharedBufferOf;

/// The request that a server gets.
RecordedRequest send(CMimeMessage& message, const char* method) {
    ScriptedPeer peer;
    peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    CNetRequest request;
    request.setURL(String::fromUTF8(peer.url("/form")));
    request.setHTTPMethod(method);
    message.fillRequest(request);
    request.perform();
    EXPECT_TRUE(peer.waitForRequests(1));
    EXPECT_TRUE(peer.failures().empty());
    return peer.requests().at(0);
}

TEST(MimeMessageRequestTest, SendsItsFieldsAndItsBody) {
    for (const char* method : {"POST", "PUT"}) {
        CMimeMessage message("text/plain; charset=utf-8");
        message.setBody(sharedBufferOf("line\r\n.\r\n"), "8bit");
        message.getHeaders()["X-Name"] = "Grüße";
        const RecordedRequest request = send(message, method);
        EXPECT_EQ(request.requestLine(), method + std::string(" /form HTTP/1.1"));
        EXPECT_EQ(request.header("Content-Type"), "text/plain; charset=utf-8");
        EXPECT_EQ(request.header("Content-Transfer-Encoding"), "8bit");
        EXPECT_EQ(request.header("MIME-Version"), "1.0");
        EXPECT_EQ(request.header("X-Name"), "Grüße") << "as it is, not encoded";
        EXPECT_EQ(request.header("Content-Length"), "9");
        EXPECT_EQ(request.body, "line\r\n.\r\n") << "from its beginning on, without the fields";
    }
}

TEST(MimeMessageRequestTest, SendsItsParts) {
    CMultiPartMimeMessage form("form-data");
    const P<CMimeMessage> part = new CMimeMessage("");
    part->getHeaders()["Content-Disposition"] = "form-data; name=\"a\"";
    part->setBody(sharedBufferOf("1"), "");
    form.addPart(part);
    const RecordedRequest request = send(form, "POST");
    const std::string boundary = form.getBoundary().toUTF8();
    EXPECT_EQ(request.header("Content-Type"), "multipart/form-data; boundary=" + boundary);
    EXPECT_EQ(request.body,
              "--" + boundary +
                  "\r\nContent-Disposition: form-data; name=\"a\"\r\nMIME-Version: 1.0\r\n\r\n1\r\n--" +
                  boundary + "--\r\n");
}

TEST(MimeMessageRequestTest, MayHaveNoBody) {
    CMimeMessage message("text/plain");
    const RecordedRequest request = send(message, "POST");
    EXPECT_EQ(request.header("Content-Length"), "0");
    EXPECT_EQ(request.body, "");
}

}  // namespace
