#include "vexil/net/RetryPolicy.h"

#include "vexil/net/CURLError.h"
#include "vexil/net/ErrorClassification.h"
#include "vexil/net/HeaderValues.h"
#include "vexil/net/NetRequest.h"
#include "zet/MTRand.h"
#include "zet/ParseNumber.h"
#include "zet/Time.h"

#include <algorithm>
#include <utility>

namespace vexil {

namespace {

// Forces the constants into the DLL: on Windows, code that binds a reference to one imports it from there.
[[gnu::used]] const CRetryPolicy::Milliseconds* const neededTimes[] = {
    &CRetryPolicy::firstPause, &CRetryPolicy::maxPause, &CRetryPolicy::defaultLimit,
    &CRetryPolicy::defaultFirstLimit};
[[gnu::used]] const int* const neededCount = &CRetryPolicy::maxBrokenTransfers;

constexpr int64 maxRetryAfterSeconds = 24 * 60 * 60;
// Longer pauses are limited anyway.
constexpr int maxDoublings = 10;
constexpr int64 microsecondsASecond = 1000000;
constexpr int firstRefusal = 400;

double getRandomNumber() {
    const zet::CMutexLock lock(zet::CMTRand::getGlobalInstanceMutex());
    return static_cast<double>(zet::CMTRand::getGlobal()->rand64() >> 11) / 9007199254740992.0;
}

bool tellsResponse(const CError& error) {
    return error.getDomain() == "http" || CCURLError::getResponseCode(error.getProps()) > 0;
}

int64 parseRetryAfter(const String& value) {
    if (const int64 seconds = zet::parseInt64(value, int64(-1)); seconds >= 0) {
        return seconds;
    }
    try {
        const int64 microseconds =
            parseTimestamp(value).getMicroseconds() - zet::CTime::now().getMicroseconds();
        return microseconds / microsecondsASecond + 1;
    } catch (const CError&) {
        return 0;
    }
}

}  // namespace

CRetryPolicy::CRetryPolicy() : CRetryPolicy(Settings()) {}

CRetryPolicy::CRetryPolicy(Settings settings) : m_settings(std::move(settings)) {
    constexpr char function[] = "CRetryPolicy::CRetryPolicy";
    if (!(m_settings.randomShare >= 0 && m_settings.randomShare <= 1)) {
        throw CInvalidArgError(function, "the random share must be from 0 to 1");
    }
    if (!(m_settings.pauseFactor >= 0)) {
        throw CInvalidArgError(function, "the factor of the pauses must not be negative");
    }
    if (m_settings.maxRetries.value_or(0) < 0) {
        throw CInvalidArgError(function, "the number of retries must not be negative");
    }
    if (!m_settings.getRandom) {
        m_settings.getRandom = &getRandomNumber;
    }
}

std::optional<CRetryPolicy::Milliseconds> CRetryPolicy::decidePause(const CError& error, Failures& failures,
                                                                    bool hasMoved, Milliseconds atLeast) {
    const auto now = m_settings.getTime();
    m_hasContact = m_hasContact || hasMoved || tellsResponse(error);
    if (hasMoved) {
        ++failures.broken;
        failures.since = now;
        m_since = now;
    }
    const auto begin = std::min(failures.since.value_or(now), m_since.value_or(now));
    failures.since = failures.since.value_or(now);
    m_since = m_since.value_or(now);
    const Milliseconds limit = m_hasContact ? m_settings.limit : m_settings.firstLimit;
    const auto rest = limit - std::chrono::duration_cast<Milliseconds>(now - begin);
    const Milliseconds wanted = multiply(atLeast, m_settings.pauseFactor);
    if (!mayTryAgain(failures) || rest <= Milliseconds(0) || wanted > rest) {
        return std::nullopt;
    }
    const Milliseconds pause = std::min(std::max(makePause(failures.count + 1), wanted), rest);
    if (m_settings.deadline && now + pause >= *m_settings.deadline) {
        return std::nullopt;
    }
    if (m_settings.budget && !m_settings.budget->take()) {
        return std::nullopt;
    }
    ++failures.count;
    ++m_retryCount;
    if (m_settings.onPause) {
        m_settings.onPause(error, failures.count, pause);
    }
    return pause;
}

CRetryPolicy::Milliseconds CRetryPolicy::makePause(int count) const {
    const Milliseconds whole = std::min(maxPause, firstPause * (1 << std::min(count - 1, maxDoublings)));
    const double share = m_settings.randomShare;
    return multiply(whole, (1 - share + share * m_settings.getRandom()) * m_settings.pauseFactor);
}

CRetryPolicy::Milliseconds CRetryPolicy::multiply(Milliseconds pause, double factor) const {
    return Milliseconds(static_cast<int64>(static_cast<double>(pause.count()) * factor));
}

bool CRetryPolicy::mayTryAgain(const Failures& failures) const {
    return m_settings.maxRetries ? failures.count < *m_settings.maxRetries
                                 : failures.broken <= maxBrokenTransfers;
}

bool CRetryPolicy::isTemporary(const CError& error) const {
    return m_settings.isTemporary ? m_settings.isTemporary(error) : isTransientError(error);
}

void CRetryPolicy::onSuccess() {
    if (m_settings.budget) {
        m_settings.budget->onSuccess();
    }
    m_since.reset();
    m_hasContact = true;
}

CRetryPolicy::Milliseconds CRetryPolicy::findRetryAfter(const CNetRequest& request) {
    const auto& headers = request.getResponseHeaderMap();
    const auto found = headers.find("retry-after");
    if (found == headers.end() || found->second.isEmpty()) {
        return {};
    }
    return std::chrono::seconds(std::clamp<int64>(parseRetryAfter(found->second), 0, maxRetryAfterSeconds));
}

bool CRetryPolicy::hasMovedBytes(const CNetRequest& request, const CError& error) {
    const bool isRefused =
        error.getDomain() == "http" || CCURLError::getResponseCode(error.getProps()) >= firstRefusal;
    return !isRefused && request.getDownloadedByteCount() + request.getUploadedByteCount() > 0;
}

}  // namespace vexil
