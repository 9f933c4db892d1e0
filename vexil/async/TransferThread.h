#pragma once

#include "vexil/async/AsyncNetRequestThread.h"
#include "vexil/async/PauseToken.h"
#include "zet/Mutex.h"
#include "zet/Signal.h"

namespace vexil {

/// A worker that keeps ended requests until they are fetched.
class CTransferThread : public CAsyncNetRequestThread {
public:
    /// \param hasFinished  is set when requests have ended; others may set it to end a wait. Not null
    explicit CTransferThread(const P<zet::CSignal>& hasFinished);
    ~CTransferThread() override;

    /// Pauses all requests while it is paused. Null for none.
    void setPauseToken(CPauseToken* token);

    /// The requests that have ended since the last call, in the order of their ends. If there are none, waits
    /// for the signal, at most this many milliseconds.
    TArray<P<CNetRequest>> takeFinished(int milliseconds);

protected:
    void handleManagerEvents(CAsyncNetRequestManager& manager) override;

private:
    bool isPaused();

    zet::CMutex m_mutex;
    P<CPauseToken> m_pauseToken ZET_GUARDED_BY(m_mutex);
    TArray<P<CNetRequest>> m_finished ZET_GUARDED_BY(m_mutex);
    const P<zet::CSignal> m_hasFinished;  // this object changes it under m_mutex
};

}  // namespace vexil
