// Objects that are uploaded in parts.
#include "tests/s3/S3WireTest.h"
#include "zet/BufferStream.h"

#include <string>
#include <vector>

namespace {

using namespace vexil_test;
using testing::StartsWith;
using vexil::CS3UploadedPart;

using Parts = vexil::TArray<CS3UploadedPart>;

const std::string id = "2~a/b+c";
const std::string escapedID = "2~a%2Fb%2Bc";
const std::string created = "<InitiateMultipartUploadResult><Bucket>b</Bucket><UploadId>" + id +
                            "</UploadId></InitiateMultipartUploadResult>";
const std::string completed =
    "<CompleteMultipartUploadResult><ETag>\"e-2\"</ETag></CompleteMultipartUploadResult>";
const std::string completion = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CompleteMultipartUpload>"
                               "<Part><PartNumber>1</PartNumber><ETag>\"e1\"</ETag></Part>"
                               "<Part><PartNumber>10000</PartNumber><ETag>e&amp;2</ETag></Part>"
                               "</CompleteMultipartUpload>";

vexil::TBuffer<unsigned char> bufferOf(const std::string& text) {
    vexil::TBuffer<unsigned char> buffer;
    buffer.append(reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    return buffer;
}

class S3MultipartTest : public S3WireTest {
protected:
    S3MultipartTest() {
        data.write("hello", 5);
        data.seek(0);
    }

    ~S3MultipartTest() override { request.reset(); }  // it may refer to the data

    String create() { return client.createMultipartUpload(request, "b", "k", "text/plain"); }
    String upload(int number = 7) {
        data.seek(0);
        return client.uploadPart(request, "b", "k", String(id), number, &data, 5);
    }
    String complete(const Parts& parts = {{1, "\"e1\""}, {10000, "e&2"}}) {
        return client.completeMultipartUpload(request, "b", "k", String(id), parts);
    }

    zet::CBufferStream data;
};

TEST_F(S3MultipartTest, CreateSendsTheseBytes) {
    answer({reply("200 OK", created)});
    EXPECT_EQ(create(), String(id));
    EXPECT_EQ(onlyHead(), head("POST /b/k?uploads",
                               {dateLine, "Content-Type: text/plain",
                                authorizationOf("POST\n\ntext/plain\n" + fixedDate + "\n/b/k?uploads"),
                                "Content-Length: 0"}));
}

TEST_F(S3MultipartTest, CreateWithoutATypeSendsNone) {
    answer({reply("200 OK", created)});
    (void)client.createMultipartUpload(request, "b", "k");
    EXPECT_EQ(onlyHead(), head("POST /b/k?uploads",
                               {dateLine, authorizationOf("POST\n\n\n" + fixedDate + "\n/b/k?uploads"),
                                "Content-Length: 0"}));
}

TEST_F(S3MultipartTest, PartSendsTheseBytes) {
    answer({reply("200 OK", "", "ETag: \"e\"\r\n")});
    EXPECT_EQ(upload(), "\"e\"");
    const std::string md5 = md5Of("hello");
    // The signature has the ID as it is, the URL has it escaped.
    EXPECT_EQ(onlyHead(), putHead("PUT /b/k?partNumber=7&uploadId=" + escapedID,
                                  {dateLine, "Content-MD5: " + md5,
                                   authorizationOf("PUT\n" + md5 + "\n\n" + fixedDate +
                                                   "\n/b/k?partNumber=7&uploadId=" + id),
                                   "Content-Length: 5"}));
    EXPECT_EQ(peer.requests().at(0).body, "hello");
}

TEST_F(S3MultipartTest, CompletionSendsTheseBytes) {
    answer({reply("200 OK", completed)});
    EXPECT_EQ(complete(), "\"e-2\"");
    const std::string md5 = md5Of(completion);
    EXPECT_EQ(onlyHead(), head("POST /b/k?uploadId=" + escapedID,
                               {dateLine, "Content-MD5: " + md5, "Content-Type: application/xml",
                                authorizationOf("POST\n" + md5 + "\napplication/xml\n" + fixedDate +
                                                "\n/b/k?uploadId=" + id),
                                "Content-Length: " + std::to_string(completion.size())}));
    EXPECT_EQ(peer.requests().at(0).body, completion);
}

TEST_F(S3MultipartTest, AbortSendsTheseBytes) {
    answer({"HTTP/1.1 204 No Content\r\n\r\n"});
    client.abortMultipartUpload(request, "b", "k", String(id));
    EXPECT_EQ(onlyHead(),
              head("DELETE /b/k?uploadId=" + escapedID,
                   {dateLine, authorizationOf("DELETE\n\n\n" + fixedDate + "\n/b/k?uploadId=" + id)}));
}

TEST_F(S3MultipartTest, Version4SignsQueryAndBody) {
    client.setSignatureVersion(4);
    client.prepareUploadPartRequest(request, "b", "k", String(id), 7, &data, 5);
    EXPECT_THAT(CS3Client::getCanonicalRequest(&request).toUTF8(),
                StartsWith("PUT\n/b/k\npartNumber=7&uploadId=" + escapedID + "\n"));
    EXPECT_THAT(headersOf(request), testing::Contains(StartsWith("x-amz-content-sha256: 2cf24dba5fb0a30e")));
}

TEST_F(S3MultipartTest, SigningAgainGivesTheSameSignature) {
    client.prepareUploadPartRequest(request, "b", "k", String(id), 7, &data, 5);
    const auto headers = headersOf(request);
    client.signAgain(request);
    EXPECT_EQ(headersOf(request), headers);
}

TEST_F(S3MultipartTest, WrongArgumentsAreRefusedBeforeTheRequestChanges) {
    request.setURL("http://before/");
    const std::string create = "CS3Client::prepareCreateMultipartUploadRequest: ";
    const std::string part = "CS3Client::prepareUploadPartRequest: ";
    const std::string end = "CS3Client::prepareCompleteMultipartUploadRequest: ";
    EXPECT_EQ(argErrorOf([&] { (void)client.createMultipartUpload(request, "b", ""); }),
              create + "object name must not be empty");
    EXPECT_EQ(argErrorOf([&] { (void)client.createMultipartUpload(request, "b", "k", "a\r\nb"); }),
              create + "content type must not contain CR, LF or NUL");
    EXPECT_EQ(argErrorOf([&] { upload(0); }), part + "the part number 0 is not 1 to 10000");
    EXPECT_EQ(argErrorOf([&] { upload(10001); }), part + "the part number 10001 is not 1 to 10000");
    EXPECT_EQ(argErrorOf([&] { client.uploadPart(request, "b", "k", "", 1, &data, 5); }),
              part + "upload ID must not be empty");
    EXPECT_EQ(argErrorOf([&] { client.uploadPart(request, "b", "k", "i", 1, nullptr, 5); }),
              part + "data stream must not be null");
    EXPECT_EQ(argErrorOf([&] { client.uploadPart(request, "b", "k", "i", 1, &data, -1); }),
              part + "size must not be negative");
    EXPECT_EQ(argErrorOf([&] { client.uploadPart(request, "b", "k", "i", 1, &data, 5368709121); }),
              part + "size must not exceed 5368709120 bytes, the limit of a part");
    EXPECT_EQ(argErrorOf([&] { complete(Parts{}); }), end + "there must be 1 to 10000 parts");
    EXPECT_EQ(argErrorOf([&] {
                  complete({{2, "a"}, {2, "b"}});
              }),
              end + "the part number 2 is not greater than the one before it");
    EXPECT_EQ(argErrorOf([&] { complete({{10001, "a"}}); }), end + "the part number 10001 is not 1 to 10000");
    EXPECT_EQ(argErrorOf([&] { complete({{1, ""}}); }), end + "the part 1 has no valid ETag");
    EXPECT_EQ(argErrorOf([&] { complete({{1, "\x01"}}); }), end + "the part 1 has no valid ETag");
    EXPECT_EQ(argErrorOf([&] { client.abortMultipartUpload(request, "b", "k", ""); }),
              "CS3Client::prepareAbortMultipartUploadRequest: upload ID must not be empty");
    EXPECT_EQ(request.getURL(), "http://before/");
}

TEST_F(S3MultipartTest, ErrorInsideASuccessIsThrown) {
    answer({reply("200 OK", " \n\r\n\t " + errorDocument("InternalError")),
            reply("200 OK", errorDocument("InternalError"))});
    for (int i = 0; i < 2; ++i) {
        const auto error = thrownBy<CS3Error>([&] { complete(); });
        EXPECT_EQ(error->getCode(), 0);
        EXPECT_EQ(error->getS3Code(), "InternalError");
    }
}

TEST_F(S3MultipartTest, WhiteSpaceMayComeBeforeTheDocument) {
    answer({reply("200 OK", "  \n \n<?xml version=\"1.0\"?>" + completed)});
    EXPECT_EQ(complete(), "\"e-2\"");
}

TEST_F(S3MultipartTest, ResponseWithoutAResultIsAnError) {
    const std::string begin = "Error parsing Amazon S3 'complete multipart upload' result: ";
    const auto errorOf = [](const std::string& text) {
        return plainErrorOf([&] { (void)CS3Client::readCompletedETag(bufferOf(text)); });
    };
    EXPECT_EQ(errorOf(""), begin + "there is no document.");
    EXPECT_EQ(errorOf(" \n "), begin + "there is no document.");
    EXPECT_EQ(errorOf("<html>"), begin + "invalid XML.");
    EXPECT_EQ(errorOf(created), begin + "unknown root element 'InitiateMultipartUploadResult'.");
    EXPECT_EQ(errorOf("<a>" + std::string(1 << 20, ' ') + "</a>"),
              begin + "the document is longer than 1048576 bytes.");
    EXPECT_EQ(
        plainErrorOf([] { (void)CS3Client::readUploadID(bufferOf("<InitiateMultipartUploadResult/>")); }),
        "Error parsing Amazon S3 'create multipart upload' result: there is no upload ID.");
}

TEST_F(S3MultipartTest, PartWithoutETagIsAnError) {
    answer({reply("200 OK", "")});
    EXPECT_EQ(plainErrorOf([&] { upload(); }),
              "Error: ETag header was expected but not included in response.");
}

TEST_F(S3MultipartTest, PartWithAnotherMD5IsAnError) {
    answer({reply("200 OK", "", "ETag: \"5d41402abc4b2a76b9719d911017c593\"\r\n")});
    client.setVerifyETag(true);
    EXPECT_THAT(transientErrorOf([&] { upload(); }), StartsWith("The content has the MD5 "));
}

TEST_F(S3MultipartTest, TemporaryFailureOfAPartSendsItAgain) {
    answer({reply("503 Slow Down", errorDocument("SlowDown")), reply("200 OK", "", "ETag: e\r\n")});
    const LogCapture log;
    EXPECT_EQ(upload(), "e");
    ASSERT_EQ(peer.requests().size(), 2u);
    EXPECT_EQ(peer.requests()[1].body, "hello");
}

}  // namespace
