#pragma once

#include "vexil/net/ITransferMetrics.h"

#include <array>
#include <atomic>

namespace vexil {

/// Counts requests since it was made.
///
/// Thread safety: any thread may call every member at any time. Figures that are read one after another may
/// be of different moments.
class VEXIL_API CTransferMetrics : public virtual CBase, public ITransferMetrics {
public:
    /// All figures are 0.
    CTransferMetrics();
    CTransferMetrics(const CTransferMetrics&) = delete;
    CTransferMetrics& operator=(const CTransferMetrics&) = delete;
    ~CTransferMetrics() override;

    /// @{

    /// Requests that have ended, those that have failed, and those that were tried again.
    [[nodiscard]] int64 getRequestCount() const noexcept { return m_requests; }
    [[nodiscard]] int64 getErrorCount() const noexcept;
    [[nodiscard]] int64 getRetryCount() const noexcept { return m_retries; }
    /// @}

    /// Requests that have failed with an error of this kind. Kinds that this version does not know count as
    /// ErrorKind::Other.
    [[nodiscard]] int64 getErrorCount(ErrorKind kind) const noexcept { return m_errors[toIndex(kind)]; }
    /// @{

    /// Bytes of bodies, also of requests that have failed.
    [[nodiscard]] int64 getUploadedByteCount() const noexcept { return m_uploadedBytes; }
    [[nodiscard]] int64 getDownloadedByteCount() const noexcept { return m_downloadedBytes; }
    /// @}

    void onRequest(int64 uploadedBytes, int64 downloadedBytes,
                   std::chrono::microseconds duration) noexcept override;
    void onError(ErrorKind kind) noexcept override;
    void onRetry(std::chrono::milliseconds pause) noexcept override;

private:
    static constexpr std::size_t kindCount = static_cast<std::size_t>(ErrorKind::InvalidData) + 1;

    static std::size_t toIndex(ErrorKind kind) noexcept;

    std::atomic<int64> m_requests{0};
    std::atomic<int64> m_retries{0};
    std::atomic<int64> m_uploadedBytes{0};
    std::atomic<int64> m_downloadedBytes{0};
    std::array<std::atomic<int64>, kindCount> m_errors{};
};

}  // namespace vexil
