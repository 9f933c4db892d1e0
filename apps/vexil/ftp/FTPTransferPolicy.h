#pragma once

#include "apps/vexil/ftp/FTPDiagnosis.h"
#include "apps/vexil/transfer/ServerPolicy.h"
#include "vexil/async/AsyncNetRequestManager.h"
#include "vexil/net/CURLError.h"

#include <map>
#include <memory>

namespace vexil::app {

/// The policy of FTP transfers: temporary failures (a connection that fails or cannot be made, a busy server)
/// are tried again as the patience allows, prepared again.
class CFTPTransferPolicy : public virtual CBase, public IServerPolicy {
public:
    explicit CFTPTransferPolicy(
        const std::shared_ptr<CRetryPolicy>& patience = std::make_shared<CRetryPolicy>())
        : m_retryPolicy(patience), m_manager(new CAsyncNetRequestManager) {}

    void checkResult(CNetRequest& request) override;
    std::optional<std::chrono::milliseconds> decideRetry(CNetRequest& request, const CError& error,
                                                         CRetryPolicy::Failures& failures) override;
    std::optional<std::chrono::milliseconds> decidePause(CNetRequest& request, const CError& error,
                                                         CRetryPolicy::Failures& failures) override {
        return m_retryPolicy->decidePause(error, failures, hasMovedBytes(request, error));
    }
    bool mayTryAgain(const CRetryPolicy::Failures& failures) const override {
        return m_retryPolicy->mayTryAgain(failures);
    }
    /// A refused login, by a reply or by the end of the connection. True only if a login has succeeded
    /// before: then name and password are not the reason.
    bool isRefusedConnection(CNetRequest& request, const CError& error) const override;
    CErrorDiagnosis diagnose(const CError& error) const override { return diagnoseFTP(error); }
    P<CNetRequest> getOwnRequest() const override { return m_ownRequest; }
    /// Uses the connection that perform() keeps, if it is the same request.
    void performHere(CNetRequest& request) override;
    /// Whether a transfer over a data connection has succeeded.
    bool hasTransferred() const noexcept { return m_hasTransferred; }
    int64 getRetryCount() const override { return m_retryPolicy->getRetryCount(); }

    /// The request of the last perform(); keeps a reference to it.
    void setOwnRequest(CNetRequest& request) { m_ownRequest = &request; }

    /// Must be called for each prepared request. The request then keeps its own connections. After a data
    /// connection was refused, or its TLS handshake failed, the next transfer uses a new connection: libcurl
    /// no longer offers a session to resume on the old one.
    void setUp(CNetRequest& request);

    /// Performs a prepared request. Throws a failure as checkResult() does.
    void perform(CNetRequest& request);
    /// Throws a failure of the request with the server's reply.
    [[noreturn]] static void throwWithReply(const CCURLError& error, CNetRequest& request);

private:
    const std::shared_ptr<CRetryPolicy> m_retryPolicy;
    bool m_hasLoggedIn = false;
    bool m_hasTransferred = false;
    P<CNetRequest> m_ownRequest;
    // Requests whose data connection was refused in the last transfer. References are kept, because a new
    // request could get the same address.
    std::map<const CNetRequest*, P<CNetRequest>> m_refusedRequests;
    P<CAsyncNetRequestManager> m_manager;  // keeps the connection of perform()
};

/// Throws a CError for a data connection that ends before it is encrypted, if others did not: some servers
/// refuse a transfer in this way, and libcurl does not read their reply.
void throwIfOnlyThisBreaks(const CFTPTransferPolicy& policy, const CError& error);

}  // namespace vexil::app
