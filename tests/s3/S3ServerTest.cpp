// All operations against a real S3 server.
#include "tests/s3/S3Server.h"

#include "vexil/s3/S3ObjectEnum.h"
#include "vexil/s3/S3UploadEnum.h"
#include "vexil/s3/S3VersionEnum.h"
#include "zet/BufferStream.h"
#include "zet/TimeFields.h"

#include <algorithm>
#include <cstring>
#include <set>

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::HasSubstr;
using vexil::CS3ObjectEnum;
using vexil::CS3UploadEnum;
using vexil::CS3VersionEnum;

String text(const std::string& utf8) {
    return String::fromUTF8(utf8);
}

/// With both versions of the signature. Each test has its own bucket.
class S3ServerTest : public testing::TestWithParam<int> {
protected:
    S3ServerTest() : client(makeServerClient()) {
        bucket = makeBucketName("bucket-");
        client.setSignatureVersion(GetParam());
    }

    void SetUp() override { client.createBucket(request, bucket); }

    void put(const String& key, const std::string& body) {
        client.putObject(request, bucket, key, body.data(), static_cast<int>(body.size()), "");
    }
    std::string get(const String& key, int64 offset = 0, int64 length = -1) {
        client.getObject(request, bucket, key, offset, length);
        return bodyOf(request);
    }
    std::vector<std::string> walk(const String& prefix, const String& marker, int pageSize) {
        std::vector<std::string> keys;
        CS3ObjectEnum objects(&client, &request, bucket, prefix, marker, pageSize);
        while (objects.next()) {
            keys.push_back(objects.getCurrObject()->getKey().toUTF8());
        }
        return keys;
    }

    CS3Client client;
    CNetRequest request;
    String bucket;
};

TEST_P(S3ServerTest, ObjectIsStoredReadAndDeleted) {
    client.putObject(request, bucket, "k", "hello", 5, "text/x-greeting");
    EXPECT_EQ(get("k"), "hello");
    EXPECT_EQ(request.getResponseHeaderMap().at("content-type"), "text/x-greeting");
    EXPECT_EQ(get("k", 1, 3), "ell");
    EXPECT_EQ(get("k", 3, -1), "lo");
    EXPECT_EQ(get("k", 2, 0), "");
    EXPECT_EQ(request.getResponseHeaderMap().at("content-length"), "5");
    const HeaderMap& headers = client.getObjectHeaders(request, bucket, "k");
    EXPECT_EQ(headers.at("etag"), "\"5d41402abc4b2a76b9719d911017c592\"");
    EXPECT_EQ(client.getObjectSize(request, bucket, "k"), 5);
    EXPECT_TRUE(client.objectExists(request, bucket, "k"));
    put("k", "other");
    EXPECT_EQ(get("k"), "other");
    client.deleteObject(request, bucket, "k");
    EXPECT_FALSE(client.objectExists(request, bucket, "k"));
    EXPECT_EQ(client.getObjectSize(request, bucket, "k"), -1);
    client.deleteObject(request, bucket, "k");
}

// Over http, version 4 sends a stream that is read once in signed chunks.
TEST_P(S3ServerTest, StreamsThatAreReadOnceAreStored) {
    client.setUploadCheck(vexil::S3UploadCheck::WhileSending);
    for (const std::size_t size : {0, 1, 65535, 65536, 65537, 131072, 1000000}) {
        SCOPED_TRACE(size);
        std::string content(size, '\0');
        for (std::size_t i = 0; i < size; ++i) {
            content[i] = static_cast<char>(i * 31 + i / 251);
        }
        zet::CBufferStream stream;
        stream.write(content.data(), static_cast<int>(size));
        stream.seek(0);
        client.putObject(request, bucket, "k", &stream, static_cast<int64>(size), "");
        EXPECT_FALSE(CS3Client::getContentMD5(request.getResponseHeaderMap()).isEmpty());
        EXPECT_TRUE(get("k") == content);
        EXPECT_FALSE(request.getResponseHeaderMap().contains("content-encoding"));
    }
}

// Only the verifying front knows checksums. It returns what it has verified.
TEST_P(S3ServerTest, PutsAreStoredWithTheirChecksums) {
    const bool knowsChecksums = !serverSetting("VEXIL_S3_CHECKSUMS").isEmpty();
    for (const bool isReadOnce : {false, true}) {
        client.setUploadCheck(isReadOnce ? vexil::S3UploadCheck::WhileSending
                                         : vexil::S3UploadCheck::BeforeSending);
        client.setChecksumTrailer(knowsChecksums ? vexil::S3ChecksumTrailer::Always
                                                 : vexil::S3ChecksumTrailer::AmazonOnly);
        for (const std::string name : {"crc32c", "sha256"}) {
            SCOPED_TRACE(name);
            const auto checksum = name == "crc32c" ? vexil::S3Checksum::CRC32C : vexil::S3Checksum::SHA256;
            const std::string content(100000, 'a');
            zet::CBufferStream stream;
            stream.write(content.data(), static_cast<int>(content.size()));
            stream.seek(0);
            client.putObject(request, bucket, "k", &stream, static_cast<int64>(content.size()),
                             vexil::CS3PutOptions{.checksum = checksum});
            EXPECT_EQ(request.getResponseHeaderMap().contains(text("x-amz-checksum-" + name)),
                      knowsChecksums);
            EXPECT_TRUE(get("k") == content);
        }
    }
}

TEST_P(S3ServerTest, AWrongChecksumIsRefused) {
    if (serverSetting("VEXIL_S3_CHECKSUMS").isEmpty()) {
        GTEST_SKIP() << "radosgw knows no checksums";
    }
    client.preparePutObjectRequest(request, bucket, "k", "hello", "");
    request.getCustomHTTPHeaders()->add("x-amz-checksum-crc32c", "AAAAAA==");
    client.signRequest(&request);
    const auto error = thrownBy<CS3Error>([&] { client.performRequest(request); });
    EXPECT_EQ(error->getS3Code(), "BadDigest");
    EXPECT_EQ(client.getObjectSize(request, bucket, "k"), -1);
}

TEST_P(S3ServerTest, PartsAreStoredWithTheirChecksums) {
    const bool knowsChecksums = !serverSetting("VEXIL_S3_CHECKSUMS").isEmpty();
    client.setUploadCheck(vexil::S3UploadCheck::WhileSending);
    client.setChecksumTrailer(knowsChecksums ? vexil::S3ChecksumTrailer::Always
                                             : vexil::S3ChecksumTrailer::AmazonOnly);
    const vexil::CS3PutOptions options{.checksum = vexil::S3Checksum::SHA256};
    const String id = client.createMultipartUpload(request, bucket, "k", options);
    vexil::TArray<vexil::CS3UploadedPart> parts;
    std::string all;
    for (const int number : {1, 2}) {
        const std::string content(number == 1 ? 5 << 20 : 100, static_cast<char>('a' + number));
        zet::CBufferStream stream;
        stream.write(content.data(), static_cast<int>(content.size()));
        stream.seek(0);
        parts.push_back(client.uploadPart(request, bucket, "k", id, number, &stream,
                                          static_cast<int64>(content.size()),
                                          vexil::CS3PartOptions{.checksum = options.checksum}));
        EXPECT_EQ(!parts.back().checksum.isEmpty(), knowsChecksums);
        all += content;
    }
    const auto stored = client.listAllParts(request, bucket, "k", id);
    ASSERT_EQ(stored.size(), 2u);
    EXPECT_EQ(stored[0].checksumSHA256, parts[0].checksum);
    (void)client.completeMultipartUpload(request, bucket, "k", id, parts, options);
    const String composite =
        CS3Client::readCompletedChecksum(*request.getDefaultReceiveBuffer(), options.checksum);
    EXPECT_EQ(composite.endsWith("-2"), knowsChecksums);
    EXPECT_TRUE(get("k") == all);
}

TEST_P(S3ServerTest, ObjectIsCopied) {
    put("from here", "hello");
    client.copyObject(request, bucket, "from here", "to/there");
    EXPECT_EQ(get("to/there"), "hello");
    const auto error = thrownBy<CCURLError>([&] { client.copyObject(request, bucket, "missing", "new"); });
    ASSERT_TRUE(error);
    EXPECT_TRUE(CS3Client::isNotFoundError(*error));
}

TEST_P(S3ServerTest, ObjectMayBeEmpty) {
    client.putObject(request, bucket, "empty", nullptr, 0, "");
    EXPECT_EQ(client.getObjectSize(request, bucket, "empty"), 0);
    EXPECT_EQ(get("empty"), "");
    zet::CBufferStream stream;
    client.getObject(request, bucket, "empty", 0, -1, &stream);
    EXPECT_EQ(stream.getSize(), 0);
    client.putObject(request, bucket, "empty", &stream, 0, "");
    EXPECT_EQ(client.getObjectSize(request, bucket, "empty"), 0);
}

TEST_P(S3ServerTest, ObjectPassesThroughStreams) {
    zet::CBufferStream stream;
    stream.write("before hello after", 18);
    stream.seek(7);
    client.putObject(request, bucket, "k", &stream, 5, "");
    EXPECT_EQ(get("k"), "hello");
    stream.seek(0);
    client.getObject(request, bucket, "k", 0, -1, &stream);
    client.getObject(request, bucket, "k", 3, 2, &stream);
    EXPECT_EQ(stream.getPosition(), 7);
    const auto written = stream.getBuffer();
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(written->getData()), 12), "hellolohello");
}

TEST_P(S3ServerTest, KeysMayHoldAnything) {
    std::vector<std::string> keys = {"with space",
                                     "a+b",
                                     "100%",
                                     "%41",
                                     "a/b",
                                     "a//b",
                                     "/leading",
                                     "trailing/",
                                     ".",
                                     "..",
                                     "a/../b",
                                     "./c",
                                     "\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F",
                                     "\xF0\x9F\x98\x80",
                                     "q?a=b&c#d;e",
                                     "\"<quoted>\" & 'more'",
                                     "a\\b",
                                     "~-_.",
                                     "a:b@c",
                                     std::string(1000, 'k')};
    for (const std::string& key : keys) {
        put(text(key), "body of " + key);
    }
    for (const std::string& key : keys) {
        EXPECT_EQ(get(text(key)), "body of " + key);
        EXPECT_EQ(client.getObjectSize(request, bucket, text(key)), static_cast<int64>(8 + key.size()))
            << key;
        client.copyObject(request, bucket, text(key), "copy");
        EXPECT_EQ(get("copy"), "body of " + key);
        client.copyObject(request, bucket, "copy", text(key));
    }
    client.deleteObject(request, bucket, "copy");
    std::sort(keys.begin(), keys.end());
    EXPECT_EQ(walk("", "", 3), keys);
    for (const std::string& key : keys) {
        client.deleteObject(request, bucket, text(key));
        EXPECT_FALSE(client.objectExists(request, bucket, text(key))) << key;
    }
    EXPECT_THAT(walk("", "", -1), testing::IsEmpty());
}

TEST_P(S3ServerTest, ManyObjectsAreDeletedAtOnce) {
    vexil::TArray<String> keys;
    for (const char* key :
         {"a", "a/b", " x ", "<&>\"'", "t\tn\nr\r", "100%+", ".", "\xC3\xA4", "\xF0\x9F\x98\x80"}) {
        keys.push_back(text(key));
        put(keys.back(), "x");
    }
    put("stays", "x");
    keys.push_back("missing");
    EXPECT_THAT(client.deleteObjects(request, bucket, keys)->getErrors(), testing::IsEmpty());
    EXPECT_THAT(walk("", "", -1), ElementsAre("stays"));
    const auto result = client.deleteObjects(request, bucket, {"stays"}, vexil::S3DeleteMode::Verbose);
    EXPECT_THAT(result->getErrors(), testing::IsEmpty());
    EXPECT_THAT(result->getDeletedKeys(), ElementsAre("stays"));
    EXPECT_THAT(walk("", "", -1), testing::IsEmpty());
}

TEST_P(S3ServerTest, ObjectIsUploadedInParts) {
    constexpr int partSize = 5 * 1024 * 1024;
    zet::CBufferStream stream;
    const std::string body = std::string(partSize, 'a') + "end";
    stream.write(body.data(), static_cast<int>(body.size()));
    stream.seek(0);
    const String key = "folder/a b";
    const String id = client.createMultipartUpload(request, bucket, key, "text/x-parts");
    client.setVerifyETag(true);
    const String first = client.uploadPart(request, bucket, key, id, 1, &stream, partSize);
    stream.seek(partSize);
    const String second = client.uploadPart(request, bucket, key, id, 2, &stream, 3);
    const auto parts = client.listAllParts(request, bucket, key, id);
    ASSERT_EQ(parts.size(), 2u);
    EXPECT_EQ(parts[0].number, 1);
    EXPECT_EQ(parts[0].eTag, first);
    EXPECT_EQ(parts[0].size, partSize);
    EXPECT_EQ(parts[1].size, 3);
    EXPECT_THAT(parts[1].lastModified.toUTF8(), HasSubstr("T"));
    EXPECT_TRUE(client.listParts(request, bucket, key, id, 0, 1)->isTruncated());
    EXPECT_EQ(client.listParts(request, bucket, key, id, 1, 1)->getParts().at(0).eTag, second);
    const auto refused = thrownBy<CS3Error>([&] {
        (void)client.completeMultipartUpload(request, bucket, key, id, {{1, first}, {2, first}});
    });
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->getS3Code(), "InvalidPart");
    client.completeMultipartUpload(request, bucket, key, id, {{1, first}, {2, second}});
    EXPECT_THAT(client.getObjectHeaders(request, bucket, key).at("etag").toUTF8(), HasSubstr("-2"));
    EXPECT_EQ(get(key, partSize - 2, -1), "aaend");
    EXPECT_EQ(client.getObjectSize(request, bucket, key), static_cast<int64>(body.size()));
    EXPECT_EQ(client.getObjectHeaders(request, bucket, key).at("content-type"), "text/x-parts");

    const String other = client.createMultipartUpload(request, bucket, "other");
    stream.seek(0);
    client.uploadPart(request, bucket, "other", other, 1, &stream, 3);
    client.abortMultipartUpload(request, bucket, "other", other);
    const auto gone = thrownBy<CS3Error>([&] {
        stream.seek(0);
        client.uploadPart(request, bucket, "other", other, 2, &stream, 3);
    });
    ASSERT_TRUE(gone);
    EXPECT_EQ(gone->getS3Code(), "NoSuchUpload");
    EXPECT_FALSE(client.objectExists(request, bucket, "other"));
}

TEST_P(S3ServerTest, UploadsInProgressAreListed) {
    const std::vector<std::string> keys = {"p/ a", "p/a b", "p/a+b", "p/a+b", "p/%41", "p/\xC3\xA4", "q"};
    std::vector<std::string> wanted;
    for (const std::string& key : keys) {
        const String id = client.createMultipartUpload(request, bucket, text(key));
        if (key != "q") {
            wanted.push_back(key + "@" + id.toUTF8());
        }
    }
    for (const int pageSize : {-1, 1, 2}) {
        std::vector<std::string> found;
        CS3UploadEnum uploads(&client, &request, bucket, {.prefix = "p/", .maxEntries = pageSize});
        for (const vexil::CS3PendingUpload& upload : uploads) {
            found.push_back((upload.key + "@" + upload.uploadId).toUTF8());
            EXPECT_THAT(upload.initiated.toUTF8(), HasSubstr("T"));
        }
        EXPECT_THAT(uploads.takeUnreadableKeys(), testing::IsEmpty());
        EXPECT_THAT(found, testing::UnorderedElementsAreArray(wanted));
    }
    CS3UploadEnum uploads(&client, &request, bucket);
    for (const vexil::CS3PendingUpload& upload : uploads) {
        CNetRequest other;
        client.abortMultipartUpload(other, bucket, upload.key, upload.uploadId);
    }
    EXPECT_EQ(client.listUploads(request, bucket)->getCount(), 0u);
}

TEST_P(S3ServerTest, VersionsAreListedAndDeleted) {
    client.setBucketVersioning(request, bucket, true);
    const std::vector<std::string> keys = {" a", "a b", "a+b", "%41", "c\x01d", "\xC3\xA4"};
    for (const std::string& key : keys) {
        put(text(key), "old");
        put(text(key), "young");
        client.deleteObject(request, bucket, text(key));
    }
    EXPECT_THAT(walk("", "", -1), testing::IsEmpty());
    for (const int pageSize : {-1, 1, 2}) {
        std::vector<std::string> found;
        CS3VersionEnum versions(&client, &request, bucket, {.maxEntries = pageSize});
        for (const vexil::CS3ObjectVersion& version : versions) {
            found.push_back(version.key.toUTF8());
            EXPECT_EQ(version.isLatest, version.isDeleteMarker);
            EXPECT_FALSE(version.versionId.isEmpty());
        }
        EXPECT_EQ(found.size(), 3 * keys.size());
        EXPECT_EQ(std::set<std::string>(found.begin(), found.end()),
                  std::set<std::string>(keys.begin(), keys.end()));
    }
    // The delete marker goes: the object is there again.
    const auto page = client.listVersions(request, bucket, {.prefix = "a b"});
    ASSERT_EQ(page->getVersions().size(), 3u);
    EXPECT_EQ(page->getVersions()[1].size, 5);
    client.deleteObjectVersion(request, bucket, "a b", page->getVersions()[0].versionId);
    EXPECT_EQ(get("a b"), "young");
    const auto result =
        client.deleteObjectVersions(request, bucket, {{"a b", page->getVersions()[1].versionId}});
    EXPECT_THAT(result->getErrors(), testing::IsEmpty());
    EXPECT_EQ(get("a b"), "old");
    // Without its versions the bucket can go.
    const auto all = client.listVersions(request, bucket);
    for (const vexil::CS3ObjectVersion& version : all->getVersions()) {
        CNetRequest other;
        client.deleteObjectVersion(other, bucket, version.key, version.versionId);
    }
    client.deleteBucket(request, bucket);
}

TEST_P(S3ServerTest, ListingVersion2WalksOverAllPages) {
    std::vector<std::string> keys = {" a",
                                     "a b",
                                     "a+b",
                                     "%41",
                                     "c\x01"
                                     "d",
                                     "c&<>\"",
                                     "\xC3\xA4",
                                     "z\n",
                                     "z\r"};
    for (const std::string& key : keys) {
        put(text(key), "x");
    }
    std::sort(keys.begin(), keys.end());
    for (const int pageSize : {-1, 1, 2}) {
        std::vector<std::string> found;
        CS3ObjectEnum objects(&client, &request, bucket, "", "", pageSize);
        objects.setListVersion(vexil::S3ListVersion::V2);
        objects.setVerifyKeys(true);
        for (const vexil::CS3ListObjectsElement& object : objects) {
            found.push_back(object.getKey().toUTF8());
        }
        EXPECT_THAT(objects.takeUnreadableKeys(), testing::IsEmpty());
        EXPECT_EQ(found, keys);
    }
    const auto page = client.listObjectsV2(request, bucket, {.delimiter = "+", .startAfter = "a b"});
    EXPECT_THAT(page->getCommonPrefixes(), ElementsAre("a+"));
    EXPECT_FALSE(page->isTruncated());
}

TEST_P(S3ServerTest, BucketIsMadeFoundAndDeleted) {
    const String other = bucket + "-2";
    EXPECT_FALSE(client.bucketExists(request, other));
    client.createBucket(request, other);
    EXPECT_TRUE(client.bucketExists(request, other));
    EXPECT_FALSE(client.getBucketLocation(request, other).isEmpty());
    const auto hasBucket = [this](const String& name) {
        const auto list = client.listBuckets(request);
        EXPECT_EQ(list->getOwnerName(), "tester");
        EXPECT_EQ(list->getContinuationToken(), "");
        return std::any_of(list->getBuckets().begin(), list->getBuckets().end(), [&name](const auto& entry) {
            return entry.name == name && !entry.creationDate.isEmpty();
        });
    };
    EXPECT_TRUE(hasBucket(other));
    client.putObject(request, other, "k", "x", 1, "");
    const auto error = thrownBy<CS3Error>([&] { client.deleteBucket(request, other); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getS3Code(), "BucketNotEmpty");
    client.deleteObject(request, other, "k");
    client.deleteBucket(request, other);
    EXPECT_FALSE(hasBucket(other));
    EXPECT_FALSE(client.bucketExists(request, other));
    // The region is sent: this service has only the one that it calls "default".
    client.setRegion("default");
    client.createBucket(request, other);
    client.deleteBucket(request, other);
    client.setRegion("eu-central-1");
    const auto refusal = thrownBy<CS3Error>([&] { client.createBucket(request, other); });
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->getS3Code(), "InvalidLocationConstraint");
}

TEST_P(S3ServerTest, PresignedURLsAreValid) {
    const std::string content = "hello";
    for (const String& key : {String("k"), text("a b+c/%41/\xC3\xA4")}) {
        zet::CBufferStream stream;
        stream.write(content.data(), static_cast<int>(content.size()));
        stream.seek(0);
        CNetRequest plain;
        trustServer(plain);
        plain.setURL(client.makePresignedURL("PUT", bucket, key, std::chrono::minutes(1)));
        plain.setHTTPMethod("PUT");
        plain.setSendDataStream(&stream);
        plain.setSendDataSize(stream.getSize());
        plain.perform();
        EXPECT_EQ(get(key), content);
        plain.reset();
        trustServer(plain);
        const String url = client.makePresignedURL("GET", bucket, key, std::chrono::minutes(1));
        plain.setURL(url);
        plain.perform();
        EXPECT_EQ(bodyOf(plain), content);
        // The signature holds for one method.
        plain.setHTTPMethod("DELETE");
        const auto error = thrownBy<CCURLError>([&] { plain.perform(); });
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getResponseCode(), 403);
        EXPECT_THAT(bodyOf(plain), HasSubstr("SignatureDoesNotMatch"));
        EXPECT_EQ(get(key), content);
    }
}

TEST_P(S3ServerTest, OptionsTravelWithTheObject) {
    client.putObject(request, bucket, "k", "hello",
                     {.contentType = "text/x-note",
                      .cacheControl = "max-age=60",
                      .contentDisposition = "attachment; filename=\"a  b\"",
                      .contentEncoding = "identity",
                      .contentLanguage = "de",
                      .expires = "Tue, 03 Mar 2020 07:05:09 GMT",
                      .metadata = {{"Owner", "kim  lee"}, {"mtime", "1"}},
                      .tags = {{"a b", "c+d=e/f"}, {"x", "\xC3\xA4"}},
                      .storageClass = "STANDARD",
                      .cannedACL = "private"});
    const HeaderMap headers = client.getObjectHeaders(request, bucket, "k");
    EXPECT_EQ(headers.at("content-type"), "text/x-note");
    EXPECT_EQ(headers.at("cache-control"), "max-age=60");
    EXPECT_EQ(headers.at("content-disposition"), "attachment; filename=\"a  b\"");
    EXPECT_EQ(headers.at("content-encoding"), "identity");
    EXPECT_EQ(headers.at("content-language"), "de");
    EXPECT_EQ(headers.at("expires"), "Tue, 03 Mar 2020 07:05:09 GMT");
    EXPECT_EQ(headers.at("x-amz-meta-owner"), "kim  lee");
    EXPECT_EQ(headers.at("x-amz-meta-mtime"), "1");
    const HeaderMap tags = {{"a b", "c+d=e/f"}, {"x", "\xC3\xA4"}};
    EXPECT_EQ(client.getObjectTags(request, bucket, "k"), tags);

    client.getObject(request, bucket, "k", 0, -1, {.responseContentType = "text/x y"});
    EXPECT_EQ(bodyOf(request), "hello");
    EXPECT_EQ(request.getResponseHeaderMap().at("content-type"), "text/x y");
}

TEST_P(S3ServerTest, ConditionsOfAGetAreMetOrNot) {
    put("k", "hello");
    const String eTag = client.getObjectHeaders(request, bucket, "k").at("etag");
    client.getObject(request, bucket, "k", 1, 2, {.ifMatch = eTag});
    EXPECT_EQ(bodyOf(request), "el");
    const auto expectRefusal = [&](const vexil::CS3GetOptions& options, bool isNotModified) {
        zet::CBufferStream stream;
        try {
            client.getObject(request, bucket, "k", 0, -1, &stream, options);
            ADD_FAILURE();
        } catch (const CError& error) {
            EXPECT_EQ(CS3Client::isNotModified(error), isNotModified);
            EXPECT_EQ(CS3Client::isPreconditionFailed(error), !isNotModified);
        }
        EXPECT_EQ(stream.getSize(), 0);
        EXPECT_TRUE(thrownBy<CCURLError>([&] { client.getObjectHeaders(request, bucket, "k", options); }));
    };
    expectRefusal({.ifNoneMatch = eTag}, true);
    expectRefusal({.ifModifiedSince = zet::CTime::now()}, true);
    expectRefusal({.ifMatch = "\"other\""}, false);
    expectRefusal({.ifUnmodifiedSince = zet::CTime::fromCTime(0)}, false);
}

TEST_P(S3ServerTest, ExistingObjectIsNotReplacedOnDemand) {
    client.putObject(request, bucket, "k", "first", {.ifNoneMatch = "*"});
    const auto error =
        thrownBy<CS3Error>([&] { client.putObject(request, bucket, "k", "second", {.ifNoneMatch = "*"}); });
    ASSERT_TRUE(error);
    EXPECT_TRUE(CS3Client::isPreconditionFailed(*error));
    EXPECT_EQ(get("k"), "first");
    const String eTag = client.getObjectHeaders(request, bucket, "k").at("etag");
    // This server compares with the ETag without its quotes.
    client.putObject(request, bucket, "k", "third", {.ifMatch = eTag.substr(1, eTag.length() - 2)});
    EXPECT_EQ(get("k"), "third");
}

TEST_P(S3ServerTest, ObjectIsCopiedBetweenBuckets) {
    const String other = bucket + "-other";
    client.createBucket(request, other);
    client.putObject(request, bucket, "a k", "hello",
                     {.contentType = "text/x-note", .metadata = {{"m", "1"}}, .tags = {{"t", "2"}}});
    const vexil::CS3CopySource source{.bucket = bucket, .object = "a k"};
    const String eTag = client.copyObject(request, source, other, "b/k");
    HeaderMap headers = client.getObjectHeaders(request, other, "b/k");
    EXPECT_THAT(headers.at("etag").toUTF8(), HasSubstr(eTag.toUTF8()));
    EXPECT_EQ(headers.at("content-type"), "text/x-note");
    EXPECT_EQ(headers.at("x-amz-meta-m"), "1");
    EXPECT_EQ(client.getObjectTags(request, other, "b/k"), (HeaderMap{{"t", "2"}}));

    client.copyObject(request, source, other, "b/k",
                      {.metadata = vexil::S3CopyDirective::Replace,
                       .target = {.contentType = "text/x-other", .metadata = {{"n", "3"}}}});
    headers = client.getObjectHeaders(request, other, "b/k");
    EXPECT_EQ(headers.at("content-type"), "text/x-other");
    EXPECT_EQ(headers.at("x-amz-meta-n"), "3");
    EXPECT_FALSE(headers.contains("x-amz-meta-m"));
}

TEST_P(S3ServerTest, LargeObjectIsCopiedInParts) {
    constexpr int partSize = 5 * 1024 * 1024;
    const String other = bucket + "-other";
    client.createBucket(request, other);
    const std::string body = std::string(partSize, 'a') + std::string(partSize, 'b') + "end";
    client.putObject(request, bucket, "a k", body,
                     {.contentType = "text/x-note", .metadata = {{"m", "1"}}, .tags = {{"t", "2"}}});
    const vexil::CS3CopySource source{.bucket = bucket, .object = "a k"};
    const LogCapture log;
    client.copyLargeObject(request, source, other, "b/k", {.partsAbove = partSize, .partSize = partSize});
    client.getObject(request, other, "b/k", 0, -1);
    EXPECT_TRUE(bodyOf(request) == body);
    EXPECT_EQ(request.getResponseHeaderMap().at("content-type"), "text/x-note");
    EXPECT_EQ(request.getResponseHeaderMap().at("x-amz-meta-m"), "1");
    EXPECT_THAT(request.getResponseHeaderMap().at("etag").toUTF8(), HasSubstr("-3"));
    // This server ignores the tags of an upload in parts.
    EXPECT_TRUE(client.getObjectTags(request, other, "b/k").empty());
    EXPECT_THAT(log.lines(), ElementsAre("W: The service has not stored the tags of 'b/k'."));
}

TEST_P(S3ServerTest, ListFoldsFolders) {
    for (const char* key : {"a", "p/1", "p/2", "p/q/3", "p/r/4", "z"}) {
        put(key, "x");
    }
    auto list = client.listObjects(request, bucket, "", "/", "", -1);
    ASSERT_EQ(list->getObjects().size(), 2u);
    EXPECT_EQ(list->getObjects()[0]->getKey(), "a");
    EXPECT_EQ(list->getObjects()[0]->getSize(), 1);
    EXPECT_EQ(list->getObjects()[0]->getETag(), "\"9dd4e461268c8034f5c8564e155c67a6\"");
    EXPECT_THAT(list->getCommonPrefixes(), ElementsAre(String("p/")));
    EXPECT_FALSE(list->isTruncated());
    list = client.listObjects(request, bucket, "p/", "/", "", 2);
    EXPECT_TRUE(list->isTruncated());
    list = client.listObjects(request, bucket, "p/", "/", list->getDelimiteredNextMarker(), 2);
    EXPECT_THAT(list->getCommonPrefixes(), ElementsAre(String("p/q/"), String("p/r/")));
    EXPECT_THAT(walk("p/", "p/1", 1), ElementsAre("p/2", "p/q/3", "p/r/4"));
}

TEST_P(S3ServerTest, ManyKeysAreEnumeratedExactlyOnceInOrder) {
    std::vector<std::string> keys;
    for (int i = 0; i < 2500; ++i) {
        std::string number = std::to_string(i);
        keys.push_back("key " + std::string(4 - number.size(), '0') + number);
        put(text(keys.back()), "");
    }
    EXPECT_EQ(walk("", "", 100), keys);
    EXPECT_EQ(walk("", "", -1), keys);
    EXPECT_EQ(walk("key 24", "key 2450", 7), std::vector<std::string>(keys.begin() + 2451, keys.end()));
}

TEST_P(S3ServerTest, WrongSecretIsRefused) {
    CS3Client stranger = makeServerClient("wrong");
    stranger.setSignatureVersion(GetParam());
    const auto error = thrownBy<CS3Error>([&] { stranger.getObject(request, bucket, "k", 0, -1); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getS3Code(), "SignatureDoesNotMatch");
    EXPECT_EQ(error->getCode(), 403);
    zet::CBufferStream stream;
    EXPECT_TRUE(thrownBy<CS3Error>([&] { stranger.getObject(request, bucket, "k", 0, -1, &stream); }));
    EXPECT_EQ(stream.getSize(), 0);
    EXPECT_TRUE(thrownBy<CS3Error>([&] { stranger.putObject(request, bucket, "k", "a", 1, ""); }));
    EXPECT_EQ(client.getObjectSize(request, bucket, "k"), -1);
}

TEST_P(S3ServerTest, MissingBucketAndObjectAreNotFound) {
    const auto expectNotFound = [](const std::optional<CS3Error>& error, const char* code) {
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getS3Code(), code);
        EXPECT_EQ(error->getCode(), 404);
        EXPECT_TRUE(CS3Client::isNotFoundError(*error));
    };
    expectNotFound(thrownBy<CS3Error>([&] { client.getObject(request, "no-such-bucket", "k", 0, -1); }),
                   "NoSuchBucket");
    expectNotFound(
        thrownBy<CS3Error>([&] { return client.listObjects(request, "no-such-bucket", "", "", "", -1); }),
        "NoSuchBucket");
    expectNotFound(thrownBy<CS3Error>([&] { client.putObject(request, "no-such-bucket", "k", "a", 1, ""); }),
                   "NoSuchBucket");
    expectNotFound(thrownBy<CS3Error>([&] { client.getObject(request, bucket, "missing", 0, -1); }),
                   "NoSuchKey");
    EXPECT_FALSE(client.objectExists(request, "no-such-bucket", "k"));
}

TEST_P(S3ServerTest, SubresourceIsSigned) {
    put("k", "hello");
    request.reset();
    request.setURL(client.getObjectURL(request, bucket, "k") + "?acl");
    const P<CNetHeaders> headers = new CNetHeaders;
    // Version 4 adds it in its own form.
    if (GetParam() == 2) {
        headers->add("x-amz-date", zet::CTimeFields(zet::CTime::now()).toInternetTimestamp());
    }
    request.setCustomHTTPHeaders(headers);
    trustServer(request);
    client.signRequest(&request);
    request.perform();
    EXPECT_THAT(bodyOf(request), HasSubstr("<AccessControlPolicy"));
}

INSTANTIATE_TEST_SUITE_P(SignatureVersion, S3ServerTest, testing::Values(2, 4),
                         testing::PrintToStringParamName());

}  // namespace
