#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/CurlHandles.h"

#include <list>
#include <string>
#include <utility>

namespace vexil {

/// Connections that libcurl keeps apart from others (CURLOPT_SHARE). One thread at a time. It lives as long as a
/// handle uses it.
class CConnectionPool : public virtual CBase {
public:
    /// \param keepsSessions  whether TLS sessions, too, are kept apart from those of other requests. Before version 8.12
    ///                        libcurl does that by itself
    /// \throws CError "Error creating curl share handle."
    explicit CConnectionPool(bool keepsSessions);
    CConnectionPool(const CConnectionPool&) = delete;
    CConnectionPool& operator=(const CConnectionPool&) = delete;
    ~CConnectionPool() override;

    /// libcurl's share object; stays the pool's.
    CURLSH* getHandle() const noexcept { return m_handle.get(); }

private:
    CurlShareHandle m_handle;
};

/// The pools of what drives transfers: of one request, or of all requests on one multi handle. One thread at a time.
class CConnectionPools : public virtual CBase {
public:
    /// \param keepSessions  as for CConnectionPool; without, libcurl keeps sessions by multi handle from version 8.12 on
    explicit CConnectionPools(bool keepSessions) noexcept;
    ~CConnectionPools() override;

    /// The pool for a demand, perhaps a new one. Of more than a few the one that was not asked for longest is dropped.
    P<CConnectionPool> getPool(const std::string& demand);
    /// Lets the pool for a demand go: getPool() will make a new one.
    void drop(const std::string& demand) noexcept;

    /// How often connections were given up, which nothing may use again. Goes into the demands.
    int getGeneration() const noexcept { return m_generation; }
    /// Gives up all connections made so far: from now on demands are others.
    void beginGeneration() noexcept { ++m_generation; }

private:
    const bool m_keepSessions;
    int m_generation = 0;
    std::list<std::pair<std::string, P<CConnectionPool>>> m_pools;  // the last that was asked for first
};

}  // namespace vexil
