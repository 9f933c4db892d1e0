#include "vexil/s3/S3RefreshedCredentials.h"

#include "zet/Log.h"

#include <exception>

namespace vexil {

namespace {

constexpr int64 pauseAfterFailure = 60 * 1000000;  // microseconds

}  // namespace

CS3RefreshedCredentials::~CS3RefreshedCredentials() = default;

zet::CTime CS3RefreshedCredentials::getCurrentTime() const {
    return zet::CTime::now();
}

bool CS3RefreshedCredentials::isValid(const zet::CTime& now) const {
    return m_hasKeys && (!m_current.expiration.isSet() || now < m_current.expiration);
}

bool CS3RefreshedCredentials::needsLoading(const zet::CTime& now) const {
    if (!isValid(now)) {
        return true;
    }
    const bool isSoon =
        m_current.expiration.isSet() &&
        now.getMicroseconds() >= m_current.expiration.getMicroseconds() - m_margin.getMicroseconds();
    return isSoon && now >= m_nextTry;
}

CS3Credentials CS3RefreshedCredentials::getCredentials() {
    const zet::CMutexLock lock(m_mutex);
    const zet::CTime now = getCurrentTime();
    if (!needsLoading(now)) {
        return m_current.credentials;
    }
    try {
        m_current = load();
        m_hasKeys = true;
        m_nextTry = zet::CTime();
    } catch (const std::exception& error) {
        if (!isValid(now)) {
            throw;
        }
        m_nextTry = zet::CTime::fromMicroseconds(now.getMicroseconds() + pauseAfterFailure);
        zet::logWarning(error, "New S3 keys cannot be loaded. The old ones are used until they expire.");
    }
    return m_current.credentials;
}

}  // namespace vexil
