#pragma once

#include "apps/vexil/transfer/TransferPolicy.h"
#include "vexil/async/AsyncNetRequestManager.h"
#include "vexil/net/CURLError.h"

#include <map>
#include <memory>

namespace vexil::app {

/// Treats transfers over FTP: what may pass (a connection that breaks or does not come about, a server that is busy) is
/// tried again as the patience allows, prepared again.
class CFTPTransferPolicy : public ITransferPolicy {
public:
    explicit CFTPTransferPolicy(const std::shared_ptr<CPatience>& patience = std::make_shared<CPatience>())
        : m_patience(patience), m_manager(new CAsyncNetRequestManager) {}

    void checkResult(CNetRequest& request) override;
    std::optional<std::chrono::milliseconds> decideRetry(CNetRequest& request, const CError& error,
                                                         CPatience::Failures& failures) override;
    std::optional<std::chrono::milliseconds> decidePause(CNetRequest& request, const CError& error,
                                                         CPatience::Failures& failures) override {
        return m_patience->decidePause(error, failures, hasMovedBytes(request, error));
    }
    bool mayTryAgain(const CPatience::Failures& failures) const override {
        return m_patience->mayTryAgain(failures);
    }
    /// A login that is refused, by a reply or by the end of the connection. True only when one has succeeded before: then
    /// it is not name and password that the server does not like.
    bool isRefusedConnection(CNetRequest& request, const CError& error) const override;
    P<CNetRequest> getOwnRequest() const override { return m_ownRequest; }
    /// Over the connection that perform() keeps, if it is the same request.
    void performHere(CNetRequest& request) override;
    /// Whether a transfer over a data connection has succeeded.
    bool hasTransferred() const noexcept { return m_hasTransferred; }
    int64 getRetryCount() const override { return m_patience->getRetryCount(); }

    /// The request that perform() is called with; a reference is kept.
    void setOwnRequest(CNetRequest& request) { m_ownRequest = &request; }

    /// Call it when a request is prepared. The request then keeps connections of its own. After a data connection was
    /// refused, or its TLS handshake failed, its next transfer uses a new connection: libcurl no longer offers a session
    /// to resume on the old one.
    void setUp(CNetRequest& request);

    /// Performs a request that is prepared. A failure becomes what checkResult() throws.
    void perform(CNetRequest& request);
    /// Throws a failure of the request's with what the server has said.
    [[noreturn]] static void throwWithReply(const CCURLError& error, CNetRequest& request);

private:
    const std::shared_ptr<CPatience> m_patience;
    bool m_hasLoggedIn = false;
    bool m_hasTransferred = false;
    P<CNetRequest> m_ownRequest;
    // Whose data connection was refused in the last transfer. They are kept: another request could get the address.
    std::map<const CNetRequest*, P<CNetRequest>> m_refusedRequests;
    P<CAsyncNetRequestManager> m_manager;  // keeps the connection of what perform() runs
};

/// Throws a CError for a data connection that ends before it is encrypted, if others did not: some servers refuse a transfer
/// so, and libcurl does not read their reply.
void throwIfOnlyThisBreaks(const CFTPTransferPolicy& policy, const CError& error);

}  // namespace vexil::app
