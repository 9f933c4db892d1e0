#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/async/ITransferPolicy.h"

namespace vexil {

/// The policy of a CTransferQueue by default: it tries temporary failures (CRetryPolicy::isTemporary()) again
/// if that is safe.
///
/// A failure is a result that CNetRequest::checkAsyncResult() throws, an HTTP status outside 200 to 299 with
/// any spelling of the URL, and a response that ended within its headers (CNetRequest::isResponseComplete()),
/// which is temporary.
///
/// The server may have carried out a request that has failed. Repeating is safe for the HTTP methods GET,
/// HEAD, PUT, DELETE, OPTIONS and TRACE (RFC 9110, 9.2.2), and for every request of which nothing was sent:
/// name, connection or proxy were not reached. Everything else, such as a POST, an FTP command or a mail, is
/// repeated only with Repeat::Always.
///
/// Thread safety: one thread at a time, also of the queues that share it.
class VEXIL_API CTransferPolicy : public virtual CBase, public ITransferPolicy {
public:
    /// Which requests may be repeated.
    enum class Repeat {
        IfSafe,  ///< those for which repeating is safe
        Always,  ///< all: the caller knows that each of them may be carried out twice
    };

    /// \param settings  of the pauses and of the number of tries
    /// \throws CInvalidArgError for settings that CRetryPolicy refuses
    explicit CTransferPolicy(CRetryPolicy::Settings settings = {}, Repeat repeat = Repeat::IfSafe);
    ~CTransferPolicy() override;

    void checkResult(CNetRequest& request) override;
    /// Observes the header Retry-After of the response (CRetryPolicy::findRetryAfter()).
    [[nodiscard]] std::optional<std::chrono::milliseconds>
    decideRetry(CNetRequest& request, const CError& error, CRetryPolicy::Failures& failures) override;
    [[nodiscard]] std::optional<std::chrono::milliseconds>
    decidePause(CNetRequest& request, const CError& error, CRetryPolicy::Failures& failures) override;
    [[nodiscard]] bool mayTryAgain(const CRetryPolicy::Failures& failures) const override;

    /// How often a transfer was tried again.
    [[nodiscard]] int64 getRetryCount() const noexcept { return m_retryPolicy.getRetryCount(); }

private:
    CRetryPolicy m_retryPolicy;
    Repeat m_repeat;
};

}  // namespace vexil
