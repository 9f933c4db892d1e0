// What a client with signature version 4 sends.
#include "tests/s3/S3WireTest.h"

namespace {

using namespace vexil_test;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string emptyHash = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

/// Its time moves on by a minute with each signature.
class V4Client : public CS3Client {
public:
    explicit V4Client(const std::string& baseURL)
        : CS3Client(String::fromUTF8(accessKey), String::fromUTF8(secretKey), false) {
        setBaseURL(String::fromUTF8(baseURL));
        setSignatureVersion(4);
    }

    mutable int64 now = 1583219109;
    std::vector<int> waits;

protected:
    zet::CTime getCurrentTime() const override {
        now += 60;
        return zet::CTime::fromCTime(now - 60);
    }
    void waitBeforeRetry(int milliseconds) override { waits.push_back(milliseconds); }
};

class S3SigningV4WireTest : public S3WireTest {
protected:
    S3SigningV4WireTest() : v4(peer.url("")) {}

    std::vector<std::string> heads(std::size_t count) {
        EXPECT_TRUE(peer.waitForRequests(count));
        std::vector<std::string> texts;
        for (const auto& sent : peer.requests()) {
            texts.push_back(sent.head);
        }
        EXPECT_EQ(texts.size(), count);
        return texts;
    }

    /// The text after "name" up to the line end; "" if it is not there.
    static std::string after(const std::string& head, const std::string& name) {
        const std::size_t found = head.find(name);
        return found == std::string::npos
                   ? ""
                   : head.substr(found + name.size(),
                                 head.find("\r\n", found + name.size()) - found - name.size());
    }

    V4Client v4;
};

TEST_F(S3SigningV4WireTest, SendsTheSignedHeadersAndTheSlashesOfAKey) {
    answer({reply("200 OK", "")});
    v4.getObject(request, "b", "folder/../a b", 0, -1);
    const std::string sent = onlyHead();
    EXPECT_THAT(sent, StartsWith("GET /b/folder/../a%20b HTTP/1.1\r\nHost: 127.0.0.1:"));
    EXPECT_THAT(sent, HasSubstr("\r\nx-amz-date: 20200303T070509Z\r\nx-amz-content-sha256: " + emptyHash +
                                "\r\nAuthorization: AWS4-HMAC-SHA256 Credential=" + accessKey +
                                "/20200303/us-east-1/s3/aws4_request, "
                                "SignedHeaders=host;x-amz-content-sha256;x-amz-date, Signature="));
    EXPECT_THAT(sent, Not(HasSubstr("\r\nDate:")));
}

TEST_F(S3SigningV4WireTest, SignsEachTryAgain) {
    answer({reply("500 no", ""), reply("503 no", ""), reply("200 OK", "")});
    EXPECT_NO_THROW(v4.putObject(request, "b", "k", "body"));
    const auto sent = heads(3);
    EXPECT_EQ(after(sent[0], "\r\nx-amz-date: "), "20200303T070509Z");
    EXPECT_EQ(after(sent[1], "\r\nx-amz-date: "), "20200303T070609Z");
    EXPECT_EQ(after(sent[2], "\r\nx-amz-date: "), "20200303T070709Z");
    EXPECT_NE(after(sent[0], "Signature="), after(sent[1], "Signature="));
    EXPECT_EQ(after(sent[0], "\r\nx-amz-content-sha256: "), after(sent[2], "\r\nx-amz-content-sha256: "));
    for (const auto& received : peer.requests()) {
        EXPECT_EQ(received.body, "body");
    }
}

TEST_F(S3SigningV4WireTest, SendsNoCredentialsToAnotherHost) {
    ScriptedPeer other;
    answer({reply("307 Temporary Redirect", "", "Location: " + other.url("/b/k") + "\r\n")});
    v4.setSessionToken("token");
    EXPECT_THROW(v4.getObject(request, "b", "k", 0, -1), CCURLError);
    EXPECT_THAT(other.requests(), testing::IsEmpty());
}

}  // namespace
