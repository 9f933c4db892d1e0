// Copies: between buckets, with options, and in parts.
#include "tests/s3/S3WireTest.h"
#include "zet/BufferStream.h"

#include <limits>
#include <string>
#include <vector>

namespace {

using namespace vexil_test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;
using vexil::CS3CopyOptions;
using vexil::CS3CopySource;
using vexil::S3CopyDirective;

const zet::CTime time = zet::CTime::fromCTime(1583219109);  // fixedDate
const std::string copied = "<CopyObjectResult><ETag>\"e\"</ETag></CopyObjectResult>";
const std::string copiedPart = "<CopyPartResult><ETag>\"p\"</ETag></CopyPartResult>";
const std::string created =
    "<InitiateMultipartUploadResult><UploadId>i/d</UploadId></InitiateMultipartUploadResult>";
const std::string completed =
    "<CompleteMultipartUploadResult><ETag>\"e-3\"</ETag></CompleteMultipartUploadResult>";
const std::string keyBytes = "0123456789abcdef0123456789abcdef";

vexil::TBuffer<unsigned char> bufferOf(const std::string& text) {
    vexil::TBuffer<unsigned char> buffer;
    buffer.append(reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    return buffer;
}

CS3CopySource fullSource() {
    return {.bucket = "from a",
            .object = "x/y+",
            .versionId = "v/1",
            .ifMatch = "\"a\"",
            .ifNoneMatch = "\"b\"",
            .ifModifiedSince = time,
            .ifUnmodifiedSince = time};
}
const std::vector<std::string> sourceLines = {
    "x-amz-copy-source: /from%20a/x%2Fy%2B?versionId=v%2F1", "x-amz-copy-source-if-match: \"a\"",
    "x-amz-copy-source-if-none-match: \"b\"", "x-amz-copy-source-if-modified-since: " + fixedDate,
    "x-amz-copy-source-if-unmodified-since: " + fixedDate};
const std::string signedSourceLines = "x-amz-copy-source:/from%20a/x%2Fy%2B?versionId=v%2F1\n"
                                      "x-amz-copy-source-if-match:\"a\"\n"
                                      "x-amz-copy-source-if-modified-since:" +
                                      fixedDate +
                                      "\n"
                                      "x-amz-copy-source-if-none-match:\"b\"\n"
                                      "x-amz-copy-source-if-unmodified-since:" +
                                      fixedDate + "\n";

class S3CopyTest : public S3WireTest {
protected:
    String copy(const CS3CopyOptions& options = {}) {
        return client.copyObject(request, {.bucket = "a", .object = "k"}, "b", "l", options);
    }
    String copyPart() {
        return client.uploadPartCopy(request, "b", "l", "i/d", 2, {.bucket = "a", .object = "k"}, 10, 5);
    }
    String copyLarge(const CS3CopyOptions& options) {
        return client.copyLargeObject(request, {.bucket = "a", .object = "k"}, "b", "l", options);
    }
    std::vector<std::string> requestLines() {
        std::vector<std::string> lines;
        for (const auto& received : peer.requests()) {
            lines.push_back(received.head.substr(0, received.head.find(" HTTP/")));
        }
        return lines;
    }
    std::string headAt(std::size_t number) const { return peer.requests().at(number).head; }
};

// ---- one request -----------------------------------------------------------------------------------------

TEST_F(S3CopyTest, CopySendsTheseBytes) {
    answer({reply("200 OK", copied)});
    EXPECT_EQ(client.copyObject(request, fullSource(), "b", "l"), "\"e\"");
    std::vector<std::string> lines = {dateLine};
    lines.insert(lines.end(), sourceLines.begin(), sourceLines.end());
    lines.push_back(authorizationOf("PUT\n\n\n" + fixedDate + "\n" + signedSourceLines + "/b/l"));
    lines.push_back("Content-Length: 0");
    EXPECT_EQ(onlyHead(), head("PUT /b/l", lines));
}

TEST_F(S3CopyTest, CopyReplacesWhatItIsTold) {
    client.prepareCopyObjectRequest(request, {.bucket = "a", .object = "k"}, "b", "l",
                                    {.metadata = S3CopyDirective::Replace,
                                     .tags = S3CopyDirective::Replace,
                                     .target = {.contentType = "text/plain",
                                                .metadata = {{"m", "1"}},
                                                .tags = {{"t", "2"}},
                                                .storageClass = "COLD",
                                                .ifNoneMatch = "*"}});
    EXPECT_THAT(
        headersOf(request),
        IsSupersetOf({"x-amz-copy-source: /a/k", "x-amz-metadata-directive: REPLACE",
                      "x-amz-tagging-directive: REPLACE", "Content-Type: text/plain", "x-amz-meta-m: 1",
                      "x-amz-tagging: t=2", "x-amz-storage-class: COLD", "If-None-Match: *"}));
    client.prepareCopyObjectRequest(request, {.bucket = "a", .object = "k"}, "b", "l");
    EXPECT_THAT(headersOf(request), Not(Contains(HasSubstr("directive"))));
}

TEST_F(S3CopyTest, Version4SignsACopy) {
    client.setSignatureVersion(4);
    client.prepareCopyObjectRequest(
        request, fullSource(), "b", "l",
        {.metadata = S3CopyDirective::Replace, .target = {.metadata = {{"m", "1"}}}});
    EXPECT_THAT(CS3Client::getCanonicalRequest(&request).toUTF8(), HasSubstr("\n" + signedSourceLines));
    EXPECT_THAT(CS3Client::getCanonicalRequest(&request).toUTF8(),
                HasSubstr("\nx-amz-meta-m:1\nx-amz-metadata-directive:REPLACE\n"));
}

TEST_F(S3CopyTest, KeysOfBothSidesAreSent) {
    client.setBaseURL("https://host");
    const std::string otherKey = "x123456789abcdef0123456789abcdef";
    CS3CopySource source{.bucket = "a", .object = "k"};
    source.customerKey = {keyBytes};
    const std::vector<std::string> wanted = {
        "x-amz-copy-source-server-side-encryption-customer-algorithm: AES256",
        "x-amz-copy-source-server-side-encryption-customer-key: " + base64(keyBytes),
        "x-amz-copy-source-server-side-encryption-customer-key-MD5: " + md5Of(keyBytes),
        "x-amz-server-side-encryption-customer-algorithm: AES256",
        "x-amz-server-side-encryption-customer-key: " + base64(otherKey),
        "x-amz-server-side-encryption-customer-key-MD5: " + md5Of(otherKey)};
    client.prepareCopyObjectRequest(request, source, "b", "l", {.target = {.customerKey = {otherKey}}});
    EXPECT_THAT(headersOf(request), IsSupersetOf(wanted));
    client.prepareUploadPartCopyRequest(request, "b", "l", "id", 1, source, 0, -1, {otherKey});
    EXPECT_THAT(headersOf(request), IsSupersetOf(wanted));
}

TEST_F(S3CopyTest, ErrorInsideASuccessIsTriedAgainIfItIsTemporary) {
    answer({reply("200 OK", "  \n" + errorDocument("InternalError")), reply("200 OK", " \n" + copied),
            reply("200 OK", errorDocument("AccessDenied"))});
    const LogCapture log;
    EXPECT_EQ(copy(), "\"e\"");
    EXPECT_EQ(client.waits, std::vector<int>{100});
    const auto error = thrownBy<CS3Error>([&] { copy(); });
    EXPECT_EQ(error->getS3Code(), "AccessDenied");
    EXPECT_EQ(error->getCode(), 0);
    EXPECT_EQ(client.waits.size(), 1u);
}

TEST_F(S3CopyTest, RetriesOfACopyEnd) {
    const std::string failure = reply("200 OK", errorDocument("InternalError"));
    answer({failure, failure, failure});
    const LogCapture log;
    client.setMaxRetries(2);
    EXPECT_EQ(thrownBy<CS3Error>([&] { copy(); })->getS3Code(), "InternalError");
}

TEST_F(S3CopyTest, ChangedSourceIsToldAsSuch) {
    answer({reply("412 Precondition Failed", errorDocument("PreconditionFailed"))});
    EXPECT_TRUE(CS3Client::isPreconditionFailed(*thrownBy<CS3Error>([&] { copy(); })));
}

TEST_F(S3CopyTest, WrongArgumentsAreRefusedBeforeTheRequestChanges) {
    request.setURL("http://before/");
    const auto errorOf = [&](const CS3CopySource& source, const CS3CopyOptions& options = {}) {
        const std::string place = "CS3Client::prepareCopyObjectRequest: ";
        const std::string largePlace = "CS3Client::copyLargeObject: ";
        const std::string error = argErrorOf([&] { client.copyObject(request, source, "b", "l", options); });
        EXPECT_THAT(error, StartsWith(place));
        EXPECT_EQ(argErrorOf([&] { client.copyLargeObject(request, source, "b", "l", options); }),
                  largePlace + error.substr(place.size()));
        return error.substr(place.size());
    };
    const CS3CopySource good{.bucket = "a", .object = "k"};
    const std::string names = "bucket and object name of the source must not be empty";
    EXPECT_EQ(errorOf({.bucket = "", .object = "k"}), names);
    EXPECT_EQ(errorOf({.bucket = "a", .object = ""}), names);
    EXPECT_EQ(errorOf({.bucket = "a", .object = "k", .versionId = "\n"}),
              "version ID of the source must not contain CR, LF or NUL");
    EXPECT_EQ(errorOf({.bucket = "a", .object = "k", .ifMatch = "\n"}),
              "If-Match of the source must not contain CR, LF or NUL");
    EXPECT_EQ(errorOf({.bucket = "a", .object = "k", .ifNoneMatch = "\n"}),
              "If-None-Match of the source must not contain CR, LF or NUL");
    const zet::CTime farAway = zet::CTime::fromMicroseconds(std::numeric_limits<vexil::int64>::max());
    EXPECT_EQ(errorOf({.bucket = "a", .object = "k", .ifModifiedSince = farAway}),
              "If-Modified-Since of the source is outside the years 0 to 9999");
    EXPECT_EQ(errorOf({.bucket = "a", .object = "k", .ifUnmodifiedSince = farAway}),
              "If-Unmodified-Since of the source is outside the years 0 to 9999");
    EXPECT_EQ(errorOf({.bucket = "a", .object = "k", .customerKey = {keyBytes}}),
              "a customer key needs https");
    EXPECT_EQ(errorOf(good, {.target = {.customerKey = {keyBytes}}}), "a customer key needs https");
    for (const vexil::CS3PutOptions& target :
         {vexil::CS3PutOptions{.contentType = "a"}, vexil::CS3PutOptions{.cacheControl = "a"},
          vexil::CS3PutOptions{.contentDisposition = "a"}, vexil::CS3PutOptions{.contentEncoding = "a"},
          vexil::CS3PutOptions{.contentLanguage = "a"}, vexil::CS3PutOptions{.expires = "a"},
          vexil::CS3PutOptions{.metadata = {{"a", "b"}}}}) {
        EXPECT_EQ(errorOf(good, {.target = target}),
                  "content headers and metadata need S3CopyDirective::Replace");
    }
    EXPECT_EQ(errorOf(good, {.target = {.tags = {{"a", "b"}}}}), "tags need S3CopyDirective::Replace");
    EXPECT_EQ(errorOf(good, {.target = {.cannedACL = " "}}),
              "canned ACL must not begin or end with white space");

    const std::string large = "CS3Client::copyLargeObject: ";
    for (const vexil::int64 limit : {vexil::int64{-1}, CS3Client::maxPutSize + 1}) {
        EXPECT_EQ(argErrorOf([&] { copyLarge({.partsAbove = limit}); }),
                  large + "partsAbove must be 0 to 5368709120 bytes");
    }
    for (const vexil::int64 size : {vexil::int64{0}, CS3Client::maxPutSize + 1}) {
        EXPECT_EQ(argErrorOf([&] { copyLarge({.partSize = size}); }),
                  large + "partSize must be 1 to 5368709120 bytes");
    }

    const auto partErrorOf = [&](vexil::int64 offset, vexil::int64 length) {
        return argErrorOf([&] { client.uploadPartCopy(request, "b", "l", "id", 1, good, offset, length); });
    };
    const std::string part = "CS3Client::prepareUploadPartCopyRequest: ";
    const std::string badOffset = part + "offset must not be negative, and 0 for the whole source";
    const std::string badLength = part + "length must be 1 to 5368709120 bytes, or -1 for the whole source";
    EXPECT_EQ(partErrorOf(-1, 1), badOffset);
    EXPECT_EQ(partErrorOf(1, -1), badOffset);
    EXPECT_EQ(partErrorOf(0, 0), badLength);
    EXPECT_EQ(partErrorOf(0, CS3Client::maxPutSize + 1), badLength);
    EXPECT_EQ(partErrorOf(std::numeric_limits<vexil::int64>::max(), 1),
              part + "the range ends beyond the largest offset");
    EXPECT_EQ(argErrorOf([&] { client.uploadPartCopy(request, "b", "l", "", 1, good, 0, 1); }),
              part + "upload ID must not be empty");
    EXPECT_EQ(argErrorOf([&] { client.uploadPartCopy(request, "b", "l", "i", 0, good, 0, 1); }),
              part + "the part number 0 is not 1 to 10000");
    EXPECT_EQ(argErrorOf([&] { client.uploadPartCopy(request, "b", "", "i", 1, good, 0, 1); }),
              part + "object name must not be empty");
    EXPECT_EQ(request.getURL(), "http://before/");
}

// ---- parts -----------------------------------------------------------------------------------------------

TEST_F(S3CopyTest, PartSendsTheseBytes) {
    answer({reply("200 OK", copiedPart)});
    EXPECT_EQ(copyPart(), "\"p\"");
    EXPECT_EQ(onlyHead(), head("PUT /b/l?partNumber=2&uploadId=i%2Fd",
                               {dateLine, "x-amz-copy-source: /a/k", "x-amz-copy-source-range: bytes=10-14",
                                authorizationOf("PUT\n\n\n" + fixedDate +
                                                "\nx-amz-copy-source:/a/k\n"
                                                "x-amz-copy-source-range:bytes=10-14\n"
                                                "/b/l?partNumber=2&uploadId=i/d"),
                                "Content-Length: 0"}));
}

TEST_F(S3CopyTest, WholeSourceAsAPartSendsNoRange) {
    client.prepareUploadPartCopyRequest(request, "b", "l", "id", 1, {.bucket = "a", .object = "k"}, 0, -1);
    EXPECT_THAT(headersOf(request), Not(Contains(HasSubstr("range"))));
}

TEST_F(S3CopyTest, ErrorInsideThePartsSuccessIsFound) {
    answer({reply("200 OK", errorDocument("InternalError")), reply("200 OK", copiedPart),
            reply("200 OK", errorDocument("NoSuchUpload")), reply("200 OK", "<CopyPartResult/>")});
    const LogCapture log;
    EXPECT_EQ(copyPart(), "\"p\"");
    EXPECT_EQ(thrownBy<CS3Error>([&] { copyPart(); })->getS3Code(), "NoSuchUpload");
    EXPECT_EQ(plainErrorOf([&] { copyPart(); }),
              "Error parsing Amazon S3 'copy part' result: there is no ETag.");
}

TEST_F(S3CopyTest, PartThatWasPerformedElsewhereIsChecked) {
    answer({reply("200 OK", copiedPart), reply("200 OK", errorDocument("InternalError"))});
    const CS3CopySource source{.bucket = "a", .object = "k"};
    client.prepareUploadPartCopyRequest(request, "b", "l", "id", 2, source, 0, 5);
    request.perform();
    client.checkResponse(request);
    client.prepareUploadPartCopyRequest(request, "b", "l", "id", 2, source, 0, 5);
    request.perform();
    EXPECT_EQ(thrownBy<CS3Error>([&] { client.checkResponse(request); })->getS3Code(), "InternalError");
}

// ---- objects of any size ---------------------------------------------------------------------------------

std::string headOfSource(int size, const std::string& headers = "") {
    return "HTTP/1.1 200 OK\r\nETag: \"s\"\r\n" + headers + "Content-Length: " + std::to_string(size) +
           "\r\n\r\n";
}

const std::string metadataOfSource = "Content-Type: text/x\r\nCache-Control: no-cache\r\n"
                                     "Content-Disposition: inline\r\nContent-Encoding: br\r\n"
                                     "Content-Language: de\r\nExpires: 0\r\n"
                                     "x-amz-meta-a: 1\r\nx-amz-meta-B: 2  3\r\n";

TEST_F(S3CopyTest, LargeObjectIsCopiedInParts) {
    answer({headOfSource(25, metadataOfSource), reply("200 OK", created), reply("200 OK", copiedPart),
            reply("200 OK", copiedPart), reply("200 OK", copiedPart), headOfSource(25),
            reply("200 OK", completed)});
    EXPECT_EQ(
        copyLarge({.target = {.storageClass = "COLD", .ifNoneMatch = "*"}, .partsAbove = 24, .partSize = 10}),
        "\"e-3\"");
    EXPECT_THAT(requestLines(),
                ElementsAre("HEAD /a/k", "POST /b/l?uploads", "PUT /b/l?partNumber=1&uploadId=i%2Fd",
                            "PUT /b/l?partNumber=2&uploadId=i%2Fd", "PUT /b/l?partNumber=3&uploadId=i%2Fd",
                            "HEAD /a/k", "POST /b/l?uploadId=i%2Fd"));
    for (const std::string line :
         {"Content-Type: text/x", "Cache-Control: no-cache", "Content-Disposition: inline",
          "Content-Encoding: br", "Content-Language: de", "Expires: 0", "x-amz-meta-a: 1",
          "x-amz-meta-b: 2  3", "x-amz-storage-class: COLD"}) {
        EXPECT_THAT(headAt(1), HasSubstr("\r\n" + line + "\r\n"));
    }
    EXPECT_THAT(headAt(1), Not(HasSubstr("If-None-Match")));
    const std::vector<std::string> ranges = {"0-9", "10-19", "20-24"};
    for (std::size_t i = 0; i < ranges.size(); ++i) {
        EXPECT_THAT(headAt(2 + i), HasSubstr("\r\nx-amz-copy-source-range: bytes=" + ranges[i] + "\r\n"));
        EXPECT_THAT(headAt(2 + i), HasSubstr("\r\nx-amz-copy-source-if-match: \"s\"\r\n"));
    }
    EXPECT_THAT(headAt(5), HasSubstr("\r\nIf-Match: \"s\"\r\n"));
    EXPECT_THAT(headAt(6), HasSubstr("\r\nIf-None-Match: *\r\n"));
    EXPECT_THAT(peer.requests().at(6).body, HasSubstr("<PartNumber>3</PartNumber><ETag>\"p\"</ETag>"));
}

TEST_F(S3CopyTest, LargeCopyTellsTheSizeOfItsOwnParts) {
    answer({headOfSource(25, "x-amz-meta-vexil-part-size: 9\r\n"), reply("200 OK", created),
            reply("200 OK", copiedPart), reply("200 OK", copiedPart), reply("200 OK", copiedPart),
            headOfSource(25), reply("200 OK", completed)});
    copyLarge({.partsAbove = 24, .partSize = 10});
    EXPECT_THAT(headAt(1), HasSubstr("\r\nx-amz-meta-vexil-part-size: 10\r\n"));
}

TEST_F(S3CopyTest, SmallObjectIsCopiedWithOneRequest) {
    answer({headOfSource(24), reply("200 OK", copied), headOfSource(0), reply("200 OK", copied)});
    EXPECT_EQ(copyLarge({.partsAbove = 24}), "\"e\"");
    EXPECT_EQ(copyLarge({.partsAbove = 0}), "\"e\"");  // an upload needs a part
    EXPECT_THAT(requestLines(), ElementsAre("HEAD /a/k", "PUT /b/l", "HEAD /a/k", "PUT /b/l"));
    EXPECT_THAT(headAt(1), HasSubstr("\r\nx-amz-copy-source-if-match: \"s\"\r\n"));
}

TEST_F(S3CopyTest, ConditionsOfTheSourceAreThoseOfItsHeaders) {
    answer({headOfSource(5), reply("200 OK", copied)});
    client.copyLargeObject(request, fullSource(), "b", "l");
    EXPECT_THAT(headAt(0), StartsWith("HEAD /from%20a/x%2Fy%2B?versionId=v%2F1 "));
    for (const std::string line : {"If-Match: \"a\"", "If-None-Match: \"b\""}) {
        EXPECT_THAT(headAt(0), HasSubstr("\r\n" + line + "\r\n"));
    }
    EXPECT_THAT(headAt(0), HasSubstr("\r\nIf-Modified-Since: " + fixedDate + "\r\n"));
    EXPECT_THAT(headAt(0), HasSubstr("\r\nIf-Unmodified-Since: " + fixedDate + "\r\n"));
    EXPECT_THAT(headAt(1), HasSubstr("\r\nx-amz-copy-source: /from%20a/x%2Fy%2B?versionId=v%2F1\r\n"));
    EXPECT_THAT(headAt(1), HasSubstr("\r\nx-amz-copy-source-if-match: \"s\"\r\n"));
    EXPECT_THAT(headAt(1), Not(HasSubstr("none-match")));
}

TEST_F(S3CopyTest, LargeCopyMayReplaceTheMetadata) {
    answer({headOfSource(5, metadataOfSource + "x-amz-missing-meta: 1\r\nx-amz-tagging-count: 1\r\n"),
            reply("200 OK", created), reply("200 OK", copiedPart), headOfSource(5),
            reply("200 OK", completed),
            reply("200 OK", "<Tagging><TagSet><Tag><Key>t</Key><Value>8</Value></Tag></TagSet></Tagging>")});
    const LogCapture log;
    copyLarge({.metadata = S3CopyDirective::Replace,
               .tags = S3CopyDirective::Replace,
               .target = {.metadata = {{"m", "9"}}, .tags = {{"t", "8"}}},
               .partsAbove = 0});
    EXPECT_THAT(headAt(1), HasSubstr("\r\nx-amz-meta-m: 9\r\nx-amz-tagging: t=8\r\n"));
    EXPECT_THAT(headAt(1), Not(HasSubstr("text/x")));
    EXPECT_THAT(headAt(1), Not(HasSubstr("x-amz-meta-a")));
}

const std::string tagging = "<Tagging><TagSet><Tag><Key>a b</Key><Value>1&amp;2</Value></Tag>"
                            "<Tag><Key>c</Key><Value></Value></Tag></TagSet></Tagging>";

TEST_F(S3CopyTest, LargeCopyKeepsTags) {
    answer({headOfSource(5, "x-amz-tagging-count: 2\r\n"), reply("200 OK", tagging), reply("200 OK", created),
            reply("200 OK", copiedPart), headOfSource(5), reply("200 OK", completed),
            reply("200 OK", tagging)});
    const LogCapture log;
    EXPECT_EQ(copyLarge({.partsAbove = 0}), "\"e-3\"");
    EXPECT_THAT(headAt(1), StartsWith("GET /a/k?tagging HTTP/"));
    EXPECT_THAT(headAt(1), HasSubstr(authorizationOf("GET\n\n\n" + fixedDate + "\n/a/k?tagging")));
    EXPECT_THAT(headAt(2), HasSubstr("\r\nx-amz-tagging: a%20b=1%262&c=\r\n"));
    EXPECT_THAT(headAt(6), StartsWith("GET /b/l?tagging HTTP/"));
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST_F(S3CopyTest, LostTagsAreLogged) {
    const std::vector<std::string> replies = {headOfSource(5, "x-amz-tagging-count: 2\r\n"),
                                              reply("200 OK", tagging),
                                              reply("200 OK", created),
                                              reply("200 OK", copiedPart),
                                              headOfSource(5),
                                              reply("200 OK", completed)};
    const LogCapture log;
    for (const std::string& last :
         {reply("200 OK", ""), reply("403 Forbidden", errorDocument("AccessDenied"))}) {
        auto all = replies;
        all.push_back(last);
        answer(all);
        CNetRequest own;
        EXPECT_EQ(client.copyLargeObject(own, {.bucket = "a", .object = "k"}, "b", "l", {.partsAbove = 0}),
                  "\"e-3\"");
    }
    EXPECT_THAT(log.lines(),
                ElementsAre("W: The service has not stored the tags of 'l'.",
                            StartsWith("W: The tags of 'l' could not be read after its copy. [")));
}

TEST_F(S3CopyTest, SourceThatHasChangedAtTheEndIsAnError) {
    // The service has ignored the conditions of the parts.
    for (const std::string& last :
         {std::string("HTTP/1.1 200 OK\r\nETag: \"t\"\r\nContent-Length: 5\r\n\r\n"),
          std::string("HTTP/1.1 412 Precondition Failed\r\n\r\n")}) {
        CNetRequest own;
        answer({headOfSource(5), reply("200 OK", created), reply("200 OK", copiedPart), last,
                "HTTP/1.1 204 No Content\r\n\r\n"});
        try {
            client.copyLargeObject(own, {.bucket = "a", .object = "k"}, "b", "l", {.partsAbove = 0});
            ADD_FAILURE();
        } catch (const CError& error) {
            EXPECT_TRUE(CS3Client::isPreconditionFailed(error));
        }
        EXPECT_EQ(requestLines().back(), "DELETE /b/l?uploadId=i%2Fd");
    }
}

TEST_F(S3CopyTest, MetadataThatCannotBeKeptIsAnError) {
    answer({headOfSource(5, "x-amz-missing-meta: 2\r\n"), headOfSource(5, "x-amz-meta-a: \xC3\xA4\r\n")});
    EXPECT_EQ(plainErrorOf([&] { copyLarge({.partsAbove = 0}); }),
              "The source has metadata that headers cannot carry. A copy in parts cannot keep it.");
    EXPECT_THAT(argErrorOf([&] { copyLarge({.partsAbove = 0}); }),
                HasSubstr("the metadata value of 'a' must have only printable ASCII characters"));
}

/// Ends the connection: libcurl 8.14 sometimes does so after the refusal of a PUT without a body.
std::string refusal(const std::string& status, const std::string& code) {
    return reply(status, errorDocument(code), "Connection: close\r\n");
}

TEST_F(S3CopyTest, FailedLargeCopyDeletesItsParts) {
    answer({headOfSource(25), reply("200 OK", created), reply("200 OK", copiedPart),
            refusal("412 Precondition Failed", "PreconditionFailed")});
    answer({"HTTP/1.1 204 No Content\r\n\r\n"});
    const auto error = thrownBy<CS3Error>([&] { copyLarge({.partsAbove = 0, .partSize = 10}); });
    ASSERT_TRUE(error);
    EXPECT_TRUE(CS3Client::isPreconditionFailed(*error));
    EXPECT_EQ(requestLines().back(), "DELETE /b/l?uploadId=i%2Fd");
}

TEST_F(S3CopyTest, RefusedCompletionDeletesTheParts) {
    answer({headOfSource(5), reply("200 OK", created), reply("200 OK", copiedPart), headOfSource(5),
            reply("200 OK", errorDocument("EntityTooSmall")), "HTTP/1.1 204 No Content\r\n\r\n"});
    EXPECT_EQ(thrownBy<CS3Error>([&] { copyLarge({.partsAbove = 0}); })->getS3Code(), "EntityTooSmall");
    EXPECT_EQ(requestLines().back(), "DELETE /b/l?uploadId=i%2Fd");
}

// ---- a completion whose response is lost -----------------------------------------------------------------

const std::string md5Part =
    "<CopyPartResult><ETag>&quot;5D41402ABC4B2A76B9719D911017C592&quot;</ETag></CopyPartResult>";
// MD5 of the MD5 in md5Part.
const std::string madeETag = "\"62109206880d38a4010a98e11243924a-1\"";
const std::string noSuchUpload = reply("404 Not Found", errorDocument("NoSuchUpload"));

std::string headOfTarget(const std::string& eTag) {
    return "HTTP/1.1 200 OK\r\nETag: " + eTag + "\r\nContent-Length: 5\r\n\r\n";
}

class S3LostCompletionTest : public S3CopyTest {
protected:
    /// The connection ends after the completion; on the next one the upload is gone, and then follow these.
    void loseCompletion(const std::string& part, std::vector<std::string> replies) {
        auto first = peer.onConnection();
        for (const std::string& text :
             {headOfSource(5), reply("200 OK", created), reply("200 OK", part), headOfSource(5)}) {
            first.expectRequest().reply(text);
        }
        first.expectRequest().replyCut("HTTP/1.1 200 OK\r\n", 10).close();
        replies.insert(replies.begin(), noSuchUpload);
        answer(replies);
    }
};

TEST_F(S3LostCompletionTest, CopyThatWasMadeIsASuccess) {
    loseCompletion(md5Part, {headOfTarget(madeETag), noSuchUpload});
    const LogCapture log;
    EXPECT_EQ(copyLarge({.partsAbove = 0}), String::fromUTF8(madeETag));
    EXPECT_THAT(requestLines(),
                ElementsAre("HEAD /a/k", "POST /b/l?uploads", "PUT /b/l?partNumber=1&uploadId=i%2Fd",
                            "HEAD /a/k", "POST /b/l?uploadId=i%2Fd", "POST /b/l?uploadId=i%2Fd", "HEAD /b/l",
                            "DELETE /b/l?uploadId=i%2Fd"));
    EXPECT_THAT(log.lines(), Not(Contains(StartsWith("W: "))));
}

TEST_F(S3LostCompletionTest, AnotherObjectIsAFailure) {
    loseCompletion(md5Part, {headOfTarget("\"62109206880d38a4010a98e11243924a-2\""), noSuchUpload});
    EXPECT_EQ(thrownBy<CS3Error>([&] { copyLarge({.partsAbove = 0}); })->getS3Code(), "NoSuchUpload");
}

TEST_F(S3LostCompletionTest, PartsWithoutAnMD5DecideNothing) {
    loseCompletion(copiedPart, {noSuchUpload});
    EXPECT_EQ(thrownBy<CS3Error>([&] { copyLarge({.partsAbove = 0}); })->getS3Code(), "NoSuchUpload");
    EXPECT_THAT(requestLines(), Not(Contains("HEAD /b/l")));
}

TEST_F(S3LostCompletionTest, ObjectThatMayNotBeReadIsAFailure) {
    loseCompletion(md5Part, {"HTTP/1.1 403 Forbidden\r\n\r\n", noSuchUpload});
    const LogCapture log;
    EXPECT_EQ(thrownBy<CS3Error>([&] { copyLarge({.partsAbove = 0}); })->getS3Code(), "NoSuchUpload");
    EXPECT_THAT(log.lines(), Contains(StartsWith("W: Whether the copy exists cannot be found out. [")));
}

TEST_F(S3CopyTest, FailureToDeleteThePartsIsLogged) {
    answer({headOfSource(5), reply("200 OK", created),
            refusal("412 Precondition Failed", "PreconditionFailed")});
    answer({reply("403 Forbidden", errorDocument("AccessDenied"))});
    const LogCapture log;
    EXPECT_EQ(thrownBy<CS3Error>([&] { copyLarge({.partsAbove = 0}); })->getS3Code(), "PreconditionFailed");
    EXPECT_THAT(log.lines(),
                ElementsAre(StartsWith("W: The parts of the upload 'i/d' of 'l' could not be deleted. [")));
}

TEST_F(S3CopyTest, SourceWithoutLengthOrETagIsNotCopied) {
    answer({"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n", "HTTP/1.1 200 OK\r\nETag: \"s\"\r\n\r\n"});
    EXPECT_EQ(plainErrorOf([&] { copyLarge({}); }),
              "Error: ETag header was expected but not included in response.");
    EXPECT_EQ(plainErrorOf([&] { copyLarge({}); }),
              "Error: Content-Length header was expected but not included in response.");
}

TEST_F(S3CopyTest, PartsGrowWithTheObject) {
    // 10,001 bytes do not fit into 10,000 parts of one byte.
    answer({headOfSource(10001), reply("200 OK", created), refusal("403 Forbidden", "AccessDenied")});
    answer({"HTTP/1.1 204 No Content\r\n\r\n"});
    EXPECT_TRUE(thrownBy<CS3Error>([&] { copyLarge({.partsAbove = 0, .partSize = 1}); }));
    EXPECT_THAT(headAt(2), HasSubstr("\r\nx-amz-copy-source-range: bytes=0-1\r\n"));
}

TEST_F(S3CopyTest, TooLargeObjectIsNotCopied) {
    answer({"HTTP/1.1 200 OK\r\nETag: \"s\"\r\nContent-Length: 53687091200001\r\n\r\n"});
    EXPECT_EQ(plainErrorOf([&] { copyLarge({}); }),
              "The object is too large to be copied: 10000 parts of 5 GiB are the limit.");
}

// ---- results ---------------------------------------------------------------------------------------------

TEST(S3CopyResultTest, ResultsAreRead) {
    EXPECT_EQ(CS3Client::readCopiedETag(bufferOf(" \n" + copied)), "\"e\"");
    EXPECT_EQ(CS3Client::readCopiedETag(bufferOf("<CopyObjectResult/>")), "");
    EXPECT_EQ(CS3Client::readCopiedPartETag(bufferOf(copiedPart)), "\"p\"");
    EXPECT_TRUE(CS3Client::readObjectTags(bufferOf("<Tagging><TagSet/></Tagging>")).empty());
    EXPECT_TRUE(CS3Client::readObjectTags(bufferOf("")).empty());
    EXPECT_EQ(plainErrorOf([] { (void)CS3Client::readCopiedETag(bufferOf(copiedPart)); }),
              "Error parsing Amazon S3 'copy object' result: unknown root element 'CopyPartResult'.");
    EXPECT_EQ(plainErrorOf([] { (void)CS3Client::readObjectTags(bufferOf(" ")); }),
              "Error parsing Amazon S3 'get object tags' result: there is no document.");
}

}  // namespace
