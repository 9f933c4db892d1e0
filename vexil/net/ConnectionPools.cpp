#include "vexil/net/ConnectionPools.h"

#include <algorithm>

namespace vexil {

namespace {

constexpr std::size_t maxPools = 16;

}  // namespace

bool doesLibcurlMixSessions() {
    constexpr unsigned int firstVersion = 0x080c00;  // 8.12.0
    return curl_version_info(CURLVERSION_NOW)->version_num >= firstVersion;
}

CConnectionPool::CConnectionPool() : m_handle(curl_share_init()) {
    share(CURL_LOCK_DATA_CONNECT);
}

CConnectionPool::CConnectionPool(bool keepsSessions) : CConnectionPool() {
    if (keepsSessions && doesLibcurlMixSessions()) {
        share(CURL_LOCK_DATA_SSL_SESSION);
    }
}

P<CConnectionPool> CConnectionPool::makeForSharing(bool sharesSessions) {
    const P<CConnectionPool> pool = new CConnectionPool;
    pool->share(CURL_LOCK_DATA_DNS);
    if (sharesSessions) {
        pool->share(CURL_LOCK_DATA_SSL_SESSION);
    }
    return pool;
}

void CConnectionPool::share(curl_lock_data data) {
    if (!m_handle || curl_share_setopt(m_handle.get(), CURLSHOPT_SHARE, data) != CURLSHE_OK) {
        throw CError("Error creating curl share handle.");
    }
}

CConnectionPool::~CConnectionPool() = default;

CConnectionPools::CConnectionPools(bool keepSessions) noexcept : m_keepSessions(keepSessions) {}

CConnectionPools::~CConnectionPools() = default;

P<CConnectionPool> CConnectionPools::getPool(const std::string& demand) {
    const auto found = std::find_if(m_pools.begin(), m_pools.end(),
                                    [&demand](const auto& entry) { return entry.first == demand; });
    if (found == m_pools.end()) {
        const P<CConnectionPool> pool = new CConnectionPool(m_keepSessions);
        m_pools.emplace_front(demand, pool);
        if (m_pools.size() > maxPools) {
            m_pools.pop_back();
        }
    } else {
        m_pools.splice(m_pools.begin(), m_pools, found);
    }
    return m_pools.front().second;
}

void CConnectionPools::drop(const std::string& demand) noexcept {
    m_pools.remove_if([&demand](const auto& entry) { return entry.first == demand; });
}

}  // namespace vexil
