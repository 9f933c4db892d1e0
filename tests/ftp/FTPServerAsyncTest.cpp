// Many FTP transfers at once on one worker thread.
#include "tests/ftp/FTPServerTestSupport.h"
#include "vexil/async/AsyncNetRequestThread.h"

namespace {

using namespace vexil_test;
using testing::SizeIs;
using vexil::CAsyncNetRequestThread;

constexpr int transferCount = 20;
constexpr int longTime = 120000;  // ms

class FTPServerAsyncTest : public FTPDirectoryTest {
protected:
    FTPServerAsyncTest() : FTPDirectoryTest(GetParam()) {
        client.setPathEncoding(CFTPClient::PathPercentEncode);
    }

    /// The content of a file; size and bytes differ from those of all others.
    static std::string bodyFor(int number) {
        return makeBytes(static_cast<std::size_t>(100000 + 7777 * number), static_cast<unsigned int>(number));
    }
    static std::string nameFor(int number) { return "file #" + std::to_string(number); }

    /// Runs all of them at once.
    void run(const std::vector<P<CNetRequest>>& requests) {
        const P<CAsyncNetRequestThread> thread = new CAsyncNetRequestThread(nullptr);
        thread->start();
        for (const P<CNetRequest>& each : requests) {
            thread->addRequest(each);
        }
        for (const P<CNetRequest>& each : requests) {
            ASSERT_TRUE(each->waitAsyncDone(longTime));
        }
    }
};

INSTANTIATE_TEST_SUITE_P(, FTPServerAsyncTest,
                         testing::Values(pureFTPdPlain, pureFTPdExplicitTLS, pyftpdlibPlain,
                                         pyftpdlibExplicitTLS, pyftpdlibImplicitTLS),
                         nameOf);

TEST_P(FTPServerAsyncTest, TransfersAtOnceArriveIntact) {
    std::vector<std::string> bodies;
    std::vector<P<CNetRequest>> uploads;
    for (int number = 0; number < transferCount; ++number) {
        bodies.push_back(bodyFor(number));
        writeOnDisk("down " + nameFor(number), bodies.back());
    }
    std::vector<P<CNetRequest>> downloads;
    for (int number = 0; number < transferCount; ++number) {
        const std::string& body = bodies[static_cast<std::size_t>(number)];
        uploads.push_back(new CNetRequest);
        client.prepareUploadRequest(*uploads.back(), path("new/" + nameFor(number)), body.data(), body.size(),
                                    true);
        downloads.push_back(new CNetRequest);
        client.prepareDownloadRequest(*downloads.back(), path("down " + nameFor(number)), 0, -1);
    }
    std::vector<P<CNetRequest>> all = uploads;
    all.insert(all.end(), downloads.begin(), downloads.end());
    run(all);
    for (int number = 0; number < transferCount; ++number) {
        SCOPED_TRACE(number);
        const auto index = static_cast<std::size_t>(number);
        uploads[index]->checkAsyncResult();
        downloads[index]->checkAsyncResult();
        EXPECT_TRUE(isSame(readFile(onDisk("new/" + nameFor(number))), bodies[index]));
        EXPECT_TRUE(isSame(bodyOf(*downloads[index]), bodies[index]));
    }
    EXPECT_THAT(namesOnDisk("new"), SizeIs(transferCount));
}

TEST_P(FTPServerAsyncTest, FailuresAreToldOfEachRequest) {
    writeOnDisk("there", "hello");
    const P<CNetRequest> good = new CNetRequest;
    client.prepareDownloadRequest(*good, path("there"), 0, -1);
    const P<CNetRequest> missing = new CNetRequest;
    client.prepareDownloadRequest(*missing, path("missing"), 0, -1);
    const P<CNetRequest> command = new CNetRequest;
    client.prepareDeleteFileRequest(*command, path("missing"));
    run({good, missing, command});
    good->checkAsyncResult();
    EXPECT_EQ(bodyOf(*good), "hello");
    EXPECT_EQ(failureOf([&] { missing->checkAsyncResult(); }), "78 550");
    EXPECT_EQ(failureOf([&] { command->checkAsyncResult(); }), "21 550");
}

}  // namespace
