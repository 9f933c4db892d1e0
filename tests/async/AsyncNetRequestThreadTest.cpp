// The worker: its passes, adding and removing requests, and the reasons for its end.
#include "vexil/async/AsyncNetRequestThread.h"

#include "tests/async/AsyncNetRequestThreadTestSupport.h"
#include "tests/async/SilentServer.h"

#include <stdexcept>
#include <type_traits>

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using vexil::IAsyncNetRequestManager;
using vexil::TList;
using zet::CThread;

static_assert(!std::is_copy_constructible_v<CAsyncNetRequestThread>);
static_assert(!std::is_copy_assignable_v<CAsyncNetRequestThread>);
static_assert(std::is_base_of_v<CThread, CAsyncNetRequestThread>);

// ---- life ------------------------------------------------------------------------------------------------

TEST_F(AsyncNetRequestThreadTest, IsNamedAndWaitsForItsStart) {
    EXPECT_EQ(thread->getThreadName(), "vexil.asyncNetRequest");
    EXPECT_FALSE(thread->isAlive());
    thread->start();
    EXPECT_TRUE(thread->isAlive());
    EXPECT_NE(thread->getID(), CThread::getCurrentID());
    thread->stop(true);
    EXPECT_FALSE(thread->isAlive());
    EXPECT_EQ(thread->getError().get(), nullptr);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AsyncNetRequestThreadTest, NeedsNoHandler) {
    peer.setDefaultReply(okReply);
    P<CAsyncNetRequestThread> plain = makeWorker();
    plain->start();
    const P<CNetRequest> request = makeRequest();
    plain->addRequest(request);
    EXPECT_TRUE(request->waitAsyncDone(longTime));
    request->checkAsyncResult();
    plain = nullptr;
}

TEST_F(AsyncNetRequestThreadTest, LivesWithoutAStart) {
    P<CAsyncNetRequestThread> plain = makeWorker();
    plain->addRequest(makeMortal("a"));
    plain->removeRequest(makeMortal("b"));
    EXPECT_THAT(record.texts(), IsEmpty());
    plain = nullptr;
    EXPECT_THAT(record.texts(), UnorderedElementsAre("a", "b"));
}

TEST_F(AsyncNetRequestThreadTest, KeepsItsHandlerWhileItLives) {
    class Mortal : public PassGate {
    public:
        explicit Mortal(Record& record) : m_words(new LastWords(record, "handler")) {}

    private:
        const P<LastWords> m_words;
    };
    P<CAsyncNetRequestThread> plain = makeWorker(new Mortal(record));
    plain->start();
    plain->stop(true);
    EXPECT_THAT(record.texts(), IsEmpty());
    plain = nullptr;
    EXPECT_THAT(record.texts(), ElementsAre("handler"));
}

TEST_F(AsyncNetRequestThreadTest, RunsRequestsForWhoeverKnowsTheInterfaceAlone) {
    peer.setDefaultReply(okReply);
    thread->start();
    const P<vexil::IBase> base = thread;
    const P<IAsyncNetRequestManager> manager = base.dynamicCast<IAsyncNetRequestManager>();
    ASSERT_NE(manager.get(), nullptr);
    EXPECT_EQ(manager.dynamicCast<CAsyncNetRequestThread>().get(), thread.get());
    const P<CNetRequest> endless = startEndless();
    EXPECT_TRUE(manager->removeRequest(endless));
    const P<CNetRequest> request = makeRequest();
    manager->addRequest(request);
    EXPECT_TRUE(request->waitAsyncDone(longTime));
    EXPECT_EQ(bodyOf(*request), "ok");
    EXPECT_FALSE(manager->removeRequest(request));
}

TEST_F(AsyncNetRequestThreadTest, GoesThroughItsStepsOncePerPass) {
    int passes = 0;
    thread->onCheck = [this] { record.add("check"); };
    thread->onEvents = [this](CAsyncNetRequestManager&) { record.add("events"); };
    thread->onExit = [this] { record.add("exit"); };
    gate->always = [&] {
        record.add("progress");
        if (++passes == 3) {
            thread->stop(false);
        }
    };
    thread->start();
    waitForEnd();
    EXPECT_THAT(record.texts(), ElementsAre("check", "events", "progress", "check", "events", "progress",
                                            "check", "events", "progress", "check", "exit"));
}

TEST_F(AsyncNetRequestThreadTest, CallsItsHooksOnTheWorker) {
    const auto note = [this](const std::string& hook) {
        EXPECT_EQ(CThread::getCurrentID(), thread->getID()) << hook;
        EXPECT_TRUE(thread->isAlive()) << hook;
        record.add(hook);
    };
    thread->onEvents = [&](CAsyncNetRequestManager&) { note("events"); };
    thread->onExit = [&] { note("exit"); };
    gate->callOnWorker([&] {
        note("progress");
        thread->stop(true);
    });
    thread->start();
    waitForEnd();
    EXPECT_THAT(record.texts(), ElementsAre("events", "progress", "exit"));
}

TEST_F(AsyncNetRequestThreadTest, AStopBeforeTheStartLeavesNoPass) {
    thread->onEvents = [this](CAsyncNetRequestManager&) { record.add("events"); };
    thread->onExit = [this] { record.add("exit"); };
    thread->addRequest(makeMortal("request"));
    thread->stop(true);
    thread->start();
    waitForEnd();
    EXPECT_THAT(record.texts(), ElementsAre("exit"));
}

// ---- adding ----------------------------------------------------------------------------------------------

TEST_F(AsyncNetRequestThreadTest, RefusesNull) {
    const auto error = thrownBy<vexil::CInvalidArgError>([this] { thread->addRequest(nullptr); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getPlace(), "CAsyncNetRequestThread::addRequest");
    const auto restart = thrownBy<vexil::CInvalidArgError>([this] { thread->restartRequest(nullptr); });
    ASSERT_TRUE(restart);
    EXPECT_EQ(restart->getPlace(), "CAsyncNetRequestThread::restartRequest");
    thread->start();
    gate->waitForPasses(2);
    EXPECT_TRUE(thread->isAlive());
}

TEST_F(AsyncNetRequestThreadTest, ARequestThatIsAddedIsNoLongerDone) {
    const P<CNetRequest> request = makeRequest();
    request->setAsyncInfo(true, CURLE_GOT_NOTHING);
    thread->addRequest(request);
    EXPECT_FALSE(request->isAsyncDone()) << "whoever waits for it must not meet its last end";
    request->checkAsyncResult();
}

TEST_F(AsyncNetRequestThreadTest, TakesTheNewestFirst) {
    peer.setDefaultReply(okReply);
    TList<P<CNetRequest>> requests;
    for (const char* const name : {"a", "b", "c", "d"}) {
        requests.push_back(makeRecorded(name));
        thread->addRequest(requests.back());
    }
    thread->start();
    for (const P<CNetRequest>& request : requests) {
        EXPECT_TRUE(request->waitAsyncDone(longTime));
    }
    EXPECT_THAT(record.texts(), ElementsAre("d", "c", "b", "a"));
}

TEST_F(AsyncNetRequestThreadTest, TakesTheNewestOfAPassFirst) {
    peer.setDefaultReply(okReply);
    thread->start();
    gate->hold();
    const P<CNetRequest> a = makeRecorded("a");
    const P<CNetRequest> b = makeRecorded("b");
    thread->addRequest(a);
    std::thread([&] { thread->addRequest(b); }).join();
    EXPECT_THAT(record.texts(), IsEmpty());
    gate->letGo();
    EXPECT_TRUE(a->waitAsyncDone(longTime));
    const P<CNetRequest> c = makeRecorded("c");
    run(c);
    EXPECT_THAT(record.texts(), ElementsAre("b", "a", "c")) << "passes keep their order";
}

TEST_F(AsyncNetRequestThreadTest, TakesARequestThatIsAddedDuringAHandOver) {
    peer.setDefaultReply(okReply);
    const P<CNetRequest> a = makeRecorded("a");
    const P<CNetRequest> c = makeRecorded("c");
    const P<CNetRequest> b = makeRequest("/b");
    b->setReceiveDataSink(new HandOverSink([&] {
        record.add("b");
        thread->addRequest(c);
    }));
    thread->addRequest(a);
    thread->addRequest(b);
    thread->start();
    for (const P<CNetRequest>& request : {a, b, c}) {
        EXPECT_TRUE(request->waitAsyncDone(longTime));
    }
    EXPECT_THAT(record.texts(), ElementsAre("b", "c", "a"));
}

TEST_F(AsyncNetRequestThreadTest, ADoneListenerMayAddTheRequestAgain) {
    peer.onConnection().expectRequest().reply(missingReply).expectRequest().reply(okReply);
    const P<CNetRequest> request = makeRequest();
    const P<TestListener> listener = new TestListener;
    zet::CSignal isDoneTwice;
    listener->then = [&] {
        EXPECT_EQ(messageOf(*listener->errorSeen), "HTTP response code said error (response code: http 404)");
        listener->then = [&] { isDoneTwice.set(); };
        thread->addRequest(request);
    };
    request->setDoneListener(listener);
    thread->start();
    thread->addRequest(request);
    EXPECT_TRUE(isDoneTwice.wait(longTime));
    EXPECT_EQ(listener->count, 2);
    EXPECT_EQ(listener->errorSeen.get(), nullptr);
    request->checkAsyncResult();
    EXPECT_EQ(bodyOf(*request), "ok");
}

TEST_F(AsyncNetRequestThreadTest, RunsManyAtOnce) {
    TList<P<CNetRequest>> requests;
    for (int i = 0; i < 20; ++i) {
        peer.onConnection().expectRequest().pause().reply(okReply);
        requests.push_back(makeRequest());
    }
    thread->start();
    for (const P<CNetRequest>& request : requests) {
        thread->addRequest(request);
    }
    EXPECT_TRUE(peer.waitUntilPaused(20, std::chrono::milliseconds(longTime))) << "all of them run";
    peer.release("", 20);
    for (const P<CNetRequest>& request : requests) {
        EXPECT_TRUE(request->waitAsyncDone(longTime));
        request->checkAsyncResult();
    }
}

TEST_F(AsyncNetRequestThreadTest, LetsARequestGoWhenItHasEnded) {
    peer.setDefaultReply(okReply);
    thread->start();
    thread->addRequest(makeMortal("request"));
    EXPECT_TRUE(record.waitFor(1));
}

// ---- removing --------------------------------------------------------------------------------------------

TEST_F(AsyncNetRequestThreadTest, RemovesARunningRequest) {
    thread->start();
    const P<CNetRequest> request = startEndless();
    const P<TestListener> listener = new TestListener;
    EXPECT_TRUE(thread->removeRequest(request));
    EXPECT_FALSE(thread->removeRequest(request)) << "it is off";
    EXPECT_FALSE(request->isAsyncDone());
    // Its owner may use it at once.
    request->setDoneListener(listener);
    peer.onConnection().expectRequest().reply(okReply);
    request->perform();
    EXPECT_EQ(bodyOf(*request), "ok");
    EXPECT_EQ(listener->count, 1);
}

TEST_F(AsyncNetRequestThreadTest, ARemovedRequestMayBeAddedAgain) {
    thread->start();
    const P<CNetRequest> request = startEndless();
    EXPECT_TRUE(thread->removeRequest(request));
    peer.onConnection().expectRequest().reply(okReply);
    run(request);
    request->checkAsyncResult();
    EXPECT_EQ(bodyOf(*request), "ok");
}

TEST_F(AsyncNetRequestThreadTest, RemovesNoUnknownRequest) {
    thread->start();
    const P<CNetRequest> other = startEndless();
    EXPECT_FALSE(thread->removeRequest(makeRequest()));
    EXPECT_TRUE(thread->removeRequest(other)) << "others run on";
}

TEST_F(AsyncNetRequestThreadTest, RemovesNoFinishedRequest) {
    peer.setDefaultReply(okReply);
    thread->start();
    const P<CNetRequest> request = makeRequest();
    run(request);
    EXPECT_FALSE(thread->removeRequest(request));
    EXPECT_TRUE(request->isAsyncDone());
    request->checkAsyncResult();
    EXPECT_EQ(bodyOf(*request), "ok");
}

TEST_F(AsyncNetRequestThreadTest, ARequestThatWaitsIsTakenOverBeforeItIsRemoved) {
    const SilentServer silent;
    thread->start();
    for (int round = 0; round < 20; ++round) {
        gate->hold();
        const P<CNetRequest> request = makeRecorded("request");
        request->setURL(String::fromUTF8(silent.url()));
        thread->addRequest(request);
        std::atomic<bool> isRemoving = false;
        bool wasRemoved = false;
        std::thread remover([&] {
            isRemoving = true;
            wasRemoved = thread->removeRequest(request);
        });
        for (int i = 0; i < 5 || !isRemoving; ++i) {
            zet::threadYield(i % 5 == 4);
        }
        gate->letGo();
        remover.join();
        ASSERT_TRUE(wasRemoved);
        ASSERT_EQ(record.texts().size(), static_cast<std::size_t>(round) + 1);
    }
}

TEST_F(AsyncNetRequestThreadTest, RemovesAllThatRun) {
    thread->start();
    const P<CNetRequest> first = startEndless();
    const P<CNetRequest> second = startEndless();
    EXPECT_TRUE(thread->removeRequest(nullptr));
    EXPECT_FALSE(thread->removeRequest(first));
    EXPECT_FALSE(thread->removeRequest(second));
    EXPECT_TRUE(thread->removeRequest(nullptr)) << "also when there are none";
    EXPECT_FALSE(first->isAsyncDone());
    EXPECT_FALSE(second->isAsyncDone());
}

TEST_F(AsyncNetRequestThreadTest, RemoveAllReturnsWhenTheyAreOff) {
    thread->start();
    P<CNetRequest> first = startEndless();
    P<CNetRequest> second = startEndless();
    first->addDependencyObject(new LastWords(record, "first"));
    second->addDependencyObject(new LastWords(record, "second"));
    first = nullptr;
    second = nullptr;
    EXPECT_THAT(record.texts(), IsEmpty());
    thread->removeAllRequests();
    EXPECT_THAT(record.texts(), ElementsAre("second", "first"));
}

TEST_F(AsyncNetRequestThreadTest, RemoveAllIsARemovalOfNull) {
    class Seeing : public TestWorker {
    public:
        Seeing() : TestWorker(nullptr) {}
        bool removeRequest(CNetRequest* request) override {
            seen.push_back(request);
            return true;
        }
        std::vector<CNetRequest*> seen;
    };
    const P<Seeing> seeing = new Seeing;
    seeing->removeAllRequests();
    EXPECT_THAT(seeing->seen, ElementsAre(nullptr));
}

TEST_F(AsyncNetRequestThreadTest, RemoveAllLeavesWhatWaits) {
    peer.setDefaultReply(okReply);
    const P<CNetRequest> waiting = makeRecorded("waiting");
    bool hasRemoved = false;
    thread->onEvents = [&](CAsyncNetRequestManager& manager) {
        if (!std::exchange(hasRemoved, true)) {
            thread->addRequest(waiting);
            thread->removeAllRequests();
            thread->processRemoveRequests(manager);
        }
    };
    thread->start();
    EXPECT_TRUE(waiting->waitAsyncDone(longTime));
    waiting->checkAsyncResult();
    thread->stop(true);
}

TEST_F(AsyncNetRequestThreadTest, HoldsNoReferenceOnceARemovalHasReturned) {
    const SilentServer silent;
    thread->start();
    for (int round = 0; round < 2000; ++round) {
        P<CNetRequest> request = makeMortal("request");
        CNetRequest* const plain = request;
        request->setURL(String::fromUTF8(silent.url()));
        thread->addRequest(request);
        ASSERT_TRUE(thread->removeRequest(plain));
        request = nullptr;
        ASSERT_EQ(record.texts().size(), static_cast<std::size_t>(round) + 1);
    }
}

TEST_F(AsyncNetRequestThreadTest, ARemovedRequestMayBeDestroyedAtOnce) {
    const SilentServer silent;
    peer.setDefaultReply(okReply);
    thread->start();
    for (int round = 0; round < 300; ++round) {
        const bool ends = round % 3 == 2;
        CNetRequest onStack;
        prepare(onStack);
        if (!ends) {
            onStack.setURL(String::fromUTF8(silent.url()));
        }
        thread->addRequest(&onStack);
        if (round % 3 == 1) {
            gate->waitForPasses(1);
        } else if (ends) {
            ASSERT_TRUE(onStack.waitAsyncDone(longTime));
        }
        ASSERT_EQ(thread->removeRequest(&onStack), !ends);
    }
    EXPECT_TRUE(thread->isAlive());
}

TEST_F(AsyncNetRequestThreadTest, TwoThreadsMayRemoveTheSameRequest) {
    thread->start();
    for (int round = 0; round < 50; ++round) {
        const P<CNetRequest> request = startEndless();
        std::atomic<int> removals = 0;
        const auto remove = [&] { removals += thread->removeRequest(request) ? 1 : 0; };
        std::thread first(remove);
        std::thread second(remove);
        first.join();
        second.join();
        ASSERT_EQ(removals, 1);
    }
}

TEST_F(AsyncNetRequestThreadTest, ARemovalBeforeTheStartWaitsForIt) {
    P<CNetRequest> request = makeMortal("request");
    thread->addRequest(request);
    EXPECT_FALSE(thread->removeRequest(request));
    request = nullptr;
    EXPECT_THAT(record.texts(), IsEmpty());
    thread->start();
    EXPECT_TRUE(record.waitFor(1));
    gate->waitForPasses(2);
    EXPECT_EQ(peer.connectionCount(), 0u);
}

TEST_F(AsyncNetRequestThreadTest, RemovesTheNewestOrderFirst) {
    for (const char* const name : {"a", "b", "c"}) {
        thread->addRequest(makeMortal(name));
    }
    P<CNetRequest> d = makeMortal("d");
    P<CNetRequest> e = makeMortal("e");
    for (const P<CNetRequest>& request : {d, e}) {
        thread->addRequest(request);
        EXPECT_FALSE(thread->removeRequest(request));
    }
    d = nullptr;
    e = nullptr;
    thread->removeAllRequests();
    thread->start();
    EXPECT_TRUE(record.waitFor(5));
    // The last order removes all of them, in the manager's order; an older order each still references two.
    EXPECT_THAT(record.texts(), ElementsAre("a", "b", "c", "e", "d"));
    EXPECT_EQ(peer.connectionCount(), 0u);
}

TEST_F(AsyncNetRequestThreadTest, RemovalsOnTheWorkerFollowInTheNextPass) {
    thread->start();
    P<CNetRequest> first = startEndless();
    P<CNetRequest> second = startEndless();
    first->addDependencyObject(new LastWords(record, "first"));
    second->addDependencyObject(new LastWords(record, "second"));
    gate->callOnWorker([&] {
        EXPECT_FALSE(thread->removeRequest(first));
        EXPECT_FALSE(thread->removeRequest(second));
        first = nullptr;
        second = nullptr;
        EXPECT_THAT(record.texts(), IsEmpty());
        gate->callOnWorker([&] { record.add("next pass"); });
    });
    EXPECT_TRUE(record.waitFor(3));
    EXPECT_THAT(record.texts(), ElementsAre("second", "first", "next pass")) << "the newest order first";
}

TEST_F(AsyncNetRequestThreadTest, ADoneListenerMayRemoveOthers) {
    thread->start();
    const P<CNetRequest> other = startEndless();
    peer.onConnection().expectRequest().reply(okReply);
    const P<CNetRequest> request = makeRequest();
    const P<TestListener> listener = new TestListener;
    listener->then = [&] {
        EXPECT_FALSE(thread->removeRequest(other));
        record.add("listener");
    };
    request->setDoneListener(listener);
    run(request);
    gate->waitForPasses(2);
    EXPECT_THAT(record.texts(), ElementsAre("listener"));
    EXPECT_FALSE(thread->removeRequest(other)) << "the listener's order came before";
    EXPECT_FALSE(other->isAsyncDone());
}

TEST_F(AsyncNetRequestThreadTest, ASinkMayRemoveItsOwnRequest) {
    thread->start();
    peer.onConnection()
        .clientMayLeave()
        .expectRequest()
        .reply("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nok")
        .waitForClose();
    const P<CNetRequest> request = makeRequest();
    const P<TestSink> sink = new TestSink;
    zet::CSignal isCalled;
    bool answer = true;
    sink->onWrite = [&] {
        answer = thread->removeRequest(request);
        isCalled.set();
    };
    request->setReceiveDataSink(sink);
    thread->addRequest(request);
    EXPECT_TRUE(isCalled.wait(longTime));
    gate->waitForPasses(2);
    EXPECT_FALSE(thread->removeRequest(request)) << "the sink's order came before";
    EXPECT_FALSE(answer);
    EXPECT_FALSE(request->isAsyncDone());
}

TEST_F(AsyncNetRequestThreadTest, AHookMayRemoveARequest) {
    thread->start();
    const P<CNetRequest> request = startEndless();
    gate->hold();
    std::vector<int> counts;
    bool answer = true;
    thread->onEvents = [&](CAsyncNetRequestManager& manager) {
        if (counts.empty()) {
            answer = thread->removeRequest(request);
        }
        counts.push_back(manager.getRequestCount());
    };
    gate->letGo();
    gate->waitForPasses(2);
    gate->hold();
    EXPECT_FALSE(answer);
    ASSERT_GE(counts.size(), 2u);
    EXPECT_EQ(counts[0], 1);
    EXPECT_EQ(counts[1], 0);
    thread->onEvents = {};
}

// ---- restarts

TEST_F(AsyncNetRequestThreadTest, AHandlerMayRestartARunningRequest) {
    thread->start();
    const P<CNetRequest> request = startEndless("/first");
    request->setDoneListener(makeCounter());
    peer.onConnection().expectRequest().reply(okReply);
    gate->callOnWorker([&] {
        request->setURL(String::fromUTF8(peer.url("/second")));
        thread->restartRequest(request);
        EXPECT_FALSE(request->isAsyncDone());
    });
    EXPECT_TRUE(request->waitAsyncDone(longTime));
    request->checkAsyncResult();
    EXPECT_EQ(bodyOf(*request), "ok");
    ASSERT_EQ(peer.requests().size(), 2u);
    EXPECT_EQ(peer.requests()[1].requestLine(), "GET /second HTTP/1.1");
    thread->stop(true);
    EXPECT_THAT(record.texts(), ElementsAre("told")) << "of the transfer that was given up nothing is told";
    EXPECT_EQ(thread->getError().get(), nullptr);
}

TEST_F(AsyncNetRequestThreadTest, ADoneListenerMayRestartItsRequest) {
    peer.onConnection().expectRequest().reply(missingReply).expectRequest().reply(okReply);
    const P<CNetRequest> request = makeRequest();
    const P<TestListener> listener = new TestListener;
    zet::CSignal isDoneTwice;
    listener->then = [&] {
        listener->then = [&] { isDoneTwice.set(); };
        thread->restartRequest(request);
        thread->addRequest(request);  // once is enough, and twice does no harm
    };
    request->setDoneListener(listener);
    thread->start();
    thread->addRequest(request);
    EXPECT_TRUE(isDoneTwice.wait(longTime));
    EXPECT_EQ(listener->count, 2);
    EXPECT_EQ(listener->errorSeen.get(), nullptr);
    gate->waitForPasses(2);
    EXPECT_TRUE(thread->isAlive());
}

TEST_F(AsyncNetRequestThreadTest, NothingIsToldOfWhatEndsInThePassOfItsRestart) {
    // Both end in their first step, in the same pass. The listener of each restarts the other.
    const P<CNetRequest> first = makeRequest();
    const P<CNetRequest> second = makeRequest();
    first->setURL("nosuch://host/");
    second->setURL("nosuch://host/");
    std::vector<std::string> told;
    std::vector<int> inFirstPass;
    const P<TestListener> ofFirst = new TestListener;
    const P<TestListener> ofSecond = new TestListener;
    const auto restart = [&](const P<CNetRequest>& other, const char* name) {
        told.emplace_back(name);
        if (told.size() == 1) {
            thread->restartRequest(other);
        }
    };
    ofFirst->then = [&] { restart(second, "first"); };
    ofSecond->then = [&] { restart(first, "second"); };
    first->setDoneListener(ofFirst);
    second->setDoneListener(ofSecond);
    gate->always = [&] {
        if (inFirstPass.empty() && !told.empty()) {
            inFirstPass = {first->isAsyncDone(), second->isAsyncDone()};
            EXPECT_EQ(told.size(), 1u);
        }
    };
    thread->addRequest(first);
    thread->addRequest(second);
    thread->start();
    EXPECT_TRUE(first->waitAsyncDone(longTime));
    EXPECT_TRUE(second->waitAsyncDone(longTime));
    gate->waitForPasses(2);
    thread->stop(true);
    EXPECT_EQ(ofFirst->count, 1);
    EXPECT_EQ(ofSecond->count, 1);
    EXPECT_EQ(inFirstPass[0] + inFirstPass[1], 1);
}

TEST_F(AsyncNetRequestThreadTest, ASinkMayRestartItsOwnRequest) {
    thread->start();
    peer.setDefaultReply(okReply);
    const P<CNetRequest> request = makeRequest();
    request->setDoneListener(makeCounter());
    const P<TestSink> sink = new TestSink;
    bool isFirst = true;
    sink->onWrite = [&] {
        if (std::exchange(isFirst, false)) {
            thread->restartRequest(request);
        }
    };
    request->setReceiveDataSink(sink);
    thread->addRequest(request);
    EXPECT_TRUE(request->waitAsyncDone(longTime));
    request->checkAsyncResult();
    thread->stop(true);
    EXPECT_EQ(peer.requests().size(), 2u);
    EXPECT_THAT(record.texts(), ElementsAre("told")) << "though the first transfer ended with that block";
    EXPECT_EQ(thread->getError().get(), nullptr);
}

TEST_F(AsyncNetRequestThreadTest, AHandOverMayRestartItsRequest) {
    peer.setDefaultReply(okReply);
    const P<CNetRequest> request = makeRequest();
    request->setDoneListener(makeCounter());
    int handOvers = 0;
    request->setReceiveDataSink(new HandOverSink([&] {
        if (++handOvers == 1) {
            thread->restartRequest(request);
        }
    }));
    thread->addRequest(request);
    thread->start();
    EXPECT_TRUE(request->waitAsyncDone(longTime));
    gate->waitForPasses(2);
    thread->stop(true);
    EXPECT_EQ(handOvers, 2);
    EXPECT_THAT(record.texts(), ElementsAre("told"));
}

TEST_F(AsyncNetRequestThreadTest, RestartsFromAnotherThread) {
    thread->start();
    const P<CNetRequest> request = startEndless();
    request->setDoneListener(makeCounter());
    for (int i = 0; i < 20; ++i) {
        addEndlessAnswer();
        thread->restartRequest(request);
        EXPECT_TRUE(peer.waitForRequests(static_cast<std::size_t>(i) + 2));
    }
    peer.onConnection().expectRequest().reply(okReply);
    thread->restartRequest(request);
    EXPECT_TRUE(request->waitAsyncDone(longTime));
    request->checkAsyncResult();
    thread->stop(true);
    EXPECT_THAT(record.texts(), ElementsAre("told"));
}

TEST_F(AsyncNetRequestThreadTest, ARestartRunsWhatDoesNotRun) {
    peer.setDefaultReply(okReply);
    thread->start();
    const P<CNetRequest> request = makeRequest();
    for (int i = 0; i < 3; ++i) {
        thread->restartRequest(request);
        EXPECT_TRUE(request->waitAsyncDone(longTime));
        request->checkAsyncResult();
    }
    EXPECT_EQ(peer.requests().size(), 3u);
}

TEST_F(AsyncNetRequestThreadTest, ARestartBeforeTheStartRunsOnce) {
    peer.setDefaultReply(okReply);
    const P<CNetRequest> added = makeRequest("/added");
    const P<CNetRequest> other = makeRequest("/other");
    added->setCancellable(true);
    thread->addRequest(added);
    added->cancel();
    for (int i = 0; i < 3; ++i) {
        thread->restartRequest(added);
        thread->restartRequest(other);
    }
    thread->start();
    for (const P<CNetRequest>& request : {added, other}) {
        EXPECT_TRUE(request->waitAsyncDone(longTime));
        request->checkAsyncResult();
    }
    EXPECT_TRUE(thread->isAlive());
    EXPECT_EQ(peer.requests().size(), 2u);
}

TEST_F(AsyncNetRequestThreadTest, ARestartAfterTheEndWaits) {
    thread->start();
    thread->stop(true);
    const P<CNetRequest> request = makeMortal("request");
    thread->restartRequest(request);
    thread->restartRequest(request);
    EXPECT_FALSE(request->waitAsyncDone(0));
}

TEST_F(AsyncNetRequestThreadTest, ARemovalInThePassOfARestartTakesTheRequestOff) {
    thread->start();
    for (const bool isRemovedFirst : {false, true}) {
        const P<CNetRequest> request = startEndless();
        gate->callOnWorker([&] {
            if (isRemovedFirst) {
                thread->removeRequest(request);
            }
            thread->restartRequest(request);
            if (!isRemovedFirst) {
                thread->removeRequest(request);
            }
        });
        gate->waitForPasses(3);
        EXPECT_FALSE(thread->removeRequest(request));
        EXPECT_FALSE(request->isAsyncDone());
        EXPECT_TRUE(thread->isAlive());
    }
}

TEST_F(AsyncNetRequestThreadTest, WhatIsRemovedDuringAPassIsNotRestartedWithTheNext) {
    thread->start();
    P<CNetRequest> one = startEndless();
    P<CNetRequest> all = startEndless();
    one->addDependencyObject(new LastWords(record, "one"));
    all->addDependencyObject(new LastWords(record, "all"));
    gate->hold();
    bool isOver = false;
    thread->onEvents = [&](CAsyncNetRequestManager& manager) {
        if (std::exchange(isOver, true)) {
            return;
        }
        thread->restartRequest(one);
        EXPECT_TRUE(manager.removeRequest(one));
        EXPECT_FALSE(manager.removeRequest(one));
        one = nullptr;
        thread->restartRequest(all);
        manager.removeAllRequests();
        all = nullptr;
        record.add("removed");
    };
    gate->letGo();
    gate->waitForPasses(3);
    EXPECT_THAT(record.texts(), ElementsAre("one", "all", "removed"));
    EXPECT_TRUE(thread->isAlive());
    thread->stop(true);
    EXPECT_EQ(peer.requests().size(), 2u);
}

TEST_F(AsyncNetRequestThreadTest, ACancelAfterARestartCounts) {
    thread->start();
    const P<CNetRequest> request = makeRequest();
    request->setCancellable(true);
    addEndlessAnswer();
    thread->addRequest(request);
    EXPECT_TRUE(peer.waitForRequests(1));
    gate->callOnWorker([&] {
        request->cancel();
        thread->restartRequest(request);
        request->cancel();
    });
    EXPECT_TRUE(request->waitAsyncDone(longTime));
    EXPECT_THROW(request->checkAsyncResult(), CCURLError);
    EXPECT_EQ(peer.requests().size(), 1u) << "cancelled before it was sent again";
}

TEST_F(AsyncNetRequestThreadTest, ARestartIsForgottenWhenTheWorkerStops) {
    thread->start();
    P<CNetRequest> request = startEndless();
    request->addDependencyObject(new LastWords(record, "request"));
    gate->callOnWorker([&] {
        thread->restartRequest(request);
        thread->stop(false);
    });
    waitForEnd();
    thread->stop(true);
    EXPECT_FALSE(request->isAsyncDone());
    request = nullptr;
    EXPECT_THAT(record.texts(), ElementsAre("request"));
}

TEST_F(AsyncNetRequestThreadTest, ARemovalOnAThreadThatDoesNotRunIsNotWaitedFor) {
    const auto begin = std::chrono::steady_clock::now();
    const P<CNetRequest> request = makeRequest();
    for (int i = 0; i < 100; ++i) {
        EXPECT_FALSE(thread->removeRequest(request));
        EXPECT_FALSE(thread->removeRequest(nullptr));
    }
    thread->start();
    thread->stop(true);
    for (int i = 0; i < 100; ++i) {
        EXPECT_FALSE(thread->removeRequest(request));
        EXPECT_FALSE(thread->removeRequest(nullptr));
    }
    // Slices of 250 ms would take 100 s.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60));
}

TEST_F(AsyncNetRequestThreadTest, ARemovalAfterTheEndStaysQueued) {
    thread->start();
    thread->stop(true);
    EXPECT_FALSE(thread->removeRequest(makeMortal("request")));
    EXPECT_THAT(record.texts(), IsEmpty());
    thread = nullptr;
    EXPECT_THAT(record.texts(), ElementsAre("request"));
}

// ---- hooks and locks -------------------------------------------------------------------------------------

TEST_F(AsyncNetRequestThreadTest, HoldsNoLockWhileTheHandlerRuns) {
    CAsyncNetRequestManager* manager = nullptr;
    thread->onEvents = [&](CAsyncNetRequestManager& own) { manager = &own; };
    thread->start();
    const P<CNetRequest> running = startEndless();
    const P<CNetRequest> added = makeRequest();
    zet::CSignal isOver;
    gate->callOnWorker([&] {
        std::thread([&] { thread->addRequest(added); }).join();
        std::atomic<bool> hasReturned = false;
        std::thread remover([&] {
            EXPECT_TRUE(thread->removeRequest(running));
            hasReturned = true;
        });
        while (!hasReturned) {
            thread->processRemoveRequests(*manager);
            zet::threadYield(true);
        }
        remover.join();
        isOver.set();
    });
    peer.onConnection().expectRequest().reply(okReply);
    EXPECT_TRUE(isOver.wait(longTime));
    EXPECT_TRUE(added->waitAsyncDone(longTime));
    added->checkAsyncResult();
    thread->stop(true);
}

TEST_F(AsyncNetRequestThreadTest, AHookMayCollectTheRequestsThatHaveEnded) {
    class Collecting : public TestWorker {
    public:
        explicit Collecting(Record& record) : TestWorker(nullptr), m_record(record) {}
        ~Collecting() override { stop(true); }

    protected:
        void handleManagerEvents(CAsyncNetRequestManager& manager) override {
            vexil::TArray<P<CNetRequest>> finished;
            const int count = manager.handleEvents(&finished);
            EXPECT_EQ(static_cast<std::size_t>(count), finished.size());
            for (const P<CNetRequest>& request : finished) {
                EXPECT_TRUE(request->isAsyncDone());
                m_record.add(request->getURL().toUTF8());
            }
        }

    private:
        Record& m_record;
    };
    peer.setDefaultReply([](const RecordedRequest& request) {
        return request.requestLine() == "GET /a HTTP/1.1" ? okReply : missingReply;
    });
    const P<Collecting> collecting = new Collecting(record);
    collecting->addRequest(makeRequest("/a"));
    collecting->addRequest(makeRequest("/b"));
    collecting->start();
    EXPECT_TRUE(record.waitFor(2));
    EXPECT_THAT(record.texts(), UnorderedElementsAre(peer.url("/a"), peer.url("/b")));
}

// ---- stopping --------------------------------------------------------------------------------------------

TEST_F(AsyncNetRequestThreadTest, StopsWithTransfersRunning) {
    CAsyncNetRequestManager* manager = nullptr;
    thread->onEvents = [&](CAsyncNetRequestManager& own) { manager = &own; };
    thread->onExit = [&] { record.add("exit with " + std::to_string(manager->getRequestCount())); };
    thread->start();
    const P<TestListener> listener = new TestListener;
    const P<CNetRequest> first = startEndless();
    const P<CNetRequest> second = startEndless();
    first->addDependencyObject(new LastWords(record, "first"));
    gate->hold();
    first->setDoneListener(listener);
    second->setDoneListener(listener);
    gate->letGo();
    thread->stop(true);
    EXPECT_THAT(record.texts(), ElementsAre("exit with 2")) << "before they are taken off";
    EXPECT_FALSE(first->isAsyncDone());
    EXPECT_FALSE(second->isAsyncDone());
    EXPECT_EQ(listener->count, 0);
    EXPECT_THAT(log.lines(), IsEmpty());
    // They belong to their owner again.
    peer.setDefaultReply(okReply);
    first->perform();
    second->perform();
    EXPECT_EQ(bodyOf(*first), "ok");
    EXPECT_EQ(bodyOf(*second), "ok");
    EXPECT_EQ(listener->count, 2);
}

TEST_F(AsyncNetRequestThreadTest, LetsGoOfWhatRunsWhenItStops) {
    thread->start();
    startEndless()->addDependencyObject(new LastWords(record, "running"));
    EXPECT_THAT(record.texts(), IsEmpty());
    thread->stop(true);
    EXPECT_THAT(record.texts(), ElementsAre("running"));
}

TEST_F(AsyncNetRequestThreadTest, KeepsWhatItHasNotTakenOverWhenItStops) {
    thread->start();
    gate->hold();
    P<CNetRequest> waiting = makeRecorded("waiting");
    waiting->addDependencyObject(new LastWords(record, "gone"));
    thread->addRequest(waiting);
    thread->stop(false);
    gate->letGo();
    thread->stop(true);
    EXPECT_THAT(record.texts(), IsEmpty());
    EXPECT_FALSE(waiting->isAsyncDone());
    peer.setDefaultReply(okReply);
    waiting->perform();
    waiting = nullptr;
    EXPECT_THAT(record.texts(), ElementsAre("waiting"));
    thread = nullptr;
    EXPECT_THAT(record.texts(), ElementsAre("waiting", "gone"));
}

TEST_F(AsyncNetRequestThreadTest, TakesRequestsAfterItsEndAndLeavesThem) {
    thread->start();
    thread->stop(true);
    thread->addRequest(makeMortal("request"));
    EXPECT_THAT(record.texts(), IsEmpty());
    thread = nullptr;
    EXPECT_THAT(record.texts(), ElementsAre("request"));
}

TEST_F(AsyncNetRequestThreadTest, TheDestructorStopsIt) {
    P<CAsyncNetRequestThread> plain = makeWorker();
    plain->start();
    addEndlessAnswer();
    plain->addRequest(makeMortal("request"));
    EXPECT_TRUE(peer.waitForRequests(1, std::chrono::milliseconds(longTime)));
    plain = nullptr;
    EXPECT_THAT(record.texts(), ElementsAre("request"));
}

TEST_F(AsyncNetRequestThreadTest, LeavesNoRemovalAloneThatComesWithAStop) {
    for (int round = 0; round < 40; ++round) {
        const P<CAsyncNetRequestThread> plain = makeWorker();
        plain->start();
        const P<CNetRequest> request = makeRequest();
        std::thread remover([&] { EXPECT_FALSE(plain->removeRequest(request)); });
        plain->stop(true);
        remover.join();
    }
}

// ---- errors ----------------------------------------------------------------------------------------------

class AsyncNetRequestThreadErrorTest : public AsyncNetRequestThreadTest {
protected:
    AsyncNetRequestThreadErrorTest() {
        thread->onExit = [this] { record.add("exit"); };
    }

    template <class Error>
    void expectEndedBy(const std::string& message) {
        waitForEnd();
        const P<CError> error = thread->getError();
        ASSERT_NE(error.get(), nullptr);
        EXPECT_NE(error.dynamicCast<Error>().get(), nullptr) << "its type is kept";
        EXPECT_EQ(error->getMessage().toUTF8(), message);
        EXPECT_THAT(log.lines(), ElementsAre("E: An error has ended a thread. [" + message + "]"));
    }
    void expectEndedByRefusal() {
        waitForEnd();
        const P<CCURLError> error = thread->getError().dynamicCast<CCURLError>();
        ASSERT_NE(error.get(), nullptr);
        EXPECT_EQ(error->getDomain(), "curlm");
        EXPECT_EQ(error->getCode(), CURLM_ADDED_ALREADY);
        EXPECT_EQ(error->getResponseCode(), -1);
        EXPECT_THAT(log.lines(),
                    ElementsAre(std::string("E: An error has ended a thread. [") + error->what() + "]"));
    }
};

TEST_F(AsyncNetRequestThreadErrorTest, ARequestThatRunsAlreadyEndsIt) {
    thread->start();
    const P<CNetRequest> request = startEndless();
    thread->addRequest(request);
    expectEndedByRefusal();
    EXPECT_FALSE(request->isAsyncDone());
    EXPECT_THAT(record.texts(), IsEmpty()) << "no orderly end";
}

TEST_F(AsyncNetRequestThreadErrorTest, ARemovalAndAnAdditionOnTheWorkerEndIt) {
    thread->start();
    const P<CNetRequest> request = startEndless();
    gate->callOnWorker([&] {
        thread->removeRequest(request);
        thread->addRequest(request);
    });
    expectEndedByRefusal();
    EXPECT_FALSE(request->isAsyncDone());
}

TEST_F(AsyncNetRequestThreadErrorTest, ARequestThatAnotherManagerRunsEndsIt) {
    const P<CNetRequest> request = makeRequest();
    CAsyncNetRequestManager other;
    other.addRequest(request);
    thread->start();
    thread->addRequest(request);
    expectEndedByRefusal();
    EXPECT_FALSE(request->isAsyncDone());
    EXPECT_TRUE(other.removeRequest(request)) << "it stays where it was";
}

TEST_F(AsyncNetRequestThreadErrorTest, AHandOverThatFailsLeavesTheRequestInTheQueue) {
    gate->always = [this] { record.add("progress"); };
    const P<CNetRequest> first = makeRecorded("first");
    first->addDependencyObject(new LastWords(record, "first gone"));
    P<CNetRequest> poison = makePoison();
    poison->addDependencyObject(new LastWords(record, "poison gone"));
    P<CNetRequest> last = makeRecorded("last");
    last->addDependencyObject(new LastWords(record, "last gone"));
    for (const P<CNetRequest>& request : {first, poison, last}) {
        thread->addRequest(request);
    }
    last = nullptr;
    thread->start();
    expectEndedBy<OwnError>("cannot begin again");
    EXPECT_FALSE(poison->isAsyncDone());
    EXPECT_FALSE(first->isAsyncDone());
    poison = nullptr;
    EXPECT_THAT(record.texts(), ElementsAre("last", "last gone")) << "no events, no progress, no exit";
    thread = nullptr;
    EXPECT_THAT(record.texts(), ElementsAre("last", "last gone", "poison gone"))
        << "kept until then; the first one is its owner's";
}

TEST_F(AsyncNetRequestThreadErrorTest, ASourceThatCannotBeRewoundEndsIt) {
    const P<CNetRequest> request = makeRequest();
    const P<TestSource> source = new TestSource("abc");
    source->position = 2;
    source->onSeek = [](int64) { throw OwnError("cannot rewind"); };
    request->setSendDataSource(source);
    thread->start();
    thread->addRequest(request);
    expectEndedBy<OwnError>("cannot rewind");
}

TEST_F(AsyncNetRequestThreadErrorTest, ADoneListenerThatThrowsEndsIt) {
    peer.setDefaultReply(okReply);
    const P<CNetRequest> request = makeRequest();
    const P<TestListener> listener = new TestListener;
    listener->then = [] { throw OwnError("not my day"); };
    request->setDoneListener(listener);
    thread->start();
    thread->addRequest(request);
    expectEndedBy<OwnError>("not my day");
    EXPECT_TRUE(request->isAsyncDone()) << "it was told";
    EXPECT_THAT(record.texts(), IsEmpty());
}

TEST_F(AsyncNetRequestThreadErrorTest, AHandlerThatThrowsEndsIt) {
    gate->callOnWorker([] { throw std::runtime_error("no progress"); });
    thread->start();
    expectEndedBy<CError>("no progress");
    EXPECT_EQ(gate->passes(), 1);
    EXPECT_THAT(record.texts(), IsEmpty());
}

TEST_F(AsyncNetRequestThreadErrorTest, AHookThatThrowsEndsIt) {
    thread->onEvents = [](CAsyncNetRequestManager&) { throw 42; };
    thread->start();
    expectEndedBy<CError>("Unknown exception.");
    EXPECT_EQ(gate->passes(), 0);
    EXPECT_THAT(record.texts(), IsEmpty());
}

TEST_F(AsyncNetRequestThreadErrorTest, AnExitHookThatThrowsIsCalledOnce) {
    thread->onExit = [this] {
        record.add("exit");
        throw OwnError("no exit");
    };
    thread->start();
    thread->stop(true);
    expectEndedBy<OwnError>("no exit");
    EXPECT_THAT(record.texts(), ElementsAre("exit"));
}

TEST_F(AsyncNetRequestThreadErrorTest, TellsNobodyAndLetsGoOfWhatRuns) {
    thread->start();
    const P<TestListener> listener = new TestListener;
    P<CNetRequest> request = startEndless();
    gate->hold();
    request->setDoneListener(listener);
    request->addDependencyObject(new LastWords(record, "gone"));
    gate->callOnWorker([] { throw OwnError("disk full"); });
    gate->letGo();
    expectEndedBy<OwnError>("disk full");
    EXPECT_FALSE(request->isAsyncDone());
    EXPECT_EQ(listener->count, 0);
    request = nullptr;
    EXPECT_THAT(record.texts(), ElementsAre("gone"));
}

TEST_F(AsyncNetRequestThreadErrorTest, LeavesNobodyWaitingForARemoval) {
    for (int round = 0; round < 5; ++round) {
        const P<CNetRequest> running = makeRequest();
        const P<HookedThread> worker = new HookedThread(gate);
        worker->start();
        addEndlessAnswer();
        worker->addRequest(running);
        const auto count = static_cast<std::size_t>(round) + 1;
        EXPECT_TRUE(peer.waitForRequests(count, std::chrono::milliseconds(longTime)));
        gate->hold();
        std::atomic<int> waiting = 0;
        std::vector<std::thread> waiters;
        for (CNetRequest* const request :
             {running.get(), static_cast<CNetRequest*>(nullptr), running.get()}) {
            waiters.emplace_back([&worker, &waiting, request] {
                ++waiting;
                EXPECT_FALSE(worker->removeRequest(request));
            });
        }
        while (waiting < 3) {
            zet::threadYield(true);
        }
        if (round % 2 == 0) {
            worker->addRequest(makePoison());
        } else {
            gate->callOnWorker([] { throw OwnError("disk full"); });
        }
        gate->letGo();
        for (std::thread& waiter : waiters) {
            waiter.join();
        }
        EXPECT_FALSE(worker->isAlive());
        EXPECT_FALSE(worker->removeRequest(running));
        EXPECT_FALSE(running->isAsyncDone());
    }
}

TEST_F(AsyncNetRequestThreadErrorTest, IsNotStartedAgain) {
    gate->callOnWorker([] { throw OwnError("disk full"); });
    thread->start();
    expectEndedBy<OwnError>("disk full");
    EXPECT_TRUE(thrownBy<CError>([this] { thread->start(); }));
    thread->stop(true);
}

}  // namespace
