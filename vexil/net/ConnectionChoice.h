#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/ConnectionDemand.h"
#include "vexil/net/ConnectionPools.h"

namespace vexil {

/// Sees to it that a request's transfers use kept connections only if these were made for the same demand.
///
/// libcurl compares too little for connections that STARTTLS or AUTH TLS has upgraded, or is to upgrade. So transfers
/// that demand such an upgrade use connections of a pool of its own for each demand. Where the caller shares
/// connections himself (CURLOPT_SHARE), they use no kept connection and leave none.
class CConnectionChoice {
public:
    /// @{

    /// Told of each option that libcurl has taken from the caller, with its value.
    void note(CURLoption option, long long value) noexcept;
    void note(CURLoption option, const void* value) noexcept;
    template <class Result, class... Arguments>
    void note(CURLoption option, Result (*value)(Arguments...)) noexcept {
        note(option, reinterpret_cast<const void*>(value));
    }
    /// @}

    /// Told of curl_easy_reset(), which keeps what is shared.
    void noteReset() noexcept;

    /// The pools of what drives the request from now on; null for the request's own. Detaches it from the last pool.
    void setPools(CURL* handle, const P<CConnectionPools>& pools) noexcept;
    /// Whether the request uses no connections but its own, whatever drives it. Until a reset.
    void setKeepsOwn(bool keepsOwn) noexcept { m_keepsOwn = keepsOwn; }
    /// Before each transfer.
    /// \param hasReplies  whether the server speaks in replies to commands: FTP and mail
    /// \return what libcurl says
    CURLcode choose(CURL* handle, bool hasReplies);
    /// After a transfer whose connection must not be used again: no transfer that has replies takes a connection from
    /// before, of those that the request and others with the same driver have made.
    void leaveConnections() noexcept;
    /// After something else has set CURLOPT_FORBID_REUSE.
    void restoreReuse(CURL* handle) const noexcept;

private:
    CURLcode setIsolated(CURL* handle, bool isIsolated) noexcept;
    bool usesOwn() const noexcept { return m_keepsOwn || !m_driversPools; }
    CURLcode setPool(CURL* handle, const P<CConnectionPool>& pool) noexcept;

    CConnectionDemand m_demand;
    bool m_forbidsReuse = false;       // CURLOPT_FORBID_REUSE, as the caller has set it
    bool m_wantsFreshConnect = false;  // CURLOPT_FRESH_CONNECT, likewise
    bool m_keepsOwn = false;
    bool m_hasCallersShare = false;
    bool m_isIsolated = false;
    int m_ownGeneration = 0;  // as CConnectionPools::getGeneration(), also while there are no own pools
    P<CConnectionPools> m_ownPools;
    P<CConnectionPools> m_driversPools;
    P<CConnectionPool> m_pool;  // on the handle
};

}  // namespace vexil
