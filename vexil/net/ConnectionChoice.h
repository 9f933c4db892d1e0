#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/ConnectionDemand.h"
#include "vexil/net/ConnectionPools.h"
#include "vexil/net/IdleConnections.h"
#include "vexil/net/SharedConnections.h"

namespace vexil {

class CCurlEasy;

/// Makes the transfers of a request use only those kept connections that were made for the same demand.
///
/// libcurl compares too little for connections that are upgraded by STARTTLS or AUTH TLS. Transfers that
/// demand such an upgrade therefore use the connections of a pool, one for each demand. If the caller shares
/// connections (CURLOPT_SHARE), they use no kept connection and keep none.
class CConnectionChoice {
public:
    /// @{

    /// Call it for each option of the caller that libcurl has accepted, with its value.
    void note(CURLoption option, long long value) noexcept;
    void note(CURLoption option, const void* value) noexcept;
    template <class Result, class... Arguments>
    void note(CURLoption option, Result (*value)(Arguments...)) noexcept {
        note(option, reinterpret_cast<const void*>(value));
    }
    /// @}

    /// Call it after curl_easy_reset(), which does not change what is shared.
    void noteReset() noexcept;

    /// The pools of the request's driver; null for the request's own. Detaches the handle from the last pool.
    void setPools(CCurlEasy& curl, const P<CConnectionPools>& pools) noexcept;
    /// Whether the request uses only its own connections under every driver. Until a reset.
    void setKeepsOwn(bool keepsOwn) noexcept { m_keepsOwn = keepsOwn; }
    /// Call it before each transfer.
    /// \param hasReplies  whether the server sends replies to commands: FTP and mail
    /// \return libcurl's result
    CURLcode choose(CCurlEasy& curl, bool hasReplies);
    /// The connections to share; null for none. Survives a reset.
    void setShared(const P<CSharedConnections>& shared) noexcept { m_shared = shared; }
    /// Whether the caller has set a command that may change its connection (CURLOPT_CUSTOMREQUEST).
    bool hasLastingCommand() const noexcept { return m_hasLastingCommand; }
    /// Whether the handle may have connections of its own: always, unless all transfers have borrowed theirs.
    bool mayHaveOwn() const noexcept { return m_hasOwnSessions || !m_hasBorrowed; }
    /// Whether the next transfer can borrow shared connections.
    bool canBorrow() const noexcept;
    /// Call it before a transfer instead of choose().
    /// \return libcurl's result
    CURLcode borrow(CCurlEasy& curl);
    /// Call it after a transfer: ends borrow(). Drops the connections after leaveConnections().
    void giveBack(CCurlEasy& curl) noexcept;
    /// Call it after a transfer whose connection must not be used again. From then on no transfer that has
    /// replies uses an older connection of this request, or of other requests with the same driver.
    void leaveConnections() noexcept;
    /// Call it after other code has set CURLOPT_FORBID_REUSE.
    void restoreReuse(CCurlEasy& curl) const noexcept;

private:
    CURLcode setIsolated(CCurlEasy& curl, bool isIsolated) noexcept;
    bool usesOwn() const noexcept { return m_keepsOwn || !m_driversPools; }
    CURLcode setPool(CCurlEasy& curl, const P<CConnectionPool>& pool) noexcept;

    CConnectionDemand m_demand;
    bool m_forbidsReuse = false;       // the caller's CURLOPT_FORBID_REUSE
    bool m_wantsFreshConnect = false;  // the caller's CURLOPT_FRESH_CONNECT
    bool m_keepsOwn = false;
    bool m_hasCallersShare = false;
    bool m_isIsolated = false;
    bool m_hasLastingCommand = false;
    bool m_hasBorrowed = false;
    bool m_isLoanUnsafe = false;
    bool m_hasOwnSessions = false;  // libcurl may have kept TLS sessions for this request
    int m_ownGeneration = 0;        // like CConnectionPools::getGeneration(), before own pools exist
    P<CConnectionPools> m_ownPools;
    P<CConnectionPools> m_driversPools;
    P<CSharedConnections> m_shared;
    P<CSharedConnections> m_lender;  // of the loan
    CIdleConnections::Loan m_loan;   // empty between transfers
    P<CConnectionPool> m_pool;       // that the handle uses
};

}  // namespace vexil
