#pragma once

#include "apps/vexil/transfer/TransferJob.h"
#include "apps/vexil/transfer/TransferPolicy.h"
#include "apps/vexil/transfer/TransferThread.h"

#include <deque>
#include <memory>
#include <vector>

namespace vexil::app {

class CSession;

/// Runs transfers at the same time: a worker thread moves their bytes. The thread that uses the queue
/// prepares requests and calls jobs, within start() and finish().
///
/// A failed transfer is tried again by the policy; the others continue during its pause. Tries are counted
/// for the whole job, however many requests it has. An interrupt ends every wait.
///
/// If the server refuses one more connection, fewer transfers run at once from then on, but at least one. If
/// it accepts no connection for transfers besides that of the policy's own operations, they use that one.
///
/// One thread. After start() or finish() has thrown, the queue must be destroyed, which gives up all running
/// transfers.
class CTransferQueue {
public:
    static constexpr int defaultCount = 8;
    /// With up to four descriptors each they stay below the limit that initializePlatform() requests.
    static constexpr int maxCount = 400;

    /// Session and policy must outlive it.
    /// \param count  how many transfers run at once, at most
    CTransferQueue(CSession& session, ITransferPolicy& policy, int count);
    /// Gives up running transfers. The jobs are destroyed after their transfers have ended.
    ~CTransferQueue();
    CTransferQueue(const CTransferQueue&) = delete;
    CTransferQueue& operator=(const CTransferQueue&) = delete;

    /// Begins a job, and returns when another one could begin: with a count of 1, when this one is done.
    /// \throws exceptions of ITransferJob::onFailure(), "Interrupted." (CInterrupt), the error that has ended
    ///         the worker
    void start(std::unique_ptr<ITransferJob> job);
    /// Returns when all jobs are done. More jobs may follow.
    /// \throws the same
    void finish();

private:
    class CSlot;
    struct CWaitingJob {
        std::unique_ptr<ITransferJob> job;
        CPatience::Failures failures;
    };

    CSlot& takeSlot();
    void releaseSlot(CSlot& slot);
    CSlot& findSlot(const CNetRequest* request) const;
    void beginWaitingJobs();
    void begin(CSlot& slot);
    bool prepare(CSlot& slot);
    void handOver(CSlot& slot);
    void handOverDueSlots();
    void handleEnd(CSlot& slot);
    void handleFailedTry(CSlot& slot, const CError& error);
    bool isBeyondConnections(const CSlot& slot, const CError& error) const;
    void giveUpSlot(CSlot& slot);
    bool canGoOnOverOne(const CSlot& slot, const CError& error) const;
    void goOnOverOne(CSlot& slot);
    void startWorker();
    TArray<P<CNetRequest>> takeFinished();
    std::optional<std::chrono::milliseconds> decidePause(CSlot& slot, const CError& error);
    void fallBackOrFail(CSlot& slot, const CError& error);
    void fail(CSlot& slot, const CError& error);
    int getUnfinishedCount() const noexcept;
    void waitForEnds();
    void showProgress() const;
    void tellGivenUp() noexcept;
    int getWaitTime() const;
    void checkWorker() const;

    CSession& m_session;
    ITransferPolicy& m_policy;
    int m_count;
    std::deque<CWaitingJob> m_waitingJobs;
    std::vector<std::unique_ptr<CSlot>> m_slots;
    std::vector<CSlot*> m_freeSlots;
    int m_running = 0;
    P<CTransferThread> m_worker;
    P<CNetRequest> m_onlyRequest;           // null while the worker performs the transfers
    TArray<P<CNetRequest>> m_finishedHere;  // requests that were performed on this thread
};

}  // namespace vexil::app
