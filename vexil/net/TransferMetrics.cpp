#include "vexil/net/TransferMetrics.h"

#include <numeric>

namespace vexil {

CTransferMetrics::CTransferMetrics() = default;

CTransferMetrics::~CTransferMetrics() = default;

std::size_t CTransferMetrics::toIndex(ErrorKind kind) noexcept {
    const auto index = static_cast<std::size_t>(kind);
    return index < kindCount ? index : static_cast<std::size_t>(ErrorKind::Other);
}

int64 CTransferMetrics::getErrorCount() const noexcept {
    return std::accumulate(m_errors.begin(), m_errors.end(), int64{0});
}

void CTransferMetrics::onRequest(int64 uploadedBytes, int64 downloadedBytes,
                                 std::chrono::microseconds) noexcept {
    ++m_requests;
    m_uploadedBytes += uploadedBytes;
    m_downloadedBytes += downloadedBytes;
}

void CTransferMetrics::onError(ErrorKind kind) noexcept {
    ++m_errors[toIndex(kind)];
}

void CTransferMetrics::onRetry(std::chrono::milliseconds) noexcept {
    ++m_retries;
}

}  // namespace vexil
