// Transfers of objects from and to streams, with retries and error responses.
#include "tests/s3/S3WireTest.h"
#include "zet/BufferStream.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string internalError = reply("500 Internal Server Error", errorDocument("InternalError"));

/// A stream that records its movements and can fail.
class Stream : public virtual vexil::CBase, public zet::IInStream, public zet::IOutStream {
public:
    explicit Stream(std::string text = {}, int64 start = 0) : bytes(std::move(text)), position(start) {}

    int read(void* buffer, int maxLength) override {
        largestRead = std::max(largestRead, maxLength);
        if (onRead) {
            onRead();
        }
        const auto rest = static_cast<int64>(bytes.size()) - position;
        const int count = static_cast<int>(std::min<int64>({rest, maxLength, mostAtOnce}));
        std::memcpy(buffer, bytes.data() + position, static_cast<std::size_t>(count));
        position += count;
        return count;
    }
    void write(const void* data, int length) override {
        if (onWrite) {
            onWrite();
        }
        const auto end = static_cast<std::size_t>(position) + static_cast<std::size_t>(length);
        bytes.resize(std::max(bytes.size(), end));
        std::memcpy(bytes.data() + position, data, static_cast<std::size_t>(length));
        position += length;
    }
    int64 getSize() override { return -1; }
    void seek(int64 target) override {
        seeks.push_back(target);
        position = target;
    }
    int64 getPosition() override { return position; }

    std::string bytes;
    int64 position;
    int64 mostAtOnce = 1 << 30;
    int largestRead = 0;
    std::vector<int64> seeks;
    std::function<void()> onRead;
    std::function<void()> onWrite;
};

class S3PutStreamTest : public S3WireTest {
protected:
    std::vector<std::string> sentBodies() {
        std::vector<std::string> bodies;
        for (const RecordedRequest& sent : peer.requests()) {
            bodies.push_back(sent.body);
        }
        return bodies;
    }
};

TEST_F(S3PutStreamTest, SendsTheseBytes) {
    answer({reply("200 OK", "")});
    Stream stream("hello");
    client.putObject(request, "b", "k", &stream, 5, "text/plain");
    EXPECT_EQ(onlyHead(),
              putHead("PUT /b/k",
                      {dateLine, "Content-MD5: " + md5Of("hello"), "Content-Type: text/plain",
                       authorizationOf("PUT\n" + md5Of("hello") + "\ntext/plain\n" + fixedDate + "\n/b/k"),
                       "Content-Length: 5"}));
    EXPECT_THAT(sentBodies(), ElementsAre("hello"));
}

TEST_F(S3PutStreamTest, BeginsWhereTheStreamStandsAndEndsBehindItsSize) {
    answer({reply("200 OK", "")});
    Stream stream("before hello after", 7);
    client.putObject(request, "b", "k", &stream, 5, "");
    EXPECT_THAT(sentBodies(), ElementsAre("hello"));
    EXPECT_EQ(headersOf(request).at(1), "Content-MD5: " + md5Of("hello"));
    EXPECT_THAT(stream.seeks, ElementsAre(7));
    EXPECT_EQ(stream.position, 12);
}

TEST_F(S3PutStreamTest, PreparationLeavesTheStreamWhereItStood) {
    const P<Stream> stream = new Stream("before hello", 7);
    client.preparePutObjectRequest(request, "b", "k", stream, 5, "");
    EXPECT_EQ(stream->position, 7);
}

TEST_F(S3PutStreamTest, SendsTheSameBodyWithEachTry) {
    answer({internalError, reply("503 Slow Down", errorDocument("SlowDown")), reply("200 OK", "")});
    Stream stream("before hello", 7);
    client.putObject(request, "b", "k", &stream, 5, "");
    EXPECT_THAT(sentBodies(), ElementsAre("hello", "hello", "hello"));
    EXPECT_THAT(client.waits, ElementsAre(100, 100));
    EXPECT_THAT(stream.seeks, ElementsAre(7, 7, 7));
}

TEST_F(S3PutStreamTest, FollowsARedirectWithTheSameBody) {
    answer({reply("307 Temporary Redirect", "", "Location: /elsewhere\r\n"), reply("200 OK", "")});
    Stream stream("before hello", 7);
    client.putObject(request, "b", "k", &stream, 5, "");
    EXPECT_THAT(sentBodies(), ElementsAre("hello", "hello"));
    EXPECT_EQ(peer.requests().at(1).requestLine(), "PUT /elsewhere HTTP/1.1");
}

TEST_F(S3PutStreamTest, SendsNothingOfAnEmptyPiece) {
    answer({reply("200 OK", "")});
    Stream stream("before", 6);
    client.putObject(request, "b", "k", &stream, 0, "");
    EXPECT_THAT(sentBodies(), ElementsAre(""));
    EXPECT_EQ(peer.requests().at(0).header("Content-Length"), "0");
}

TEST_F(S3PutStreamTest, TakesAStreamInSmallPieces) {
    answer({reply("200 OK", "")});
    const std::string body = ScriptedPeer::pattern(0, 300000);
    Stream stream(body);
    stream.mostAtOnce = 777;
    client.putObject(request, "b", "k", &stream, static_cast<int64>(body.size()), "");
    EXPECT_THAT(sentBodies(), ElementsAre(body));
    EXPECT_EQ(headersOf(request).at(1), "Content-MD5: " + md5Of(body));
    EXPECT_LE(stream.largestRead, 1 << 20);
}

TEST_F(S3PutStreamTest, MustNotEndBeforeItsSize) {
    request.setURL("http://untouched/");
    Stream stream("before hell", 7);
    EXPECT_EQ(plainErrorOf([&] { client.putObject(request, "b", "k", &stream, 5, ""); }),
              "The stream ends after 4 of 5 bytes.");
    EXPECT_EQ(request.getURL(), "http://untouched/");
    EXPECT_EQ(peer.connectionCount(), 0u);
}

TEST_F(S3PutStreamTest, MustNotShrinkMeanwhile) {
    peer.onConnection().clientMayLeave().expectHead().reply("HTTP/1.1 100 Continue\r\n\r\n").readUntilClose();
    const P<Stream> stream = new Stream("hello");
    client.preparePutObjectRequest(request, "b", "k", stream, 5, "");
    stream->bytes = "hel";
    EXPECT_EQ(plainErrorOf([&] { client.performRequest(request); }), "The stream ends after 3 of 5 bytes.");
}

TEST_F(S3PutStreamTest, ThrowsWhatTheStreamThrows) {
    peer.onConnection().clientMayLeave().expectHead().reply("HTTP/1.1 100 Continue\r\n\r\n").readUntilClose();
    const P<Stream> stream = new Stream("hello");
    stream->onRead = [] { throw CError("cannot read"); };
    EXPECT_EQ(plainErrorOf([&] { client.putObject(request, "b", "k", stream, 5, ""); }), "cannot read");
    EXPECT_EQ(peer.connectionCount(), 0u);
    stream->onRead = nullptr;
    client.preparePutObjectRequest(request, "b", "k", stream, 5, "");
    stream->onRead = [] { throw CError("cannot read"); };
    EXPECT_EQ(plainErrorOf([&] { client.performRequest(request); }), "cannot read");
}

TEST_F(S3PutStreamTest, RefusesMoreBytesThanWereAskedFor) {
    class Liar : public Stream {
    public:
        int read(void*, int maxLength) override { return maxLength + 1; }
    };
    Liar stream;
    EXPECT_EQ(plainErrorOf([&] { client.putObject(request, "b", "k", &stream, 5, ""); }),
              "The stream returned 6 bytes where 0 to 5 were asked for.");
}

// ---- get -------------------------------------------------------------------------------------------------

using S3GetStreamTest = S3WireTest;

TEST_F(S3GetStreamTest, WritesTheBodyWhereTheStreamStands) {
    answer({reply("200 OK", "hello")});
    Stream stream("before ", 7);
    client.getObject(request, "b", "k", 0, -1, &stream);
    EXPECT_EQ(onlyHead(), head("GET /b/k", {dateLine, authorizationOf("GET\n\n\n" + fixedDate + "\n/b/k")}));
    EXPECT_EQ(stream.bytes, "before hello");
    EXPECT_EQ(bodyOf(request), "");
    EXPECT_THAT(stream.seeks, IsEmpty());
}

TEST_F(S3GetStreamTest, WritesARange) {
    answer({reply("206 Partial Content", "ell", "Content-Range: bytes 1-3/5\r\n")});
    Stream stream;
    client.getObject(request, "b", "k", 1, 3, &stream);
    EXPECT_EQ(peer.requests().at(0).header("Range"), "bytes=1-3");
    EXPECT_EQ(stream.bytes, "ell");
}

TEST_F(S3GetStreamTest, RefusesTheWholeObjectInsteadOfARange) {
    peer.onConnection().expectRequest().reply(reply("200 OK", "hello")).clientMayLeave();
    Stream stream;
    EXPECT_EQ(plainErrorOf([&] { client.getObject(request, "b", "k", 1, -1, &stream); }),
              "The server responded to the request for a part of the object with status 200 instead of 206.");
    EXPECT_EQ(stream.bytes, "");
}

TEST_F(S3GetStreamTest, TakesARangeThatTheEndOfTheObjectCuts) {
    answer({reply("206 Partial Content", "lo", "Content-Range: bytes 3-4/5\r\n"),
            reply("206 Partial Content", "lo", "Content-Range: Bytes 3-4/5\r\n"),
            reply("206 Partial Content", "lo", "Content-Range: bytes 3-4/*\r\n")});
    Stream stream;
    client.getObject(request, "b", "k", 3, 10, &stream);
    client.getObject(request, "b", "k", 3, -1, &stream);
    client.getObject(request, "b", "k", 3, 2, &stream);
    EXPECT_EQ(stream.bytes, "lololo");
}

TEST_F(S3GetStreamTest, RefusesAnotherRange) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"bytes 0-2/9", "'bytes 0-2/9'"}, {"bytes 2-4/9", "'bytes 2-4/9'"}, {"bytes 1-2/9", "'bytes 1-2/9'"},
        {"bytes 1-4/9", "'bytes 1-4/9'"}, {"bytes 1-2/*", "'bytes 1-2/*'"}, {"bytes */9", "'bytes */9'"},
        {"lines 1-3/9", "'lines 1-3/9'"}, {"", "no Content-Range"}};
    for (const std::string& body : {std::string("ell"), std::string()}) {
        for (const auto& [range, text] : cases) {
            const std::string header = range.empty() ? "" : "Content-Range: " + range + "\r\n";
            peer.onConnection()
                .expectRequest()
                .reply(reply("206 Partial Content", body, header))
                .clientMayLeave();
            CNetRequest own;
            Stream stream;
            EXPECT_EQ(plainErrorOf([&] { client.getObject(own, "b", "k", 1, 3, &stream); }),
                      "The server responded to the request for bytes from 1 to 3 of the object with " + text +
                          ".");
            EXPECT_EQ(stream.bytes, "");
        }
    }
}

TEST_F(S3GetStreamTest, RefusesARangeThatEndsEarlyWhereAllWasAskedFor) {
    peer.onConnection()
        .expectRequest()
        .reply(reply("206 Partial Content", "ell", "Content-Range: bytes 1-3/5\r\n"))
        .clientMayLeave();
    Stream stream;
    EXPECT_EQ(plainErrorOf([&] { client.getObject(request, "b", "k", 1, -1, &stream); }),
              "The server responded to the request for bytes from 1 on of the object with 'bytes 1-3/5'.");
}

TEST_F(S3GetStreamTest, RefusesARangeOfAnotherLengthThanItsBody) {
    answer({reply("206 Partial Content", "el", "Content-Range: bytes 1-3/5\r\n")});
    Stream stream;
    EXPECT_EQ(transientErrorOf([&] { client.getObject(request, "b", "k", 1, 3, &stream); }),
              "Received 2 of the 3 bytes of the range.");
}

TEST_F(S3GetStreamTest, RefusesAPartInsteadOfTheWholeObject) {
    peer.onConnection()
        .expectRequest()
        .reply(reply("206 Partial Content", "hel", "Content-Range: bytes 0-2/5\r\n"))
        .clientMayLeave();
    Stream stream;
    EXPECT_EQ(plainErrorOf([&] { client.getObject(request, "b", "k", 0, -1, &stream); }),
              "The server responded to the request for the whole object with a part of it.");
    EXPECT_EQ(stream.bytes, "");
}

TEST_F(S3GetStreamTest, RefusesAnAnnouncedBodyThatDoesNotComeAtAll) {
    answer({"HTTP/1.1 204 No Content\r\nContent-Length: 5\r\n\r\n"});
    Stream stream;
    EXPECT_EQ(transientErrorOf([&] { client.getObject(request, "b", "k", 0, -1, &stream); }),
              "Received 0 of the 5 bytes that the response announced.");
}

TEST_F(S3GetStreamTest, RefusesAnEmptyAnswerThatIsNoRange) {
    answer({reply("200 OK", "")});
    Stream stream;
    EXPECT_EQ(plainErrorOf([&] { client.getObject(request, "b", "k", 5, -1, &stream); }),
              "The server responded to the request for a part of the object with status 200 instead of 206.");
}

TEST_F(S3GetStreamTest, RefusesABodyBehindAStatusLineThatCannotBeRead) {
    LogCapture log;
    answer({"HTTP/1.1 200 Gr\xFC\xDF\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n"});
    Stream stream;
    EXPECT_EQ(plainErrorOf([&] { client.getObject(request, "b", "k", 0, -1, &stream); }),
              "The status line '' is not a success.");
    EXPECT_EQ(stream.bytes, "");
}

TEST_F(S3GetStreamTest, KeepsErrorAnswersOutOfTheStream) {
    LogCapture log;
    answer({internalError, reply("503 Service Unavailable", "<html>"), reply("200 OK", "hello")});
    Stream stream("before ", 7);
    client.getObject(request, "b", "k", 0, -1, &stream);
    EXPECT_EQ(stream.bytes, "before hello");
    EXPECT_THAT(client.waits, ElementsAre(100, 100));
    EXPECT_EQ(log.lines().at(0),
              "I: Received InternalError response from S3 (try 1). Waiting 100ms and retrying.");
}

TEST_F(S3GetStreamTest, ThrowsTheErrorThatAnAnswerHolds) {
    answer({reply("404 Not Found", errorDocument("NoSuchKey"))});
    Stream stream("before ", 7);
    const auto error = thrownBy<CS3Error>([&] { client.getObject(request, "b", "k", 0, -1, &stream); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getS3Code(), "NoSuchKey");
    EXPECT_EQ(error->getCode(), 404);
    EXPECT_EQ(stream.bytes, "before ");
}

TEST_F(S3GetStreamTest, BeginsAnewWithEachTry) {
    peer.onConnection()
        .expectRequest()
        .replyCut(reply("200 OK", "hello"), reply("200 OK", "hello").size() - 2)
        .close();
    answer({reply("200 OK", "hello")});
    const P<Stream> stream = new Stream("before ", 7);
    client.prepareGetObjectRequest(request, "b", "k", 0, -1, stream);
    EXPECT_THROW(client.performRequest(request), CCURLError);
    EXPECT_EQ(stream->bytes, "before hel");
    client.performRequest(request);
    EXPECT_EQ(stream->bytes, "before hello");
    EXPECT_THAT(stream->seeks, ElementsAre(7));
}

TEST_F(S3GetStreamTest, BeginsAnewWhenAWriteHasFailed) {
    peer.onConnection().expectRequest().reply(reply("200 OK", "hello")).clientMayLeave();
    answer({reply("200 OK", "hello")});
    const P<Stream> stream = new Stream("before ", 7);
    stream->onWrite = [stream] {
        stream->position += 3;
        throw CError("disk full");
    };
    client.prepareGetObjectRequest(request, "b", "k", 0, -1, stream);
    EXPECT_EQ(plainErrorOf([&] { client.performRequest(request); }), "disk full");
    stream->onWrite = nullptr;
    client.performRequest(request);
    EXPECT_EQ(stream->bytes, "before hello");
}

TEST_F(S3GetStreamTest, FetchesHeadersOnlyForALengthOfZero) {
    answer({"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n"});
    Stream stream;
    client.getObject(request, "b", "k", 3, 0, &stream);
    EXPECT_EQ(peer.requests().at(0).requestLine(), "HEAD /b/k HTTP/1.1");
    EXPECT_EQ(stream.bytes, "");
    EXPECT_EQ(request.getResponseHeaderMap().at("content-length"), "5");
}

TEST_F(S3GetStreamTest, TakesAnEmptyObject) {
    answer({reply("200 OK", "")});
    Stream stream;
    client.getObject(request, "b", "k", 0, -1, &stream);
    EXPECT_EQ(stream.bytes, "");
}

TEST_F(S3GetStreamTest, TakesABodyWithoutALength) {
    answer({"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n"});
    Stream stream;
    client.getObject(request, "b", "k", 0, -1, &stream);
    EXPECT_EQ(stream.bytes, "hello");
}

TEST_F(S3GetStreamTest, DemandsTheWholeHeaderBlock) {
    const std::string whole = reply("200 OK", "hello");
    int incomplete = 0;
    for (std::size_t length = 1; length < whole.size() - 5; ++length) {
        CNetRequest own;
        Stream stream;
        client.setMaxRetries(0);
        peer.onConnection().expectRequest().replyCut(whole, length).close();
        try {
            client.getObject(own, "b", "k", 0, -1, &stream);
            ADD_FAILURE() << "success after " << length << " bytes";
        } catch (const CCURLError&) {
        } catch (const CError& error) {
            EXPECT_EQ(error.getMessage(), "The connection ended within the headers of the response.");
            ++incomplete;
        }
        EXPECT_EQ(stream.bytes, "");
    }
    EXPECT_GT(incomplete, 0);
}

TEST_F(S3GetStreamTest, DemandsTheWholeHeaderBlockAfterAnotherResponse) {
    const std::string whole = "HTTP/1.1 200 D\xe9j\xe0\r\nContent-Length: 5\r\n\r\n";
    for (std::size_t length = 1; length <= whole.size(); ++length) {
        CNetRequest own;
        Stream stream;
        client.setMaxRetries(0);
        peer.onConnection()
            .expectRequest()
            .reply("HTTP/1.1 103 Early Hints\r\nLink: </a>\r\n\r\n")
            .replyCut(whole, length)
            .close();
        EXPECT_THROW(client.getObject(own, "b", "k", 0, -1, &stream), CError) << length;
        EXPECT_EQ(stream.bytes, "");
    }
}

TEST_F(S3GetStreamTest, DemandsThatEachHeaderLineCanBeRead) {
    answer({"HTTP/1.1 200 OK\r\nX-Bad: \xff\r\nContent-Length: 5\r\n\r\nhello"});
    Stream stream;
    EXPECT_EQ(transientErrorOf([&] { client.getObject(request, "b", "k", 0, -1, &stream); }),
              "A header line of the response could not be read.");
}

TEST_F(S3GetStreamTest, DemandsTheAnnouncedLength) {
    // The second length is the one left by a broken gateway; libcurl uses the framing.
    answer({"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nContent-Length: "
            "9\r\n\r\n5\r\nhello\r\n0\r\n\r\n"});
    Stream stream;
    EXPECT_EQ(transientErrorOf([&] { client.getObject(request, "b", "k", 0, -1, &stream); }),
              "Received 5 of the 9 bytes that the response announced.");
}

TEST_F(S3GetStreamTest, LetsGoOfTheStreamAtTheEnd) {
    answer(
        {reply("200 OK", "hello"), reply("404 Not Found", errorDocument("NoSuchKey")), reply("200 OK", "")});
    bool isAlive = false;
    class Mortal : public Stream {
    public:
        explicit Mortal(bool& isAlive) : Stream("a"), m_isAlive(isAlive) { m_isAlive = true; }
        ~Mortal() override { m_isAlive = false; }

    private:
        bool& m_isAlive;
    };
    client.getObject(request, "b", "k", 0, -1, P<Mortal>(new Mortal(isAlive)));
    EXPECT_FALSE(isAlive);
    EXPECT_TRUE(request.usesDefaultReceiveBuffer());
    EXPECT_THROW(client.getObject(request, "b", "k", 0, -1, P<Mortal>(new Mortal(isAlive))), CS3Error);
    EXPECT_FALSE(isAlive);
    client.putObject(request, "b", "k", P<Mortal>(new Mortal(isAlive)), 1, "");
    EXPECT_FALSE(isAlive);
}

TEST_F(S3GetStreamTest, WritesToAStreamOfTheLibrary) {
    answer({reply("200 OK", "hello")});
    zet::CBufferStream stream;
    client.getObject(request, "b", "k", 0, -1, &stream);
    EXPECT_EQ(stream.getSize(), 5);
}

// ---- comparison with the ETag ----------------------------------------------------------------------------

const std::string helloMD5 = "5d41402abc4b2a76b9719d911017c592";
const std::string otherMD5 = "5d41402abc4b2a76b9719d911017c593";
const std::string otherContent = "The content has the MD5 XUFAKrxLKna5cZ2REBfFkg==, but the ETag \"" +
                                 otherMD5 + "\" of the object stands for XUFAKrxLKna5cZ2REBfFkw==.";

std::string eTag(const std::string& value, const std::string& more = "") {
    return "ETag: " + value + "\r\n" + more;
}

TEST(S3ETagTest, IsAnMD5OnlyWhereItSaysSo) {
    const auto contentMD5 = [](const char* value, const char* encryption = nullptr,
                               bool isCustomers = false) {
        HeaderMap headers{{"etag", value}};
        if (encryption) {
            headers["x-amz-server-side-encryption"] = encryption;
        }
        if (isCustomers) {
            headers["x-amz-server-side-encryption-customer-algorithm"] = "AES256";
        }
        return CS3Client::getContentMD5(headers).toUTF8();
    };
    const std::string hello = "XUFAKrxLKna5cZ2REBfFkg==";
    EXPECT_EQ(CS3Client::getContentMD5({}), "");
    EXPECT_EQ(contentMD5("\"5d41402abc4b2a76b9719d911017c592\""), hello);
    EXPECT_EQ(contentMD5("\"5D41402ABC4B2A76B9719D911017C592\""), hello);
    EXPECT_EQ(contentMD5("5d41402abc4b2a76b9719d911017c592"), hello);
    EXPECT_EQ(contentMD5("\"5d41402abc4b2a76b9719d911017c592\"", "AES256"), hello);
    EXPECT_EQ(contentMD5("\"5d41402abc4b2a76b9719d911017c592\"", "aws:kms"), "");
    EXPECT_EQ(contentMD5("\"5d41402abc4b2a76b9719d911017c592\"", nullptr, true), "");
    for (const char* other :
         {"", "\"", "\"\"", "W/\"5d41402abc4b2a76b9719d911017c592\"",
          "\"5d41402abc4b2a76b9719d911017c592-2\"", "\"5d41402abc4b2a76b9719d911017c59-\"",
          "\"5d41402abc4b2a76b9719d911017c59\"", "\"5d41402abc4b2a76b9719d911017c5922\"",
          "\"5d41402abc4b2a76b9719d911017c59g\"", "\"5d41402abc4b2a76b9719d911017c59@\""}) {
        EXPECT_EQ(contentMD5(other), "") << other;
    }
}

TEST_F(S3GetStreamTest, ComparesNothingWithTheETagByDefault) {
    answer({reply("200 OK", "hello", eTag('"' + otherMD5 + '"'))});
    Stream stream;
    client.getObject(request, "b", "k", 0, -1, &stream);
    EXPECT_EQ(stream.bytes, "hello");
}

TEST_F(S3GetStreamTest, ComparesTheContentWithTheETag) {
    client.setVerifyETag(true);
    answer(
        {reply("200 OK", "hello", eTag('"' + helloMD5 + '"')),
         reply("200 OK", "hello", eTag('"' + otherMD5 + '"')),
         reply("200 OK", "hello", eTag('"' + otherMD5 + '"', "x-amz-server-side-encryption: aws:kms\r\n")),
         reply("200 OK", "hello", eTag('"' + otherMD5 + "-1\"")), reply("200 OK", "hello"),
         reply("200 OK", "", eTag("\"d41d8cd98f00b204e9800998ecf8427e\"")),
         reply("206 Partial Content", "ell", eTag('"' + helloMD5 + '"', "Content-Range: bytes 1-3/5\r\n"))});
    Stream stream;
    client.getObject(request, "b", "k", 0, -1, &stream);
    EXPECT_EQ(transientErrorOf([&] { client.getObject(request, "b", "k", 0, -1, &stream); }), otherContent);
    for (int i = 0; i < 4; ++i) {
        client.getObject(request, "b", "k", 0, -1, &stream);
    }
    client.getObject(request, "b", "k", 1, 3, &stream);
}

TEST_F(S3GetStreamTest, ComparesWhatTheLastTryHasWritten) {
    client.setVerifyETag(true);
    answer({internalError, reply("200 OK", "hello", eTag('"' + helloMD5 + '"'))});
    Stream stream;
    client.getObject(request, "b", "k", 0, -1, &stream);
    EXPECT_EQ(stream.bytes, "hello");
}

TEST_F(S3PutStreamTest, ComparesTheETagOfTheResponse) {
    const std::string wrong = reply("200 OK", "", eTag('"' + otherMD5 + '"'));
    answer(
        {wrong, wrong, reply("200 OK", "", eTag('"' + helloMD5 + '"')), wrong, wrong, reply("200 OK", "")});
    Stream stream("hellohellohellohellohellohello");
    client.putObject(request, "b", "k", &stream, 5, "");
    client.putObject(request, "b", "k", "hello", 5, "");
    client.setVerifyETag(true);
    client.putObject(request, "b", "k", &stream, 5, "");
    EXPECT_EQ(transientErrorOf([&] { client.putObject(request, "b", "k", &stream, 5, ""); }), otherContent);
    EXPECT_EQ(transientErrorOf([&] { client.putObject(request, "b", "k", "hello", 5, ""); }), otherContent);
    client.putObject(request, "b", "k", "hello", 5, "");
}

TEST_F(S3PutStreamTest, TakesTheLargestSizeAndNoLarger) {
    const P<Stream> stream = new Stream;
    stream->onRead = [] { throw CError("it is read"); };
    EXPECT_EQ(plainErrorOf([&] {
                  client.preparePutObjectRequest(request, "b", "k", stream, CS3Client::maxPutSize, "");
              }),
              "it is read");
    EXPECT_EQ(argErrorOf([&] {
                  client.preparePutObjectRequest(request, "b", "k", stream, CS3Client::maxPutSize + 1, "");
              }),
              "CS3Client::preparePutObjectRequest: size must not exceed 5368709120 bytes, the limit of a "
              "single put");
}

}  // namespace
