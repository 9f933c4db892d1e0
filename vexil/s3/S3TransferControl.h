#pragma once

#include "vexil/async/TransferQueue.h"
#include "vexil/s3/S3RequestPolicy.h"
#include "vexil/s3/S3TransferSettings.h"

#include <functional>

namespace vexil {

/// What uploads and downloads of CS3TransferManager do with its settings: they are checked, end and pause the
/// transfer, and get its progress.
class CS3TransferControl {
public:
    /// What is shown.
    struct CProgress {
        int64 doneBytes;
        int64 totalBytes;  // -1 while it is unknown
    };
    using GetProgress = std::function<CProgress()>;

    /// \param minPartSize  for other sizes than 0
    /// \throws CInvalidArgError that names the setting
    static void check(const char* place, const CS3TransferSettings& settings, int64 minPartSize,
                      int64 maxPartSize);

    /// The arguments must outlive it.
    CS3TransferControl(CS3Client& client, const CS3TransferSettings& settings, GetProgress getProgress)
        : m_client(client), m_settings(settings), m_getProgress(std::move(getProgress)) {}
    CS3TransferControl(const CS3TransferControl&) = delete;
    CS3TransferControl& operator=(const CS3TransferControl&) = delete;

    /// \throws CCURLError if the transfer is cancelled, or its deadline has passed
    void checkContinue() const;
    void showProgress() const;

    /// A queue for the requests of the transfer. This object must outlive it.
    P<CTransferQueue> makeQueue(CS3RequestPolicy* policy, int count) const;
    /// A queue for a request that cleans up: neither settings nor observers end it.
    P<CTransferQueue> makeCleaningQueue(CS3RequestPolicy* policy) const;
    /// Begins a job, whose requests are signed again if necessary.
    void start(CTransferQueue& queue, const P<ITransferJob>& job) const;

private:
    class CObserver;

    CS3Client& m_client;
    const CS3TransferSettings& m_settings;
    const GetProgress m_getProgress;
};

}  // namespace vexil
