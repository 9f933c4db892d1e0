// Connections that requests share: one after the other use the same one, and never with another demand.
#include "vexil/net/SharedConnections.h"

#include "tests/async/AsyncTestSupport.h"
#include "tests/mail/SMTPPeer.h"
#include "tests/support/LibcurlVersion.h"
#include "tests/support/ScriptedPeer.h"
#include "vexil/net/TransferTimings.h"
#include "zet/BufferStream.h"

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <set>
#include <thread>

namespace {

using namespace vexil_test;
using vexil::CInvalidArgError;
using vexil::CNetHeaders;
using vexil::CNetStringList;
using vexil::CSharedConnections;
using Security = SMTPPeer::Security;
using Prepare = std::function<void(CNetRequest&)>;

constexpr std::size_t many = 20;

P<CNetRequest> makeSharing(const P<CSharedConnections>& shared, const std::string& url) {
    P<CNetRequest> request = new CNetRequest;
    setSharedConnections(*request, shared);
    request->setProxy("");
    request->setURL(String::fromUTF8(url));
    return request;
}

/// Before version 8.12 of libcurl, a request with TLS sessions of its own cannot share others: 1.
const int newConnectionsAfterOwn = doRequestsShareTLSSessions() ? 0 : 1;

// ---- over HTTP -------------------------------------------------------------------------------------------

class SharedConnectionsTest : public testing::Test {
protected:
    SharedConnectionsTest() { peer.setDefaultReply(answerOf("HTTP/1.1 200 OK", "ok")); }

    P<CNetRequest> make(const std::string& path = "/") const { return makeSharing(shared, peer.url(path)); }
    void get(const std::string& path = "/") const {
        const P<CNetRequest> request = make(path);
        request->perform();
        EXPECT_EQ(request->getReceivedText(), "ok");
    }

    ScriptedPeer peer;
    P<CSharedConnections> shared = new CSharedConnections;
};

TEST_F(SharedConnectionsTest, RequestObjectsUseOneConnection) {
    for (std::size_t i = 0; i < many; ++i) {
        const P<CNetRequest> request = make();
        request->perform();
        EXPECT_EQ(request->getReceivedText(), "ok");
        EXPECT_EQ(getTimings(*request).isConnectionReused, i > 0);
    }
    EXPECT_EQ(peer.requests().size(), many);
    EXPECT_EQ(peer.connectionCount(), 1u);
    EXPECT_EQ(shared->getIdleCount(), 1);
}

TEST_F(SharedConnectionsTest, RequestsWithoutThemMakeAConnectionEach) {
    for (int i = 0; i < 3; ++i) {
        makeSharing(nullptr, peer.url())->perform();
    }
    EXPECT_EQ(peer.connectionCount(), 3u);
}

TEST_F(SharedConnectionsTest, LivingRequestsTakeTurns) {
    const P<CNetRequest> requests[] = {make("/a"), make("/b")};
    for (int i = 0; i < 4; ++i) {
        requests[i % 2]->perform();
    }
    EXPECT_EQ(peer.connectionCount(), 1u);
}

TEST_F(SharedConnectionsTest, ThreadsOneAfterTheOtherUseOneConnection) {
    for (std::size_t i = 0; i < many; ++i) {
        std::thread([&] { get(); }).join();
    }
    EXPECT_EQ(peer.connectionCount(), 1u);
}

TEST_F(SharedConnectionsTest, ThreadsAtOnceHaveAConnectionEach) {
    constexpr std::size_t threadCount = 4;
    peer.setDefaultReply(
        [](const RecordedRequest& request) { return answerOf("HTTP/1.1 200 OK", request.requestLine()); });
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < threadCount; ++t) {
        threads.emplace_back([&, t] {
            for (std::size_t i = 0; i < many; ++i) {
                const std::string path = "/" + std::to_string(t) + "-" + std::to_string(i);
                const P<CNetRequest> request = make(path);
                request->perform();
                EXPECT_EQ(request->getReceivedText(), "GET " + path + " HTTP/1.1");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(peer.requests().size(), threadCount * many);
    EXPECT_LE(peer.connectionCount(), threadCount);
    EXPECT_EQ(static_cast<std::size_t>(shared->getIdleCount()), peer.connectionCount());
}

TEST_F(SharedConnectionsTest, AConnectionInUseIsNotLent) {
    peer.onConnection().expectHead().pause().reply(answerOf("HTTP/1.1 200 OK", "first")).thenDefault();
    const P<CNetRequest> first = make("/first");
    std::thread thread([&] { first->perform(); });
    ASSERT_TRUE(peer.waitUntilPaused());
    get();
    EXPECT_EQ(peer.connectionCount(), 2u);
    peer.release();
    thread.join();
    EXPECT_EQ(first->getReceivedText(), "first");
    get();
    EXPECT_EQ(peer.connectionCount(), 2u);
}

TEST_F(SharedConnectionsTest, ResetKeepsThem) {
    const P<CNetRequest> request = make();
    request->perform();
    request->reset();
    request->setProxy("");
    request->setURL(String::fromUTF8(peer.url()));
    request->perform();
    get();
    EXPECT_EQ(peer.connectionCount(), 1u);
}

TEST_F(SharedConnectionsTest, NullEndsThem) {
    const P<CNetRequest> request = make();
    request->perform();
    setSharedConnections(*request, nullptr);
    request->perform();
    request->perform();
    EXPECT_EQ(peer.connectionCount(), 2u) << "then it has its own ones";
    setSharedConnections(*request, shared);
    request->perform();
    request->perform();
    EXPECT_EQ(peer.connectionCount(), 2u + static_cast<std::size_t>(newConnectionsAfterOwn));
}

TEST_F(SharedConnectionsTest, OtherObjectsHaveOtherConnections) {
    get();
    makeSharing(new CSharedConnections, peer.url())->perform();
    EXPECT_EQ(peer.connectionCount(), 2u);
}

TEST_F(SharedConnectionsTest, ARequestOutlivesTheOwner) {
    const P<CNetRequest> request = make();
    shared = nullptr;
    request->perform();
    request->perform();
    EXPECT_EQ(peer.connectionCount(), 1u);
}

TEST_F(SharedConnectionsTest, AnotherThreadReleasesThemLast) {
    get();
    std::thread([last = std::exchange(shared, nullptr)]() mutable { last = nullptr; }).join();
    EXPECT_TRUE(peer.waitUntilIdle());
    EXPECT_EQ(peer.failures(), std::vector<std::string>());
}

TEST_F(SharedConnectionsTest, OneRequestTellsNothingToTheNext) {
    peer.setDefaultReply(
        "HTTP/1.1 200 OK\r\nSet-Cookie: secret=1\r\nX-Old: 1\r\nContent-Length: 2\r\n\r\nok");
    const P<CNetRequest> first = make("/first");
    const P<CNetHeaders> headers = new CNetHeaders;
    headers->add("Authorization", "Bearer secret");
    first->setCustomHTTPHeaders(headers);
    first->setOptionString(CURLOPT_COOKIELIST, "Set-Cookie: mine=1; domain=127.0.0.1");
    first->setHTTPMethod("POST");
    first->setSendDataAsUTF8("secret");
    first->setRange(1, 2);
    first->perform();
    peer.setDefaultReply(answerOf("HTTP/1.1 200 OK", "ok"));
    const P<CNetRequest> second = make("/second");
    second->perform();
    EXPECT_EQ(second->getResponseHeaderMap().count("x-old"), 0u);
    const std::vector<RecordedRequest> requests = peer.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[1].connection, 0u);
    EXPECT_EQ(requests[1].requestLine(), "GET /second HTTP/1.1");
    EXPECT_EQ(requests[1].headerLines().size(), 2u) << requests[1].head;
}

TEST_F(SharedConnectionsTest, TheEndOfARequestWritesNoCookies) {
    peer.setDefaultReply("HTTP/1.1 200 OK\r\nSet-Cookie: secret=1\r\nContent-Length: 2\r\n\r\nok");
    const std::string file = testing::TempDir() + "vexil-cookies-" + std::to_string(peer.port());
    for (const bool isSharing : {true, false}) {
        P<CNetRequest> request = isSharing ? make() : makeSharing(nullptr, peer.url("/"));
        request->setOptionString(CURLOPT_COOKIEJAR, String::fromUTF8(file));
        request->perform();
        request = nullptr;
        EXPECT_FALSE(std::filesystem::remove(file)) << isSharing;
    }
}

TEST_F(SharedConnectionsTest, TheListenerFindsTheConnection) {
    const P<CNetRequest> request = make("/outer");
    const P<TestListener> listener = new TestListener;
    listener->then = [&] { get("/inner"); };
    request->setDoneListener(listener);
    request->perform();
    EXPECT_EQ(peer.connectionCount(), 1u);
    EXPECT_EQ(shared->getIdleCount(), 1);
}

TEST_F(SharedConnectionsTest, ASinkThatThrowsEndsItsConnection) {
    peer.onConnection()
        .expectHead()
        .reply(answerOf("HTTP/1.1 200 OK", std::string(100000, 'x')))
        .clientMayLeave();
    const P<CNetRequest> failing = make("/large");
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [] { throw OwnError("full"); };
    failing->setReceiveDataSink(sink);
    EXPECT_THROW(failing->perform(), OwnError);
    get();
    EXPECT_EQ(peer.connectionCount(), 2u);
}

TEST_F(SharedConnectionsTest, AnErrorStatusKeepsTheConnection) {
    peer.onConnection().expectHead().reply(answerOf("HTTP/1.1 404 Not Found", "no")).thenDefault();
    EXPECT_THROW(make()->perform(), CCURLError);
    get();
    EXPECT_EQ(peer.connectionCount(), 1u);
}

TEST_F(SharedConnectionsTest, ACutResponseIsFollowedByANewConnection) {
    peer.onConnection().expectHead().reply("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf").close();
    EXPECT_THROW(make()->perform(), CCURLError);
    get();
    EXPECT_EQ(peer.connectionCount(), 2u);
}

TEST_F(SharedConnectionsTest, AConnectionThatTheServerClosedIsReplaced) {
    peer.onConnection().expectHead().reply(answerOf("HTTP/1.1 200 OK", "ok")).close();
    get();
    ASSERT_TRUE(peer.waitUntilIdle());
    get();
    get();
    EXPECT_EQ(peer.connectionCount(), 2u);
}

TEST_F(SharedConnectionsTest, ACancelledTransferEndsItsConnection) {
    peer.onConnection().expectHead().pause().clientMayLeave();
    const P<CNetRequest> cancelled = make();
    cancelled->setCancellable(true);
    std::thread thread([&] { EXPECT_THROW(cancelled->perform(), CCURLError); });
    ASSERT_TRUE(peer.waitUntilPaused());
    cancelled->cancel();
    thread.join();
    get();
    EXPECT_EQ(peer.connectionCount(), 2u);
    peer.release();
}

TEST_F(SharedConnectionsTest, RequestsOnAManagerUseTheManagersConnections) {
    get();
    {
        vexil::CAsyncNetRequestManager manager;
        for (int i = 0; i < 2; ++i) {
            const P<CNetRequest> request = make();
            manager.addRequest(request);
            driveToEnd(manager);
            request->checkAsyncResult();
            request->perform();
        }
    }
    EXPECT_EQ(peer.connectionCount(), 2u + static_cast<std::size_t>(newConnectionsAfterOwn));
    EXPECT_EQ(shared->getIdleCount(), 1 + newConnectionsAfterOwn);
}

TEST_F(SharedConnectionsTest, WhatTheCallerKeepsApartIsNotShared) {
    const std::unique_ptr<CURLSH, decltype(&curl_share_cleanup)> own(curl_share_init(), &curl_share_cleanup);
    const std::pair<const char*, Prepare> setups[] = {
        {"own connections", [](CNetRequest& r) { r.setKeepsOwnConnections(true); }},
        {"a share", [&](CNetRequest& r) { r.setOptionPtr(CURLOPT_SHARE, own.get()); }},
        {"a function",
         [](CNetRequest& r) {
             const curl_sockopt_callback function = [](void*, curl_socket_t, curlsocktype) { return 0; };
             r.setOptionPtr(CURLOPT_SOCKOPTFUNCTION, reinterpret_cast<void*>(function));
         }},
        {"a function for the end",
         [](CNetRequest& r) {
             const curl_closesocket_callback function = [](void*, curl_socket_t) { return 0; };
             r.setOptionPtr(CURLOPT_CLOSESOCKETFUNCTION, reinterpret_cast<void*>(function));
         }},
        {"a connection alone", [](CNetRequest& r) { r.setOptionInt(CURLOPT_CONNECT_ONLY, 1); }},
    };
    for (const auto& [name, apply] : setups) {
        get();
        const std::size_t before = peer.connectionCount();
        for (std::size_t i = 1; i <= 2; ++i) {
            const P<CNetRequest> request = make();
            apply(*request);
            try {
                request->perform();
            } catch (const CCURLError&) {
                EXPECT_EQ(request->getResponseCode(), 0) << name;
            }
            EXPECT_TRUE(peer.waitForConnections(before + 1)) << name;
        }
        EXPECT_EQ(shared->getIdleCount(), 1) << name;
    }
}

TEST_F(SharedConnectionsTest, TheNumberThatIsKeptIsLimited) {
    ScriptedPeer others[2];
    for (ScriptedPeer& other : others) {
        other.setDefaultReply(answerOf("HTTP/1.1 200 OK", "ok"));
    }
    shared = new CSharedConnections(2);
    get();
    for (const ScriptedPeer& other : others) {
        makeSharing(shared, other.url())->perform();
    }
    EXPECT_EQ(shared->getIdleCount(), 2);
    makeSharing(shared, others[0].url())->perform();
    EXPECT_EQ(others[0].connectionCount(), 1u);
    get();
    EXPECT_EQ(peer.connectionCount(), 2u) << "unused for the longest time";
    makeSharing(shared, others[0].url())->perform();
    EXPECT_EQ(others[0].connectionCount(), 1u) << "used since the other one";
}

TEST_F(SharedConnectionsTest, NoneAreKeptIfNoneAreAllowed) {
    shared = new CSharedConnections(0);
    get();
    EXPECT_EQ(shared->getIdleCount(), 0);
    get();
    EXPECT_EQ(peer.connectionCount(), 2u);
}

TEST_F(SharedConnectionsTest, ANegativeNumberIsRefused) {
    const auto error = thrownBy<CInvalidArgError>([] { (void)zet::make<CSharedConnections>(-1); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getMessage(), "maxIdle must not be negative");
}

TEST_F(SharedConnectionsTest, IdleConnectionsCanBeClosed) {
    peer.onConnection().expectHead().reply(answerOf("HTTP/1.1 200 OK", "ok")).waitForClose();
    get();
    shared->closeIdle();
    EXPECT_EQ(shared->getIdleCount(), 0);
    EXPECT_TRUE(peer.waitUntilIdle());
    get();
    EXPECT_EQ(peer.connectionCount(), 2u);
}

// ---- demands ---------------------------------------------------------------------------------------------

/// How a protocol begins TLS.
struct Protocol {
    std::string scheme;
    Security security;
};

[[maybe_unused]] void PrintTo(const Protocol& protocol, std::ostream* out) {
    *out << protocol.scheme;
}

struct Demand {
    std::string name;
    Prepare apply;
    bool isMet = true;  ///< by the peer
};

/// Plays the protocol as far as a transfer needs it.
void teach(SMTPPeer& peer, const Protocol& protocol) {
    if (protocol.scheme.starts_with("ftp")) {
        for (const auto& [command, reply] : {std::pair{"AUTH", "234 go ahead\r\n"},
                                             {"USER", "331 password?\r\n"},
                                             {"PASS", "230 welcome\r\n"},
                                             {"PWD", "257 \"/\"\r\n"},
                                             {"SITE", "200 done\r\n"},
                                             {"DELE", "250 done\r\n"},
                                             {"SIZE", "213 1\r\n"},
                                             {"STAT", "211 fine\r\n"}}) {
            peer.setReply(command, reply);
        }
    } else if (protocol.scheme == "https") {
        for (const char* const silent : {"", "Host:", "User-Agent:", "Accept:", "Authorization:"}) {
            peer.setReply(silent, "");
        }
        peer.setReply("HEAD", "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    }
}

class SharedDemandsTest : public testing::TestWithParam<Protocol> {
protected:
    const Protocol protocol = GetParam();
    SMTPPeer peer{protocol.security, {"STARTTLS", "AUTH PLAIN"}};
    P<CSharedConnections> shared = new CSharedConnections;

    SharedDemandsTest()
        : m_file(testing::TempDir() + "vexil-shared-" + std::to_string(peer.port()) + ".pem") {
        teach(peer, protocol);
        std::ofstream(m_file) << peer.certificate() << peer.privateKey();
        m_certificate = peer.certificate();
        blob = {m_certificate.data(), m_certificate.size(), CURL_BLOB_COPY};
    }
    ~SharedDemandsTest() override { std::filesystem::remove(m_file); }

    P<CNetRequest> make(const Prepare& apply = {}) const {
        P<CNetRequest> request = makeSharing(shared, url("localhost"));
        request->setFTPUseSSL(CURLUSESSL_ALL);
        request->setVerifyCertificate(false);
        if (protocol.scheme.starts_with("smtp")) {
            const P<CNetStringList> recipients = new CNetStringList;
            recipients->add("b@x");
            request->setUpload(true);
            request->setOptionString(CURLOPT_MAIL_FROM, "a@x");
            request->setMailRecipients(recipients);
            request->setSendDataStream(new zet::CBufferStream);
        } else {
            request->setOptionInt(CURLOPT_NOBODY, 1);
        }
        if (apply) {
            apply(*request);
        }
        return request;
    }
    CURLcode run(const Prepare& apply = {}) const {
        try {
            make(apply)->perform();
            return CURLE_OK;
        } catch (const CCURLError& error) {
            return static_cast<CURLcode>(error.getCode());
        }
    }
    std::string url(const std::string& server) const {
        return protocol.scheme + "://" + server + ":" + std::to_string(peer.port());
    }
    std::vector<Demand> demands() {
        using R = CNetRequest;
        const auto string = [](CURLoption option, const char* value) {
            return [=](R& r) { r.setOptionString(option, value); };
        };
        const auto number = [](CURLoption option, int value) {
            return [=](R& r) { r.setOptionInt(option, value); };
        };
        return {
            {"none", [](R&) {}},
            {"checked by the system", [](R& r) { r.setVerifyCertificate(true); }, false},
            {"checked",
             [&](R& r) {
                 r.setVerifyCertificate(true);
                 r.setOptionString(CURLOPT_CAINFO, path());
             }},
            {"bundle", [&](R& r) { r.setOptionString(CURLOPT_CAINFO, path()); }},
            {"blob", [&](R& r) { r.setOptionPtr(CURLOPT_CAINFO_BLOB, &blob); }},
            {"host checked", number(CURLOPT_SSL_VERIFYHOST, 2)},
            {"pinned",
             string(CURLOPT_PINNEDPUBLICKEY, "sha256//AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA="), false},
            {"at most 1.2", [](R& r) { r.setMaxTLSVersion(vexil::TLSVersion1_2); }},
            {"ciphers", string(CURLOPT_TLS13_CIPHERS, "TLS_AES_128_GCM_SHA256")},
            {"curves", string(CURLOPT_SSL_EC_CURVES, "P-256")},
            {"client certificate",
             [&](R& r) {
                 r.setOptionString(CURLOPT_SSLCERT, path());
                 r.setOptionString(CURLOPT_SSLKEY, path());
             }},
            {"the same with the key's format",
             [&](R& r) {
                 r.setOptionString(CURLOPT_SSLCERT, path());
                 r.setOptionString(CURLOPT_SSLKEY, path());
                 r.setOptionString(CURLOPT_SSLKEYTYPE, "PEM");
             }},
            {"TLS options", number(CURLOPT_SSL_OPTIONS, CURLSSLOPT_NO_PARTIALCHAIN)},
            {"no proxy list", string(CURLOPT_NOPROXY, "example.com")},
            {"a proxy's bundle", string(CURLOPT_PROXY_CAINFO, "/nowhere")},
            {"a proxy's login", string(CURLOPT_PROXYUSERPWD, "a:b")},
            {"no HTTP/2", number(CURLOPT_SSL_ENABLE_ALPN, 0)},
            {"login",
             [](R& r) {
                 r.setUserName("a");
                 r.setUserPassword("b");
             }},
            {"another password",
             [](R& r) {
                 r.setUserName("a");
                 r.setUserPassword("c");
             }},
            {"a login in the URL", [&](R& r) { r.setURL(String::fromUTF8(url("a:b@localhost"))); }},
            {"another login in the URL", [&](R& r) { r.setURL(String::fromUTF8(url("a:c@localhost"))); }},
            {"other authentication", [](R& r) { r.setHTTPAuthMethods(CURLAUTH_DIGEST); }},
        };
    }
    String path() const { return String::fromUTF8(m_file); }

    curl_blob blob{};

private:
    const std::string m_file;
    std::string m_certificate;
};

TEST_P(SharedDemandsTest, EqualDemandsNeedOneHandshake) {
    for (std::size_t i = 0; i < many; ++i) {
        ASSERT_EQ(run(), CURLE_OK);
    }
    EXPECT_EQ(peer.connectionCount(), 1u);
    const std::vector<std::string> said = peer.dialogue(0);
    EXPECT_EQ(std::count(said.begin(), said.end(), "(TLS)"), 1);
}

TEST_P(SharedDemandsTest, EachDemandHasConnectionsOfItsOwn) {
    std::size_t expected = 0;
    for (const Demand& demand : demands()) {
        EXPECT_EQ(run(demand.apply) == CURLE_OK, demand.isMet) << demand.name;
        ++expected;
        EXPECT_EQ(peer.connectionCount(), expected) << demand.name << ": a new connection";
        if (!demand.isMet) {
            continue;
        }
        EXPECT_EQ(run(demand.apply), CURLE_OK) << demand.name;
        EXPECT_EQ(peer.connectionCount(), expected) << demand.name << ": shared by equal demands";
    }
    for (const Demand& demand : demands()) {
        EXPECT_EQ(run(demand.apply) == CURLE_OK, demand.isMet) << demand.name << ", once more";
        expected += demand.isMet ? 0 : 1;
    }
    EXPECT_EQ(peer.connectionCount(), expected);
}

TEST_P(SharedDemandsTest, ANewConnectionResumesTheTLSSession) {
    const auto once = [](CNetRequest& request) {
        // Sessions of newer versions can be used once.
        request.setMaxTLSVersion(vexil::TLSVersion1_2);
        request.setOptionInt(CURLOPT_FORBID_REUSE, 1);
    };
    EXPECT_EQ(run(once), CURLE_OK);
    EXPECT_EQ(run(once), CURLE_OK);
    EXPECT_EQ(peer.connectionCount(), 2u);
    EXPECT_TRUE(peer.hasResumed(1));
    const auto with = [&](const char* curve) {
        return [=](CNetRequest& request) {
            once(request);
            request.setOptionString(CURLOPT_SSL_EC_CURVES, curve);
        };
    };
    EXPECT_EQ(run(with("P-256")), CURLE_OK);
    EXPECT_FALSE(peer.hasResumed(2)) << "a session of another demand";
}

TEST_P(SharedDemandsTest, ARequestThatRanAloneCanShareLater) {
    const P<CNetRequest> request = make();
    setSharedConnections(*request, nullptr);
    request->perform();
    setSharedConnections(*request, shared);
    request->perform();
    request->perform();
    EXPECT_EQ(peer.connectionCount(), 2u);
}

std::string schemeOf(const testing::TestParamInfo<Protocol>& info) {
    return info.param.scheme;
}

INSTANTIATE_TEST_SUITE_P(EachProtocol, SharedDemandsTest,
                         testing::Values(Protocol{"https", Security::Implicit},
                                         Protocol{"ftp", Security::None},
                                         Protocol{"ftps", Security::Implicit},
                                         Protocol{"smtp", Security::None}),
                         schemeOf);

// ---- FTP -------------------------------------------------------------------------------------------------

class SharedFTPTest : public testing::Test {
protected:
    SharedFTPTest() { teach(peer, {"ftp", Security::None}); }

    /// The number of connections after this transfer.
    std::size_t run(const Prepare& apply = {}) const {
        const P<CNetRequest> request =
            makeSharing(shared, "ftp://127.0.0.1:" + std::to_string(peer.port()) + "/");
        request->setOptionInt(CURLOPT_NOBODY, 1);
        if (apply) {
            apply(*request);
        }
        request->perform();
        return peer.connectionCount();
    }
    static Prepare command(const char* text) {
        return [=](CNetRequest& request) {
            const P<CNetStringList> commands = new CNetStringList;
            commands->add(text);
            request.setFTPCustomPostCommands(commands);
        };
    }

    SMTPPeer peer;
    P<CSharedConnections> shared = new CSharedConnections;
};

TEST_F(SharedFTPTest, TransfersShareALogin) {
    EXPECT_EQ(run(), 1u);
    EXPECT_EQ(run(command("DELE a")), 1u);
    EXPECT_EQ(run(command("*dele a")), 1u);
    EXPECT_EQ(run(), 1u);
}

TEST_F(SharedFTPTest, ACommandThatLastsStaysWithItsRequest) {
    EXPECT_EQ(run(), 1u);
    EXPECT_EQ(run(command("SITE UMASK 000")), 2u);
    EXPECT_EQ(run(), 2u);
    const std::vector<std::string> said = peer.dialogue(0);
    EXPECT_EQ(std::count(said.begin(), said.end(), "SITE UMASK 000"), 0);
}

TEST_F(SharedFTPTest, AListOfRawCommandsIsNotShared) {
    EXPECT_EQ(run(), 1u);
    const P<CNetStringList> commands = new CNetStringList;
    commands->add("SITE UMASK 000");
    const auto quote = [&](CNetRequest& r) { r.setOptionPtr(CURLOPT_QUOTE, commands->getSList()); };
    EXPECT_EQ(run(quote), 2u);
    EXPECT_EQ(run(), 2u);
}

}  // namespace
