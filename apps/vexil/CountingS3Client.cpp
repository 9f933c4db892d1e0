#include "apps/vexil/CountingS3Client.h"

namespace vexil::app {

CCountingS3Client::~CCountingS3Client() = default;

void CCountingS3Client::waitBeforeRetry(int milliseconds) {
    ++m_retryCount;
    CS3Client::waitBeforeRetry(milliseconds);
}

}  // namespace vexil::app
