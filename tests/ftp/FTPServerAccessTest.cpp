// Access to real FTP servers: logins, TLS, an old server, a proxy.
#include "tests/ftp/FTPServerTestSupport.h"
#include "tests/net/VerboseLog.h"

namespace {

using namespace vexil_test;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// ---- login -----------------------------------------------------------------------------------------------

class FTPServerLoginTest : public FTPDirectoryTest {
protected:
    FTPServerLoginTest() : FTPDirectoryTest(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(, FTPServerLoginTest,
                         testing::Values(pureFTPdPlain, pureFTPdExplicitTLS, pyftpdlibPlain,
                                         pyftpdlibExplicitTLS, pyftpdlibImplicitTLS),
                         nameOf);

TEST_P(FTPServerLoginTest, WrongPasswordIsRefused) {
    CFTPClient stranger = makeClient(access, "wrong");
    CNetRequest own;
    EXPECT_EQ(failureOf([&] { stranger.createDir(own, path("new"), false); }), "67 530");
    EXPECT_THAT(namesOnDisk(), IsEmpty());
}

TEST_P(FTPServerLoginTest, ConnectionIsKeptForTheNextOperation) {
    upload(path("a"), "1");
    for (int round = 0; round < 3; ++round) {
        list(path(""));
        EXPECT_EQ(request.getInfoLong(CURLINFO_NUM_CONNECTS), 1) << "only the data connection";
        client.createDir(request, path("dir" + std::to_string(round)), false);
        EXPECT_EQ(request.getInfoLong(CURLINFO_NUM_CONNECTS), 0);
    }
    EXPECT_FALSE(exists(path("missing")));
    EXPECT_TRUE(exists(path("a")));
    EXPECT_EQ(request.getInfoLong(CURLINFO_NUM_CONNECTS), 1) << "a failed command ends the connection";
}

// ---- TLS -------------------------------------------------------------------------------------------------

class FTPServerTLSTest : public FTPDirectoryTest {
protected:
    FTPServerTLSTest() : FTPDirectoryTest(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(, FTPServerTLSTest,
                         testing::Values(pureFTPdExplicitTLS, pyftpdlibExplicitTLS, pyftpdlibImplicitTLS),
                         nameOf);

/// Resolves another name to this machine.
class OtherName : public virtual vexil::CBase, public vexil::INetRequestSetup {
public:
    OtherName(const FTPAccess& access, const std::string& name)
        : m_bundle(access.bundle()), m_address(curl_slist_append(nullptr, addressOf(access, name).c_str())) {}
    ~OtherName() override { curl_slist_free_all(m_address); }

    void setUp(CNetRequest& request) override {
        request.setRootCertBundlePath(m_bundle);
        request.setOptionPtr(CURLOPT_RESOLVE, m_address);
    }

private:
    static std::string addressOf(const FTPAccess& access, const std::string& name) {
        const std::string host = access.host().toUTF8();
        return name + host.substr(host.find(':')) + ":127.0.0.1";
    }

    const String m_bundle;
    curl_slist* const m_address;
};

/// The client with another name of the server, for which there may be no certificate.
CFTPClient makeClientFor(const FTPAccess& access, const std::string& name) {
    const std::string host = access.host().toUTF8();
    CFTPClient client(text(name + host.substr(host.find(':'))), "tester", "secret", access.connectType);
    client.setRequestSetup(new OtherName(access, name));
    return client;
}

TEST_P(FTPServerTLSTest, ControlAndDataAreProtected) {
    client.setRequestSetup(new FunctionSetup([this](CNetRequest& prepared) {
        trust(prepared, access, access.bundle());
        prepared.setVerbose(true);
    }));
    CNetRequest own;
    const std::string body = makeBytes(100000);
    client.prepareUploadRequest(own, path("a"), body.data(), static_cast<int>(body.size()), false);
    own.perform();
    EXPECT_TRUE(isSame(readFile(onDisk("a")), body));
    const std::string log = dump(*own.getVerboseOutput(1000));
    EXPECT_THAT(log, HasSubstr("PROT P"));
    // The control connection and the data connection.
    const std::string begin = "SSL connection using";
    const std::size_t first = log.find(begin);
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(log.find(begin, first + 1), std::string::npos);
    EXPECT_LT(first, log.find("PASS "));
}

TEST_P(FTPServerTLSTest, TheNewestVersionOfTLSIsThatOfTheClient) {
    const auto versionsOf = [&](vexil::TLSVersion version) {
        CFTPClient limited(access.host(), "tester", "secret", access.connectType);
        limited.setMaxTLSVersion(version);
        limited.setRequestSetup(new FunctionSetup([this](CNetRequest& prepared) {
            prepared.setRootCertBundlePath(access.bundle());
            prepared.setVerbose(true);
        }));
        CNetRequest own;
        const P<CFTPListDirResult> listing = limited.listDir(own, text(directory));
        const std::string log = dump(*own.getVerboseOutput(1000));
        return std::pair(log.find("using TLSv1.2") != std::string::npos,
                         log.find("using TLSv1.3") != std::string::npos);
    };
    EXPECT_EQ(versionsOf(vexil::TLSVersion1_2), std::pair(true, false));
    EXPECT_EQ(versionsOf(vexil::TLSVersion1_3), std::pair(false, true));
    EXPECT_EQ(versionsOf(vexil::TLSVersionDefault), std::pair(false, true));
}

TEST_P(FTPServerTLSTest, ServerOfAnotherAuthorityIsRefused) {
    client.setRequestSetup(trust(access, access.wrongBundle()));
    CNetRequest own;
    const auto error = thrownBy<CCURLError>([&] { client.createDir(own, path("new"), false); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_THAT(namesOnDisk(), IsEmpty());
}

TEST_P(FTPServerTLSTest, ServerOfAnotherNameIsRefused) {
    CNetRequest own;
    CFTPClient right = makeClientFor(access, "localhost");
    right.createDir(own, path("right"), false);
    CFTPClient wrong = makeClientFor(access, "other.example");
    const auto error = thrownBy<CCURLError>([&] { wrong.createDir(own, path("wrong"), false); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_THAT(namesOnDisk(), ElementsAre("right"));
}

TEST_P(FTPServerTLSTest, AnyServerIsTrustedOnDemand) {
    client.setRequestSetup(new FunctionSetup([this](CNetRequest& prepared) {
        trust(prepared, access, access.wrongBundle());
        prepared.setSSLVerifyPeer(false);
    }));
    CNetRequest own;
    client.createDir(own, path("new"), false);
    EXPECT_THAT(namesOnDisk(), ElementsAre("new"));
}

// ---- an old server ---------------------------------------------------------------------------------------

const FTPAccess oldServer{"Old", "VEXIL_FTP", "VEXIL_FTP_OLD_ENDPOINT", CFTPClient::ConnectPlain};

/// A server without MLSD, MLST and TLS.
class FTPOldServerTest : public FTPDirectoryTest {
protected:
    FTPOldServerTest() : FTPDirectoryTest(oldServer) {}
};

TEST_F(FTPOldServerTest, KnowsNoListingsForMachines) {
    EXPECT_EQ(failureOf([&] { list(path("")); }), "19 500");
    EXPECT_EQ(failureOf([&] { getInfo(path("")); }), "21 500");
    client.prepareVerifyExistsRequest(request, path(""));
    EXPECT_EQ(failureOf([&] { request.perform(); }), "21 500");
    EXPECT_EQ(failureOf([&] { client.deleteDirWithAllContents(request, path("")); }), "19 500");
    EXPECT_TRUE(isThere(""));
}

TEST_F(FTPOldServerTest, StoresFiles) {
    upload(path("x/a"), "hello", true);
    EXPECT_EQ(download(path("x/a"), 1, 3), "ell");
    moveFile(path("x/a"), path("y/b"), true);
    EXPECT_EQ(readFile(onDisk("y/b")), "hello");
    client.deleteFile(request, path("y/b"));
    client.removeDir(request, path("y"));
    EXPECT_THAT(namesOnDisk(), ElementsAre("x"));
}

TEST_F(FTPOldServerTest, IsNotLoggedInToWithoutTLS) {
    CFTPClient careful(access.host(), "tester", "secret", CFTPClient::ConnectExplicitTLS);
    careful.setRequestSetup(new FunctionSetup([](CNetRequest& prepared) { prepared.setVerbose(true); }));
    CNetRequest own;
    EXPECT_EQ(failureOf([&] { careful.createDir(own, path("new"), false); }).substr(0, 3), "64 ");
    EXPECT_THAT(dump(*own.getVerboseOutput(1000)), AllOf(HasSubstr("AUTH TLS"), Not(HasSubstr("PASS"))));
    EXPECT_THAT(namesOnDisk(), IsEmpty());
}

// ---- proxy -----------------------------------------------------------------------------------------------

/// The HTTP proxy that all operations use.
class FTPThroughAnHTTPProxyTest : public FTPDirectoryTest {
protected:
    FTPThroughAnHTTPProxyTest() : FTPDirectoryTest(GetParam()) {
        client.setRequestSetup(new FunctionSetup([this](CNetRequest& prepared) { useProxy(prepared); }));
    }

    void useProxy(CNetRequest& prepared) const {
        trust(prepared, access, access.bundle());
        prepared.setProxy(text(environment("VEXIL_PROXY_ENDPOINT")));
    }
    std::string proxyLog() const { return readFile(environment("VEXIL_PROXY_LOG")).substr(m_logStart); }

private:
    const std::size_t m_logStart = readFile(environment("VEXIL_PROXY_LOG")).size();
};

INSTANTIATE_TEST_SUITE_P(, FTPThroughAnHTTPProxyTest,
                         testing::Values(pureFTPdPlain, pureFTPdExplicitTLS, pyftpdlibPlain,
                                         pyftpdlibExplicitTLS, pyftpdlibImplicitTLS),
                         nameOf);

TEST_P(FTPThroughAnHTTPProxyTest, OperationsReachTheServer) {
    const std::string body = makeBytes(100000);
    upload(path("x/a"), body, true);
    EXPECT_TRUE(isSame(readFile(onDisk("x/a")), body));
    EXPECT_TRUE(isSame(download(path("x/a")), body));
    EXPECT_THAT(list(path("x")), ElementsAre("f a"));
    EXPECT_EQ(getInfo(path("x/a"))->getSize(), 100000);
    EXPECT_FALSE(exists(path("missing")));
    client.deleteDirWithAllContents(request, path("x"));
    EXPECT_THAT(namesOnDisk(), IsEmpty());
    // One for the control connection, and more for data.
    const std::string log = proxyLog();
    EXPECT_THAT(log, HasSubstr("CONNECT " + access.host().toUTF8() + " "));
    EXPECT_THAT(log, Not(HasSubstr("ftp://")));
}

/// Why the client sets the tunnel: without it the proxy treats the request as HTTP and responds in place of
/// the server.
class FTPThroughAnHTTPProxyWithoutATunnelTest : public FTPThroughAnHTTPProxyTest {};

// With ftps:// libcurl requests the tunnel in any case.
INSTANTIATE_TEST_SUITE_P(, FTPThroughAnHTTPProxyWithoutATunnelTest,
                         testing::Values(pureFTPdPlain, pureFTPdExplicitTLS, pyftpdlibPlain,
                                         pyftpdlibExplicitTLS),
                         nameOf);

TEST_P(FTPThroughAnHTTPProxyWithoutATunnelTest, SuccessIsFalse) {
    writeOnDisk("kept", "1");
    client.setRequestSetup(new FunctionSetup([this](CNetRequest& prepared) {
        useProxy(prepared);
        prepared.setOptionInt(CURLOPT_HTTPPROXYTUNNEL, 0);
    }));
    CNetRequest own;
    // Nothing to send: the proxy may refuse further bytes with a reset, which is an error.
    client.prepareUploadRequest(own, path("lost"), "", 0, false);
    own.perform();
    client.deleteFile(own, path("kept"));
    EXPECT_THAT(namesOnDisk(), ElementsAre("kept"));
    EXPECT_THAT(proxyLog(), HasSubstr("ftp://"));
}

}  // namespace
