#include "sigil/Base64.h"
#include "tests/net/VerboseLog.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/NetRequest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <vector>

// A real server, over HTTP/1.1 and, with TLS, over HTTP/2.

namespace {

using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using vexil::CCURLError;
using vexil::CNetRequest;
using vexil::P;
using vexil::String;
using vexil_test::describeChildren;
using vexil_test::dump;

constexpr unsigned int whole = std::numeric_limits<unsigned int>::max();

std::string getSetting(const char* name) {
    const char* value = std::getenv(name);
    if (!value) {
        ADD_FAILURE() << name << " is not set: run with tests/servers/with-servers.sh nginx";
        return "";
    }
    return value;
}

vexil::TPathImpl<vexil::CWindowsPathTraits> getPath(const char* name) {
    return vexil::TPathImpl<vexil::CWindowsPathTraits>(String::fromUTF8(getSetting(name)));
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

enum class Protocol { HTTP1, HTTP1OverTLS, HTTP2 };

class NetRequestNginxTest : public testing::TestWithParam<Protocol> {
protected:
    void SetUp() override { renew(); }

    /// Resets the request; connections are kept.
    void renew() {
        m_request->reset();
        m_request->setVerbose(true);
        m_request->setVerboseSettings(vexil::VerboseLogBoth, vexil::VerboseLogNone);
        m_request->setRootCertBundlePath(getPath("VEXIL_CA"));
        m_request->setOptionInt(CURLOPT_HTTP_VERSION, GetParam() == Protocol::HTTP2 ? CURL_HTTP_VERSION_2TLS
                                                                                    : CURL_HTTP_VERSION_1_1);
    }

    static std::string makeURL(const std::string& path, const std::string& userInfo = "") {
        std::string url =
            getSetting(GetParam() == Protocol::HTTP1 ? "VEXIL_HTTP_ENDPOINT" : "VEXIL_HTTPS_ENDPOINT") + path;
        return userInfo.empty() ? url : url.insert(url.find("//") + 2, userInfo + "@");
    }

    void prepare(const std::string& path, const char* method = "") {
        renew();
        m_request->setURL(String::fromUTF8(makeURL(path)));
        m_request->setHTTPMethod(method);
    }

    void preparePut(const std::string& path, const std::string& body) {
        prepare(path, "PUT");
        m_request->setSendDataAsUTF8(String::fromUTF8(body));
    }

    /// Performs the request and returns the error of a failure.
    std::optional<CCURLError> perform() {
        try {
            m_request->perform();
            EXPECT_TRUE(m_request->isResponseComplete());
            return std::nullopt;
        } catch (const CCURLError& error) {
            return error;
        }
    }

    void performWell() {
        const std::optional<CCURLError> error = perform();
        EXPECT_FALSE(error) << error->what();
    }

    void expectHTTPError(int status) {
        const std::optional<CCURLError> error = perform();
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getCode(), CURLE_HTTP_RETURNED_ERROR);
        EXPECT_EQ(error->getResponseCode(), status);
        EXPECT_EQ(error->getResponseCodeDomain().toUTF8(), "http");
        EXPECT_THAT(error->getHTTPStatusLine().toUTF8(), StartsWith(makeStatusLine(status)));
    }

    /// "HTTP/2 200": HTTP/2 has no reason phrases.
    static std::string makeStatusLine(int status) {
        return (GetParam() == Protocol::HTTP2 ? "HTTP/2 " : "HTTP/1.1 ") + std::to_string(status);
    }

    std::string getBody() const {
        const vexil::PC<vexil::TBuffer<unsigned char>> buffer = m_request->getDefaultReceiveBuffer();
        return {reinterpret_cast<const char*>(buffer->getData()),
                static_cast<std::size_t>(buffer->getUsed())};
    }

    std::string getHeader(const char* name) const {
        const auto& headers = m_request->getResponseHeaderMap();
        const auto found = headers.find(name);
        return found == headers.end() ? "none" : found->second.toUTF8();
    }

    /// A path that the other protocols do not use.
    static std::string makeStorePath(const std::string& name) {
        return "/dav/" + std::to_string(static_cast<int>(GetParam())) + "/" + name;
    }

    P<CNetRequest> m_request = new CNetRequest;
};

INSTANTIATE_TEST_SUITE_P(Over, NetRequestNginxTest,
                         testing::Values(Protocol::HTTP1, Protocol::HTTP1OverTLS, Protocol::HTTP2),
                         [](const auto& param) {
                             return param.param == Protocol::HTTP1          ? "HTTP1"
                                    : param.param == Protocol::HTTP1OverTLS ? "HTTP1OverTLS"
                                                                            : "HTTP2";
                         });

// ---- methods ---------------------------------------------------------------------------------------------

TEST_P(NetRequestNginxTest, GetsAFile) {
    prepare("/static/a.txt");
    performWell();
    EXPECT_EQ(getBody(), "Hello, world!\n");
    EXPECT_EQ(m_request->getHTTPStatusLine().toUTF8(),
              GetParam() == Protocol::HTTP2 ? "HTTP/2 200" : "HTTP/1.1 200 OK");
    EXPECT_EQ(m_request->getResponseCode(), 200);
    EXPECT_EQ(getHeader("content-length"), "14");
    EXPECT_EQ(getHeader("content-type"), "text/plain");
    EXPECT_THAT(getHeader("server"), StartsWith("nginx"));
    EXPECT_EQ(m_request->getDownloadSize(), 14);
}

TEST_P(NetRequestNginxTest, GetsALargeFile) {
    prepare("/static/large.bin");
    performWell();
    EXPECT_TRUE(getBody() == readFile(getSetting("VEXIL_HTTP_ROOT") + "/static/large.bin"));
    EXPECT_EQ(m_request->getDownloadedBytes(), 1048576);
}

TEST_P(NetRequestNginxTest, AsksForTheHeadOnly) {
    prepare("/static/a.txt", "HEAD");
    performWell();
    EXPECT_EQ(getBody(), "");
    EXPECT_EQ(getHeader("content-length"), "14");
}

TEST_P(NetRequestNginxTest, PutsGetsAndDeletes) {
    std::string body;
    for (int i = 0; i < 100000; ++i) {
        body += std::to_string(i) + " ";
    }
    for (const std::string& content : {std::string(), std::string("small"), body}) {
        preparePut(makeStorePath("folder/a"), content);
        performWell();
        EXPECT_THAT(m_request->getResponseCode(), AnyOf(201, 204));

        prepare(makeStorePath("folder/a"));
        performWell();
        EXPECT_TRUE(getBody() == content);
    }
    prepare(makeStorePath("folder/a"), "DELETE");
    performWell();
    EXPECT_EQ(m_request->getResponseCode(), 204);
    prepare(makeStorePath("folder/a"));
    expectHTTPError(404);
}

TEST_P(NetRequestNginxTest, SendsWhatWasSet) {
    prepare("/echo/a%20b?c=d", "POST");
    m_request->setSendDataAsUTF8("a body");
    const P<vexil::CNetHeaders> headers = new vexil::CNetHeaders;
    headers->add("X-Test", "value");
    headers->add("Content-Type", "text/x");
    m_request->setCustomHTTPHeaders(headers);
    performWell();
    EXPECT_THAT(getBody(), StartsWith("POST /echo/a%20b?c=d " +
                                      std::string(GetParam() == Protocol::HTTP2 ? "HTTP/2.0" : "HTTP/1.1")));
    EXPECT_THAT(getBody(), HasSubstr(" ct=text/x cl=6 "));
    EXPECT_THAT(getBody(), HasSubstr(" x=value "));
}

TEST_P(NetRequestNginxTest, GetsRanges) {
    struct Case {
        vexil::int64 start;
        vexil::int64 length;
        const char* body;
        const char* range;
    };
    const Case cases[] = {{0, 5, "Hello", "bytes 0-4/14"},
                          {7, -1, "world!\n", "bytes 7-13/14"},
                          {13, 100, "\n", "bytes 13-13/14"},
                          {0, -1, "Hello, world!\n", "bytes 0-13/14"}};
    for (const Case& c : cases) {
        prepare("/static/a.txt");
        m_request->setRange(c.start, c.length);
        performWell();
        EXPECT_EQ(m_request->getResponseCode(), 206);
        EXPECT_EQ(getBody(), c.body);
        EXPECT_EQ(getHeader("content-range"), c.range);
    }
    prepare("/static/a.txt");
    m_request->setRange(14, -1);
    expectHTTPError(416);
}

// ---- statuses --------------------------------------------------------------------------------------------

TEST_P(NetRequestNginxTest, TellsErrorsWithWhatTheServerSaid) {
    for (const int status : {400, 401, 403, 404, 409, 429, 500, 502, 503}) {
        SCOPED_TRACE(status);
        prepare("/status/" + std::to_string(status));
        expectHTTPError(status);
        EXPECT_EQ(getBody(), "status " + std::to_string(status) + "\n");
    }
    prepare("/status/204");
    performWell();
    EXPECT_EQ(getBody(), "");
}

TEST_P(NetRequestNginxTest, FollowsRedirects) {
    for (const int status : {301, 302, 303, 307, 308}) {
        SCOPED_TRACE(status);
        prepare("/redirect/" + std::to_string(status));
        performWell();
        EXPECT_EQ(getBody(), "Hello, world!\n");
        EXPECT_EQ(getHeader("location"), "none");

        prepare("/redirect/" + std::to_string(status));
        m_request->setFollowRedirects(false);
        expectHTTPError(status);
        EXPECT_THAT(getHeader("location"), testing::EndsWith("/static/a.txt"));
    }
}

TEST_P(NetRequestNginxTest, RepeatsTheBodyOfAPutBehindARedirect) {
    for (const int status : {301, 302, 307, 308}) {
        SCOPED_TRACE(status);
        const std::string path = makeStorePath("redirected-" + std::to_string(status));
        preparePut("/redirect-dav/" + std::to_string(status) + path.substr(4), "sent twice");
        performWell();
        EXPECT_EQ(m_request->getResponseCode(), 201);

        prepare(path);
        performWell();
        EXPECT_EQ(getBody(), "sent twice");
        prepare(path, "DELETE");
        performWell();
    }
}

TEST_P(NetRequestNginxTest, LogsIn) {
    prepare("/auth/a.txt");
    expectHTTPError(401);
    EXPECT_EQ(getHeader("www-authenticate"), "Basic realm=\"test\"");

    prepare("/auth/a.txt");
    m_request->setUserName("tester");
    m_request->setUserPassword("wrong");
    expectHTTPError(401);

    prepare("/auth/a.txt");
    m_request->setUserName("tester");
    m_request->setUserPassword("secret");
    performWell();
    EXPECT_EQ(getBody(), "Hello, world!\n");

    // libcurl first asks which methods the server knows.
    prepare("/auth/a.txt");
    m_request->setHTTPAuthMethods(static_cast<unsigned int>(CURLAUTH_ANY));
    m_request->setUserName("tester");
    m_request->setUserPassword("secret");
    performWell();
    EXPECT_EQ(getBody(), "Hello, world!\n");
}

// ---- verbose log -----------------------------------------------------------------------------------------

TEST_P(NetRequestNginxTest, ShowsNoCredentials) {
    const P<vexil::CNetHeaders> headers = new vexil::CNetHeaders;
    headers->add("Cookie", "a=biscuit");
    headers->add("x-amz-security-token", "temporary");
    const std::string basic = sigil::base64Encode("tester:secret", 13, true, false).toUTF8();

    renew();
    m_request->setURL(String::fromUTF8(makeURL("/auth/a.txt", "tester:secret")));
    m_request->setCustomHTTPHeaders(headers);
    performWell();

    EXPECT_THAT(dump(*m_request->getVerboseOutput(whole)), HasSubstr("biscuit"));
    if (GetParam() == Protocol::HTTP2) {
        // libcurl also writes each header into a message; the text before it depends on the version.
        EXPECT_THAT(dump(*m_request->getVerboseOutput(whole)),
                    HasSubstr("[authorization: Basic " + basic + "]"));
        EXPECT_THAT(describeChildren(*m_request->getRedactedVerboseOutput(whole)),
                    Contains(AllOf(StartsWith("info|"), EndsWith(" [authorization: ~stripped~]"))));
    }
    for (const unsigned int length : {0u, 1u, 7u, 50u, whole}) {
        const std::string text = dump(*m_request->getRedactedVerboseOutput(length));
        for (const std::string& secret : {std::string("tester"), std::string("secret"), basic,
                                          std::string("biscuit"), std::string("temporary")}) {
            EXPECT_THAT(text, Not(HasSubstr(secret)));
        }
    }
    const std::string text = dump(*m_request->getRedactedVerboseOutput(whole));
    EXPECT_THAT(text, HasSubstr(makeStatusLine(200)));
    EXPECT_THAT(text, HasSubstr("receive type=data bytes=14|Hello%2C%20world%21%0A"));
}

// ---- TLS -------------------------------------------------------------------------------------------------

class NetRequestNginxTLSTest : public NetRequestNginxTest {};

INSTANTIATE_TEST_SUITE_P(Over, NetRequestNginxTLSTest,
                         testing::Values(Protocol::HTTP1OverTLS, Protocol::HTTP2), [](const auto& param) {
                             return param.param == Protocol::HTTP2 ? "HTTP2" : "HTTP1OverTLS";
                         });

TEST_P(NetRequestNginxTLSTest, RefusesACertificateOfAnotherAuthority) {
    prepare("/static/a.txt");
    m_request->setRootCertBundlePath(getPath("VEXIL_WRONG_CA"));
    const std::optional<CCURLError> error = perform();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_EQ(error->getResponseCode(), 0);
    EXPECT_THAT(std::string(error->what()), HasSubstr("certificate"));
    EXPECT_EQ(getBody(), "");

    prepare("/static/a.txt");
    performWell();
}

TEST_P(NetRequestNginxTLSTest, RefusesACertificateThatTheSystemDoesNotKnow) {
    m_request = new CNetRequest;
    m_request->setURL(String::fromUTF8(makeURL("/static/a.txt")));
    const std::optional<CCURLError> error = perform();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_PEER_FAILED_VERIFICATION);
}

TEST_P(NetRequestNginxTLSTest, TakesAnyCertificateWithoutVerification) {
    prepare("/static/a.txt");
    m_request->setRootCertBundlePath(getPath("VEXIL_WRONG_CA"));
    m_request->setSSLVerifyPeer(false);
    performWell();
    EXPECT_EQ(getBody(), "Hello, world!\n");
}

TEST_P(NetRequestNginxTLSTest, FailsWithoutItsBundle) {
    prepare("/static/a.txt");
    m_request->setRootCertBundlePath(vexil::TPathImpl<vexil::CWindowsPathTraits>(String("no such file.pem")));
    const std::optional<CCURLError> error = perform();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_SSL_CACERT_BADFILE);
}

}  // namespace
