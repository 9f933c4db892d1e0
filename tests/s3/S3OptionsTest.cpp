// What is stored with an object, and the conditions of puts and gets.
#include "tests/s3/S3WireTest.h"
#include "zet/BufferStream.h"
#include "zet/TimeFields.h"

#include <array>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace vexil_test;
using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;
using vexil::CS3CustomerKey;
using vexil::CS3GetOptions;
using vexil::CS3PutOptions;
using vexil::S3ObjectLockMode;

using Parts = vexil::TArray<vexil::CS3UploadedPart>;

const zet::CTime time = zet::CTime::fromCTime(1583219109);  // fixedDate
const std::string keyBytes = "0123456789abcdef0123456789abcdef";
const std::vector<std::string> keyHeaders = {
    "x-amz-server-side-encryption-customer-algorithm: AES256",
    "x-amz-server-side-encryption-customer-key: MDEyMzQ1Njc4OWFiY2RlZjAxMjM0NTY3ODlhYmNkZWY=",
    "x-amz-server-side-encryption-customer-key-MD5: " + md5Of(keyBytes)};
const std::string created =
    "<InitiateMultipartUploadResult><UploadId>id</UploadId></InitiateMultipartUploadResult>";
const std::string completed =
    "<CompleteMultipartUploadResult><ETag>\"e\"</ETag></CompleteMultipartUploadResult>";

CS3PutOptions allPutOptions() {
    return {.contentType = "text/plain",
            .cacheControl = "max-age=60",
            .contentDisposition = "attachment; filename=\"a b\"",
            .contentEncoding = "gzip",
            .contentLanguage = "de",
            .expires = "Tue, 03 Mar 2020 07:05:09 GMT",
            .metadata = {{"Owner", "a  b"}, {"age", "1"}},
            .tags = {{"a b", "c&d=e/f"}, {"x", ""}},
            .storageClass = "STANDARD",
            .cannedACL = "private",
            .encryption = "aws:kms",
            .encryptionKeyId = "key-1",
            .ifNoneMatch = "*",
            .lockMode = S3ObjectLockMode::Governance,
            .lockUntil = time,
            .hasLegalHold = true};
}

/// Between the Content-MD5 and the signature.
const std::vector<std::string> contentLines = {"Content-Type: text/plain",
                                               "Cache-Control: max-age=60",
                                               "Content-Disposition: attachment; filename=\"a b\"",
                                               "Content-Encoding: gzip",
                                               "Content-Language: de",
                                               "Expires: Tue, 03 Mar 2020 07:05:09 GMT",
                                               "x-amz-meta-owner: a  b",
                                               "x-amz-meta-age: 1",
                                               "x-amz-tagging: a%20b=c%26d%3De%2Ff&x=",
                                               "x-amz-storage-class: STANDARD",
                                               "x-amz-acl: private",
                                               "x-amz-server-side-encryption: aws:kms",
                                               "x-amz-server-side-encryption-aws-kms-key-id: key-1",
                                               "x-amz-object-lock-mode: GOVERNANCE",
                                               "x-amz-object-lock-retain-until-date: 2020-03-03T07:05:09Z",
                                               "x-amz-object-lock-legal-hold: ON"};
const std::string signedAmzLines = "x-amz-acl:private\n"
                                   "x-amz-meta-age:1\n"
                                   "x-amz-meta-owner:a  b\n"
                                   "x-amz-object-lock-legal-hold:ON\n"
                                   "x-amz-object-lock-mode:GOVERNANCE\n"
                                   "x-amz-object-lock-retain-until-date:2020-03-03T07:05:09Z\n"
                                   "x-amz-server-side-encryption:aws:kms\n"
                                   "x-amz-server-side-encryption-aws-kms-key-id:key-1\n"
                                   "x-amz-storage-class:STANDARD\n"
                                   "x-amz-tagging:a%20b=c%26d%3De%2Ff&x=\n";

std::vector<std::string> joined(std::vector<std::string> first, const std::vector<std::string>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

class S3OptionsTest : public S3WireTest {
protected:
    S3OptionsTest() {
        data.write("hello", 5);
        data.seek(0);
    }
    ~S3OptionsTest() override { request.reset(); }  // it may refer to the data

    void put(const CS3PutOptions& options) { client.putObject(request, "b", "k", "hello", options); }
    std::vector<std::string> prepared(const CS3PutOptions& options) {
        client.preparePutObjectRequest(request, "b", "k", "hello", options);
        return headersOf(request);
    }
    /// All that a put with options sends with version 2.
    std::string headOfPut() const {
        const std::string md5 = md5Of("hello");
        return putHead("PUT /b/k", joined(joined({dateLine, "Content-MD5: " + md5}, contentLines),
                                          {"If-None-Match: *",
                                           authorizationOf("PUT\n" + md5 + "\ntext/plain\n" + fixedDate +
                                                           "\n" + signedAmzLines + "/b/k"),
                                           "Content-Length: 5"}));
    }
    std::string headAt(std::size_t number) {
        EXPECT_TRUE(peer.waitForRequests(static_cast<int>(number) + 1));
        return peer.requests().at(number).head;
    }
    void useHTTPS() { client.setBaseURL("https://host"); }

    zet::CBufferStream data;
};

// ---- put -------------------------------------------------------------------------------------------------

TEST_F(S3OptionsTest, PutSendsTheseBytes) {
    answer({reply("200 OK", "")});
    put(allPutOptions());
    EXPECT_EQ(onlyHead(), headOfPut());
    EXPECT_EQ(peer.requests().at(0).body, "hello");
}

TEST_F(S3OptionsTest, EveryFormOfAPutSendsTheSame) {
    answer({reply("200 OK", ""), reply("200 OK", ""), reply("200 OK", "")});
    const std::array<std::byte, 5> bytes = {std::byte{'h'}, std::byte{'e'}, std::byte{'l'}, std::byte{'l'},
                                            std::byte{'o'}};
    const CS3PutOptions options = allPutOptions();
    client.putObject(request, "b", "k", std::span<const std::byte>(bytes), options);
    client.putObject(request, "b", "k", bytes.data(), bytes.size(), options);
    client.putObject(request, "b", "k", &data, 5, options);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(headAt(i), headOfPut());
        EXPECT_EQ(peer.requests().at(i).body, "hello");
    }
}

TEST_F(S3OptionsTest, EveryFormOfAPreparationSetsTheSame) {
    const std::vector<std::string> wanted = prepared(allPutOptions());
    const std::array<std::byte, 5> bytes = {std::byte{'h'}, std::byte{'e'}, std::byte{'l'}, std::byte{'l'},
                                            std::byte{'o'}};
    client.preparePutObjectRequest(request, "b", "k", std::span<const std::byte>(bytes), allPutOptions());
    EXPECT_EQ(headersOf(request), wanted);
    client.preparePutObjectRequest(request, "b", "k", bytes.data(), bytes.size(), allPutOptions());
    EXPECT_EQ(headersOf(request), wanted);
    client.preparePutObjectRequest(request, "b", "k", &data, 5, allPutOptions());
    EXPECT_EQ(headersOf(request), wanted);
}

TEST_F(S3OptionsTest, BracesMayNameOptions) {
    client.preparePutObjectRequest(request, "b", "k", "hello", {.ifMatch = "\"e\""});
    EXPECT_THAT(headersOf(request), Contains("If-Match: \"e\""));
    client.preparePutObjectRequest(request, "b", "k", &data, 5, {.cannedACL = "private"});
    EXPECT_THAT(headersOf(request), Contains("x-amz-acl: private"));
    client.prepareCreateMultipartUploadRequest(request, "b", "k", {.storageClass = "COLD"});
    EXPECT_THAT(headersOf(request), Contains("x-amz-storage-class: COLD"));
}

TEST_F(S3OptionsTest, EmptyBracesAreAnEmptyContentType) {
    client.preparePutObjectRequest(request, "b", "k", "hello", {});
    const auto headers = headersOf(request);
    client.preparePutObjectRequest(request, "b", "k", "hello", "");
    EXPECT_EQ(headersOf(request), headers);
    client.preparePutObjectRequest(request, "b", "k", "hello", {"text/html"});
    EXPECT_THAT(headersOf(request), Contains("Content-Type: text/html"));
}

TEST_F(S3OptionsTest, OptionsAreOfOnePutOnly) {
    const auto plain = prepared({});
    prepared(allPutOptions());
    EXPECT_EQ(prepared({}), plain);
}

TEST_F(S3OptionsTest, TextsMayBeTemporary) {
    answer({reply("200 OK", "")});
    {
        CS3PutOptions options = allPutOptions();
        client.preparePutObjectRequest(request, "b", "k", "hello", options);
        options = CS3PutOptions();
    }
    request.perform();
    EXPECT_EQ(onlyHead(), headOfPut());
}

TEST_F(S3OptionsTest, FurtherTrySendsTheSame) {
    answer({reply("503 Slow Down", errorDocument("SlowDown")), reply("200 OK", "")});
    const LogCapture log;
    put(allPutOptions());
    EXPECT_EQ(headAt(0), headOfPut());
    EXPECT_EQ(headAt(1), headOfPut());
}

TEST_F(S3OptionsTest, RedirectGetsTheSame) {
    answer({reply("307 Temporary Redirect", "", "Location: /b/other\r\n"), reply("200 OK", "")});
    put(allPutOptions());
    const std::string first = headOfPut();
    EXPECT_EQ(headAt(1), "PUT /b/other" + first.substr(std::string("PUT /b/k").size()));
}

TEST_F(S3OptionsTest, Version4SignsAllHeaders) {
    client.setSignatureVersion(4);
    prepared(allPutOptions());
    const std::string signedText = CS3Client::getCanonicalRequest(&request).toUTF8();
    for (const std::string line :
         {"cache-control:max-age=60\n", "content-disposition:attachment; filename=\"a b\"\n",
          "content-encoding:gzip\n", "content-language:de\n", "content-type:text/plain\n",
          "expires:Tue, 03 Mar 2020 07:05:09 GMT\n", "if-none-match:*\n", "x-amz-acl:private\n",
          "x-amz-meta-age:1\n", "x-amz-meta-owner:a b\n", "x-amz-object-lock-legal-hold:ON\n",
          "x-amz-object-lock-mode:GOVERNANCE\n", "x-amz-object-lock-retain-until-date:2020-03-03T07:05:09Z\n",
          "x-amz-server-side-encryption:aws:kms\n", "x-amz-server-side-encryption-aws-kms-key-id:key-1\n",
          "x-amz-storage-class:STANDARD\n", "x-amz-tagging:a%20b=c%26d%3De%2Ff&x=\n"}) {
        EXPECT_THAT(signedText, HasSubstr("\n" + line));
    }
    EXPECT_THAT(headersOf(request), IsSupersetOf(contentLines));
}

TEST_F(S3OptionsTest, SigningAgainKeepsAllHeaders) {
    for (const int version : {2, 4}) {
        client.setSignatureVersion(version);
        const auto headers = prepared(allPutOptions());
        client.signAgain(request);
        EXPECT_THAT(headersOf(request), testing::UnorderedElementsAreArray(headers));
    }
}

TEST_F(S3OptionsTest, PutThatFindsAnObjectIsRefused) {
    answer({reply("412 Precondition Failed", errorDocument("PreconditionFailed")),
            reply("412 Precondition Failed", "")});
    for (int i = 0; i < 2; ++i) {
        try {
            put({.ifNoneMatch = "*"});
            ADD_FAILURE();
        } catch (const CError& error) {
            EXPECT_TRUE(CS3Client::isPreconditionFailed(error));
            EXPECT_FALSE(CS3Client::isNotModified(error));
            EXPECT_EQ(error.getKind(), vexil::ErrorKind::Conflict);
            EXPECT_EQ(dynamic_cast<const CS3Error*>(&error) != nullptr, i == 0);
        }
    }
    EXPECT_TRUE(client.waits.empty());
}

// ---- wrong options ---------------------------------------------------------------------------------------

TEST_F(S3OptionsTest, WrongOptionsAreRefusedBeforeTheRequestChanges) {
    request.setURL("http://before/");
    const auto errorOf = [this](const CS3PutOptions& options) {
        const std::string place = "CS3Client::preparePutObjectRequest: ";
        const std::string error = argErrorOf([&] { put(options); });
        EXPECT_THAT(error, StartsWith(place));
        EXPECT_EQ(argErrorOf([&] { client.putObject(request, "b", "k", &data, 5, options); }), error);
        const std::string createPlace = "CS3Client::prepareCreateMultipartUploadRequest: ";
        EXPECT_EQ(argErrorOf([&] { (void)client.createMultipartUpload(request, "b", "k", options); }),
                  createPlace + error.substr(place.size()));
        const std::string endPlace = "CS3Client::prepareCompleteMultipartUploadRequest: ";
        EXPECT_EQ(argErrorOf([&] {
                      client.completeMultipartUpload(request, "b", "k", "id", Parts{{1, "e"}}, options);
                  }),
                  endPlace + error.substr(place.size()));
        return error.substr(place.size());
    };
    using Field = String CS3PutOptions::*;
    const std::vector<std::pair<Field, std::string>> fields = {
        {&CS3PutOptions::cacheControl, "cache control"},
        {&CS3PutOptions::contentDisposition, "content disposition"},
        {&CS3PutOptions::contentEncoding, "content encoding"},
        {&CS3PutOptions::contentLanguage, "content language"},
        {&CS3PutOptions::expires, "expires"},
        {&CS3PutOptions::storageClass, "storage class"},
        {&CS3PutOptions::cannedACL, "canned ACL"},
        {&CS3PutOptions::encryption, "encryption"},
        {&CS3PutOptions::encryptionKeyId, "encryption key ID"},
        {&CS3PutOptions::ifMatch, "If-Match"},
        {&CS3PutOptions::ifNoneMatch, "If-None-Match"}};
    for (const auto& [field, name] : fields) {
        CS3PutOptions options;
        for (const String& text : {String("a\r\nb: c"), String("\n"), String(std::wstring(1, L'\0'))}) {
            options.*field = text;
            EXPECT_EQ(errorOf(options), name + " must not contain CR, LF or NUL");
        }
        for (const char* text : {"\x7f", "a\tb", "ä"}) {
            options.*field = text;
            EXPECT_EQ(errorOf(options), name + " must have only printable ASCII characters");
        }
        for (const char* text : {" a", "a ", " "}) {
            options.*field = text;
            EXPECT_EQ(errorOf(options), name + " must not begin or end with white space");
        }
    }
    EXPECT_EQ(errorOf({.contentType = "a\nb"}), "content type must not contain CR, LF or NUL");
    for (const char* name : {"", "a b", "a:", "ä", "a\r"}) {
        EXPECT_EQ(errorOf({.metadata = {{name, "1"}}}),
                  std::string("the metadata name '") + name + "' is not a header name");
    }
    EXPECT_EQ(errorOf({.metadata = {{"a", ""}}}), "the metadata value of 'a' must not be empty");
    EXPECT_EQ(errorOf({.metadata = {{"a", "b\nc"}}}),
              "the metadata value of 'a' must not contain CR, LF or NUL");
    EXPECT_EQ(errorOf({.metadata = {{"a", "é"}}}),
              "the metadata value of 'a' must have only printable ASCII characters");
    EXPECT_EQ(errorOf({.metadata = {{"A", "1"}, {"a", "1"}}}),
              "the metadata names 'A' and 'a' differ only in their case");
    EXPECT_EQ(errorOf({.encryption = "AES256", .encryptionKeyId = "k"}),
              "an encryption key ID needs the encryption 'aws:kms'");
    EXPECT_EQ(errorOf({.ifMatch = "e", .ifNoneMatch = "*"}), "If-Match and If-None-Match exclude each other");
    EXPECT_EQ(errorOf({.lockMode = S3ObjectLockMode::Compliance}),
              "an object lock needs both its mode and its time");
    EXPECT_EQ(errorOf({.lockUntil = time}), "an object lock needs both its mode and its time");
    EXPECT_EQ(errorOf({.lockMode = static_cast<S3ObjectLockMode>(9), .lockUntil = time}),
              "the lock mode is unknown");
    EXPECT_EQ(errorOf({.lockMode = S3ObjectLockMode::Compliance,
                       .lockUntil = zet::CTime::fromMicroseconds(std::numeric_limits<vexil::int64>::max())}),
              "the time of the object lock is outside the years 0 to 9999");
    EXPECT_EQ(request.getURL(), "http://before/");
}

TEST_F(S3OptionsTest, TagsAreLimited) {
    const String smile = "\xF0\x9F\x98\x80";
    const auto times = [](int count, const String& text) {
        String all;
        for (int i = 0; i < count; ++i) {
            all += text;
        }
        return all;
    };
    CS3PutOptions options;
    for (int i = 0; i < 10; ++i) {
        options.tags[String::fromInt(i)] = "";
    }
    EXPECT_THAT(prepared(options), Contains("x-amz-tagging: 0=&1=&2=&3=&4=&5=&6=&7=&8=&9="));
    prepared({.tags = {{times(128, smile), times(256, smile)}}});

    request.setURL("http://before/");
    const std::string place = "CS3Client::preparePutObjectRequest: ";
    options.tags["a"] = "";
    EXPECT_EQ(argErrorOf([&] { put(options); }), place + "there must be at most 10 tags");
    EXPECT_EQ(argErrorOf([&] {
                  put({.tags = {{"", "a"}}});
              }),
              place + "the name of the tag '' must have 1 to 128 characters");
    EXPECT_EQ(argErrorOf([&] {
                  put({.tags = {{times(129, "x"), ""}}});
              }),
              place + "the name of the tag '" + std::string(129, 'x') + "' must have 1 to 128 characters");
    EXPECT_EQ(argErrorOf([&] {
                  put({.tags = {{"t", times(257, "x")}}});
              }),
              place + "the value of the tag 't' must have at most 256 characters");
    EXPECT_EQ(request.getURL(), "http://before/");
}

// ---- keys of the customer --------------------------------------------------------------------------------

TEST_F(S3OptionsTest, CustomerKeyIsSentWithItsMD5) {
    useHTTPS();
    const CS3CustomerKey key{keyBytes};
    EXPECT_THAT(prepared({.customerKey = key}), IsSupersetOf(keyHeaders));
    EXPECT_THAT(CS3Client::getStringToSign(&request).toUTF8(),
                HasSubstr("\nx-amz-server-side-encryption-customer-key:MDEyMzQ1Njc4OWFiY2RlZjAx"));
    client.prepareCreateMultipartUploadRequest(request, "b", "k", {.customerKey = key});
    EXPECT_THAT(headersOf(request), IsSupersetOf(keyHeaders));
    client.prepareUploadPartRequest(request, "b", "k", "id", 1, &data, 5, key);
    EXPECT_THAT(headersOf(request), IsSupersetOf(keyHeaders));
    client.prepareCompleteMultipartUploadRequest(request, "b", "k", "id", Parts{{1, "e"}},
                                                 {.customerKey = key});
    EXPECT_THAT(headersOf(request), IsSupersetOf(keyHeaders));
    client.prepareGetObjectRequest(request, "b", "k", 0, -1, {.customerKey = key});
    EXPECT_THAT(headersOf(request), IsSupersetOf(keyHeaders));
    client.prepareGetObjectRequest(request, "b", "k", 0, -1, &data, {.customerKey = key});
    EXPECT_THAT(headersOf(request), IsSupersetOf(keyHeaders));
    client.prepareGetObjectHeadersRequest(request, "b", "k", {.customerKey = key});
    EXPECT_THAT(headersOf(request), IsSupersetOf(keyHeaders));
    client.setSignatureVersion(4);
    client.prepareGetObjectHeadersRequest(request, "b", "k", {.customerKey = key});
    EXPECT_THAT(CS3Client::getCanonicalRequest(&request).toUTF8(),
                HasSubstr("\nx-amz-server-side-encryption-customer-algorithm:AES256\n"));
}

TEST_F(S3OptionsTest, WrongCustomerKeyIsRefused) {
    request.setURL("http://before/");
    const auto expectError = [this](const CS3CustomerKey& key, const std::string& message) {
        EXPECT_EQ(argErrorOf([&] { put({.customerKey = key}); }),
                  "CS3Client::preparePutObjectRequest: " + message);
        EXPECT_EQ(argErrorOf([&] { client.putObject(request, "b", "k", &data, 5, {.customerKey = key}); }),
                  "CS3Client::preparePutObjectRequest: " + message);
        EXPECT_EQ(argErrorOf([&] { client.getObject(request, "b", "k", 0, -1, {.customerKey = key}); }),
                  "CS3Client::prepareGetObjectRequest: " + message);
        EXPECT_EQ(argErrorOf([&] { client.getObjectHeaders(request, "b", "k", {.customerKey = key}); }),
                  "CS3Client::prepareGetObjectHeadersRequest: " + message);
        EXPECT_EQ(
            argErrorOf([&] { (void)client.createMultipartUpload(request, "b", "k", {.customerKey = key}); }),
            "CS3Client::prepareCreateMultipartUploadRequest: " + message);
        EXPECT_EQ(argErrorOf([&] { client.uploadPart(request, "b", "k", "id", 1, &data, 5, key); }),
                  "CS3Client::prepareUploadPartRequest: " + message);
        EXPECT_EQ(argErrorOf([&] {
                      client.completeMultipartUpload(request, "b", "k", "id", Parts{{1, "e"}},
                                                     {.customerKey = key});
                  }),
                  "CS3Client::prepareCompleteMultipartUploadRequest: " + message);
    };
    expectError({keyBytes}, "a customer key needs https");
    useHTTPS();
    expectError({keyBytes + "x"}, "the customer key must have 32 bytes, not 33");
    expectError({"MDEyMzQ1Njc4OWFiY2RlZjAxMjM0NTY3ODlhYmNkZWY="},
                "the customer key must have 32 bytes, not 44");
    EXPECT_EQ(argErrorOf([&] { put({.encryption = "AES256", .customerKey = {keyBytes}}); }),
              "CS3Client::preparePutObjectRequest: a customer key and an encryption by the service exclude "
              "each other");
    EXPECT_EQ(request.getURL(), "http://before/");
}

TEST_F(S3OptionsTest, CustomerKeyDoesNotFollowARedirect) {
    ScriptedPeer other;
    other.onConnection().expectRequest().reply(reply("200 OK", ""));
    answer({reply("307 Temporary Redirect", "", "Location: " + other.url("/b/k") + "\r\n")});
    useHTTPS();
    prepared({.customerKey = {keyBytes}});
    request.setURL(peer.url("/b/k"));
    const auto error = thrownBy<CCURLError>([&] { request.perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getResponseCode(), 307);
    EXPECT_TRUE(other.requests().empty());
}

// ---- get -------------------------------------------------------------------------------------------------

CS3GetOptions allGetOptions() {
    return {.versionId = "v/1+",
            .ifMatch = "\"a\"",
            .ifNoneMatch = "\"b\"",
            .ifModifiedSince = time,
            .ifUnmodifiedSince = time,
            .responseContentType = "text/x y",
            .responseCacheControl = "no-cache",
            .responseContentDisposition = "attachment",
            .responseContentEncoding = "gzip",
            .responseContentLanguage = "de",
            .responseExpires = "Tue, 03 Mar 2020 07:05:09 GMT"};
}

const std::vector<std::string> conditionLines = {"If-Match: \"a\"", "If-None-Match: \"b\"",
                                                 "If-Modified-Since: " + fixedDate,
                                                 "If-Unmodified-Since: " + fixedDate};
const std::string sentGetQuery = "response-cache-control=no-cache"
                                 "&response-content-disposition=attachment"
                                 "&response-content-encoding=gzip"
                                 "&response-content-language=de"
                                 "&response-content-type=text%2Fx%20y"
                                 "&response-expires=Tue%2C%2003%20Mar%202020%2007%3A05%3A09%20GMT"
                                 "&versionId=v%2F1%2B";
const std::string signedGetQuery = "response-cache-control=no-cache"
                                   "&response-content-disposition=attachment"
                                   "&response-content-encoding=gzip"
                                   "&response-content-language=de"
                                   "&response-content-type=text/x y"
                                   "&response-expires=Tue, 03 Mar 2020 07:05:09 GMT"
                                   "&versionId=v/1+";

TEST_F(S3OptionsTest, GetSendsTheseBytes) {
    answer({reply("200 OK", "abc"), reply("200 OK", "abc")});
    client.getObject(request, "b", "k", 0, -1, allGetOptions());
    client.getObject(request, "b", "k", 0, -1, &data, allGetOptions());
    const std::string signature = authorizationOf("GET\n\n\n" + fixedDate + "\n/b/k?" + signedGetQuery);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(headAt(i),
                  head("GET /b/k?" + sentGetQuery, joined(joined({dateLine}, conditionLines), {signature})));
    }
}

TEST_F(S3OptionsTest, HeadSendsTheseBytes) {
    answer({"HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n", "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n"});
    client.getObjectHeaders(request, "b", "k", allGetOptions());
    client.getObject(request, "b", "k", 0, 0, allGetOptions());
    const std::string signature = authorizationOf("HEAD\n\n\n" + fixedDate + "\n/b/k?" + signedGetQuery);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(headAt(i),
                  head("HEAD /b/k?" + sentGetQuery, joined(joined({dateLine}, conditionLines), {signature})));
    }
}

TEST_F(S3OptionsTest, GetOfAPartSendsTheseBytes) {
    answer({reply("206 Partial Content", "abc")});
    client.getObject(request, "b", "k", 0, -1, {.partNumber = 3});
    EXPECT_EQ(onlyHead(), head("GET /b/k?partNumber=3",
                               {dateLine, authorizationOf("GET\n\n\n" + fixedDate + "\n/b/k?partNumber=3")}));
    EXPECT_EQ(bodyOf(request), "abc");
}

TEST_F(S3OptionsTest, RangeAndConditionsGoTogether) {
    client.prepareGetObjectRequest(request, "b", "k", 5, 10, {.ifMatch = "\"e\""});
    EXPECT_THAT(headersOf(request), IsSupersetOf({"Range: bytes=5-14", "If-Match: \"e\""}));
}

TEST_F(S3OptionsTest, Version4SignsTheQueryAndTheConditionsOfAGet) {
    client.setSignatureVersion(4);
    client.prepareGetObjectRequest(request, "b", "k", 0, -1, allGetOptions());
    const std::string signedText = CS3Client::getCanonicalRequest(&request).toUTF8();
    EXPECT_THAT(signedText, StartsWith("GET\n/b/k\n" + sentGetQuery + "\n"));
    EXPECT_THAT(signedText, HasSubstr("\nif-match:\"a\"\nif-modified-since:" + fixedDate +
                                      "\nif-none-match:\"b\"\nif-unmodified-since:" + fixedDate + "\n"));
}

TEST_F(S3OptionsTest, SigningAGetAgainGivesTheSameSignature) {
    client.prepareGetObjectRequest(request, "b", "k", 0, -1, allGetOptions());
    const auto headers = headersOf(request);
    client.signAgain(request);
    EXPECT_EQ(headersOf(request), headers);
}

TEST_F(S3OptionsTest, WrongGetOptionsAreRefusedBeforeTheRequestChanges) {
    request.setURL("http://before/");
    const std::string get = "CS3Client::prepareGetObjectRequest: ";
    const auto errorOf = [&](const CS3GetOptions& options) {
        const std::string error = argErrorOf([&] { client.getObject(request, "b", "k", 0, -1, options); });
        EXPECT_THAT(error, StartsWith(get));
        EXPECT_EQ(argErrorOf([&] { client.getObjectHeaders(request, "b", "k", options); }),
                  "CS3Client::prepareGetObjectHeadersRequest: " + error.substr(get.size()));
        return error.substr(get.size());
    };
    using Field = String CS3GetOptions::*;
    const std::vector<std::pair<Field, std::string>> fields = {
        {&CS3GetOptions::versionId, "version ID"},
        {&CS3GetOptions::ifMatch, "If-Match"},
        {&CS3GetOptions::ifNoneMatch, "If-None-Match"},
        {&CS3GetOptions::responseContentType, "content type of the response"},
        {&CS3GetOptions::responseCacheControl, "cache control of the response"},
        {&CS3GetOptions::responseContentDisposition, "content disposition of the response"},
        {&CS3GetOptions::responseContentEncoding, "content encoding of the response"},
        {&CS3GetOptions::responseContentLanguage, "content language of the response"},
        {&CS3GetOptions::responseExpires, "expires of the response"}};
    for (const auto& [field, name] : fields) {
        CS3GetOptions options;
        options.*field = "a\nb";
        EXPECT_EQ(errorOf(options), name + " must not contain CR, LF or NUL");
    }
    const zet::CTime farAway = zet::CTime::fromMicroseconds(std::numeric_limits<vexil::int64>::max());
    EXPECT_EQ(errorOf({.ifModifiedSince = farAway}), "If-Modified-Since is outside the years 0 to 9999");
    EXPECT_EQ(errorOf({.ifUnmodifiedSince = farAway}), "If-Unmodified-Since is outside the years 0 to 9999");
    EXPECT_EQ(errorOf({.partNumber = -1}), "the part number -1 is not 1 to 10000, or 0 for the whole object");
    EXPECT_EQ(errorOf({.partNumber = 10001}),
              "the part number 10001 is not 1 to 10000, or 0 for the whole object");
    EXPECT_EQ(argErrorOf([&] { client.getObject(request, "b", "k", 1, -1, {.partNumber = 1}); }),
              get + "a part number and a range exclude each other");
    EXPECT_EQ(argErrorOf([&] { client.getObject(request, "b", "k", 0, -1, &data, {.partNumber = 1}); }),
              get + "a part number and a stream exclude each other");
    EXPECT_EQ(request.getURL(), "http://before/");
}

TEST_F(S3OptionsTest, UnchangedObjectIsToldAsSuch) {
    const std::string unchanged = "HTTP/1.1 304 Not Modified\r\nETag: \"e\"\r\n\r\n";
    answer({unchanged, unchanged, unchanged});
    const CS3GetOptions options{.ifNoneMatch = "\"e\""};
    zet::CBufferStream received;
    const std::vector<std::function<void()>> calls = {
        [&] { client.getObject(request, "b", "k", 0, -1, options); },
        [&] { client.getObject(request, "b", "k", 0, -1, &received, options); },
        [&] { client.getObjectHeaders(request, "b", "k", options); }};
    for (const auto& call : calls) {
        const auto error = thrownBy<CCURLError>(call);
        ASSERT_TRUE(error);
        EXPECT_TRUE(CS3Client::isNotModified(*error));
        EXPECT_FALSE(CS3Client::isPreconditionFailed(*error));
        EXPECT_FALSE(CS3Client::isNotFoundError(*error));
        EXPECT_EQ(error->getResponseCode(), 304);
    }
    EXPECT_EQ(received.getSize(), 0);
    EXPECT_TRUE(client.waits.empty());
}

TEST_F(S3OptionsTest, ChangedObjectIsToldAsSuch) {
    answer({reply("412 Precondition Failed", errorDocument("PreconditionFailed")),
            "HTTP/1.1 412 Precondition Failed\r\nContent-Length: 300\r\n\r\n"});
    const CS3GetOptions options{.ifMatch = "\"e\""};
    const auto error =
        thrownBy<CS3Error>([&] { client.getObject(request, "b", "k", 0, -1, &data, options); });
    ASSERT_TRUE(error);
    EXPECT_TRUE(CS3Client::isPreconditionFailed(*error));
    const auto headError = thrownBy<CCURLError>([&] { client.getObjectHeaders(request, "b", "k", options); });
    ASSERT_TRUE(headError);
    EXPECT_TRUE(CS3Client::isPreconditionFailed(*headError));
    EXPECT_FALSE(CS3Client::isNotModified(*headError));
}

TEST_F(S3OptionsTest, OtherErrorsAreNoConditions) {
    const CError other("other");
    EXPECT_FALSE(CS3Client::isPreconditionFailed(other));
    EXPECT_FALSE(CS3Client::isNotModified(other));
    EXPECT_FALSE(CS3Client::isPreconditionFailed(*CS3Error::createObjectNotFoundError("/b/k")));
}

// ---- objects in parts ------------------------------------------------------------------------------------

TEST_F(S3OptionsTest, BeginningOfAnUploadSendsEverythingExceptTheConditions) {
    answer({reply("200 OK", created)});
    EXPECT_EQ(client.createMultipartUpload(request, "b", "k", allPutOptions()), "id");
    EXPECT_EQ(onlyHead(),
              head("POST /b/k?uploads", joined(joined({dateLine}, contentLines),
                                               {authorizationOf("POST\n\ntext/plain\n" + fixedDate + "\n" +
                                                                signedAmzLines + "/b/k?uploads"),
                                                "Content-Length: 0"})));
}

TEST_F(S3OptionsTest, CompletionSendsTheConditionsOnly) {
    client.prepareCompleteMultipartUploadRequest(request, "b", "k", "id", Parts{{1, "e"}});
    const std::size_t count = headersOf(request).size();
    client.prepareCompleteMultipartUploadRequest(request, "b", "k", "id", Parts{{1, "e"}}, allPutOptions());
    EXPECT_THAT(headersOf(request), Contains("If-None-Match: *"));
    EXPECT_EQ(headersOf(request).size(), count + 1);

    answer({reply("412 Precondition Failed", errorDocument("PreconditionFailed"))});
    const auto error = thrownBy<CS3Error>([&] {
        client.completeMultipartUpload(request, "b", "k", "id", Parts{{1, "e"}}, {.ifMatch = "\"e\""});
    });
    EXPECT_TRUE(CS3Client::isPreconditionFailed(*error));
    EXPECT_THAT(onlyHead(), HasSubstr("\r\nIf-Match: \"e\"\r\n"));
}

}  // namespace
