// FTP transfers that are cancelled in each waiting state, with each driver.
#include "tests/async/TransferDriver.h"
#include "tests/ftp/FTPServerTestSupport.h"
#include "tests/net/CancelTestSupport.h"
#include "tests/support/Deadline.h"
#include "tests/support/ScriptedPeer.h"

#include <functional>
#include <string>

namespace {

using namespace vexil_test;
using testing::IsEmpty;

class FTPCancelTest : public testing::TestWithParam<Driver> {
protected:
    ~FTPCancelTest() override {
        request = nullptr;
        data.release("never");
        for (const ScriptedPeer* const peer : {&control, &data}) {
            EXPECT_TRUE(peer->waitUntilIdle());
            EXPECT_THAT(peer->failures(), IsEmpty());
        }
    }

    /// The beginning of a control connection, including the login.
    ConnectionScript playLogin() {
        ConnectionScript script = control.onConnection();
        script.clientMayLeave().reply("220 Ready\r\n");
        for (const char* const reply : {"331 Password\r\n", "230 In\r\n", "257 \"/\"\r\n"}) {
            script.expectLine().reply(reply);
        }
        return script;
    }
    /// A passive data connection, then the type.
    ConnectionScript playPassive() {
        ConnectionScript script = playLogin();
        script.expectLine("EPSV")
            .reply("229 Passive (|||" + std::to_string(data.port()) + "|)\r\n")
            .expectLine("TYPE I")
            .reply("200 Binary\r\n");
        return script;
    }

    /// Cancels the prepared transfer when it waits after a state, and checks its error.
    void cancelWhereItWaits(const std::function<bool()>& waitForState) {
        request->setTransferProgress(progress);
        const auto error = errorOfCancelled(
            *request, [&] { drive(GetParam(), *request); },
            [&] {
                EXPECT_TRUE(waitForState());
                progress->waitUntilItWaits();
            });
        expectCancelled(error);
        EXPECT_EQ(error->getURL(), request->getURL());
        EXPECT_EQ(error->getResponseCodeDomain(), "ftp");
        EXPECT_EQ(error->getHTTPMethod(), "");
        EXPECT_EQ(control.connectionCount(), 1u);
    }

    /// The same after the peer has read these commands.
    void cancelBehind(const std::string& commands) {
        cancelWhereItWaits([&] { return control.waitForReceived(0, commands.size()); });
    }
    /// The same after this many bytes.
    void cancelWhenTold(const std::function<bool(const ProgressNumbers&)>& isSo) {
        zet::CSignal isTold;
        progress->then = [&](const ProgressNumbers& seen) {
            if (isSo(seen)) {
                isTold.set();
            }
        };
        cancelWhereItWaits([&] { return isTold.wait(60000); });
        progress->then = {};
    }

    const Deadline deadline{"a cancelled transfer ends, and its connection is not used again"};
    ScriptedPeer control;
    ScriptedPeer data;
    P<CNetRequest> request = new CNetRequest;
    const P<TestProgress> progress = new TestProgress;
    CFTPClient client{text("127.0.0.1:" + std::to_string(control.port())), "u", "p",
                      CFTPClient::ConnectPlain};
};
INSTANTIATE_TEST_SUITE_P(UnderEach, FTPCancelTest, testing::ValuesIn(allDrivers), nameOfDriver);

TEST_P(FTPCancelTest, WhileTheServerDoesNotGreet) {
    control.onConnection().clientMayLeave().waitForClose();
    client.prepareDownloadRequest(*request, "/f", 0, -1);
    cancelWhereItWaits([this] { return control.waitForConnections(1); });
}

TEST_P(FTPCancelTest, WhileTheLoginIsNotAnswered) {
    control.onConnection().clientMayLeave().reply("220 Ready\r\n").expectLine("USER u").waitForClose();
    client.prepareDownloadRequest(*request, "/f", 0, -1);
    cancelBehind("USER u\r\n");
}

TEST_P(FTPCancelTest, WhileACommandIsNotAnswered) {
    playLogin().expectLine("DELE /f").waitForClose();
    client.prepareDeleteFileRequest(*request, "/f");
    cancelBehind("USER u\r\nPASS p\r\nPWD\r\nDELE /f\r\n");
}

TEST_P(FTPCancelTest, LaterTransfersShareAConnectionAgain) {
    playLogin().expectLine("DELE /f").waitForClose();
    // From the previous use: a preparation resets the request.
    request->setOptionInt(CURLOPT_FORBID_REUSE, 1);
    client.prepareDeleteFileRequest(*request, "/f");
    cancelBehind("USER u\r\nPASS p\r\nPWD\r\nDELE /f\r\n");
    playLogin()
        .expectLine("DELE /f")
        .reply("250 Gone\r\n")
        .expectLine("DELE /f")
        .reply("250 Gone\r\n")
        .expectLine("QUIT")
        .reply("221 Bye\r\n")
        .close();
    request->setTransferProgress(nullptr);
    request->perform();
    request->perform();
    EXPECT_EQ(control.connectionCount(), 2u);
}

TEST_P(FTPCancelTest, ACallerWhoForbidsToShareItGetsAConnectionEachTime) {
    playLogin().expectLine("DELE /f").waitForClose();
    client.prepareDeleteFileRequest(*request, "/f");
    request->setOptionInt(CURLOPT_FORBID_REUSE, 1);
    cancelBehind("USER u\r\nPASS p\r\nPWD\r\nDELE /f\r\n");
    request->setTransferProgress(nullptr);
    for (std::size_t transfer = 1; transfer <= 2; ++transfer) {
        playLogin()
            .expectLine("DELE /f")
            .reply("250 Gone\r\n")
            .expectLine("QUIT")
            .reply("221 Bye\r\n")
            .close();
        request->perform();
        EXPECT_EQ(control.connectionCount(), transfer + 1);
    }
}

TEST_P(FTPCancelTest, InTheMiddleOfADownload) {
    playPassive()
        .expectLine("SIZE f")
        .reply("213 3000\r\n")
        .expectLine("RETR f")
        .reply("150 Here it comes\r\n")
        .waitForClose();
    data.onConnection().clientMayLeave().sendPattern(1000).waitForClose();
    client.prepareDownloadRequest(*request, "/f", 0, -1);
    cancelWhenTold([](const ProgressNumbers& seen) { return seen.downloaded == 1000; });
    EXPECT_EQ(progress->calls.back(), (ProgressNumbers{1000, 3000, 0, 0}));
    EXPECT_EQ(request->getDefaultReceiveBuffer()->getUsed(), 1000);
}

TEST_P(FTPCancelTest, BehindTheDataOfADownload) {
    // libcurl waits here by itself, and sends QUIT; for a reply to that it would wait for two minutes.
    playPassive()
        .expectLine("SIZE f")
        .reply("213 1000\r\n")
        .expectLine("RETR f")
        .reply("150 Here it comes\r\n")
        .expectLine("QUIT")
        .reply("221 Bye\r\n")
        .close();
    data.onConnection().sendPattern(1000).close();
    client.prepareDownloadRequest(*request, "/f", 0, -1);
    cancelWhenTold([](const ProgressNumbers& seen) { return seen.downloaded == 1000; });
}

TEST_P(FTPCancelTest, InTheMiddleOfAnUpload) {
    playPassive().expectLine("STOR f").reply("150 Send it\r\n").waitForClose();
    data.onConnection().clientMayLeave().pause("never").readUntilClose();
    // More than the buffers of a connection without a reader can take.
    const std::string body(64 * 1024 * 1024, 'x');
    client.prepareUploadRequest(*request, "/f", body.data(), static_cast<int>(body.size()), false);
    data.setRecordLimit(0);
    cancelWhenTold([](const ProgressNumbers& seen) { return seen.uploaded > 0; });
    EXPECT_EQ(progress->calls.back().uploadTotal, static_cast<int64>(body.size()));
    EXPECT_GT(progress->calls.back().uploaded, 0);
}

TEST(FTPCancelOperationTest, EndsAnOperationOfManyTransfers) {
    const Deadline deadline{"a cancelled transfer ends, and its connection is not used again"};
    ScriptedPeer control;
    ScriptedPeer data;
    control.onConnection()
        .clientMayLeave()
        .reply("220 Ready\r\n")
        .expectLine()
        .reply("331 Password\r\n")
        .expectLine()
        .reply("230 In\r\n")
        .expectLine()
        .reply("257 \"/\"\r\n")
        .expectLine("EPSV")
        .reply("229 Passive (|||" + std::to_string(data.port()) + "|)\r\n")
        .expectLine("TYPE A")
        .reply("200 Text\r\n")
        .expectLine("MLSD d")
        .reply("150 Here it comes\r\n")
        .reply("226 Sent\r\n")
        .expectLine("DELE /d/f")
        .waitForClose();
    data.onConnection().reply("type=file; f\r\ntype=file; g\r\n").close();
    CFTPClient client(text("127.0.0.1:" + std::to_string(control.port())), "u", "p",
                      CFTPClient::ConnectPlain);
    client.setRequestSetup(new FunctionSetup([](CNetRequest& prepared) { prepared.setCancellable(true); }));
    CNetRequest request;
    const std::string before = "USER u\r\nPASS p\r\nPWD\r\nEPSV\r\nTYPE A\r\nMLSD d\r\nDELE /d/f\r\n";
    expectCancelled(errorOfCancelled(
        request, [&] { client.deleteDirWithAllContents(request, "/d"); },
        [&] { EXPECT_TRUE(control.waitForReceived(0, before.size())); }));
    EXPECT_TRUE(control.waitUntilIdle());
    EXPECT_EQ(control.received(0), before);
    EXPECT_THAT(control.failures(), IsEmpty());
}

TEST(FTPCancelOperationTest, BetweenTwoStepsIsNotLostByAToken) {
    const Deadline deadline{"a cancelled operation takes no further step"};
    ScriptedPeer control;
    ConnectionScript script = control.onConnection();
    script.clientMayLeave().reply("220 Ready\r\n");
    for (const char* const reply : {"331 Password\r\n", "230 In\r\n", "257 \"/\"\r\n", "250 Gone\r\n"}) {
        script.expectLine().reply(reply);
    }
    script.expectLine("QUIT").reply("221 Bye\r\n").close();
    const P<vexil::CCancelToken> token = new vexil::CCancelToken;
    {
        CNetRequest request;
        request.setCancelToken(token);
        CFTPClient client(text("127.0.0.1:" + std::to_string(control.port())), "u", "p",
                          CFTPClient::ConnectPlain);
        client.deleteFile(request, "/a");
        token->cancel();
        expectCancelled(thrownBy<CCURLError>([&] { client.deleteFile(request, "/b"); }));
        expectCancelled(thrownBy<CCURLError>([&] { client.deleteDirWithAllContents(request, "/c"); }));
        EXPECT_EQ(control.received(0), "USER u\r\nPASS p\r\nPWD\r\nDELE /a\r\n");
    }
    EXPECT_EQ(control.connectionCount(), 1u);
}

}  // namespace
