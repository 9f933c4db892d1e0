#include "apps/vexil/transfer/Patience.h"

#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/transfer/AnswerCheck.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/HeaderValues.h"
#include "zet/MTRand.h"
#include "zet/ParseNumber.h"
#include "zet/Time.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace vexil::app {

namespace {

constexpr std::chrono::milliseconds maxStep(50);
constexpr int64 maxRetryAfterSeconds = 24 * 60 * 60;
// Longer pauses are limited anyway.
constexpr int maxDoublings = 10;
constexpr int64 microsecondsASecond = 1000000;

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

CPatience::CPatience() : CPatience(Settings()) {}

CPatience::CPatience(Settings settings) : m_settings(std::move(settings)) {
    if (!m_settings.getRandom) {
        m_settings.getRandom = &getRandomNumber;
    }
}

std::optional<CPatience::Milliseconds> CPatience::decidePause(const CError& error, Failures& failures,
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
    ++failures.count;
    ++m_retryCount;
    const Milliseconds pause = std::min(std::max(makePause(failures.count), wanted), rest);
    if (m_settings.onPause) {
        m_settings.onPause(error, failures.count, pause);
    }
    return pause;
}

CPatience::Milliseconds CPatience::makePause(int count) const {
    const Milliseconds whole = std::min(maxPause, firstPause * (1 << std::min(count - 1, maxDoublings)));
    return multiply(whole, (1 + m_settings.getRandom()) / 2 * m_settings.pauseFactor);
}

CPatience::Milliseconds CPatience::multiply(Milliseconds pause, double factor) const {
    return Milliseconds(static_cast<int64>(static_cast<double>(pause.count()) * factor));
}

bool CPatience::mayTryAgain(const Failures& failures) const {
    return m_settings.maxRetries ? failures.count < *m_settings.maxRetries
                                 : failures.broken <= maxBrokenTransfers;
}

void CPatience::onSuccess() {
    m_since.reset();
    m_hasContact = true;
}

void CPatience::wait(Milliseconds pause) {
    const auto end = Clock::now() + pause;
    for (auto now = end - pause; now < end; now = Clock::now()) {
        // A signal handler cannot wake a thread.
        CInterrupt::throwIfRequested();
        std::this_thread::sleep_for(std::min<Clock::duration>(maxStep, end - now));
    }
    CInterrupt::throwIfRequested();
}

CPatience::Milliseconds CPatience::findRetryAfter(const CNetRequest& request) {
    const String value = getAnswerHeader(request, "retry-after");
    if (value.isEmpty()) {
        return {};
    }
    return std::chrono::seconds(std::clamp<int64>(parseRetryAfter(value), 0, maxRetryAfterSeconds));
}

}  // namespace vexil::app
