// Listings of versions and of uploads in progress, and version 2 of the listing of objects.
#include "tests/s3/S3WireTest.h"
#include "vexil/s3/S3ListObjectsV2Result.h"
#include "vexil/s3/S3ListVersionsResult.h"
#include "vexil/s3/S3ObjectEnum.h"
#include "vexil/s3/S3UploadEnum.h"
#include "vexil/s3/S3UploadList.h"
#include "vexil/s3/S3VersionEnum.h"

#include <ranges>
#include <string>
#include <vector>

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using vexil::CS3ListObjectsV2Result;
using vexil::CS3ListVersionsResult;
using vexil::CS3ObjectEnum;
using vexil::CS3ObjectVersion;
using vexil::CS3PendingUpload;
using vexil::CS3UploadEnum;
using vexil::CS3UploadList;
using vexil::CS3VersionEnum;
using vexil::S3ListVersion;

const std::string xmlns = " xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\"";

std::string element(const std::string& name, const std::string& text) {
    return "<" + name + ">" + text + "</" + name + ">";
}

std::string truncated(bool isTruncated) {
    return element("IsTruncated", isTruncated ? "true" : "false");
}

std::string versionsOf(const std::string& content) {
    return element("ListVersionsResult", content);
}

std::string versionOf(const std::string& key, const std::string& id) {
    return element("Version", element("Key", key) + element("VersionId", id));
}

std::string uploadsOf(const std::string& content) {
    return element("ListMultipartUploadsResult", content);
}

std::string uploadOf(const std::string& key, const std::string& id) {
    return element("Upload", element("Key", key) + element("UploadId", id));
}

std::string objectsOf(const std::string& content) {
    return element("ListBucketResult", content);
}

std::string objectOf(const std::string& key) {
    return element("Contents", element("Key", key));
}

class S3ListingsTest : public S3WireTest {
protected:
    void answerWith(const std::vector<std::string>& documents) {
        std::vector<std::string> replies;
        for (const std::string& document : documents) {
            replies.push_back(reply("200 OK", document));
        }
        answer(replies);
    }

    std::vector<std::string> walkVersions(const vexil::CS3ListingQuery& query = {}) {
        std::vector<std::string> found;
        CS3VersionEnum versions(&client, &request, "b", query);
        while (versions.next()) {
            found.push_back((versions.getCurrent()->key + "@" + versions.getCurrent()->versionId).toUTF8());
        }
        EXPECT_FALSE(versions.getCurrent());
        return found;
    }

    std::vector<std::string> walkObjects(CS3ObjectEnum& objects) {
        objects.setListVersion(S3ListVersion::V2);
        std::vector<std::string> keys;
        while (objects.next()) {
            keys.push_back(objects.getCurrObject()->getKey().toUTF8());
        }
        return keys;
    }
    std::vector<std::string> walkObjects(const String& prefix = "", const String& marker = "") {
        CS3ObjectEnum objects(&client, &request, "b", prefix, marker, -1);
        return walkObjects(objects);
    }

    std::vector<std::string> targets() {
        std::vector<std::string> found;
        for (const RecordedRequest& sent : peer.requests()) {
            found.push_back(sent.requestLine());
        }
        return found;
    }
};

// ---- requests --------------------------------------------------------------------------------------------

TEST_F(S3ListingsTest, VersionsAreRequestedWithTheseBytes) {
    answerWith({versionsOf("")});
    EXPECT_EQ(client.listVersions(request, "b", {"p/", "/", "p/\xC3\xA4", "i+d", 7})->getCount(), 0u);
    // Version 2 signs only the name of the listing.
    EXPECT_EQ(onlyHead(),
              head("GET /b?versions&prefix=p%2F&key-marker=p%2F%C3%A4&version-id-marker=i%2Bd&max-"
                   "keys=7&delimiter=%2F&encoding-type=url",
                   {dateLine, authorizationOf("GET\n\n\n" + fixedDate + "\n/b?versions")}));
}

TEST_F(S3ListingsTest, UploadsAreRequestedWithTheseBytes) {
    answerWith({uploadsOf("")});
    EXPECT_EQ(client.listUploads(request, "b", {"p/", "/", "p/a b", "i+d", 7})->getCount(), 0u);
    EXPECT_EQ(onlyHead(), head("GET /b?uploads&prefix=p%2F&key-marker=p%2Fa%20b&upload-id-marker=i%2Bd&max-"
                               "uploads=7&delimiter=%2F",
                               {dateLine, authorizationOf("GET\n\n\n" + fixedDate + "\n/b?uploads")}));
}

TEST_F(S3ListingsTest, UploadsWithoutArgumentsAreRequestedWithTheseBytes) {
    answerWith({uploadsOf("")});
    (void)client.listUploads(request, "b");
    EXPECT_EQ(onlyHead(),
              head("GET /b?uploads", {dateLine, authorizationOf("GET\n\n\n" + fixedDate + "\n/b?uploads")}));
}

TEST_F(S3ListingsTest, ObjectsAreRequestedWithTheseBytes) {
    answerWith({objectsOf("")});
    (void)client.listObjectsV2(request, "b", {"p/", "/", "p/a b", "t+/=", 7, true});
    EXPECT_EQ(onlyHead(),
              head("GET /b?list-type=2&prefix=p%2F&start-after=p%2Fa%20b&continuation-token=t%2B%2F"
                   "%3D&max-keys=7&delimiter=%2F&encoding-type=url",
                   {dateLine, authorizationOf("GET\n\n\n" + fixedDate + "\n/b")}));
}

TEST_F(S3ListingsTest, Version4SignsAllArguments) {
    client.setSignatureVersion(4);
    const auto canonical = [this] { return CS3Client::getCanonicalRequest(&request).toUTF8(); };
    client.prepareListVersionsRequest(request, "b", {.prefix = "p", .keyMarker = "k"});
    EXPECT_THAT(canonical(), StartsWith("GET\n/b\nencoding-type=url&key-marker=k&prefix=p&versions=\n"));
    client.prepareListUploadsRequest(request, "b", {.prefix = "p"});
    EXPECT_THAT(canonical(), StartsWith("GET\n/b\nprefix=p&uploads=\n"));
    client.prepareListObjectsV2Request(request, "b", {.hasEncodedNames = false});
    EXPECT_THAT(canonical(), StartsWith("GET\n/b\nlist-type=2\n"));
}

TEST_F(S3ListingsTest, SigningAgainGivesTheSameSignature) {
    client.prepareListVersionsRequest(request, "b", {.prefix = "p"});
    const auto headers = headersOf(request);
    client.signAgain(request);
    EXPECT_EQ(headersOf(request), headers);
}

TEST_F(S3ListingsTest, WrongArgumentsAreRefused) {
    EXPECT_EQ(argErrorOf([&] { (void)client.listVersions(request, "b", {.idMarker = "i"}); }),
              "CS3Client::prepareListVersionsRequest: a marker of an ID needs a marker of a key");
    EXPECT_EQ(argErrorOf([&] { (void)client.listUploads(request, "b", {.idMarker = "i"}); }),
              "CS3Client::prepareListUploadsRequest: a marker of an ID needs a marker of a key");
    EXPECT_EQ(argErrorOf([&] { (void)client.listObjectsV2(request, ""); }),
              "CS3Client::prepareListObjectsV2Request: bucket name must not be empty");
    CS3ObjectEnum objects(&client, &request, "b", "", "", -1);
    EXPECT_EQ(argErrorOf([&] { objects.setListVersion(static_cast<S3ListVersion>(3)); }),
              "CS3ObjectEnum::setListVersion: the version of the listing must be 1 or 2");
}

TEST_F(S3ListingsTest, ErrorInsideASuccessIsThrown) {
    const std::string error = errorDocument("InternalError");
    answerWith({error, error, error, error});
    const auto expectError = [](const auto& call) {
        const auto thrown = thrownBy<CS3Error>(call);
        ASSERT_TRUE(thrown);
        EXPECT_EQ(thrown->getS3Code(), "InternalError");
        EXPECT_EQ(thrown->getCode(), 0);
    };
    expectError([&] { (void)client.listVersions(request, "b"); });
    expectError([&] { (void)client.listUploads(request, "b"); });
    expectError([&] { (void)client.listObjectsV2(request, "b"); });
    expectError([&] { (void)client.listEncodedObjects(request, "b", "", "", "", -1); });
}

// ---- documents -------------------------------------------------------------------------------------------

TEST(S3ListVersionsResultTest, IsReadFromADocument) {
    const CS3ListVersionsResult page(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ListVersionsResult" + xmlns +
        "><Name>b</Name><Prefix/><KeyMarker/><VersionIdMarker/><MaxKeys>1000</MaxKeys>"
        "<EncodingType>url</EncodingType><IsTruncated>false</IsTruncated>"
        "<Version><Key>a+b%20c%2B%01</Key><VersionId>v2</VersionId><IsLatest>true</IsLatest>"
        "<LastModified>2009-10-12T17:50:30.000Z</LastModified><ETag>&quot;e&quot;</ETag><Size>434234</Size>"
        "<StorageClass>STANDARD</StorageClass><Owner><ID>x</ID></Owner></Version>"
        "<DeleteMarker><Key>d</Key><VersionId>null</VersionId><IsLatest>false</IsLatest>"
        "<LastModified>2009-11-12T17:50:30.000Z</LastModified><Owner><ID>x</ID></Owner></DeleteMarker>"
        "<Version><Key>m</Key></Version>"
        "<CommonPrefixes><Prefix>p%2F</Prefix></CommonPrefixes></ListVersionsResult>");
    EXPECT_FALSE(page.isTruncated());
    EXPECT_TRUE(page.hasEncodedNames());
    ASSERT_EQ(page.getVersions().size(), 3u);
    const CS3ObjectVersion& first = page.getVersions()[0];
    EXPECT_EQ(first.key.toUTF8(), "a b c+\x01");
    EXPECT_EQ(first.versionId, "v2");
    EXPECT_TRUE(first.isLatest);
    EXPECT_FALSE(first.isDeleteMarker);
    EXPECT_EQ(first.lastModified, "2009-10-12T17:50:30.000Z");
    EXPECT_EQ(first.eTag, "\"e\"");
    EXPECT_EQ(first.size, 434234);
    EXPECT_EQ(first.storageClass, "STANDARD");
    const CS3ObjectVersion& marker = page.getVersions()[1];
    EXPECT_EQ(marker.key, "d");
    EXPECT_TRUE(marker.isDeleteMarker);
    EXPECT_FALSE(marker.isLatest);
    EXPECT_EQ(marker.size, -1);
    const CS3ObjectVersion& bare = page.getVersions()[2];
    EXPECT_EQ(bare.versionId, "");
    EXPECT_EQ(bare.size, -1);
    EXPECT_THAT(page.getCommonPrefixes(), ElementsAre("p/"));
}

TEST(S3ListVersionsResultTest, LastEntryIsTheNextMarker) {
    // A service that says it has encoded the names, but sends the next key as it is.
    const CS3ListVersionsResult page(versionsOf(
        element("EncodingType", "url") + truncated(true) + element("NextKeyMarker", "a+b") +
        element("NextVersionIdMarker", "other") + versionOf("a%2Bb", "v1") + versionOf("a%2Bb", "v2")));
    EXPECT_EQ(page.getNextKeyMarker(), "a+b");
    EXPECT_EQ(page.getNextIdMarker(), "v2");
}

TEST(S3ListVersionsResultTest, SentMarkerIsUsedWithoutAnEntryAndWithFolders) {
    const std::string start =
        element("EncodingType", "url") + truncated(true) + element("NextVersionIdMarker", "v");
    const CS3ListVersionsResult empty(versionsOf(start + element("NextKeyMarker", "a%2Bb")));
    EXPECT_EQ(empty.getNextKeyMarker(), "a+b");
    EXPECT_EQ(empty.getNextIdMarker(), "v");
    const std::string folder = element("CommonPrefixes", element("Prefix", "p%2Bq/"));
    for (const char* marker : {"p+q/", "p%2Bq/"}) {
        const CS3ListVersionsResult folders(
            versionsOf(start + element("NextKeyMarker", marker) + versionOf("a", "1") + folder));
        EXPECT_EQ(folders.getNextKeyMarker(), "p+q/");
    }
}

TEST(S3ListVersionsResultTest, MayBeEmpty) {
    for (const std::string& document :
         {std::string("<ListVersionsResult/>"), "<ListVersionsResult" + xmlns + "></ListVersionsResult>"}) {
        const CS3ListVersionsResult page(document);
        EXPECT_THAT(page.getVersions(), IsEmpty());
        EXPECT_FALSE(page.isTruncated());
        EXPECT_EQ(page.getNextKeyMarker(), "");
    }
}

TEST(S3ListVersionsResultTest, UnreadableKeysAreNamed) {
    const CS3ListVersionsResult page(versionsOf(truncated(true) + versionOf("a", "1") +
                                                versionOf("b&#x1;", "2") + versionOf("c", "3") +
                                                versionOf("d\xFF", "4")));
    EXPECT_EQ(page.getCount(), 2u);
    EXPECT_EQ(page.getUnreadableNames().size(), 2u);
    // The listing still goes on after the bytes of the last key.
    EXPECT_EQ(page.getNextKeyMarker(), "d\xFF");
    EXPECT_EQ(page.getNextIdMarker(), "4");
}

TEST(S3ListVersionsResultTest, OtherDocumentsAreErrors) {
    const std::string begin = "Error parsing Amazon S3 'list versions' result: ";
    const auto errorOf = [](const std::string& document) {
        return plainErrorOf([&] { const CS3ListVersionsResult page(document); });
    };
    EXPECT_EQ(errorOf(""), begin + "there is no document.");
    EXPECT_EQ(errorOf("<html>"), begin + "invalid XML.");
    EXPECT_EQ(errorOf("<html/>"), begin + "unknown root element 'html'.");
    EXPECT_EQ(errorOf(versionsOf("<Version/>")), begin + "an entry without a key.");
    EXPECT_EQ(errorOf(versionsOf(element("IsTruncated", "yes"))),
              begin + "'IsTruncated' is neither true nor false, but 'yes'.");
    EXPECT_EQ(errorOf(versionsOf(versionOf(std::string(65537, 'k'), "1"))),
              begin + "a text is longer than 65536 bytes.");
    EXPECT_EQ(errorOf(versionsOf(std::string(64 << 20, ' '))),
              begin + "the document is longer than 67108864 bytes.");
    EXPECT_EQ(errorOf(versionsOf(element("Version", element("Key", "k") + element("Size", "much")))),
              "Invalid number: 'much'");
}

TEST(S3UploadListTest, IsReadFromADocument) {
    const CS3UploadList page(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ListMultipartUploadsResult" + xmlns +
        "><Bucket>b</Bucket><KeyMarker/><UploadIdMarker/><NextKeyMarker>k 2</NextKeyMarker>"
        "<NextUploadIdMarker>2~b</NextUploadIdMarker><MaxUploads>2</MaxUploads>"
        "<IsTruncated>true</IsTruncated>"
        "<Upload><Key>k+1%</Key><UploadId>2~a</UploadId><Initiator><ID>x</ID></Initiator>"
        "<StorageClass>STANDARD</StorageClass><Initiated>2010-11-10T20:48:33.000Z</Initiated></Upload>"
        "<Upload><Key> k 2</Key><UploadId>2~b</UploadId></Upload></ListMultipartUploadsResult>");
    EXPECT_TRUE(page.isTruncated());
    EXPECT_FALSE(page.hasEncodedNames());
    ASSERT_EQ(page.getUploads().size(), 2u);
    const CS3PendingUpload& upload = page.getUploads()[0];
    // Not decoded: the service does not say that it has encoded the names.
    EXPECT_EQ(upload.key, "k+1%");
    EXPECT_EQ(upload.uploadId, "2~a");
    EXPECT_EQ(upload.initiated, "2010-11-10T20:48:33.000Z");
    EXPECT_EQ(upload.storageClass, "STANDARD");
    EXPECT_EQ(page.getUploads()[1].key, " k 2");
    EXPECT_EQ(page.getUploads()[1].initiated, "");
    EXPECT_EQ(page.getNextKeyMarker(), " k 2");
    EXPECT_EQ(page.getNextIdMarker(), "2~b");
}

TEST(S3UploadListTest, OtherDocumentsAreErrors) {
    const std::string begin = "Error parsing Amazon S3 'list uploads' result: ";
    const auto errorOf = [](const std::string& document) {
        return plainErrorOf([&] { const CS3UploadList page(document); });
    };
    EXPECT_EQ(errorOf(versionsOf("")), begin + "unknown root element 'ListVersionsResult'.");
    EXPECT_EQ(errorOf(uploadsOf("<Upload><Key>k</Key></Upload>")), begin + "an upload without an ID.");
    EXPECT_EQ(errorOf(uploadsOf("<Upload><UploadId>i</UploadId></Upload>")),
              begin + "an entry without a key.");
}

TEST(S3ListObjectsV2ResultTest, IsReadFromADocument) {
    const CS3ListObjectsV2Result page(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ListBucketResult" + xmlns +
        "><Name>b</Name><Prefix/><NextContinuationToken>1ueGcxLPRx1Tr/XYExHnhbYLgveDs2J/wm36Hy4vbOwM=</"
        "NextContinuationToken><KeyCount>1</KeyCount><MaxKeys>1</MaxKeys><EncodingType>url</EncodingType>"
        "<IsTruncated>true</IsTruncated><Contents><Key>a+b%2Bc</Key>"
        "<LastModified>2014-11-21T19:40:05.000Z</LastModified><ETag>&quot;e&quot;</ETag><Size>107</Size>"
        "<StorageClass>STANDARD</StorageClass></Contents>"
        "<CommonPrefixes><Prefix>p/</Prefix></CommonPrefixes></ListBucketResult>");
    EXPECT_TRUE(page.isTruncated());
    EXPECT_EQ(page.getNextContinuationToken(), "1ueGcxLPRx1Tr/XYExHnhbYLgveDs2J/wm36Hy4vbOwM=");
    ASSERT_EQ(page.getObjects().size(), 1u);
    EXPECT_EQ(page.getObjects()[0]->getKey(), "a b+c");
    EXPECT_EQ(page.getObjects()[0]->getSize(), 107);
    EXPECT_THAT(page.getCommonPrefixes(), ElementsAre("p/"));
}

TEST(S3ListObjectsV2ResultTest, TokenMayHaveAnyBytes) {
    const auto tokenOf = [](const std::string& text) {
        return CS3ListObjectsV2Result(objectsOf(element("NextContinuationToken", text)))
            .getNextContinuationToken();
    };
    EXPECT_EQ(tokenOf("x&#x01;y"), "x\x01y");
    EXPECT_EQ(tokenOf(" a+%41\xFF\r&#13;\n"), " a+%41\xFF\r\r\n");
    EXPECT_EQ(tokenOf(""), "");
}

// ---- enumerations ----------------------------------------------------------------------------------------

static_assert(std::ranges::input_range<CS3VersionEnum>);
static_assert(std::ranges::input_range<CS3UploadEnum>);

TEST_F(S3ListingsTest, VersionsOfAllPagesAreWalked) {
    answerWith(
        {versionsOf(truncated(true) + versionOf("a", "2") + versionOf("a", "1")),
         versionsOf(truncated(true) + element("NextKeyMarker", "m") + element("NextVersionIdMarker", "5")),
         versionsOf(truncated(false) + versionOf("z", "1"))});
    EXPECT_THAT(walkVersions({.maxEntries = 2}), ElementsAre("a@2", "a@1", "z@1"));
    EXPECT_THAT(targets(),
                ElementsAre("GET /b?versions&max-keys=2&encoding-type=url HTTP/1.1",
                            "GET /b?versions&key-marker=a&version-id-marker=1&max-keys=2&encoding-type=url "
                            "HTTP/1.1",
                            "GET /b?versions&key-marker=m&version-id-marker=5&max-keys=2&encoding-type=url "
                            "HTTP/1.1"));
}

TEST_F(S3ListingsTest, UploadsAreARange) {
    answerWith({uploadsOf(truncated(true) + uploadOf("a", "1")),
                uploadsOf(truncated(false) + uploadOf("a", "2") + uploadOf("b&#1;", "3"))});
    CS3UploadEnum uploads(&client, &request, "b", {.keyMarker = "A", .idMarker = "0"});
    std::vector<std::string> found;
    for (const CS3PendingUpload& upload : uploads) {
        found.push_back((upload.key + "@" + upload.uploadId).toUTF8());
    }
    EXPECT_THAT(found, ElementsAre("a@1", "a@2"));
    EXPECT_EQ(uploads.takeUnreadableKeys().size(), 1u);
    EXPECT_THAT(uploads.takeUnreadableKeys(), IsEmpty());
    EXPECT_TRUE(uploads.begin() == uploads.end());
    EXPECT_THAT(targets(), ElementsAre("GET /b?uploads&key-marker=A&upload-id-marker=0 HTTP/1.1",
                                       "GET /b?uploads&key-marker=a&upload-id-marker=1 HTTP/1.1"));
}

TEST_F(S3ListingsTest, KeyOutsideThePrefixIsAnError) {
    answerWith({versionsOf(truncated(false) + versionOf("p/a", "1") + versionOf("q", "1"))});
    EXPECT_EQ(plainErrorOf([&] { walkVersions({.prefix = "p/"}); }),
              "The listing has the key 'q', which does not begin with 'p/'.");
}

TEST_F(S3ListingsTest, PageThatRepeatsIsAnError) {
    const std::string a = versionsOf(truncated(true) + versionOf("a", "1"));
    const std::string b = versionsOf(truncated(true) + versionOf("b", "1"));
    // The second circle is found with its fourth page; more is not requested.
    answerWith({a, a, a, b, a, b});
    EXPECT_EQ(plainErrorOf([&] { walkVersions(); }),
              "The listing goes in a circle: it came to the key 'a' again.");
    EXPECT_EQ(plainErrorOf([&] { walkVersions(); }),
              "The listing goes in a circle: it came to the key 'b' again.");
}

TEST_F(S3ListingsTest, PageWithoutAPositionIsAnError) {
    answerWith({uploadsOf(truncated(true))});
    CS3UploadEnum uploads(&client, &request, "b");
    EXPECT_EQ(plainErrorOf([&] { uploads.next(); }),
              "The listing claims that more follows, but has no key to go on from.");
}

TEST_F(S3ListingsTest, EmptyPagesEndAtSomeTime) {
    std::vector<std::string> pages;
    for (int i = 0; i <= 1000; ++i) {
        pages.push_back(versionsOf(truncated(true) + element("NextKeyMarker", std::to_string(i))));
    }
    answerWith(pages);
    EXPECT_EQ(plainErrorOf([&] { walkVersions(); }),
              "The listing has more than 1000 pages without an entry.");
}

TEST_F(S3ListingsTest, FailedPageIsRequestedAgain) {
    answer({reply("200 OK", versionsOf(truncated(true) + versionOf("a", "1"))),
            reply("403 Forbidden", errorDocument("AccessDenied")),
            reply("200 OK", versionsOf(truncated(false) + versionOf("b", "1")))});
    CS3VersionEnum versions(&client, &request, "b");
    EXPECT_TRUE(versions.next());
    EXPECT_TRUE(thrownBy<CS3Error>([&] { versions.next(); }));
    EXPECT_FALSE(versions.getCurrent());
    EXPECT_TRUE(versions.next());
    EXPECT_EQ(versions.getCurrent()->key, "b");
    EXPECT_FALSE(versions.next());
}

TEST_F(S3ListingsTest, ObjectsOfAllPagesAreWalkedByTokens) {
    answerWith({objectsOf(truncated(true) + element("NextContinuationToken", "t+1") + objectOf("p/a")),
                objectsOf(truncated(true) + element("NextContinuationToken", "t 2")),
                objectsOf(truncated(false) + objectOf("p/b"))});
    EXPECT_THAT(walkObjects("p/", "p/A"), ElementsAre("p/a", "p/b"));
    const std::string begin = "GET /b?list-type=2&prefix=p%2F&";
    const std::string end = "&encoding-type=url HTTP/1.1";
    EXPECT_THAT(targets(),
                ElementsAre(begin + "start-after=p%2FA" + end, begin + "continuation-token=t%2B1" + end,
                            begin + "continuation-token=t%202" + end));
}

TEST_F(S3ListingsTest, EndlessObjectsAreAnError) {
    const std::string withoutToken = objectsOf(truncated(true) + objectOf("a"));
    const std::string token = truncated(true) + element("NextContinuationToken", "t");
    answerWith({withoutToken, objectsOf(token + objectOf("a")), objectsOf(token + objectOf("b")),
                objectsOf(token + objectOf("a")),
                objectsOf(truncated(true) + element("NextContinuationToken", "u") + objectOf("a"))});
    EXPECT_EQ(
        plainErrorOf([&] { walkObjects(); }),
        "The listing claims that more follows, but has no token to go on with. The service may not know "
        "version 2 of the listing.");
    EXPECT_EQ(plainErrorOf([&] { walkObjects(); }),
              "The listing goes in a circle: it came to the same token again.");
    EXPECT_EQ(plainErrorOf([&] { walkObjects(); }),
              "The listing goes in a circle: it came to the key 'a' again.");
}

TEST_F(S3ListingsTest, EmptyPagesOfObjectsEndAtSomeTime) {
    std::vector<std::string> pages;
    for (int i = 0; i <= 1000; ++i) {
        pages.push_back(objectsOf(truncated(true) + element("NextContinuationToken", std::to_string(i))));
    }
    answerWith(pages);
    EXPECT_EQ(plainErrorOf([&] { walkObjects(); }),
              "The listing has more than 1000 pages without an object.");
}

TEST_F(S3ListingsTest, KeysOfVersion2CanBeVerified) {
    answerWith({objectsOf(truncated(true) + element("NextContinuationToken", "t") + objectOf("b")),
                objectsOf(truncated(false) + objectOf("a"))});
    CS3ObjectEnum objects(&client, &request, "b", "", "", -1);
    objects.setVerifyKeys(true);
    EXPECT_EQ(plainErrorOf([&] { walkObjects(objects); }),
              "The listing has the key 'a' after 'b', although its names must ascend.");
}

TEST_F(S3ListingsTest, ServiceMayRefuseTheEncodingOfVersion2) {
    answer({reply("501 Not Implemented", errorDocument("NotImplemented")),
            reply("200 OK", objectsOf(truncated(false) + objectOf("a&#x1;") + objectOf("b")))});
    CS3ObjectEnum objects(&client, &request, "b", "", "", -1);
    EXPECT_THAT(walkObjects(objects), ElementsAre("b"));
    EXPECT_EQ(objects.takeUnreadableKeys().size(), 1u);
    EXPECT_THAT(targets(),
                ElementsAre("GET /b?list-type=2&encoding-type=url HTTP/1.1", "GET /b?list-type=2 HTTP/1.1"));
}

}  // namespace
