// Rate limits with real servers: HTTP/1.1 over TLS, HTTP/2, and FTP with and without TLS. Limited bodies
// arrive whole, and take their time.
#include "tests/async/AsyncTestSupport.h"
#include "tests/ftp/FTPServerTestSupport.h"
#include "vexil/net/RateLimit.h"
#include "zet/MemoryInStream.h"

#include <chrono>
#include <fstream>

namespace {

using namespace vexil_test;
using vexil::AsyncEngine;
using vexil::CAsyncNetRequestManager;
using vexil::CRateLimit;
using vexil::TArray;

constexpr int transferCount = 4;
constexpr int size = 100'000;
constexpr int rate = 800'000;
constexpr std::chrono::milliseconds leastTime{350};  // less a tenth of a second and a turn

const std::string body = makeBytes(size, 7);

/// Runs them all at once under one limit, with each engine.
void runLimited(const TArray<P<CNetRequest>>& requests) {
    const P<CRateLimit> limit = new CRateLimit;
    limit->setDownloadRate(rate);
    limit->setUploadRate(rate);
    for (const AsyncEngine engine : {AsyncEngine::Automatic, AsyncEngine::Sockets}) {
        CAsyncNetRequestManager manager;
        manager.setEngine(engine);
        manager.setWaitForMultiplexing(true);
        const auto start = std::chrono::steady_clock::now();
        for (const P<CNetRequest>& request : requests) {
            setRateLimit(*request, limit);
            manager.addRequest(request);
        }
        driveToEnd(manager);
        EXPECT_GT(std::chrono::steady_clock::now() - start, leastTime);
        for (const P<CNetRequest>& request : requests) {
            request->checkAsyncResult();
        }
    }
}

// ---- HTTP over TLS

class HTTPSRateLimitTest : public testing::TestWithParam<int> {
protected:
    static P<CNetRequest> makeRequestTo(const std::string& path) {
        const P<CNetRequest> request = new CNetRequest;
        request->setProxy("");
        request->setURL(text(environment("VEXIL_HTTPS_ENDPOINT") + path));
        request->setRootCertBundlePath(text(environment("VEXIL_CA")));
        request->setOptionInt(CURLOPT_HTTP_VERSION, GetParam());
        return request;
    }
    static std::string fileOf(const std::string& path) { return environment("VEXIL_HTTP_ROOT") + path; }
};

INSTANTIATE_TEST_SUITE_P(Protocols, HTTPSRateLimitTest,
                         testing::Values(static_cast<int>(CURL_HTTP_VERSION_1_1),
                                         static_cast<int>(CURL_HTTP_VERSION_2TLS)),
                         [](const auto& param) {
                             return param.param == CURL_HTTP_VERSION_2TLS ? "HTTP2" : "HTTP1OverTLS";
                         });

TEST_P(HTTPSRateLimitTest, DownloadsArriveWhole) {
    std::ofstream(fileOf("/static/limited.bin"), std::ios::binary) << body;
    TArray<P<CNetRequest>> requests;
    for (int i = 0; i < transferCount; ++i) {
        requests.push_back(makeRequestTo("/static/limited.bin"));
    }
    runLimited(requests);
    for (const P<CNetRequest>& request : requests) {
        EXPECT_TRUE(isSame(bodyOf(*request), body));
    }
}

TEST_P(HTTPSRateLimitTest, UploadsArriveWhole) {
    TArray<P<CNetRequest>> requests;
    for (int i = 0; i < transferCount; ++i) {
        requests.push_back(makeRequestTo("/dav/limited" + std::to_string(i)));
        requests.back()->setUpload(true);
        requests.back()->setSendDataStream(zet::make<zet::CMemoryInStream>(body.data(), size));
        requests.back()->setSendDataSize(size);
    }
    runLimited(requests);
    for (int i = 0; i < transferCount; ++i) {
        const P<CNetRequest> check = makeRequestTo("/dav/limited" + std::to_string(i));
        check->perform();
        EXPECT_TRUE(isSame(bodyOf(*check), body));
    }
}

// ---- FTP

class FTPRateLimitTest : public FTPDirectoryTest {
protected:
    FTPRateLimitTest() : FTPDirectoryTest(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(, FTPRateLimitTest, testing::Values(pureFTPdPlain, pureFTPdExplicitTLS), nameOf);

TEST_P(FTPRateLimitTest, FilesArriveWhole) {
    TArray<P<CNetRequest>> uploads;
    TArray<P<CNetRequest>> downloads;
    for (int i = 0; i < transferCount; ++i) {
        const std::string name = "file" + std::to_string(i);
        uploads.push_back(new CNetRequest);
        client.prepareUploadRequest(*uploads.back(), path(name), body.data(), body.size(), false);
        downloads.push_back(new CNetRequest);
        client.prepareDownloadRequest(*downloads.back(), path(name), 0, -1);
    }
    runLimited(uploads);
    runLimited(downloads);
    for (int i = 0; i < transferCount; ++i) {
        EXPECT_TRUE(isSame(readFile(onDisk("file" + std::to_string(i))), body));
        EXPECT_TRUE(isSame(bodyOf(*downloads[static_cast<std::size_t>(i)]), body));
    }
}

}  // namespace
