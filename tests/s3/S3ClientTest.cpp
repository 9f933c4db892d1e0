// The operations: names, preparations, and the exact bytes on the wire.
#include "tests/s3/S3WireTest.h"
#include "vexil/async/AsyncNetRequestManager.h"
#include "zet/BufferStream.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string_view>
#include <utility>

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

const std::string emptyMD5 = "1B2M2Y8AsgTpgAmY7PhCfg==";
const std::string list0 = "<ListBucketResult><IsTruncated>false</IsTruncated></ListBucketResult>";

// ---- names -----------------------------------------------------------------------------------------------

class S3NamesTest : public testing::Test {
protected:
    S3NamesTest() {
        request.setURL("http://untouched/");
        request.setHTTPMethod("POST");
    }
    void TearDown() override {
        EXPECT_EQ(request.getURL(), "http://untouched/");
        EXPECT_EQ(request.getHTTPMethod(), "POST");
        EXPECT_EQ(stream.getPosition(), 0);
    }

    TestClient client;
    CNetRequest request;
    zet::CBufferStream stream;
};

TEST_F(S3NamesTest, MustNotBeEmptyForAPut) {
    const std::string place = "CS3Client::preparePutObjectRequest: ";
    EXPECT_EQ(argErrorOf([&] { client.putObject(request, "", "", "a", 1, ""); }),
              place + "bucket name must not be empty");
    EXPECT_EQ(argErrorOf([&] { client.putObject(request, "b", "", "a", 1, ""); }),
              place + "object name must not be empty");
    EXPECT_EQ(argErrorOf([&] { client.putObject(request, "", "k", &stream, 0, ""); }),
              place + "bucket name must not be empty");
    EXPECT_EQ(argErrorOf([&] { client.putObject(request, "b", "", &stream, 0, ""); }),
              place + "object name must not be empty");
}

TEST_F(S3NamesTest, MustNotBeEmptyForAGet) {
    const std::string place = "CS3Client::prepareGetObjectRequest: ";
    EXPECT_EQ(argErrorOf([&] { client.getObject(request, "", "k", 0, -1); }),
              place + "bucket name must not be empty");
    EXPECT_EQ(argErrorOf([&] { client.getObject(request, "b", "", 0, -1); }),
              place + "object name must not be empty");
    EXPECT_EQ(argErrorOf([&] { client.getObject(request, "", "k", 0, -1, &stream); }),
              place + "bucket name must not be empty");
    EXPECT_EQ(argErrorOf([&] { client.getObject(request, "b", "", 0, -1, &stream); }),
              place + "object name must not be empty");
}

TEST_F(S3NamesTest, MustNotBeEmptyForTheHeaders) {
    const std::string place = "CS3Client::prepareGetObjectHeadersRequest: ";
    EXPECT_EQ(argErrorOf([&] { client.getObjectHeaders(request, "", "k"); }),
              place + "bucket name must not be empty");
    EXPECT_EQ(argErrorOf([&] { return client.getObjectSize(request, "b", ""); }),
              place + "object name must not be empty");
    EXPECT_EQ(argErrorOf([&] { return client.objectExists(request, "", ""); }),
              place + "bucket name must not be empty");
}

TEST_F(S3NamesTest, MustNotBeEmptyForADelete) {
    const std::string place = "CS3Client::prepareDeleteObjectRequest: ";
    EXPECT_EQ(argErrorOf([&] { client.deleteObject(request, "", "k"); }),
              place + "bucket name must not be empty");
    EXPECT_EQ(argErrorOf([&] { client.deleteObject(request, "b", ""); }),
              place + "object name must not be empty");
}

TEST_F(S3NamesTest, MustNotBeEmptyForACopy) {
    const std::string place = "CS3Client::prepareCopyObjectRequest: ";
    EXPECT_EQ(argErrorOf([&] { client.copyObject(request, "", "", ""); }),
              place + "bucket name must not be empty");
    EXPECT_EQ(argErrorOf([&] { client.copyObject(request, "b", "", "l"); }),
              place + "neither the existing nor the new object name may be empty");
    EXPECT_EQ(argErrorOf([&] { client.copyObject(request, "b", "k", ""); }),
              place + "neither the existing nor the new object name may be empty");
}

TEST_F(S3NamesTest, MustNotBeEmptyForAList) {
    EXPECT_EQ(argErrorOf([&] { return client.listObjects(request, "", "p", "", "", -1); }),
              "CS3Client::prepareListObjectsRequest: bucket name must not be empty");
}

TEST_F(S3NamesTest, AreNotAllThatCanBeWrongWithAPut) {
    const std::string place = "CS3Client::preparePutObjectRequest: ";
    EXPECT_EQ(argErrorOf([&] { client.putObject(request, "b", "k", "a", -1, ""); }),
              place + "size must not be negative");
    EXPECT_EQ(argErrorOf([&] { client.putObject(request, "b", "k", nullptr, 1, ""); }),
              place + "data must not be null");
    zet::IInStream* const none = nullptr;
    EXPECT_EQ(argErrorOf([&] { client.putObject(request, "b", "k", none, 0, ""); }),
              place + "data stream must not be null");
    EXPECT_EQ(argErrorOf([&] { client.putObject(request, "b", "k", &stream, -1, ""); }),
              place + "size must not be negative");
    EXPECT_EQ(argErrorOf([&] { client.putObject(request, "b", "k", &stream, 5368709121, ""); }),
              place + "size must not exceed 5368709120 bytes, the limit of a single put");
    for (const char* type : {"a\r", "a\nb: c", "\n"}) {
        EXPECT_EQ(argErrorOf([&] { client.putObject(request, "b", "k", "a", 1, type); }),
                  place + "content type must not contain CR, LF or NUL");
        EXPECT_EQ(argErrorOf([&] { client.putObject(request, "b", "k", &stream, 0, type); }),
                  place + "content type must not contain CR, LF or NUL");
    }
    EXPECT_EQ(
        argErrorOf([&] { client.putObject(request, "b", "k", "a", 1, String(std::wstring(1, L'\0'))); }),
        place + "content type must not contain CR, LF or NUL");
}

TEST_F(S3NamesTest, AreNotAllThatCanBeWrongWithAGetToAStream) {
    const std::string place = "CS3Client::prepareGetObjectRequest: ";
    constexpr int64 most = std::numeric_limits<int64>::max();
    EXPECT_EQ(argErrorOf([&] { client.getObject(request, "b", "k", 0, -1, nullptr); }),
              place + "data stream must not be null");
    EXPECT_EQ(argErrorOf([&] { client.getObject(request, "b", "k", -1, -1, &stream); }),
              place + "offset must not be negative");
    EXPECT_EQ(argErrorOf([&] { client.getObject(request, "b", "k", 0, -2, &stream); }),
              place + "length must be -1 or at least 0");
    EXPECT_EQ(argErrorOf([&] { client.getObject(request, "b", "k", most, 1, &stream); }),
              place + "the range ends beyond the largest offset");
}

// ---- preparations ----------------------------------------------------------------------------------------

class S3PrepareTest : public testing::Test {
protected:
    std::string url() { return request.getURL().toUTF8(); }
    std::string method() { return request.getHTTPMethod().toUTF8(); }

    TestClient client;
    CNetRequest request;
};

TEST_F(S3PrepareTest, EscapesNamesWhole) {
    EXPECT_EQ(client.getObjectURL(request, "b", "k"), "http://host/b/k");
    EXPECT_EQ(client.getObjectURL(request, "my bucket/x", String::fromUTF8("a/b c+d%e?f#g&h=\xC3\xBC")),
              "http://host/my%20bucket%2Fx/a%2Fb%20c%2Bd%25e%3Ff%23g%26h%3D%C3%BC");
    EXPECT_EQ(client.getObjectURL(request, "b", "//-._~"), "http://host/b/%2F%2F-._~");
    EXPECT_EQ(client.getObjectURL(request, "b", "."), "http://host/b/.");
}

struct RangeCase {
    int64 offset;
    int64 length;
    const char* range;
};

TEST_F(S3PrepareTest, AsksForARange) {
    constexpr int64 most = std::numeric_limits<int64>::max();
    for (const RangeCase& c :
         {RangeCase{10, -1, "bytes=10-"}, RangeCase{10, 5, "bytes=10-14"}, RangeCase{0, 1, "bytes=0-0"},
          RangeCase{0, 5000000000, "bytes=0-4999999999"}, RangeCase{5000000000, -1, "bytes=5000000000-"},
          RangeCase{most, 1, "bytes=9223372036854775807-9223372036854775807"}}) {
        client.prepareGetObjectRequest(request, "b", "k", c.offset, c.length);
        EXPECT_EQ(method(), "GET");
        EXPECT_THAT(headersOf(request), ElementsAre(dateLine, std::string("Range: ") + c.range,
                                                    authorizationOf("GET\n\n\n" + fixedDate + "\n/b/k")));
    }
}

TEST_F(S3PrepareTest, AsksForTheWholeObjectWithoutARange) {
    client.prepareGetObjectRequest(request, "b", "k", 0, -1);
    EXPECT_EQ(url(), "http://host/b/k");
    EXPECT_EQ(method(), "GET");
    EXPECT_THAT(headersOf(request), ElementsAre(dateLine, StartsWith("Authorization: ")));
}

TEST_F(S3PrepareTest, AsksForNothingWithHead) {
    for (const int64 offset : {0, 10}) {
        client.prepareGetObjectRequest(request, "b", "k", offset, 0);
        EXPECT_EQ(method(), "HEAD");
        EXPECT_THAT(headersOf(request),
                    ElementsAre(dateLine, authorizationOf("HEAD\n\n\n" + fixedDate + "\n/b/k")));
    }
}

TEST_F(S3PrepareTest, NamesTypeAndDigestOfAPut) {
    client.preparePutObjectRequest(request, "b", "k", "hello", 5, "text/plain");
    EXPECT_EQ(method(), "PUT");
    EXPECT_THAT(
        headersOf(request),
        ElementsAre(dateLine, "Content-MD5: XUFAKrxLKna5cZ2REBfFkg==", "Content-Type: text/plain",
                    authorizationOf("PUT\nXUFAKrxLKna5cZ2REBfFkg==\ntext/plain\n" + fixedDate + "\n/b/k")));
    client.preparePutObjectRequest(request, "b", "k", nullptr, 0, "");
    EXPECT_THAT(headersOf(request),
                ElementsAre(dateLine, "Content-MD5: " + emptyMD5, StartsWith("Authorization: ")));
}

TEST_F(S3PrepareTest, GivesAListOnlyWhatIsAskedFor) {
    const auto listURL = [this](const char* prefix, const char* delimiter, const char* marker, int maxKeys) {
        client.prepareListObjectsRequest(request, "b", prefix, delimiter, marker, maxKeys);
        EXPECT_EQ(method(), "GET");
        EXPECT_THAT(headersOf(request),
                    ElementsAre(dateLine, authorizationOf("GET\n\n\n" + fixedDate + "\n/b")));
        return url();
    };
    EXPECT_EQ(listURL("", "", "", -1), "http://host/b");
    EXPECT_EQ(listURL("p/", "/", "m", 100), "http://host/b?prefix=p%2F&marker=m&max-keys=100&delimiter=%2F");
    EXPECT_EQ(listURL("", "", "a&b c", -1), "http://host/b?marker=a%26b%20c");
    EXPECT_EQ(listURL("", "", "", 0), "http://host/b?max-keys=0");
    EXPECT_EQ(listURL("", "", "", -2), "http://host/b?max-keys=-2");
    EXPECT_EQ(listURL("", "/", "", -1), "http://host/b?delimiter=%2F");
    EXPECT_EQ(listURL("\xC3\xBC", "", "", -1), "http://host/b?prefix=%C3%BC");
}

TEST_F(S3PrepareTest, NamesTheSourceOfACopy) {
    client.prepareCopyObjectRequest(request, "my b", "a/b", "c d");
    EXPECT_EQ(url(), "http://host/my%20b/c%20d");
    EXPECT_EQ(method(), "PUT");
    EXPECT_THAT(headersOf(request),
                ElementsAre(dateLine, "x-amz-copy-source: /my%20b/a%2Fb",
                            authorizationOf("PUT\n\n\n" + fixedDate +
                                            "\nx-amz-copy-source:/my%20b/a%2Fb\n/my%20b/c%20d")));
}

TEST_F(S3PrepareTest, TakesAStreamWithASizeOfAnyType) {
    const P<zet::CBufferStream> stream = new zet::CBufferStream;
    client.preparePutObjectRequest(request, "b", "k", stream, 0, "");
    client.preparePutObjectRequest(request, "b", "k", stream, 0L, "");
    client.preparePutObjectRequest(request, "b", "k", stream, std::size_t{0}, "");
    client.preparePutObjectRequest(request, "b", "k", stream.get(), int64{0}, "");
    EXPECT_THAT(headersOf(request),
                ElementsAre(dateLine, "Content-MD5: " + emptyMD5, StartsWith("Authorization: ")));
}

// ---- on the wire -----------------------------------------------------------------------------------------

TEST_F(S3WireTest, PutSendsTheseBytes) {
    answer({reply("200 OK", "")});
    client.putObject(request, "b", "a/k", "hello", 5, "text/plain");
    EXPECT_EQ(
        onlyHead(),
        putHead("PUT /b/a%2Fk",
                {dateLine, "Content-MD5: XUFAKrxLKna5cZ2REBfFkg==", "Content-Type: text/plain",
                 authorizationOf("PUT\nXUFAKrxLKna5cZ2REBfFkg==\ntext/plain\n" + fixedDate + "\n/b/a%2Fk"),
                 "Content-Length: 5"}));
    EXPECT_EQ(peer.requests().at(0).body, "hello");
}

TEST_F(S3WireTest, PutOfABufferSendsItsBytes) {
    const vexil::P<vexil::TBuffer<unsigned char>> buffer = new vexil::TBuffer<unsigned char>;
    buffer->append(reinterpret_cast<const unsigned char*>("Hello"), 5);
    answer({reply("200 OK", "")});
    client.putObject(request, "b", "k", *buffer, "text/plain");
    EXPECT_THAT(onlyHead(), testing::HasSubstr("\r\nContent-MD5: ixqZU8RhEpaoJ6v4xHgE1w==\r\n"));
    EXPECT_EQ(peer.requests().at(0).body, "Hello");
}

TEST_F(S3WireTest, PutTakesTextsAndSpansOfBytes) {
    const std::vector<std::byte> bytes = {std::byte('H'), std::byte(0), std::byte('o')};
    const std::string text = "Hello";
    answer(std::vector<std::string>(5, reply("200 OK", "")));
    client.putObject(request, "b", "k", "Hello", "text/plain");
    client.putObject(request, "b", "k", text);
    client.putObject(request, "b", "k", std::string_view("Hello there", 5), "text/plain");
    client.putObject(request, "b", "k", bytes, "text/plain");
    client.preparePutObjectRequest(request, "b", "k", std::span(bytes));
    request.perform();
    const auto requests = peer.requests();
    ASSERT_EQ(requests.size(), 5u);
    EXPECT_THAT(requests[0].head, testing::HasSubstr("\r\nContent-MD5: " + md5Of("Hello") + "\r\n"));
    EXPECT_THAT(requests[0].head, testing::HasSubstr("\r\nContent-Type: text/plain\r\n"));
    EXPECT_THAT(requests[1].head, testing::Not(testing::HasSubstr("Content-Type")));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(requests[static_cast<std::size_t>(i)].body, "Hello");
    }
    EXPECT_EQ(requests[3].body, std::string("H\0o", 3));
    EXPECT_EQ(requests[4].body, std::string("H\0o", 3));
}

TEST_F(S3WireTest, PutFromMemoryHasALimitAlsoForSpans) {
    // Nothing is read: the size is checked first.
    static const std::byte one{};
    const std::string refused =
        "CS3Client::preparePutObjectRequest: size must be 0 to 2147483647 bytes; put more from a "
        "stream";
    EXPECT_EQ(argErrorOf([&] {
                  client.putObject(request, "b", "k", std::span<const std::byte>(&one, std::size_t{1} << 31),
                                   "");
              }),
              refused);
    EXPECT_EQ(argErrorOf([&] {
                  client.preparePutObjectRequest(
                      request, "b", "k",
                      std::string_view(reinterpret_cast<const char*>(&one), std::size_t{1} << 31), "");
              }),
              refused);
}

template <class... Arguments>
concept CanPutWith = requires(CNetRequest& request, TestClient& client, Arguments... arguments) {
    client.putObject(request, "b", "k", arguments...);
};
template <class... Arguments>
concept CanPrepareWith = requires(CNetRequest& request, TestClient& client, Arguments... arguments) {
    client.preparePutObjectRequest(request, "b", "k", arguments...);
};

static_assert(CanPutWith<const char*, const char*> && CanPrepareWith<const char*, const char*>);
static_assert(CanPutWith<std::string_view> && CanPrepareWith<std::string>);
static_assert(CanPutWith<std::span<std::byte>, String> && CanPrepareWith<std::span<std::byte>>);
static_assert(CanPutWith<std::array<std::byte, 2>, const char*>);
// The request would read the text after its end.
template <class Data>
concept CanPrepareTemporary = requires(CNetRequest& request, TestClient& client, Data&& data) {
    client.preparePutObjectRequest(request, "b", "k", std::forward<Data>(data));
};
static_assert(CanPrepareTemporary<std::string&> && CanPrepareTemporary<std::string_view>);
static_assert(CanPrepareTemporary<std::span<const std::byte>> &&
              CanPrepareTemporary<std::vector<std::byte>&>);
static_assert(!CanPrepareTemporary<std::string> && !CanPrepareTemporary<std::vector<std::byte>>);
// A size belongs to an address and stands before the content type.
static_assert(!CanPutWith<const char*, int> && !CanPrepareWith<const char*, std::size_t>);
static_assert(!CanPutWith<const void*, int> && !CanPrepareWith<const unsigned char*, int64>);
static_assert(!CanPutWith<std::nullptr_t> && !CanPrepareWith<std::nullptr_t, const char*>);

// Allowed and refused types of `data`: all pointers convert to `const void*`.

template <class Data, class Size = int>
concept CanPut = requires(CNetRequest& request, TestClient& client, Data data, Size size) {
    client.putObject(request, "b", "k", data, size, "");
    client.putObject(request, "b", "k", std::as_const(data), size, "");
    client.putObject(request, "b", "k", std::move(data), size, "");
    client.preparePutObjectRequest(request, "b", "k", data, size, "");
};

using Buffer = vexil::TBuffer<unsigned char>;
struct Declared;
union Union {
    int number;
    void* address;
};

static_assert(CanPut<const void*>);
static_assert(CanPut<void*>);
static_assert(CanPut<const char*, std::size_t>);
static_assert(CanPut<unsigned char*, int64>);
static_assert(CanPut<std::byte*>);
static_assert(CanPut<std::int16_t*>);
static_assert(CanPut<std::nullptr_t>);
static_assert(CanPut<zet::IInStream*>);
static_assert(CanPut<zet::CBufferStream*, std::size_t>);
static_assert(CanPut<vexil::P<zet::IInStream>, std::uint16_t>);
static_assert(CanPut<vexil::P<zet::CBufferStream>>);
template <class Element>
concept CanPutArray = requires(CNetRequest& request, TestClient& client, Element (&array)[2]) {
    client.putObject(request, "b", "k", array, 2, "");
};

template <class Bytes>
concept CanPutWhole = requires(CNetRequest& request, TestClient& client, Bytes bytes) {
    client.putObject(request, "b", "k", bytes, "");
    client.preparePutObjectRequest(request, "b", "k", std::as_const(bytes), "");
};

static_assert(CanPutArray<char> && CanPutArray<const char> && CanPutWhole<Buffer>);
static_assert(!CanPutArray<std::string> && !CanPutArray<char*> && !CanPutWhole<vexil::P<Buffer>>);

static_assert(!CanPut<vexil::P<Buffer>>);
static_assert(!CanPut<vexil::PC<Buffer>, std::size_t>);
static_assert(!CanPut<Buffer*, int64>);
static_assert(!CanPut<const Buffer*, double>);
static_assert(!CanPut<std::string*>);
static_assert(!CanPut<const std::string*, std::size_t>);
static_assert(!CanPut<vexil::P<zet::IOutStream>>);
static_assert(!CanPut<zet::IOutStream*>);
static_assert(!CanPut<const zet::CBufferStream*>);
static_assert(!CanPut<vexil::PC<zet::IInStream>>);
static_assert(!CanPut<Declared*>);
static_assert(!CanPut<Union*>);
static_assert(!CanPut<char**>);

TEST_F(S3WireTest, PutOfNothingSendsTheseBytes) {
    answer({reply("200 OK", "")});
    client.putObject(request, "b", "k", nullptr, 0, "");
    EXPECT_EQ(onlyHead(),
              head("PUT /b/k", {dateLine, "Content-MD5: " + emptyMD5,
                                authorizationOf("PUT\n" + emptyMD5 + "\n\n" + fixedDate + "\n/b/k"),
                                "Content-Length: 0"}));
}

TEST_F(S3WireTest, GetSendsTheseBytes) {
    answer({reply("200 OK", "hello")});
    client.getObject(request, "b", "k", 0, -1);
    EXPECT_EQ(onlyHead(), head("GET /b/k", {dateLine, authorizationOf("GET\n\n\n" + fixedDate + "\n/b/k")}));
    EXPECT_EQ(bodyOf(request), "hello");
}

TEST_F(S3WireTest, RangedGetSendsTheseBytes) {
    answer({reply("206 Partial Content", "ell", "Content-Range: bytes 1-3/5\r\n")});
    client.getObject(request, "b", "k", 1, 3);
    EXPECT_EQ(onlyHead(), head("GET /b/k", {dateLine, "Range: bytes=1-3",
                                            authorizationOf("GET\n\n\n" + fixedDate + "\n/b/k")}));
    EXPECT_EQ(bodyOf(request), "ell");
}

TEST_F(S3WireTest, GetOfNothingAndHeadersSendTheseBytes) {
    const std::string headers = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\nX-Amz-Meta-A: 1\r\n\r\n";
    answer({headers, headers});
    client.getObject(request, "b", "k", 7, 0);
    EXPECT_EQ(bodyOf(request), "");
    const HeaderMap& map = client.getObjectHeaders(request, "b", "k");
    EXPECT_EQ(map, (HeaderMap{{"content-length", "5"}, {"x-amz-meta-a", "1"}}));
    const auto requests = peer.requests();
    ASSERT_EQ(requests.size(), 2u);
    for (const RecordedRequest& sent : requests) {
        EXPECT_EQ(sent.head,
                  head("HEAD /b/k", {dateLine, authorizationOf("HEAD\n\n\n" + fixedDate + "\n/b/k")}));
    }
}

TEST_F(S3WireTest, DeleteSendsTheseBytes) {
    answer({"HTTP/1.1 204 No Content\r\n\r\n"});
    client.deleteObject(request, "b", "k");
    EXPECT_EQ(onlyHead(),
              head("DELETE /b/k", {dateLine, authorizationOf("DELETE\n\n\n" + fixedDate + "\n/b/k")}));
}

TEST_F(S3WireTest, ListSendsTheseBytes) {
    answer({reply("200 OK", list0)});
    const auto result = client.listObjects(request, "b", "p/", "/", "m", 100);
    EXPECT_EQ(onlyHead(), head("GET /b?prefix=p%2F&marker=m&max-keys=100&delimiter=%2F",
                               {dateLine, authorizationOf("GET\n\n\n" + fixedDate + "\n/b")}));
    EXPECT_THAT(result->getObjects(), IsEmpty());
}

TEST_F(S3WireTest, BareListSendsTheseBytes) {
    answer({reply("200 OK", list0)});
    static_cast<void>(client.listObjects(request, "b", "", "", "", -1));
    EXPECT_EQ(onlyHead(), head("GET /b", {dateLine, authorizationOf("GET\n\n\n" + fixedDate + "\n/b")}));
}

TEST_F(S3WireTest, CopySendsTheseBytes) {
    answer({reply("200 OK", "<CopyObjectResult><ETag>e</ETag></CopyObjectResult>")});
    client.copyObject(request, "b", "old", "new");
    EXPECT_EQ(onlyHead(), head("PUT /b/new", {dateLine, "x-amz-copy-source: /b/old",
                                              authorizationOf("PUT\n\n\n" + fixedDate +
                                                              "\nx-amz-copy-source:/b/old\n/b/new"),
                                              "Content-Length: 0"}));
}

TEST_F(S3WireTest, NamesOfDotsAreSentAsTheyAre) {
    auto script = peer.onConnection();
    std::vector<std::string> lines;
    const auto expectLine = [&](const std::string& line, auto operation) {
        script.expectRequest().reply(reply("200 OK", ""));
        operation();
        EXPECT_EQ(peer.requests().back().requestLine(), line + " HTTP/1.1");
    };
    for (const std::string name : {".", ".."}) {
        const String object = String::fromUTF8(name);
        expectLine("PUT /b/" + name, [&] { client.putObject(request, "b", object, "a", 1, ""); });
        expectLine("GET /b/" + name, [&] { client.getObject(request, "b", object, 0, -1); });
        expectLine("HEAD /b/" + name, [&] { return client.objectExists(request, "b", object); });
        expectLine("DELETE /b/" + name, [&] { client.deleteObject(request, "b", object); });
        expectLine("PUT /b/" + name,
                   [&] { EXPECT_THROW(client.copyObject(request, "b", "k", object), CError); });
        // As a bucket name it must not lead anywhere else either.
        expectLine("DELETE /" + name + "/k", [&] { client.deleteObject(request, object, "k"); });
        expectLine("GET /" + name, [&] {
            EXPECT_THROW(static_cast<void>(client.listObjects(request, object, "", "", "", -1)), CError);
        });
    }
}

TEST_F(S3WireTest, OneRequestServesAnySequenceOfOperations) {
    answer({reply("200 OK", ""), reply("200 OK", "hello"), reply("200 OK", list0),
            "HTTP/1.1 204 No Content\r\n\r\n", reply("200 OK", "x")});
    client.putObject(request, "b", "k", "hello", 5, "text/plain");
    client.getObject(request, "b", "k", 0, -1);
    static_cast<void>(client.listObjects(request, "b", "p", "", "", -1));
    client.deleteObject(request, "b", "k");
    client.getObject(request, "b", "l", 0, -1);
    const auto requests = peer.requests();
    ASSERT_EQ(requests.size(), 5u);
    EXPECT_EQ(requests[4].head,
              head("GET /b/l", {dateLine, authorizationOf("GET\n\n\n" + fixedDate + "\n/b/l")}));
}

// ---- size and existence ----------------------------------------------------------------------------------

TEST_F(S3WireTest, SizeIsTheContentLength) {
    answer({"HTTP/1.1 200 OK\r\nContent-Length: 5368709120\r\n\r\n"});
    EXPECT_EQ(client.getObjectSize(request, "b", "k"), 5368709120);
}

TEST_F(S3WireTest, SizeNeedsAContentLength) {
    answer({"HTTP/1.1 200 OK\r\nETag: e\r\n\r\n"});
    EXPECT_EQ(plainErrorOf([&] { return client.getObjectSize(request, "b", "k"); }),
              "Error: Content-Length header was expected but not included in response.");
}

TEST_F(S3WireTest, MissingObjectHasNoSizeAndDoesNotExist) {
    LogCapture log;
    const std::string missing = "HTTP/1.1 404 Not Found\r\nContent-Length: 99\r\n\r\n";
    answer({missing, missing});
    EXPECT_EQ(client.getObjectSize(request, "b", "k"), -1);
    EXPECT_FALSE(client.objectExists(request, "b", "k"));
    EXPECT_THAT(client.waits, IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(S3WireTest, ObjectExistsWithoutALength) {
    answer({"HTTP/1.1 200 OK\r\n\r\n"});
    EXPECT_TRUE(client.objectExists(request, "b", "k"));
}

TEST_F(S3WireTest, OtherFailuresSayNothingAboutExistence) {
    const std::string refused = "HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n";
    answer({refused, refused});
    auto error = thrownBy<CCURLError>([&] { return client.objectExists(request, "b", "k"); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getResponseCode(), 403);
    error = thrownBy<CCURLError>([&] { return client.getObjectSize(request, "b", "k"); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getResponseCode(), 403);
}

// ---- responses of requests performed elsewhere ------------------------------------------------------------

/// Performs a prepared request as an asynchronous manager does: without an exception.
void run(CNetRequest& request) {
    vexil::CAsyncNetRequestManager manager;
    manager.addRequest(&request);
    while (manager.getRequestCount() > 0) {
        manager.waitForEvents(-1);
        manager.handleEvents(nullptr);
    }
}

class S3CheckResponseTest : public S3WireTest {
protected:
    void runPut(const std::string& response, const std::string& body = "Hello") {
        answer({response});
        client.preparePutObjectRequest(*counted, "b", "k", body);
        run(*counted);
    }

    const P<CNetRequest> counted = new CNetRequest;
};

TEST_F(S3CheckResponseTest, AcceptsASuccess) {
    runPut(reply("200 OK", "", "ETag: \"00000000000000000000000000000000\"\r\n"));
    client.checkResponse(*counted);
}

TEST_F(S3CheckResponseTest, ThrowsTheErrorOfTheService) {
    runPut(reply("403 Forbidden", errorDocument("AccessDenied")));
    const auto error = thrownBy<CS3Error>([&] { client.checkResponse(*counted); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getS3Code(), "AccessDenied");
    EXPECT_EQ(error->getCode(), 403);
    EXPECT_EQ(error->getURL(), String::fromUTF8(peer.url("/b/k")));
    EXPECT_EQ(error->getHTTPMethod(), "PUT");
}

TEST_F(S3CheckResponseTest, ThrowsTheErrorOfTheTransferWithoutADocument) {
    runPut(reply("404 Not Found", ""));
    const auto error = thrownBy<CCURLError>([&] { client.checkResponse(*counted); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getResponseCode(), 404);
}

TEST_F(S3CheckResponseTest, RefusesAConnectionThatEndsWithinTheHeaders) {
    peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\nContent-Le").close();
    client.prepareGetObjectHeadersRequest(*counted, "b", "k");
    run(*counted);
    EXPECT_EQ(transientErrorOf([&] { client.checkResponse(*counted); }),
              "The connection ended within the headers of the response.");
}

TEST_F(S3CheckResponseTest, ComparesTheETagOfAPutOnDemand) {
    client.setVerifyETag(true);
    runPut(reply("200 OK", "", "ETag: \"8b1a9953c4611296a827abf8c47804d7\"\r\n"));
    client.checkResponse(*counted);
    runPut(reply("200 OK", "", "ETag: \"00000000000000000000000000000000\"\r\n"));
    EXPECT_THAT(transientErrorOf([&] { client.checkResponse(*counted); }),
                testing::StartsWith("The content has the MD5 ixqZU8RhEpaoJ6v4xHgE1w==, but the ETag "));
}

TEST_F(S3CheckResponseTest, ReadsTheErrorInsideASuccessfulCopy) {
    answer({reply("200 OK", errorDocument("InternalError"))});
    client.prepareCopyObjectRequest(*counted, "b", "k", "n");
    run(*counted);
    const auto error = thrownBy<CS3Error>([&] { client.checkResponse(*counted); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), 0);
    EXPECT_EQ(error->getHTTPMethod(), "PUT");
}

TEST_F(S3CheckResponseTest, RefusesARequestThatWasNotPerformed) {
    client.prepareGetObjectHeadersRequest(*counted, "b", "k");
    EXPECT_TRUE(thrownBy<CError>([&] { client.checkResponse(*counted); }));
}

// ---- copy ------------------------------------------------------------------------------------------------

TEST_F(S3WireTest, CopyMayFailWithAGoodStatus) {
    answer({reply("200 OK", errorDocument("InternalError"))});
    const auto error = thrownBy<CS3Error>([&] { client.copyObject(request, "b", "k", "l"); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getS3Code(), "InternalError");
    EXPECT_EQ(error->getCode(), 0);
    EXPECT_FALSE(error->getProps().has("responseCode"));
}

TEST_F(S3WireTest, CopyIsTriedOnce) {
    LogCapture log;
    answer({reply("503 Slow Down", errorDocument("SlowDown"))});
    const auto error = thrownBy<CCURLError>([&] { client.copyObject(request, "b", "k", "l"); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getResponseCode(), 503);
    EXPECT_THAT(client.waits, IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(S3WireTest, CopyNeedsAnAnswerThatCanBeRead) {
    answer({reply("200 OK", "")});
    EXPECT_EQ(plainErrorOf([&] { client.copyObject(request, "b", "k", "l"); }),
              "Error parsing Amazon S3 'copy object' result: invalid XML.");
}

TEST_F(S3WireTest, ListNeedsAnAnswerThatCanBeRead) {
    answer({reply("200 OK", errorDocument("AccessDenied"))});
    EXPECT_EQ(plainErrorOf([&] { return client.listObjects(request, "b", "", "", "", -1); }),
              "Error parsing Amazon S3 'list objects' result: root element is not ListBucketResult.");
}

TEST(S3ClientTest, RefusesASizeThatAPutFromMemoryCannotTake) {
    TestClient client;
    CNetRequest request;
    request.setURL("http://untouched/");
    const std::string text = "hello";
    const std::uint64_t tooLarge = (std::uint64_t{1} << 32) + text.size();
    EXPECT_EQ(
        argErrorOf([&] { client.putObject(request, "b", "k", text.data(), tooLarge, ""); }),
        "CS3Client::preparePutObjectRequest: size must be 0 to 2147483647 bytes; put more from a stream");
    EXPECT_EQ(request.getURL(), "http://untouched/");
    client.preparePutObjectRequest(request, "b", "k", text.data(), text.size(), "");
    EXPECT_EQ(request.getURL(), "http://host/b/k");
}

}  // namespace
