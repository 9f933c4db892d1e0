#include "vexil/net/SharedConnections.h"

#include "vexil/net/IdleConnections.h"
#include "vexil/net/NetRequestParts.h"

#include <algorithm>

namespace vexil {

// ---- what is idle ----------------------------------------------------------------------------------------

CIdleConnections::Loan CIdleConnections::lend(const std::string& demand, bool sharesSessions) {
    Loan loan;
    {
        const zet::CMutexLock lock(m_mutex);
        const auto found = std::find_if(m_loans.begin(), m_loans.end(),
                                        [&demand](const auto& entry) { return entry.first == demand; });
        if (found != m_loans.end()) {
            loan.splice(loan.begin(), m_loans, found);
        }
    }
    if (loan.empty()) {
        loan.emplace_back(demand, CConnectionPool::makeForSharing(sharesSessions));
    }
    return loan;
}

void CIdleConnections::giveBack(Loan loan) noexcept {
    // Closed without the lock: a server may be told.
    Loan superfluous;
    const zet::CMutexLock lock(m_mutex);
    m_loans.splice(m_loans.begin(), loan);
    if (m_loans.size() > m_maxCount) {
        superfluous.splice(superfluous.begin(), m_loans, std::prev(m_loans.end()));
    }
}

void CIdleConnections::close() noexcept {
    Loan superfluous;
    const zet::CMutexLock lock(m_mutex);
    superfluous.swap(m_loans);
}

std::size_t CIdleConnections::getCount() const {
    const zet::CMutexLock lock(m_mutex);
    return m_loans.size();
}

// ---- the public side -------------------------------------------------------------------------------------

namespace {

std::size_t checkCount(int maxIdle) {
    if (maxIdle < 0) {
        throw CInvalidArgError("CSharedConnections::CSharedConnections", "maxIdle must not be negative");
    }
    return static_cast<std::size_t>(maxIdle);
}

}  // namespace

CSharedConnections::CSharedConnections(int maxIdle)
    : m_idle(std::make_unique<CIdleConnections>(checkCount(maxIdle))) {}

CSharedConnections::~CSharedConnections() = default;

void CSharedConnections::closeIdle() noexcept {
    m_idle->close();
}

int CSharedConnections::getIdleCount() const {
    return static_cast<int>(m_idle->getCount());
}

void setSharedConnections(CNetRequest& request, CSharedConnections* connections) noexcept {
    CNetRequestCallbacks::getConnections(request).setShared(connections);
}

}  // namespace vexil
