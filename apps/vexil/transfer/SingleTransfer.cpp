#include "apps/vexil/transfer/SingleTransfer.h"

#include "apps/vexil/session/Session.h"
#include "apps/vexil/transfer/FileJob.h"
#include "apps/vexil/transfer/SessionQueue.h"

#include <utility>

namespace vexil::app {

namespace {

/// The only job of a queue.
template <class Base>
class TSingleJob final : public Base {
public:
    template <class... Arguments>
    explicit TSingleJob(ITransfer& transfer, Arguments&&... arguments)
        : Base(std::forward<Arguments>(arguments)...), m_transfer(transfer) {}

    ITransfer& getTransfer() override { return m_transfer; }
    void onSuccess(CNetRequest&) override {}
    void onFailure(const CError& error) override { error.throwClone(); }

private:
    ITransfer& m_transfer;
};

class CQuietJob : public virtual CBase, public ITransferJob {};

void run(CSession& session, IServerPolicy& policy, P<ITransferJob> job) {
    CSessionQueue queue(session, policy, 1);
    queue.start(std::move(job));
    queue.finish();
}

}  // namespace

void runSingleTransfer(CSession& session, IServerPolicy& policy, ITransfer& transfer) {
    CProgress progress(session.getConsole());
    run(session, policy, make<TSingleJob<CFileJob>>(transfer, progress, String()));
}

void runQuietTransfer(CSession& session, IServerPolicy& policy, ITransfer& transfer) {
    run(session, policy, make<TSingleJob<CQuietJob>>(transfer));
}

}  // namespace vexil::app
