#include "vexil/net/ConnectionChoice.h"
#include "vexil/net/NetRequest.h"

namespace vexil {

namespace {

constexpr std::chrono::milliseconds minTimeBetweenCalls(50);

}  // namespace

void CNetRequest::cancel() {
    if (!m_isWatched) {
        throw CError("The transfer cannot be cancelled: cancelling is not enabled for this request.");
    }
    m_isCancelRequested = true;
    P<ICancelWaker> waker;
    {
        const zet::CMutexLock lock(m_asyncMutex);
        waker = m_cancelWaker;
    }
    if (waker) {
        waker->wake();
    }
}

void CNetRequest::forgetCancel() noexcept {
    m_isCancelRequested = false;
}

int CNetRequest::progressCallback(void* request, curl_off_t downloadTotal, curl_off_t downloaded,
                                  curl_off_t uploadTotal, curl_off_t uploaded) noexcept {
    return static_cast<CNetRequest*>(request)->progressHandler(downloadTotal, downloaded, uploadTotal,
                                                               uploaded);
}

int CNetRequest::progressHandler(int64 downloadTotal, int64 downloaded, int64 uploadTotal,
                                 int64 uploaded) noexcept {
    if (m_progress && isProgressDue()) {
        // It may take itself off the request.
        const P<ITransferProgress> progress = m_progress;
        try {
            progress->onProgress(downloaded, downloadTotal, uploaded, uploadTotal);
        } catch (...) {
            keepCallbackError();
            return 1;
        }
    }
    m_isCancelled = m_isCancelRequested || isTokenCancelled();
    if (m_isCancelled && !m_isHTTP) {
        // libcurl keeps a connection that it leaves while it waits for the reply behind a file or a mail. The next
        // transfer would take that reply for its own. restoreReuse() ends this.
        curl_easy_setopt(m_handle.get(), CURLOPT_FORBID_REUSE, 1L);
    }
    return m_isCancelled ? 1 : 0;
}

void CNetRequest::restoreReuse() noexcept {
    if (m_isCancelled && !m_isHTTP) {
        m_connections->restoreReuse(m_handle.get());
    }
}

bool CNetRequest::isProgressDue() noexcept {
    const auto now = std::chrono::steady_clock::now();
    if (now < m_nextProgress) {
        return false;
    }
    m_nextProgress = now + minTimeBetweenCalls;
    return true;
}

}  // namespace vexil
