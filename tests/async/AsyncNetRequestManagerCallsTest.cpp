// All calls of the manager to libcurl's multi interface, and how it handles each result.
#include "tests/async/AsyncTestSupport.h"
#include "tests/async/MultiCalls.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <optional>
#include <sys/resource.h>

namespace {

/// Makes the next allocation of this thread fail.
thread_local bool t_isMemoryOut = false;

}  // namespace

// These replace those of the C++ library, also in the library under test.
void* operator new(std::size_t size) {
    void* const memory = std::exchange(t_isMemoryOut, false) ? nullptr : std::malloc(size);
    if (!memory) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;
using vexil::CAsyncNetRequestManager;
using vexil::TArray;

/// The first action of a process: a manager without a request.
const std::vector<std::string> firstCalls = [] {
    { const OpenManager manager; }
    return std::exchange(multiCalls().names, {});
}();

std::ptrdiff_t countDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

CURLMsg messageOf(CURL* handle, CURLcode result, CURLMSG kind = CURLMSG_DONE) {
    CURLMsg message{};
    message.msg = kind;
    message.easy_handle = handle;
    message.data.result = result;
    return message;
}

class AsyncNetRequestManagerCallsTest : public testing::Test {
protected:
    AsyncNetRequestManagerCallsTest() {
        for (P<OpenRequest>& request : requests) {
            request = makeRequest("http://127.0.0.1:1/");
        }
        manager.emplace();
        multiCalls() = {};
    }
    ~AsyncNetRequestManagerCallsTest() override {
        multiCalls() = {};
        manager.reset();
    }

    void add(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            manager->addRequest(requests[i]);
        }
        multiCalls().names.clear();
    }

    /// The calls since the last check.
    static std::vector<std::string> called() { return std::exchange(multiCalls().names, {}); }

    static void performAnswers(CURLMcode code, int running) {
        multiCalls().onPerform = [=](int* target) {
            *target = running;
            return code;
        };
    }

    /// Makes libcurl report these messages.
    void tell(std::vector<CURLMsg> messages) {
        toTell = std::move(messages);
        multiCalls().onInfoRead = [this, next = std::size_t(0)]() mutable {
            return next < toTell.size() ? &toTell[next++] : nullptr;
        };
    }

    template <class Call>
    static void expectMultiError(CURLMcode code, Call call) {
        const auto error = thrownBy<CCURLError>(call);
        ASSERT_TRUE(error);
        EXPECT_EQ(error->getDomain(), "curlm");
        EXPECT_EQ(error->getCode(), code);
        EXPECT_EQ(error->getMessage(), curl_multi_strerror(code));
        EXPECT_EQ(error->getResponseCode(), -1);
        EXPECT_EQ(error->getResponseCodeDomain(), "");
        EXPECT_EQ(error->getServerMessage(), "");
        EXPECT_EQ(error->getHTTPStatusLine(), "");
        EXPECT_EQ(error->getURL(), "");
        EXPECT_EQ(error->getHTTPMethod(), "");
        EXPECT_THAT(propsOf(*error), IsEmpty());
        EXPECT_EQ(error->getInnerError().get(), nullptr);
    }

    P<OpenRequest> requests[4];
    TArray<P<CNetRequest>> finished;
    std::vector<CURLMsg> toTell;
    std::optional<OpenManager> manager;
};

// ---- life

TEST(AsyncNetRequestManagerStartTest, StartsLibcurlFirst) {
    EXPECT_THAT(firstCalls, ElementsAre("global_init", "init", "cleanup"));
}

TEST_F(AsyncNetRequestManagerCallsTest, WithoutAHandleThereIsNoManager) {
    const auto descriptors = countDescriptors();
    multiCalls().onInit = [] { return nullptr; };
    const auto error = thrownBy<CError>([] { CAsyncNetRequestManager(); });
    ASSERT_TRUE(error);
    try {
        CAsyncNetRequestManager();
    } catch (const CError& thrown) {
        EXPECT_EQ(typeid(thrown), typeid(CError));
    }
    EXPECT_EQ(error->getMessage(), "Error creating curl multi handle.");
    EXPECT_EQ(error->getDomain(), "");
    EXPECT_EQ(error->getCode(), -1);
    EXPECT_TRUE(error->getProps().isEmpty());
    EXPECT_EQ(error->getInnerError().get(), nullptr);
    EXPECT_THAT(called(), ElementsAre("init", "init")) << "nothing to clean up";
    EXPECT_EQ(countDescriptors(), descriptors);
}

TEST_F(AsyncNetRequestManagerCallsTest, WithoutADescriptorThereIsNoManager) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const auto error = thrownBy<CError>([] { CAsyncNetRequestManager(); });
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getDomain(), "system");
    EXPECT_EQ(error->getCode(), EMFILE);
    EXPECT_EQ(error->getMessage(), "Error creating a wake-up descriptor: Too many open files");
    EXPECT_THAT(called(), IsEmpty());
}

TEST_F(AsyncNetRequestManagerCallsTest, ItsDescriptorsAreGivenBack) {
    const auto descriptors = countDescriptors();
    {
        const OpenManager another;
        EXPECT_GT(countDescriptors(), descriptors);
    }
    EXPECT_EQ(countDescriptors(), descriptors);
}

TEST_F(AsyncNetRequestManagerCallsTest, TheEndRemovesFromTheLastToTheFirstAndCleansUp) {
    add(3);
    manager.reset();
    EXPECT_THAT(called(), ElementsAre("remove_handle", "remove_handle", "remove_handle", "cleanup"));
    EXPECT_THAT(multiCalls().removed,
                ElementsAre(requests[2]->getHandle(), requests[1]->getHandle(), requests[0]->getHandle()));
}

TEST_F(AsyncNetRequestManagerCallsTest, AnEndThatFailsIsLoggedAndCleansUp) {
    const LogCapture log;
    add(3);
    multiCalls().onRemove = [this](CURL* handle) {
        return handle == requests[1]->getHandle() ? CURLM_BAD_EASY_HANDLE : CURLM_OK;
    };
    manager.reset();
    EXPECT_THAT(called(), ElementsAre("remove_handle", "remove_handle", "cleanup"));
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_THAT(log.lines()[0], testing::StartsWith("W: Exception in the destructor of "
                                                    "vexil::CAsyncNetRequestManager (ignored). ["));
    EXPECT_THAT(log.lines()[0], testing::HasSubstr(curl_multi_strerror(CURLM_BAD_EASY_HANDLE)));
    for (const P<OpenRequest>& request : requests) {
        EXPECT_FALSE(request->isAsyncDone());
    }
}

// ---- adding and removing

TEST_F(AsyncNetRequestManagerCallsTest, ARequestIsClearedBeforeLibcurlGetsIt) {
    requests[0]->setAsyncInfo(true, CURLE_OK);
    multiCalls().onAdd = [this](CURL* handle) {
        EXPECT_EQ(handle, requests[0]->getHandle());
        EXPECT_FALSE(requests[0]->isAsyncDone());
        return CURLM_OK;
    };
    manager->addRequest(requests[0]);
    EXPECT_THAT(called(), ElementsAre("add_handle"));
}

TEST_F(AsyncNetRequestManagerCallsTest, ARefusedRequestIsNotAddedButCleared) {
    const P<OpenRequest> request = makeRequest(endsAtOnce);
    manager->addRequest(request);
    ASSERT_EQ(manager->handleEvents(nullptr), 1);
    ASSERT_NE(request->getErrorMessage(), "");
    add(1);
    multiCalls().onAdd = [](CURL*) { return CURLM_OUT_OF_MEMORY; };
    expectMultiError(CURLM_OUT_OF_MEMORY, [&] { manager->addRequest(request); });
    EXPECT_THAT(called(), ElementsAre("add_handle"));
    EXPECT_EQ(manager->getRequestCount(), 1);
    EXPECT_FALSE(manager->removeRequest(request));
    EXPECT_FALSE(request->isAsyncDone());
    EXPECT_EQ(request->getErrorMessage(), "") << "what libcurl said of the last transfer";
    multiCalls().onAdd = {};
    manager->addRequest(request);
    EXPECT_EQ(manager->getRequestCount(), 2);
}

TEST_F(AsyncNetRequestManagerCallsTest, ARunningRequestIsNotGivenToLibcurlAgain) {
    add(2);
    expectMultiError(CURLM_ADDED_ALREADY, [&] { manager->addRequest(requests[0]); });
    expectMultiError(CURLM_ADDED_ALREADY, [&] { manager->addRequest(requests[1]); });
    EXPECT_THAT(called(), IsEmpty());
    EXPECT_EQ(manager->getRequestCount(), 2);
}

TEST_F(AsyncNetRequestManagerCallsTest, ARequestThatLibcurlKeepsStays) {
    requests[1]->setAsyncInfo(true, CURLE_COULDNT_CONNECT);
    add(3);
    multiCalls().onRemove = [](CURL*) { return CURLM_BAD_EASY_HANDLE; };
    expectMultiError(CURLM_BAD_EASY_HANDLE, [&] { manager->removeRequest(requests[1]); });
    expectMultiError(CURLM_BAD_EASY_HANDLE, [&] { manager->removeRequest(1); });
    EXPECT_THAT(multiCalls().removed, ElementsAre(requests[1]->getHandle(), requests[1]->getHandle()));
    EXPECT_EQ(manager->getRequestCount(), 3);
    EXPECT_FALSE(requests[1]->isAsyncDone());
    multiCalls().onRemove = {};
    EXPECT_TRUE(manager->removeRequest(requests[1]));
    EXPECT_EQ(manager->getRequestCount(), 2);
}

TEST_F(AsyncNetRequestManagerCallsTest, AnUnknownRequestIsNotTakenFromLibcurl) {
    add(1);
    EXPECT_FALSE(manager->removeRequest(requests[1]));
    EXPECT_THAT(called(), IsEmpty());
}

TEST_F(AsyncNetRequestManagerCallsTest, AllAreRemovedFromTheLastToTheFirst) {
    add(3);
    manager->removeAllRequests();
    EXPECT_THAT(multiCalls().removed,
                ElementsAre(requests[2]->getHandle(), requests[1]->getHandle(), requests[0]->getHandle()));
    EXPECT_EQ(manager->getRequestCount(), 0);
    called();
    manager->removeAllRequests();
    EXPECT_THAT(called(), IsEmpty());
}

TEST_F(AsyncNetRequestManagerCallsTest, ManyRemovalsKeepTheOrderOfTheOthers) {
    constexpr unsigned int count = 300;
    TArray<P<CNetRequest>> all;
    for (unsigned int i = 0; i < count; ++i) {
        all.push_back(makeRequest("http://127.0.0.1:1/"));
        manager->addRequest(all.back());
    }
    const auto take = [&](unsigned int i) { all.erase(all.begin() + static_cast<std::ptrdiff_t>(i)); };
    for (unsigned int i = 0; all.size() > 20; i += 7) {
        const auto place = i % static_cast<unsigned int>(all.size());
        if (i % 5 == 0) {
            manager->removeRequest(static_cast<int>(place));
        } else {
            ASSERT_TRUE(manager->removeRequest(all[place]));
        }
        take(place);
        ASSERT_EQ(manager->getRequestCount(), static_cast<int>(all.size()));
    }
    all.push_back(makeRequest("http://127.0.0.1:1/"));
    manager->addRequest(all.back());
    std::vector<CURL*> fromTheLast;
    for (std::size_t i = all.size(); i-- > 0;) {
        fromTheLast.push_back(all[i]->getHandle());
    }
    multiCalls().removed.clear();
    manager->removeAllRequests();
    EXPECT_EQ(multiCalls().removed, fromTheLast);
}

TEST_F(AsyncNetRequestManagerCallsTest, ARefusalEndsTheRemovalOfAll) {
    add(4);
    multiCalls().onRemove = [this](CURL* handle) {
        return handle == requests[1]->getHandle() ? CURLM_INTERNAL_ERROR : CURLM_OK;
    };
    expectMultiError(CURLM_INTERNAL_ERROR, [&] { manager->removeAllRequests(); });
    EXPECT_EQ(manager->getRequestCount(), 2);
    multiCalls().onRemove = {};
    EXPECT_FALSE(manager->removeRequest(requests[3]));
    EXPECT_FALSE(manager->removeRequest(requests[2]));
    multiCalls().removed.clear();
    manager->removeRequest(0);
    EXPECT_THAT(multiCalls().removed, ElementsAre(requests[0]->getHandle())) << "the order is kept";
    EXPECT_TRUE(manager->removeRequest(requests[1]));
}

// ---- handling events

TEST_F(AsyncNetRequestManagerCallsTest, NoMessagesAreReadWithoutRequests) {
    EXPECT_EQ(manager->handleEvents(&finished), 0);
    EXPECT_THAT(called(), ElementsAre("perform"));
}

TEST_F(AsyncNetRequestManagerCallsTest, NoMessagesAreReadWhileAllRun) {
    add(2);
    tell({messageOf(requests[0]->getHandle(), CURLE_OK)});
    performAnswers(CURLM_OK, 2);
    EXPECT_EQ(manager->handleEvents(&finished), 0);
    EXPECT_THAT(called(), ElementsAre("perform"));
    performAnswers(CURLM_CALL_MULTI_PERFORM, 2);
    EXPECT_EQ(manager->handleEvents(&finished), 0);
    EXPECT_THAT(called(), ElementsAre("perform"));
    EXPECT_EQ(manager->getRequestCount(), 2);
    EXPECT_THAT(finished, IsEmpty());
}

TEST_F(AsyncNetRequestManagerCallsTest, MessagesAreReadWhenNotAllRun) {
    add(2);
    tell({});
    for (const int running : {0, 1, 3}) {
        for (const CURLMcode code : {CURLM_OK, CURLM_CALL_MULTI_PERFORM}) {
            performAnswers(code, running);
            EXPECT_EQ(manager->handleEvents(&finished), 0);
            EXPECT_THAT(called(), ElementsAre("perform", "info_read")) << running;
        }
    }
    EXPECT_EQ(manager->getRequestCount(), 2);
}

TEST_F(AsyncNetRequestManagerCallsTest, ThoseThatHaveEndedStandInTheOrderOfTheirMessages) {
    add(4);
    const P<CNetRequest> earlier = makeRequest(endsAtOnce);
    finished.push_back(earlier);
    performAnswers(CURLM_OK, 2);
    tell({messageOf(requests[2]->getHandle(), CURLE_GOT_NOTHING),
          messageOf(requests[0]->getHandle(), CURLE_SEND_ERROR)});
    EXPECT_EQ(manager->handleEvents(&finished), 2);
    EXPECT_THAT(finished, ElementsAre(earlier, requests[2], requests[0]));
    EXPECT_THAT(called(), ElementsAre("perform", "info_read", "remove_handle", "info_read", "remove_handle",
                                      "info_read"));
    EXPECT_THAT(multiCalls().removed, ElementsAre(requests[2]->getHandle(), requests[0]->getHandle()));
    const auto codeOf = [](CNetRequest& request) {
        const auto error = thrownBy<CCURLError>([&] { request.checkAsyncResult(); });
        return error ? error->getCode() : 0;
    };
    EXPECT_EQ(codeOf(*requests[2]), CURLE_GOT_NOTHING);
    EXPECT_EQ(codeOf(*requests[0]), CURLE_SEND_ERROR);
    EXPECT_FALSE(requests[1]->isAsyncDone());
    EXPECT_FALSE(requests[3]->isAsyncDone());
    EXPECT_EQ(manager->getRequestCount(), 2);
}

TEST_F(AsyncNetRequestManagerCallsTest, ARequestIsTakenOffBeforeItIsTold) {
    add(2);
    const P<TestListener> listener = new TestListener;
    requests[0]->setDoneListener(listener);
    listener->then = [&] {
        EXPECT_THAT(called(), ElementsAre("perform", "info_read", "remove_handle"));
        EXPECT_EQ(manager->getRequestCount(), 1);
    };
    multiCalls().onRemove = [this](CURL*) {
        EXPECT_FALSE(requests[0]->isAsyncDone());
        EXPECT_EQ(manager->getRequestCount(), 2) << "first off the handle";
        return CURLM_OK;
    };
    performAnswers(CURLM_OK, 1);
    tell({messageOf(requests[0]->getHandle(), CURLE_OK)});
    EXPECT_EQ(manager->handleEvents(nullptr), 1);
    EXPECT_EQ(listener->count, 1);
}

TEST_F(AsyncNetRequestManagerCallsTest, ARequestIsToldBeforeItStandsInTheList) {
    add(2);
    for (const std::size_t index : {0u, 1u}) {
        const P<TestListener> listener = new TestListener;
        requests[index]->setDoneListener(listener);
        listener->then = [this, index] {
            EXPECT_EQ(finished.size(), index);
            throw OwnError("listener");
        };
    }
    performAnswers(CURLM_OK, 0);
    tell({messageOf(requests[0]->getHandle(), CURLE_OK), messageOf(requests[1]->getHandle(), CURLE_OK)});
    EXPECT_THROW(manager->handleEvents(&finished), OwnError);
    EXPECT_THAT(finished, ElementsAre(requests[0], requests[1])) << "whatever a listener throws";
}

TEST_F(AsyncNetRequestManagerCallsTest, OtherMessagesAndUnknownHandlesArePassedOver) {
    add(2);
    performAnswers(CURLM_OK, 0);
    tell({messageOf(requests[0]->getHandle(), CURLE_OK, CURLMSG_NONE),
          messageOf(requests[2]->getHandle(), CURLE_OK),
          messageOf(requests[0]->getHandle(), CURLE_OK, CURLMSG_LAST),
          messageOf(requests[1]->getHandle(), CURLE_GOT_NOTHING),
          messageOf(requests[1]->getHandle(), CURLE_OK)});
    EXPECT_EQ(manager->handleEvents(&finished), 1);
    EXPECT_THAT(finished, ElementsAre(requests[1]));
    EXPECT_FALSE(requests[0]->isAsyncDone());
    EXPECT_FALSE(requests[2]->isAsyncDone());
    EXPECT_EQ(manager->getRequestCount(), 1);
    EXPECT_THAT(multiCalls().removed, ElementsAre(requests[1]->getHandle()));
}

TEST_F(AsyncNetRequestManagerCallsTest, AFailedStepIsAnErrorAndReadsNoMessages) {
    add(1);
    tell({messageOf(requests[0]->getHandle(), CURLE_OK)});
    performAnswers(CURLM_INTERNAL_ERROR, 0);
    expectMultiError(CURLM_INTERNAL_ERROR, [&] { manager->handleEvents(&finished); });
    EXPECT_THAT(called(), ElementsAre("perform"));
    EXPECT_EQ(manager->getRequestCount(), 1);
    EXPECT_FALSE(requests[0]->isAsyncDone());
}

TEST_F(AsyncNetRequestManagerCallsTest, ARefusalLosesNobodyElsesEnd) {
    add(3);
    performAnswers(CURLM_OK, 0);
    tell({messageOf(requests[0]->getHandle(), CURLE_OK), messageOf(requests[1]->getHandle(), CURLE_OK),
          messageOf(requests[2]->getHandle(), CURLE_OK)});
    multiCalls().onRemove = [this](CURL* handle) {
        return handle == requests[1]->getHandle() ? CURLM_BAD_EASY_HANDLE : CURLM_OK;
    };
    expectMultiError(CURLM_BAD_EASY_HANDLE, [&] { manager->handleEvents(&finished); });
    EXPECT_THAT(finished, ElementsAre(requests[0], requests[2]));
    EXPECT_FALSE(requests[1]->isAsyncDone());
    EXPECT_EQ(manager->getRequestCount(), 1);
    multiCalls().onRemove = {};
    EXPECT_TRUE(manager->removeRequest(requests[1])) << "it stays";
}

TEST_F(AsyncNetRequestManagerCallsTest, ARequestIsToldAlsoWhenMemoryRunsOutForTheList) {
    add(2);
    performAnswers(CURLM_OK, 0);
    tell({messageOf(requests[0]->getHandle(), CURLE_OK), messageOf(requests[1]->getHandle(), CURLE_OK)});
    multiCalls().onRemove = [this](CURL* handle) {
        t_isMemoryOut = handle == requests[0]->getHandle();
        return CURLM_OK;
    };
    EXPECT_THROW(manager->handleEvents(&finished), std::bad_alloc);
    EXPECT_THAT(finished, ElementsAre(requests[1]));
    EXPECT_TRUE(requests[0]->isAsyncDone());
    EXPECT_TRUE(requests[1]->isAsyncDone());
    EXPECT_EQ(manager->getRequestCount(), 0);
}

// ---- what libcurl wants to do at once

TEST_F(AsyncNetRequestManagerCallsTest, AWaitEndsAtOnceWhenLibcurlWantsToBeCalledAgain) {
    add(1);
    performAnswers(CURLM_CALL_MULTI_PERFORM, 1);
    manager->handleEvents(nullptr);
    called();
    for (const int milliseconds : {-1, 0, 1000}) {
        manager->waitForEvents(milliseconds);
        EXPECT_THAT(called(), IsEmpty());
    }
    performAnswers(CURLM_INTERNAL_ERROR, 1);
    EXPECT_THROW(manager->handleEvents(nullptr), CCURLError);
    called();
    manager->waitForEvents(-1);
    EXPECT_THAT(called(), IsEmpty()) << "a failed step says nothing about it";

    performAnswers(CURLM_OK, 1);
    manager->handleEvents(nullptr);
    called();
    manager->waitForEvents(0);
    EXPECT_THAT(called(), ElementsAre("fdset", "timeout", "select"));
}

}  // namespace
