#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/async/ITransferJob.h"
#include "vexil/async/ITransferObserver.h"
#include "vexil/async/ITransferPolicy.h"
#include "vexil/async/PauseToken.h"
#include "vexil/net/CancelToken.h"
#include "vexil/net/ITransferMetrics.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/RateLimit.h"
#include "vexil/net/RetryPolicy.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

namespace zet {
class CSignal;
}

namespace vexil {

class CTransferThread;
class CTryWatch;

/// Runs many transfers, some at the same time, and tries temporary failures again. A worker thread moves
/// their bytes. The thread that uses the queue prepares requests and calls jobs, within start(), add(),
/// finishOne() and finish().
///
/// The policy decides which failures are tried again. The other transfers continue during the pause. Tries
/// are counted for the whole job, however many requests it has. The transfers share connections as those of
/// one CAsyncNetRequestManager do.
///
/// If the server refuses one more connection (ITransferPolicy::isRefusedConnection()), fewer transfers run at
/// once from then on, but at least one. If it accepts no connection besides that of the policy's own request
/// (ITransferPolicy::getOwnRequest()), the transfers use that one.
///
/// Thread safety: one thread at a time. Sources, sinks and listeners of the requests are called on the
/// worker. Another thread stops the queue by the cancel token, and ends a wait of finishOne() by wake().
///
/// Lifetime: references to the jobs, the policy, the observer and the token are kept. The requests belong to
/// the queue. The destructor gives up the jobs that have not ended: it stops their transfers, and then drops
/// the references to the jobs, without a call of onSuccess() or onFailure(). A job that has ended is dropped
/// at once, with the source and sink of its request.
///
/// Errors: the error of a transfer, and an exception of the job's transfer or of onSuccess(), goes to
/// ITransferJob::onFailure(). start(), add(), finishOne() and finish() throw the rest: see there. After that,
/// the queue must be destroyed.
///
/// \code
/// const P<CCancelToken> stop = new CCancelToken;  // stop->cancel() on any thread
/// CTransferQueue queue(new CTransferPolicy, 8);
/// queue.setCancelToken(stop);
/// for (const String& url : urls) {
///     queue.start(makeTransferJob([url](CNetRequest& request) { request.setURL(url); },
///                                 [url](CNetRequest& request) { store(url, request.getReceivedBytes()); },
///                                 [url](const CError& error) { report(url, error); }));
/// }
/// queue.finish();
/// \endcode
class VEXIL_API CTransferQueue : public virtual CBase {
public:
    /// How many transfers run at once by default.
    static constexpr int defaultCount = 8;

    /// Starts the worker.
    /// \param policy    not null
    /// \param count     how many transfers run at once, at most; from 1
    /// \param observer  null for none
    /// \throws CInvalidArgError for no policy, or a count below 1
    /// \throws CError of domain "system" if the system has no more threads or descriptors
    explicit CTransferQueue(ITransferPolicy* policy, int count = defaultCount,
                            ITransferObserver* observer = nullptr);
    CTransferQueue(const CTransferQueue&) = delete;
    CTransferQueue& operator=(const CTransferQueue&) = delete;
    /// Gives up the jobs that have not ended.
    ~CTransferQueue() override;

    /// Once the token is cancelled, running transfers end, and start(), add() and finish() throw. The token
    /// is set on the requests of the queue, not on the policy's own one. Call it before start() and add().
    /// Default null.
    void setCancelToken(CCancelToken* token);

    /// While the token is paused, running transfers rest and no other one begins; start(), finishOne() and
    /// finish() wait. A transfer over ITransferPolicy::getOwnRequest() that runs already is not paused. Call
    /// it before start(). Default null.
    void setPauseToken(CPauseToken* token);

    /// Keeps a record of all requests of each job, also of those that are tried again: it is given to
    /// ITransferJob::onTries(), and attached to the error of a job that fails (CTryLog::fromError()). A job
    /// that waits for another connection (ITransferPolicy::isRefusedConnection()) has no record of that. Call
    /// it before start(). Default false.
    void setRecordsTries(bool records) { m_recordsTries = records; }

    /// Counts the requests in the metrics of the program; they are called on the thread that uses the queue.
    /// A reference is kept. Call it before start(). Default null.
    void setMetrics(ITransferMetrics* metrics) { m_metrics = metrics; }

    /// All transfers of the queue share the limit, with others that use it. It is set on the requests of the
    /// queue, not on the policy's own one. Call it before start(). Default null.
    void setRateLimit(CRateLimit* limit);

    /// Begins a job, and returns when another one could begin: with a count of 1, when this one is done.
    /// \throws CInvalidArgError for null, which does not harm the queue
    /// \throws CCURLError of code 42 (CURLE_ABORTED_BY_CALLBACK) if the token is cancelled
    /// \throws exceptions of ITransferJob::onFailure() and of the observer, the error that has ended the
    ///         worker, std::bad_alloc
    void start(P<ITransferJob> job);
    /// Adds a job, and returns at once. It begins when fewer transfers run than the count: within this call,
    /// or later within start(), finishOne() or finish(). Of the jobs that wait, those with the highest
    /// priority begin first, and those with the same one in the order in which they were added. Any number of
    /// jobs can wait: each costs its memory. start() adds with the priority 0, and then waits for those, too.
    /// A transfer over ITransferPolicy::getOwnRequest() is performed within the call.
    /// \param priority  higher ones begin earlier; may be negative
    /// \throws the same as start()
    void add(P<ITransferJob> job, int priority = 0);
    /// Returns when at least one more job has ended, or after wake(). Returns at once if no job is left. For
    /// a caller that must wait for a job before it can begin the next one.
    /// \throws the same
    void finishOne();
    /// Makes the finishOne() that waits return, or else the next one, although no job has ended. For a source
    /// or sink that has news for the thread that uses the queue. Any thread, as long as the queue exists.
    void wake();
    /// Returns when all jobs have ended. More jobs may follow.
    /// \throws the same
    void finish();

private:
    class CSlot;
    struct CWaitingJob {
        P<ITransferJob> job;
        CRetryPolicy::Failures failures;
        std::shared_ptr<CTryWatch> watch;  // null for none
    };
    /// By priority.
    using WaitingJobs = std::multimap<int, CWaitingJob, std::greater<>>;

    void enqueue(const char* place, P<ITransferJob> job, int priority);
    CSlot& takeSlot();
    void addSlot();
    void releaseSlot(CSlot& slot);
    void freeSlot(CSlot& slot);
    void beginWaitingJobs();
    void begin(CSlot& slot);
    bool prepare(CSlot& slot);
    void handOver(CSlot& slot);
    void handOverDueSlots();
    static bool isLaterTry(const CSlot* first, const CSlot* second) noexcept;
    void handleEnd(CSlot& slot);
    void handleFailedTry(CSlot& slot, const CError& error);
    bool isBeyondConnections(const CSlot& slot, const CError& error) const;
    void giveUpSlot(CSlot& slot);
    void putBack(CSlot& slot);
    bool canGoOnOverOne(const CSlot& slot, const CError& error) const;
    void goOnOverOne(CSlot& slot);
    void startWorker();
    TArray<P<CNetRequest>> takeFinished();
    std::optional<std::chrono::milliseconds> decidePause(CSlot& slot, const CError& error);
    void fallBackOrFail(CSlot& slot, const CError& error);
    void fail(CSlot& slot, const CError& error);
    std::shared_ptr<CTryWatch> makeWatch() const;
    static void tellTries(CSlot& slot);
    int getUnfinishedCount() const noexcept;
    void waitForEnds();
    void checkContinue() const;
    void showProgress();
    void tellGivenUp() noexcept;
    int getWaitTime() const;
    bool isPaused() const noexcept { return m_pauseToken && m_pauseToken->isPaused(); }
    void checkWorker() const;

    const P<ITransferPolicy> m_policy;
    const P<ITransferObserver> m_observer;  // never null
    P<CCancelToken> m_token;
    P<CPauseToken> m_pauseToken;
    bool m_recordsTries = false;
    P<ITransferMetrics> m_metrics;
    P<CRateLimit> m_rateLimit;
    int m_count;
    WaitingJobs m_waitingJobs;
    std::vector<std::unique_ptr<CSlot>> m_slots;
    std::unordered_map<const CNetRequest*, CSlot*> m_slotOf;
    std::vector<CSlot*> m_freeSlots;
    std::vector<CSlot*> m_pausingSlots;  // between two tries: a heap, the next one first
    std::chrono::steady_clock::time_point m_nextProgress;
    int m_running = 0;
    std::atomic<bool> m_isWoken{false};
    const P<zet::CSignal> m_hasNews;  // ends the wait for the worker
    P<CTransferThread> m_worker;
    P<CNetRequest> m_onlyRequest;           // null while the worker performs the transfers
    TArray<P<CNetRequest>> m_finishedHere;  // requests that were performed on this thread
};

}  // namespace vexil
