/// \file
/// Shared by the tests of CAsyncNetRequestThread: a worker that can be stopped at a pass, and counted
/// references.
#pragma once

#include "tests/async/TestEngine.h"
#include "tests/net/NetRequestTestSupport.h"
#include "tests/support/Deadline.h"
#include "tests/support/ScriptedPeer.h"
#include "vexil/async/AsyncNetRequestManager.h"
#include "vexil/async/AsyncNetRequestThread.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace vexil_test {

using vexil::CAsyncNetRequestManager;
using vexil::CAsyncNetRequestThread;

/// Milliseconds for events that must come, even on a busy machine.
constexpr int longTime = 60000;

inline const std::string okReply = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
inline const std::string missingReply = "HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\ngone";

/// Texts in the order in which any thread wrote them.
class Record {
public:
    void add(const std::string& text) {
        const std::lock_guard lock(m_mutex);
        m_texts.push_back(text);
        m_changed.notify_all();
    }
    std::vector<std::string> texts() const {
        const std::lock_guard lock(m_mutex);
        return m_texts;
    }
    /// True if there are that many within a long time.
    bool waitFor(std::size_t count) const {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::milliseconds(longTime),
                                  [&] { return m_texts.size() >= count; });
    }

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<std::string> m_texts;
};

/// Writes its name when the last reference to it is dropped.
class LastWords : public virtual vexil::CBase {
public:
    LastWords(Record& record, std::string name) : m_record(record), m_name(std::move(name)) {}
    ~LastWords() override { m_record.add(m_name); }

private:
    Record& m_record;
    const std::string m_name;
};

/// Counts the existing objects of its kind, on any thread.
class CountedAcrossThreads : public virtual vexil::CBase {
public:
    explicit CountedAcrossThreads(std::atomic<int>& alive) : m_alive(alive) { ++m_alive; }
    ~CountedAcrossThreads() override { --m_alive; }

private:
    std::atomic<int>& m_alive;
};

/// A sink that records when its request is handed to libcurl: it restarts then.
class HandOverSink : public virtual vexil::CBase, public CNetRequest::IRestartableDataSink {
public:
    explicit HandOverSink(std::function<void()> onHandOver) : m_onHandOver(std::move(onHandOver)) {}
    void restart() override { m_onHandOver(); }
    void write(const void*, int, int, const HeaderMap&) override {}

private:
    const std::function<void()> m_onHandOver;
};

/// A progress handler that can hold the worker and counts its passes.
class PassGate : public virtual vexil::CBase, public CAsyncNetRequestThread::IProgressHandler {
public:
    void onProgress() override {
        std::function<void()> call;
        {
            std::unique_lock lock(m_mutex);
            ++m_passes;
            m_isInside = true;
            m_changed.notify_all();
            m_changed.wait(lock, [this] { return !m_isShut; });
            m_isInside = false;
            call = std::exchange(m_next, {});
        }
        if (call) {
            call();
        }
        if (always) {
            always();
        }
    }

    /// After it returns the worker is in onProgress().
    void hold() {
        std::unique_lock lock(m_mutex);
        m_isShut = true;
        EXPECT_TRUE(
            m_changed.wait_for(lock, std::chrono::milliseconds(longTime), [this] { return m_isInside; }));
    }
    void letGo() {
        const std::lock_guard lock(m_mutex);
        m_isShut = false;
        m_changed.notify_all();
    }
    /// Called once on the worker, at the end of this pass if it is held, otherwise of the next.
    void callOnWorker(std::function<void()> call) {
        const std::lock_guard lock(m_mutex);
        m_next = std::move(call);
    }
    /// Waits for this many further ends of passes.
    void waitForPasses(int count) {
        std::unique_lock lock(m_mutex);
        const int target = m_passes + count;
        EXPECT_TRUE(m_changed.wait_for(lock, std::chrono::milliseconds(longTime),
                                       [&] { return m_passes >= target; }));
    }
    int passes() const {
        const std::lock_guard lock(m_mutex);
        return m_passes;
    }

    /// Called on the worker at the end of each pass. Set before the start.
    std::function<void()> always;

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::function<void()> m_next;
    bool m_isShut = false;
    bool m_isInside = false;
    int m_passes = 0;
};

/// A thread whose hooks are functions. Set before the start.
class HookedThread : public TestWorker {
public:
    explicit HookedThread(IProgressHandler* handler) : TestWorker(handler) {}
    ~HookedThread() override { stop(true); }
    using CAsyncNetRequestThread::processRemoveRequests;

    bool checkContinue() override {
        if (onCheck) {
            onCheck();
        }
        return CAsyncNetRequestThread::checkContinue();
    }

    std::function<void()> onCheck;
    std::function<void(CAsyncNetRequestManager&)> onEvents;
    std::function<void()> onExit;

protected:
    void onThreadExit() override {
        if (onExit) {
            onExit();
        }
    }
    void handleManagerEvents(CAsyncNetRequestManager& manager) override {
        CAsyncNetRequestThread::handleManagerEvents(manager);
        if (onEvents) {
            onEvents(manager);
        }
    }
};

/// A worker, not started yet, and a server.
class AsyncNetRequestThreadTest : public testing::Test {
protected:
    ~AsyncNetRequestThreadTest() override {
        gate->letGo();
        thread = nullptr;
        EXPECT_TRUE(peer.waitUntilIdle());
        EXPECT_THAT(peer.failures(), testing::IsEmpty());
    }

    P<CNetRequest> makeRequest(const std::string& path = "/a") const {
        const P<CNetRequest> request = new CNetRequest;
        prepare(*request, path);
        return request;
    }
    void prepare(CNetRequest& request, const std::string& path = "/a") const {
        request.setProxy("");
        request.setURL(String::fromUTF8(peer.url(path)));
    }
    /// A request whose hand-over is recorded.
    P<CNetRequest> makeRecorded(const std::string& name) {
        const P<CNetRequest> request = makeRequest("/" + name);
        request->setReceiveDataSink(new HandOverSink([this, name] { record.add(name); }));
        return request;
    }
    /// A request whose hand-over fails.
    P<CNetRequest> makePoison() const {
        const P<CNetRequest> request = makeRequest("/poison");
        request->setReceiveDataSink(new HandOverSink([] { throw OwnError("cannot begin again"); }));
        return request;
    }
    /// A request that records when its last reference is dropped.
    P<CNetRequest> makeMortal(const std::string& name) {
        const P<CNetRequest> request = makeRequest("/" + name);
        request->addDependencyObject(new LastWords(record, name));
        return request;
    }

    /// A running transfer that does not end.
    P<CNetRequest> startEndless(const std::string& path = "/endless") {
        const P<CNetRequest> request = makeRequest(path);
        const std::size_t before = peer.requests().size();
        addEndlessAnswer();
        thread->addRequest(request);
        EXPECT_TRUE(peer.waitForRequests(before + 1, std::chrono::milliseconds(longTime)));
        return request;
    }
    /// Records each call.
    P<TestListener> makeCounter() {
        class Counter : public TestListener {
        public:
            explicit Counter(Record& record) : m_record(record) {}
            void onDone(CNetRequest* request, CError* error) override {
                m_record.add("told");
                TestListener::onDone(request, error);
            }

        private:
            Record& m_record;
        };
        return new Counter(record);
    }
    void addEndlessAnswer() { peer.onConnection().clientMayLeave().expectRequest().waitForClose(); }

    void waitForEnd() const {
        while (thread->isAlive()) {
            zet::threadYield(true);
        }
    }

    /// Runs a request to its end.
    void run(const P<CNetRequest>& request) {
        thread->addRequest(request);
        EXPECT_TRUE(request->waitAsyncDone(longTime));
    }

    const Deadline deadline{"a removal on the worker is not waited for, nor one of a worker that has ended"};
    ScriptedPeer peer;
    LogCapture log;
    Record record;
    P<PassGate> gate = new PassGate;
    P<HookedThread> thread = new HookedThread(gate);
};

}  // namespace vexil_test
