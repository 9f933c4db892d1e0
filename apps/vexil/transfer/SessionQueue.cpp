#include "apps/vexil/transfer/SessionQueue.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/session/Session.h"
#include "apps/vexil/session/TransferMonitor.h"

namespace vexil::app {

namespace {

class CSessionObserver final : public virtual CBase, public ITransferObserver {
public:
    explicit CSessionObserver(CSession& session) : m_session(session) {}

    void checkContinue() override { CInterrupt::throwIfRequested(); }
    // The worker prints nothing: a blocked terminal or pipe would stop all transfers.
    void onStart(CNetRequest& request) override { request.setDoneListener(nullptr); }
    void onProgress(CNetRequest& request) override { CTransferMonitor::of(request).report(); }
    void onEnd(CNetRequest& request) override { m_session.getSetup().tellWire(request); }
    void onFewerTransfers(int count) override {
        tell("continuing with " + formatNumberOf(count, "transfer") + " at once.");
    }
    void onOneConnection() override { tell("continuing over one connection."); }
    void onFatalFailure(CNetRequest& request) override { m_session.setFailedRequest(&request); }
    void onGivenUp(CNetRequest& request) override { m_session.getSetup().tellGivenUp(request); }

private:
    void tell(const String& consequence) {
        m_session.getConsole().message(Verbosity::Info,
                                       "vexil: the server accepts no further connection; " + consequence);
    }

    CSession& m_session;
};

}  // namespace

P<ITransferObserver> makeSessionObserver(CSession& session) {
    return make<CSessionObserver>(session);
}

CSessionQueue::CSessionQueue(CSession& session, IServerPolicy& policy, int count)
    : CTransferQueue(&policy, count, makeSessionObserver(session)) {}

CSessionQueue::~CSessionQueue() = default;

}  // namespace vexil::app
