// Sinks, listeners, hooks and progress objects made of functions.
#include "tests/net/NetRequestTestSupport.h"
#include "tests/support/ScriptedPeer.h"
#include "vexil/net/FunctionDoneListener.h"
#include "vexil/net/FunctionProgress.h"
#include "vexil/net/FunctionRequestSetup.h"
#include "vexil/net/FunctionSink.h"

#include <memory>
#include <stdexcept>

namespace {

using namespace vexil_test;
using testing::ElementsAre;

class FunctionAdaptersTest : public testing::Test {
protected:
    FunctionAdaptersTest() {
        request->setProxy("");
        request->setURL(peer.url("/a").c_str());
        peer.onConnection()
            .expectRequest()
            .reply("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello")
            .clientMayLeave();
    }
    ~FunctionAdaptersTest() override {
        request = nullptr;
        EXPECT_TRUE(peer.waitUntilIdle());
        EXPECT_THAT(peer.failures(), testing::IsEmpty());
    }

    ScriptedPeer peer;
    P<vexil::CNetRequest> request = new vexil::CNetRequest;
};

TEST_F(FunctionAdaptersTest, ASinkGetsTheBytes) {
    std::string body;
    request->setReceiveDataSink(vexil::makeSink([&](std::span<const std::byte> data) {
        body.append(reinterpret_cast<const char*>(data.data()), data.size());
    }));
    request->perform();
    EXPECT_EQ(body, "hello");
}

TEST_F(FunctionAdaptersTest, ASinkGetsTheStatusIfItTakesOne) {
    std::vector<int> statuses;
    request->setReceiveDataSink(vexil::makeSink(
        [&](std::span<const std::byte>, int httpStatus) mutable { statuses.push_back(httpStatus); }));
    request->perform();
    EXPECT_THAT(statuses, ElementsAre(200));
}

TEST_F(FunctionAdaptersTest, AnExceptionOfASinkEndsTheTransfer) {
    request->setReceiveDataSink(
        vexil::makeSink([](std::span<const std::byte>) { throw vexil::CError("no room"); }));
    try {
        request->perform();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const vexil::CError& error) {
        EXPECT_EQ(error.getMessage(), "no room");
    }
}

TEST_F(FunctionAdaptersTest, AListenerGetsRequestAndError) {
    std::vector<std::string> calls;
    request->setDoneListener(vexil::makeDoneListener([&](vexil::CNetRequest* done, vexil::CError* error) {
        calls.emplace_back(done == request && !error ? "success" : "failure");
    }));
    request->perform();
    EXPECT_THAT(calls, ElementsAre("success"));
    request->setURL("http://127.0.0.1:" + vexil::String::fromInt(ScriptedPeer::closedPort()));
    EXPECT_ANY_THROW(request->perform());
    EXPECT_THAT(calls, ElementsAre("success", "failure"));
}

TEST_F(FunctionAdaptersTest, ProgressGetsTheFourNumbers) {
    int calls = 0;
    request->setTransferProgress(
        vexil::makeProgress([&](int64 downloaded, int64 downloadTotal, int64 uploaded, int64 uploadTotal) {
            ++calls;
            EXPECT_LE(downloaded, 5);
            EXPECT_TRUE(downloadTotal == 0 || downloadTotal == 5);
            EXPECT_EQ(uploaded, 0);
            EXPECT_EQ(uploadTotal, 0);
        }));
    request->perform();
    EXPECT_GT(calls, 0);
}

TEST_F(FunctionAdaptersTest, AHookGetsTheRequest) {
    const P<vexil::INetRequestSetup> setup =
        vexil::makeRequestSetup([](vexil::CNetRequest& prepared) { prepared.setHTTPMethod("DELETE"); });
    setup->setUp(*request);
    request->perform();
    EXPECT_EQ(peer.requests().at(0).requestLine(), "DELETE /a HTTP/1.1");
}

TEST_F(FunctionAdaptersTest, AnAdapterOwnsItsFunction) {
    const auto state = std::make_shared<int>();
    request->setReceiveDataSink(vexil::makeSink([state](std::span<const std::byte>) { ++*state; }));
    EXPECT_EQ(state.use_count(), 2);
    request->perform();
    EXPECT_EQ(*state, 1);
    request->reset();
    EXPECT_EQ(state.use_count(), 1);
}

}  // namespace
