#include "apps/vexil/transfer/SingleTransfer.h"

#include "apps/vexil/session/Session.h"
#include "apps/vexil/transfer/FileJob.h"
#include "apps/vexil/transfer/SessionQueue.h"

namespace vexil::app {

namespace {

/// The only job of a queue.
class CSingleJob final : public CFileJob {
public:
    CSingleJob(ITransfer& transfer, CProgress& progress) : CFileJob(progress, ""), m_transfer(transfer) {}

    ITransfer& getTransfer() override { return m_transfer; }
    void onSuccess(CNetRequest&) override {}
    void onFailure(const CError& error) override { error.throwClone(); }

private:
    ITransfer& m_transfer;
};

}  // namespace

void runSingleTransfer(CSession& session, IServerPolicy& policy, ITransfer& transfer) {
    CProgress progress(session.getConsole());
    CSessionQueue queue(session, policy, 1);
    queue.start(make<CSingleJob>(transfer, progress));
    queue.finish();
}

}  // namespace vexil::app
