#include "vexil/net/TransferWatch.h"

namespace vexil {

namespace {

constexpr std::chrono::milliseconds minTimeBetweenReports(50);

}  // namespace

void CTransferWatch::reset() {
    m_progress = nullptr;
    m_isCancellable = false;
    m_isOn = false;
}

bool CTransferWatch::cancelUnsent() noexcept {
    if (!isTokenCancelled()) {
        return false;
    }
    m_isCancelled = true;
    m_isUnsent = true;
    return true;
}

void CTransferWatch::report(int64 downloaded, int64 downloadTotal, int64 uploaded, int64 uploadTotal) {
    if (m_progress && isReportDue()) {
        // It may remove itself from the request.
        const P<CNetRequest::ITransferProgress> progress = m_progress;
        progress->onProgress(downloaded, downloadTotal, uploaded, uploadTotal);
    }
}

bool CTransferWatch::isReportDue() noexcept {
    const auto now = std::chrono::steady_clock::now();
    if (now < m_nextReport) {
        return false;
    }
    m_nextReport = now + minTimeBetweenReports;
    return true;
}

bool CTransferWatch::checkCancelled() noexcept {
    m_isCancelled = mustEnd();
    return m_isCancelled;
}

}  // namespace vexil
