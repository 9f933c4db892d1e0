#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

#include <atomic>

namespace vexil {

/// Pauses the transfers that have it, and continues them: CTransferQueue::setPauseToken(),
/// CS3TransferSettings::pauseToken.
///
/// While it is paused, no transfer begins, and those that run neither read nor write their connection
/// (curl_easy_pause). Both take up to 100 ms. Connections stay open; if the server closes one meanwhile, the
/// transfer fails after the pause, and is tried again as the policy allows. The low speed limit does not
/// count during the pause; deadlines and full request timeouts do. A paused transfer can be cancelled.
///
/// Thread safety: any thread may call every member at any time, also a signal handler. Keep a P to the token
/// while the handler is installed.
class VEXIL_API CPauseToken : public virtual CBase {
public:
    /// Not paused.
    CPauseToken();
    CPauseToken(const CPauseToken&) = delete;
    CPauseToken& operator=(const CPauseToken&) = delete;
    ~CPauseToken() override;

    /// Pauses; has no effect if it is paused.
    void pause() noexcept;
    /// Continues; has no effect if it is not paused.
    void resume() noexcept;
    /// Whether it is paused.
    [[nodiscard]] bool isPaused() const noexcept;

private:
    std::atomic<bool> m_isPaused{false};
};

}  // namespace vexil
