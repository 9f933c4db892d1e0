#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

#include <atomic>

namespace vexil {

/// A wish to stop that is never taken back, for any number of requests, tries and steps of an operation.
///
/// CNetRequest::cancel() ends the transfer that runs, and is forgotten when the next one starts: between two tries of a
/// client it is lost. A token stays cancelled, so that every transfer of every request that has it
/// (CNetRequest::setCancelToken(), CSMTPClient::setCancelToken()) ends, those that have not begun too. For other work,
/// make another token.
///
/// Thread safety: every member may be called from any thread at once, cancel() and isCancelled() from a signal handler
/// too. A handler must find the token alive: keep a P to it for as long as the handler is installed.
///
/// \code
/// P<CCancelToken> stop = new CCancelToken;
/// request->setCancelToken(stop);               // lasts past the reset() of each operation
/// client.putObject(*request, "bucket", "key", stream, size, "");
/// // anywhere else, at any time: stop->cancel();
/// \endcode
class VEXIL_API CCancelToken : public virtual CBase {
public:
    /// Not cancelled.
    CCancelToken();
    CCancelToken(const CCancelToken&) = delete;
    CCancelToken& operator=(const CCancelToken&) = delete;
    ~CCancelToken() override;

    /// Cancels for good. A transfer that runs ends as after CNetRequest::cancel(), but under a manager only within 100 ms:
    /// nothing is called and no lock is taken here.
    void cancel() noexcept;
    /// Whether cancel() was called.
    bool isCancelled() const noexcept;
    /// \throws CCURLError of code 42 (CURLE_ABORTED_BY_CALLBACK) with the detail "transfer cancelled" when it is cancelled
    void throwIfCancelled() const;
    /// Sleeps between two tries.
    /// \param milliseconds  0 and less do not sleep
    /// \return false, within 50 ms, when it is or becomes cancelled; true at the end of the time
    bool pause(int milliseconds) const;

private:
    std::atomic<bool> m_isCancelled{false};
};

}  // namespace vexil
