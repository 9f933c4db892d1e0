#include "vexil/net/NetRequestParts.h"
#include "zet/ScopeExit.h"

#include <new>

namespace vexil {

void CNetRequest::announceAsync() {
    const zet::CMutexLock lock(m_parts->async.getMutex());
    m_parts->async.announce();
    m_parts->watch.forgetRequest();
}

void CNetRequest::setCancelWaker(ICancelWaker* waker) {
    m_parts->async.setWaker(waker);
}

void CNetRequest::setAsyncInfo(bool done, CURLcode result) {
    if (done) {
        endAsync(result);
        return;
    }
    beginAsync(result);
    m_parts->chooseConnections();
}

void CNetRequest::beginAsync(CURLcode result) {
    CAsyncState& async = m_parts->async;
    const zet::CMutexLock lock(async.getMutex());
    // First: if the source cannot be rewound, the end of the last transfer must not pass for the end of this
    // one.
    if (!async.begin()) {
        m_parts->watch.forgetRequest();
    }
    resetForPerform();
    // As perform() does: libcurl's multi interface leaves the text of the last failure there.
    m_parts->curl.clearErrorMessage();
    async.setResult(result);
}

void CNetRequest::endAsync(CURLcode result) {
    P<IDoneListener> listener;
    P<CError> error;
    {
        CAsyncState& async = m_parts->async;
        const zet::CMutexLock lock(async.getMutex());
        // Set when all is known, as the last step under the lock.
        const zet::TScopeExit setDone([&signal = *async.getDoneSignal()] { signal.set(); });
        storeAsyncResult(m_parts->getResult(result));
        listener = m_parts->doneListener;
        if (listener) {
            error = getAsyncError();
        }
    }
    if (listener) {
        listener->onDone(this, error);
    }
}

void CNetRequest::storeAsyncResult(CURLcode result) {
    CAsyncState& async = m_parts->async;
    async.assertLocked();
    async.setResult(m_parts->isFailure(result) ? result : CURLE_OK);
    m_parts->restoreReuse();
    if (async.getResult() == CURLE_OK && m_parts->curl.getURL().startsWith("http") &&
        !isSuccessStatus(getResponseCode())) {
        async.setResult(CURLE_HTTP_RETURNED_ERROR);
    }
    if (async.getResult() == CURLE_OK) {
        async.setResult(async.getCallbackError() ? CURLE_ABORTED_BY_CALLBACK : CURLE_OK);
        return;
    }
    try {
        async.setMessage(m_parts->getErrorDetail(async.getResult()));
    } catch (const std::bad_alloc&) {
        // The failure counts without its text.
    }
}

P<CError> CNetRequest::getAsyncError() {
    try {
        throwAsyncError();
        return nullptr;
    } catch (...) {
        // Also if there is no memory for the error: the listener must be told about the end.
        return zet::currentExceptionToError();
    }
}

void CNetRequest::throwAsyncError() {
    const CAsyncState& async = m_parts->async;
    async.assertLocked();
    if (const P<CError> error = async.getCallbackError()) {
        error->throwClone();
    }
    if (async.getResult() != CURLE_OK) {
        throwError(async.getResult(), getResponseCodeDomain(), getResponseCode(), async.getMessage());
    }
}

bool CNetRequest::isAsyncDone() const {
    return m_parts->async.getDoneSignal()->isSet();
}

bool CNetRequest::waitAsyncDone(int timeoutMilliseconds) {
    return m_parts->async.getDoneSignal()->wait(timeoutMilliseconds);
}

P<zet::CSignal> CNetRequest::getAsyncDoneSignal() const {
    return m_parts->async.getDoneSignal();
}

void CNetRequest::checkAsyncResult() {
    const zet::CMutexLock lock(m_parts->async.getMutex());
    if (isAsyncDone()) {
        throwAsyncError();
    }
}

}  // namespace vexil
