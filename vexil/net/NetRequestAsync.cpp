#include "vexil/net/NetRequest.h"

#include <new>
#include <utility>

namespace vexil {

namespace {

/// Sets a signal at the end of a scope, whatever happens in it.
class CSignalAtExit {
public:
    explicit CSignalAtExit(const P<zet::CSignal>& signal) : m_signal(signal) {}
    CSignalAtExit(const CSignalAtExit&) = delete;
    CSignalAtExit& operator=(const CSignalAtExit&) = delete;
    ~CSignalAtExit() { m_signal->set(); }

private:
    const P<zet::CSignal> m_signal;
};

}  // namespace

void CNetRequest::announceAsync() {
    const zet::CMutexLock lock(m_asyncMutex);
    m_asyncDoneSignal->reset();
    forgetCancel();
    m_isAnnounced = true;
}

void CNetRequest::setCancelWaker(ICancelWaker* waker) {
    const zet::CMutexLock lock(m_asyncMutex);
    m_cancelWaker = waker;
}

void CNetRequest::setAsyncInfo(bool done, CURLcode result) {
    if (done) {
        endAsync(result);
        return;
    }
    beginAsync(result);
    chooseConnections();
}

void CNetRequest::beginAsync(CURLcode result) {
    const zet::CMutexLock lock(m_asyncMutex);
    // First: when the source cannot be rewound, nobody shall take the last transfer's end for that of this one.
    m_asyncDoneSignal->reset();
    if (!std::exchange(m_isAnnounced, false)) {
        forgetCancel();
    }
    resetForPerform();
    // As perform() does: libcurl's multi interface leaves the text of the last failure there.
    clearErrorBuffer();
    m_asyncResult = result;
    m_asyncErrorMessage.clear();
}

void CNetRequest::endAsync(CURLcode result) {
    P<IDoneListener> listener;
    P<CError> error;
    {
        const zet::CMutexLock lock(m_asyncMutex);
        // Set when all is known, as the last thing under the lock.
        const CSignalAtExit signalAtExit(m_asyncDoneSignal);
        storeAsyncResult(result);
        listener = m_doneListener;
        if (listener) {
            error = getAsyncError();
        }
    }
    if (listener) {
        listener->onDone(this, error);
    }
}

void CNetRequest::storeAsyncResult(CURLcode result) {
    m_asyncResult = isCut(result) ? CURLE_OK : result;
    m_asyncErrorMessage.clear();
    restoreReuse();
    if (m_asyncResult == CURLE_OK && m_url.startsWith("http") && !isSuccessStatus(getResponseCode())) {
        m_asyncResult = CURLE_HTTP_RETURNED_ERROR;
    }
    if (m_asyncResult != CURLE_OK) {
        keepErrorDetail();
        return;
    }
    if (m_pendingCallbackError) {
        m_asyncResult = CURLE_ABORTED_BY_CALLBACK;
    }
}

void CNetRequest::keepErrorDetail() {
    try {
        m_asyncErrorMessage = getErrorDetail(m_asyncResult);
    } catch (const std::bad_alloc&) {
        // The failure counts without its text.
    }
}

P<CError> CNetRequest::getAsyncError() {
    try {
        throwAsyncError();
        return nullptr;
    } catch (...) {
        // Also where memory runs out for the description: the listener has to hear of the end.
        return zet::currentExceptionToError();
    }
}

void CNetRequest::throwAsyncError() {
    if (m_pendingCallbackError) {
        m_pendingCallbackError->throwClone();
    }
    if (m_asyncResult != CURLE_OK) {
        throwError(m_asyncResult, getResponseCodeDomain(), getResponseCode(), m_asyncErrorMessage);
    }
}

bool CNetRequest::isAsyncDone() const {
    return m_asyncDoneSignal->isSet();
}

bool CNetRequest::waitAsyncDone(int timeoutMilliseconds) {
    return m_asyncDoneSignal->wait(timeoutMilliseconds);
}

void CNetRequest::checkAsyncResult() {
    const zet::CMutexLock lock(m_asyncMutex);
    if (m_asyncDoneSignal->isSet()) {
        throwAsyncError();
    }
}

}  // namespace vexil
