// The documents of the service's responses, and the error made from one.
#include "tests/s3/S3TestSupport.h"
#include "vexil/net/ErrorClassification.h"
#include "vexil/s3/S3CopyObjectResult.h"
#include "vexil/s3/S3ListObjectsResult.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;
using vexil::CS3CopyObjectResult;
using vexil::CS3ListObjectsResult;

template <class Result>
Result parse(std::string_view text) {
    return Result(text.data(), static_cast<int>(text.size()));
}

template <class Result>
std::string parseError(std::string_view text) {
    return plainErrorOf([text] { parse<Result>(text); });
}

// ---- error response --------------------------------------------------------------------------------------

TEST(S3ErrorKindTest, ComesFromTheCodeOfTheService) {
    using vexil::ErrorKind;
    const std::map<ErrorKind, std::vector<const char*>> table = {
        {ErrorKind::Timeout, {"RequestTimeout"}},
        {ErrorKind::Unauthenticated,
         {"ExpiredToken", "InvalidAccessKeyId", "InvalidToken", "RequestTimeTooSkewed",
          "SignatureDoesNotMatch"}},
        {ErrorKind::PermissionDenied, {"AccessDenied", "AccountProblem", "AllAccessDisabled"}},
        {ErrorKind::NotFound, {"NoSuchBucket", "NoSuchKey", "NoSuchUpload", "NoSuchVersion"}},
        {ErrorKind::Conflict,
         {"BucketAlreadyExists", "BucketAlreadyOwnedByYou", "BucketNotEmpty", "OperationAborted",
          "PreconditionFailed"}},
        {ErrorKind::StorageFull, {"QuotaExceeded"}},
        {ErrorKind::Throttled,
         {"Busy", "SlowDown", "SlowDownRead", "SlowDownWrite", "Throttling", "ThrottlingException",
          "TooManyRequests", "TooManyRequestsException"}},
        {ErrorKind::Unavailable, {"ServiceUnavailable"}},
        {ErrorKind::Server, {"InternalError"}},
        {ErrorKind::InvalidData,
         {"BadDigest", "IncompleteBody", "InvalidDigest", "XAmzContentSHA256Mismatch"}},
    };
    for (const auto& [kind, codes] : table) {
        for (const char* code : codes) {
            for (const int status : {0, 200, 400, 403, 404, 503}) {
                const CS3Error error(CS3ErrorResponse(code, "m", "r", "i"), status);
                EXPECT_EQ(error.getKind(), kind) << code << " " << status;
                EXPECT_EQ(error.clone()->getKind(), kind) << code;
            }
        }
    }
}

TEST(S3ErrorKindTest, ComesFromTheStatusIfTheCodeIsUnknown) {
    for (int status = 0; status < 600; ++status) {
        for (const char* code : {"", "nosuchkey", "EntityTooLarge"}) {
            const CS3Error error(CS3ErrorResponse(code, "m", "r", "i"), status);
            EXPECT_EQ(error.getKind(), vexil::getKindOfHTTPStatus(status)) << code << " " << status;
        }
    }
    EXPECT_EQ(CS3Error::createObjectNotFoundError("r")->getKind(), vexil::ErrorKind::NotFound);
}

TEST(S3ErrorResponseTest, HasItsFourTexts) {
    const CS3ErrorResponse response("c", "m", "r", "i");
    EXPECT_EQ(response.getCode(), "c");
    EXPECT_EQ(response.getMessage(), "m");
    EXPECT_EQ(response.getResource(), "r");
    EXPECT_EQ(response.getRequestID(), "i");
}

TEST(S3ErrorResponseTest, IsReadFromADocument) {
    const auto response = parse<CS3ErrorResponse>(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<!-- x --><Error>\n  <Code>NoSuchKey</Code>\n  text <Other>x</Other><Message>a &lt;b&gt; "
        "\xC3\xBC</Message>"
        "<Resource>/b/k</Resource><!-- y --><RequestId><![CDATA[4&42]]></RequestId></Error>");
    EXPECT_EQ(response.getCode(), "NoSuchKey");
    EXPECT_EQ(response.getMessage(), String::fromUTF8("a <b> \xC3\xBC"));
    EXPECT_EQ(response.getResource(), "/b/k");
    EXPECT_EQ(response.getRequestID(), "4&42");
}

TEST(S3ErrorResponseTest, IsEmptyWhereElementsAreMissing) {
    const auto response = parse<CS3ErrorResponse>("<Error><Code>X</Code></Error>");
    EXPECT_EQ(response.getCode(), "X");
    EXPECT_EQ(response.getMessage(), "");
    EXPECT_EQ(response.getResource(), "");
    EXPECT_EQ(response.getRequestID(), "");
    EXPECT_EQ(CS3Error::makeErrorText(response), "Amazon S3 error: (X)");
    EXPECT_EQ(parse<CS3ErrorResponse>("<Error/>").getCode(), "");
}

TEST(S3ErrorResponseTest, TakesTheLaterOfTwoAndOnlyDirectChildrenOfTheVeryName) {
    const auto response = parse<CS3ErrorResponse>("<Error><Code>A</Code><Code>B</Code><code>C</code>"
                                                  "<In><Code>D</Code><Message>E</Message></In></Error>");
    EXPECT_EQ(response.getCode(), "B");
    EXPECT_EQ(response.getMessage(), "");
}

TEST(S3ErrorResponseTest, KeepsTextUntrimmed) {
    EXPECT_EQ(parse<CS3ErrorResponse>("<Error><Message> a b </Message></Error>").getMessage(), " a b ");
}

TEST(S3ErrorResponseTest, HonoursTheEncodingDeclaration) {
    const auto response = parse<CS3ErrorResponse>(
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><Error><Message>\xFC</Message></Error>");
    EXPECT_EQ(response.getMessage(), String::fromUTF8("\xC3\xBC"));
}

TEST(S3ErrorResponseTest, NeedsAnErrorElement) {
    EXPECT_EQ(parseError<CS3ErrorResponse>("<Other/>"),
              "Error parsing Amazon S3 error result: root element is not 'Error'.");
    EXPECT_EQ(parseError<CS3ErrorResponse>("<error/>"),
              "Error parsing Amazon S3 error result: root element is not 'Error'.");
}

TEST(S3ErrorResponseTest, IsMadeForAMissingObject) {
    const P<CS3ErrorResponse> response = CS3ErrorResponse::createObjectNotFoundResponse("/b/k");
    EXPECT_EQ(response->getCode(), "NoSuchKey");
    EXPECT_EQ(response->getMessage(), "The resource you requested does not exist");
    EXPECT_EQ(response->getResource(), "/b/k");
    EXPECT_EQ(response->getRequestID(), "#dummy#");
}

// ---- what is no document ---------------------------------------------------------------------------------

const std::string_view brokenDocuments[] = {"",        " ",        "x",           "<",           "<Error>",
                                            "<a></b>", "<a/><b/>", "<a>\xFF</a>", "\xEF\xBB\xBF"};

TEST(S3DocumentsTest, AreRefusedWhenTheyAreNoXML) {
    for (const auto text : brokenDocuments) {
        EXPECT_EQ(parseError<CS3ErrorResponse>(text), "Error parsing Amazon S3 error response: invalid XML.");
        EXPECT_EQ(parseError<CS3CopyObjectResult>(text),
                  "Error parsing Amazon S3 'copy object' result: invalid XML.");
        EXPECT_EQ(parseError<CS3ListObjectsResult>(text),
                  "Error parsing Amazon S3 'list objects' result: invalid XML.");
    }
    EXPECT_EQ(plainErrorOf([] { CS3ErrorResponse(nullptr, 0); }),
              "Error parsing Amazon S3 error response: invalid XML.");
}

TEST(S3DocumentsTest, PrintNothingWhenTheyAreBroken) {
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    for (const auto text : brokenDocuments) {
        EXPECT_THROW(parse<CS3ErrorResponse>(text), CError);
    }
    std::fflush(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

/// A document that is cut anywhere is an error; it never gives half a result.
template <class Result>
void expectEveryCutToFail(const std::string& document) {
    parse<Result>(document);
    for (std::size_t length = 0; length < document.size(); ++length) {
        EXPECT_THROW(parse<Result>(document.substr(0, length)), CError) << document.substr(0, length);
    }
}

TEST(S3DocumentsTest, AreRefusedWhereverTheyAreCut) {
    expectEveryCutToFail<CS3ErrorResponse>(errorDocument("NoSuchKey"));
    expectEveryCutToFail<CS3CopyObjectResult>("<CopyObjectResult><ETag>\"e\"</ETag></CopyObjectResult>");
    expectEveryCutToFail<CS3ListObjectsResult>(
        "<ListBucketResult><IsTruncated>false</IsTruncated><Contents><Key>k"
        "</Key><Size>5</Size></Contents></ListBucketResult>");
}

// ---- error -----------------------------------------------------------------------------------------------

TEST(S3ErrorTest, CarriesTheResponse) {
    const CS3Error error(CS3ErrorResponse("AccessDenied", "Access Denied", "/b/k", "id"), 403);
    EXPECT_EQ(error.getMessage(), "Amazon S3 error: Access Denied(AccessDenied)");
    EXPECT_STREQ(error.what(), "Amazon S3 error: Access Denied(AccessDenied)");
    EXPECT_EQ(error.getDomain(), "http");
    EXPECT_EQ(error.getCode(), 403);
    EXPECT_EQ(error.getS3Code(), "AccessDenied");
    EXPECT_FALSE(error.getInnerError());
    EXPECT_THAT(propsOf(error), ElementsAre("s3-resource=/b/k", "s3-requestID=id", "s3-code=AccessDenied",
                                            "responseCode=403"));
    EXPECT_EQ(vexil::getHTTPStatusCodeFromError(error), 403);
    EXPECT_EQ(vexil::getHTTPStatusCodeFromErrorParams(error.getProps()), -1);
}

TEST(S3ErrorTest, HasNoResponseCodeWithoutAStatus) {
    for (const int status : {0, -1, -404}) {
        const CS3Error error(CS3ErrorResponse("C", "m", "", ""), status);
        EXPECT_EQ(error.getCode(), status);
        EXPECT_THAT(propsOf(error), ElementsAre("s3-resource=", "s3-requestID=", "s3-code=C"));
    }
    EXPECT_TRUE(CS3Error(CS3ErrorResponse("C", "m", "", ""), 1).getProps().has("responseCode"));
}

TEST(S3ErrorTest, IsMadeForAMissingObject) {
    const P<CS3Error> error = CS3Error::createObjectNotFoundError("/b/k");
    EXPECT_EQ(error->getMessage(), "Amazon S3 error: The resource you requested does not exist(NoSuchKey)");
    EXPECT_EQ(error->getCode(), 404);
    EXPECT_EQ(error->getS3Code(), "NoSuchKey");
    EXPECT_THAT(propsOf(*error), ElementsAre("s3-resource=/b/k", "s3-requestID=#dummy#", "s3-code=NoSuchKey",
                                             "responseCode=404"));
}

TEST(S3ErrorTest, KeepsItsTypeWhenCloned) {
    const CS3Error error(CS3ErrorResponse("C", "m", "r", "i"), 500);
    const P<CError> clone = static_cast<const CError&>(error).clone();
    const auto thrown = thrownBy<CS3Error>([&] { clone->throwClone(); });
    ASSERT_TRUE(thrown);
    EXPECT_EQ(thrown->getS3Code(), "C");
    EXPECT_EQ(thrown->getMessage(), "Amazon S3 error: m(C)");
    EXPECT_EQ(propsOf(*thrown), propsOf(error));
}

template <class Caught>
bool isCaughtAs(const CError& error) {
    try {
        error.throwClone();
    } catch (const Caught&) {
        return true;
    } catch (...) {
    }
    return false;
}

TEST(S3ErrorTest, IsCaughtAsAnyOfItsTypes) {
    const CS3Error error(CS3ErrorResponse("C", "m", "r", "i"), 500);
    EXPECT_TRUE(isCaughtAs<CS3Error>(error));
    EXPECT_TRUE(isCaughtAs<CError>(error));
    EXPECT_TRUE(isCaughtAs<std::exception>(error));
    EXPECT_TRUE(isCaughtAs<vexil::CBase>(error));
    EXPECT_TRUE(isCaughtAs<vexil::IBase>(error));
    EXPECT_FALSE(isCaughtAs<CCURLError>(error));
}

// ---- copy ------------------------------------------------------------------------------------------------

TEST(S3CopyObjectResultTest, HasTimeAndETag) {
    const auto result = parse<CS3CopyObjectResult>(
        "<CopyObjectResult "
        "xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\"><LastModified>2009-10-28T22:32:00"
        "</LastModified><ETag>&quot;9b2c&quot;</ETag><X>y</X></CopyObjectResult>");
    EXPECT_FALSE(result.hadError());
    EXPECT_FALSE(result.getErrorResponse());
    EXPECT_EQ(result.getLastModified(), "2009-10-28T22:32:00");
    EXPECT_EQ(result.getETag(), "\"9b2c\"");
}

TEST(S3CopyObjectResultTest, MayHoldAnError) {
    const auto result = parse<CS3CopyObjectResult>("<Error><Code>InternalError</Code><ETag>x</ETag></Error>");
    EXPECT_TRUE(result.hadError());
    EXPECT_EQ(result.getErrorResponse()->getCode(), "InternalError");
    EXPECT_EQ(result.getLastModified(), "");
    EXPECT_EQ(result.getETag(), "");
}

TEST(S3CopyObjectResultTest, RefusesOtherDocuments) {
    EXPECT_EQ(parseError<CS3CopyObjectResult>("<ListBucketResult/>"),
              "Error parsing Amazon S3 'copy object' result: unknown root element 'ListBucketResult'.");
}

TEST(S3CopyObjectResultTest, IsReadFromABuffer) {
    const std::string text = "<CopyObjectResult><ETag>e</ETag></CopyObjectResult>";
    vexil::TBuffer<unsigned char> body;
    body.append(reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    EXPECT_EQ(CS3CopyObjectResult(&body).getETag(), "e");
    body.setUsed(0);
    EXPECT_EQ(plainErrorOf([&] { CS3CopyObjectResult result(&body); }),
              "Error parsing Amazon S3 'copy object' result: invalid XML.");
}

// ---- list ------------------------------------------------------------------------------------------------

TEST(S3ListObjectsResultTest, HoldsObjectsAndPrefixesInOrder) {
    const auto result = parse<CS3ListObjectsResult>(
        "<ListBucketResult><Name>b</Name><Prefix>no</Prefix><Marker>no</Marker><IsTruncated>true</"
        "IsTruncated>"
        "<Contents><Key>b/2</Key><LastModified>t</LastModified><ETag>\"e\"</ETag><Size>5000000000</Size>"
        "<Owner><ID>1</ID><Key>no</Key></Owner></Contents>"
        "<CommonPrefixes><Prefix>p/</Prefix><Other>no</Other><Prefix>q/</Prefix></CommonPrefixes>"
        "<Contents><Key>a</Key></Contents><CommonPrefixes><Prefix>o/</Prefix></CommonPrefixes>"
        "<NextMarker>b/3</NextMarker></ListBucketResult>");
    EXPECT_TRUE(result.isTruncated());
    EXPECT_EQ(result.getDelimiteredNextMarker(), "b/3");
    EXPECT_THAT(result.getCommonPrefixes(), ElementsAre(String("p/"), String("q/"), String("o/")));
    ASSERT_EQ(result.getObjects().size(), 2u);
    const auto& first = *result.getObjects()[0];
    EXPECT_EQ(first.getKey(), "b/2");
    EXPECT_EQ(first.getLastModified(), "t");
    EXPECT_EQ(first.getETag(), "\"e\"");
    EXPECT_EQ(first.getSize(), 5000000000);
    const auto& second = *result.getObjects()[1];
    EXPECT_EQ(second.getKey(), "a");
    EXPECT_EQ(second.getLastModified(), "");
    EXPECT_EQ(second.getETag(), "");
    EXPECT_EQ(second.getSize(), 0);
}

P<CS3ListObjectsResult> parseEncoded(std::string_view text) {
    vexil::TBuffer<unsigned char> body;
    body.setUsed(static_cast<int>(text.size()));
    std::copy(text.begin(), text.end(), body.getData());
    return CS3ListObjectsResult::fromEncoded(&body);
}

std::vector<std::string> keysOf(const CS3ListObjectsResult& page) {
    std::vector<std::string> keys;
    for (const auto& object : page.getObjects()) {
        keys.push_back(object->getKey().toUTF8());
    }
    return keys;
}

std::vector<std::string> unreadableOf(const CS3ListObjectsResult& page) {
    std::vector<std::string> names;
    for (const String& name : page.getUnreadableNames()) {
        names.push_back(name.toUTF8());
    }
    return names;
}

std::string contents(const std::string& key) {
    return "<Contents><Key>" + key + "</Key><ETag>\"e\"</ETag><Size>7</Size></Contents>";
}

TEST(S3ListObjectsResultTest, DecodesNames) {
    const auto page =
        parseEncoded("<ListBucketResult>\n  " + contents("%20a%2Bb+c%0D%0A%01%EF%BF%BE%F0%9F%98%80/x") +
                     contents("%2525") + "<NextMarker>n%2F+%01</NextMarker>" +
                     "<CommonPrefixes><Prefix>%09p/</Prefix></CommonPrefixes>"
                     "<EncodingType>url</EncodingType><IsTruncated>true</IsTruncated></ListBucketResult>");
    EXPECT_THAT(keysOf(*page), ElementsAre(" a+b c\r\n\x01\xEF\xBF\xBE\xF0\x9F\x98\x80/x", "%25"));
    EXPECT_EQ(page->getObjects().front()->getETag(), "\"e\"");
    EXPECT_EQ(page->getObjects().front()->getSize(), 7);
    EXPECT_EQ(page->getDelimiteredNextMarker(), String("n/ \x01"));
    EXPECT_THAT(page->getCommonPrefixes(), ElementsAre(String("\tp/")));
    EXPECT_THAT(page->getUnreadableNames(), IsEmpty());
    EXPECT_EQ(page->getLastKeyBytes(), "%25");
    EXPECT_TRUE(page->hasEncodedNames());
    EXPECT_TRUE(page->isTruncated());
}

TEST(S3ListObjectsResultTest, NamesWhatCannotBeDecoded) {
    const auto page =
        parseEncoded("<ListBucketResult><EncodingType>URL</EncodingType>" + contents("a") + contents("%ff") +
                     contents("100%") + contents("%4") + contents("%GG") + contents("") + contents("\x01") +
                     contents("b") + contents("%C3") + "</ListBucketResult>");
    EXPECT_THAT(keysOf(*page), ElementsAre("a", "b"));
    EXPECT_THAT(unreadableOf(*page),
                ElementsAre("\xEF\xBF\xBD", "100%", "%4", "%GG", "", "\x01", "\xEF\xBF\xBD"));
    EXPECT_EQ(page->getLastKeyBytes(), "\xC3");
}

TEST(S3ListObjectsResultTest, TakesNamesAsTheyStandWhereTheyAreNotEncoded) {
    const auto page = parseEncoded("<ListBucketResult>" + contents(" &amp;a") + contents("\n") +
                                   contents("%20+") + contents("&#13;") + contents("<![CDATA[ <]]>x") +
                                   contents("\xEF\xBF\xBD") + "</ListBucketResult>");
    EXPECT_THAT(keysOf(*page), ElementsAre(" &a", "\n", "%20+", "\r", " <x", "\xEF\xBF\xBD"));
    EXPECT_THAT(page->getUnreadableNames(), IsEmpty());
    EXPECT_FALSE(page->hasEncodedNames());
}

TEST(S3ListObjectsResultTest, GoesOnBehindNamesThatXMLCannotHold) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"a\x01", "a\x01"},
        {"a&#1;", "a\x01"},
        {"a&#x1F;b", "a\x1F"
                     "b"},
        {"&#0;", std::string(1, '\0')},
        {"a\rb", "a\rb"},
        {"a\r", "a\r"},
        {"\xEF\xBF\xBE", "\xEF\xBF\xBE"},
        {"&#xFFFE;", "\xEF\xBF\xBE"},
        {"&#xffff;", "\xEF\xBF\xBF"},
        {"a\xFF", "a\xFF"},
        {"\xC0\xAF", "\xC0\xAF"},
        {"\xE4\xB8", "\xE4\xB8"},
        {"\xED\xA0\x80", "\xED\xA0\x80"},
        {"\xF4\x90\x80\x80", "\xF4\x90\x80\x80"},
        {"\xEF\xB7\x90"
         "01",
         "\xEF\xB7\x90"
         "01"},
        {"&#x110000;", "&#x110000;"},
        {"&#99999999999999999999;", "&#99999999999999999999;"}};
    for (const auto& [key, bytes] : cases) {
        const auto page =
            parseEncoded("<ListBucketResult>\r\n" + contents("before") + "\r\n<Prefix>" + key + "</Prefix>" +
                         contents(key) + contents("zz") + contents(key) + "</ListBucketResult>");
        EXPECT_THAT(keysOf(*page), ElementsAre("before", "zz")) << key;
        EXPECT_EQ(page->getUnreadableNames().size(), 2u) << key;
        EXPECT_EQ(page->getLastKeyBytes(), bytes) << key;
    }
}

TEST(S3ListObjectsResultTest, ReadsOtherEncodingsAsTheyAre) {
    const auto page = parseEncoded("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><ListBucketResult>" +
                                   contents("\xFC") + "</ListBucketResult>");
    EXPECT_THAT(keysOf(*page), ElementsAre("\xC3\xBC"));
    EXPECT_EQ(plainErrorOf([] { parseEncoded("<ListBucketResult>&#xZ;</ListBucketResult>"); }),
              "Error parsing Amazon S3 'list objects' result: invalid XML.");
    EXPECT_EQ(plainErrorOf([] { parseEncoded(""); }),
              "Error parsing Amazon S3 'list objects' result: invalid XML.");
    EXPECT_EQ(plainErrorOf([] { parseEncoded("<Other/>"); }),
              "Error parsing Amazon S3 'list objects' result: root element is not ListBucketResult.");
}

TEST(S3ListObjectsResultTest, ChecksCommonPrefixes) {
    const std::string folders = "<CommonPrefixes><Prefix>p/a/</Prefix></"
                                "CommonPrefixes><CommonPrefixes><Prefix>p/b/</Prefix></CommonPrefixes>";
    const auto page = parse<CS3ListObjectsResult>("<ListBucketResult>" + folders + "</ListBucketResult>");
    // A marker inside the first one, one before it, and no marker.
    for (const char* marker : {"p/a/x", "p/Z", ""}) {
        EXPECT_NO_THROW(page.verifyKeys("p/", "/", marker)) << marker;
    }
    const auto errorOf = [&page](const char* prefix, const char* delimiter, const char* marker) {
        return plainErrorOf([&] { page.verifyKeys(prefix, delimiter, marker); });
    };
    EXPECT_EQ(errorOf("p/a", "/", ""),
              "The listing has the common prefix 'p/b/', which does not begin with 'p/a'.");
    EXPECT_EQ(errorOf("p/", "/", "p/a/"),
              "The listing has the common prefix 'p/a/' after 'p/a/', although its names must ascend.");
    EXPECT_EQ(errorOf("p/", "/", "p/b/x"),
              "The listing has the common prefix 'p/a/' after 'p/b/x', although its names must ascend.");
    EXPECT_EQ(
        errorOf("p/", "", ""),
        "The listing hides keys in the common prefix 'p/a/', although it was asked for without a delimiter.");
}

TEST(S3ListObjectsResultTest, MayBeEmpty) {
    const auto result = parse<CS3ListObjectsResult>("<ListBucketResult/>");
    EXPECT_FALSE(result.isTruncated());
    EXPECT_EQ(result.getDelimiteredNextMarker(), "");
    EXPECT_THAT(result.getObjects(), IsEmpty());
    EXPECT_THAT(result.getCommonPrefixes(), IsEmpty());
}

TEST(S3ListObjectsResultTest, ReadsIsTruncatedInAnyCase) {
    const auto isTruncated = [](const std::string& value) {
        return parse<CS3ListObjectsResult>("<ListBucketResult>" + value + "</ListBucketResult>")
            .isTruncated();
    };
    EXPECT_TRUE(isTruncated("<IsTruncated>TRUE</IsTruncated>"));
    EXPECT_FALSE(isTruncated("<IsTruncated>False</IsTruncated>"));
    EXPECT_FALSE(isTruncated("<IsTruncated>true</IsTruncated><IsTruncated>false</IsTruncated>"));
}

TEST(S3ListObjectsResultTest, RefusesOtherValuesOfIsTruncated) {
    EXPECT_EQ(parseError<CS3ListObjectsResult>("<ListBucketResult><IsTruncated>YES</IsTruncated>"
                                               "</ListBucketResult>"),
              "Bad value for 'IsTruncated' S3 list objects result element: 'yes'");
    EXPECT_EQ(parseError<CS3ListObjectsResult>("<ListBucketResult><IsTruncated/></ListBucketResult>"),
              "Bad value for 'IsTruncated' S3 list objects result element: ''");
    EXPECT_EQ(parseError<CS3ListObjectsResult>("<ListBucketResult><IsTruncated>true </IsTruncated>"
                                               "</ListBucketResult>"),
              "Bad value for 'IsTruncated' S3 list objects result element: 'true '");
}

TEST(S3ListObjectsResultTest, RefusesAnObjectWithoutAKey) {
    for (const char* contents :
         {"<Contents/>", "<Contents><Key/></Contents>", "<Contents><Key> </Key></Contents>",
          "<Contents><Size>5</Size></Contents>", "<Contents><key>a</key></Contents>"}) {
        EXPECT_EQ(parseError<CS3ListObjectsResult>("<ListBucketResult><Contents><Key>a</Key></Contents>" +
                                                   std::string(contents) + "</ListBucketResult>"),
                  "Invalid Amazon S3 list objects element: 'Key' field not defined.");
    }
}

TEST(S3ListObjectsResultTest, RefusesASizeThatIsNoNumber) {
    for (const char* size : {"x", "", " 5", "5 ", "0x5", "5.0", "9223372036854775808"}) {
        EXPECT_THROW(parse<CS3ListObjectsResult>("<ListBucketResult><Contents><Key>a</Key><Size>" +
                                                 std::string(size) + "</Size></Contents></ListBucketResult>"),
                     CError)
            << size;
    }
}

TEST(S3ListObjectsResultTest, RefusesOtherDocuments) {
    EXPECT_EQ(parseError<CS3ListObjectsResult>("<Error/>"),
              "Error parsing Amazon S3 'list objects' result: root element is not ListBucketResult.");
}

TEST(S3XmlTest, RefusesADocumentThatWouldOverflowTheStack) {
    std::string document = "<Error>";
    for (int level = 0; level < 150000; ++level) {
        document += "<a>";
    }
    EXPECT_EQ(plainErrorOf([&] { CS3ErrorResponse(document.data(), static_cast<int>(document.size())); }),
              "Error parsing Amazon S3 error response: invalid XML.");
}

TEST(S3XmlTest, CountsLevelsAndNotTags) {
    std::string document = "<Error><Code>c</Code>";
    for (int count = 0; count < 2000; ++count) {
        document += "<a/><b></b>";
    }
    document += "</Error>";
    const CS3ErrorResponse response(document.data(), static_cast<int>(document.size()));
    EXPECT_EQ(response.getCode(), "c");
}

TEST(S3XmlTest, IsReadWhateverItsEncoding) {
    std::string listing = "<ListBucketResult>";
    for (int i = 0; i < 400; ++i) {
        listing += "<Contents><Key>k" + std::to_string(1000 + i) + "</Key><Size>1</Size></Contents>";
    }
    listing += "</ListBucketResult>";
    for (const bool isBig : {false, true}) {
        for (const bool hasMark : {false, true}) {
            std::string document = !hasMark ? "" : isBig ? "\xFE\xFF" : "\xFF\xFE";
            for (const char character : listing) {
                document += isBig ? std::string{'\0', character} : std::string{character, '\0'};
            }
            EXPECT_EQ(parse<CS3ListObjectsResult>(document).getObjects().size(), 400u) << isBig << hasMark;
            EXPECT_EQ(parseEncoded(document)->getObjects().size(), 400u) << isBig << hasMark;
        }
    }
    const auto euro = parse<CS3ErrorResponse>(
        "<?xml version='1.0' encoding='windows-1252'?><Error><Message>\x80</Message></Error>");
    EXPECT_EQ(euro.getMessage(), String::fromUTF8("\xE2\x82\xAC"));
}

TEST(S3XmlTest, CountsNoTagsInCDATAAndComments) {
    std::string page;
    for (int i = 0; i < 3000; ++i) {
        page += "<br>";
    }
    const auto response = parse<CS3ErrorResponse>("<Error><!-- " + page + " --><Message><![CDATA[" + page +
                                                  "]]></Message><Code>c</Code><?x " + page + "?></Error>");
    EXPECT_EQ(response.getMessage(), String::fromUTF8(page));
    EXPECT_EQ(response.getCode(), "c");
}

TEST(S3XmlTest, HasTheTextsOfThePlainDocument) {
    const auto messageOf = [](const std::string& content) {
        return parse<CS3ErrorResponse>("<!DOCTYPE Error [<!ENTITY e 'entity'>]><Error a='b'><Message c='d'>" +
                                       content + "</Message></Error>")
            .getMessage()
            .toUTF8();
    };
    EXPECT_EQ(messageOf("a &lt;&amp;&gt;&#65;&quot;\r\n\xC3\xBC&#13;]] &#x1F600;"),
              "a <&>A\"\n\xC3\xBC\r]] \xF0\x9F\x98\x80");
    EXPECT_EQ(messageOf("a<!-- b -->c"), "a");
    EXPECT_EQ(messageOf("a<![CDATA[b]]>c"), "a");
    EXPECT_EQ(messageOf("<![CDATA[<&>]]]]>"), "<&>]]");
    EXPECT_EQ(messageOf("a&e;b"), "ab");
    EXPECT_EQ(messageOf("\n&#32;a b"), "a b");
    EXPECT_EQ(messageOf("  a"), "  a");
    EXPECT_EQ(messageOf("&#32; &#97;b"), "ab");
}

TEST(S3XmlTest, RefusesATextThatIsTooLong) {
    const std::string longest(65536, 'x');
    EXPECT_EQ(parse<CS3ErrorResponse>("<Error><Message>" + longest + "</Message></Error>").getMessage(),
              String::fromUTF8(longest));
    const std::string prefix = "Error parsing Amazon S3 error response: ";
    const std::string tooLong = prefix + "a text is longer than 65536 bytes.";
    EXPECT_EQ(parseError<CS3ErrorResponse>("<Error><Message>" + longest + "x</Message></Error>"), tooLong);
    EXPECT_EQ(parseError<CS3ErrorResponse>("<Error><Message>" + longest + "<!-- -->x</Message></Error>"),
              tooLong);
    EXPECT_EQ(
        parseError<CS3ErrorResponse>("<Error><Message>" + std::string(900'000, '\n') + "</Message></Error>"),
        tooLong);
}

TEST(S3XmlTest, RefusesTextsThatWouldTakeVeryLong) {
    std::string document = "<Error>";
    for (int i = 0; i < 14; ++i) {
        document += "<Message>x" + std::string(65535, '\n') + "</Message>";
    }
    EXPECT_EQ(parseError<CS3ErrorResponse>(document + "</Error>"),
              "Error parsing Amazon S3 error response: invalid XML.");
}

TEST(S3XmlTest, RefusesADocumentThatIsTooLong) {
    const auto padded = [](const std::string& begin, const std::string& end, std::size_t size) {
        return begin + std::string(size - begin.size() - end.size(), ' ') + end;
    };
    const std::size_t errorBytes = 1 << 20;
    EXPECT_EQ(
        parse<CS3ErrorResponse>(padded("<Error><Code>c</Code><!-- ", " --></Error>", errorBytes)).getCode(),
        "c");
    EXPECT_EQ(parseError<CS3ErrorResponse>(padded("<Error><!-- ", " --></Error>", errorBytes + 1)),
              "Error parsing Amazon S3 error response: the document is longer than 1048576 bytes.");
    EXPECT_EQ(parseError<CS3CopyObjectResult>(padded("<Error><!-- ", " --></Error>", errorBytes + 1)),
              "Error parsing Amazon S3 'copy object' result: the document is longer than 1048576 bytes.");
    const std::size_t listingBytes = 64 << 20;
    const std::string listing =
        padded("<ListBucketResult><!-- ", " --></ListBucketResult>", listingBytes + 1);
    const std::string tooLong =
        "Error parsing Amazon S3 'list objects' result: the document is longer than 67108864 bytes.";
    EXPECT_EQ(parseError<CS3ListObjectsResult>(listing), tooLong);
    EXPECT_EQ(plainErrorOf([&] { parseEncoded(listing); }), tooLong);
}

TEST(S3XmlTest, RefusesTooManyElements) {
    std::string listing = "<ListBucketResult>";
    for (int i = 0; i < 1'000'000; ++i) {
        listing += "<a/>";
    }
    EXPECT_EQ(parseError<CS3ListObjectsResult>(listing + "</ListBucketResult>"),
              "Error parsing Amazon S3 'list objects' result: invalid XML.");
}

TEST(S3ListObjectsResultTest, TakesCDATALiterally) {
    const auto page = parseEncoded("<ListBucketResult>" + contents("<![CDATA[a&#1;<b>]]>") + contents("c") +
                                   "</ListBucketResult>");
    EXPECT_THAT(keysOf(*page), ElementsAre("a&#1;<b>", "c"));
    EXPECT_EQ(parseEncoded("<ListBucketResult>" + contents("<![CDATA[a\rb]]>") + "</ListBucketResult>")
                  ->getLastKeyBytes(),
              "a\rb");
    const auto sections = parseEncoded("<ListBucketResult>" + contents("<![CDATA[<b>]&#1;]]>") +
                                       contents("<![CDATA[d]]>&#1;") + "</ListBucketResult>");
    EXPECT_THAT(keysOf(*sections), ElementsAre("<b>]&#1;"));
    EXPECT_EQ(sections->getLastKeyBytes(), "d\1");
}

TEST(S3XmlTest, TakesTagsThatAreNoneForInvalid) {
    for (const std::string& document :
         {std::string("<>"), std::string("<"), std::string("</"), std::string(">"), std::string("<a/"),
          std::string(1'000'000, '<') + ">"}) {
        EXPECT_EQ(plainErrorOf([&] { CS3ErrorResponse(document.data(), static_cast<int>(document.size())); }),
                  "Error parsing Amazon S3 error response: invalid XML.");
    }
}

TEST(S3XmlTest, IsReadOnSeveralThreads) {
    const std::string plain = "<Error><Code>c</Code></Error>";
    const auto parse = [&plain] {
        for (int count = 0; count < 100; ++count) {
            for (const std::string& document :
                 {plain, "<?xml version='1.0' encoding='koi8-r'?>" + plain, plain + "<"}) {
                try {
                    const CS3ErrorResponse response(document.data(), static_cast<int>(document.size()));
                    EXPECT_EQ(response.getCode(), "c");
                } catch (const CError& error) {
                    EXPECT_EQ(error.getMessage(), "Error parsing Amazon S3 error response: invalid XML.");
                    EXPECT_TRUE(document.ends_with("<"));
                }
            }
        }
    };
    std::thread other(parse);
    parse();
    other.join();
}

}  // namespace
