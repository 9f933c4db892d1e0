// The stored parts of an upload.
#include "vexil/s3/S3PartList.h"

#include "tests/s3/S3WireTest.h"

#include <string>
#include <vector>

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using vexil::CS3PartList;
using vexil::CS3StoredPart;

const std::string id = "2~a/b+c";
const std::string escapedID = "2~a%2Fb%2Bc";
const std::string begin = "Error parsing Amazon S3 'list parts' result: ";

std::string partOf(int number) {
    return "<Part><PartNumber>" + std::to_string(number) + "</PartNumber><ETag>e" + std::to_string(number) +
           "</ETag></Part>";
}

std::string pageOf(const std::string& parts, const std::string& nextMarker = "") {
    return "<ListPartsResult><IsTruncated>" + std::string(nextMarker.empty() ? "false" : "true") +
           "</IsTruncated>" +
           (nextMarker.empty() ? "" : "<NextPartNumberMarker>" + nextMarker + "</NextPartNumberMarker>") +
           parts + "</ListPartsResult>";
}

std::string parseErrorOf(const std::string& document) {
    return plainErrorOf([&] { const CS3PartList parts(document); });
}

std::vector<int> numbersOf(const vexil::TArray<CS3StoredPart>& parts) {
    std::vector<int> numbers;
    for (const CS3StoredPart& part : parts) {
        numbers.push_back(part.number);
    }
    return numbers;
}

class S3PartListTest : public S3WireTest {
protected:
    vexil::TArray<CS3StoredPart> listAll() { return client.listAllParts(request, "b", "k", String(id)); }
    std::vector<std::string> targets() {
        std::vector<std::string> lines;
        for (const auto& sent : peer.requests()) {
            lines.push_back(sent.head.substr(0, sent.head.find(" HTTP")));
        }
        return lines;
    }
};

TEST_F(S3PartListTest, RequestSendsTheseBytes) {
    answer({reply("200 OK", pageOf(""))});
    EXPECT_THAT(client.listParts(request, "b", "k", String(id), 7, 2)->getParts(), IsEmpty());
    // Of the arguments version 2 signs only the ID, as it is.
    EXPECT_EQ(onlyHead(),
              head("GET /b/k?uploadId=" + escapedID + "&max-parts=2&part-number-marker=7",
                   {dateLine, authorizationOf("GET\n\n\n" + fixedDate + "\n/b/k?uploadId=" + id)}));
}

TEST_F(S3PartListTest, Version4SignsAllArguments) {
    client.setSignatureVersion(4);
    client.prepareListPartsRequest(request, "b", "k", String(id), 7, 2);
    EXPECT_THAT(CS3Client::getCanonicalRequest(&request).toUTF8(),
                StartsWith("GET\n/b/k\nmax-parts=2&part-number-marker=7&uploadId=" + escapedID + "\n"));
}

TEST_F(S3PartListTest, DefaultsAreNotSent) {
    client.prepareListPartsRequest(request, "b", "k", "i");
    EXPECT_THAT(request.getURL().toUTF8(), testing::EndsWith("/b/k?uploadId=i"));
}

TEST_F(S3PartListTest, WrongArgumentsAreRefused) {
    const std::string place = "CS3Client::prepareListPartsRequest: ";
    EXPECT_EQ(argErrorOf([&] { (void)client.listParts(request, "", "k", "i"); }),
              place + "bucket name must not be empty");
    EXPECT_EQ(argErrorOf([&] { (void)client.listParts(request, "b", "", "i"); }),
              place + "object name must not be empty");
    EXPECT_EQ(argErrorOf([&] { (void)client.listAllParts(request, "b", "k", ""); }),
              place + "upload ID must not be empty");
}

TEST_F(S3PartListTest, PartsOfAllPagesAreListed) {
    answer({reply("200 OK", pageOf(partOf(1) + partOf(3), "3")), reply("200 OK", pageOf("", "5")),
            reply("200 OK", pageOf(partOf(10000)))});
    EXPECT_THAT(numbersOf(listAll()), ElementsAre(1, 3, 10000));
    const std::string start = "GET /b/k?uploadId=" + escapedID;
    EXPECT_THAT(targets(),
                ElementsAre(start, start + "&part-number-marker=3", start + "&part-number-marker=5"));
}

TEST_F(S3PartListTest, ListingThatDoesNotGoOnIsAnError) {
    answer({reply("200 OK", pageOf(partOf(1) + partOf(3), "3")), reply("200 OK", pageOf("", "3")),
            reply("200 OK", pageOf("", "0")), reply("200 OK", pageOf(partOf(2), "2")),
            reply("200 OK", pageOf(partOf(2), "2"))});
    const std::string stuck =
        "The listing of parts claims that more follows, but does not go on after the part ";
    EXPECT_EQ(plainErrorOf([&] { (void)listAll(); }), stuck + "3.");
    EXPECT_EQ(plainErrorOf([&] { (void)listAll(); }), stuck + "0.");
    EXPECT_EQ(plainErrorOf([&] { (void)listAll(); }),
              "The listing has the part 2 after the part 2, although its parts must ascend.");
}

TEST_F(S3PartListTest, ErrorInsideASuccessIsThrown) {
    answer({reply("200 OK", " \n" + errorDocument("InternalError"))});
    const auto error = thrownBy<CS3Error>([&] { (void)listAll(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getS3Code(), "InternalError");
    EXPECT_EQ(error->getCode(), 0);
}

TEST_F(S3PartListTest, ResponseThatEndsEarlyIsAnError) {
    peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\n").close();
    EXPECT_EQ(transientErrorOf([&] { (void)listAll(); }),
              "The connection ended within the headers of the response.");
}

TEST(S3PartListDocumentTest, IsRead) {
    const CS3PartList list(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<ListPartsResult xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\"><Bucket>b</Bucket><Key>k</Key>"
        "<UploadId>i</UploadId><Initiator><ID>x</ID></Initiator><StorageClass>STANDARD</StorageClass>"
        "<PartNumberMarker>1</PartNumberMarker><NextPartNumberMarker>3</NextPartNumberMarker>"
        "<MaxParts>2</MaxParts><IsTruncated>true</IsTruncated>"
        "<Part><PartNumber>2</PartNumber><LastModified>2010-11-10T20:48:34.000Z</LastModified>"
        "<ETag>&quot;7778aef83f66abc1fa1e8477f296d394&quot;</ETag><Size>10485760</Size></Part>"
        "<Part><Size>0</Size><PartNumber> 3 </PartNumber></Part></ListPartsResult>");
    EXPECT_TRUE(list.isTruncated());
    EXPECT_EQ(list.getNextPartNumberMarker(), 3);
    ASSERT_EQ(list.getParts().size(), 2u);
    const CS3StoredPart& part = list.getParts()[0];
    EXPECT_EQ(part.number, 2);
    EXPECT_EQ(part.eTag, "\"7778aef83f66abc1fa1e8477f296d394\"");
    EXPECT_EQ(part.size, 10485760);
    EXPECT_EQ(part.lastModified, "2010-11-10T20:48:34.000Z");
    EXPECT_EQ(list.getParts()[1].number, 3);
    EXPECT_EQ(list.getParts()[1].eTag, "");
    EXPECT_EQ(list.getParts()[1].size, 0);
}

TEST(S3PartListDocumentTest, MayLackEveryElement) {
    const CS3PartList list("<ListPartsResult/>");
    EXPECT_FALSE(list.isTruncated());
    EXPECT_EQ(list.getNextPartNumberMarker(), 0);
    EXPECT_THAT(list.getParts(), IsEmpty());
    EXPECT_EQ(CS3PartList(pageOf(partOf(7))).getParts()[0].size, -1);
}

TEST(S3PartListDocumentTest, MarkerThatIsMissingIsTheLastPart) {
    EXPECT_EQ(CS3PartList("<ListPartsResult>" + partOf(4) + partOf(9) + "</ListPartsResult>")
                  .getNextPartNumberMarker(),
              9);
    EXPECT_EQ(CS3PartList(pageOf(partOf(4), "99999")).getNextPartNumberMarker(), 4);
    EXPECT_EQ(CS3PartList(pageOf(partOf(4), "x")).getNextPartNumberMarker(), 4);
}

TEST(S3PartListDocumentTest, OtherDocumentsAreErrors) {
    EXPECT_EQ(parseErrorOf(""), begin + "there is no document.");
    EXPECT_EQ(parseErrorOf("<html>"), begin + "invalid XML.");
    EXPECT_EQ(parseErrorOf("<html/>"), begin + "unknown root element 'html'.");
    EXPECT_EQ(parseErrorOf("<ListPartsResult><IsTruncated>yes</IsTruncated></ListPartsResult>"),
              begin + "'IsTruncated' is neither true nor false, but 'yes'.");
    for (const char* number : {"", "0", "-1", "10001", "99999999999", "-4294967295", "one"}) {
        EXPECT_EQ(parseErrorOf("<ListPartsResult><Part><PartNumber>" + std::string(number) +
                               "</PartNumber></Part></ListPartsResult>"),
                  begin + "a part without a number from 1 to 10000.")
            << number;
    }
    EXPECT_EQ(parseErrorOf("<ListPartsResult><Part/></ListPartsResult>"),
              begin + "a part without a number from 1 to 10000.");
    EXPECT_EQ(parseErrorOf(pageOf("<Part><PartNumber>1</PartNumber><Size>-2</Size></Part>")),
              begin + "the part 1 has a negative size.");
    EXPECT_EQ(parseErrorOf(pageOf("<Part><ETag>" + std::string(65537, 'e') + "</ETag></Part>")),
              begin + "a text is longer than 65536 bytes.");
}

}  // namespace
