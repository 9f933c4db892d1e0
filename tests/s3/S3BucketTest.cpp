// Operations on buckets.
#include "tests/s3/S3WireTest.h"
#include "vexil/s3/S3BucketList.h"

#include <string>
#include <vector>

namespace {

using namespace vexil_test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using vexil::CS3BucketList;

const std::string xmlns = " xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\"";
const std::string declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

vexil::TBuffer<unsigned char> bufferOf(const std::string& text) {
    vexil::TBuffer<unsigned char> buffer;
    buffer.append(reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    return buffer;
}

class S3BucketTest : public S3WireTest {
protected:
    ~S3BucketTest() override { request.reset(); }

    std::string onlyBody() {
        EXPECT_TRUE(peer.waitForRequests(1));
        return peer.requests().at(0).body;
    }
};

TEST_F(S3BucketTest, CreationSendsTheseBytes) {
    answer({reply("200 OK", "")});
    client.createBucket(request, "b");
    EXPECT_EQ(onlyHead(), head("PUT /b", {dateLine, authorizationOf("PUT\n\n\n" + fixedDate + "\n/b"),
                                          "Content-Length: 0"}));
}

TEST_F(S3BucketTest, CreationNamesTheRegion) {
    answer({reply("200 OK", "")});
    client.setRegion("eu-central-1");
    client.createBucket(request, "b");
    const std::string body = declaration + "<CreateBucketConfiguration" + xmlns +
                             "><LocationConstraint>eu-central-1</LocationConstraint>"
                             "</CreateBucketConfiguration>";
    EXPECT_EQ(onlyBody(), body);
    const std::string md5 = md5Of(body);
    EXPECT_EQ(onlyHead(),
              putHead("PUT /b", {dateLine, "Content-MD5: " + md5, "Content-Type: application/xml",
                                 authorizationOf("PUT\n" + md5 + "\napplication/xml\n" + fixedDate + "\n/b"),
                                 "Content-Length: " + std::to_string(body.size())}));
}

TEST_F(S3BucketTest, FirstRegionIsNotNamed) {
    client.setSignatureVersion(4);
    client.setRegion("us-east-1");
    client.prepareCreateBucketRequest(request, "b");
    EXPECT_THAT(headersOf(request), testing::Not(Contains(StartsWith("Content-Type"))));
    EXPECT_THAT(CS3Client::getCanonicalRequest(&request).toUTF8(), StartsWith("PUT\n/b\n\nhost:"));
}

TEST(S3AmazonBucketTest, IsMadeAtTheEndpointOfItsRegion) {
    CS3Client client("id", "secret", true);
    CNetRequest request;
    client.setSignatureVersion(4);
    client.setRegion("eu-central-1");
    client.prepareCreateBucketRequest(request, "photos");
    EXPECT_EQ(request.getURL(), "https://photos.s3.eu-central-1.amazonaws.com/");
    EXPECT_THAT(headersOf(request), Contains(HasSubstr("/eu-central-1/s3/aws4_request")));
    client.prepareListBucketsRequest(request);
    EXPECT_EQ(request.getURL(), "https://s3.eu-central-1.amazonaws.com/");
    EXPECT_THAT(headersOf(request), Contains(HasSubstr("/eu-central-1/s3/aws4_request")));
    client.setAddressingStyle(vexil::S3AddressingStyle::VirtualHosted);
    client.prepareListBucketsRequest(request, "t/1");
    EXPECT_EQ(request.getURL(), "https://s3.eu-central-1.amazonaws.com/?continuation-token=t%2F1");
}

TEST_F(S3BucketTest, DeletionSendsTheseBytes) {
    answer({"HTTP/1.1 204 No Content\r\n\r\n"});
    client.deleteBucket(request, "b");
    EXPECT_EQ(onlyHead(),
              head("DELETE /b", {dateLine, authorizationOf("DELETE\n\n\n" + fixedDate + "\n/b")}));
}

TEST_F(S3BucketTest, ListSendsTheseBytes) {
    answer({reply("200 OK", "<ListAllMyBucketsResult/>")});
    EXPECT_THAT(client.listBuckets(request)->getBuckets(), IsEmpty());
    EXPECT_EQ(onlyHead(), head("GET /", {dateLine, authorizationOf("GET\n\n\n" + fixedDate + "\n/")}));
}

TEST_F(S3BucketTest, LocationSendsTheseBytes) {
    answer({reply("200 OK", "<LocationConstraint" + xmlns + ">eu-north-1</LocationConstraint>")});
    EXPECT_EQ(client.getBucketLocation(request, "b"), "eu-north-1");
    EXPECT_EQ(onlyHead(), head("GET /b?location",
                               {dateLine, authorizationOf("GET\n\n\n" + fixedDate + "\n/b?location")}));
}

TEST_F(S3BucketTest, VersioningSendsTheseBytes) {
    answer({reply("200 OK", "")});
    client.setBucketVersioning(request, "b", true);
    const std::string body = declaration + "<VersioningConfiguration" + xmlns +
                             "><Status>Enabled</Status></VersioningConfiguration>";
    EXPECT_EQ(onlyBody(), body);
    const std::string md5 = md5Of(body);
    EXPECT_EQ(onlyHead(),
              putHead("PUT /b?versioning",
                      {dateLine, "Content-MD5: " + md5, "Content-Type: application/xml",
                       authorizationOf("PUT\n" + md5 + "\napplication/xml\n" + fixedDate + "\n/b?versioning"),
                       "Content-Length: " + std::to_string(body.size())}));
}

TEST_F(S3BucketTest, VersioningCanBeSuspended) {
    answer({reply("200 OK", "")});
    client.setBucketVersioning(request, "b", false);
    EXPECT_THAT(onlyBody(), HasSubstr("<Status>Suspended</Status>"));
}

TEST_F(S3BucketTest, Version4SignsTheSubresource) {
    client.setSignatureVersion(4);
    client.prepareGetBucketLocationRequest(request, "b");
    EXPECT_THAT(CS3Client::getCanonicalRequest(&request).toUTF8(), StartsWith("GET\n/b\nlocation=\n"));
    client.prepareSetBucketVersioningRequest(request, "b", true);
    EXPECT_THAT(CS3Client::getCanonicalRequest(&request).toUTF8(), StartsWith("PUT\n/b\nversioning=\n"));
}

TEST_F(S3BucketTest, ExistenceFollowsTheStatus) {
    const std::string empty = "Content-Length: 0\r\n\r\n";
    answer({"HTTP/1.1 200 OK\r\n" + empty, "HTTP/1.1 404 Not Found\r\n" + empty,
            "HTTP/1.1 403 Forbidden\r\n" + empty});
    EXPECT_TRUE(client.bucketExists(request, "b"));
    EXPECT_FALSE(client.bucketExists(request, "b"));
    const auto error = thrownBy<CCURLError>([&] { (void)client.bucketExists(request, "b"); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getResponseCode(), 403);
    EXPECT_EQ(peer.requests()[0].head,
              head("HEAD /b", {dateLine, authorizationOf("HEAD\n\n\n" + fixedDate + "\n/b")}));
}

TEST_F(S3BucketTest, ExistenceIsFoundInAnotherRegion) {
    client.setSignatureVersion(4);
    answer({"HTTP/1.1 400 Bad Request\r\nx-amz-bucket-region: eu-west-3\r\nContent-Length: 0\r\n\r\n",
            "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"});
    const LogCapture log;
    EXPECT_TRUE(client.bucketExists(request, "b"));
    EXPECT_THAT(headersOf(request), Contains(HasSubstr("/eu-west-3/s3/aws4_request")));
}

TEST_F(S3BucketTest, ErrorInsideASuccessIsThrown) {
    answer(
        {reply("200 OK", errorDocument("InternalError")), reply("200 OK", errorDocument("InternalError"))});
    EXPECT_TRUE(thrownBy<CS3Error>([&] { (void)client.listBuckets(request); }));
    EXPECT_TRUE(thrownBy<CS3Error>([&] { (void)client.getBucketLocation(request, "b"); }));
}

TEST_F(S3BucketTest, ResponseThatEndsEarlyIsNoSuccess) {
    const auto expectError = [this](const auto& call) {
        peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\n").close();
        EXPECT_EQ(transientErrorOf(call), "The connection ended within the headers of the response.");
    };
    expectError([&] { client.createBucket(request, "b"); });
    expectError([&] { client.deleteBucket(request, "b"); });
    expectError([&] { (void)client.bucketExists(request, "b"); });
    expectError([&] { client.setBucketVersioning(request, "b", true); });
}

TEST_F(S3BucketTest, EmptyNamesAreRefused) {
    const auto expectRefusal = [](const std::string& place, const auto& call) {
        EXPECT_EQ(argErrorOf(call), "CS3Client::" + place + ": bucket name must not be empty");
    };
    expectRefusal("prepareCreateBucketRequest", [&] { client.createBucket(request, ""); });
    expectRefusal("prepareDeleteBucketRequest", [&] { client.deleteBucket(request, ""); });
    expectRefusal("prepareGetBucketLocationRequest", [&] { (void)client.getBucketLocation(request, ""); });
    expectRefusal("prepareHeadBucketRequest", [&] { (void)client.bucketExists(request, ""); });
    expectRefusal("prepareSetBucketVersioningRequest",
                  [&] { client.setBucketVersioning(request, "", true); });
}

TEST(S3BucketLocationTest, IsRead) {
    const auto read = [](const std::string& text) {
        return CS3Client::readBucketLocation(bufferOf(text)).toUTF8();
    };
    EXPECT_EQ(read("<LocationConstraint" + xmlns + "/>"), "us-east-1");
    EXPECT_EQ(read(declaration + "<LocationConstraint>\n  </LocationConstraint>"), "us-east-1");
    EXPECT_EQ(read("<LocationConstraint>EU</LocationConstraint>"), "eu-west-1");
    EXPECT_EQ(read("<LocationConstraint>default</LocationConstraint>"), "default");
    EXPECT_EQ(plainErrorOf([&] { read("<html/>"); }),
              "Error parsing Amazon S3 'get bucket location' result: unknown root element 'html'.");
}

TEST(S3BucketListTest, IsReadFromADocument) {
    const CS3BucketList list(
        declaration + "<ListAllMyBucketsResult" + xmlns +
        "><Owner><ID>o</ID><DisplayName>owner</DisplayName></Owner><Buckets>"
        "<Bucket><Name>a</Name><CreationDate>2019-12-11T23:32:47+00:00</CreationDate>"
        "<BucketRegion>eu-west-1</BucketRegion></Bucket><Bucket><Name>b</Name></Bucket></Buckets>"
        "<ContinuationToken>t</ContinuationToken></ListAllMyBucketsResult>");
    EXPECT_EQ(list.getOwnerID(), "o");
    EXPECT_EQ(list.getOwnerName(), "owner");
    EXPECT_EQ(list.getContinuationToken(), "t");
    ASSERT_EQ(list.getBuckets().size(), 2u);
    EXPECT_EQ(list.getBuckets()[0].name, "a");
    EXPECT_EQ(list.getBuckets()[0].creationDate, "2019-12-11T23:32:47+00:00");
    EXPECT_EQ(list.getBuckets()[0].region, "eu-west-1");
    EXPECT_EQ(list.getBuckets()[1].creationDate, "");
}

TEST(S3BucketListTest, OtherDocumentsAreErrors) {
    const auto errorOf = [](const std::string& document) {
        return plainErrorOf([&] { const CS3BucketList list(document); });
    };
    const std::string begin = "Error parsing Amazon S3 'list buckets' result: ";
    EXPECT_EQ(errorOf("<ListBucketResult/>"), begin + "unknown root element 'ListBucketResult'.");
    EXPECT_EQ(errorOf("<ListAllMyBucketsResult><Buckets><Bucket/></Buckets></ListAllMyBucketsResult>"),
              begin + "a bucket without a name.");
}

}  // namespace
