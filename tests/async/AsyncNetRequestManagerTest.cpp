// Many requests on one multi handle, driven by the test's own thread.
#include "vexil/async/AsyncNetRequestManager.h"

#include "tests/async/AsyncTestSupport.h"
#include "tests/async/SilentServer.h"
#include "tests/support/Deadline.h"
#include "tests/support/ScriptedPeer.h"

#include <optional>
#include <stdexcept>
#include <thread>
#include <type_traits>

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using vexil::CAsyncNetRequestManager;
using vexil::CInvalidArgError;
using vexil::IAsyncNetRequestManager;
using vexil::TArray;

const std::string okReply = answerOf("HTTP/1.1 200 OK", "ok");
const std::string missingReply = answerOf("HTTP/1.1 404 Not Found", "gone");

static_assert(std::is_base_of_v<IAsyncNetRequestManager, CAsyncNetRequestManager>);
static_assert(!std::is_copy_constructible_v<CAsyncNetRequestManager>);
static_assert(!std::is_copy_assignable_v<CAsyncNetRequestManager>);

class AsyncNetRequestManagerTest : public testing::Test {
protected:
    ~AsyncNetRequestManagerTest() override {
        manager.reset();
        finished.clear();
        EXPECT_TRUE(peer.waitUntilIdle());
        EXPECT_THAT(peer.failures(), IsEmpty());
        EXPECT_THAT(log.lines(), IsEmpty());
    }

    P<OpenRequest> makeRequest(const std::string& path = "/a") {
        return vexil_test::makeRequest(peer.url(path));
    }

    /// Adds a request whose connection has sent the first bytes of its response.
    P<OpenRequest> addPaused(const std::string& begin, const std::string& rest) {
        peer.onConnection().expectRequest().reply(begin).pause().reply(rest).clientMayLeave();
        const P<OpenRequest> request = makeRequest();
        manager->addRequest(request);
        const auto hasBegun = [&] {
            return peer.waitUntilPaused(1, std::chrono::milliseconds(0)) &&
                   (begin.empty() || bodyOf(*request) == begin.substr(begin.find("\r\n\r\n") + 4));
        };
        EXPECT_TRUE(driveUntil(*manager, hasBegun));
        return request;
    }

    static int codeOf(CNetRequest& request) {
        const auto error = thrownBy<CCURLError>([&] { request.checkAsyncResult(); });
        return error ? static_cast<int>(error->getCode()) : CURLE_OK;
    }

    const Deadline deadline{"a wait is no longer than libcurl's timer"};
    ScriptedPeer peer;
    LogCapture log;
    TArray<P<CNetRequest>> finished;
    std::optional<OpenManager> manager{std::in_place};
};

// ---- adding and removing

TEST_F(AsyncNetRequestManagerTest, RunsARequestToItsEnd) {
    peer.onConnection().expectRequest().reply(okReply);
    const P<CNetRequest> request = makeRequest();
    manager->addRequest(request);
    EXPECT_EQ(manager->getRequestCount(), 1);
    EXPECT_FALSE(request->isAsyncDone());
    EXPECT_EQ(driveToEnd(*manager, &finished), 1);
    EXPECT_TRUE(request->isAsyncDone());
    request->checkAsyncResult();
    EXPECT_EQ(bodyOf(*request), "ok");
    EXPECT_EQ(request->getHTTPStatusLine(), "HTTP/1.1 200 OK");
    EXPECT_THAT(finished, ElementsAre(request));
}

TEST_F(AsyncNetRequestManagerTest, SendsTheBodyThatIsSetAsAnOption) {
    peer.setDefaultReply(okReply);
    const P<CNetRequest> request = makeRequest();
    request->setOptionString(CURLOPT_POSTFIELDS, "24 bytes, so many are it");
    for (int count = 0; count < 2; ++count) {
        request->setHTTPMethod("POST");
        manager->addRequest(request);
        EXPECT_EQ(driveToEnd(*manager), 1);
        request->checkAsyncResult();
        EXPECT_EQ(peer.requests().back().body, "24 bytes, so many are it");
    }
}

TEST_F(AsyncNetRequestManagerTest, TakesRequestsThroughItsInterface) {
    IAsyncNetRequestManager& taker = *manager;
    const P<CNetRequest> request = makeRequest();
    taker.addRequest(request);
    EXPECT_EQ(manager->getRequestCount(), 1);
    EXPECT_TRUE(taker.removeRequest(request));
    EXPECT_EQ(manager->getRequestCount(), 0);
}

TEST_F(AsyncNetRequestManagerTest, NoRequestIsABadArgument) {
    const auto error = thrownBy<CInvalidArgError>([&] { manager->addRequest(nullptr); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getPlace(), "CAsyncNetRequestManager::addRequest");
    EXPECT_EQ(error->getMessage(), "request must not be null");
    EXPECT_EQ(manager->getRequestCount(), 0);
    EXPECT_FALSE(manager->removeRequest(nullptr));
}

TEST_F(AsyncNetRequestManagerTest, RemovesTheRequestThatIsMeantAndKeepsTheOrderOfTheOthers) {
    TArray<P<CNetRequest>> requests;
    for (int i = 0; i < 4; ++i) {
        requests.push_back(makeRequest());
        manager->addRequest(requests.back());
    }
    EXPECT_TRUE(manager->removeRequest(requests[1]));
    EXPECT_EQ(manager->getRequestCount(), 3);
    manager->removeRequest(1);
    EXPECT_FALSE(manager->removeRequest(requests[2])) << "it had moved to the place of the second";
    EXPECT_EQ(manager->getRequestCount(), 2);
    manager->removeRequest(1);
    EXPECT_FALSE(manager->removeRequest(requests[3]));
    EXPECT_TRUE(manager->removeRequest(requests[0]));
    EXPECT_EQ(manager->getRequestCount(), 0);
}

/// Adds this many requests when the last reference to it is dropped.
class AddingOwner : public virtual vexil::CBase {
public:
    AddingOwner(OpenManager& manager, int count) : m_manager(manager), m_count(count) {}
    ~AddingOwner() override {
        for (int i = 0; i < m_count; ++i) {
            m_manager.addRequest(vexil_test::makeRequest(endsAtOnce));
        }
    }

private:
    OpenManager& m_manager;
    const int m_count;
};

TEST_F(AsyncNetRequestManagerTest, AnOwnerThatGoesWithItsRequestMayAddOthers) {
    constexpr int added = 100;  // the list moves
    for (const int place : {0, 1, 2}) {
        SCOPED_TRACE(place);
        TArray<CNetRequest*> requests;
        for (int i = 0; i < 3; ++i) {
            const P<CNetRequest> request = vexil_test::makeRequest(endsAtOnce);
            request->setUserData(i == place ? new AddingOwner(*manager, added) : nullptr);
            manager->addRequest(request);
            requests.push_back(request);
        }
        EXPECT_TRUE(manager->removeRequest(requests[static_cast<std::size_t>(place)]));
        EXPECT_EQ(manager->getRequestCount(), added + 2);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(manager->removeRequest(requests[static_cast<std::size_t>(i)]), i != place);
        }
        EXPECT_EQ(manager->getRequestCount(), added);
        manager->removeAllRequests();
        EXPECT_EQ(manager->getRequestCount(), 0);
    }
}

TEST_F(AsyncNetRequestManagerTest, AnOwnerThatGoesAtTheEndOfItsRequestMayAddOthers) {
    {
        const P<CNetRequest> request = vexil_test::makeRequest(endsAtOnce);
        request->setUserData(new AddingOwner(*manager, 100));
        manager->addRequest(request);
    }
    EXPECT_EQ(driveToEnd(*manager), 101);
}

TEST_F(AsyncNetRequestManagerTest, ARequestIsRemovedOnce) {
    const P<CNetRequest> request = makeRequest();
    EXPECT_FALSE(manager->removeRequest(request)) << "never added";
    manager->addRequest(request);
    EXPECT_TRUE(manager->removeRequest(request));
    EXPECT_FALSE(manager->removeRequest(request));
}

TEST_F(AsyncNetRequestManagerTest, ARequestThatHasEndedIsNotThereToRemoveAndStaysDone) {
    const P<CNetRequest> request = vexil_test::makeRequest(endsAtOnce);
    manager->addRequest(request);
    EXPECT_EQ(manager->handleEvents(nullptr), 1);
    EXPECT_FALSE(manager->removeRequest(request));
    EXPECT_TRUE(request->isAsyncDone());
    EXPECT_EQ(codeOf(*request), CURLE_UNSUPPORTED_PROTOCOL);
}

TEST_F(AsyncNetRequestManagerTest, ARemovedRequestIsNotTold) {
    const P<OpenRequest> request = addPaused("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nha", "lf");
    const P<TestListener> listener = new TestListener;
    request->setDoneListener(listener);
    EXPECT_TRUE(manager->removeRequest(request));
    EXPECT_EQ(manager->handleEvents(&finished), 0);
    EXPECT_FALSE(request->isAsyncDone());
    EXPECT_FALSE(request->waitAsyncDone(0));
    request->checkAsyncResult();
    EXPECT_EQ(listener->count, 0);
    EXPECT_EQ(bodyOf(*request), "ha") << "it stays as it was";
    EXPECT_THAT(finished, IsEmpty());
    peer.release();
}

TEST_F(AsyncNetRequestManagerTest, ARemovedRequestMayBePerformed) {
    const P<OpenRequest> request = addPaused("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nha", "lf");
    EXPECT_TRUE(manager->removeRequest(request));
    peer.onConnection().expectRequest().reply(okReply);
    request->perform();
    EXPECT_EQ(bodyOf(*request), "ok");
    EXPECT_FALSE(request->isAsyncDone()) << "that is for transfers that are driven";
    peer.release();
}

TEST_F(AsyncNetRequestManagerTest, ARemovedRequestMayBeAddedAgain) {
    const P<OpenRequest> request = addPaused("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nha", "lf");
    EXPECT_TRUE(manager->removeRequest(request));
    peer.onConnection().expectRequest().reply(okReply);
    manager->addRequest(request);
    EXPECT_EQ(bodyOf(*request), "") << "what the last transfer has left is gone";
    EXPECT_EQ(driveToEnd(*manager, &finished), 1);
    request->checkAsyncResult();
    EXPECT_EQ(bodyOf(*request), "ok");
    EXPECT_THAT(finished, ElementsAre(request));
    peer.release();
}

TEST_F(AsyncNetRequestManagerTest, AllAreRemovedAndNoneIsTold) {
    const P<OpenRequest> running = addPaused("", okReply);
    const P<CNetRequest> fresh = makeRequest();
    manager->addRequest(fresh);
    manager->removeAllRequests();
    EXPECT_EQ(manager->getRequestCount(), 0);
    EXPECT_EQ(manager->handleEvents(&finished), 0);
    EXPECT_FALSE(running->isAsyncDone());
    EXPECT_FALSE(fresh->isAsyncDone());
    EXPECT_THAT(finished, IsEmpty());
    manager->removeAllRequests();
    peer.release();
}

TEST_F(AsyncNetRequestManagerTest, ARunningRequestIsRefusedAndRunsOnUntouched) {
    const P<OpenRequest> request = addPaused("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nha", "lf");
    const auto error = thrownBy<CCURLError>([&] { manager->addRequest(request); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getDomain(), "curlm");
    EXPECT_EQ(error->getCode(), CURLM_ADDED_ALREADY);
    EXPECT_THAT(propsOf(*error), IsEmpty());
    EXPECT_EQ(error->getResponseCode(), -1);
    EXPECT_EQ(manager->getRequestCount(), 1);
    EXPECT_EQ(bodyOf(*request), "ha");
    EXPECT_EQ(request->getHTTPStatusLine(), "HTTP/1.1 200 OK");
    peer.release();
    EXPECT_EQ(driveToEnd(*manager, &finished), 1);
    request->checkAsyncResult();
    EXPECT_EQ(bodyOf(*request), "half");
    EXPECT_THAT(finished, ElementsAre(request));
    EXPECT_EQ(peer.connectionCount(), 1u);
}

TEST_F(AsyncNetRequestManagerTest, ASourceThatCannotBeginAgainIsNotAdded) {
    const P<TestSource> source = new TestSource("body");
    source->position = 1;
    source->onSeek = [](int64) { throw OwnError("no way back"); };
    const P<OpenRequest> request = makeRequest();
    request->setSendDataSource(source);
    EXPECT_EQ(messageOf(thrownBy<OwnError>([&] { manager->addRequest(request); })), "no way back");
    EXPECT_EQ(manager->getRequestCount(), 0);
    EXPECT_EQ(manager->handleEvents(&finished), 0);
}

// ---- references and the end of a manager

TEST_F(AsyncNetRequestManagerTest, KeepsARequestWhileItRuns) {
    int alive = 0;
    const auto add = [&](const std::string& url) {
        const P<CNetRequest> request = vexil_test::makeRequest(url);
        request->addDependencyObject(new Counted(alive));
        manager->addRequest(request);
        return request.get();
    };
    add(endsAtOnce);
    EXPECT_EQ(alive, 1);
    EXPECT_EQ(manager->handleEvents(nullptr), 1);
    EXPECT_EQ(alive, 0) << "nobody wants it any more";

    add(endsAtOnce);
    EXPECT_EQ(manager->handleEvents(&finished), 1);
    EXPECT_EQ(alive, 1) << "it is in the list";
    finished.clear();
    EXPECT_EQ(alive, 0);

    CNetRequest* const removed = add(peer.url());
    EXPECT_TRUE(manager->removeRequest(removed));
    EXPECT_EQ(alive, 0);

    add(peer.url());
    add(peer.url());
    manager->removeAllRequests();
    EXPECT_EQ(alive, 0);

    add(peer.url());
    EXPECT_EQ(alive, 1);
    manager.reset();
    EXPECT_EQ(alive, 0);
}

TEST_F(AsyncNetRequestManagerTest, TheEndOfAManagerTellsNobodyAndFreesItsRequests) {
    const P<OpenRequest> request = addPaused("", okReply);
    const P<TestListener> listener = new TestListener;
    request->setDoneListener(listener);
    manager.reset();
    EXPECT_FALSE(request->isAsyncDone());
    EXPECT_EQ(listener->count, 0);
    request->setDoneListener(nullptr);
    peer.onConnection().expectRequest().reply(okReply);
    request->perform();
    EXPECT_EQ(bodyOf(*request), "ok");
    peer.release();
}

TEST_F(AsyncNetRequestManagerTest, ARequestOutlivesItsManagerAndGoesToAnother) {
    peer.setDefaultReply(okReply);
    const P<CNetRequest> request = makeRequest();
    manager->addRequest(request);
    driveToEnd(*manager);
    manager.emplace();
    manager->addRequest(request);
    EXPECT_FALSE(request->isAsyncDone());
    EXPECT_EQ(driveToEnd(*manager), 1);
    request->checkAsyncResult();
    EXPECT_EQ(bodyOf(*request), "ok");
}

// ---- handling events

TEST_F(AsyncNetRequestManagerTest, WithoutRequestsNothingHappens) {
    finished.push_back(makeRequest());
    EXPECT_EQ(manager->handleEvents(&finished), 0);
    EXPECT_EQ(manager->handleEvents(nullptr), 0);
    EXPECT_EQ(finished.size(), 1u);
    EXPECT_EQ(manager->handleFinishedRequests(&finished), 0);
    EXPECT_EQ(finished.size(), 1u);
}

TEST_F(AsyncNetRequestManagerTest, RequestsThatEndTogetherAreAllTold) {
    const P<CNetRequest> earlier = makeRequest();
    const P<CNetRequest> first = vexil_test::makeRequest(endsAtOnce);
    const P<CNetRequest> second = vexil_test::makeRequest(endsAtOnce);
    const P<OpenRequest> running = addPaused("", okReply);
    finished.push_back(earlier);
    manager->addRequest(first);
    manager->addRequest(second);
    EXPECT_EQ(manager->getRequestCount(), 3);
    EXPECT_EQ(manager->handleEvents(&finished), 2);
    EXPECT_THAT(finished, ElementsAre(earlier, first, second)) << "behind what the list has held";
    EXPECT_EQ(manager->getRequestCount(), 1);
    EXPECT_TRUE(first->isAsyncDone());
    EXPECT_TRUE(second->isAsyncDone());
    EXPECT_FALSE(running->isAsyncDone());
    EXPECT_EQ(codeOf(*first), CURLE_UNSUPPORTED_PROTOCOL);
    EXPECT_EQ(codeOf(*second), CURLE_UNSUPPORTED_PROTOCOL);
    EXPECT_EQ(manager->handleEvents(&finished), 0);
    EXPECT_EQ(finished.size(), 3u);
    peer.release();
    EXPECT_EQ(driveToEnd(*manager, &finished), 1);
    EXPECT_THAT(finished, ElementsAre(earlier, first, second, running));
}

TEST_F(AsyncNetRequestManagerTest, NobodyNeedsTheListOfThoseThatHaveEnded) {
    const P<CNetRequest> first = vexil_test::makeRequest(endsAtOnce);
    const P<CNetRequest> second = vexil_test::makeRequest(endsAtOnce);
    manager->addRequest(first);
    manager->addRequest(second);
    EXPECT_EQ(manager->handleEvents(nullptr), 2);
    EXPECT_TRUE(first->isAsyncDone());
    EXPECT_TRUE(second->isAsyncDone());
}

// ---- done listeners

class AsyncNetRequestManagerListenerTest : public AsyncNetRequestManagerTest {
protected:
    P<OpenRequest> addListened(const std::function<void()>& then) {
        const P<OpenRequest> request = vexil_test::makeRequest(endsAtOnce);
        const P<TestListener> listener = new TestListener;
        listener->then = then;
        listeners.push_back(listener);
        request->setDoneListener(listener);
        manager->addRequest(request);
        return request;
    }

    TArray<P<TestListener>> listeners;
};

TEST_F(AsyncNetRequestManagerListenerTest, FindsItsRequestTakenOffAndDone) {
    P<CNetRequest> request;
    request = addListened([&] {
        EXPECT_EQ(manager->getRequestCount(), 1);
        EXPECT_FALSE(manager->removeRequest(request));
        EXPECT_TRUE(request->isAsyncDone());
        EXPECT_EQ(codeOf(*request), CURLE_UNSUPPORTED_PROTOCOL);
    });
    addListened([&] { EXPECT_EQ(manager->getRequestCount(), 0); });
    EXPECT_EQ(manager->handleEvents(nullptr), 2);
    EXPECT_EQ(listeners[0]->count, 1);
    EXPECT_EQ(listeners[0]->requestSeen, request.get());
    EXPECT_EQ(listeners[1]->count, 1);
}

TEST_F(AsyncNetRequestManagerListenerTest, IsToldOfSuccessAndFailure) {
    peer.onConnection().expectRequest().reply(okReply).expectRequest().reply(missingReply);
    const P<TestListener> listener = new TestListener;
    const P<OpenRequest> request = makeRequest();
    request->setDoneListener(listener);
    manager->addRequest(request);
    driveToEnd(*manager);
    EXPECT_EQ(listener->count, 1);
    EXPECT_EQ(listener->requestSeen, request.get());
    EXPECT_EQ(listener->errorSeen.get(), nullptr);
    manager->addRequest(request);
    EXPECT_EQ(listener->count, 1) << "a start is not told";
    driveToEnd(*manager);
    EXPECT_EQ(listener->count, 2);
    const auto error = listener->errorSeen.dynamicCast<CCURLError>();
    ASSERT_NE(error.get(), nullptr);
    EXPECT_EQ(error->getResponseCode(), 404);
    EXPECT_EQ(error->getServerMessage(), "gone");
}

TEST_F(AsyncNetRequestManagerListenerTest, MayAddItsRequestAgain) {
    peer.onConnection().expectRequest().reply(okReply);
    P<CNetRequest> request;
    request = addListened([&] {
        request->setURL(peer.url("/again").c_str());
        manager->addRequest(request);
    });
    EXPECT_EQ(manager->handleEvents(&finished), 1);
    EXPECT_EQ(manager->getRequestCount(), 1);
    EXPECT_FALSE(request->isAsyncDone());
    EXPECT_EQ(driveToEnd(*manager, &finished), 1);
    request->checkAsyncResult();
    EXPECT_EQ(bodyOf(*request), "ok");
    EXPECT_THAT(finished, ElementsAre(request, request));
    EXPECT_EQ(listeners[0]->count, 2);
}

TEST_F(AsyncNetRequestManagerListenerTest, MayAddAnother) {
    peer.onConnection().expectRequest().reply(okReply);
    const P<CNetRequest> other = makeRequest();
    const P<CNetRequest> request = addListened([&] { manager->addRequest(other); });
    EXPECT_EQ(driveToEnd(*manager, &finished), 2);
    other->checkAsyncResult();
    EXPECT_EQ(bodyOf(*other), "ok");
    EXPECT_THAT(finished, ElementsAre(request, other));
}

TEST_F(AsyncNetRequestManagerListenerTest, MayRemoveAnotherThatHasEndedAsWell) {
    P<CNetRequest> second;
    const P<CNetRequest> first = addListened([&] { EXPECT_TRUE(manager->removeRequest(second)); });
    second = addListened({});
    const P<CNetRequest> third = addListened({});
    EXPECT_EQ(manager->handleEvents(&finished), 2);
    EXPECT_THAT(finished, ElementsAre(first, third));
    EXPECT_FALSE(second->isAsyncDone());
    EXPECT_EQ(listeners[1]->count, 0) << "a removed request is not told";
    EXPECT_EQ(manager->getRequestCount(), 0);
    EXPECT_EQ(manager->handleEvents(&finished), 0);
}

TEST_F(AsyncNetRequestManagerListenerTest, MayRemoveAll) {
    const P<OpenRequest> running = addPaused("", okReply);
    const P<CNetRequest> first = addListened([&] { manager->removeAllRequests(); });
    const P<CNetRequest> second = addListened({});
    EXPECT_EQ(manager->handleEvents(&finished), 1);
    EXPECT_THAT(finished, ElementsAre(first));
    EXPECT_FALSE(second->isAsyncDone());
    EXPECT_FALSE(running->isAsyncDone());
    EXPECT_EQ(manager->getRequestCount(), 0);
    peer.release();
}

TEST_F(AsyncNetRequestManagerListenerTest, MayReleaseTheLastReferences) {
    int alive = 0;
    P<CNetRequest> request = addListened([&] {
        listeners.clear();
        request = nullptr;
        EXPECT_EQ(alive, 1) << "whoever tells it keeps it";
    });
    request->addDependencyObject(new Counted(alive));
    EXPECT_EQ(manager->handleEvents(nullptr), 1);
    EXPECT_EQ(alive, 0);
}

TEST_F(AsyncNetRequestManagerListenerTest, MayHandleTheOtherEvents) {
    TArray<P<CNetRequest>> inner;
    const P<CNetRequest> first = addListened([&] { EXPECT_EQ(manager->handleEvents(&inner), 2); });
    const P<CNetRequest> second = addListened({});
    const P<CNetRequest> third = addListened({});
    EXPECT_EQ(manager->handleEvents(&finished), 1);
    EXPECT_THAT(finished, ElementsAre(first));
    EXPECT_THAT(inner, ElementsAre(second, third));
}

TEST_F(AsyncNetRequestManagerListenerTest, ThatThrowsLosesNobodyElsesEnd) {
    const P<CNetRequest> first = addListened({});
    const P<CNetRequest> second = addListened([] { throw OwnError("the first one"); });
    const P<CNetRequest> third = addListened([] { throw std::runtime_error("another"); });
    const P<CNetRequest> fourth = addListened([] { throw 4; });
    const P<CNetRequest> fifth = addListened({});
    EXPECT_EQ(messageOf(thrownBy<OwnError>([&] { manager->handleEvents(&finished); })), "the first one");
    EXPECT_THAT(finished, ElementsAre(first, second, third, fourth, fifth));
    EXPECT_EQ(manager->getRequestCount(), 0);
    for (std::size_t i = 0; i < finished.size(); ++i) {
        EXPECT_EQ(listeners[i]->count, 1) << i;
        EXPECT_TRUE(finished[i]->isAsyncDone()) << i;
        EXPECT_EQ(codeOf(*finished[i]), CURLE_UNSUPPORTED_PROTOCOL) << i;
    }
    EXPECT_EQ(manager->handleEvents(&finished), 0) << "the error was told";
    EXPECT_EQ(finished.size(), 5u);
}

TEST_F(AsyncNetRequestManagerListenerTest, MayThrowWhatIsNoError) {
    addListened([] { throw 4; });
    EXPECT_THROW(manager->handleEvents(nullptr), int);
}

// ---- results

class AsyncNetRequestManagerResultTest : public AsyncNetRequestManagerTest {
protected:
    /// Runs the request and returns its error.
    template <class Error = CCURLError>
    std::optional<Error> errorOf(const P<OpenRequest>& request) {
        manager->addRequest(request);
        request->checkAsyncResult();
        driveToEnd(*manager);
        EXPECT_TRUE(request->isAsyncDone());
        EXPECT_TRUE(request->getAsyncDoneSignal()->isSet());
        return thrownBy<Error>([&] { request->checkAsyncResult(); });
    }
};

TEST_F(AsyncNetRequestManagerResultTest, AnErrorStatusHasTheServersWords) {
    peer.onConnection().expectRequest().reply(missingReply);
    const P<OpenRequest> request = makeRequest();
    request->setHTTPMethod("GET");
    const auto error = errorOf(request);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getDomain(), "curl");
    EXPECT_EQ(error->getCode(), CURLE_HTTP_RETURNED_ERROR);
    EXPECT_EQ(error->getMessage(), "HTTP response code said error (response code: http 404)");
    EXPECT_EQ(error->getServerMessage(), "gone");
    EXPECT_THAT(propsOf(*error), ElementsAre("responseCodeDomain=http", "responseCode=404",
                                             "serverMessage=gone", "httpStatusLine=HTTP/1.1 404 Not Found",
                                             "url=" + peer.url("/a"), "httpMethod=GET"));
    EXPECT_EQ(codeOf(*request), CURLE_HTTP_RETURNED_ERROR) << "asked again, told again";
}

TEST_F(AsyncNetRequestManagerResultTest, ARefusedConnectionHasLibcurlsText) {
    const P<OpenRequest> request = makeRequest();
    const std::string port = std::to_string(ScriptedPeer::closedPort());
    const std::string url = "http://127.0.0.1:" + port + "/a";
    request->setURL(url.c_str());
    request->setHTTPMethod("GET");
    const auto error = errorOf(request);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getDomain(), "curl");
    EXPECT_EQ(error->getCode(), CURLE_COULDNT_CONNECT);
    EXPECT_THAT(error->getMessage().toUTF8(),
                StartsWith(std::string(curl_easy_strerror(CURLE_COULDNT_CONNECT)) +
                           ": Failed to connect to 127.0.0.1 port " + port));
    EXPECT_THAT(propsOf(*error), ElementsAre("responseCodeDomain=http", "url=" + url, "httpMethod=GET"));
}

TEST_F(AsyncNetRequestManagerResultTest, WhatASinkThrowsIsTheError) {
    peer.onConnection().expectRequest().reply(okReply).clientMayLeave();
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [] { throw OwnError("disk full"); };
    const P<OpenRequest> request = makeRequest();
    request->setReceiveDataSink(sink);
    EXPECT_EQ(messageOf(errorOf<OwnError>(request)), "disk full");
}

TEST_F(AsyncNetRequestManagerResultTest, WhatASourceThrowsIsTheError) {
    peer.onConnection().expectHead().readUntilClose().clientMayLeave();
    const P<TestSource> source = new TestSource("body");
    source->onRead = [](void*, int) -> int { throw OwnError("file gone"); };
    const P<OpenRequest> request = makeRequest();
    request->setHTTPMethod("PUT");
    request->setSendDataSource(source);
    EXPECT_EQ(messageOf(errorOf<OwnError>(request)), "file gone");
}

TEST_F(AsyncNetRequestManagerResultTest, AnAbortedTransferLeavesTheOthersAlone) {
    const P<OpenRequest> other = addPaused("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nha", "lf");
    peer.onConnection().expectRequest().reply(okReply).clientMayLeave();
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [] { throw OwnError("disk full"); };
    const P<OpenRequest> request = makeRequest();
    request->setReceiveDataSink(sink);
    manager->addRequest(request);
    EXPECT_TRUE(driveUntil(*manager, [&] { return request->isAsyncDone(); }));
    EXPECT_TRUE(thrownBy<OwnError>([&] { request->checkAsyncResult(); }));
    peer.release();
    EXPECT_EQ(driveToEnd(*manager, &finished), 1);
    other->checkAsyncResult();
    EXPECT_EQ(bodyOf(*other), "half");
}

TEST_F(AsyncNetRequestManagerResultTest, TheTextOfAnEarlierFailureIsGone) {
    peer.onConnection().expectRequest().close();
    const P<OpenRequest> request = makeRequest();
    const auto first = errorOf(request);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->getMessage(), "Server returned nothing (no headers, no data): Empty reply from server");
    // No setter in between: that would empty libcurl's buffer.
    peer.onConnection().expectRequest().reply(missingReply);
    const auto second = errorOf(request);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->getMessage(), "HTTP response code said error (response code: http 404)");
    EXPECT_EQ(request->getErrorMessage(), "");
}

TEST_F(AsyncNetRequestManagerResultTest, AnEarlierErrorIsGoneWithASuccess) {
    peer.onConnection().expectRequest().reply(okReply).clientMayLeave();
    peer.onConnection().expectRequest().reply(okReply);
    const P<TestSink> sink = new TestSink;
    sink->onWrite = [sink = sink.get()] {
        if (sink->blocks.size() == 1) {
            throw OwnError("disk full");
        }
    };
    const P<OpenRequest> request = makeRequest();
    request->setReceiveDataSink(sink);
    EXPECT_TRUE(errorOf<OwnError>(request));
    manager->addRequest(request);
    request->checkAsyncResult();
    driveToEnd(*manager);
    request->checkAsyncResult();
    EXPECT_THAT(sink->blocks, ElementsAre("ok", "ok"));
}

TEST_F(AsyncNetRequestManagerResultTest, AnotherThreadIsWokenByTheEnd) {
    const P<OpenRequest> request = addPaused("", okReply);
    bool isDone = false;
    std::thread owner([&] { isDone = request->waitAsyncDone(-1); });
    peer.release();
    driveToEnd(*manager);
    owner.join();
    EXPECT_TRUE(isDone);
}

TEST_F(AsyncNetRequestManagerResultTest, ARequestIsUsedManyTimes) {
    peer.setDefaultReply([](const RecordedRequest& request) {
        const bool isMissing = request.requestLine().find("/missing") != std::string::npos;
        return isMissing ? missingReply : answerOf("HTTP/1.1 200 OK", request.body);
    });
    const P<OpenRequest> request = makeRequest();
    request->setHTTPMethod("PUT");
    for (int round = 0; round < 30; ++round) {
        SCOPED_TRACE(round);
        const std::string body = "body " + std::to_string(round);
        request->setSendDataAsUTF8(body.c_str());
        const bool isMissing = round % 3 == 1;
        request->setURL(peer.url(isMissing ? "/missing" : "/a").c_str());
        if (round % 5 == 4) {
            const auto perform = [&] { request->perform(); };
            isMissing ? static_cast<void>(thrownBy<CCURLError>(perform)) : perform();
        } else {
            manager->addRequest(request);
            EXPECT_FALSE(request->isAsyncDone());
            EXPECT_EQ(driveToEnd(*manager), 1);
            if (isMissing) {
                EXPECT_EQ(codeOf(*request), CURLE_HTTP_RETURNED_ERROR);
            } else {
                request->checkAsyncResult();
            }
        }
        EXPECT_EQ(bodyOf(*request), isMissing ? "gone" : body);
    }
    EXPECT_EQ(peer.requests().size(), 30u);
}

TEST_F(AsyncNetRequestManagerResultTest, ConnectionsAreKeptForTheNextRequests) {
    peer.setDefaultReply(okReply);
    for (int round = 0; round < 3; ++round) {
        const P<CNetRequest> request = makeRequest();
        manager->addRequest(request);
        driveToEnd(*manager);
        request->checkAsyncResult();
    }
    EXPECT_EQ(peer.connectionCount(), 1u);
}

TEST_F(AsyncNetRequestManagerResultTest, NoMoreConnectionsAreKeptThanWanted) {
    EXPECT_THROW(manager->setMaxConnections(-1), CInvalidArgError);
    peer.setDefaultReply(okReply);
    for (const int limit : {2, 1}) {
        const std::size_t before = peer.connectionCount();
        const P<CAsyncNetRequestManager> limited = new CAsyncNetRequestManager;
        limited->setMaxConnections(limit);
        // Connections to different host names are not shared.
        for (const char* host : {"127.0.0.1", "localhost", "127.0.0.1", "localhost"}) {
            const P<CNetRequest> request = makeRequest("/");
            request->setURL(String("http://") + host + ":" + String::fromInt(peer.port()) + "/");
            limited->addRequest(request);
            driveToEnd(*limited);
            request->checkAsyncResult();
        }
        const std::size_t connections = peer.connectionCount() - before;
        // Of two that were used in the same millisecond, either may be closed.
        EXPECT_TRUE(limit == 2 ? connections == 2 : connections > 2) << limit << ": " << connections;
    }
}

TEST_F(AsyncNetRequestManagerResultTest, ALimitOfConnectionsIsNotNegative) {
    const auto messageOf = [](const auto& call) {
        const auto error = thrownBy<CInvalidArgError>(call);
        return error ? error->getMessage().toUTF8() : "";
    };
    const std::string expected = "count must not be negative: -3";
    EXPECT_EQ(messageOf([&] { manager->setMaxConnectionsPerHost(-3); }), expected);
    EXPECT_EQ(messageOf([&] { manager->setMaxTotalConnections(-3); }), expected);
    const P<vexil::CAsyncNetRequestThread> worker = makeWorker();
    EXPECT_EQ(messageOf([&] { worker->setMaxConnectionsPerHost(-3); }), expected);
    EXPECT_EQ(messageOf([&] { worker->setMaxTotalConnections(-3); }), expected);
    worker->start();
    const std::string tooLate = "the limit must be set before the worker starts";
    EXPECT_EQ(messageOf([&] { worker->setMaxConnectionsPerHost(1); }), tooLate);
    EXPECT_EQ(messageOf([&] { worker->setMaxTotalConnections(1); }), tooLate);
    worker->stop(true);
}

class ConnectionLimitTest : public AsyncNetRequestManagerTest {
protected:
    /// Adds requests which the server replies to when it is told to, to hosts in turns.
    void addRequests(int count, const std::vector<std::string>& hosts = {"127.0.0.1"}) {
        peer.setDefaultReply(okReply);
        for (int i = 0; i < count; ++i) {
            requests.push_back(makeRequestTo(hosts[static_cast<std::size_t>(i) % hosts.size()]));
            manager->addRequest(requests.back());
        }
    }
    P<OpenRequest> makeRequestTo(const std::string& host) {
        P<OpenRequest> request = makeRequest("/");
        request->setURL(String::fromUTF8("http://" + host + ":" + std::to_string(peer.port()) + "/"));
        return request;
    }
    void pauseConnections(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            peer.onConnection().expectRequest().pause().reply(closingReply).close();
        }
    }
    /// Drives the manager until this many connections wait at the server, and some more: no other one comes.
    void expectOpen(std::size_t count) {
        EXPECT_TRUE(
            driveUntil(*manager, [&] { return peer.waitUntilPaused(count, std::chrono::milliseconds(0)); }));
        const auto quiet = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
        driveUntil(*manager, [&] { return std::chrono::steady_clock::now() > quiet; });
    }
    std::size_t countDone() const {
        return static_cast<std::size_t>(std::count_if(
            requests.begin(), requests.end(), [](const auto& request) { return request->isAsyncDone(); }));
    }
    void finishAll() {
        driveToEnd(*manager);
        for (const P<OpenRequest>& request : requests) {
            EXPECT_NO_THROW(request->checkAsyncResult());
        }
    }

    static constexpr char closingReply[] =
        "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nConnection: close\r\n\r\nok";

    TArray<P<OpenRequest>> requests;
};

TEST_F(ConnectionLimitTest, RequestsWaitForTheKeptConnectionsOfTheirHost) {
    manager->setMaxConnectionsPerHost(2);
    addRequests(20);
    finishAll();
    EXPECT_EQ(peer.connectionCount(), 2u);
    EXPECT_EQ(peer.requests().size(), 20u);
}

TEST_F(ConnectionLimitTest, EachConnectionThatIsClosedMakesRoomForOne) {
    manager->setMaxConnectionsPerHost(2);
    pauseConnections(5);
    addRequests(5);
    for (std::size_t open : {2u, 3u, 4u, 5u}) {
        expectOpen(2);
        EXPECT_EQ(peer.connectionCount(), open);
        peer.release();
        // The server may get the connections of the first two in either order.
        ASSERT_TRUE(driveUntil(*manager, [&] { return countDone() == open - 1; }));
    }
    peer.release();
    finishAll();
}

TEST_F(ConnectionLimitTest, EachHostHasItsOwn) {
    manager->setMaxConnectionsPerHost(1);
    pauseConnections(6);
    addRequests(6, {"127.0.0.1", "localhost"});
    expectOpen(2);
    EXPECT_EQ(peer.connectionCount(), 2u);
    peer.release("", 6);
    finishAll();
    EXPECT_EQ(peer.connectionCount(), 6u);
}

TEST_F(ConnectionLimitTest, ALimitForAllHostsCountsThemTogether) {
    manager->setMaxTotalConnections(1);
    pauseConnections(3);
    addRequests(3, {"127.0.0.1", "localhost"});
    for (std::size_t open : {1u, 2u, 3u}) {
        expectOpen(1);
        EXPECT_EQ(peer.connectionCount(), open);
        peer.release();
        ASSERT_TRUE(driveUntil(*manager, [&] { return requests[open - 1]->isAsyncDone(); }));
    }
    finishAll();
}

TEST_F(ConnectionLimitTest, AKeptConnectionMakesRoomForAnotherHost) {
    manager->setMaxTotalConnections(1);
    for (const std::size_t connections : {1u, 2u, 3u}) {
        addRequests(1, {connections == 2 ? "localhost" : "127.0.0.1"});
        finishAll();
        EXPECT_EQ(peer.connectionCount(), connections);
    }
}

TEST_F(ConnectionLimitTest, TheWorkerHasThemToo) {
    for (const bool isPerHost : {true, false}) {
        const std::size_t before = peer.connectionCount();
        peer.setDefaultReply(okReply);
        const P<vexil::CAsyncNetRequestThread> worker = makeWorker();
        if (isPerHost) {
            worker->setMaxConnectionsPerHost(2);
        } else {
            worker->setMaxTotalConnections(2);
        }
        TArray<P<OpenRequest>> added;
        for (int i = 0; i < 20; ++i) {
            added.push_back(makeRequest("/"));
            worker->addRequest(added.back());
        }
        worker->start();
        for (const P<OpenRequest>& request : added) {
            EXPECT_TRUE(request->waitAsyncDone(60000));
            EXPECT_NO_THROW(request->checkAsyncResult());
        }
        worker->stop(true);
        EXPECT_EQ(peer.connectionCount() - before, 2u);
    }
}

TEST_F(ConnectionLimitTest, ZeroIsNoLimit) {
    manager->setMaxConnectionsPerHost(1);
    manager->setMaxTotalConnections(1);
    manager->setMaxConnectionsPerHost(0);
    manager->setMaxTotalConnections(0);
    pauseConnections(4);
    addRequests(4);
    expectOpen(4);
    peer.release("", 4);
    finishAll();
}

TEST_F(ConnectionLimitTest, ARequestThatWaitsIsRemovedAtOnce) {
    manager->setMaxConnectionsPerHost(1);
    pauseConnections(2);
    addRequests(3);
    expectOpen(1);
    EXPECT_TRUE(manager->removeRequest(requests[1]));
    requests.erase(requests.begin() + 1);
    peer.release("", 2);
    finishAll();
    EXPECT_EQ(peer.connectionCount(), 2u);
}

// ---- requests that wait inside libcurl

class WaitingRequestTest : public ConnectionLimitTest {
protected:
    /// A request has the only connection, and its server does not reply.
    void occupy(std::size_t connections = 1) {
        manager->setMaxConnectionsPerHost(1);
        pauseConnections(connections);
        addRequests(1);
        expectOpen(1);
    }
    P<OpenRequest> addWaiting(int milliseconds = 0) {
        const P<OpenRequest> request = makeRequest("/");
        request->setCancellable(true);
        if (milliseconds > 0) {
            request->setFullRequestTimeout(zet::CTimeSpan::fromMilliseconds(milliseconds));
        }
        manager->addRequest(request);
        return request;
    }
    bool driveToEndOf(CNetRequest& request) {
        return driveUntil(*manager, [&] { return request.isAsyncDone(); });
    }
    void releaseAll(std::size_t connections = 1) {
        EXPECT_FALSE(requests[0]->isAsyncDone());
        peer.release("", connections);
        finishAll();
        EXPECT_EQ(peer.connectionCount(), connections);
    }
};

TEST_F(WaitingRequestTest, EndsAtItsTimeLimit) {
    occupy();
    const P<OpenRequest> waiting = addWaiting(50);
    const double waited = millisecondsOf([&] { EXPECT_TRUE(driveToEndOf(*waiting)); });
    EXPECT_GE(waited, 49);
    const auto error = thrownBy<CCURLError>([&] { waiting->checkAsyncResult(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(error->getDomain(), "curl");
    EXPECT_EQ(error->getResponseCode(), 0);
    EXPECT_THAT(error->getMessage().toUTF8(), testing::HasSubstr("Connection timed out after "));
    EXPECT_EQ(manager->getRequestCount(), 1);
    releaseAll();
}

TEST_F(WaitingRequestTest, ALimitInSecondsCountsToo) {
    occupy();
    const P<OpenRequest> waiting = addWaiting();
    manager->removeRequest(waiting);
    waiting->setOptionInt(CURLOPT_TIMEOUT, 1);
    manager->addRequest(waiting);
    EXPECT_TRUE(driveToEndOf(*waiting));
    EXPECT_EQ(codeOf(*waiting), CURLE_OPERATION_TIMEDOUT);
    releaseAll();
}

TEST_F(WaitingRequestTest, ItsErrorIsOfTheKindOfOneThatRuns) {
    occupy();
    const P<OpenRequest> waiting = addWaiting(50);
    EXPECT_TRUE(driveToEndOf(*waiting));
    const auto error = thrownBy<CCURLError>([&] { waiting->checkAsyncResult(); });
    manager->setMaxConnectionsPerHost(0);
    peer.onConnection().expectRequest().pause().clientMayLeave();
    const P<OpenRequest> running = addWaiting(200);
    EXPECT_TRUE(driveToEndOf(*running));
    const auto expected = thrownBy<CCURLError>([&] { running->checkAsyncResult(); });
    ASSERT_TRUE(error && expected);
    EXPECT_EQ(error->getCode(), expected->getCode());
    EXPECT_EQ(error->getKind(), expected->getKind());
    EXPECT_EQ(error->getResponseCode(), expected->getResponseCode());
    EXPECT_EQ(error->getDomain(), expected->getDomain());
    peer.release("", 2);
    finishAll();
}

TEST_F(WaitingRequestTest, EndsAtOnceIfItIsCancelled) {
    occupy();
    const P<OpenRequest> first = addWaiting();
    const P<OpenRequest> second = addWaiting();
    expectOpen(1);
    second->cancel();
    EXPECT_EQ(manager->handleEvents(&finished), 1);
    EXPECT_THAT(finished, ElementsAre(second));
    EXPECT_FALSE(first->isAsyncDone());
    const auto error = thrownBy<CCURLError>([&] { second->checkAsyncResult(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), CURLE_ABORTED_BY_CALLBACK);
    EXPECT_THAT(error->getMessage().toUTF8(), testing::HasSubstr("transfer cancelled"));
    EXPECT_TRUE(manager->removeRequest(first));
    releaseAll();
}

TEST_F(WaitingRequestTest, EndsIfItsTokenIsCancelled) {
    occupy();
    const P<vexil::CCancelToken> token = new vexil::CCancelToken;
    const P<OpenRequest> waiting = makeRequest("/");
    waiting->setCancelToken(token);
    manager->addRequest(waiting);
    expectOpen(1);
    token->cancel();
    EXPECT_TRUE(driveToEndOf(*waiting));
    EXPECT_EQ(codeOf(*waiting), CURLE_ABORTED_BY_CALLBACK);
    releaseAll();
}

TEST_F(WaitingRequestTest, ThoseWithTheSameLimitEndInTheirOrder) {
    occupy();
    TArray<P<CNetRequest>> expected;
    const P<OpenRequest> late = addWaiting(300);
    for (int i = 0; i < 20; ++i) {
        expected.push_back(addWaiting(50));
    }
    expected.push_back(late);
    manager->handleEvents(&finished);
    while (finished.size() < expected.size()) {
        manager->waitForEvents(-1);
        manager->handleEvents(&finished);
    }
    EXPECT_EQ(finished, expected);
    releaseAll();
}

// libcurl 7.88 may change the order of the others.
TEST_F(WaitingRequestTest, TheOthersGetTheConnectionLater) {
    occupy(3);
    const P<OpenRequest> impatient = addWaiting(50);
    addRequests(2);
    EXPECT_TRUE(driveToEndOf(*impatient));
    for (std::size_t i = 0; i < 3; ++i) {
        expectOpen(1);
        EXPECT_EQ(peer.connectionCount(), i + 1);
        peer.release();
        EXPECT_TRUE(driveUntil(*manager, [&] { return countDone() == i + 1; }));
    }
    finishAll();
}

TEST_F(WaitingRequestTest, AListenerMayRemoveAnotherThatIsDue) {
    occupy();
    const P<OpenRequest> first = addWaiting(50);
    const P<OpenRequest> second = addWaiting(50);
    const P<TestListener> listener = new TestListener;
    listener->then = [&] { EXPECT_TRUE(manager->removeRequest(second)); };
    first->setDoneListener(listener);
    EXPECT_TRUE(driveToEndOf(*first));
    EXPECT_FALSE(second->isAsyncDone());
    EXPECT_EQ(manager->getRequestCount(), 1);
    releaseAll();
}

TEST_F(WaitingRequestTest, AllMayBeRemovedAndAddedAgain) {
    occupy(2);
    const P<OpenRequest> waiting = addWaiting(50);
    manager->removeAllRequests();
    manager->waitForEvents(60);
    EXPECT_EQ(manager->handleEvents(&finished), 0);
    EXPECT_FALSE(waiting->isAsyncDone());
    peer.release("", 2);
    manager->addRequest(requests[0]);
    finishAll();
}

TEST_F(WaitingRequestTest, OneThatHasWaitedAndRunsIsEndedByLibcurl) {
    occupy(2);
    const P<OpenRequest> waiting = addWaiting(1500);
    expectOpen(1);
    peer.release();
    EXPECT_TRUE(driveToEndOf(*requests[0]));
    EXPECT_TRUE(driveToEndOf(*waiting));
    const auto error = thrownBy<CCURLError>([&] { waiting->checkAsyncResult(); });
    ASSERT_TRUE(error);
    EXPECT_THAT(error->getMessage().toUTF8(), testing::HasSubstr("Operation timed out after "));
    EXPECT_EQ(peer.connectionCount(), 2u);
    peer.release();
}

TEST_F(WaitingRequestTest, ALimitThatIsSetLaterCountsForThoseThatAreThere) {
    pauseConnections(1);
    addRequests(1);
    const P<OpenRequest> waiting = addWaiting(100);
    manager->setMaxTotalConnections(1);
    EXPECT_TRUE(driveToEndOf(*waiting));
    EXPECT_EQ(codeOf(*waiting), CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(peer.connectionCount(), 1u);
    releaseAll();
}

TEST_F(WaitingRequestTest, OneThatWaitsToShareAConnectionEndsToo) {
    const SilentServer server;
    const std::string url = "https" + server.url().substr(4);
    manager->setWaitForMultiplexing(true);
    const P<OpenRequest> first = vexil_test::makeRequest(url);
    const P<OpenRequest> second = vexil_test::makeRequest(url);
    second->setFullRequestTimeout(zet::CTimeSpan::fromMilliseconds(50));
    manager->addRequest(first);
    manager->addRequest(second);
    EXPECT_TRUE(driveToEndOf(*second));
    EXPECT_EQ(codeOf(*second), CURLE_OPERATION_TIMEDOUT);
    EXPECT_FALSE(first->isAsyncDone());
}

TEST_F(WaitingRequestTest, EndsOnTheWorkerToo) {
    pauseConnections(1);
    const P<vexil::CAsyncNetRequestThread> worker = makeWorker();
    worker->setMaxConnectionsPerHost(1);
    worker->start();
    const P<OpenRequest> running = makeRequest("/");
    worker->addRequest(running);
    ASSERT_TRUE(peer.waitUntilPaused(1, std::chrono::minutes(1)));
    const P<OpenRequest> impatient = makeRequest("/");
    impatient->setFullRequestTimeout(zet::CTimeSpan::fromMilliseconds(50));
    const P<OpenRequest> cancelled = makeRequest("/");
    cancelled->setCancellable(true);
    const P<OpenRequest> cancelledBefore = makeRequest("/");
    cancelledBefore->setCancellable(true);
    worker->addRequest(impatient);
    worker->addRequest(cancelledBefore);
    cancelledBefore->cancel();
    worker->addRequest(cancelled);
    zet::CThread::sleep(20);
    cancelled->cancel();
    for (const P<OpenRequest>& request : {impatient, cancelled, cancelledBefore}) {
        EXPECT_TRUE(request->waitAsyncDone(60000));
    }
    EXPECT_EQ(codeOf(*impatient), CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(codeOf(*cancelled), CURLE_ABORTED_BY_CALLBACK);
    EXPECT_EQ(codeOf(*cancelledBefore), CURLE_ABORTED_BY_CALLBACK);
    EXPECT_FALSE(running->isAsyncDone());
    peer.release();
    EXPECT_TRUE(running->waitAsyncDone(60000));
    worker->stop(true);
}

TEST_F(AsyncNetRequestManagerResultTest, EachOfManyHasItsOwn) {
    constexpr int count = 60;
    peer.setDefaultReply([](const RecordedRequest& request) {
        const std::string line = request.requestLine();
        return answerOf(line.find("/missing") == std::string::npos ? "HTTP/1.1 200 OK" : "HTTP/1.1 404 No",
                        line);
    });
    TArray<P<OpenRequest>> requests;
    const auto pathOf = [](int i) { return (i % 4 == 0 ? "/missing/" : "/") + std::to_string(i); };
    for (int i = 0; i < count; ++i) {
        requests.push_back(makeRequest(pathOf(i)));
        manager->addRequest(requests.back());
    }
    EXPECT_EQ(driveToEnd(*manager, &finished), count);
    EXPECT_EQ(finished.size(), static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        SCOPED_TRACE(i);
        const P<OpenRequest>& request = requests[static_cast<std::size_t>(i)];
        EXPECT_EQ(bodyOf(*request), "GET " + pathOf(i) + " HTTP/1.1");
        if (i % 4 == 0) {
            EXPECT_EQ(codeOf(*request), CURLE_HTTP_RETURNED_ERROR);
        } else {
            request->checkAsyncResult();
        }
    }
}

// ---- waiting

constexpr double muchTooLong = 30000;  // milliseconds, for a busy machine

TEST_F(AsyncNetRequestManagerTest, WaitsATenthOfASecondWhileThereIsNoSocket) {
    const double waited = millisecondsOf([&] { manager->waitForEvents(-1); });
    EXPECT_GE(waited, 99);
    EXPECT_LT(waited, muchTooLong);
    EXPECT_GE(millisecondsOf([&] { manager->waitForEvents(60000); }), 99);
}

TEST_F(AsyncNetRequestManagerTest, WaitsAsLongAsItIsTold) {
    const double waited = millisecondsOf([&] { manager->waitForEvents(30); });
    EXPECT_GE(waited, 29);
    EXPECT_LT(waited, muchTooLong);
    EXPECT_LT(millisecondsOf([&] { manager->waitForEvents(0); }), muchTooLong);
}

TEST_F(AsyncNetRequestManagerTest, WaitsForASocketNoLongerThanASecond) {
    const P<OpenRequest> request = addPaused("", okReply);
    EXPECT_LT(millisecondsOf([&] { manager->waitForEvents(3600000); }), muchTooLong);
    peer.release();
    driveToEnd(*manager);
    request->checkAsyncResult();
}

}  // namespace
