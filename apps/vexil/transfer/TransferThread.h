#pragma once

#include "vexil/async/AsyncNetRequestThread.h"
#include "zet/Signal.h"

#include <mutex>

namespace vexil::app {

/// A worker that keeps the requests that have ended until somebody takes them.
class CTransferThread : public CAsyncNetRequestThread {
public:
    CTransferThread();
    ~CTransferThread() override;

    /// The requests that have ended since the last call, in the order of their ends. While there are none, waits
    /// for the first of them, at most so many milliseconds.
    TArray<P<CNetRequest>> takeFinished(int milliseconds);

protected:
    void handleManagerEvents(CAsyncNetRequestManager& manager) override;

private:
    std::mutex m_mutex;
    TArray<P<CNetRequest>> m_finished;  // guarded by m_mutex
    zet::CSignal m_hasFinished;         // changed under m_mutex
};

}  // namespace vexil::app
