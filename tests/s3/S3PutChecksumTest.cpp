// Checksums of puts and parts: in a header, in a trailer, and compared with those of the service.
#include "tests/s3/UploadReader.h"
#include "vexil/s3/S3ChunkSigner.h"
#include "vexil/s3/S3PutOptions.h"

namespace {

using namespace vexil_test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using vexil::CS3ChunkSigner;
using vexil::CS3PartOptions;
using vexil::CS3PutOptions;
using vexil::CS3UploadedPart;
using vexil::S3Checksum;
using vexil::S3ChecksumTrailer;
using vexil::S3PayloadSigning;
using vexil::S3UploadCheck;

const std::string internalError = reply("500 Internal Server Error", errorDocument("InternalError"));
const std::string crcOfHello = base64(crc32c("hello"));
const std::string shaOfHello = base64(digest(EVP_sha256(), "hello"));
const std::string wrongCRC = "AAAAAA==";

std::string stored(const std::string& checksum, std::string_view content) {
    return reply("200 OK", "", eTagOf(content) + "x-amz-checksum-crc32c: " + checksum + "\r\n");
}

TEST(S3ChecksumReaderTest, ComputesThePublishedValue) {
    EXPECT_EQ(hex(crc32c("123456789")), "e3069283");
}

TEST(S3ChunkSignerTest, SignsThePublishedExampleOfATrailer) {
    const std::string key = signingKey(secretKey, "20130524", "us-east-1");
    const auto prepared = std::make_shared<const vexil::CS3PreparedKey>(
        vexil::CS3PreparedKey{"name", sigil::CHMACKey("SHA256", key)});
    CS3ChunkSigner signer({prepared, "20130524T000000Z", "20130524/us-east-1/s3/aws4_request",
                           "106e2a8a18243abcf37539882f36619c00e2dfc72633413f02d3b74544bfeb8e"});
    const std::string content(66560, 'a');
    const std::string line = "x-amz-checksum-crc32c:" + base64(crc32c(content));
    EXPECT_EQ(line, "x-amz-checksum-crc32c:sOO8/Q==");
    EXPECT_EQ(signer.signChunk(content.data(), 65536),
              "10000;chunk-signature=b474d8862b1487a5145d686f57f013e54db672cee1c953b3010fb58501ef5aa2\r\n");
    EXPECT_EQ(signer.signChunk(content.data(), 1024),
              "400;chunk-signature=1c1344b170168f8e65b41376b44b20fe354e373826ccbbe2c1d40a8cae51e5c7\r\n");
    EXPECT_EQ(signer.signChunk(nullptr, 0),
              "0;chunk-signature=2ca2aba2005185cf7159c6277faf83795951dd77a3a99e6e65d5c9f85863f992\r\n");
    const std::string trailer = signer.signTrailer(line);
    EXPECT_EQ(trailer, line + "\r\nx-amz-trailer-signature:"
                              "d81f82fc3505edab99d459891051a732e8730629a2e4a59689829ca17fe2e435\r\n");
    const int64 lineSize = static_cast<int64>(line.size());
    EXPECT_EQ(CS3ChunkSigner::getTrailerSize(lineSize), static_cast<int64>(trailer.size()));
    EXPECT_EQ(CS3ChunkSigner::makeUnsignedLine(65536), "10000\r\n");
    EXPECT_EQ(CS3ChunkSigner::getUnsignedSize(66560, lineSize),
              7 + 65536 + 2 + 5 + 1024 + 2 + 3 + static_cast<int64>(line.size()) + 2 + 2);
}

class S3PutChecksumTest : public S3WireTest {
protected:
    S3PutChecksumTest() : v4(peer.url("")) { v4.setSignatureVersion(4); }
    ~S3PutChecksumTest() override { request.reset(); }  // it may refer to a stream

    void put(CS3Client& by, Stream& stream, S3Checksum checksum = S3Checksum::CRC32C) {
        by.putObject(request, "b", "k", &stream, static_cast<int64>(stream.bytes.size()),
                     CS3PutOptions{.checksum = checksum});
    }
    void put(CS3Client& by, S3Checksum checksum = S3Checksum::CRC32C) {
        Stream stream("hello");
        put(by, stream, checksum);
    }
    std::optional<std::string> sent(std::size_t index, std::string_view name) const {
        return peer.requests().at(index).header(name);
    }

    TestClient v4;
};

TEST_F(S3PutChecksumTest, Version2SendsAndSignsTheHeader) {
    answer({stored(crcOfHello, "hello")});
    put(client);
    EXPECT_EQ(onlyHead(),
              putHead("PUT /b/k",
                      {dateLine, "Content-MD5: " + md5Of("hello"), "x-amz-checksum-crc32c: " + crcOfHello,
                       authorizationOf("PUT\n" + md5Of("hello") + "\n\n" + fixedDate +
                                       "\nx-amz-checksum-crc32c:" + crcOfHello + "\n/b/k"),
                       "Content-Length: 5"}));
}

TEST_F(S3PutChecksumTest, Version4SendsAndSignsTheHeader) {
    answer({reply("200 OK", ""), reply("200 OK", "")});
    put(v4, S3Checksum::SHA256);
    EXPECT_EQ(sent(0, "x-amz-checksum-sha256"), shaOfHello);
    EXPECT_EQ(sent(0, "x-amz-content-sha256"), hex(digest(EVP_sha256(), "hello")));
    EXPECT_THAT(sent(0, "Authorization").value(), HasSubstr(";x-amz-checksum-sha256;"));
    v4.putObject(request, "b", "k", "hello", CS3PutOptions{.checksum = S3Checksum::CRC32C});
    EXPECT_EQ(sent(1, "x-amz-checksum-crc32c"), crcOfHello) << "bytes from memory";
    EXPECT_EQ(sent(1, "Content-MD5"), md5Of("hello"));
}

TEST_F(S3PutChecksumTest, NoChecksumIsSentByDefault) {
    answer({reply("200 OK", "", "x-amz-checksum-crc32c: " + wrongCRC + "\r\n")});
    EXPECT_NO_THROW(put(v4, S3Checksum::None));
    EXPECT_THAT(peer.requests().at(0).head, Not(HasSubstr("checksum")));
}

TEST_F(S3PutChecksumTest, AStreamIsReadTwiceForAllHashes) {
    answer({stored(crcOfHello, "hello")});
    Stream stream("hello");
    put(v4, stream);
    EXPECT_EQ(stream.readBytes, 10) << "one pass for MD5, SHA-256 and checksum, one to send";
}

TEST_F(S3PutChecksumTest, AnotherChecksumInTheResponseIsAnError) {
    answer({stored(wrongCRC, "hello"), stored(wrongCRC, "hello"), stored(wrongCRC, "hello")});
    EXPECT_EQ(transientErrorOf([&] { put(client); }),
              "The service has stored other bytes for '" + peer.url("/b/k") +
                  "' than were sent. Sent was the CRC32C " + crcOfHello + ", stored is " + wrongCRC +
                  ". Put the object again or delete it.");
    client.preparePutObjectRequest(request, "b", "k", "hello", CS3PutOptions{.checksum = S3Checksum::CRC32C});
    request.perform();
    EXPECT_THAT(transientErrorOf([&] { client.checkResponse(request); }), HasSubstr(crcOfHello));
    client.setUploadCheck(S3UploadCheck::WhileSending);
    EXPECT_EQ(transientErrorOf([&] { put(client); }),
              "The service has stored other bytes for 'b/k' than were sent. Sent was the CRC32C " +
                  crcOfHello + ", stored is " + wrongCRC + ". Put the object again or delete it.");
}

TEST_F(S3PutChecksumTest, ARefusalOfTheServiceIsAnError) {
    answer({reply("400 Bad Request", errorDocument("BadDigest"))});
    const auto error = thrownBy<CS3Error>([&] { put(v4); });
    EXPECT_EQ(error->getS3Code(), "BadDigest");
    EXPECT_EQ(error->getKind(), vexil::ErrorKind::InvalidData);
}

TEST_F(S3PutChecksumTest, ABodyThatIsReadOnceIsOnlyComparedByDefault) {
    answer({stored(crcOfHello, "hello"), stored(wrongCRC, "hello"), reply("200 OK", "")});
    v4.setUploadCheck(S3UploadCheck::WhileSending);
    Stream stream("hello");
    put(v4, stream);
    EXPECT_EQ(stream.readBytes, 5);
    EXPECT_EQ(decodeChunks(peer.requests().at(0)), "hello");
    EXPECT_FALSE(sent(0, "x-amz-trailer"));
    EXPECT_FALSE(sent(0, "x-amz-checksum-crc32c"));
    EXPECT_THAT(transientErrorOf([&] { put(v4); }), HasSubstr(wrongCRC));
    EXPECT_NO_THROW(put(v4)) << "the service does not know checksums";
}

TEST_F(S3PutChecksumTest, ATrailerIsSignedAfterTheChunks) {
    v4.setUploadCheck(S3UploadCheck::WhileSending);
    v4.setChecksumTrailer(S3ChecksumTrailer::Always);
    const std::vector<std::size_t> sizes = {1, 65535, 65536, 65537, 200000};
    std::vector<std::string> replies;
    for (const std::size_t size : sizes) {
        const std::string content = ScriptedPeer::pattern(size, size);
        replies.push_back(stored(base64(crc32c(content)), content));
    }
    answer(replies);
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        SCOPED_TRACE(sizes[i]);
        const std::string content = ScriptedPeer::pattern(sizes[i], sizes[i]);
        Stream stream(content);
        stream.mostAtOnce = 10007;
        put(v4, stream);
        const RecordedRequest recorded = peer.requests().at(i);
        EXPECT_EQ(recorded.header("x-amz-trailer"), "x-amz-checksum-crc32c");
        EXPECT_TRUE(decodeChunks(recorded, "x-amz-checksum-crc32c:" + base64(crc32c(content))) == content);
        EXPECT_THAT(recorded.header("Authorization").value(), HasSubstr(";x-amz-trailer, Signature="));
        EXPECT_EQ(stream.readBytes, static_cast<int64>(sizes[i])) << "read once";
    }
}

TEST_F(S3PutChecksumTest, ATrailerMayHaveSHA256) {
    answer({reply("200 OK", "", "x-amz-checksum-sha256: " + shaOfHello + "\r\n")});
    v4.setUploadCheck(S3UploadCheck::WhileSending);
    v4.setChecksumTrailer(S3ChecksumTrailer::Always);
    put(v4, S3Checksum::SHA256);
    EXPECT_EQ(decodeChunks(peer.requests().at(0), "x-amz-checksum-sha256:" + shaOfHello), "hello");
}

TEST_F(S3PutChecksumTest, Version2AndAnonymousRequestsHaveNoTrailer) {
    answer({stored(crcOfHello, "hello"), stored(crcOfHello, "hello")});
    client.setUploadCheck(S3UploadCheck::WhileSending);
    client.setChecksumTrailer(S3ChecksumTrailer::Always);
    put(client);
    v4.setUploadCheck(S3UploadCheck::WhileSending);
    v4.setChecksumTrailer(S3ChecksumTrailer::Always);
    v4.setAnonymous(true);
    put(v4);
    for (const RecordedRequest& sent : peer.requests()) {
        EXPECT_EQ(sent.body, "hello");
        EXPECT_FALSE(sent.header("x-amz-trailer"));
    }
}

TEST_F(S3PutChecksumTest, AnEmptyBodyHasItsChecksumInTheHeader) {
    answer({reply("200 OK", ""), reply("200 OK", "")});
    for (CS3Client* by : {static_cast<CS3Client*>(&client), static_cast<CS3Client*>(&v4)}) {
        by->setUploadCheck(S3UploadCheck::WhileSending);
        by->setChecksumTrailer(S3ChecksumTrailer::Always);
        Stream stream("");
        put(*by, stream);
    }
    EXPECT_EQ(sent(0, "x-amz-checksum-crc32c"), "AAAAAA==");
    EXPECT_EQ(sent(1, "x-amz-checksum-crc32c"), "AAAAAA==");
    EXPECT_FALSE(sent(1, "x-amz-trailer"));
}

TEST_F(S3PutChecksumTest, EachTryComputesTheChecksumFromTheFirstByte) {
    const std::string content = ScriptedPeer::pattern(0, 200000);
    const std::string line = "x-amz-checksum-crc32c:" + base64(crc32c(content));
    peer.onConnection().expectHead().expectBytes(65536 + 30000).reset();
    answer({internalError, reply("307 Temporary Redirect", "", "Location: /b/k?x\r\n"),
            stored(base64(crc32c(content)), content), stored(crcOfHello, "hello")});
    v4.setUploadCheck(S3UploadCheck::WhileSending);
    v4.setChecksumTrailer(S3ChecksumTrailer::Always);
    Stream stream(content);
    put(v4, stream);
    put(v4);
    ASSERT_EQ(peer.requests().size(), 5u);
    for (const std::size_t i : {1u, 2u, 3u}) {
        EXPECT_TRUE(decodeChunks(peer.requests().at(i), line) == content) << i;
    }
    EXPECT_EQ(peer.requests().at(3).requestLine(), "PUT /b/k?x HTTP/1.1");
    EXPECT_EQ(decodeChunks(peer.requests().at(4), "x-amz-checksum-crc32c:" + crcOfHello), "hello")
        << "on the same connection";
    EXPECT_EQ(peer.connectionCount(), 2u);
}

TEST_F(S3PutChecksumTest, AHeaderIsSentAgainWithEachTry) {
    answer({internalError, reply("307 Temporary Redirect", "", "Location: /b/k?x\r\n"),
            stored(crcOfHello, "hello")});
    put(v4);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(sent(i, "x-amz-checksum-crc32c"), crcOfHello);
        EXPECT_EQ(peer.requests().at(i).body, "hello");
    }
}

TEST_F(S3PutChecksumTest, UnknownChecksumsAreRefused) {
    EXPECT_EQ(argErrorOf([&] { put(v4, static_cast<S3Checksum>(7)); }),
              "CS3Client::preparePutObjectRequest: the checksum is unknown");
    for (const auto& [checksum, name] :
         {std::pair(S3Checksum::CRC32, "CRC32"), {S3Checksum::CRC64NVME, "CRC64NVME"}}) {
        EXPECT_EQ(argErrorOf([&, checksum = checksum] { put(v4, checksum); }),
                  std::string("CS3Client::preparePutObjectRequest: the checksum ") + name +
                      " is of downloads only");
    }
    Stream stream("hello");
    EXPECT_EQ(argErrorOf([&] {
                  v4.uploadPart(request, "b", "k", "id", 1, &stream, 5,
                                CS3PartOptions{.checksum = static_cast<S3Checksum>(7)});
              }),
              "CS3Client::prepareUploadPartRequest: the checksum is unknown");
}

TEST(S3TrailerPreparationTest, AmazonGetsTrailersOverHTTPAndHTTPS) {
    CNetRequest request;
    Stream stream("hello");
    for (const bool isSecure : {false, true}) {
        CS3Client amazon(String(accessKey), String(secretKey), isSecure);
        amazon.setSignatureVersion(4);
        amazon.setUploadCheck(S3UploadCheck::WhileSending);
        amazon.preparePutObjectRequest(request, "b", "k", &stream, 5,
                                       CS3PutOptions{.checksum = S3Checksum::CRC32C});
        const std::string payload =
            isSecure ? "STREAMING-UNSIGNED-PAYLOAD-TRAILER" : "STREAMING-AWS4-HMAC-SHA256-PAYLOAD-TRAILER";
        EXPECT_THAT(headersOf(request), Contains("x-amz-content-sha256: " + payload));
        EXPECT_THAT(headersOf(request), Contains("x-amz-trailer: x-amz-checksum-crc32c"));
        EXPECT_THAT(headersOf(request), Contains("x-amz-decoded-content-length: 5"));
        EXPECT_THAT(headersOf(request), Contains("Content-Encoding: aws-chunked"));
        amazon.setPayloadSigning(S3PayloadSigning::Chunked);
        amazon.preparePutObjectRequest(request, "b", "k", &stream, 5,
                                       CS3PutOptions{.checksum = S3Checksum::CRC32C});
        EXPECT_THAT(headersOf(request),
                    Contains("x-amz-content-sha256: STREAMING-AWS4-HMAC-SHA256-PAYLOAD-TRAILER"));
    }
    request.reset();
}

// ---- parts ------------------------------------------------------------------------------------------------

TEST_F(S3PutChecksumTest, AnUploadDeclaresItsChecksum) {
    const std::string begun = reply(
        "200 OK", "<InitiateMultipartUploadResult><UploadId>id</UploadId></InitiateMultipartUploadResult>");
    answer({begun, begun, begun});
    const auto create = [&] {
        (void)v4.createMultipartUpload(request, "b", "k", CS3PutOptions{.checksum = S3Checksum::SHA256});
    };
    create();
    EXPECT_EQ(sent(0, "x-amz-checksum-algorithm"), "SHA256");
    EXPECT_EQ(sent(0, "x-amz-checksum-type"), "COMPOSITE");
    v4.setUploadCheck(S3UploadCheck::WhileSending);
    create();
    EXPECT_FALSE(sent(1, "x-amz-checksum-algorithm")) << "the service would refuse parts without checksums";
    v4.setChecksumTrailer(S3ChecksumTrailer::Always);
    create();
    EXPECT_EQ(sent(2, "x-amz-checksum-algorithm"), "SHA256");
}

TEST_F(S3PutChecksumTest, APartReturnsTheChecksumOfTheService) {
    answer({stored(crcOfHello, "hello"), reply("200 OK", "", eTagOf("hello")), stored(wrongCRC, "hello")});
    const auto upload = [&] {
        Stream stream("hello");
        return v4.uploadPart(request, "b", "k", "id", 3, &stream, 5,
                             CS3PartOptions{.checksum = S3Checksum::CRC32C});
    };
    const CS3UploadedPart part = upload();
    EXPECT_EQ(part.number, 3);
    EXPECT_EQ(part.eTag.toUTF8(), "\"" + hex(digest(EVP_md5(), "hello")) + "\"");
    EXPECT_EQ(part.checksum.toUTF8(), crcOfHello);
    EXPECT_EQ(upload().checksum, "") << "the service does not know checksums";
    EXPECT_THAT(transientErrorOf([&] { (void)upload(); }), HasSubstr(wrongCRC));
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(sent(i, "x-amz-checksum-crc32c"), crcOfHello);
    }
}

TEST_F(S3PutChecksumTest, TheCompletionSendsAndComparesTheChecksums) {
    const std::string composite = base64(crc32c(crc32c("hello") + crc32c("world"))) + "-2";
    const auto completed = [](const std::string& checksum) {
        return reply("200 OK", "<CompleteMultipartUploadResult><ETag>\"e-2\"</ETag><ChecksumCRC32C>" +
                                   checksum + "</ChecksumCRC32C></CompleteMultipartUploadResult>");
    };
    answer({completed(composite), completed("AAAAAA==-2"), completed("AAAAAA==")});
    const vexil::TArray<CS3UploadedPart> parts = {{1, "\"a\"", String(crcOfHello)},
                                                  {2, "\"b\"", String(base64(crc32c("world")))}};
    const auto complete = [&] {
        return v4.completeMultipartUpload(request, "b", "k", "id", parts,
                                          CS3PutOptions{.checksum = S3Checksum::CRC32C});
    };
    EXPECT_EQ(complete(), "\"e-2\"");
    EXPECT_EQ(peer.requests().at(0).body,
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CompleteMultipartUpload><Part><PartNumber>1"
              "</PartNumber><ETag>\"a\"</ETag><ChecksumCRC32C>" +
                  crcOfHello +
                  "</ChecksumCRC32C></Part><Part><PartNumber>2</PartNumber><ETag>\"b\"</ETag>"
                  "<ChecksumCRC32C>" +
                  base64(crc32c("world")) + "</ChecksumCRC32C></Part></CompleteMultipartUpload>");
    EXPECT_EQ(transientErrorOf([&] { (void)complete(); }),
              "The service has stored other bytes for 'b/k' than were sent. Sent was the CRC32C " +
                  composite + ", stored is AAAAAA==-2. Put the object again or delete it.");
    EXPECT_NO_THROW((void)complete()) << "a checksum of the whole content is another one";
}

TEST_F(S3PutChecksumTest, APartWithAChecksumNeedsItsKind) {
    EXPECT_EQ(argErrorOf([&] {
                  (void)v4.completeMultipartUpload(request, "b", "k", "id", {{4, "\"a\"", "AAAAAA=="}});
              }),
              "CS3Client::prepareCompleteMultipartUploadRequest: the part 4 has a checksum, but the options "
              "have none");
}

}  // namespace
