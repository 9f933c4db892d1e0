// Many requests on one multi handle, driven by the test's own thread.
#include "vexil/async/AsyncNetRequestManager.h"

#include "tests/net/NetRequestTestSupport.h"
#include "tests/support/ScriptedPeer.h"

namespace {

using namespace vexil;
using namespace vexil_test;
using zet::TArray;

const std::string okReply = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

TEST(AsyncNetRequestManager, RunsARequestToItsEnd) {
    ScriptedPeer peer;
    peer.onConnection().expectRequest().reply(okReply);
    const P<CNetRequest> request = new CNetRequest;
    request->setProxy("");
    request->setURL(peer.url("/a").c_str());
    CAsyncNetRequestManager manager;
    manager.addRequest(request);
    TArray<P<CNetRequest>> finished;
    while (manager.getRequestCount() > 0) {
        manager.waitForEvents(-1);
        manager.handleEvents(&finished);
    }
    EXPECT_TRUE(request->isAsyncDone());
    request->checkAsyncResult();
    EXPECT_EQ(bodyOf(*request), "ok");
    ASSERT_EQ(finished.size(), 1u);
    EXPECT_EQ(finished[0], request);
}

}  // namespace
