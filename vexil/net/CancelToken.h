#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

#include <atomic>

namespace vexil {

/// Cancels an operation for good, with all of its requests, tries and steps.
///
/// CNetRequest::cancel() ends the running transfer and is forgotten when the next one starts: between two
/// tries of a client it has no effect. A token stays cancelled. It ends every transfer of every request that
/// has it (CNetRequest::setCancelToken(), CSMTPClient::setCancelToken()), also those that have not begun. For
/// other work, create another token.
///
/// Thread safety: any thread may call every member at any time. A signal handler may call cancel() and
/// isCancelled(). Keep a P to the token while the handler is installed.
///
/// \code
/// P<CCancelToken> stop = new CCancelToken;
/// request->setCancelToken(stop);               // survives the reset() of each operation
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

    /// Cancels for good. A running transfer ends as after CNetRequest::cancel(). Under a manager that takes
    /// up to 100 ms, because this function wakes no thread and takes no lock.
    void cancel() noexcept;
    /// Whether cancel() was called.
    [[nodiscard]] bool isCancelled() const noexcept;
    /// \throws CCURLError of code 42 (CURLE_ABORTED_BY_CALLBACK) with the detail "transfer cancelled" if it
    ///         is cancelled
    void throwIfCancelled() const;
    /// Sleeps between two tries.
    /// \param milliseconds  0 or less does not sleep
    /// \return true at the end of the time; false if the token is cancelled, at most 50 ms later
    bool pause(int milliseconds) const;

private:
    std::atomic<bool> m_isCancelled{false};
};

}  // namespace vexil
