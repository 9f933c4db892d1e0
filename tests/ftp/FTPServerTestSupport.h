/// \file
/// Shared by the tests with real FTP servers: access to the servers, and the files on their disks.
#pragma once

#include "tests/net/NetRequestTestSupport.h"
#include "vexil/ftp/FTPClient.h"
#include "vexil/ftp/FTPGetInfoResult.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <ostream>

namespace vexil_test {

using vexil::CFTPClient;
using vexil::CFTPDirEntry;
using vexil::CFTPGetInfoResult;
using vexil::CFTPListDirResult;
using vexil::PC;
using zet::IFileInfoBase;

inline String text(const std::string& utf8) {
    return String::fromUTF8(utf8);
}

inline std::string environment(const std::string& name) {
    const char* const value = std::getenv(name.c_str());
    EXPECT_NE(value, nullptr) << name << " is not set: run this through with-servers.sh";
    return value ? value : "";
}

/// A server and the way to reach it.
struct FTPAccess {
    std::string name;
    std::string server;  ///< prefix of its variables
    std::string endpoint;
    CFTPClient::ConnectType connectType;

    bool isPureFTPd() const { return server == "VEXIL_PUREFTPD"; }
    String host() const { return text(environment(endpoint)); }
    String bundle() const { return text(environment(server + "_CA")); }
    String wrongBundle() const { return text(environment(server + "_WRONG_CA")); }
    /// The folder with the server's files.
    std::filesystem::path root() const { return environment(server + "_ROOT"); }
};

inline void PrintTo(const FTPAccess& access, std::ostream* out) {
    *out << access.name;
}

inline const FTPAccess pureFTPdPlain{"PureFTPdPlain", "VEXIL_PUREFTPD", "VEXIL_PUREFTPD_ENDPOINT",
                                     CFTPClient::ConnectPlain};
inline const FTPAccess pureFTPdExplicitTLS{"PureFTPdExplicitTLS", "VEXIL_PUREFTPD", "VEXIL_PUREFTPD_ENDPOINT",
                                           CFTPClient::ConnectExplicitTLS};
inline const FTPAccess pyftpdlibPlain{"PyftpdlibPlain", "VEXIL_FTP", "VEXIL_FTP_ENDPOINT",
                                      CFTPClient::ConnectPlain};
inline const FTPAccess pyftpdlibExplicitTLS{"PyftpdlibExplicitTLS", "VEXIL_FTP", "VEXIL_FTP_ENDPOINT",
                                            CFTPClient::ConnectExplicitTLS};
inline const FTPAccess pyftpdlibImplicitTLS{"PyftpdlibImplicitTLS", "VEXIL_FTP", "VEXIL_FTPS_ENDPOINT",
                                            CFTPClient::ConnectImplicitTLS};

/// The name of a test's parameter.
inline std::string nameOf(const testing::TestParamInfo<FTPAccess>& info) {
    return info.param.name;
}

/// A hook that calls a function of the test.
class FunctionSetup : public virtual vexil::CBase, public vexil::INetRequestSetup {
public:
    explicit FunctionSetup(std::function<void(CNetRequest&)> setUp) : m_setUp(std::move(setUp)) {}
    void setUp(CNetRequest& request) override { m_setUp(request); }

private:
    const std::function<void(CNetRequest&)> m_setUp;
};

/// The settings of a request for the server's TLS.
inline void trust(CNetRequest& request, const FTPAccess& access, const String& bundle) {
    request.setRootCertBundlePath(bundle);
    if (!access.isPureFTPd()) {
        // With TLS 1.3 libcurl ends an upload with a reset, because it has not read the session tickets that
        // came meanwhile. pyftpdlib takes that for the end of the file, although it has not read all of it,
        // and sends 226.
        request.setOptionInt(CURLOPT_SSLVERSION, CURL_SSLVERSION_MAX_TLSv1_2);
    }
}

/// The hook with these settings.
inline P<vexil::INetRequestSetup> trust(const FTPAccess& access, const String& bundle) {
    return new FunctionSetup([=](CNetRequest& request) { trust(request, access, bundle); });
}

inline CFTPClient makeClient(const FTPAccess& access, const String& password = "secret") {
    CFTPClient client(access.host(), "tester", password, access.connectType);
    client.setRequestSetup(trust(access, access.bundle()));
    return client;
}

/// "CODE REPLY" of the CCURLError that `call` throws.
template <class Call>
std::string failureOf(Call call) {
    const auto error = thrownBy<CCURLError>(call);
    return error ? std::to_string(error->getCode()) + " " + std::to_string(error->getResponseCode())
                 : "(none)";
}

/// Bytes of all values; any conversion of text would change them.
inline std::string makeBytes(std::size_t count, unsigned int seed = 1) {
    std::string bytes(count, '\0');
    for (char& byte : bytes) {
        seed = seed * 1664525u + 1013904223u;
        byte = static_cast<char>(seed >> 24);
    }
    return bytes;
}

/// Compares two contents without printing thousands of bytes.
inline testing::AssertionResult isSame(const std::string& bytes, const std::string& expected) {
    if (bytes == expected) {
        return testing::AssertionSuccess();
    }
    const auto end = std::mismatch(bytes.begin(), bytes.end(), expected.begin(), expected.end());
    return testing::AssertionFailure() << bytes.size() << " bytes instead of " << expected.size()
                                       << ", the same up to " << end.first - bytes.begin();
}

inline std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path << " cannot be read";
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Each test has its own directory on the server, which is deleted after it.
class FTPDirectoryTest : public testing::TestWithParam<FTPAccess> {
protected:
    explicit FTPDirectoryTest(const FTPAccess& ftpAccess) : access(ftpAccess), client(makeClient(ftpAccess)) {
        const testing::TestInfo* const info = testing::UnitTest::GetInstance()->current_test_info();
        std::string name = info->name();
        std::replace(name.begin(), name.end(), '/', '-');
        directory = "/" + name;
    }
    ~FTPDirectoryTest() override { std::filesystem::remove_all(onDisk("")); }

    void SetUp() override { client.createDir(request, text(directory), false); }

    String path(const std::string& name) const { return text(directory + "/" + name); }
    std::filesystem::path onDisk(const std::string& name) const {
        return access.root() / (directory + "/" + name).substr(1);
    }
    bool isThere(const std::string& name) const {
        return std::filesystem::exists(std::filesystem::symlink_status(onDisk(name)));
    }
    /// The names in a directory on the disk, sorted.
    std::vector<std::string> namesOnDisk(const std::string& name = "") const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(onDisk(name))) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    /// Makes a file or directory that the server's user may change, without the client.
    void makeOnDisk(const std::string& name) const {
        std::filesystem::create_directory(onDisk(name));
        std::filesystem::permissions(onDisk(name), std::filesystem::perms::all);
    }
    void writeOnDisk(const std::string& name, const std::string& body = {}) const {
        std::ofstream(onDisk(name), std::ios::binary) << body;
    }

    void upload(const String& target, const std::string& body, bool createMissingDirs = false) {
        client.prepareUploadRequest(request, target, body.data(), static_cast<int>(body.size()),
                                    createMissingDirs);
        request.perform();
    }
    std::string download(const String& source, int64 offset = 0, int64 length = -1) {
        client.prepareDownloadRequest(request, source, offset, length);
        request.perform();
        return bodyOf(request);
    }
    PC<CFTPDirEntry> getInfo(const String& target) {
        client.prepareGetInfoRequest(request, target);
        request.perform();
        return CFTPGetInfoResult(request.getResponseInfo()).getInfo();
    }
    bool exists(const String& target) {
        client.prepareVerifyExistsRequest(request, target);
        try {
            request.perform();
        } catch (const CCURLError& error) {
            EXPECT_EQ(error.getCode(), CURLE_QUOTE_ERROR);
            EXPECT_EQ(error.getResponseCode(), 550);
            return false;
        }
        return true;
    }
    void moveFile(const String& from, const String& to, bool createMissingDirs = false) {
        client.prepareMoveFileRequest(request, from, to, createMissingDirs);
        request.perform();
    }
    void moveDir(const String& from, const String& to, bool createMissingDirs = false) {
        client.prepareMoveDirRequest(request, from, to, createMissingDirs);
        request.perform();
    }
    /// Name and type of each file and directory of a listing, sorted: "f name", "d name".
    std::vector<std::string> list(const String& target) {
        std::vector<std::string> found;
        const P<CFTPListDirResult> listing = client.listDir(request, target);
        for (const P<CFTPDirEntry>& entry : listing->getEntries()) {
            if (entry->getType() != IFileInfoBase::TypeUnknown) {
                found.push_back((entry->getType() == IFileInfoBase::TypeFile ? "f " : "d ") +
                                entry->getName().toUTF8());
            }
        }
        std::sort(found.begin(), found.end());
        return found;
    }

    const FTPAccess access;
    CFTPClient client;
    CNetRequest request;
    std::string directory;
};

}  // namespace vexil_test
