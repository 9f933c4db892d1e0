/// \file
/// Shared by the tests of the S3 client with a real server.
#pragma once

#include "tests/s3/S3TestSupport.h"

#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

namespace vexil_test {

inline String serverSetting(const char* name) {
    const char* const value = std::getenv(name);
    return value ? String::fromUTF8(value) : String();
}

inline bool isServerEncrypted() {
    return serverSetting("VEXIL_S3_ENDPOINT").startsWith("https:");
}

inline void trustServer(CNetRequest& request) {
    if (isServerEncrypted()) {
        request.setRootCertBundlePath(serverSetting("VEXIL_CA"));
    }
}

class TrustServer : public virtual vexil::CBase, public vexil::INetRequestSetup {
public:
    void setUp(CNetRequest& request) override { trustServer(request); }
};

/// A client of the server. with-verifying-front.py sets an endpoint with TLS and buckets in host names.
inline CS3Client makeServerClient(const String& secret = serverSetting("VEXIL_S3_SECRET_KEY")) {
    CS3Client client(serverSetting("VEXIL_S3_ACCESS_KEY"), secret, false);
    client.setBaseURL(serverSetting("VEXIL_S3_ENDPOINT"));
    client.setMaxRetries(3);
    if (isServerEncrypted()) {
        client.setRequestSetup(new TrustServer);
        client.setAddressingStyle(vexil::S3AddressingStyle::VirtualHosted);
    }
    return client;
}

/// A bucket of the running test alone.
inline String makeBucketName(const std::string& prefix) {
    const testing::TestInfo* const info = testing::UnitTest::GetInstance()->current_test_info();
    String bucket = String::fromUTF8(prefix + info->name()).toLower();
    bucket.replaceAll("/", "-v");
    return bucket;
}

/// A folder that is empty at first, and deleted at the end.
class TestFolder {
public:
    explicit TestFolder(const std::string& name)
        : path(std::filesystem::path(testing::TempDir()) /
               (name + "-" + std::to_string(std::random_device()()))) {
        std::filesystem::create_directories(path);
    }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;
    ~TestFolder() { std::filesystem::remove_all(path); }

    const std::filesystem::path path;
};

}  // namespace vexil_test
