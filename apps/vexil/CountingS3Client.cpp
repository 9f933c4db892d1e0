#include "apps/vexil/CountingS3Client.h"

namespace vexil::app {

CCountingS3Client::~CCountingS3Client() = default;

void CCountingS3Client::setRetryLimit(int count) {
    setMaxRetries(count);
    m_retryLimit = count;
}

bool CCountingS3Client::decideRetry(const CError& error, int tries) {
    if (!logAndDecideRetry(error, tries)) {
        return false;
    }
    ++m_retryCount;
    return true;
}

void CCountingS3Client::waitBeforeRetry(int milliseconds) {
    ++m_retryCount;
    CS3Client::waitBeforeRetry(milliseconds);
}

}  // namespace vexil::app
