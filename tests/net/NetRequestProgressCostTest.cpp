// A feature that is off costs nothing: options, callbacks and memory of a request without progress,
// cancelling and verbose log. This program defines functions of libcurl and of the C++ library itself, and
// forwards the calls.
#include "tests/net/CancelTestSupport.h"
#include "tests/support/AllocationCount.h"
#include "tests/support/OptionRecorder.h"
#include "tests/support/ScriptedPeer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

using vexil_test::countedMalloc;
using vexil_test::t_allocations;

void* countedCalloc(std::size_t count, std::size_t size) {
    ++t_allocations;
    return std::calloc(count, size);
}

void* countedRealloc(void* memory, std::size_t size) {
    ++t_allocations;
    return std::realloc(memory, size);
}

char* countedStrdup(const char* text) {
    ++t_allocations;
    return strdup(text);
}

}  // namespace

extern "C" CURLcode curl_global_init(long flags) {
    // libcurl's own memory is counted as well.
    return curl_global_init_mem(flags, &countedMalloc, &std::free, &countedRealloc, &countedStrdup,
                                &countedCalloc);
}

namespace {

using namespace vexil_test;
using testing::IsEmpty;

/// How often libcurl has called a callback.
int debugEntries = 0;
int progressEntries = 0;

int countDebug(CURL* handle, curl_infotype type, char* data, std::size_t size, void* request) {
    ++debugEntries;
    return CNetRequest::_curlDebugFunctionCallback(handle, type, data, size, request);
}

int countProgress(void*, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    ++progressEntries;
    return 0;
}

/// A progress object that does nothing.
class QuietProgress : public virtual vexil::CBase, public CNetRequest::ITransferProgress {
public:
    void onProgress(int64, int64, int64, int64) override { ++calls; }
    int calls = 0;
};

class NetRequestProgressCostTest : public testing::Test {
protected:
    NetRequestProgressCostTest() {
        peer.setDefaultReply("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
        events.clear();
        isRecording = true;
        prepare();
    }
    ~NetRequestProgressCostTest() override {
        isRecording = false;
        optionsUntilFailure = -1;
    }

    void prepare() {
        request->setProxy("");
        request->setURL(peer.url().c_str());
    }
    /// The options of progress and of the verbose log that were set since the last call.
    std::vector<std::string> recorded() {
        std::vector<std::string> texts;
        for (const RecordedOption& event : events) {
            const std::string& text = event.text;
            if (text.starts_with("XFERINFO") || text.starts_with("NOPROGRESS") ||
                text.starts_with("VERBOSE") || text.starts_with("PROGRESS")) {
                texts.push_back(event.pointer == static_cast<CNetRequest*>(request.get())
                                    ? text.substr(0, text.find('=')) + "=request"
                                    : text);
            }
        }
        events.clear();
        return texts;
    }

    /// Replaces the request's callbacks and calls them.
    void countEntries() {
        debugEntries = 0;
        progressEntries = 0;
        curl_easy_setopt(request->getHandle(), CURLOPT_DEBUGFUNCTION, &countDebug);
        curl_easy_setopt(request->getHandle(), CURLOPT_XFERINFOFUNCTION, &countProgress);
    }

    /// The memory that a transfer needs: the least of several, because libcurl may read a response in pieces.
    int allocationsOfATransfer() {
        isRecording = false;
        int least = std::numeric_limits<int>::max();
        for (int i = 0; i < 20; ++i) {
            least = std::min(least, vexil_test::allocationsOf([&] { request->perform(); }));
        }
        return least;
    }

    ScriptedPeer peer;
    P<OpenRequest> request = new OpenRequest;
    const P<QuietProgress> progress = new QuietProgress;
};

const std::vector<std::string> switchedOn = {"XFERINFOFUNCTION=function", "XFERINFODATA=request",
                                             "NOPROGRESS=0L"};
const std::vector<std::string> switchedOff = {"XFERINFOFUNCTION=null", "XFERINFODATA=null", "NOPROGRESS=1L"};

TEST_F(NetRequestProgressCostTest, NoOptionIsSetUnlessUsed) {
    request->perform();
    request->reset();
    prepare();
    request->perform();
    request->setTransferProgress(nullptr);
    request->setCancellable(false);
    EXPECT_FALSE(events.empty());
    EXPECT_THAT(recorded(), IsEmpty());
}

TEST_F(NetRequestProgressCostTest, TheOptionsAreSetWhileEitherIsUsed) {
    request->setTransferProgress(progress);
    EXPECT_EQ(recorded(), switchedOn);
    request->setCancellable(true);
    request->setTransferProgress(nullptr);
    request->perform();
    request->setTransferProgress(progress);
    request->setCancellable(false);
    EXPECT_THAT(recorded(), IsEmpty());
    request->setTransferProgress(nullptr);
    EXPECT_EQ(recorded(), switchedOff);
    request->setCancellable(true);
    EXPECT_EQ(recorded(), switchedOn);
    request->setCancellable(false);
    EXPECT_EQ(recorded(), switchedOff);
}

TEST_F(NetRequestProgressCostTest, ResetLeavesNothingOfTheOptions) {
    request->setTransferProgress(progress);
    request->setCancellable(true);
    recorded();
    request->reset();
    prepare();
    EXPECT_THAT(recorded(), IsEmpty()) << "libcurl's own reset is enough";
    request->perform();
    EXPECT_EQ(progress->calls, 0);
    request->setCancellable(true);
    EXPECT_EQ(recorded(), switchedOn) << "set again";
}

TEST_F(NetRequestProgressCostTest, WhatLibcurlRefusesDoesNotEnableCancelling) {
    for (int option = 0; option < 3; ++option) {
        optionsUntilFailure = option;
        EXPECT_EQ(thrownBy<CCURLError>([&] { request->setCancellable(true); })->getCode(),
                  CURLE_OUT_OF_MEMORY);
        EXPECT_FALSE(request->isCancellable());
        thrownBy<CError>([&] { request->cancel(); });
    }
    request->setCancellable(true);
    EXPECT_TRUE(request->isCancellable());
}

TEST_F(NetRequestProgressCostTest, CallbacksThatAreOffAreNeverEntered) {
    countEntries();
    request->perform();
    EXPECT_EQ(debugEntries, 0);
    EXPECT_EQ(progressEntries, 0);

    request->setVerbose(true);
    request->setTransferProgress(progress);
    countEntries();
    request->perform();
    EXPECT_GT(debugEntries, 0);
    EXPECT_GT(progressEntries, 0);

    request->setVerbose(false);
    request->setTransferProgress(nullptr);
    countEntries();
    request->perform();
    EXPECT_EQ(debugEntries, 0);
    EXPECT_EQ(progressEntries, 0);

    request->setVerbose(true);
    request->setCancellable(true);
    request->reset();
    prepare();
    countEntries();
    request->perform();
    EXPECT_EQ(debugEntries, 0);
    EXPECT_EQ(progressEntries, 0);
}

TEST_F(NetRequestProgressCostTest, NothingIsAllocatedForWhatIsOff) {
    const int never = allocationsOfATransfer();
    EXPECT_GT(never, 0);

    request->setVerbose(true);
    request->setTransferProgress(progress);
    EXPECT_GT(allocationsOfATransfer(), never);
    EXPECT_GT(progress->calls, 0);

    request->setVerbose(false);
    request->setTransferProgress(nullptr);
    EXPECT_EQ(allocationsOfATransfer(), never);

    request->setCancellable(true);
    EXPECT_EQ(allocationsOfATransfer(), never) << "cancelling itself needs no memory";
    request->setCancellable(false);
    EXPECT_EQ(allocationsOfATransfer(), never);
}

}  // namespace
