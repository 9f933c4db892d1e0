#include "vexil/net/NetRequest.h"

namespace vexil {

void CNetRequest::setAsyncInfo(bool done, CURLcode result) {
    P<IDoneListener> listener;
    {
        const zet::CMutexLock lock(m_asyncMutex);
        if (!done) {
            resetForPerform();
            m_asyncDoneSignal->reset();
            m_asyncResult = result;
            m_asyncErrorMessage.clear();
            return;
        }
        m_asyncResult = result;
        if (result == CURLE_OK && m_url.startsWith("http")) {
            const int status = getResponseCode();
            if (status < 200 || status > 299) {
                m_asyncResult = CURLE_HTTP_RETURNED_ERROR;
            }
        }
        if (m_asyncResult != CURLE_OK) {
            m_asyncErrorMessage = getErrorMessage();
        } else {
            m_asyncErrorMessage.clear();
            if (m_pendingCallbackError) {
                m_asyncResult = CURLE_ABORTED_BY_CALLBACK;
            }
        }
        listener = m_doneListener;
        // Last: whoever waits for it may use the request at once.
        m_asyncDoneSignal->set();
    }
    if (!listener) {
        return;
    }
    P<CError> error;
    try {
        checkAsyncResult();
    } catch (const CError& thrown) {
        error = thrown.clone();
    }
    listener->onDone(this, error);
}

bool CNetRequest::isAsyncDone() const {
    return m_asyncDoneSignal->isSet();
}

bool CNetRequest::waitAsyncDone(int timeoutMilliseconds) {
    return m_asyncDoneSignal->wait(timeoutMilliseconds);
}

void CNetRequest::checkAsyncResult() {
    const zet::CMutexLock lock(m_asyncMutex);
    if (!m_asyncDoneSignal->isSet()) {
        return;
    }
    if (m_pendingCallbackError) {
        m_pendingCallbackError->throwClone();
    }
    if (m_asyncResult != CURLE_OK) {
        throwError(m_asyncResult, getResponseCodeDomain(), getResponseCode(), m_asyncErrorMessage);
    }
}

}  // namespace vexil
