// Streams that are read once: their MD5 and the signatures of their chunks are computed while they are sent.
#include "tests/s3/UploadReader.h"
#include "vexil/s3/S3ChunkSigner.h"
#include "vexil/s3/S3PutOptions.h"

namespace {

using namespace vexil_test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using vexil::CS3ChunkSigner;
using vexil::S3PayloadSigning;
using vexil::S3UploadCheck;

const std::string internalError = reply("500 Internal Server Error", errorDocument("InternalError"));

// ---- Amazon's example -------------------------------------------------------------------------------------

TEST(S3ChunkSignerTest, SignsThePublishedExample) {
    const std::string key = signingKey(secretKey, "20130524", "us-east-1");
    const auto prepared = std::make_shared<const vexil::CS3PreparedKey>(
        vexil::CS3PreparedKey{"name", sigil::CHMACKey("SHA256", key)});
    CS3ChunkSigner signer({prepared, "20130524T000000Z", "20130524/us-east-1/s3/aws4_request",
                           "4f232c4386841ef735655705268965c44a0e4690baa4adea153f7db9fa80a0a9"});
    const std::string content(66560, 'a');
    EXPECT_EQ(signer.signChunk(content.data(), 65536),
              "10000;chunk-signature=ad80c730a21e5b8d04586a2213dd63b9a0e99e0e2307b0ade35a65485a288648\r\n");
    EXPECT_EQ(signer.signChunk(content.data(), 1024),
              "400;chunk-signature=0055627c9e194cb4542bae2aa5492e3c1575bbb81b612b7d234b86a503ef5497\r\n");
    EXPECT_EQ(signer.signChunk(nullptr, 0),
              "0;chunk-signature=b6c6ea8a5354eaf15b3cb7646744f4275b71ea724fed81ceb9323e279d449df9\r\n");
    EXPECT_EQ(CS3ChunkSigner::getEncodedSize(66560), 66824);
}

// ---- on the wire ------------------------------------------------------------------------------------------

/// Its time moves on by a minute with each signature.
class MovingClient : public TestClient {
public:
    using TestClient::TestClient;

protected:
    zet::CTime getCurrentTime() const override { return zet::CTime::fromCTime(m_now += 60); }

private:
    mutable int64 m_now = 1583219109;
};

class S3UploadCheckTest : public S3WireTest {
protected:
    S3UploadCheckTest() : v4(peer.url("")) {
        client.setUploadCheck(S3UploadCheck::WhileSending);
        v4.setUploadCheck(S3UploadCheck::WhileSending);
        v4.setSignatureVersion(4);
    }
    ~S3UploadCheckTest() override { request.reset(); }  // it may refer to a stream

    void put(CS3Client& by, Stream& stream, int64 size) {
        by.putObject(request, "b", "k", &stream, size, "");
    }
    void put(CS3Client& by, Stream& stream) {
        put(by, stream, static_cast<int64>(stream.bytes.size()) - stream.position);
    }

    MovingClient v4;
};

TEST_F(S3UploadCheckTest, Version2SendsTheseBytes) {
    answer({reply("200 OK", "", eTagOf("hello"))});
    Stream stream("before hello after", 7);
    put(client, stream, 5);
    EXPECT_EQ(onlyHead(), putHead("PUT /b/k", {dateLine, authorizationOf("PUT\n\n\n" + fixedDate + "\n/b/k"),
                                               "Content-Length: 5"}));
    EXPECT_EQ(peer.requests().at(0).body, "hello");
    EXPECT_EQ(stream.readBytes, 5);
}

TEST_F(S3UploadCheckTest, EachChunkIsSigned) {
    const std::vector<std::size_t> sizes = {1, 65535, 65536, 65537, 131072, 300000};
    std::vector<std::string> replies;
    for (const std::size_t size : sizes) {
        replies.push_back(reply("200 OK", "", eTagOf(ScriptedPeer::pattern(size, size))));
    }
    answer(replies);
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        SCOPED_TRACE(sizes[i]);
        const std::string content = ScriptedPeer::pattern(sizes[i], sizes[i]);
        Stream stream("before" + content, 6);
        stream.mostAtOnce = 10007;
        put(v4, stream);
        ASSERT_EQ(peer.requests().size(), i + 1);
        const RecordedRequest sent = peer.requests().at(i);
        EXPECT_TRUE(decodeChunks(sent) == content);
        EXPECT_FALSE(sent.header("Content-MD5"));
        EXPECT_FALSE(sent.header("Content-Encoding")) << "other services would keep it";
        EXPECT_THAT(sent.head, HasSubstr(";x-amz-decoded-content-length, Signature="));
        EXPECT_EQ(stream.readBytes, static_cast<int64>(sizes[i])) << "read once";
    }
}

TEST_F(S3UploadCheckTest, AnEmptyBodyHasNoChunks) {
    answer({reply("200 OK", "", eTagOf("")), reply("200 OK", "", eTagOf("x"))});
    Stream stream("");
    EXPECT_NO_THROW(put(v4, stream));
    EXPECT_EQ(peer.requests().at(0).header("x-amz-content-sha256"), hex(digest(EVP_sha256(), "")));
    EXPECT_EQ(peer.requests().at(0).header("Content-Length"), "0");
    EXPECT_FALSE(peer.requests().at(0).header("x-amz-decoded-content-length"));
    EXPECT_THAT(transientErrorOf([&] { put(v4, stream); }), HasSubstr("d41d8cd98f00b204e9800998ecf8427e"));
}

TEST_F(S3UploadCheckTest, OtherBytesOnTheWayAreFound) {
    answer({reply("200 OK", "", eTagOf("jello"))});
    Stream stream("hello");
    EXPECT_EQ(transientErrorOf([&] { put(client, stream); }),
              "The service has stored other bytes for 'b/k' than were sent. Sent was the MD5 "
              "5d41402abc4b2a76b9719d911017c592, stored is the ETag \"" +
                  hex(digest(EVP_md5(), "jello")) + "\". Put the object again or delete it.");
}

TEST_F(S3UploadCheckTest, ETagsThatAreNoMD5AreNotCompared) {
    answer({reply("200 OK", "", "ETag: \"0123-2\"\r\n"), reply("200 OK", ""),
            reply("200 OK", "", eTagOf("x") + "x-amz-server-side-encryption: aws:kms\r\n")});
    for (int i = 0; i < 3; ++i) {
        Stream stream("hello");
        EXPECT_NO_THROW(put(client, stream));
    }
}

TEST_F(S3UploadCheckTest, APartIsReadOnceAndCompared) {
    answer({reply("200 OK", "", eTagOf("hello")), reply("200 OK", "", eTagOf("jello"))});
    Stream stream("hello");
    const auto upload = [&] {
        stream.position = 0;
        return v4.uploadPart(request, "b", "k", "id", 7, &stream, 5);
    };
    EXPECT_NO_THROW((void)upload());
    EXPECT_EQ(stream.readBytes, 5);
    EXPECT_THAT(transientErrorOf([&] { (void)upload(); }),
                StartsWith("The service has stored other bytes for 'b/k', part '7' than were sent. "));
    EXPECT_EQ(decodeChunks(peer.requests().at(0)), "hello");
    EXPECT_EQ(decodeChunks(peer.requests().at(1)), "hello");
}

TEST_F(S3UploadCheckTest, ResponsesOfPreparedRequestsAreCompared) {
    answer({reply("200 OK", "", eTagOf("jello")), reply("200 OK", "", eTagOf("hello"))});
    Stream stream("hello");
    v4.preparePutObjectRequest(request, "b", "k", &stream, 5, "");
    request.perform();
    EXPECT_THAT(transientErrorOf([&] { v4.checkResponse(request); }), HasSubstr("other bytes for 'b/k'"));
    request.perform();
    EXPECT_NO_THROW(v4.checkResponse(request)) << "the digest begins again with each transfer";
    EXPECT_EQ(decodeChunks(peer.requests().at(1)), "hello");
    request.reset();
}

TEST_F(S3UploadCheckTest, ATryBeginsAgainWithItsOwnSignature) {
    const std::string content = ScriptedPeer::pattern(0, 200000);
    peer.onConnection().expectHead().expectBytes(65536 + 30000).reset();
    answer({internalError, reply("200 OK", "", eTagOf(content))});
    Stream stream(content);
    put(v4, stream);
    EXPECT_THAT(v4.waits, ElementsAre(100, 100));
    ASSERT_EQ(peer.requests().size(), 3u);
    EXPECT_TRUE(decodeChunks(peer.requests().at(1)) == content);
    EXPECT_TRUE(decodeChunks(peer.requests().at(2)) == content);
    EXPECT_NE(peer.requests().at(1).header("x-amz-date"), peer.requests().at(2).header("x-amz-date"));
}

TEST_F(S3UploadCheckTest, ALearntRegionSignsTheChunks) {
    answer({reply("400 Bad Request", "<Error><Code>AuthorizationHeaderMalformed</Code><Message>m</Message>"
                                     "<Region>eu-west-3</Region></Error>"),
            reply("307 Temporary Redirect", "", "Location: /b/k?x\r\n"),
            reply("200 OK", "", eTagOf("hello"))});
    Stream stream("hello");
    put(v4, stream);
    ASSERT_EQ(peer.requests().size(), 3u);
    for (const RecordedRequest& sent : peer.requests()) {
        EXPECT_EQ(decodeChunks(sent), "hello");
    }
    EXPECT_THAT(peer.requests().at(2).head, HasSubstr("/eu-west-3/s3/aws4_request"));
}

TEST_F(S3UploadCheckTest, AStreamThatCannotSeekIsSentOnce) {
    answer({internalError, reply("200 OK", "", eTagOf("hello"))});
    Stream stream("hello");
    stream.canSeek = false;
    const auto error = thrownBy<CS3Error>([&] { put(v4, stream); });
    EXPECT_EQ(error->getCode(), 500) << "the first failure";
    EXPECT_THAT(v4.waits, IsEmpty());
    Stream next("hello");
    next.canSeek = false;
    EXPECT_NO_THROW(put(v4, next));
}

TEST_F(S3UploadCheckTest, AStreamThatCannotSeekIsTriedAgainBeforeItsFirstByte) {
    // The first connection ends before it asks for the body.
    peer.onConnection().expectHead().reply(internalError).close();
    answer({reply("200 OK", "", eTagOf(std::string(2 << 20, 'x')))});
    Stream stream(std::string(2 << 20, 'x'));
    stream.canSeek = false;
    put(client, stream);
    EXPECT_EQ(client.waits.size(), 1u);
    EXPECT_EQ(stream.readBytes, 2 << 20);
}

TEST_F(S3UploadCheckTest, AStreamThatEndsEarlyOrThrowsEndsThePut) {
    for (const bool isThrowing : {false, true}) {
        peer.onConnection().expectHead().readUntilClose();
        Stream stream(std::string(70000, 'x'));
        if (isThrowing) {
            stream.onRead = [&] {
                if (stream.position > 65536) {
                    throw CError("The disk is gone.");
                }
            };
            stream.mostAtOnce = 66000;
        }
        EXPECT_EQ(plainErrorOf([&] { put(v4, stream, 140000); }),
                  isThrowing ? "The disk is gone." : "The stream ends after 70000 of 140000 bytes.");
    }
}

TEST_F(S3UploadCheckTest, ASuccessBeforeTheLastByteIsAnError) {
    peer.onConnection().expectHead().reply(reply("200 OK", "", eTagOf("hello"))).clientMayLeave();
    Stream stream("hello");
    client.preparePutObjectRequest(request, "b", "k", &stream, 5, "");
    request.getCustomHTTPHeaders()->add("Expect", "100-continue");
    request.perform();
    EXPECT_EQ(transientErrorOf([&] { client.checkResponse(request); }),
              "The service responded to the put of 'b/k' after 0 of 5 bytes were sent.");
    request.reset();
}

// ---- seams ------------------------------------------------------------------------------------------------

TEST_F(S3UploadCheckTest, TheNextRequestHasNoFraming) {
    answer({reply("200 OK", "", eTagOf("hello")), reply("200 OK", ""), reply("200 OK", "", eTagOf("jello")),
            reply("204 No Content", "")});
    Stream stream("hello");
    put(v4, stream);
    v4.putObject(request, "b", "k", "memory");
    v4.setUploadCheck(S3UploadCheck::BeforeSending);
    stream.position = 0;
    EXPECT_NO_THROW(put(v4, stream)) << "not compared, as by default";
    v4.deleteObject(request, "b", "k");
    const auto sent = peer.requests();
    ASSERT_EQ(sent.size(), 4u);
    EXPECT_EQ(sent[1].body, "memory");
    EXPECT_EQ(sent[2].body, "hello");
    for (const std::size_t i : {1u, 2u}) {
        EXPECT_EQ(sent[i].header("Content-MD5"), md5Of(sent[i].body));
        EXPECT_EQ(sent[i].header("x-amz-content-sha256"), hex(digest(EVP_sha256(), sent[i].body)));
        EXPECT_FALSE(sent[i].header("x-amz-decoded-content-length"));
    }
}

TEST_F(S3UploadCheckTest, RequestsOfOneClientHaveTheirOwnDigests) {
    answer({reply("200 OK", "", eTagOf("second"))});
    answer({reply("200 OK", "", eTagOf("first"))});
    Stream first("first");
    Stream second("second");
    CNetRequest other;
    v4.preparePutObjectRequest(request, "b", "k", &first, 5, "");
    MovingClient copy(v4);
    copy.preparePutObjectRequest(other, "b", "l", &second, 6, "");
    other.perform();
    request.perform();
    EXPECT_NO_THROW(v4.checkResponse(other));
    EXPECT_NO_THROW(v4.checkResponse(request));
    other.reset();
    request.reset();
}

TEST(S3UploadCheckPreparationTest, SelectsHowTheBodyIsSigned) {
    CNetRequest request;
    TestClient client("https://host");
    client.setSignatureVersion(4);
    Stream stream("hello");
    const auto headers = [&] {
        client.preparePutObjectRequest(request, "b", "k", &stream, 5, "");
        auto lines = headersOf(request);
        std::erase_if(lines, [](const std::string& line) { return line.rfind("x-amz-date", 0) == 0; });
        lines.pop_back();  // Authorization
        return lines;
    };
    client.setUploadCheck(S3UploadCheck::WhileSending);
    EXPECT_THAT(headers(), ElementsAre("x-amz-content-sha256: UNSIGNED-PAYLOAD"));
    EXPECT_EQ(stream.readBytes, 0) << "nothing is read before it is sent";
    client.setPayloadSigning(S3PayloadSigning::Chunked);
    const auto inChunks =
        ElementsAre("x-amz-content-sha256: " + streaming, "x-amz-decoded-content-length: 5");
    EXPECT_THAT(headers(), inChunks);
    client.setUploadCheck(S3UploadCheck::BeforeSending);
    EXPECT_THAT(headers(), inChunks);
    client.setBaseURL("http://host");
    EXPECT_THAT(headers(), inChunks);
    client.setPayloadSigning(S3PayloadSigning::Unsigned);
    client.setUploadCheck(S3UploadCheck::WhileSending);
    EXPECT_EQ(argErrorOf(headers), "CS3Client::preparePutObjectRequest: an unsigned payload needs https");
    request.reset();
}

TEST(S3UploadCheckPreparationTest, AmazonGetsTheWordBeforeTheEncodingOfTheObject) {
    CNetRequest request;
    CS3Client amazon(String(accessKey), String(secretKey), true);
    amazon.setSignatureVersion(4);
    amazon.setPayloadSigning(S3PayloadSigning::Chunked);
    Stream stream("hello");
    amazon.preparePutObjectRequest(request, "b", "k", &stream, 5, "");
    EXPECT_THAT(headersOf(request), Contains("Content-Encoding: aws-chunked"));
    amazon.preparePutObjectRequest(request, "b", "k", &stream, 5,
                                   vexil::CS3PutOptions{.contentEncoding = "gzip"});
    EXPECT_THAT(headersOf(request), Contains("Content-Encoding: aws-chunked,gzip"));
    amazon.setBaseURL("https://host");
    amazon.preparePutObjectRequest(request, "b", "k", &stream, 5,
                                   vexil::CS3PutOptions{.contentEncoding = "gzip"});
    EXPECT_THAT(headersOf(request), Contains("Content-Encoding: gzip"));
    request.reset();
}

TEST(S3UploadCheckPreparationTest, AnonymousRequestsHaveNoChunks) {
    CNetRequest request;
    TestClient client;
    client.setSignatureVersion(4);
    client.setUploadCheck(S3UploadCheck::WhileSending);
    client.setAnonymous(true);
    Stream stream("hello");
    client.preparePutObjectRequest(request, "b", "k", &stream, 5, "");
    EXPECT_THAT(headersOf(request), Not(Contains(StartsWith("x-amz-decoded-content-length"))));
    request.reset();
}

}  // namespace
