#include "vexil/net/ConnectionChoice.h"

#include "vexil/net/CurlEasy.h"
#include "vexil/net/ServerCommands.h"

#include <algorithm>
#include <utility>

namespace vexil {

namespace {

/// Leaves what comes before the path of a URL: its scheme, login, host and port.
void cutToServer(std::string& url) {
    const std::size_t mark = url.find("://");
    const std::size_t end = url.find_first_of("/?#", mark == std::string::npos ? 0 : mark + 3);
    url.resize(std::min(end, url.size()));
}

}  // namespace

void CConnectionChoice::note(CURLoption option, long long value) noexcept {
    if (option == CURLOPT_FORBID_REUSE) {
        m_forbidsReuse = value != 0;
    } else if (option == CURLOPT_FRESH_CONNECT) {
        m_wantsFreshConnect = value != 0;
    } else {
        m_demand.note(option, value);
    }
}

void CConnectionChoice::note(CURLoption option, const void* value) noexcept {
    if (option == CURLOPT_SHARE) {
        m_hasCallersShare = value != nullptr;
        m_pool = nullptr;
    } else if (option == CURLOPT_CUSTOMREQUEST) {
        m_hasLastingCommand = value && isLastingCommand(static_cast<const char*>(value));
    } else {
        m_demand.note(option, value);
    }
}

void CConnectionChoice::noteReset() noexcept {
    m_demand.clear();
    m_forbidsReuse = m_wantsFreshConnect = m_keepsOwn = m_isIsolated = m_hasLastingCommand = false;
}

void CConnectionChoice::setPools(CCurlEasy& curl, const P<CConnectionPools>& pools) noexcept {
    m_driversPools = pools;
    setPool(curl, nullptr);
}

CURLcode CConnectionChoice::choose(CCurlEasy& curl, bool hasReplies) {
    m_hasOwnSessions = true;
    std::string key = m_demand.getKey();
    if (key.empty() && m_keepsOwn && !m_hasCallersShare) {
        key = "own";
    }
    const int generation = usesOwn() ? m_ownGeneration : m_driversPools->getGeneration();
    if (hasReplies && generation > 0) {
        key += "\n" + std::to_string(generation);
    }
    const bool isIsolated = m_demand.isUnknown() || (m_hasCallersShare && !key.empty());
    const CURLcode result = setIsolated(curl, isIsolated);
    if (result != CURLE_OK) {
        return result;
    }
    if (key.empty() || isIsolated) {
        return setPool(curl, nullptr);
    }
    if (usesOwn() && !m_ownPools) {
        m_ownPools = new CConnectionPools(true);
    }
    if (m_keepsOwn && m_wantsFreshConnect) {
        // TLS sessions are dropped with the connections: FTP data connections then resume the newest session.
        m_ownPools->drop(key);
    }
    return setPool(curl, (usesOwn() ? m_ownPools : m_driversPools)->getPool(key));
}

bool CConnectionChoice::canBorrow() const noexcept {
    return m_shared && usesOwn() && !m_keepsOwn && !m_hasCallersShare && m_demand.isShareable();
}

CURLcode CConnectionChoice::borrow(CCurlEasy& curl) {
    const bool sharesSessions = !m_hasOwnSessions || doesLibcurlMixSessions();
    std::string key = curl.getURL().toUTF8();
    cutToServer(key);
    key += sharesSessions ? "\n" : "\n-\n";
    key += m_demand.getFullKey();
    m_loan = m_shared->m_idle->lend(key, sharesSessions);
    m_lender = m_shared;
    m_hasBorrowed = true;
    CURLcode result = setIsolated(curl, false);
    if (result == CURLE_OK) {
        result = setPool(curl, m_loan.front().second);
    }
    if (result != CURLE_OK) {
        giveBack(curl);
    }
    return result;
}

void CConnectionChoice::giveBack(CCurlEasy& curl) noexcept {
    if (m_loan.empty()) {
        return;
    }
    setPool(curl, nullptr);
    CIdleConnections::Loan loan;
    loan.swap(m_loan);
    const P<CSharedConnections> lender = std::exchange(m_lender, nullptr);
    if (!std::exchange(m_isLoanUnsafe, false)) {
        lender->m_idle->giveBack(std::move(loan));
    }
}

void CConnectionChoice::leaveConnections() noexcept {
    if (!m_loan.empty()) {
        m_isLoanUnsafe = true;
    } else if (usesOwn()) {
        ++m_ownGeneration;
    } else {
        m_driversPools->beginGeneration();
    }
}

CURLcode CConnectionChoice::setIsolated(CCurlEasy& curl, bool isIsolated) noexcept {
    if (!isIsolated && !m_isIsolated) {
        return CURLE_OK;
    }
    // Every time: the caller may have set one of them since.
    m_isIsolated = isIsolated;
    const CURLcode result =
        curl.trySetOption(CURLOPT_FRESH_CONNECT, isIsolated || m_wantsFreshConnect ? 1L : 0L);
    restoreReuse(curl);
    return result;
}

CURLcode CConnectionChoice::setPool(CCurlEasy& curl, const P<CConnectionPool>& pool) noexcept {
    if (pool == m_pool) {
        return CURLE_OK;
    }
    // Releases the old pool only now, because libcurl no longer uses it.
    const CURLcode result = curl.trySetOption(CURLOPT_SHARE, pool ? pool->getHandle() : nullptr);
    if (result == CURLE_OK) {
        m_pool = pool;
    }
    return result;
}

void CConnectionChoice::restoreReuse(CCurlEasy& curl) const noexcept {
    curl.trySetOption(CURLOPT_FORBID_REUSE, m_forbidsReuse || m_isIsolated ? 1L : 0L);
}

}  // namespace vexil
