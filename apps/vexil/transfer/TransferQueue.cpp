#include "apps/vexil/transfer/TransferQueue.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/session/Session.h"
#include "apps/vexil/session/TransferMonitor.h"
#include "zet/Log.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

namespace vexil::app {

namespace {

using Clock = std::chrono::steady_clock;

// Upper bound of a wait: neither a signal handler nor a dying worker can wake this thread.
constexpr std::chrono::milliseconds maxWait(100);

/// The error of a transfer; null for none.
P<CError> findTransferError(ITransferPolicy& policy, CNetRequest& request) {
    try {
        policy.checkResult(request);
        return nullptr;
    } catch (...) {
        return zet::currentExceptionToError();
    }
}

/// Removes the parts of a job from its request after the transfer has ended.
void detach(CNetRequest& request) {
    releaseStreams(request);
    CTransferMonitor::of(request).setFile(nullptr);
}

}  // namespace

/// A request and its job.
class CTransferQueue::CSlot {
public:
    explicit CSlot(const P<CNetRequest>& toPerform) : request(toPerform) {}

    const P<CNetRequest> request;
    std::unique_ptr<ITransferJob> job;  // null while the slot is free
    CPatience::Failures failures;
    std::optional<Clock::time_point> nextTry;  // set in the pause between two tries
    bool isUnderWay = false;                   // from handing it over until its end is handled
};

CTransferQueue::CTransferQueue(CSession& session, ITransferPolicy& policy, int count)
    : m_session(session), m_policy(policy), m_count(count) {
    startWorker();
}

void CTransferQueue::startWorker() {
    m_worker = new CTransferThread;
    m_worker->start();
}

CTransferQueue::~CTransferQueue() {
    // First member, because it reads and writes the files of the jobs.
    m_worker = nullptr;
    tellGivenUp();
}

void CTransferQueue::tellGivenUp() noexcept {
    try {
        for (const auto& slot : m_slots) {
            if (slot->isUnderWay) {
                m_session.getSetup().tellGivenUp(*slot->request);
            }
        }
    } catch (const std::exception& error) {
        zet::onExceptionInDestructorIgnored("vexil::app::CTransferQueue", &error);
    }
}

void CTransferQueue::start(std::unique_ptr<ITransferJob> job) {
    m_waitingJobs.push_back({std::move(job), {}});
    beginWaitingJobs();
    while (getUnfinishedCount() >= m_count) {
        waitForEnds();
    }
}

void CTransferQueue::finish() {
    while (getUnfinishedCount() > 0) {
        waitForEnds();
    }
}

int CTransferQueue::getUnfinishedCount() const noexcept {
    return m_running + static_cast<int>(m_waitingJobs.size());
}

CTransferQueue::CSlot& CTransferQueue::takeSlot() {
    if (m_freeSlots.empty()) {
        m_freeSlots.reserve(m_slots.size() + 1);
        const P<CNetRequest> request = m_onlyRequest ? m_onlyRequest : P<CNetRequest>(new CNetRequest);
        m_freeSlots.push_back(m_slots.emplace_back(std::make_unique<CSlot>(request)).get());
    }
    CSlot& slot = *m_freeSlots.back();
    m_freeSlots.pop_back();
    ++m_running;
    return slot;
}

void CTransferQueue::releaseSlot(CSlot& slot) {
    detach(*slot.request);
    slot.job = nullptr;
    m_freeSlots.push_back(&slot);
    --m_running;
}

CTransferQueue::CSlot& CTransferQueue::findSlot(const CNetRequest* request) const {
    return **std::find_if(m_slots.begin(), m_slots.end(),
                          [request](const auto& slot) { return slot->request == request; });
}

void CTransferQueue::beginWaitingJobs() {
    while (!m_waitingJobs.empty() && m_running < m_count) {
        CSlot& slot = takeSlot();
        slot.job = std::move(m_waitingJobs.front().job);
        slot.failures = m_waitingJobs.front().failures;
        m_waitingJobs.pop_front();
        begin(slot);
    }
}

void CTransferQueue::begin(CSlot& slot) {
    if (prepare(slot)) {
        handOver(slot);
    }
}

bool CTransferQueue::prepare(CSlot& slot) {
    try {
        ITransfer& transfer = slot.job->getTransfer();
        CTransferMonitor::of(*slot.request).setFile(slot.job->getProgress());
        transfer.prepare(*slot.request);
    } catch (...) {
        fail(slot, *zet::currentExceptionToError());
        return false;
    }
    return true;
}

void CTransferQueue::handOver(CSlot& slot) {
    try {
        // The worker prints nothing: a blocked terminal or pipe would stop all transfers.
        slot.request->setDoneListener(nullptr);
        // The worker rewinds as well, but a source or sink that cannot go back would end the worker.
        slot.request->resetForPerform();
        slot.isUnderWay = true;
        if (m_onlyRequest) {
            m_policy.performHere(*slot.request);
            m_finishedHere.push_back(slot.request);
        } else {
            m_worker->addRequest(slot.request);
        }
    } catch (...) {
        slot.isUnderWay = false;
        handleFailedTry(slot, *zet::currentExceptionToError());
    }
}

void CTransferQueue::handOverDueSlots() {
    const auto now = Clock::now();
    for (const auto& slot : m_slots) {
        if (slot->nextTry && *slot->nextTry <= now) {
            slot->nextTry.reset();
            if (prepare(*slot)) {
                handOver(*slot);
            }
        }
    }
}

void CTransferQueue::handleEnd(CSlot& slot) {
    if (const P<CError> error = findTransferError(m_policy, *slot.request)) {
        if (isBeyondConnections(slot, *error)) {
            giveUpSlot(slot);
        } else if (canGoOnOverOne(slot, *error)) {
            goOnOverOne(slot);
        } else {
            handleFailedTry(slot, *error);
        }
        return;
    }
    try {
        slot.job->getTransfer().checkAnswer(*slot.request);
    } catch (...) {
        handleFailedTry(slot, *zet::currentExceptionToError());
        return;
    }
    if (!slot.job->getTransfer().isComplete()) {
        begin(slot);
        return;
    }
    try {
        slot.job->onSuccess();
    } catch (...) {
        fail(slot, *zet::currentExceptionToError());
        return;
    }
    releaseSlot(slot);
}

void CTransferQueue::handleFailedTry(CSlot& slot, const CError& error) {
    std::optional<std::chrono::milliseconds> pause;
    try {
        pause = decidePause(slot, error);
    } catch (...) {
        fail(slot, *zet::currentExceptionToError());
        return;
    }
    if (pause) {
        slot.nextTry = Clock::now() + *pause;
    } else {
        fallBackOrFail(slot, error);
    }
}

// Ask the job first: it may continue with the bytes that it has, and the next try must know that.
std::optional<std::chrono::milliseconds> CTransferQueue::decidePause(CSlot& slot, const CError& error) {
    const bool beginsAgain =
        m_policy.mayTryAgain(slot.failures) && slot.job->getTransfer().canBeginAnew(*slot.request, error);
    return beginsAgain ? m_policy.decidePause(*slot.request, error, slot.failures)
                       : m_policy.decideRetry(*slot.request, error, slot.failures);
}

bool CTransferQueue::isBeyondConnections(const CSlot& slot, const CError& error) const {
    return m_slots.size() > 1 && m_policy.isRefusedConnection(*slot.request, error);
}

// Existing connections stay with their requests: the job waits for one of them.
void CTransferQueue::giveUpSlot(CSlot& slot) {
    m_waitingJobs.push_front({std::move(slot.job), slot.failures});
    --m_running;
    m_slots.erase(std::find_if(m_slots.begin(), m_slots.end(),
                               [&slot](const auto& other) { return other.get() == &slot; }));
    m_count = static_cast<int>(m_slots.size());
    m_session.getConsole().message(Verbosity::Info,
                                   "vexil: the server accepts no further connection; continuing with " +
                                       formatNumberOf(m_count, "transfer") + " at once.");
}

bool CTransferQueue::canGoOnOverOne(const CSlot& slot, const CError& error) const {
    return !m_onlyRequest && m_policy.getOwnRequest() && m_policy.isRefusedConnection(*slot.request, error);
}

void CTransferQueue::goOnOverOne(CSlot& slot) {
    m_waitingJobs.push_front({std::move(slot.job), slot.failures});
    m_onlyRequest = m_policy.getOwnRequest();
    m_running = 0;
    m_count = 1;
    m_freeSlots.clear();
    m_slots.clear();
    // It may keep connections that the server counts.
    startWorker();
    m_session.getConsole().message(
        Verbosity::Info, "vexil: the server accepts no further connection; continuing over one connection.");
}

void CTransferQueue::fallBackOrFail(CSlot& slot, const CError& error) {
    bool fallsBack = false;
    try {
        fallsBack = slot.job->getTransfer().canFallBack(*slot.request, error);
    } catch (...) {
        fail(slot, *zet::currentExceptionToError());
        return;
    }
    if (fallsBack) {
        begin(slot);
    } else {
        fail(slot, error);
    }
}

void CTransferQueue::fail(CSlot& slot, const CError& error) {
    detach(*slot.request);
    try {
        slot.job->onFailure(error);
    } catch (...) {
        m_session.setFailedRequest(slot.request);
        throw;
    }
    releaseSlot(slot);
}

void CTransferQueue::waitForEnds() {
    handOverDueSlots();
    const TArray<P<CNetRequest>> finished = takeFinished();
    // Before the results are examined, because an interrupt makes transfers fail.
    CInterrupt::throwIfRequested();
    for (const P<CNetRequest>& request : finished) {
        CSlot& slot = findSlot(request);
        slot.isUnderWay = false;
        m_session.getSetup().tellWire(*request);
        handleEnd(slot);
    }
    showProgress();
    if (finished.empty()) {
        checkWorker();
    }
    beginWaitingJobs();
}

TArray<P<CNetRequest>> CTransferQueue::takeFinished() {
    return m_finishedHere.empty() ? m_worker->takeFinished(getWaitTime()) : std::exchange(m_finishedHere, {});
}

void CTransferQueue::showProgress() const {
    for (const auto& slot : m_slots) {
        CTransferMonitor::of(*slot->request).report();
    }
}

int CTransferQueue::getWaitTime() const {
    auto wait = maxWait;
    const auto now = Clock::now();
    for (const auto& slot : m_slots) {
        if (slot->nextTry) {
            wait = std::min(wait, std::chrono::ceil<std::chrono::milliseconds>(*slot->nextTry - now));
        }
    }
    return std::max(0, static_cast<int>(wait.count()));
}

void CTransferQueue::checkWorker() const {
    if (m_worker->isAlive()) {
        return;
    }
    if (const P<CError> error = m_worker->getError()) {
        error->throwClone();
    }
    throw CError("The thread of the transfers has ended.");
}

}  // namespace vexil::app
