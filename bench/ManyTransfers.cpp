#include "bench/ManyTransfers.h"

#include "vexil/async/AsyncNetRequestManager.h"
#include "vexil/async/AsyncNetRequestThread.h"
#include "vexil/async/FunctionTransferJob.h"
#include "vexil/async/TransferPolicy.h"
#include "vexil/async/TransferQueue.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/RateLimit.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>
#include <unistd.h>
#include <vector>

namespace bench {

namespace {

using vexil::AsyncEngine;
using vexil::CAsyncNetRequestManager;
using vexil::CAsyncNetRequestThread;
using vexil::CNetRequest;
using vexil::String;
using zet::P;

using Requests = std::vector<P<CNetRequest>>;

Requests makeRequests(const std::string& url, int count) {
    const String address = String::fromUTF8(url);
    Requests requests;
    requests.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        requests.push_back(new CNetRequest);
        requests.back()->setURL(address);
    }
    return requests;
}

/// Requests that wait for responses that never come.
Requests makeIdleRequests(const std::string& url, int count) {
    Requests requests = makeRequests(neverAnswered(url), count);
    for (const P<CNetRequest>& request : requests) {
        request->setLowSpeedLimit(0, zet::CTimeSpan::fromSeconds(0));
    }
    return requests;
}

/// Runs the manager until only the idle transfers are left.
void runUntilLeft(CAsyncNetRequestManager& manager, int idleTransfers) {
    while (manager.getRequestCount() > idleTransfers) {
        manager.waitForEvents(-1);
        manager.handleEvents(nullptr);
    }
    require(manager.getRequestCount() == idleTransfers, "an idle transfer has ended");
}

void getOne(CAsyncNetRequestManager& manager, CNetRequest* request) {
    const int others = manager.getRequestCount();
    manager.addRequest(request);
    runUntilLeft(manager, others);
    request->checkAsyncResult();
}

bool isConnected(const P<CNetRequest>& request) {
    return request->getInfoDouble(CURLINFO_PRETRANSFER_TIME) > 0;
}

/// Adds idle transfers and waits until they have sent their requests.
/// \param request  runs meanwhile
Requests addIdle(CAsyncNetRequestManager& manager, CNetRequest* request, const std::string& url, int count) {
    Requests idle = makeIdleRequests(url, count);
    for (const P<CNetRequest>& other : idle) {
        manager.addRequest(other);
    }
    for (int i = 0; i < warmUpRequests || !std::all_of(idle.begin(), idle.end(), isConnected); ++i) {
        getOne(manager, request);
    }
    return idle;
}

/// Small requests one after the other while others wait for responses that never come.
void getBesideIdle(AsyncEngine engine, int idleTransfers, const std::string& url, int count) {
    CAsyncNetRequestManager manager;
    manager.setEngine(engine);
    const P<CNetRequest> request = makeRequests(url, 1).front();
    const Requests idle = addIdle(manager, request, url, idleTransfers);
    const Counted counted;
    for (int i = 0; i < count; ++i) {
        getOne(manager, request);
    }
}

void runAll(CAsyncNetRequestManager& manager, const Requests& requests) {
    for (const P<CNetRequest>& request : requests) {
        manager.addRequest(request);
    }
    runUntilLeft(manager, 0);
    for (const P<CNetRequest>& request : requests) {
        request->checkAsyncResult();
    }
}

/// Small requests all at once, again and again. The first round makes their connections.
void getAllAtOnce(AsyncEngine engine, int transfers, const std::string& url, int rounds) {
    CAsyncNetRequestManager manager;
    manager.setEngine(engine);
    const Requests requests = makeRequests(url, transfers);
    runAll(manager, requests);
    const Counted counted;
    for (int i = 0; i < rounds; ++i) {
        runAll(manager, requests);
    }
}

void runJobs(vexil::CTransferQueue& queue, const String& address, int count) {
    int done = 0;
    for (int i = 0; i < count; ++i) {
        queue.add(vexil::makeTransferJob([&](CNetRequest& request) { request.setURL(address); },
                                         [&done](CNetRequest&) { ++done; },
                                         [](const zet::CError& error) { error.throwClone(); }));
    }
    queue.finish();
    require(done == count, "a job has not ended");
}

/// Small requests as jobs of a queue with so many slots. The first jobs make the connections.
void getByQueue(int slots, const std::string& url, int count) {
    vexil::CTransferQueue queue(new vexil::CTransferPolicy, slots);
    const String address = String::fromUTF8(url);
    runJobs(queue, address, 2 * slots);
    const Counted counted;
    runJobs(queue, address, count);
}

/// Ten objects of 4 KiB at once under one rate limit, again and again, while others wait for responses.
void getLimitedBesideIdle(int idleTransfers, const std::string& url, int rounds) {
    CAsyncNetRequestManager manager;
    manager.setEngine(AsyncEngine::Sockets);
    const P<CNetRequest> first = makeRequests(url, 1).front();
    const Requests idle = addIdle(manager, first, url, idleTransfers);
    const P<vexil::CRateLimit> limit = new vexil::CRateLimit;
    limit->setDownloadRate(80 * 1024);
    const Requests requests = makeRequests(url.substr(0, url.rfind('/')) + "/bucket/object", 10);
    for (const P<CNetRequest>& request : requests) {
        vexil::setRateLimit(*request, limit);
    }
    const Counted counted;
    for (int i = 0; i < rounds; ++i) {
        for (const P<CNetRequest>& request : requests) {
            manager.addRequest(request);
        }
        runUntilLeft(manager, idleTransfers);
    }
}

/// One after the other through the worker thread.
void getByThread(CAsyncNetRequestThread& thread, const std::string& url, int count) {
    const Requests request = makeRequests(url, 1);
    for (int i = 0; i < count; ++i) {
        // Otherwise the done signal would be that of the previous transfer until the worker takes the request
        // over.
        request.front()->setAsyncInfo(false, CURLE_OK);
        thread.addRequest(request.front());
        require(request.front()->waitAsyncDone(60000), "the request does not end");
        request.front()->checkAsyncResult();
    }
}

void getByNewThread(const std::string& url, int count) {
    const P<CAsyncNetRequestThread> thread = new CAsyncNetRequestThread(nullptr);
    thread->start();
    getByThread(*thread, url, count);
}

void removeOneByOne(int left, const std::string& url, int count) {
    const P<CAsyncNetRequestThread> thread = new CAsyncNetRequestThread(nullptr);
    thread->start();
    const Requests requests = makeIdleRequests(url, left + count);
    for (const P<CNetRequest>& request : requests) {
        thread->addRequest(request);
    }
    getByThread(*thread, url, 10 * warmUpRequests);  // until they have their connections
    const auto start = std::chrono::steady_clock::now();
    {
        const Counted counted;
        for (int i = 0; i < count; ++i) {
            require(thread->removeRequest(requests[static_cast<std::size_t>(i)]), "a request does not run");
        }
    }
    const std::chrono::duration<double, std::micro> elapsed = std::chrono::steady_clock::now() - start;
    std::cout << "microseconds=" << elapsed.count() / count << '\n';
}

/// How often the threads of this process besides the first were woken.
int countWakeUps() {
    int wakeUps = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        if (task.path().filename() != std::to_string(getpid())) {
            wakeUps += readStatus(task.path() / "status", "voluntary_ctxt_switches:");
        }
    }
    return wakeUps;
}

/// A worker without requests. It has a kept connection.
void idleWorker(const std::string& url, int seconds) {
    const P<CAsyncNetRequestThread> thread = new CAsyncNetRequestThread(nullptr);
    thread->start();
    getByThread(*thread, url, 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const int before = countWakeUps();
    require(before > 0, "the worker is not seen");
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    std::cout << "wake_ups=" << countWakeUps() - before << '\n';
}

void measureHeap(const std::string& url, int count) {
    CNetRequest first;
    first.setURL(String::fromUTF8(url));
    first.perform();  // allocates the memory that libcurl shares between all handles
    const std::size_t before = heapInUse();
    const Requests requests = makeRequests(url, count);
    const std::size_t configured = heapInUse();
    for (const P<CNetRequest>& request : requests) {
        request->perform();
    }
    const std::size_t connected = heapInUse();
    std::cout << "heap_configured=" << (configured - before) / requests.size()
              << "\nheap_connected=" << (connected - before) / requests.size() << '\n';
}

/// While the requests wait for their responses.
void measureActiveHeap(const std::string& url, int count) {
    CAsyncNetRequestManager manager;
    const P<CNetRequest> request = makeRequests(url, 1).front();
    getOne(manager, request);
    const std::size_t before = heapInUse();
    const Requests idle = addIdle(manager, request, url, count);
    std::cout << "heap_active=" << (heapInUse() - before) / idle.size() << '\n';
}

}  // namespace

std::map<std::string, Workload> makeManyTransferWorkloads() {
    std::map<std::string, Workload> workloads{{"get-thread", getByNewThread},
                                              {"idle-worker", idleWorker},
                                              {"heap", measureHeap},
                                              {"heap-active", measureActiveHeap}};
    const auto addForEach = [&](const std::string& name, auto workload, auto kind, int ownTransfers,
                                std::initializer_list<int> counts) {
        for (const int transfers : counts) {
            workloads[name + std::to_string(transfers)] = [=](const std::string& url, int count) {
                workload(kind, transfers - ownTransfers, url, count);
            };
        }
    };
    addForEach("multi-", getBesideIdle, AsyncEngine::Automatic, 1, {1, 100, 901});
    addForEach("multi-epoll-", getBesideIdle, AsyncEngine::Sockets, 1, {1, 100, 901, 10001});
    addForEach("all-", getAllAtOnce, AsyncEngine::Automatic, 0, {100, 2000});
    addForEach("all-epoll-", getAllAtOnce, AsyncEngine::Sockets, 0, {100, 2000});
    for (const int slots : {8, 100, 1000}) {
        workloads["queue-" + std::to_string(slots)] = [slots](const std::string& url, int count) {
            getByQueue(slots, url, count);
        };
    }
    for (const int transfers : {10, 2000}) {
        workloads["limited-of-" + std::to_string(transfers)] = [transfers](const std::string& url,
                                                                           int rounds) {
            getLimitedBesideIdle(transfers - 10, url, rounds);
        };
    }
    for (const int left : {10, 4000}) {
        workloads["remove-" + std::to_string(left)] = [left](const std::string& url, int count) {
            removeOneByOne(left, url, count);
        };
    }
    return workloads;
}

}  // namespace bench
