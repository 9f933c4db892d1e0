// The engine for many transfers with real servers: HTTP/2, and FTP with TLS. No transfer waits for the
// engine's look at all transfers, except where libcurl forgets all sockets of one.
#include "tests/async/AsyncTestSupport.h"
#include "tests/async/WithheldLooks.h"
#include "tests/ftp/FTPServerTestSupport.h"

#include <fstream>
#include <optional>

namespace {

using namespace vexil_test;
using vexil::AsyncEngine;
using vexil::CAsyncNetRequestManager;
using vexil::TArray;

/// Otherwise libcurl itself looks at each transfer once a second.
void prepareForEngine(CNetRequest& request) {
    request.setLowSpeedLimit(0, zet::CTimeSpan());
}

/// Runs them all at once.
void run(CAsyncNetRequestManager& manager, const TArray<P<CNetRequest>>& requests) {
    for (const P<CNetRequest>& request : requests) {
        manager.addRequest(request);
    }
    driveToEnd(manager);
    for (const P<CNetRequest>& request : requests) {
        request->checkAsyncResult();
    }
}

std::string makeBody(int number) {
    return makeBytes(static_cast<std::size_t>(70000 + 7777 * number), static_cast<unsigned int>(number));
}

// ---- HTTP/2

constexpr int getCount = 50;

enum class Protocol { HTTP1OverTLS, HTTP2 };

class HTTPSEngineTest : public testing::TestWithParam<Protocol> {
protected:
    static P<CNetRequest> makeRequestTo(const std::string& path) {
        const P<CNetRequest> request = new CNetRequest;
        request->setProxy("");
        request->setURL(text(environment("VEXIL_HTTPS_ENDPOINT") + path));
        request->setRootCertBundlePath(text(environment("VEXIL_CA")));
        request->setOptionInt(CURLOPT_HTTP_VERSION,
                              GetParam() == Protocol::HTTP2 ? CURL_HTTP_VERSION_2TLS : CURL_HTTP_VERSION_1_1);
        prepareForEngine(*request);
        return request;
    }
    static TArray<P<CNetRequest>> makeGets() {
        TArray<P<CNetRequest>> requests;
        for (int i = 0; i < getCount; ++i) {
            requests.push_back(makeRequestTo("/static/a.txt"));
        }
        return requests;
    }
    static int connectionsOf(const TArray<P<CNetRequest>>& requests) {
        int count = 0;
        for (const P<CNetRequest>& request : requests) {
            count += request->getInfoLong(CURLINFO_NUM_CONNECTS);
        }
        return count;
    }
};

INSTANTIATE_TEST_SUITE_P(Protocols, HTTPSEngineTest, testing::Values(Protocol::HTTP1OverTLS, Protocol::HTTP2),
                         [](const auto& param) {
                             return param.param == Protocol::HTTP2 ? "HTTP2" : "HTTP1OverTLS";
                         });

TEST_P(HTTPSEngineTest, TransfersAtOnceArriveIntact) {
    const std::string large = makeBody(100);
    std::ofstream(environment("VEXIL_HTTP_ROOT") + "/static/engine.bin", std::ios::binary) << large;
    const WithheldLooks looks;
    CAsyncNetRequestManager manager;
    manager.setEngine(AsyncEngine::Sockets);
    manager.setWaitForMultiplexing(true);
    TArray<P<CNetRequest>> downloads;
    TArray<P<CNetRequest>> uploads;
    for (int i = 0; i < 10; ++i) {
        downloads.push_back(makeRequestTo("/static/engine.bin"));
        uploads.push_back(makeRequestTo("/dav/engine" + std::to_string(i)));
        uploads.back()->setUpload(true);
        uploads.back()->setSendDataAsUTF8(std::string(200000, 'u'));
    }
    TArray<P<CNetRequest>> all = downloads;
    all.insert(all.end(), uploads.begin(), uploads.end());
    run(manager, all);
    for (const P<CNetRequest>& download : downloads) {
        EXPECT_TRUE(isSame(bodyOf(*download), large));
    }
}

TEST_P(HTTPSEngineTest, RequestsShareAConnectionIfTheyWaitForIt) {
    for (const AsyncEngine engine : {AsyncEngine::Automatic, AsyncEngine::Sockets}) {
        for (const bool waits : {true, false}) {
            CAsyncNetRequestManager manager;
            manager.setEngine(engine);
            manager.setWaitForMultiplexing(waits);
            const TArray<P<CNetRequest>> requests = makeGets();
            run(manager, requests);
            const bool isShared = waits && GetParam() == Protocol::HTTP2;
            EXPECT_EQ(connectionsOf(requests), isShared ? 1 : getCount);
        }
    }
}

TEST_P(HTTPSEngineTest, RequestsOfAWorkerShareAConnectionIfTheyWaitForIt) {
    const P<vexil::CAsyncNetRequestThread> worker = new vexil::CAsyncNetRequestThread(nullptr);
    worker->setWaitForMultiplexing(true);
    const TArray<P<CNetRequest>> requests = makeGets();
    // Added first: all of them start together.
    for (const P<CNetRequest>& request : requests) {
        worker->addRequest(request);
    }
    worker->start();
    EXPECT_THROW(worker->setWaitForMultiplexing(false), vexil::CInvalidArgError);
    for (const P<CNetRequest>& request : requests) {
        ASSERT_TRUE(request->waitAsyncDone(60000));
        request->checkAsyncResult();
    }
    EXPECT_EQ(connectionsOf(requests), GetParam() == Protocol::HTTP2 ? 1 : getCount);
    worker->stop(true);
}

// ---- FTP

class FTPEngineTest : public FTPDirectoryTest {
protected:
    FTPEngineTest() : FTPDirectoryTest(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(, FTPEngineTest,
                         testing::Values(pureFTPdPlain, pureFTPdExplicitTLS, pyftpdlibPlain,
                                         pyftpdlibExplicitTLS, pyftpdlibImplicitTLS),
                         nameOf);

TEST_P(FTPEngineTest, NoTransferWaitsForALookAtAllOfThem) {
    constexpr int count = 10;
    // Seldom libcurl 7.88 forgets both connections of a transfer with this server, while TLS begins on that
    // for the data. Only a look finds such a transfer.
    const bool isLookNeeded = GetParam().name == pureFTPdExplicitTLS.name;
    std::optional<WithheldLooks> looks;
    if (!isLookNeeded) {
        looks.emplace();
    }
    CAsyncNetRequestManager manager;
    manager.setEngine(AsyncEngine::Sockets);
    TArray<P<CNetRequest>> uploads;
    TArray<P<CNetRequest>> downloads;
    std::vector<std::string> bodies;
    bodies.reserve(count);  // the uploads read them
    for (int i = 0; i < count; ++i) {
        const std::string& body = bodies.emplace_back(makeBody(i));
        const std::string name = "file" + std::to_string(i);
        writeOnDisk(name, body);
        downloads.push_back(new CNetRequest);
        client.prepareDownloadRequest(*downloads.back(), path(name), 0, -1);
        uploads.push_back(new CNetRequest);
        client.prepareUploadRequest(*uploads.back(), path("new" + std::to_string(i)), body.data(),
                                    body.size(), false);
        prepareForEngine(*downloads.back());
        prepareForEngine(*uploads.back());
    }
    // Again, with the connections that are kept.
    for (int round = 0; round < 3; ++round) {
        run(manager, uploads);
        run(manager, downloads);
        for (int i = 0; i < count; ++i) {
            EXPECT_TRUE(isSame(bodyOf(*downloads[static_cast<std::size_t>(i)]), makeBody(i)));
            EXPECT_TRUE(isSame(readFile(onDisk("new" + std::to_string(i))), makeBody(i)));
        }
    }
}

}  // namespace
