// Requests with the user's proxies, byte for byte.
#include "sigil/Base64.h"
#include "tests/net/NetRequestTestSupport.h"
#include "tests/proxy/ProxyEnvironment.h"
#include "tests/support/ScriptedPeer.h"
#include "vexil/proxy/EnvironmentProxySource.h"
#include "vexil/proxy/ProxySettings.h"

#include <map>

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using vexil::CEnvironmentProxySource;
using vexil::CProxySettings;
using vexil::IUserProxySource;

const char* const reply = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

/// The request that libcurl sends to a forwarding proxy.
std::string forwardHead(const std::string& url, const std::string& host, const std::string& login = {}) {
    return "GET " + url + " HTTP/1.1\r\nHost: " + host + "\r\n" + login +
           "Accept: */*\r\nProxy-Connection: Keep-Alive\r\n\r\n";
}

/// The request that libcurl sends to a server.
std::string directHead(const std::string& target, const std::string& host) {
    return "GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\nAccept: */*\r\n\r\n";
}

/// The request that libcurl sends to a tunnelling proxy.
std::string tunnelHead(const std::string& host, const std::string& login = {}) {
    return "CONNECT " + host + " HTTP/1.1\r\nHost: " + host + "\r\n" + login +
           "Proxy-Connection: Keep-Alive\r\n\r\n";
}

std::string loginLine(const std::string& login) {
    return "Proxy-Authorization: Basic " +
           sigil::base64Encode(login.data(), static_cast<int>(login.size()), true, false).toUTF8() + "\r\n";
}

class NetRequestProxyTest : public testing::Test {
protected:
    NetRequestProxyTest() {
        clearProxyVariables();
        setUser({});
    }
    ~NetRequestProxyTest() override {
        // Ends the connections; scripts may wait for this.
        request = nullptr;
        clearProxyVariables();
        for (const ScriptedPeer* peer : {&proxy, &server}) {
            EXPECT_TRUE(peer->waitUntilIdle());
            EXPECT_THAT(peer->failures(), IsEmpty());
        }
    }

    static std::string hostOf(const ScriptedPeer& peer) { return "127.0.0.1:" + std::to_string(peer.port()); }

    /// The user's settings: variables as on Linux, but libcurl itself does not see their values.
    void setUser(const std::map<std::string, std::string>& variables) {
        const P<IUserProxySource> source = new CEnvironmentProxySource([&](const char* name) {
            const auto found = variables.find(name);
            return found == variables.end() ? std::nullopt : std::optional(found->second);
        });
        settings->initFromSource(*source);
    }

    void prepare(const std::string& url) {
        request->setURL(url.c_str());
        request->setProxyForCurrentURLFromUserSettings();
    }

    void expectAnswer() {
        request->perform();
        EXPECT_EQ(bodyOf(*request), "ok");
    }

    static std::vector<std::string> headsOf(const ScriptedPeer& peer) {
        std::vector<std::string> heads;
        for (const RecordedRequest& recorded : peer.requests()) {
            heads.push_back(recorded.raw);
        }
        return heads;
    }

    ScriptedPeer proxy;
    ScriptedPeer server;
    P<CProxySettings> settings = CProxySettings::getUserSettings();
    P<CNetRequest> request = new CNetRequest;
};

// ---- on the wire -----------------------------------------------------------------------------------------

TEST_F(NetRequestProxyTest, TheUsersProxyGetsTheWholeURL) {
    setUser({{"http_proxy", hostOf(proxy)}});
    proxy.onConnection().expectHead().reply(reply);
    prepare("http://files.example:8080/a%20b?c=d");
    expectAnswer();
    EXPECT_THAT(headsOf(proxy),
                ElementsAre(forwardHead("http://files.example:8080/a%20b?c=d", "files.example:8080")));
}

TEST_F(NetRequestProxyTest, AnyFormOfAProxyWorks) {
    for (const std::string& form :
         {hostOf(proxy), "http://" + hostOf(proxy), "http://" + hostOf(proxy) + "/"}) {
        setUser({{"all_proxy", form}});
        proxy.clearRecords();
        proxy.onConnection().expectHead().reply(reply).close();
        prepare("http://files.example/a");
        expectAnswer();
        EXPECT_THAT(headsOf(proxy), ElementsAre(forwardHead("http://files.example/a", "files.example")))
            << form;
    }
}

TEST_F(NetRequestProxyTest, AHostThatIsReachedDirectlyGetsThePathAlone) {
    setUser({{"http_proxy", hostOf(proxy)}, {"no_proxy", "files.example,127.0.0.1"}});
    server.onConnection().expectHead().reply(reply);
    prepare(server.url("/a?b"));
    expectAnswer();
    EXPECT_THAT(headsOf(server), ElementsAre(directHead("/a?b", hostOf(server))));
    EXPECT_EQ(proxy.connectionCount(), 0u);
}

TEST_F(NetRequestProxyTest, LibcurlsOwnLookIntoTheEnvironmentIsOff) {
    // Set without the settings, which say "directly".
    setVariable("http_proxy", hostOf(proxy));
    setVariable("all_proxy", hostOf(proxy));
    proxy.onConnection().expectHead().reply(reply).close();
    server.onConnection().expectHead().reply(reply).close();

    // Without the call libcurl takes the proxy from the environment.
    request->setURL(server.url("/first").c_str());
    expectAnswer();
    EXPECT_THAT(headsOf(proxy), ElementsAre(forwardHead(server.url("/first"), hostOf(server))));

    prepare(server.url("/second"));
    expectAnswer();
    EXPECT_THAT(headsOf(server), ElementsAre(directHead("/second", hostOf(server))));
    EXPECT_EQ(proxy.connectionCount(), 1u);
}

TEST_F(NetRequestProxyTest, LibcurlsOwnProxyGivesWayToTheUsers) {
    setVariable("http_proxy", hostOf(server));
    settings->addProxiesFromString("http=" + String::fromUTF8(hostOf(proxy)));
    proxy.onConnection().expectHead().reply(reply);
    prepare("http://files.example/a");
    expectAnswer();
    EXPECT_EQ(server.connectionCount(), 0u);
}

TEST_F(NetRequestProxyTest, LibcurlItselfHeedsNoProxyToo) {
    // There it also supports networks and domains, unlike the settings.
    settings->addProxiesFromString("http=" + String::fromUTF8(hostOf(proxy)));
    setVariable("no_proxy", "127.0.0.0/8");
    server.onConnection().expectHead().reply(reply);
    prepare(server.url("/a"));
    expectAnswer();
    EXPECT_THAT(headsOf(server), ElementsAre(directHead("/a", hostOf(server))));
    EXPECT_EQ(proxy.connectionCount(), 0u);
}

TEST_F(NetRequestProxyTest, TheURLOfTheMomentCounts) {
    setUser({{"http_proxy", hostOf(proxy)}, {"no_proxy", "127.0.0.1"}});
    server.onConnection().expectHead().reply(reply).expectHead().reply(reply);
    proxy.onConnection().expectHead().reply(reply);
    prepare(server.url("/1"));
    expectAnswer();
    prepare("http://files.example/2");
    expectAnswer();
    prepare(server.url("/3"));
    expectAnswer();
    EXPECT_THAT(headsOf(proxy), ElementsAre(forwardHead("http://files.example/2", "files.example")));
    EXPECT_THAT(headsOf(server),
                ElementsAre(directHead("/1", hostOf(server)), directHead("/3", hostOf(server))));
}

TEST_F(NetRequestProxyTest, ResetForgetsTheProxy) {
    setUser({{"http_proxy", hostOf(proxy)}});
    prepare(server.url("/"));
    request->reset();
    server.onConnection().expectHead().reply(reply);
    request->setURL(server.url("/a").c_str());
    expectAnswer();
    EXPECT_EQ(proxy.connectionCount(), 0u);
}

// ---- logins ----------------------------------------------------------------------------------------------

TEST_F(NetRequestProxyTest, ALoginInTheProxysURLIsDecodedAndSent) {
    const std::pair<const char*, const char*> cases[] = {
        {"tester:secret", "tester:secret"},
        {"tester:", "tester:"},
        {"te%73ter:s%3Ae%40c%2Fr%25et", "tester:s:e@c/r%et"},
        {"tester:p%C3%A4ss", "tester:p\xc3\xa4ss"},
        {"tester:a%3Bb%2Cc%20d%3De", "tester:a;b,c d=e"},
        // As a user may write it: the characters that separate proxies are encoded.
        {"tester:a;b,c=d", "tester:a;b,c=d"},
    };
    for (const auto& [written, meant] : cases) {
        setUser({{"http_proxy", std::string("http://") + written + "@" + hostOf(proxy)}});
        proxy.clearRecords();
        proxy.onConnection().expectHead().reply(reply).close();
        prepare("http://files.example/a");
        expectAnswer();
        EXPECT_THAT(headsOf(proxy),
                    ElementsAre(forwardHead("http://files.example/a", "files.example", loginLine(meant))))
            << written;
    }
}

TEST_F(NetRequestProxyTest, ALoginIsForTheProxyAlone) {
    setUser({{"http_proxy", "http://tester:secret@" + hostOf(proxy)}, {"no_proxy", "127.0.0.1"}});
    server.onConnection().expectHead().reply(reply);
    prepare(server.url("/a"));
    expectAnswer();
    EXPECT_THAT(headsOf(server), ElementsAre(directHead("/a", hostOf(server))));
}

TEST_F(NetRequestProxyTest, ARefusedLoginIsTheErrorOfTheAnswer) {
    setUser({{"http_proxy", "http://tester:wrong@" + hostOf(proxy)}});
    proxy.onConnection().expectHead().reply(
        "HTTP/1.1 407 Proxy Authentication Required\r\nProxy-Authenticate: Basic realm=\"p\"\r\n"
        "Content-Length: 2\r\n\r\nno");
    prepare("http://files.example/a");
    const auto error = thrownBy<CCURLError>([&] { request->perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_HTTP_RETURNED_ERROR);
    EXPECT_EQ(error->getResponseCode(), 407);
    EXPECT_EQ(error->getHTTPStatusLine(), "HTTP/1.1 407 Proxy Authentication Required");
    EXPECT_EQ(request->getResponseCode(), 407);
    EXPECT_THAT(headsOf(proxy), ElementsAre(forwardHead("http://files.example/a", "files.example",
                                                        loginLine("tester:wrong"))));
    for (const std::string& text : propsOf(*error)) {
        EXPECT_THAT(text, testing::Not(HasSubstr("wrong")));
    }
    EXPECT_THAT(error->what(), testing::Not(HasSubstr("wrong")));
}

TEST_F(NetRequestProxyTest, ARefusedTunnelIsAFailedTransfer) {
    setUser({{"https_proxy", "http://tester:wrong@" + hostOf(proxy)}});
    proxy.onConnection()
        .expectHead()
        .reply("HTTP/1.1 407 Proxy Authentication Required\r\nProxy-Authenticate: Basic realm=\"p\"\r\n"
               "Content-Length: 0\r\n\r\n")
        .clientMayLeave();
    prepare("https://files.example/a");
    const auto error = thrownBy<CCURLError>([&] { request->perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_RECV_ERROR);
    EXPECT_EQ(error->getResponseCode(), 0);
    EXPECT_EQ(error->getHTTPStatusLine(), "HTTP/1.1 407 Proxy Authentication Required");
    EXPECT_THAT(std::string(error->what()), HasSubstr("407"));
    EXPECT_THAT(headsOf(proxy), ElementsAre(tunnelHead("files.example:443", loginLine("tester:wrong"))));
}

TEST_F(NetRequestProxyTest, FTPGoesThroughATunnelOnDemand) {
    setUser({{"ftp_proxy", "http://tester:secret@" + hostOf(proxy)}});
    proxy.onConnection()
        .expectHead()
        .reply("HTTP/1.1 200 OK\r\n\r\n220 ready\r\n")
        .expectLine("USER anonymous")
        .reply("530 no\r\n")
        .clientMayLeave();
    request->setOptionInt(CURLOPT_HTTPPROXYTUNNEL, 1);
    prepare("ftp://files.example/a");
    const auto error = thrownBy<CCURLError>([&] { request->perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_LOGIN_DENIED);
    EXPECT_EQ(error->getResponseCode(), 530);
    EXPECT_THAT(headsOf(proxy),
                ElementsAre(testing::StartsWith(tunnelHead("files.example:21", loginLine("tester:secret")))));
}

TEST_F(NetRequestProxyTest, AProxyThatIsNotThereIsTold) {
    setUser({{"http_proxy", "127.0.0.1:" + std::to_string(ScriptedPeer::closedPort())}});
    prepare(server.url("/a"));
    const auto error = thrownBy<CCURLError>([&] { request->perform(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_COULDNT_CONNECT);
    EXPECT_EQ(server.connectionCount(), 0u) << "the server is not asked instead";
}

}  // namespace
