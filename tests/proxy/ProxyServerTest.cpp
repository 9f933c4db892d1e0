// The user's proxies with real servers: tinyproxy, with and without a login, in front of web, FTP and mail
// servers.
#include "tests/ftp/FTPServerTestSupport.h"
#include "tests/proxy/ProxyEnvironment.h"
#include "vexil/mail/SMTPClient.h"
#include "vexil/proxy/ProxySettings.h"

namespace {

using namespace vexil_test;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using vexil::CProxySettings;

/// One of the proxies, and the settings of the user for it.
struct Proxy {
    const char* name;
    const char* variables;  ///< prefix of the names
    const char* login;      ///< login in its URL

    std::string host() const { return environment(variables + std::string("_ENDPOINT")); }
    std::string url() const { return "http://" + std::string(login) + host(); }
    std::string log() const { return readFile(environment(variables + std::string("_LOG"))); }
};

void PrintTo(const Proxy& proxy, std::ostream* out) {
    *out << proxy.name;
}

/// The name of a test's parameter.
std::string nameOfProxy(const testing::TestParamInfo<Proxy>& info) {
    return info.param.name;
}

constexpr Proxy openProxy{"Open", "VEXIL_PROXY", ""};
constexpr Proxy loginProxy{"Login", "VEXIL_LOGIN_PROXY", "tester:secret@"};
constexpr Proxy encodedLoginProxy{"EncodedLogin", "VEXIL_LOGIN_PROXY", "t%65ster:%73ecret@"};
constexpr Proxy forgottenLoginProxy{"ForgottenLogin", "VEXIL_LOGIN_PROXY", ""};
constexpr Proxy wrongLoginProxy{"WrongLogin", "VEXIL_LOGIN_PROXY", "tester:wrong@"};

/// The user has set a proxy for all URLs.
class ProxyUser {
public:
    explicit ProxyUser(const Proxy& proxy) : m_proxy(proxy) {
        clearProxyVariables();
        setVariable("all_proxy", m_proxy.url());
        settings->initFromUserSettings();
    }
    ~ProxyUser() { clearProxyVariables(); }
    ProxyUser(const ProxyUser&) = delete;
    ProxyUser& operator=(const ProxyUser&) = delete;

    /// The lines that the proxy has logged since then.
    std::string log() const { return m_proxy.log().substr(m_logStart); }

    const P<CProxySettings> settings = CProxySettings::getUserSettings();

private:
    const Proxy m_proxy;
    const std::size_t m_logStart = m_proxy.log().size();
};

/// "127.0.0.1:PORT" of "http://127.0.0.1:PORT".
std::string hostOf(const std::string& endpoint) {
    return endpoint.substr(endpoint.find("//") + 2);
}

P<vexil::TBuffer<unsigned char>> bufferOf(const std::string& bytes) {
    const P<vexil::TBuffer<unsigned char>> buffer = new vexil::TBuffer<unsigned char>;
    buffer->append(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    return buffer;
}

// ---- the web ---------------------------------------------------------------------------------------------

class ProxyServerTest : public testing::TestWithParam<Proxy> {
protected:
    void prepare(const std::string& url, const char* method = "") {
        request.reset();
        request.setRootCertBundlePath(text(environment("VEXIL_CA")));
        request.setURL(text(url));
        request.setHTTPMethod(method);
        request.setProxyForCurrentURLFromUserSettings();
    }

    std::string get(const std::string& url) {
        prepare(url);
        request.perform();
        return bodyOf(request);
    }

    String header(const char* name) const {
        const auto& headers = request.getResponseHeaderMap();
        const auto found = headers.find(name);
        return found == headers.end() ? String("none") : found->second;
    }

    ProxyUser user{GetParam()};
    CNetRequest request;
    const std::string http = environment("VEXIL_HTTP_ENDPOINT");
    const std::string https = environment("VEXIL_HTTPS_ENDPOINT");
    const std::filesystem::path root = environment("VEXIL_HTTP_ROOT");
};

INSTANTIATE_TEST_SUITE_P(, ProxyServerTest, testing::Values(openProxy, loginProxy, encodedLoginProxy),
                         nameOfProxy);

TEST_P(ProxyServerTest, ForwardsHTTP) {
    EXPECT_EQ(get(http + "/static/a.txt"), "Hello, world!\n");
    EXPECT_THAT(header("via").toUTF8(), HasSubstr("tinyproxy"));
    EXPECT_TRUE(isSame(get(http + "/static/large.bin"), readFile(root / "static/large.bin")));
    EXPECT_THAT(user.log(),
                AllOf(HasSubstr("GET " + http + "/static/a.txt "),
                      HasSubstr("GET " + http + "/static/large.bin "), Not(HasSubstr("CONNECT 127"))));
}

TEST_P(ProxyServerTest, ForwardsUploadsAndErrors) {
    const std::string body = makeBytes(300000);
    prepare(http + "/dav/proxied.bin", "PUT");
    request.setSendDataBuffer(bufferOf(body));
    request.perform();
    EXPECT_TRUE(isSame(readFile(root / "dav/proxied.bin"), body));
    prepare(http + "/dav/proxied.bin", "DELETE");
    request.perform();
    const auto error = thrownBy<CCURLError>([&] { get(http + "/static/missing"); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getResponseCode(), 404);
}

TEST_P(ProxyServerTest, KeepsItsLoginToItself) {
    EXPECT_THAT(get(http + "/echo/"), AllOf(StartsWith("GET /echo/ "), HasSubstr(" auth= ")));
}

TEST_P(ProxyServerTest, TunnelsHTTPS) {
    EXPECT_EQ(get(https + "/static/a.txt"), "Hello, world!\n");
    EXPECT_EQ(header("via"), "none") << "the proxy sees nothing of it";
    EXPECT_EQ(request.getResponseCode(), 200);
    EXPECT_THAT(request.getHTTPStatusLine().toUTF8(), StartsWith("HTTP/2 200"));
    EXPECT_TRUE(isSame(get(https + "/static/large.bin"), readFile(root / "static/large.bin")));
    EXPECT_EQ(request.getInfoLong(CURLINFO_NUM_CONNECTS), 0) << "the tunnel is kept";
    EXPECT_THAT(user.log(),
                AllOf(HasSubstr("CONNECT " + hostOf(https) + " "), Not(HasSubstr("/static/a.txt"))));
}

TEST_P(ProxyServerTest, IsPassedByForHostsThatNeedNone) {
    setVariable("no_proxy", "other.example, 127.0.0.1");
    user.settings->initFromUserSettings();
    EXPECT_EQ(get(http + "/static/a.txt"), "Hello, world!\n");
    EXPECT_EQ(header("via"), "none");
    EXPECT_EQ(get(https + "/static/a.txt"), "Hello, world!\n");
    EXPECT_THAT(user.log(), AllOf(Not(HasSubstr("GET ")), Not(HasSubstr("CONNECT 127"))));
}

// ---- refused logins --------------------------------------------------------------------------------------

class ProxyServerRefusalTest : public ProxyServerTest {
protected:
    /// The response of this proxy to a missing or wrong login.
    std::string statusLine() const {
        return GetParam().login[0] ? "HTTP/1.0 401 Unauthorized"
                                   : "HTTP/1.0 407 Proxy Authentication Required";
    }
    int status() const { return GetParam().login[0] ? 401 : 407; }

    static void expectNoPassword(const CCURLError& error) {
        EXPECT_THAT(std::string(error.what()), Not(HasSubstr("wrong")));
        for (const std::string& property : propsOf(error)) {
            EXPECT_THAT(property, Not(HasSubstr("wrong")));
        }
    }
};

INSTANTIATE_TEST_SUITE_P(, ProxyServerRefusalTest, testing::Values(forgottenLoginProxy, wrongLoginProxy),
                         nameOfProxy);

TEST_P(ProxyServerRefusalTest, OfHTTPIsTheErrorOfTheAnswer) {
    const auto error = thrownBy<CCURLError>([&] { get(http + "/static/a.txt"); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_HTTP_RETURNED_ERROR);
    EXPECT_EQ(error->getResponseCode(), status());
    EXPECT_EQ(error->getResponseCodeDomain(), "http");
    EXPECT_EQ(error->getHTTPStatusLine().toUTF8(), statusLine());
    expectNoPassword(*error);
}

TEST_P(ProxyServerRefusalTest, OfATunnelIsAFailedTransfer) {
    const auto error = thrownBy<CCURLError>([&] { get(https + "/static/a.txt"); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_RECV_ERROR);
    EXPECT_EQ(error->getResponseCode(), 0);
    EXPECT_EQ(error->getHTTPStatusLine().toUTF8(), statusLine());
    EXPECT_THAT(std::string(error->what()), HasSubstr(std::to_string(status())));
    expectNoPassword(*error);
}

TEST_P(ProxyServerRefusalTest, OfFTPIsAFailedTransfer) {
    CFTPClient client(text(environment("VEXIL_FTP_ENDPOINT")), "tester", "secret", CFTPClient::ConnectPlain);
    client.setRequestSetup(
        new FunctionSetup([](CNetRequest& prepared) { prepared.setProxyForCurrentURLFromUserSettings(); }));
    EXPECT_EQ(failureOf([&] { client.createDir(request, "/refused", false); }),
              std::to_string(CURLE_RECV_ERROR) + " 0");
    EXPECT_FALSE(std::filesystem::exists(environment("VEXIL_FTP_ROOT") + "/refused"));
}

// ---- FTP -------------------------------------------------------------------------------------------------

class ProxyServerFTPTest : public FTPDirectoryTest {
protected:
    ProxyServerFTPTest() : FTPDirectoryTest(GetParam()) {
        // There is no environment variable for this scheme.
        user.settings->setProxyForURLScheme("ftps", user.settings->getProxyForURLScheme("ftp"));
        client.setRequestSetup(new FunctionSetup([this](CNetRequest& prepared) {
            trust(prepared, access, access.bundle());
            prepared.setProxyForCurrentURLFromUserSettings();
        }));
    }

    const ProxyUser user{loginProxy};
};

INSTANTIATE_TEST_SUITE_P(, ProxyServerFTPTest,
                         testing::Values(pyftpdlibPlain, pyftpdlibExplicitTLS, pyftpdlibImplicitTLS), nameOf);

TEST_P(ProxyServerFTPTest, TunnelsControlAndData) {
    const std::string body = makeBytes(100000);
    upload(path("x/a"), body, true);
    EXPECT_TRUE(isSame(readFile(onDisk("x/a")), body));
    EXPECT_TRUE(isSame(download(path("x/a")), body));
    EXPECT_THAT(list(path("x")), ElementsAre("f a"));
    EXPECT_FALSE(exists(path("missing")));
    const std::string log = user.log();
    const std::string control = "CONNECT " + access.host().toUTF8() + " ";
    EXPECT_THAT(log, AllOf(HasSubstr(control), Not(HasSubstr("ftp://"))));
    // Data connections use the proxy, too.
    std::size_t tunnels = 0;
    for (std::size_t found = log.find("CONNECT 127.0.0.1:"); found != std::string::npos;
         found = log.find("CONNECT 127.0.0.1:", found + 1)) {
        ++tunnels;
    }
    EXPECT_GE(tunnels, 4u);
}

// ---- mail ------------------------------------------------------------------------------------------------

using ProxyServerMailTest = ProxyServerTest;

INSTANTIATE_TEST_SUITE_P(, ProxyServerMailTest, testing::Values(openProxy, loginProxy), nameOfProxy);

TEST_P(ProxyServerMailTest, TunnelsSTARTTLS) {
    const std::filesystem::path mails = environment("VEXIL_SMTP_MAILS");
    for (const auto& file : std::filesystem::directory_iterator(mails)) {
        std::filesystem::remove(file);
    }
    user.settings->setProxyForURLScheme("smtp", text(GetParam().url()));
    const std::string endpoint = environment("VEXIL_SMTP_ENDPOINT");
    const int port = std::stoi(endpoint.substr(endpoint.find(':') + 1));
    vexil::CSMTPClient client(
        vexil::CSMTPParams("127.0.0.1", port, vexil::CSMTPParams::ConnectStartTLS, "tester", "secret"));
    client.setVerifyCertificate(true);
    client.setRootCertBundlePath(text(environment("VEXIL_SMTP_CA")));
    client.setRequestSetup(
        new FunctionSetup([](CNetRequest& prepared) { prepared.setProxyForCurrentURLFromUserSettings(); }));
    const std::string message = "Subject: s\r\n\r\nthrough a proxy\r\n";
    client.sendMail("a@example.com", {"b@example.com"}, *bufferOf(message));

    std::vector<std::string> arrived;
    for (const auto& file : std::filesystem::directory_iterator(mails)) {
        if (file.path().extension() == ".eml") {
            arrived.push_back(readFile(file.path()));
        }
    }
    EXPECT_THAT(arrived, ElementsAre(message));
    EXPECT_THAT(user.log(), HasSubstr("CONNECT " + endpoint + " "));
}

}  // namespace
