#include "vexil/net/ConnectionPools.h"

#include <algorithm>

namespace vexil {

namespace {

constexpr std::size_t maxPools = 16;

}  // namespace

CConnectionPool::CConnectionPool() : m_handle(curl_share_init()) {
    if (!m_handle ||
        curl_share_setopt(m_handle.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT) != CURLSHE_OK) {
        throw CError("Error creating curl share handle.");
    }
}

CConnectionPool::~CConnectionPool() = default;

CConnectionPools::CConnectionPools() = default;

CConnectionPools::~CConnectionPools() = default;

P<CConnectionPool> CConnectionPools::getPool(const std::string& demand) {
    const auto found = std::find_if(m_pools.begin(), m_pools.end(),
                                    [&demand](const auto& entry) { return entry.first == demand; });
    if (found == m_pools.end()) {
        const P<CConnectionPool> pool = new CConnectionPool;
        m_pools.emplace_front(demand, pool);
        if (m_pools.size() > maxPools) {
            m_pools.pop_back();
        }
    } else {
        m_pools.splice(m_pools.begin(), m_pools, found);
    }
    return m_pools.front().second;
}

}  // namespace vexil
