#include "vexil/net/RetryBudget.h"

#include <algorithm>
#include <cmath>

namespace vexil {

namespace {

constexpr int64 wholeRetry = 1000;
constexpr int maxRetries = 1000000000;

int checkRetries(int retries) {
    if (retries < 0 || retries > maxRetries) {
        throw CInvalidArgError("CRetryBudget::CRetryBudget",
                               "the number of retries must be 0 to " + String::fromInt(maxRetries));
    }
    return retries;
}

double checkShare(double share) {
    if (!(share >= 0 && share <= 1)) {
        throw CInvalidArgError("CRetryBudget::CRetryBudget", "the share of a success must be 0 to 1");
    }
    return share;
}

}  // namespace

CRetryBudget::CRetryBudget(int retries, double perSuccess)
    : m_max(checkRetries(retries) * wholeRetry),
      m_perSuccess(std::llround(checkShare(perSuccess) * static_cast<double>(wholeRetry))), m_left(m_max) {}

CRetryBudget::~CRetryBudget() = default;

bool CRetryBudget::take() {
    const zet::CMutexLock lock(m_mutex);
    if (m_left < wholeRetry) {
        return false;
    }
    m_left -= wholeRetry;
    return true;
}

void CRetryBudget::onSuccess() {
    const zet::CMutexLock lock(m_mutex);
    m_left = std::min(m_max, m_left + m_perSuccess);
}

int CRetryBudget::getLeft() const {
    const zet::CMutexLock lock(m_mutex);
    return static_cast<int>(m_left / wholeRetry);
}

}  // namespace vexil
