#include "vexil/async/TransferQueue.h"

#include "vexil/async/TransferThread.h"
#include "vexil/net/TryWatch.h"
#include "zet/Log.h"
#include "zet/Signal.h"

#include <algorithm>
#include <utility>

namespace vexil {

namespace {

// Forces the constant into the DLL: on Windows, code that binds a reference to it imports it from there.
[[gnu::used]] const int* const neededConstant = &CTransferQueue::defaultCount;

using Clock = std::chrono::steady_clock;

// Upper bound of a wait: neither a cancel token nor a signal handler nor a dying worker can wake this thread.
constexpr std::chrono::milliseconds maxWait(100);
// Shorter than ITransferObserver::onProgress() promises, because a wait comes between two calls.
constexpr std::chrono::milliseconds progressInterval(50);

/// The error of a transfer; null for none.
P<CError> findTransferError(ITransferPolicy& policy, CNetRequest& request) {
    try {
        policy.checkResult(request);
        return nullptr;
    } catch (...) {
        return zet::currentExceptionToError();
    }
}

/// Takes its request from a job, so that the request does not keep files open.
void detach(ITransferJob& job, CNetRequest& request) {
    request.setSendDataSource(nullptr);
    request.setDefaultReceiveDataStream();
    job.onDetach(request);
}

/// For a queue without an observer.
class CNoObserver final : public virtual CBase, public ITransferObserver {};

}  // namespace

/// A request and its job.
class CTransferQueue::CSlot {
public:
    explicit CSlot(const P<CNetRequest>& toPerform) : request(toPerform) {}

    const P<CNetRequest> request;
    P<ITransferJob> job;  // null while the slot is free
    int priority = 0;
    CRetryPolicy::Failures failures;
    std::shared_ptr<CTryWatch> watch;  // null if nobody wants to know the tries
    bool hasToldTries = false;
    Clock::time_point nextTry;  // in the pause between two tries
    bool isUnderWay = false;    // from handing it over until its end is handled
};

CTransferQueue::CTransferQueue(ITransferPolicy* policy, int count, ITransferObserver* observer)
    : m_policy(policy), m_observer(observer ? P<ITransferObserver>(observer) : make<CNoObserver>()),
      m_count(count), m_hasNews(make<zet::CSignal>()) {
    constexpr char function[] = "CTransferQueue::CTransferQueue";
    if (!policy) {
        throw CInvalidArgError(function, "policy must not be null");
    }
    if (count < 1) {
        throw CInvalidArgError(function, "count must be at least 1");
    }
    startWorker();
}

void CTransferQueue::startWorker() {
    m_worker = new CTransferThread(m_hasNews);
    m_worker->setPauseToken(m_pauseToken);
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
                m_observer->onGivenUp(*slot->request);
            }
        }
    } catch (const std::exception& error) {
        zet::onExceptionInDestructorIgnored("vexil::CTransferQueue", &error);
    } catch (...) {
        zet::onExceptionInDestructorIgnored("vexil::CTransferQueue", nullptr);
    }
}

void CTransferQueue::setCancelToken(CCancelToken* token) {
    m_token = token;
}

void CTransferQueue::setPauseToken(CPauseToken* token) {
    m_pauseToken = token;
    m_worker->setPauseToken(token);
}

void CTransferQueue::setRateLimit(CRateLimit* limit) {
    m_rateLimit = limit;
}

void CTransferQueue::start(P<ITransferJob> job) {
    enqueue("CTransferQueue::start", std::move(job), 0);
    while (getUnfinishedCount() >= m_count) {
        waitForEnds();
    }
}

void CTransferQueue::add(P<ITransferJob> job, int priority) {
    enqueue("CTransferQueue::add", std::move(job), priority);
}

void CTransferQueue::enqueue(const char* place, P<ITransferJob> job, int priority) {
    if (!job) {
        throw CInvalidArgError(place, "job must not be null");
    }
    if (m_token) {
        m_token->throwIfCancelled();
    }
    // After those with the same priority.
    m_waitingJobs.emplace(priority, CWaitingJob{std::move(job), {}, makeWatch()});
    beginWaitingJobs();
}

void CTransferQueue::finishOne() {
    const int unfinished = getUnfinishedCount();
    while (unfinished > 0 && getUnfinishedCount() >= unfinished && !m_isWoken.exchange(false)) {
        waitForEnds();
    }
}

void CTransferQueue::wake() {
    m_isWoken = true;
    m_hasNews->set();
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
        addSlot();
    }
    CSlot& slot = *m_freeSlots.back();
    m_freeSlots.pop_back();
    ++m_running;
    return slot;
}

void CTransferQueue::addSlot() {
    // First what may fail: no function that puts a slot into a list needs memory.
    if (m_slots.size() == m_slots.capacity()) {
        m_slots.reserve(2 * m_slots.size() + 1);
    }
    m_freeSlots.reserve(m_slots.capacity());
    m_pausingSlots.reserve(m_slots.capacity());
    const P<CNetRequest> request = m_onlyRequest ? m_onlyRequest : make<CNetRequest>();
    if (!m_onlyRequest) {
        request->setCancelToken(m_token);
        vexil::setRateLimit(*request, m_rateLimit);
    }
    auto slot = std::make_unique<CSlot>(request);
    m_slotOf[request.get()] = slot.get();
    m_freeSlots.push_back(slot.get());
    m_slots.push_back(std::move(slot));
}

void CTransferQueue::releaseSlot(CSlot& slot) {
    detach(*slot.job, *slot.request);
    freeSlot(slot);
}

void CTransferQueue::freeSlot(CSlot& slot) {
    slot.job = nullptr;
    m_freeSlots.push_back(&slot);
    --m_running;
}

void CTransferQueue::beginWaitingJobs() {
    while (!m_waitingJobs.empty() && m_running < m_count && !isPaused()) {
        CSlot& slot = takeSlot();
        const auto first = m_waitingJobs.begin();
        slot.priority = first->first;
        slot.job = std::move(first->second.job);
        slot.failures = first->second.failures;
        slot.watch = std::move(first->second.watch);
        slot.hasToldTries = false;
        m_waitingJobs.erase(first);
        slot.request->reset();
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
        slot.job->onAttach(*slot.request);
        transfer.prepare(*slot.request);
    } catch (...) {
        fail(slot, *zet::currentExceptionToError());
        return false;
    }
    return true;
}

void CTransferQueue::handOver(CSlot& slot) {
    m_observer->onStart(*slot.request);
    if (slot.watch) {
        slot.watch->begin();
    }
    try {
        // The worker rewinds as well, but a source or sink that cannot go back would end the worker.
        slot.request->resetForPerform();
        slot.isUnderWay = true;
        if (m_onlyRequest) {
            m_policy->performHere(*slot.request);
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
    if (isPaused()) {
        return;
    }
    const auto now = Clock::now();
    // A slot may come back, with a later time.
    while (!m_pausingSlots.empty() && m_pausingSlots.front()->nextTry <= now) {
        std::pop_heap(m_pausingSlots.begin(), m_pausingSlots.end(), isLaterTry);
        CSlot& slot = *m_pausingSlots.back();
        m_pausingSlots.pop_back();
        if (prepare(slot)) {
            handOver(slot);
        }
    }
}

bool CTransferQueue::isLaterTry(const CSlot* first, const CSlot* second) noexcept {
    return first->nextTry > second->nextTry;
}

void CTransferQueue::handleEnd(CSlot& slot) {
    if (const P<CError> error = findTransferError(*m_policy, *slot.request)) {
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
        slot.job->getTransfer().checkResponse(*slot.request);
    } catch (...) {
        handleFailedTry(slot, *zet::currentExceptionToError());
        return;
    }
    if (slot.watch) {
        slot.watch->end(*slot.request, nullptr);
    }
    if (!slot.job->getTransfer().isComplete()) {
        begin(slot);
        return;
    }
    tellTries(slot);
    try {
        slot.job->onSuccess(*slot.request);
    } catch (...) {
        fail(slot, *zet::currentExceptionToError());
        return;
    }
    releaseSlot(slot);
}

void CTransferQueue::handleFailedTry(CSlot& slot, const CError& error) {
    if (slot.watch) {
        slot.watch->end(*slot.request, &error);
    }
    std::optional<std::chrono::milliseconds> pause;
    try {
        pause = decidePause(slot, error);
    } catch (...) {
        fail(slot, *zet::currentExceptionToError());
        return;
    }
    if (pause) {
        if (slot.watch) {
            slot.watch->onRetry(*pause);
        }
        slot.nextTry = Clock::now() + *pause;
        m_pausingSlots.push_back(&slot);
        std::push_heap(m_pausingSlots.begin(), m_pausingSlots.end(), isLaterTry);
    } else {
        fallBackOrFail(slot, error);
    }
}

// Ask the job first: it may continue with the bytes that it has, and the next try must know that.
std::optional<std::chrono::milliseconds> CTransferQueue::decidePause(CSlot& slot, const CError& error) {
    const bool beginsAgain =
        m_policy->mayTryAgain(slot.failures) && slot.job->getTransfer().canBeginAgain(*slot.request, error);
    return beginsAgain ? m_policy->decidePause(*slot.request, error, slot.failures)
                       : m_policy->decideRetry(*slot.request, error, slot.failures);
}

bool CTransferQueue::isBeyondConnections(const CSlot& slot, const CError& error) const {
    return m_slots.size() > 1 && m_policy->isRefusedConnection(*slot.request, error);
}

// Existing connections stay with their requests: the job waits for one of them.
void CTransferQueue::giveUpSlot(CSlot& slot) {
    putBack(slot);
    --m_running;
    m_slotOf.erase(slot.request.get());
    m_slots.erase(std::find_if(m_slots.begin(), m_slots.end(),
                               [&slot](const auto& other) { return other.get() == &slot; }));
    m_count = static_cast<int>(m_slots.size());
    m_observer->onFewerTransfers(m_count);
}

void CTransferQueue::putBack(CSlot& slot) {
    slot.job->onDetach(*slot.request);
    // Before those with the same priority.
    m_waitingJobs.emplace_hint(m_waitingJobs.lower_bound(slot.priority), slot.priority,
                               CWaitingJob{std::move(slot.job), slot.failures, std::move(slot.watch)});
}

bool CTransferQueue::canGoOnOverOne(const CSlot& slot, const CError& error) const {
    return !m_onlyRequest && m_policy->getOwnRequest() && m_policy->isRefusedConnection(*slot.request, error);
}

void CTransferQueue::goOnOverOne(CSlot& slot) {
    putBack(slot);
    m_onlyRequest = m_policy->getOwnRequest();
    m_running = 0;
    m_count = 1;
    m_freeSlots.clear();
    m_pausingSlots.clear();
    m_slotOf.clear();
    m_slots.clear();
    // It may keep connections that the server counts.
    startWorker();
    m_observer->onOneConnection();
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
    detach(*slot.job, *slot.request);
    try {
        tellTries(slot);
        if (slot.watch && slot.watch->recordsTries()) {
            const P<CError> copy = error.clone();
            slot.watch->attachTo(*copy);
            slot.job->onFailure(*copy);
        } else {
            slot.job->onFailure(error);
        }
    } catch (...) {
        m_observer->onFatalFailure(*slot.request);
        throw;
    }
    freeSlot(slot);
}

std::shared_ptr<CTryWatch> CTransferQueue::makeWatch() const {
    return m_recordsTries || m_metrics ? std::make_shared<CTryWatch>(m_recordsTries, m_metrics) : nullptr;
}

void CTransferQueue::tellTries(CSlot& slot) {
    if (slot.watch && slot.watch->recordsTries() && !slot.hasToldTries) {
        slot.hasToldTries = true;
        slot.job->onTries(slot.watch->getLog());
    }
}

void CTransferQueue::waitForEnds() {
    handOverDueSlots();
    const TArray<P<CNetRequest>> finished = takeFinished();
    // Before the results are examined, because a request to stop makes transfers fail.
    checkContinue();
    for (const P<CNetRequest>& request : finished) {
        CSlot& slot = *m_slotOf.at(request.get());
        slot.isUnderWay = false;
        m_observer->onEnd(*request);
        handleEnd(slot);
    }
    showProgress();
    if (finished.empty()) {
        checkWorker();
    }
    beginWaitingJobs();
}

void CTransferQueue::checkContinue() const {
    m_observer->checkContinue();
    if (m_token) {
        m_token->throwIfCancelled();
    }
}

TArray<P<CNetRequest>> CTransferQueue::takeFinished() {
    return m_finishedHere.empty() ? m_worker->takeFinished(getWaitTime()) : std::exchange(m_finishedHere, {});
}

void CTransferQueue::showProgress() {
    const auto now = Clock::now();
    if (now < m_nextProgress) {
        return;
    }
    m_nextProgress = now + progressInterval;
    for (const auto& slot : m_slots) {
        m_observer->onProgress(*slot->request);
    }
}

int CTransferQueue::getWaitTime() const {
    auto wait = maxWait;
    if (isPaused()) {
        return static_cast<int>(wait.count());
    }
    if (!m_pausingSlots.empty()) {
        const auto left = m_pausingSlots.front()->nextTry - Clock::now();
        wait = std::min(wait, std::chrono::ceil<std::chrono::milliseconds>(left));
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

}  // namespace vexil
