#pragma once

#include "vexil/async/AsyncNetRequestThread.h"
#include "zet/Mutex.h"
#include "zet/Signal.h"

namespace vexil {

/// A worker that keeps ended requests until they are fetched.
class CTransferThread : public CAsyncNetRequestThread {
public:
    CTransferThread();
    ~CTransferThread() override;

    /// The requests that have ended since the last call, in the order of their ends. If there are none, waits
    /// for the first one, at most this many milliseconds.
    TArray<P<CNetRequest>> takeFinished(int milliseconds);

protected:
    void handleManagerEvents(CAsyncNetRequestManager& manager) override;

private:
    zet::CMutex m_mutex;
    TArray<P<CNetRequest>> m_finished ZET_GUARDED_BY(m_mutex);
    zet::CSignal m_hasFinished;  // changed under m_mutex
};

}  // namespace vexil
