// Deletion of many objects with one request.
#include "tests/s3/S3WireTest.h"
#include "vexil/s3/S3DeleteResult.h"

#include <string>
#include <vector>

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using vexil::CS3DeleteResult;
using vexil::S3DeleteMode;

using Keys = vexil::TArray<String>;

const std::string place = "CS3Client::prepareDeleteObjectsRequest: ";

std::string documentOf(const std::string& objects, bool isQuiet = true) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Delete>" +
           std::string(isQuiet ? "<Quiet>true</Quiet>" : "") + objects + "</Delete>";
}

std::string objectOf(const std::string& key) {
    return "<Object><Key>" + key + "</Key></Object>";
}

CS3DeleteResult parse(const std::string& document) {
    return CS3DeleteResult(document.data(), static_cast<int>(document.size()));
}

std::string parseErrorOf(const std::string& document) {
    return plainErrorOf([&] { (void)parse(document); });
}

class S3DeleteTest : public S3WireTest {
protected:
    std::string onlyBody() {
        EXPECT_TRUE(peer.waitForRequests(1));
        return peer.requests().at(0).body;
    }
};

TEST_F(S3DeleteTest, OneRequestNamesAllKeys) {
    answer({reply("200 OK", "<DeleteResult/>")});
    const auto result = client.deleteObjects(request, "b", Keys{"k", "p/q"});
    EXPECT_THAT(result->getErrors(), IsEmpty());
    EXPECT_THAT(result->getDeletedKeys(), IsEmpty());
    const std::string body = documentOf(objectOf("k") + objectOf("p/q"));
    EXPECT_EQ(onlyBody(), body);
    const std::string md5 = md5Of(body);
    EXPECT_EQ(onlyHead(),
              head("POST /b?delete",
                   {dateLine, "Content-MD5: " + md5, "Content-Type: application/xml",
                    authorizationOf("POST\n" + md5 + "\napplication/xml\n" + fixedDate + "\n/b?delete"),
                    "Content-Length: " + std::to_string(body.size())}));
}

TEST_F(S3DeleteTest, OneRequestNamesAllVersions) {
    answer(
        {reply("200 OK", "<DeleteResult><Error><Key>k</Key><VersionId>v 1</VersionId><Code>c</Code></Error>"
                         "</DeleteResult>")});
    const auto result = client.deleteObjectVersions(request, "b", {{"k", "v 1"}, {"l", ""}});
    ASSERT_EQ(result->getErrors().size(), 1u);
    EXPECT_EQ(result->getErrors()[0].versionId, "v 1");
    EXPECT_EQ(onlyBody(),
              documentOf("<Object><Key>k</Key><VersionId>v&#32;1</VersionId></Object>" + objectOf("l")));
}

TEST_F(S3DeleteTest, OneVersionIsDeletedWithTheseBytes) {
    answer({"HTTP/1.1 204 No Content\r\n\r\n"});
    client.deleteObjectVersion(request, "b", "k", "v+1");
    EXPECT_EQ(onlyHead(),
              head("DELETE /b/k?versionId=v%2B1",
                   {dateLine, authorizationOf("DELETE\n\n\n" + fixedDate + "\n/b/k?versionId=v+1")}));
}

TEST_F(S3DeleteTest, WrongVersionsAreRefused) {
    EXPECT_EQ(argErrorOf([&] { client.deleteObjectVersion(request, "b", "k", ""); }),
              "CS3Client::prepareDeleteObjectVersionRequest: version ID must not be empty");
    const std::string versions = "CS3Client::prepareDeleteObjectVersionsRequest: ";
    EXPECT_EQ(argErrorOf([&] { (void)client.deleteObjectVersions(request, "b", {}); }),
              versions + "there must be 1 to 1000 keys");
    EXPECT_EQ(argErrorOf([&] {
                  (void)client.deleteObjectVersions(request, "b", {{"k", "\x01"}});
              }),
              versions + "XML cannot carry the version ID '\x01'");
}

TEST_F(S3DeleteTest, BodyIsSignedWithVersion4) {
    answer({reply("200 OK", "<DeleteResult/>")});
    client.setSignatureVersion(4);
    (void)client.deleteObjects(request, "b", Keys{"k"});
    EXPECT_THAT(headersOf(request), testing::Contains(StartsWith("x-amz-content-sha256: ")));
    EXPECT_THAT(CS3Client::getCanonicalRequest(&request).toUTF8(), StartsWith("POST\n/b\ndelete=\n"));
}

TEST_F(S3DeleteTest, EveryKeyOfXMLIsSentUnchanged) {
    answer({reply("200 OK", "<DeleteResult/>")});
    (void)client.deleteObjects(request, "b",
                               Keys{" a ", "\t\n\r", "<&>\"'", ".", "\x7f", String::fromUTF8("\xC3\xA4")});
    EXPECT_EQ(onlyBody(),
              documentOf(objectOf("&#32;a&#32;") + objectOf("&#9;&#10;&#13;") + objectOf("&lt;&amp;&gt;\"'") +
                         objectOf(".") + objectOf("\x7f") + objectOf("\xC3\xA4")));
}

TEST_F(S3DeleteTest, VerboseModeNamesDeletedKeys) {
    answer({reply("200 OK", "<DeleteResult><Deleted><Key>k</Key></Deleted></DeleteResult>")});
    const auto result = client.deleteObjects(request, "b", Keys{"k"}, S3DeleteMode::Verbose);
    EXPECT_THAT(result->getDeletedKeys(), ElementsAre("k"));
    EXPECT_EQ(onlyBody(), documentOf(objectOf("k"), false));
}

TEST_F(S3DeleteTest, WrongArgumentsAreRefusedBeforeTheRequestChanges) {
    request.setURL("http://before/");
    const auto errorOf = [this](const String& bucket, const Keys& keys) {
        return argErrorOf([&] { (void)client.deleteObjects(request, bucket, keys); });
    };
    EXPECT_EQ(errorOf("", {"k"}), place + "bucket name must not be empty");
    EXPECT_EQ(errorOf("b", {}), place + "there must be 1 to 1000 keys");
    EXPECT_EQ(errorOf("b", Keys(1001, "k")), place + "there must be 1 to 1000 keys");
    EXPECT_EQ(errorOf("b", {"a", ""}), place + "object name must not be empty");
    EXPECT_EQ(errorOf("b", {"a\x01z"}), place + "XML cannot carry the object name 'a\x01z'");
    EXPECT_EQ(errorOf("b", {String::fromUTF8("\xEF\xBF\xBE")}),
              place + "XML cannot carry the object name '\xEF\xBF\xBE'");
    EXPECT_EQ(request.getURL(), "http://before/");
}

TEST_F(S3DeleteTest, AThousandKeysAreOneRequest) {
    answer({reply("200 OK", "<DeleteResult/>")});
    (void)client.deleteObjects(request, "b", Keys(1000, "k"));
    EXPECT_EQ(onlyBody().size(), documentOf("").size() + 1000 * objectOf("k").size());
}

TEST_F(S3DeleteTest, KeysThatXMLCanCarryAreKnown) {
    for (const char* key : {"k", " ", "\t", "\r", "\n", "\x7f", "\xEF\xBF\xBD", "\xF0\x9F\x98\x80"}) {
        EXPECT_TRUE(CS3Client::isKeyForXML(String::fromUTF8(key))) << key;
    }
    for (const char* key : {"\x01", "a\x1f", "\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
        EXPECT_FALSE(CS3Client::isKeyForXML(String::fromUTF8(key))) << key;
    }
    EXPECT_FALSE(CS3Client::isKeyForXML(String(std::wstring(1, L'\0'))));
    // An unpaired surrogate would be sent as another character.
    EXPECT_FALSE(CS3Client::isKeyForXML(String(std::wstring(1, static_cast<wchar_t>(0xDC80)))));
    EXPECT_FALSE(CS3Client::isKeyForXML(""));
}

TEST_F(S3DeleteTest, ErrorsComeKeyByKey) {
    answer({reply("200 OK", "<DeleteResult><Error><Key>a&amp;b</Key><VersionId>v1</VersionId>"
                            "<Code>AccessDenied</Code><Message>No.</Message></Error>"
                            "<Error><Key>&#32;c</Key><Code>InternalError</Code></Error></DeleteResult>")});
    const auto result = client.deleteObjects(request, "b", Keys{"a&b", " c"});
    ASSERT_EQ(result->getErrors().size(), 2u);
    const auto& first = result->getErrors()[0];
    EXPECT_EQ(first.key, "a&b");
    EXPECT_EQ(first.versionId, "v1");
    EXPECT_EQ(first.code, "AccessDenied");
    EXPECT_EQ(first.message, "No.");
    EXPECT_EQ(result->getErrors()[1].key, " c");
    EXPECT_EQ(result->getErrors()[1].code, "InternalError");
}

TEST_F(S3DeleteTest, RefusalIsTheErrorOfTheService) {
    answer({reply("403 Forbidden", errorDocument("AccessDenied")),
            reply("200 OK", errorDocument("InternalError"))});
    EXPECT_EQ(thrownBy<CS3Error>([&] { (void)client.deleteObjects(request, "b", Keys{"k"}); })->getCode(),
              403);
    const auto inside = thrownBy<CS3Error>([&] { (void)client.deleteObjects(request, "b", Keys{"k"}); });
    EXPECT_EQ(inside->getCode(), 0);
    EXPECT_EQ(inside->getS3Code(), "InternalError");
}

TEST_F(S3DeleteTest, TemporaryFailureIsTriedAgainWithTheSameBody) {
    answer({reply("503 Slow Down", errorDocument("SlowDown")), reply("200 OK", "<DeleteResult/>")});
    const LogCapture log;
    (void)client.deleteObjects(request, "b", Keys{"k"});
    ASSERT_EQ(peer.requests().size(), 2u);
    EXPECT_EQ(peer.requests()[1].body, documentOf(objectOf("k")));
}

TEST_F(S3DeleteTest, ResponseThatEndsInItsHeadersIsAnError) {
    peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\nX-A: b\r\n").close();
    EXPECT_EQ(transientErrorOf([&] { (void)client.deleteObjects(request, "b", Keys{"k"}); }),
              "The connection ended within the headers of the response.");
}

TEST(S3DeleteResultTest, OtherDocumentsAreErrors) {
    const std::string begin = "Error parsing Amazon S3 'delete objects' result: ";
    EXPECT_EQ(parseErrorOf(""), begin + "invalid XML.");
    EXPECT_EQ(parseErrorOf("<html>"), begin + "invalid XML.");
    EXPECT_EQ(parseErrorOf("<DeleteResult><Error><Key>k</Key>"), begin + "invalid XML.");
    EXPECT_EQ(parseErrorOf("<ListBucketResult/>"), begin + "unknown root element 'ListBucketResult'.");
    EXPECT_EQ(parseErrorOf("<DeleteResult><Error><Code>c</Code></Error></DeleteResult>"),
              begin + "an error without a key.");
    EXPECT_EQ(parseErrorOf("<DeleteResult><Error><Key>" + std::string(70000, 'k') +
                           "</Key></Error></DeleteResult>"),
              begin + "a text is longer than 65536 bytes.");
}

}  // namespace
