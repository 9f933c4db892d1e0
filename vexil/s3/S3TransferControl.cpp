#include "vexil/s3/S3TransferControl.h"

#include "vexil/net/CURLError.h"
#include "vexil/s3/S3DetourJob.h"

namespace vexil {

namespace {

constexpr int maxParallelParts = 1000;

}  // namespace

/// Shows the progress, observes the deadline, and calls the observer of the caller.
class CS3TransferControl::CObserver : public virtual CBase, public ITransferObserver {
public:
    /// \param control  must outlive it
    /// \param mayEnd   whether cancel token, deadline and observers may end the requests
    CObserver(const CS3TransferControl& control, bool mayEnd) : m_control(control), m_mayEnd(mayEnd) {}

    void checkContinue() override {
        if (m_mayEnd) {
            m_control.checkContinue();
            m_control.showProgress();
            forward([](ITransferObserver& observer) { observer.checkContinue(); });
        }
    }
    void onStart(CNetRequest& request) override {
        forward([&](ITransferObserver& observer) { observer.onStart(request); });
    }
    void onProgress(CNetRequest& request) override {
        forward([&](ITransferObserver& observer) { observer.onProgress(request); });
    }
    void onEnd(CNetRequest& request) override {
        forward([&](ITransferObserver& observer) { observer.onEnd(request); });
    }
    void onFatalFailure(CNetRequest& request) override {
        forward([&](ITransferObserver& observer) { observer.onFatalFailure(request); });
    }
    void onGivenUp(CNetRequest& request) override {
        forward([&](ITransferObserver& observer) { observer.onGivenUp(request); });
    }

private:
    template <class Call>
    void forward(const Call& call) {
        if (const P<ITransferObserver> observer = m_control.m_settings.requestObserver) {
            call(*observer);
        }
    }

    const CS3TransferControl& m_control;
    const bool m_mayEnd;
};

void CS3TransferControl::check(const char* place, const CS3TransferSettings& settings, int64 minPartSize,
                               int64 maxPartSize) {
    if (settings.parallelParts < 1 || settings.parallelParts > maxParallelParts) {
        throw CInvalidArgError(place, "parallelParts must be 1 to " + String::fromInt(maxParallelParts));
    }
    if (settings.partSize != 0 && (settings.partSize < minPartSize || settings.partSize > maxPartSize)) {
        throw CInvalidArgError(place, (minPartSize > 1
                                           ? "partSize must be 0 or " + String::fromInt(minPartSize) + " to "
                                           : String("partSize must be 0 to ")) +
                                          String::fromInt(maxPartSize));
    }
}

void CS3TransferControl::checkContinue() const {
    if (m_settings.cancelToken) {
        m_settings.cancelToken->throwIfCancelled();
    }
    if (m_settings.deadline && CRetryPolicy::Clock::now() >= *m_settings.deadline) {
        throw CCURLError(CURLE_OPERATION_TIMEDOUT, "the deadline of the transfer has passed", "", 0, "", "",
                         "", "");
    }
}

void CS3TransferControl::showProgress() const {
    if (m_settings.observer) {
        const CProgress progress = m_getProgress();
        m_settings.observer->onProgress(progress.doneBytes, progress.totalBytes);
    }
}

P<CTransferQueue> CS3TransferControl::makeQueue(CS3RequestPolicy* policy, int count) const {
    P<CTransferQueue> queue = zet::make<CTransferQueue>(policy, count, zet::make<CObserver>(*this, true));
    queue->setCancelToken(m_settings.cancelToken);
    queue->setPauseToken(m_settings.pauseToken);
    queue->setRecordsTries(m_settings.recordsTries);
    queue->setMetrics(m_settings.metrics);
    queue->setRateLimit(m_settings.rateLimit);
    return queue;
}

P<CTransferQueue> CS3TransferControl::makeCleaningQueue(CS3RequestPolicy* policy) const {
    P<CTransferQueue> queue = zet::make<CTransferQueue>(policy, 1, zet::make<CObserver>(*this, false));
    queue->setMetrics(m_settings.metrics);
    return queue;
}

void CS3TransferControl::start(CTransferQueue& queue, const P<ITransferJob>& job) const {
    queue.start(zet::make<CS3DetourJob>(m_client, job, m_settings.observer));
}

}  // namespace vexil
