#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"

#include <atomic>
#include <chrono>

namespace vexil {

/// Who is told how a request's transfers progress, and what cancels them. One thread at a time, except
/// requestCancel() and isOn().
class CTransferWatch {
public:
    void setProgress(CNetRequest::ITransferProgress* progress) { m_progress = progress; }
    void setCancellable(bool cancellable) noexcept { m_isCancellable = cancellable; }
    void setToken(CCancelToken* token) { m_token = token; }
    const P<CCancelToken>& getToken() const noexcept { return m_token; }
    /// Whether the request has a rate limit, for which the progress callback waits.
    void setLimited(bool isLimited) noexcept { m_isLimited = isLimited; }
    /// Back to the defaults; token and limit stay.
    void reset();

    /// Whether libcurl has to call the progress callback.
    bool isWanted() const noexcept { return m_isCancellable || m_progress || m_token || m_isLimited; }
    /// @{

    /// Whether libcurl calls the progress callback. isOn(): any thread.
    void setOn(bool isOn) noexcept { m_isOn = isOn; }
    bool isOn() const noexcept { return m_isOn; }
    /// @}

    /// A transfer begins: nothing has cancelled it yet.
    void begin() noexcept { m_isCancelled = m_isUnsent = false; }
    /// Cancels the transfer before libcurl begins it if the token is cancelled.
    /// \return whether it is cancelled
    bool cancelUnsent() noexcept;
    /// Any thread: the transfer has to end.
    void requestCancel() noexcept { m_isRequested = true; }
    void forgetRequest() noexcept { m_isRequested = false; }
    /// In libcurl's progress callback: calls the progress object if it is time for that.
    void report(int64 downloaded, int64 downloadTotal, int64 uploaded, int64 uploadTotal);
    /// In libcurl's progress callback.
    /// \return whether the transfer has to end
    bool checkCancelled() noexcept;

    /// Whether checkCancelled() would return true.
    bool mustEnd() const noexcept { return m_isRequested || isTokenCancelled(); }
    /// Whether the transfer was cancelled.
    bool isCancelled() const noexcept { return m_isCancelled; }
    /// Whether it was cancelled before it began.
    bool isUnsent() const noexcept { return m_isUnsent; }

private:
    bool isTokenCancelled() const noexcept { return m_token && m_token->isCancelled(); }
    bool isReportDue() noexcept;

    P<CNetRequest::ITransferProgress> m_progress;
    P<CCancelToken> m_token;
    std::chrono::steady_clock::time_point m_nextReport;
    bool m_isCancellable = false;
    bool m_isLimited = false;
    std::atomic<bool> m_isOn{false};
    std::atomic<bool> m_isRequested{false};
    bool m_isCancelled = false;
    bool m_isUnsent = false;
};

}  // namespace vexil
