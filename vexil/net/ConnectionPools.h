#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/CurlHandles.h"

#include <list>
#include <string>
#include <utility>

namespace vexil {

/// Connections that libcurl keeps apart from others (CURLOPT_SHARE). One thread at a time. Must live while a
/// handle uses it.
class CConnectionPool : public virtual CBase {
public:
    /// \param keepsSessions  whether TLS sessions are kept apart from those of other requests as well.
    ///                       libcurl before version 8.12 always does that
    /// \throws CError "Error creating curl share handle."
    explicit CConnectionPool(bool keepsSessions);
    /// A pool that requests use one after the other, each for one transfer, with resolved names.
    /// \param sharesSessions  whether they share TLS sessions as well. libcurl before version 8.12 leaks the
    ///                        sessions of a request that had its own before
    /// \throws CError "Error creating curl share handle."
    static P<CConnectionPool> makeForSharing(bool sharesSessions);
    CConnectionPool(const CConnectionPool&) = delete;
    CConnectionPool& operator=(const CConnectionPool&) = delete;
    ~CConnectionPool() override;

    /// libcurl's share object; the pool owns it.
    CURLSH* getHandle() const noexcept { return m_handle.get(); }

private:
    CConnectionPool();
    void share(curl_lock_data data);

    CurlShareHandle m_handle;
};

/// Whether this libcurl (8.12 and newer) shares TLS sessions without the request's help. An older one keeps
/// them by request, and leaks those of a request that begins to share.
bool doesLibcurlMixSessions();

/// The pools of a driver of transfers: of one request, or of all requests on one multi handle. One thread at
/// a time.
class CConnectionPools : public virtual CBase {
public:
    /// \param keepSessions  as for CConnectionPool. If false, libcurl 8.12 and newer keeps sessions by multi
    ///                      handle
    explicit CConnectionPools(bool keepSessions) noexcept;
    ~CConnectionPools() override;

    /// The pool for a demand, a new one if necessary. If there are more than a few, the one that was not used
    /// for the longest time is dropped.
    P<CConnectionPool> getPool(const std::string& demand);
    /// Drops the pool for a demand: getPool() will create a new one.
    void drop(const std::string& demand) noexcept;

    /// How often beginGeneration() was called. A part of the demands.
    int getGeneration() const noexcept { return m_generation; }
    /// Gives up all connections made so far: no demand from now on is equal to an earlier one.
    void beginGeneration() noexcept { ++m_generation; }

private:
    const bool m_keepSessions;
    int m_generation = 0;
    std::list<std::pair<std::string, P<CConnectionPool>>> m_pools;  // the last one used comes first
};

}  // namespace vexil
