#include "apps/vexil/TransferQueue.h"

#include "apps/vexil/Context.h"
#include "apps/vexil/Interrupt.h"
#include "apps/vexil/TransferMonitor.h"
#include "vexil/net/CURLError.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

namespace vexil::app {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds retryDelay(100);
// No signal handler may wake a thread, and a worker that dies does not.
constexpr std::chrono::milliseconds maxWait(100);

void checkResult(CNetRequest& request) {
    request.checkAsyncResult();
    // The status of a URL that begins with "HTTP://" is left to the caller.
    const int status = request.getResponseCode();
    if (request.getResponseCodeDomain() == "http" && (status < 200 || status > 299)) {
        request.throwError(CURLE_HTTP_RETURNED_ERROR, "http", status, "");
    }
}

/// What has failed in a transfer, with what S3 says of it; null for nothing.
P<CError> findTransferError(CNetRequest& request) {
    try {
        try {
            checkResult(request);
            return nullptr;
        } catch (std::exception& error) {
            CS3Client::tryThrowBetterError(error, *request.getDefaultReceiveBuffer());
            throw;
        }
    } catch (...) {
        return zet::currentExceptionToError();
    }
}

/// Lets a request, whose transfer has ended, go of what belongs to its job.
void detach(CNetRequest& request) {
    releaseStreams(request);
    CTransferMonitor::of(request).setFile(nullptr);
}

}  // namespace

/// A request, and the job that has it.
class CTransferQueue::CSlot {
public:
    const P<CNetRequest> request = new CNetRequest;
    std::unique_ptr<ITransferJob> job;  // null while the slot is free
    int tries = 0;
    std::optional<Clock::time_point> nextTry;  // set in the pause between two tries
};

CTransferQueue::CTransferQueue(CContext& context, int count)
    : m_context(context), m_count(count), m_worker(new CTransferThread) {
    m_worker->start();
}

CTransferQueue::~CTransferQueue() {
    // First: it reads and writes the files of the jobs.
    m_worker = nullptr;
}

void CTransferQueue::start(std::unique_ptr<ITransferJob> job) {
    CSlot& slot = takeSlot();
    slot.job = std::move(job);
    begin(slot);
    waitUntilAtMost(m_count - 1);
}

void CTransferQueue::finish() {
    waitUntilAtMost(0);
}

CTransferQueue::CSlot& CTransferQueue::takeSlot() {
    if (m_freeSlots.empty()) {
        m_freeSlots.reserve(m_slots.size() + 1);
        m_freeSlots.push_back(m_slots.emplace_back(std::make_unique<CSlot>()).get());
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

void CTransferQueue::begin(CSlot& slot) {
    try {
        slot.job->prepare(*slot.request);
    } catch (...) {
        fail(slot, *zet::currentExceptionToError());
        return;
    }
    slot.tries = 1;
    handOver(slot);
}

void CTransferQueue::handOver(CSlot& slot) {
    try {
        // The worker does it, too, but a source or sink that cannot go back would end the worker.
        slot.request->resetForPerform();
        m_worker->addRequest(slot.request);
    } catch (...) {
        handleFailedTry(slot, *zet::currentExceptionToError());
    }
}

void CTransferQueue::handOverDueSlots() {
    const auto now = Clock::now();
    for (const auto& slot : m_slots) {
        if (slot->nextTry && *slot->nextTry <= now) {
            slot->nextTry.reset();
            handOver(*slot);
        }
    }
}

void CTransferQueue::handleEnd(CSlot& slot) {
    if (const P<CError> error = findTransferError(*slot.request)) {
        handleFailedTry(slot, *error);
        return;
    }
    try {
        slot.job->checkAnswer(*slot.request);
    } catch (...) {
        beginAnewOrFail(slot, *zet::currentExceptionToError());
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
    if (m_context.getClient().decideRetry(error, slot.tries)) {
        ++slot.tries;
        slot.nextTry = Clock::now() + retryDelay;
    } else {
        beginAnewOrFail(slot, error);
    }
}

void CTransferQueue::beginAnewOrFail(CSlot& slot, const CError& error) {
    bool isBegunAnew = false;
    try {
        isBegunAnew = slot.job->canBeginAnew(*slot.request, error);
    } catch (...) {
        fail(slot, *zet::currentExceptionToError());
        return;
    }
    if (isBegunAnew) {
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
        m_context.setFailedRequest(slot.request);
        throw;
    }
    releaseSlot(slot);
}

void CTransferQueue::waitUntilAtMost(int count) {
    while (m_running > count) {
        handOverDueSlots();
        const TArray<P<CNetRequest>> finished = m_worker->takeFinished(getWaitTime());
        // Before they are looked at: an interrupt lets transfers fail.
        CInterrupt::throwIfRequested();
        for (const P<CNetRequest>& request : finished) {
            handleEnd(findSlot(request));
        }
        if (finished.empty()) {
            checkWorker();
        }
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
