#include "vexil/net/AsyncState.h"

#include <utility>

namespace vexil {

CAsyncState::CAsyncState() : m_doneSignal(new zet::CSignal) {}

void CAsyncState::announce() {
    m_doneSignal->reset();
    m_isAnnounced = true;
}

bool CAsyncState::begin() {
    m_doneSignal->reset();
    return std::exchange(m_isAnnounced, false);
}

void CAsyncState::forgetTransfer() {
    const zet::CMutexLock lock(m_mutex);
    m_callbackError = nullptr;
    m_isAnnounced = false;
}

void CAsyncState::setResult(CURLcode result) {
    m_result = result;
    m_message.clear();
}

void CAsyncState::keepCurrentException() noexcept {
    const zet::CMutexLock lock(m_mutex);
    if (!m_callbackError) {
        m_callbackError = zet::currentExceptionToError();
    }
}

P<CError> CAsyncState::getCallbackError() const {
    const zet::CMutexLock lock(m_mutex);
    return m_callbackError;
}

void CAsyncState::setWaker(CNetRequest::ICancelWaker* waker) {
    const zet::CMutexLock lock(m_mutex);
    m_waker = waker;
}

void CAsyncState::wake() const {
    P<CNetRequest::ICancelWaker> waker;
    {
        const zet::CMutexLock lock(m_mutex);
        waker = m_waker;
    }
    if (waker) {
        waker->wake();
    }
}

}  // namespace vexil
