// Linux: the definitions of libcurl's and OpenSSL's functions in this program win over the libraries' own.
// Each test runs in its own process.
#include "tests/support/Require.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/ErrorClassification.h"
#include "vexil/net/GlobalInit.h"
#include "vexil/net/HTTPServerHeader.h"
#include "vexil/net/HTTPStatusLine.h"
#include "vexil/net/HeaderAssembler.h"
#include "vexil/net/NetHeaders.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/NetStringList.h"
#include "vexil/net/RootCertBundle.h"
#include "vexil/net/ServerInfo.h"

#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include <atomic>
#include <cstdlib>
#include <dlfcn.h>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using vexil::CGlobalInit;
using vexil::CNetHeaders;
using vexil::P;
using vexil::String;
using vexil_test::plainErrorOf;
using vexil_test::require;
using vexil_test::requireError;
using Guard = zet::CSafeGlobalGuard;

constexpr int exitCodeOfCleanup = 99;

// The shims may be called before this program's statics exist, and after their destruction.
std::mutex& callsMutex() {
    static auto* const mutex = new std::mutex;
    return *mutex;
}

std::vector<std::string>& calls() {
    static auto* const instance = new std::vector<std::string>;
    return *instance;
}

void record(const char* call) {
    const std::lock_guard lock(callsMutex());
    calls().emplace_back(call);
}

std::vector<std::string> recordedCalls() {
    const std::lock_guard lock(callsMutex());
    return calls();
}

/// What the shims do in addition to counting; set before the first call.
bool g_isLibcurlFailing = false;
bool g_isOpenSSLFailing = false;
std::function<void()> g_duringLibcurlsStart;

template <class Function>
Function original(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

/// libcurl itself starts OpenSSL again: only earlier calls count.
thread_local bool t_isInLibcurlsStart = false;

}  // namespace

CURLcode curl_global_init(long flags) {
    record(flags == 3 ? "curl_global_init(3)" : "curl_global_init(other flags)");
    if (g_duringLibcurlsStart) {
        g_duringLibcurlsStart();
    }
    if (g_isLibcurlFailing) {
        return CURLE_FAILED_INIT;
    }
    t_isInLibcurlsStart = true;
    const CURLcode result = original<CURLcode (*)(long)>("curl_global_init")(flags);
    t_isInLibcurlsStart = false;
    return result;
}

void curl_global_cleanup() {
    // Even if it is called from an exit handler.
    std::_Exit(exitCodeOfCleanup);
}

CURL* curl_easy_init() {
    record("curl_easy_init");
    return original<CURL* (*)()>("curl_easy_init")();
}

CURLM* curl_multi_init() {
    record("curl_multi_init");
    return original<CURLM* (*)()>("curl_multi_init")();
}

curl_version_info_data* curl_version_info(CURLversion version) {
    record("curl_version_info");
    return original<curl_version_info_data* (*)(CURLversion)>("curl_version_info")(version);
}

extern "C" int OPENSSL_init_ssl(uint64_t options, const OPENSSL_INIT_SETTINGS* settings) {
    if (!t_isInLibcurlsStart) {
        record("OPENSSL_init_ssl");
    }
    if (g_isOpenSSLFailing) {
        return 0;
    }
    return original<int (*)(uint64_t, const OPENSSL_INIT_SETTINGS*)>("OPENSSL_init_ssl")(options, settings);
}

extern "C" int OPENSSL_init_crypto(uint64_t options, const OPENSSL_INIT_SETTINGS* settings) {
    // OpenSSL calls it again from many of its functions. The calls can be distinguished only before the TLS
    // layer starts.
    if (recordedCalls().empty()) {
        record("OPENSSL_init_crypto");
    }
    return original<int (*)(uint64_t, const OPENSSL_INIT_SETTINGS*)>("OPENSSL_init_crypto")(options,
                                                                                            settings);
}

namespace {

const char* const firstError = "curl global init failed";
const char* const laterError = "Construction of static object has failed.";

void requireCalls(const std::vector<std::string>& expected) {
    std::string text = "calls:";
    for (const std::string& call : recordedCalls()) {
        text += " " + call;
    }
    require(recordedCalls() == expected, text);
}

/// Runs the rest of the test in a new process. It must end by itself with exit code 0, after all exit
/// handlers.
#define EXPECT_IN_FRESH_PROCESS(function)                                                                    \
    GTEST_FLAG_SET(death_test_style, "threadsafe");                                                          \
    EXPECT_EXIT(                                                                                             \
        {                                                                                                    \
            (function)();                                                                                    \
            std::exit(0);                                                                                    \
        },                                                                                                   \
        testing::ExitedWithCode(0), "")

void useWhatNeedsNoLibcurl() {
    vexil::CServerInfo info;
    vexil::CHeaderAssembler assembler;
    assembler.setServerInfoToUpdate(&info);
    assembler.handleHeaderLine("Server: DAV/1 Python/3\r\n");
    assembler.handleHeaderLine("\r\n");
    assembler.setServerInfoToUpdate(nullptr);
    vexil::CNetStringList list;
    list.add("entry");
    list.createIterator()->next();
    String name;
    String value;
    CNetHeaders::splitEntry("A: b", name, value);
    (void)vexil::getStatusCodeFromHTTPStatusLine("HTTP/1.1 200 OK");
    (void)vexil::getRootCertBundlePath();
    (void)vexil::isNetworkOrServiceDownError(vexil::CCURLError(CURLE_OK, "", "", 0, "", "", "", ""));
    CGlobalInit::globalInstanceGuard();
}

const std::vector<std::string> startOfBoth{"OPENSSL_init_ssl", "curl_global_init(3)"};

TEST(GlobalInitProcessTest, NothingRunsBeforeItIsNeeded) {
    EXPECT_IN_FRESH_PROCESS([] {
        requireCalls({});
        useWhatNeedsNoLibcurl();
        requireCalls({});
        require(CGlobalInit::globalInstanceGuard().getState() == Guard::NotConstructed, "state");
    });
}

TEST(GlobalInitProcessTest, AHeaderListStartsOpenSSLAndThenLibcurl) {
    EXPECT_IN_FRESH_PROCESS([] {
        const CNetHeaders first;
        requireCalls(startOfBoth);
        const CNetHeaders second;
        requireCalls(startOfBoth);
    });
}

TEST(GlobalInitProcessTest, ARequestStartsOpenSSLAndThenLibcurl) {
    EXPECT_IN_FRESH_PROCESS([] {
        const P<vexil::CNetRequest> request = new vexil::CNetRequest;
        require(recordedCalls().size() >= 2, "number of calls");
        require(recordedCalls()[0] == startOfBoth[0], recordedCalls()[0]);
        require(recordedCalls()[1] == startOfBoth[1], recordedCalls()[1]);
        const auto before = recordedCalls();
        CGlobalInit::ensureInitialized();
        requireCalls(before);
    });
}

TEST(GlobalInitProcessTest, ThreadsStartLibcurlOnce) {
    EXPECT_IN_FRESH_PROCESS([] {
        std::vector<std::thread> threads;
        for (int i = 0; i < 16; ++i) {
            threads.emplace_back([] { CGlobalInit::get(); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        requireCalls(startOfBoth);
    });
}

TEST(GlobalInitProcessTest, OthersWaitUntilLibcurlIsStarted) {
    EXPECT_IN_FRESH_PROCESS([] {
        static std::atomic<bool> isStarted = false;
        static std::atomic<int> asking = 0;
        constexpr int threadCount = 8;
        g_duringLibcurlsStart = [] {
            while (asking < threadCount) {
                std::this_thread::yield();
            }
            isStarted = true;
        };
        std::vector<std::thread> threads;
        for (int i = 0; i < threadCount; ++i) {
            threads.emplace_back([] {
                ++asking;
                CGlobalInit::get();
                require(isStarted, "returned too early");
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });
}

TEST(GlobalInitProcessTest, AFailedStartIsFinal) {
    EXPECT_IN_FRESH_PROCESS([] {
        g_isLibcurlFailing = true;
        requireError([] { CGlobalInit::get(); }, firstError);
        require(CGlobalInit::globalInstanceGuard().getState() == Guard::ConstructionFailed, "state");
        // It would succeed now, and must not be tried.
        g_isLibcurlFailing = false;
        for (int i = 0; i < 3; ++i) {
            requireError([] { CGlobalInit::get(); }, laterError);
        }
        requireError([] { CGlobalInit::ensureInitialized(); }, laterError);
        requireError([] { const CNetHeaders headers; }, laterError);
        requireError([] { const P<vexil::CNetRequest> request = new vexil::CNetRequest; }, laterError);
        std::thread([] { requireError([] { CGlobalInit::get(); }, laterError); }).join();
        requireCalls(startOfBoth);
        require(CGlobalInit::globalInstanceGuard().getState() == Guard::ConstructionFailed, "state");
    });
}

TEST(GlobalInitProcessTest, TheFirstHeaderListGetsTheReason) {
    EXPECT_IN_FRESH_PROCESS([] {
        g_isLibcurlFailing = true;
        requireError([] { const CNetHeaders headers; }, firstError);
        requireError([] { const CNetHeaders headers; }, laterError);
    });
}

TEST(GlobalInitProcessTest, AFailedOpenSSLIsFinalToo) {
    EXPECT_IN_FRESH_PROCESS([] {
        g_isOpenSSLFailing = true;
        requireError([] { CGlobalInit::get(); }, "OpenSSL cannot be initialised.");
        g_isOpenSSLFailing = false;
        requireError([] { CGlobalInit::get(); }, laterError);
        requireCalls({"OPENSSL_init_ssl"});
    });
}

TEST(GlobalInitProcessTest, OneOfManyCallersGetsTheReason) {
    EXPECT_IN_FRESH_PROCESS([] {
        static std::atomic<int> asking = 0;
        static std::atomic<int> reasons = 0;
        constexpr int threadCount = 16;
        g_isLibcurlFailing = true;
        // Fails only after all the others have started.
        g_duringLibcurlsStart = [] {
            while (asking < threadCount) {
                std::this_thread::yield();
            }
        };
        std::vector<std::thread> threads;
        for (int i = 0; i < threadCount; ++i) {
            threads.emplace_back([] {
                ++asking;
                const std::string error = plainErrorOf([] { CGlobalInit::get(); });
                require(error == firstError || error == laterError, "error: '" + error + "'");
                reasons += error == firstError ? 1 : 0;
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        require(reasons == 1, "callers that got the reason: " + std::to_string(reasons));
        requireCalls(startOfBoth);
    });
}

TEST(GlobalInitProcessTest, LibcurlStaysStartedWhenTheProcessEnds) {
    // curl_global_cleanup would end the process with another code.
    EXPECT_IN_FRESH_PROCESS([] { CGlobalInit::get(); });
}

/// Runs while the process ends, after everything that was registered later.
class CLateUser {
public:
    ~CLateUser() {
        if (!m_isActive) {
            return;
        }
        const P<CGlobalInit> instance = CGlobalInit::get();
        require(instance == m_instance, "instance at exit");
        CNetHeaders headers;
        headers.add("A", "b");
        CURL* const handle = curl_easy_init();
        require(handle, "handle at exit");
        curl_easy_cleanup(handle);
        std::_Exit(42);
    }
    void activate() {
        m_isActive = true;
        m_instance = CGlobalInit::get();
    }

private:
    bool m_isActive = false;
    const CGlobalInit* m_instance = nullptr;
};

CLateUser g_lateUser;

TEST(GlobalInitProcessTest, IsThereForObjectsThatEndWithTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            g_lateUser.activate();
            std::exit(0);
        },
        testing::ExitedWithCode(42), "");
}

}  // namespace
