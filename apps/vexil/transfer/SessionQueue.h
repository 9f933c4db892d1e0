#pragma once

#include "apps/vexil/transfer/ServerPolicy.h"
#include "vexil/async/TransferQueue.h"

namespace vexil::app {

class CSession;

/// Shows the progress, the messages and the logs of a session for a queue. An interrupt by the user ends
/// every wait.
/// \param session  must outlive it
P<ITransferObserver> makeSessionObserver(CSession& session);

/// The queue of a command: with the progress, the messages and the logs of its session. An interrupt by the
/// user ends every wait.
class CSessionQueue : public CTransferQueue {
public:
    /// With up to four descriptors each they stay below the limit that initializePlatform() requests.
    static constexpr int maxCount = 400;

    /// Session and policy must outlive it.
    /// \param count  how many transfers run at once, at most
    CSessionQueue(CSession& session, IServerPolicy& policy, int count);
    ~CSessionQueue() override;
};

}  // namespace vexil::app
