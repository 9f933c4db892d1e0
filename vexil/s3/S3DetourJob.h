#pragma once

#include "vexil/async/ITransferJob.h"
#include "vexil/s3/IS3TransferObserver.h"
#include "vexil/s3/S3SigningDetour.h"

namespace vexil {

/// A job whose requests are signed again after refusals and redirects, see CS3SigningDetour.
class CS3DetourJob : public virtual CBase, public ITransferJob, private ITransfer {
public:
    /// \param client  must outlive it
    /// \param job     gets all calls
    /// \param observer  gets the tries of the job; null for none
    CS3DetourJob(CS3Client& client, const P<ITransferJob>& job, IS3TransferObserver* observer = nullptr)
        : m_client(client), m_job(job), m_observer(observer) {}
    ~CS3DetourJob() override = default;

    [[nodiscard]] ITransfer& getTransfer() override;
    void onAttach(CNetRequest& request) override { m_job->onAttach(request); }
    void onDetach(CNetRequest& request) noexcept override { m_job->onDetach(request); }
    void onSuccess(CNetRequest& request) override { m_job->onSuccess(request); }
    void onFailure(const CError& error) override { m_job->onFailure(error); }
    void onTries(const CTryLog& tries) override;

private:
    void prepare(CNetRequest& request) override;
    void checkResponse(CNetRequest& request) override { m_transfer->checkResponse(request); }
    [[nodiscard]] bool isComplete() const override { return m_transfer->isComplete(); }
    [[nodiscard]] bool canBeginAgain(CNetRequest& request, const CError& error) override {
        return m_transfer->canBeginAgain(request, error);
    }
    [[nodiscard]] bool canFallBack(CNetRequest& request, const CError& error) override;

    CS3Client& m_client;
    const P<ITransferJob> m_job;
    const P<IS3TransferObserver> m_observer;
    ITransfer* m_transfer = nullptr;  // that of the job
    CS3SigningDetour m_detour;
};

}  // namespace vexil
