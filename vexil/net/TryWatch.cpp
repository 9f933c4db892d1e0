#include "vexil/net/TryWatch.h"

#include "vexil/net/NetRequest.h"

namespace vexil {

void CTryWatch::end(CNetRequest& request, const CError* error) {
    if (m_metrics) {
        m_metrics->onRequest(request.getUploadedByteCount(), request.getDownloadedByteCount(),
                             m_log.getDuration());
        if (error) {
            m_metrics->onError(error->getKind());
        }
    }
    if (m_recordsTries) {
        m_log.end(request, error);
    }
}

void CTryWatch::onRetry(std::chrono::milliseconds pause) {
    if (m_metrics) {
        m_metrics->onRetry(pause);
    }
    if (m_recordsTries) {
        m_log.setPause(pause);
    }
}

}  // namespace vexil
