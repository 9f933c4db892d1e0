// The client over TLS, to a web server in front of a real S3 server.
#include "tests/s3/S3TestSupport.h"
#include "tests/support/GeneratedStream.h"
#include "vexil/s3/S3TransferManager.h"

#include <cstdlib>

namespace {

using namespace vexil_test;

String environment(const char* name) {
    const char* const value = std::getenv(name);
    return value ? String::fromUTF8(value) : String();
}

/// Trusts a certificate authority, and can request a version of HTTP.
class Trust : public virtual vexil::CBase, public vexil::INetRequestSetup {
public:
    explicit Trust(String bundle, int httpVersion = CURL_HTTP_VERSION_1_1)
        : m_bundle(std::move(bundle)), m_httpVersion(httpVersion) {}

    void setUp(CNetRequest& request) override {
        request.setRootCertBundlePath(m_bundle);
        request.setOptionInt(CURLOPT_HTTP_VERSION, m_httpVersion);
    }

private:
    String m_bundle;
    int m_httpVersion;
};

class S3TLSServerTest : public testing::Test {
protected:
    S3TLSServerTest() : client(environment("VEXIL_S3_ACCESS_KEY"), environment("VEXIL_S3_SECRET_KEY"), true) {
        client.setBaseURL(environment("VEXIL_S3_TLS_ENDPOINT"));
        client.setMaxRetries(0);
        client.setRequestSetup(new Trust(environment("VEXIL_CA")));
    }

    void makeBucket() { client.createBucket(request, bucket); }

    void expectRoundTrip() {
        const std::string body(200000, 'x');
        client.putObject(request, bucket, "a key/+", body.data(), static_cast<int>(body.size()), "");
        client.getObject(request, bucket, "a key/+", 0, -1);
        EXPECT_EQ(bodyOf(request), body);
        EXPECT_EQ(client.getObjectSize(request, bucket, "a key/+"), 200000);
        EXPECT_EQ(client.listObjects(request, bucket, "a key/", "", "", -1)->getObjects().size(), 1u);
        client.deleteObject(request, bucket, "a key/+");
        EXPECT_FALSE(client.objectExists(request, bucket, "a key/+"));
    }

    CS3Client client;
    CNetRequest request;
    const String bucket = "tls-bucket";
};

TEST_F(S3TLSServerTest, WorksWithTheRightAuthority) {
    makeBucket();
    expectRoundTrip();
    EXPECT_TRUE(request.getHTTPStatusLine().startsWith("HTTP/1.1 "));
}

TEST_F(S3TLSServerTest, WorksOverHTTP2) {
    client.setRequestSetup(new Trust(environment("VEXIL_CA"), CURL_HTTP_VERSION_2TLS));
    makeBucket();
    expectRoundTrip();
    EXPECT_TRUE(request.getHTTPStatusLine().startsWith("HTTP/2 "));
}

TEST_F(S3TLSServerTest, RefusesAServerOfAnotherAuthority) {
    client.setRequestSetup(new Trust(environment("VEXIL_WRONG_CA")));
    const auto error = thrownBy<CCURLError>([&] { client.getObject(request, bucket, "k", 0, -1); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_PEER_FAILED_VERIFICATION);
}

TEST_F(S3TLSServerTest, TrustsAnyServerOnDemand) {
    makeBucket();
    client.setRequestSetup(new Trust(environment("VEXIL_WRONG_CA")));
    client.setSSLVerifyPeer(false);
    expectRoundTrip();
}

TEST_F(S3TLSServerTest, KeyOfTheCustomerEncryptsTheObject) {
    makeBucket();
    const vexil::CS3CustomerKey key{"0123456789abcdef0123456789abcdef"};
    const std::string body(200000, 'x');
    for (const int version : {2, 4}) {
        client.setSignatureVersion(version);
        client.putObject(request, bucket, "secret", body, {.customerKey = key});
        client.getObject(request, bucket, "secret", 0, -1, {.customerKey = key});
        EXPECT_EQ(bodyOf(request), body);
        EXPECT_EQ(client.getObjectHeaders(request, bucket, "secret", {.customerKey = key})
                      .at("x-amz-server-side-encryption-customer-algorithm"),
                  "AES256");
        EXPECT_TRUE(thrownBy<CS3Error>([&] { client.getObject(request, bucket, "secret", 0, -1); }));
        EXPECT_TRUE(thrownBy<CS3Error>([&] {
            client.getObject(request, bucket, "secret", 0, -1,
                             {.customerKey = {"x123456789abcdef0123456789abcdef"}});
        }));
    }
}

/// Counts the requests whose body is not signed.
class UnsignedBodies : public virtual vexil::CBase, public vexil::ITransferObserver {
public:
    void onStart(CNetRequest& request) override {
        HeaderMap headers;
        request.getCustomHTTPHeaders()->fillMap(headers);
        count += headers["x-amz-content-sha256"] == "UNSIGNED-PAYLOAD" ? 1 : 0;
    }

    int count = 0;
};

TEST_F(S3TLSServerTest, LargeObjectIsStoredWithoutReadingItTwice) {
    makeBucket();
    constexpr int64 size = 11 << 20;
    for (const int version : {2, 4}) {
        client.setSignatureVersion(version);
        const P<UnsignedBodies> observer = zet::make<UnsignedBodies>();
        vexil::CS3TransferManager manager(client, {.partSize = 5 << 20, .requestObserver = observer});
        const P<GeneratedStream> stream = zet::make<GeneratedStream>(size);
        EXPECT_EQ(manager.upload(stream, size, bucket, "large").partCount, 3);
        EXPECT_EQ(observer->count, version == 4 ? 3 : 0);
        stream->seek(0);
        EXPECT_EQ(manager.download(bucket, "large", stream).size, size);
    }
}

/// Trusts the authority, and resolves another name to this machine.
class OtherName : public virtual vexil::CBase, public vexil::INetRequestSetup {
public:
    explicit OtherName(const std::string& address)
        : m_addresses(curl_slist_append(nullptr, address.c_str())) {}
    ~OtherName() override { curl_slist_free_all(m_addresses); }

    void setUp(CNetRequest& request) override {
        request.setRootCertBundlePath(environment("VEXIL_CA"));
        request.setOptionPtr(CURLOPT_RESOLVE, m_addresses);
    }

private:
    curl_slist* const m_addresses;
};

TEST_F(S3TLSServerTest, ChecksTheHostNameUnlessTheCertificateIsNotChecked) {
    makeBucket();
    const std::string endpoint = environment("VEXIL_S3_TLS_ENDPOINT").toUTF8();
    const std::string port = endpoint.substr(endpoint.rfind(':'));
    client.setBaseURL(String::fromUTF8("https://other.example" + port));
    client.setRequestSetup(new OtherName("other.example" + port + ":127.0.0.1"));
    client.setSSLVerifyPeer(false);
    EXPECT_TRUE(thrownBy<CCURLError>([&] { client.getObject(request, bucket, "k", 0, -1); }));
    client.setVerifyCertificate(false);
    expectRoundTrip();
    client.setVerifyCertificate(true);
    EXPECT_TRUE(thrownBy<CCURLError>([&] { client.getObject(request, bucket, "k", 0, -1); }));
}

}  // namespace
