// How a body in chunks fills the buffers that libcurl offers.
#include "tests/s3/UploadReader.h"
#include "vexil/net/SendSource.h"
#include "vexil/s3/S3PutOptions.h"

#include <vector>

namespace {

using namespace vexil_test;
using vexil::S3Checksum;
using vexil::S3ChecksumTrailer;
using vexil::S3UploadCheck;

constexpr int uploadBufferSize = 65536;

class S3ChunkReadTest : public testing::Test {
protected:
    S3ChunkReadTest() {
        client.setSignatureVersion(4);
        client.setUploadCheck(S3UploadCheck::WhileSending);
    }

    P<CNetRequest::IDataSource> prepare(const P<Stream>& stream, int64 size,
                                        const vexil::CS3PutOptions& options = {}) {
        client.preparePutObjectRequest(request, "b", "k", stream, size, options);
        return vexil::getSendDataSource(request);
    }
    P<CNetRequest::IDataSource> prepare(const P<Stream>& stream) {
        return prepare(stream, static_cast<int64>(stream->bytes.size()));
    }

    /// Reads as libcurl does, until the size that was announced or the end.
    std::string readAll(CNetRequest::IDataSource& source, int bufferSize) {
        std::vector<char> buffer(static_cast<std::size_t>(bufferSize));
        std::string body;
        reads.clear();
        while (static_cast<int64>(body.size()) < source.getSize()) {
            const int length = source.read(buffer.data(), bufferSize, {});
            if (length <= 0 || length > bufferSize) {
                ADD_FAILURE() << "read " << length << " after " << body.size();
                break;
            }
            reads.push_back(length);
            body.append(buffer.data(), static_cast<std::size_t>(length));
        }
        EXPECT_EQ(source.read(buffer.data(), bufferSize, {}), 0);
        EXPECT_EQ(source.getPosition(), source.getSize());
        return body;
    }

    /// As a server gets it. Each signature in the body is computed again.
    std::string decode(const std::string& body, const std::string& trailer = "") {
        RecordedRequest sent;
        sent.head = "PUT /b/k HTTP/1.1\r\n";
        for (const std::string& line : headersOf(request)) {
            sent.head += line + "\r\n";
        }
        sent.head += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n";
        sent.body = body;
        return decodeChunks(sent, trailer);
    }

    /// All reads except the last one must fill the buffer.
    void expectFullReads(std::size_t bodySize, int bufferSize) {
        const auto size = static_cast<std::size_t>(bufferSize);
        ASSERT_EQ(reads.size(), (bodySize + size - 1) / size);
        for (std::size_t i = 0; i + 1 < reads.size(); ++i) {
            ASSERT_EQ(reads[i], bufferSize) << i;
        }
    }

    TestClient client{"http://host"};
    CNetRequest request;
    std::vector<int> reads;
};

TEST_F(S3ChunkReadTest, BufferOfAnySizeIsFilled) {
    const std::string content = ScriptedPeer::pattern(0, 200'000);
    const P<Stream> stream = new Stream(content);
    stream->mostAtOnce = 10'007;
    const P<CNetRequest::IDataSource> source = prepare(stream);
    std::string first;
    for (const int bufferSize : {1, 7, 65'535, uploadBufferSize, 65'627, 1'000'000}) {
        SCOPED_TRACE(bufferSize);
        source->seek(0);
        const std::string body = readAll(*source, bufferSize);
        expectFullReads(body.size(), bufferSize);
        EXPECT_TRUE(decode(body) == content);
        first = first.empty() ? body : first;
        EXPECT_TRUE(body == first) << "the same bytes, however they are read";
    }
}

TEST_F(S3ChunkReadTest, BodyOfWholeChunksNeedsNoFurtherReads) {
    const std::string content = ScriptedPeer::pattern(0, 64 * 1024 * 1024);
    const P<Stream> stream = new Stream(content);
    const std::string body = readAll(*prepare(stream), uploadBufferSize);
    EXPECT_EQ(body.size(), 1024u * 65'626 + 86);
    EXPECT_EQ(reads.size(), 1026u) << "libcurl needs no other read, because it knows the size";
    EXPECT_TRUE(decode(body) == content);
}

TEST_F(S3ChunkReadTest, TrailerFollowsInTheSameBuffer) {
    client.setChecksumTrailer(S3ChecksumTrailer::Always);
    const std::string content = ScriptedPeer::pattern(3, 140'000);
    const std::string trailer = "x-amz-checksum-crc32c:" + base64(crc32c(content));
    const P<Stream> stream = new Stream(content);
    const P<CNetRequest::IDataSource> source =
        prepare(stream, static_cast<int64>(content.size()), {.checksum = S3Checksum::CRC32C});
    for (const int bufferSize : {7, 65'535, uploadBufferSize, 65'627}) {
        SCOPED_TRACE(bufferSize);
        source->seek(0);
        const std::string body = readAll(*source, bufferSize);
        expectFullReads(body.size(), bufferSize);
        EXPECT_TRUE(decode(body, trailer) == content);
    }
}

TEST_F(S3ChunkReadTest, UnsignedChunksFillTheBuffer) {
    client.setBaseURL("https://host");
    client.setChecksumTrailer(S3ChecksumTrailer::Always);
    const std::string content = ScriptedPeer::pattern(5, 140'000);
    const P<Stream> stream = new Stream(content);
    const P<CNetRequest::IDataSource> source =
        prepare(stream, static_cast<int64>(content.size()), {.checksum = S3Checksum::CRC32C});
    const std::string expected = "10000\r\n" + content.substr(0, 65'536) + "\r\n10000\r\n" +
                                 content.substr(65'536, 65'536) + "\r\n22e0\r\n" + content.substr(131'072) +
                                 "\r\n0\r\nx-amz-checksum-crc32c:" + base64(crc32c(content)) + "\r\n\r\n";
    for (const int bufferSize : {1, 65'535, uploadBufferSize, 65'627}) {
        SCOPED_TRACE(bufferSize);
        source->seek(0);
        EXPECT_TRUE(readAll(*source, bufferSize) == expected);
        expectFullReads(expected.size(), bufferSize);
    }
}

TEST_F(S3ChunkReadTest, FailureInTheMiddleOfABufferIsThatOfTheStream) {
    const std::string content = ScriptedPeer::pattern(0, 200'000);
    const P<Stream> stream = new Stream(content);
    stream->onRead = [&] {
        if (stream->position >= 70'000) {
            throw CError("The disk is gone.");
        }
    };
    stream->mostAtOnce = 5'000;
    const P<CNetRequest::IDataSource> source = prepare(stream);
    std::vector<char> buffer(uploadBufferSize);
    const auto read = [&] { return source->read(buffer.data(), uploadBufferSize, {}); };
    EXPECT_EQ(read(), uploadBufferSize);
    EXPECT_EQ(plainErrorOf(read), "The disk is gone.");
    EXPECT_EQ(source->getPosition(), uploadBufferSize) << "nothing of this buffer counts as sent";
    stream->onRead = nullptr;
    EXPECT_EQ(plainErrorOf(read), "The body of an upload can be read again only from its beginning.");
    EXPECT_EQ(source->getPosition(), uploadBufferSize);
    source->seek(0);
    EXPECT_TRUE(decode(readAll(*source, uploadBufferSize)) == content);
}

TEST_F(S3ChunkReadTest, StreamThatEndsInTheMiddleOfABufferIsAnError) {
    const P<Stream> stream = new Stream(ScriptedPeer::pattern(0, 70'000));
    const P<CNetRequest::IDataSource> source = prepare(stream, 140'000);
    std::vector<char> buffer(1'000'000);
    EXPECT_EQ(plainErrorOf([&] { source->read(buffer.data(), 1'000'000, {}); }),
              "The stream ends after 70000 of 140000 bytes.");
    EXPECT_EQ(source->getPosition(), 0);
}

TEST_F(S3ChunkReadTest, BodyThatIsReadHalfCanBeginAgain) {
    const std::string content = ScriptedPeer::pattern(9, 200'000);
    const P<Stream> stream = new Stream(content);
    const P<CNetRequest::IDataSource> source = prepare(stream);
    std::vector<char> buffer(65'627);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(source->read(buffer.data(), 65'627, {}), 65'627);
    }
    source->seek(0);
    EXPECT_TRUE(decode(readAll(*source, 65'627)) == content);
}

}  // namespace
