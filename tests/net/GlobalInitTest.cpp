#include "vexil/net/GlobalInit.h"

#include "tests/support/Latch.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

using vexil::CGlobalInit;
using vexil::P;
using Guard = zet::CSafeGlobalGuard;
using vexil_test::Latch;

TEST(GlobalInitTest, ThreadsGetOneInstance) {
    constexpr int threadCount = 16;
    EXPECT_EQ(CGlobalInit::globalInstanceGuard().getState(), Guard::NotConstructed);
    Latch start(threadCount);
    std::vector<P<CGlobalInit>> instances(threadCount);
    std::vector<std::thread> threads;
    for (P<CGlobalInit>& instance : instances) {
        threads.emplace_back([&start, &instance] {
            start.arriveAndWait();
            instance = CGlobalInit::get();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(CGlobalInit::globalInstanceGuard().getState(), Guard::Constructed);
    ASSERT_NE(instances[0], nullptr);
    for (const P<CGlobalInit>& instance : instances) {
        EXPECT_EQ(instance.get(), instances[0].get());
    }
    EXPECT_EQ(&CGlobalInit::get(), &CGlobalInit::get());
}

TEST(GlobalInitTest, ThreadsShareOneGuard) {
    const Guard* guard = nullptr;
    std::thread([&guard] { guard = &CGlobalInit::globalInstanceGuard(); }).join();
    EXPECT_EQ(guard, &CGlobalInit::globalInstanceGuard());
}

class CAccess : public CGlobalInit {
public:
    using CGlobalInit::dispose;
    using CGlobalInit::disposeGlobalInstance;
};

TEST(GlobalInitTest, DisposingChangesNothing) {
    const CGlobalInit* const before = CGlobalInit::get();
    CAccess::disposeGlobalInstance();
    EXPECT_EQ(CGlobalInit::get().get(), before);
    EXPECT_EQ(CGlobalInit::globalInstanceGuard().getState(), Guard::Constructed);
    EXPECT_NO_THROW(CGlobalInit::ensureInitialized());
    CURL* const handle = curl_easy_init();
    EXPECT_NE(handle, nullptr);
    curl_easy_cleanup(handle);
}

}  // namespace
