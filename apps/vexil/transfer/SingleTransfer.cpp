#include "apps/vexil/transfer/SingleTransfer.h"

#include "apps/vexil/session/Session.h"
#include "apps/vexil/transfer/TransferQueue.h"

#include <memory>

namespace vexil::app {

namespace {

/// The only job of a queue.
class CSingleJob : public ITransferJob {
public:
    CSingleJob(ITransfer& transfer, CProgress& progress)
        : m_transfer(transfer), m_fileProgress(progress, "") {}

    void prepare(CNetRequest& request) override {
        CTransferMonitor::of(request).setFile(&m_fileProgress);
        m_transfer.prepare(request);
    }
    void checkAnswer(CNetRequest& request) override { m_transfer.checkAnswer(request); }
    bool isComplete() const override { return m_transfer.isComplete(); }
    bool canBeginAnew(CNetRequest& request, const CError& error) override {
        return m_transfer.canBeginAnew(request, error);
    }
    bool canFallBack(CNetRequest& request, const CError& error) override {
        return m_transfer.canFallBack(request, error);
    }
    void onSuccess() override {}
    void onFailure(const CError& error) override { error.throwClone(); }

private:
    ITransfer& m_transfer;
    CFileProgress m_fileProgress;
};

}  // namespace

void runSingleTransfer(CSession& session, ITransferPolicy& policy, ITransfer& transfer) {
    CProgress progress(session.getConsole());
    CTransferQueue queue(session, policy, 1);
    queue.start(std::make_unique<CSingleJob>(transfer, progress));
    queue.finish();
}

}  // namespace vexil::app
