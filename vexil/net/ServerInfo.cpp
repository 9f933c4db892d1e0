#include "vexil/net/ServerInfo.h"

#include "vexil/net/HTTPServerHeader.h"

namespace vexil {

namespace {

// Never destroyed: objects with static lifetime may use it while the process ends.
const String& nameServer = *new String("server");

}  // namespace

CServerInfo::CServerInfo() = default;

CServerInfo::CServerInfo(const CServerInfo& other) : IBase(other), CBase(other), m_facts(other.getFacts()) {}

CServerInfo& CServerInfo::operator=(const CServerInfo& other) {
    setFacts(other.getFacts());
    return *this;
}

CServerInfo::~CServerInfo() = default;

bool CServerInfo::isGetBroken() const {
    const zet::CMutexLock lock(m_mutex);
    return m_facts.isGetBroken;
}

bool CServerInfo::isPutBroken() const {
    const zet::CMutexLock lock(m_mutex);
    return m_facts.isPutBroken;
}

bool CServerInfo::areGetRangesBroken() const {
    const zet::CMutexLock lock(m_mutex);
    return m_facts.areGetRangesBroken;
}

String CServerInfo::getServerHeader() const {
    const zet::CMutexLock lock(m_mutex);
    return m_facts.serverHeader;
}

void CServerInfo::updateFromHeaders(const TMap<String, String>& headers) {
    const zet::CMutexLock lock(m_mutex);
    if (!m_facts.serverHeader.isEmpty()) {
        return;
    }
    const auto found = headers.find(nameServer);
    if (found == headers.end() || found->second.isEmpty()) {
        return;
    }
    m_facts.serverHeader = found->second;
    const CHTTPServerHeader components(found->second);
    if (!components.getComponentVersion("DAV").isEmpty() &&
        !components.getComponentVersion("Python").isEmpty()) {
        m_facts.areGetRangesBroken = true;
    }
}

CServerInfo::Facts CServerInfo::getFacts() const {
    const zet::CMutexLock lock(m_mutex);
    return m_facts;
}

void CServerInfo::setFacts(const Facts& facts) {
    const zet::CMutexLock lock(m_mutex);
    m_facts = facts;
}

}  // namespace vexil
