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
/// Thread safety: any thread. The caller of a function with ZET_REQUIRES has the lock, the others lock it
/// themselves.
class CAsyncState {
public:
    CAsyncState();

    /// Guards all members; recursive.
    zet::CMutex& getMutex() const noexcept ZET_RETURN_CAPABILITY(m_mutex) { return m_mutex; }
    /// Tells the thread safety analysis that the caller has the lock, in functions whose headers cannot say
    /// it.
    void assertLocked() const noexcept ZET_ASSERT_CAPABILITY(m_mutex) {}
    /// Set at the end of a transfer; always the same, needs no lock.
    const P<zet::CSignal>& getDoneSignal() const noexcept { return m_doneSignal; }

    /// A transfer is about to be handed over: takes the done signal off.
    void announce() ZET_REQUIRES(m_mutex);
    /// A transfer begins: takes the done signal off.
    /// \return whether it was announced
    bool begin() ZET_REQUIRES(m_mutex);
    /// Forgets the error of a callback, and an announcement.
    void forgetTransfer();

    /// The result; the message is "" until setMessage().
    void setResult(CURLcode result) ZET_REQUIRES(m_mutex);
    void setMessage(const String& message) ZET_REQUIRES(m_mutex) { m_message = message; }
    CURLcode getResult() const noexcept ZET_REQUIRES(m_mutex) { return m_result; }
    const String& getMessage() const noexcept ZET_REQUIRES(m_mutex) { return m_message; }

    /// Keeps the exception that is being handled, unless the transfer has one already.
    void keepCurrentException() noexcept;
    /// The error of a callback; null if there is none.
    P<CError> getCallbackError() const;

    void setWaker(CNetRequest::ICancelWaker* waker);
    /// Calls the waker, if there is one, without a lock.
    void wake() const ZET_EXCLUDES(m_mutex);

private:
    mutable zet::CMutex m_mutex;
    const P<zet::CSignal> m_doneSignal;
    CURLcode m_result ZET_GUARDED_BY(m_mutex) = CURLE_OK;
    String m_message ZET_GUARDED_BY(m_mutex);
    P<CError> m_callbackError ZET_GUARDED_BY(m_mutex);
    P<CNetRequest::ICancelWaker> m_waker ZET_GUARDED_BY(m_mutex);
    bool m_isAnnounced ZET_GUARDED_BY(m_mutex) = false;
};

}  // namespace vexil
