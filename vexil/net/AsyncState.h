#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"
#include "zet/Mutex.h"
#include "zet/Signal.h"

#include <curl/curl.h>

namespace vexil {

/// What the owner's thread and the thread that drives the transfer both use: the result of an asynchronous
/// transfer, the error of a callback, and the waker.
///
/// Thread safety: any thread. Functions that say so need a lock of getMutex(), the others lock it themselves.
class CAsyncState {
public:
    CAsyncState();

    /// Guards all members; recursive.
    zet::CMutex& getMutex() const noexcept { return m_mutex; }
    /// Set at the end of a transfer; always the same, needs no lock.
    const P<zet::CSignal>& getDoneSignal() const noexcept { return m_doneSignal; }

    /// A transfer is about to be handed over: takes the done signal off. Needs the lock.
    void announce();
    /// A transfer begins: takes the done signal off. Needs the lock.
    /// \return whether it was announced
    bool begin();
    /// Forgets the error of a callback, and an announcement.
    void forgetTransfer();

    /// The result; the message is "" until setMessage(). Needs the lock.
    void setResult(CURLcode result);
    void setMessage(const String& message) { m_message = message; }
    CURLcode getResult() const noexcept { return m_result; }
    const String& getMessage() const noexcept { return m_message; }

    /// Keeps the exception that is being handled, unless the transfer has one already.
    void keepCurrentException() noexcept;
    /// The error of a callback; null if there is none.
    P<CError> getCallbackError() const;

    void setWaker(CNetRequest::ICancelWaker* waker);
    /// Calls the waker, if there is one, without a lock.
    void wake() const;

private:
    mutable zet::CMutex m_mutex;
    const P<zet::CSignal> m_doneSignal;
    CURLcode m_result = CURLE_OK;          // guarded by m_mutex
    String m_message;                      // guarded by m_mutex
    P<CError> m_callbackError;             // guarded by m_mutex
    P<CNetRequest::ICancelWaker> m_waker;  // guarded by m_mutex
    bool m_isAnnounced = false;            // guarded by m_mutex
};

}  // namespace vexil
