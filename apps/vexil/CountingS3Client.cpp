#include "apps/vexil/CountingS3Client.h"

#include "apps/vexil/Interrupt.h"

namespace vexil::app {

CCountingS3Client::~CCountingS3Client() = default;

void CCountingS3Client::waitBeforeRetry(int milliseconds) {
    CInterrupt::throwIfRequested();
    ++m_retryCount;
    CS3Client::waitBeforeRetry(milliseconds);
}

}  // namespace vexil::app
