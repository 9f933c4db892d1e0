// Which kept connection a transfer uses: one that meets its demands, never a weaker one.
#include "tests/async/AsyncTestSupport.h"
#include "tests/mail/SMTPPeer.h"
#include "tests/support/LibcurlVersion.h"
#include "vexil/async/AsyncNetRequestThread.h"
#include "vexil/mail/SMTPClient.h"
#include "zet/BufferStream.h"

#include <openssl/ssl.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <ostream>
#include <thread>
#include <unistd.h>

namespace {

using namespace vexil_test;
using vexil::CAsyncNetRequestManager;
using vexil::CAsyncNetRequestThread;
using vexil::CNetStringList;
using vexil::CSMTPParams;
using vexil::TBuffer;
using Security = SMTPPeer::Security;

/// How a protocol begins TLS.
struct Protocol {
    std::string name;
    std::string scheme;
    Security security;
    bool isUpgraded;  ///< from an unencrypted connection
};

[[maybe_unused]] void PrintTo(const Protocol& protocol, std::ostream* out) {
    *out << protocol.name;
}

const Protocol protocols[] = {
    {"SMTP", "smtp", Security::None, true},        {"FTP", "ftp", Security::None, true},
    {"SMTPS", "smtps", Security::Implicit, false}, {"FTPS", "ftps", Security::Implicit, false},
    {"HTTPS", "https", Security::Implicit, false},
};

/// The driver of the transfers of one test.
enum class Runner { OneRequest, OneManager, OneWorker };

/// Files and blobs for options.
class Files {
public:
    explicit Files(const SMTPPeer& peer)
        : m_directory(std::filesystem::temp_directory_path() /
                      ("vexil-reuse-" + std::to_string(::getpid()) + "-" + std::to_string(peer.port()))),
          m_certificate(peer.certificate()) {
        std::filesystem::create_directory(m_directory);
        write("ca.pem", m_certificate);
        write("other.pem", SMTPPeer().certificate());
        write("both.pem", m_certificate + SMTPPeer().certificate());
        write("key.pem", peer.privateKey());
        blob = {m_certificate.data(), m_certificate.size(), CURL_BLOB_COPY};
    }
    ~Files() { std::filesystem::remove_all(m_directory); }

    String path(const std::string& name) const { return String::fromUTF8((m_directory / name).string()); }

    curl_blob blob{};

private:
    void write(const std::string& name, const std::string& text) const {
        std::ofstream(m_directory / name) << text;
    }

    const std::filesystem::path m_directory;
    std::string m_certificate;
};

CURLcode leaveContextAlone(CURL*, void*, void*) {
    return CURLE_OK;
}

CURLcode changeContext(CURL*, void* context, void*) {
    SSL_CTX_set_quiet_shutdown(static_cast<SSL_CTX*>(context), 1);
    return CURLE_OK;
}

/// The demands of a transfer on its connection.
struct Demand {
    std::string name;
    std::function<void(CNetRequest&, Files&)> apply;
    bool isMet = true;          ///< by the peer
    bool isForUpgrade = false;  ///< has no effect with TLS from the first byte
};

void checkNothing(CNetRequest& request) {
    request.setSSLVerifyPeer(false);
    request.setOptionInt(CURLOPT_SSL_VERIFYHOST, 0);
}

/// Two demands of one entry differ only in what the name says.
std::vector<Demand> demands() {
    using R = CNetRequest;
    const auto unchecked = [](auto work) {
        return [work](R& r, Files& f) {
            r.setFTPUseSSL(CURLUSESSL_ALL);
            checkNothing(r);
            work(r, f);
        };
    };
    const auto checked = [](auto work) {
        return [work](R& r, Files& f) {
            r.setFTPUseSSL(CURLUSESSL_ALL);
            work(r, f);
        };
    };
    const auto string = [](CURLoption option, const char* value) {
        return [=](R& r, Files&) { r.setOptionString(option, value); };
    };
    const auto number = [](CURLoption option, int value) {
        return [=](R& r, Files&) { r.setOptionInt(option, value); };
    };
    return {
        {"Unchecked", unchecked([](R&, Files&) {})},
        {"Plain", [](R& r, Files&) { checkNothing(r); }, true, true},
        {"TryTLS",
         [](R& r, Files&) {
             r.setFTPUseSSL(CURLUSESSL_TRY);
             checkNothing(r);
         },
         true, true},
        {"ControlTLS",
         [](R& r, Files&) {
             r.setOptionInt(CURLOPT_USE_SSL, CURLUSESSL_CONTROL);
             checkNothing(r);
         },
         true, true},
        {"CheckedByTheSystem", checked([](R&, Files&) {}), false},
        {"Checked", checked([](R& r, Files& f) { r.setRootCertBundlePath(f.path("ca.pem")); })},
        {"CheckedByMore", checked([](R& r, Files& f) { r.setRootCertBundlePath(f.path("both.pem")); })},
        {"CheckedByOther", checked([](R& r, Files& f) { r.setRootCertBundlePath(f.path("other.pem")); }),
         false},
        {"CheckedByBlob", checked([](R& r, Files& f) { r.setOptionPtr(CURLOPT_CAINFO_BLOB, &f.blob); })},
        {"HostUnchecked", checked([](R& r, Files& f) {
             r.setRootCertBundlePath(f.path("ca.pem"));
             r.setOptionInt(CURLOPT_SSL_VERIFYHOST, 0);
         })},
        {"PeerUnchecked", checked([](R& r, Files&) { r.setSSLVerifyPeer(false); })},
        {"Pinned",
         unchecked(string(CURLOPT_PINNEDPUBLICKEY, "sha256//AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=")),
         false},
        {"AtMost1_2", unchecked([](R& r, Files&) { r.setMaxTLSVersion(vexil::TLSVersion1_2); })},
        {"AtLeast1_3", unchecked(number(CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1_3))},
        {"Ciphers", unchecked(string(CURLOPT_TLS13_CIPHERS, "TLS_AES_128_GCM_SHA256"))},
        {"OldCiphers", unchecked(string(CURLOPT_SSL_CIPHER_LIST, "ECDHE-ECDSA-AES128-GCM-SHA256"))},
        {"Curves", unchecked(string(CURLOPT_SSL_EC_CURVES, "P-256"))},
        {"ClientCertificate", unchecked([](R& r, Files& f) {
             r.setOptionString(CURLOPT_SSLCERT, f.path("ca.pem"));
             r.setOptionString(CURLOPT_SSLKEY, f.path("key.pem"));
         })},
        {"Context", unchecked([](R& r, Files&) {
             r.setOptionPtr(CURLOPT_SSL_CTX_FUNCTION, reinterpret_cast<void*>(&leaveContextAlone));
         })},
        {"OtherContext", unchecked([](R& r, Files&) {
             r.setOptionPtr(CURLOPT_SSL_CTX_FUNCTION, reinterpret_cast<void*>(&changeContext));
         })},
    };
}

/// Transfers that may share connections, because all run on the same request, manager or worker.
class Transfers {
public:
    Transfers(Runner runner, const Protocol& protocol, SMTPPeer& peer)
        : m_runner(runner), m_protocol(protocol), m_peer(peer), m_files(peer) {
        if (runner == Runner::OneManager) {
            m_manager = zet::make<CAsyncNetRequestManager>();
        } else if (runner == Runner::OneWorker) {
            m_worker = makeWorker();
            m_worker->start();
        }
    }

    /// libcurl's result.
    CURLcode run(const std::function<void(CNetRequest&, Files&)>& apply) {
        if (m_runner != Runner::OneRequest) {
            m_request = new CNetRequest;
        }
        return run(*m_request, apply);
    }
    CURLcode run(CNetRequest& request, const std::function<void(CNetRequest&, Files&)>& apply) {
        prepare(request, apply);
        try {
            drive(request);
        } catch (const CCURLError& error) {
            return static_cast<CURLcode>(error.getCode());
        }
        return CURLE_OK;
    }

    void prepare(CNetRequest& request, const std::function<void(CNetRequest&, Files&)>& apply) {
        request.reset();
        request.setProxy("");
        request.setURL(String::fromUTF8(m_protocol.scheme + "://localhost:" + std::to_string(m_peer.port())));
        if (m_protocol.scheme.starts_with("smtp")) {
            const P<CNetStringList> recipients = new CNetStringList;
            recipients->add("b@x");
            request.setUpload(true);
            request.setOptionString(CURLOPT_MAIL_FROM, "a@x");
            request.setMailRecipients(recipients);
            request.setSendDataStream(new zet::CBufferStream);
        } else {
            request.setOptionInt(CURLOPT_NOBODY, 1);
        }
        apply(request, m_files);
    }

    CNetRequest& request() { return *m_request; }

private:
    void drive(CNetRequest& request) {
        if (m_runner == Runner::OneRequest) {
            request.perform();
            return;
        }
        if (m_runner == Runner::OneManager) {
            m_manager->addRequest(&request);
            driveToEnd(*m_manager);
        } else {
            m_worker->addRequest(&request);
            EXPECT_TRUE(request.waitAsyncDone(120000));
        }
        request.checkAsyncResult();
    }

    const Runner m_runner;
    const Protocol& m_protocol;
    SMTPPeer& m_peer;
    Files m_files;
    zet::P<CAsyncNetRequestManager> m_manager;
    P<CAsyncNetRequestThread> m_worker;
    P<CNetRequest> m_request = new CNetRequest;
};

/// Plays the protocol as far as a transfer needs it.
void teach(SMTPPeer& peer, const Protocol& protocol) {
    if (protocol.scheme.starts_with("ftp")) {
        peer.setReply("AUTH", "234 go ahead\r\n");
        peer.setReply("USER", "331 password?\r\n");
        peer.setReply("PASS", "230 welcome\r\n");
        peer.setReply("PWD", "257 \"/\"\r\n");
    } else if (protocol.scheme == "https") {
        for (const char* const silent : {"", "Host:", "User-Agent:", "Accept:"}) {
            peer.setReply(silent, "");
        }
        peer.setReply("HEAD", "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    }
}

class ConnectionReuseTest : public testing::TestWithParam<std::tuple<Protocol, Runner>> {
protected:
    const Protocol protocol = std::get<0>(GetParam());
    const Runner runner = std::get<1>(GetParam());

    std::unique_ptr<SMTPPeer> makePeer() const {
        auto peer = std::make_unique<SMTPPeer>(protocol.security, std::vector<std::string>{"STARTTLS"});
        teach(*peer, protocol);
        return peer;
    }
    std::vector<Demand> demandsHere() const {
        std::vector<Demand> all = demands();
        std::erase_if(all, [&](const Demand& demand) { return demand.isForUpgrade && !protocol.isUpgraded; });
        return all;
    }
};

TEST_P(ConnectionReuseTest, EachDemandHasConnectionsOfItsOwn) {
    const std::vector<Demand> all = demandsHere();
    for (const Demand& first : all) {
        for (const Demand& second : all) {
            // All pairs would take a minute.
            const auto isAboutChecks = [](const Demand& demand) {
                return demand.name.starts_with("Checked") || demand.name.ends_with("Unchecked");
            };
            const bool isOfInterest =
                std::min(&first, &second) == &all.front() || (isAboutChecks(first) && isAboutChecks(second));
            if (&first == &second || !first.isMet || !isOfInterest) {
                continue;
            }
            const auto peer = makePeer();
            Transfers transfers(runner, protocol, *peer);
            const std::string names = first.name + ", " + second.name;
            ASSERT_EQ(transfers.run(first.apply), CURLE_OK) << names;
            ASSERT_EQ(transfers.run(first.apply), CURLE_OK) << names;
            EXPECT_EQ(peer->connectionCount(), 1u) << names << ": equal demands share a connection";
            EXPECT_EQ(transfers.run(second.apply) == CURLE_OK, second.isMet) << names;
            EXPECT_EQ(peer->connectionCount(), 2u) << names;
            EXPECT_EQ(transfers.run(first.apply), CURLE_OK) << names;
            EXPECT_EQ(peer->connectionCount(), 2u) << names << ": the first connection is still there";
        }
    }
}

// ---- what else counts ------------------------------------------------------------------------------------

const Protocol& smtp = protocols[0];

bool isEncrypted(const std::vector<std::string>& said) {
    return std::find(said.begin(), said.end(), "(TLS)") != said.end();
}

std::ptrdiff_t mailsOf(const std::vector<std::string>& said) {
    return std::count(said.begin(), said.end(), "DATA");
}

class UpgradesTest : public testing::Test {
protected:
    explicit UpgradesTest(std::vector<std::string> offers = {"STARTTLS"})
        : peer(Security::None, std::move(offers)) {}

    const std::function<void(CNetRequest&, Files&)> plain = [](CNetRequest&, Files&) {};
    const std::function<void(CNetRequest&, Files&)> upgraded = [](CNetRequest& request, Files&) {
        request.setFTPUseSSL(CURLUSESSL_ALL);
        checkNothing(request);
    };

    SMTPPeer peer;
};

TEST_F(UpgradesTest, AMailThatDemandsEncryptionNeverGoesInPlain) {
    const auto prepare = [&](CNetRequest& request, CSMTPParams::ConnectType type) {
        vexil::CSMTPClient::makeSendMailRequest(request, {"localhost", peer.port(), type, "", ""}, "a@x",
                                                {"b@x"}, new zet::CBufferStream);
        request.setProxy("");
    };
    const auto encrypted = CSMTPParams::ConnectStartTLS;
    CNetRequest request;
    prepare(request, CSMTPParams::ConnectUnencrypted);
    request.perform();
    prepare(request, encrypted);
    request.perform();
    TestManager manager;
    for (const auto type : {CSMTPParams::ConnectUnencrypted, encrypted}) {
        const P<CNetRequest> next = new CNetRequest;
        prepare(*next, type);
        manager.addRequest(next);
        driveToEnd(manager);
        next->checkAsyncResult();
    }
    ASSERT_EQ(peer.connectionCount(), 4u);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(isEncrypted(peer.dialogue(i)), i % 2 == 1) << i;
        EXPECT_EQ(mailsOf(peer.dialogue(i)), 1) << i;
    }
}

TEST_F(UpgradesTest, AnOptionThatIsTakenBackCountsNoMore) {
    Transfers transfers(Runner::OneRequest, smtp, peer);
    CNetRequest& request = transfers.request();
    ASSERT_EQ(transfers.run(upgraded), CURLE_OK);
    request.setFTPUseSSL(CURLUSESSL_NONE);
    request.perform();
    EXPECT_EQ(peer.connectionCount(), 2u);
    request.setOptionInt(CURLOPT_USE_SSL, CURLUSESSL_ALL);
    request.setOptionPtr(CURLOPT_SSL_CIPHER_LIST, nullptr);
    request.setMaxTLSVersion(vexil::TLSVersionDefault);
    request.perform();
    EXPECT_EQ(peer.connectionCount(), 2u);
    const char ciphers[] = "ECDHE-ECDSA-AES128-GCM-SHA256";
    request.setOptionPtr(CURLOPT_SSL_CIPHER_LIST, const_cast<char*>(ciphers));
    request.perform();
    EXPECT_EQ(peer.connectionCount(), 3u);
    request.setOptionString(CURLOPT_SSL_CIPHER_LIST, ciphers);
    request.perform();
    EXPECT_EQ(peer.connectionCount(), 3u);
    request.setOptionPtr(CURLOPT_CAINFO, nullptr);
    request.perform();
    EXPECT_EQ(peer.connectionCount(), 4u) << "no bundle is another demand than libcurl's own";
}

TEST_F(UpgradesTest, DemandsRunSideBySide) {
    constexpr int count = 8;
    TestManager manager;
    Transfers transfers(Runner::OneManager, smtp, peer);
    for (int round = 0; round < 3; ++round) {
        std::vector<P<CNetRequest>> requests;
        for (int i = 0; i < count; ++i) {
            const P<CNetRequest> request = new CNetRequest;
            transfers.prepare(*request, i % 2 == 0 ? plain : upgraded);
            requests.push_back(request);
            manager.addRequest(request);
        }
        driveToEnd(manager);
        for (const P<CNetRequest>& request : requests) {
            request->checkAsyncResult();
        }
    }
    EXPECT_EQ(peer.connectionCount(), static_cast<std::size_t>(count)) << "one for each that runs at once";
    std::ptrdiff_t mails[2] = {};
    for (std::size_t i = 0; i < peer.connectionCount(); ++i) {
        mails[isEncrypted(peer.dialogue(i))] += mailsOf(peer.dialogue(i));
    }
    EXPECT_EQ(mails[0], 3 * count / 2);
    EXPECT_EQ(mails[1], 3 * count / 2);
}

TEST_F(UpgradesTest, ARequestKeepsItsOwnConnectionsIfToldSo) {
    for (const auto& demand : {plain, upgraded}) {
        for (const bool keepsOwn : {true, false}) {
            const std::size_t before = peer.connectionCount();
            TestManager manager;
            Transfers transfers(Runner::OneManager, smtp, peer);
            const P<CNetRequest> requests[] = {new CNetRequest, new CNetRequest};
            for (int round = 0; round < 3; ++round) {
                for (const P<CNetRequest>& request : requests) {
                    request->reset();
                    transfers.prepare(*request, [&](CNetRequest& prepared, Files& files) {
                        demand(prepared, files);
                        prepared.setKeepsOwnConnections(keepsOwn);
                    });
                    manager.addRequest(request);
                    driveToEnd(manager);
                    request->checkAsyncResult();
                }
            }
            EXPECT_EQ(peer.connectionCount(), before + (keepsOwn ? 2 : 1));
        }
    }
}

TEST_F(UpgradesTest, ARequestKeepsItsOwnTLSSessionsIfToldSo) {
    TestManager manager;
    Transfers transfers(Runner::OneManager, smtp, peer);
    const P<CNetRequest> first = new CNetRequest;
    const P<CNetRequest> second = new CNetRequest;
    const auto hasResumed = [&](const P<CNetRequest>& request, bool keepsOwn, bool isFresh) {
        const std::size_t connection = peer.connectionCount();
        request->reset();
        transfers.prepare(*request, [&](CNetRequest& prepared, Files& files) {
            upgraded(prepared, files);
            // Sessions of newer versions can be used once.
            prepared.setMaxTLSVersion(vexil::TLSVersion1_2);
            prepared.setKeepsOwnConnections(keepsOwn);
            prepared.setOptionInt(CURLOPT_FRESH_CONNECT, isFresh);
        });
        manager.addRequest(request);
        driveToEnd(manager);
        request->checkAsyncResult();
        EXPECT_EQ(peer.connectionCount(), connection + 1);
        return peer.hasResumed(connection);
    };
    EXPECT_FALSE(hasResumed(first, true, false));
    EXPECT_FALSE(hasResumed(second, true, false)) << "that is the first one's";
    EXPECT_EQ(hasResumed(first, true, true), !vexil_test::doRequestsShareTLSSessions())
        << "that is of another connection";
    hasResumed(first, false, true);
    EXPECT_TRUE(hasResumed(first, false, true)) << "this server does not resume at all";
}

TEST_F(UpgradesTest, ARequestOutlivesWhatDroveIt) {
    Transfers transfers(Runner::OneRequest, smtp, peer);
    CNetRequest& request = transfers.request();
    ASSERT_EQ(transfers.run(upgraded), CURLE_OK);
    for (int i = 0; i < 2; ++i) {
        TestManager manager;
        manager.addRequest(&request);
        driveToEnd(manager);
        request.checkAsyncResult();
    }
    {
        TestManager manager;
        manager.addRequest(&request);
        manager.handleEvents(nullptr);
    }
    EXPECT_EQ(mailsOf(peer.dialogue(0)), 1) << "each manager has connections of its own";
    request.perform();
    EXPECT_EQ(mailsOf(peer.dialogue(0)), 2) << "and so has the request";
}

TEST_F(UpgradesTest, MoreDemandsThanPoolsAreMet) {
    Transfers transfers(Runner::OneManager, smtp, peer);
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 40; ++i) {
            EXPECT_EQ(transfers.run([&](CNetRequest& request, Files& files) {
                upgraded(request, files);
                request.setOptionString(CURLOPT_KEYPASSWD, String::fromInt(i));
            }),
                      CURLE_OK);
        }
    }
    EXPECT_EQ(peer.connectionCount(), 80u);
}

TEST_F(UpgradesTest, WhatTheCallerSaysOfReuseCounts) {
    for (const CURLoption option : {CURLOPT_FORBID_REUSE, CURLOPT_FRESH_CONNECT}) {
        const std::size_t before = peer.connectionCount();
        Transfers transfers(Runner::OneRequest, smtp, peer);
        ASSERT_EQ(transfers.run(upgraded), CURLE_OK);
        CNetRequest& request = transfers.request();
        request.perform();
        EXPECT_EQ(peer.connectionCount(), before + 1);
        request.setOptionInt(option, 1);
        request.perform();
        request.perform();
        EXPECT_EQ(peer.connectionCount(), before + (option == CURLOPT_FRESH_CONNECT ? 3 : 2));
        request.setOptionInt(option, 0);
        request.perform();
        request.perform();
        EXPECT_EQ(peer.connectionCount(), before + 3);
    }
}

TEST_F(UpgradesTest, ConnectionsThatTheCallerSharesAreLeftAlone) {
    const std::unique_ptr<CURLSH, CURLSHcode (*)(CURLSH*)> share(curl_share_init(), &curl_share_cleanup);
    curl_share_setopt(share.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
    const auto sharing = [&](const auto& apply) {
        return [&](CNetRequest& request, Files& files) {
            request.setOptionPtr(CURLOPT_SHARE, share.get());
            apply(request, files);
        };
    };
    Transfers transfers(Runner::OneRequest, smtp, peer);
    CNetRequest& request = transfers.request();
    ASSERT_EQ(transfers.run(sharing(plain)), CURLE_OK);
    request.perform();
    EXPECT_EQ(peer.connectionCount(), 1u);
    ASSERT_EQ(transfers.run(sharing(upgraded)), CURLE_OK);
    EXPECT_EQ(peer.connectionCount(), 2u);
    request.perform();
    EXPECT_EQ(peer.connectionCount(), 3u) << "nothing tells the caller's connections apart";
    request.setOptionInt(CURLOPT_FORBID_REUSE, 0);
    request.setOptionInt(CURLOPT_FRESH_CONNECT, 0);
    request.perform();
    EXPECT_EQ(peer.connectionCount(), 4u);
    // A reset keeps what is shared.
    ASSERT_EQ(transfers.run(plain), CURLE_OK);
    EXPECT_EQ(peer.connectionCount(), 4u) << "the first connection is still there";
    ASSERT_EQ(transfers.run(upgraded), CURLE_OK);
    EXPECT_EQ(peer.connectionCount(), 5u);
    request.setFTPUseSSL(CURLUSESSL_NONE);
    request.perform();
    request.perform();
    EXPECT_EQ(peer.connectionCount(), 5u);
    request.setFTPUseSSL(CURLUSESSL_ALL);
    request.setOptionPtr(CURLOPT_SHARE, nullptr);
    request.perform();
    request.perform();
    EXPECT_EQ(peer.connectionCount(), 6u) << "now the request has its own again";
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(isEncrypted(peer.dialogue(i)), i > 0) << i;
    }
}

std::string nameOf(const testing::TestParamInfo<std::tuple<Protocol, Runner>>& info) {
    const char* const names[] = {"OneRequest", "OneManager", "OneWorker"};
    return std::get<0>(info.param).name + names[static_cast<int>(std::get<1>(info.param))];
}

constexpr auto allRunners = {Runner::OneRequest, Runner::OneManager, Runner::OneWorker};

INSTANTIATE_TEST_SUITE_P(Upgraded, ConnectionReuseTest,
                         testing::Combine(testing::Values(protocols[0], protocols[1]),
                                          testing::ValuesIn(allRunners)),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(Implicit, ConnectionReuseTest,
                         testing::Combine(testing::Values(protocols[2], protocols[3], protocols[4]),
                                          testing::Values(Runner::OneManager)),
                         nameOf);

}  // namespace
