#pragma once

#include "vexil/net/ConnectionPools.h"
#include "zet/Mutex.h"

#include <cstddef>
#include <list>
#include <string>
#include <utility>

namespace vexil {

/// The connections of a CSharedConnections that no transfer uses, by demand. Any thread.
class CIdleConnections {
public:
    /// A demand and the connections for it, or nothing. A list, so that giving it back needs no memory.
    using Loan = std::list<std::pair<std::string, P<CConnectionPool>>>;

    /// \param maxCount  how many loans are kept after they were given back
    explicit CIdleConnections(std::size_t maxCount) noexcept : m_maxCount(maxCount) {}

    /// Never nothing. Nobody else has these connections until they are given back.
    /// \param sharesSessions  whether the borrower can share TLS sessions. The same for the same demand
    Loan lend(const std::string& demand, bool sharesSessions) ZET_EXCLUDES(m_mutex);
    /// Takes a loan back. No handle may use it.
    void giveBack(Loan loan) noexcept ZET_EXCLUDES(m_mutex);
    /// Closes all idle connections.
    void close() noexcept ZET_EXCLUDES(m_mutex);
    std::size_t getCount() const ZET_EXCLUDES(m_mutex);

private:
    const std::size_t m_maxCount;
    mutable zet::CMutex m_mutex;
    Loan m_loans ZET_GUARDED_BY(m_mutex);  // the last one used comes first
};

}  // namespace vexil
