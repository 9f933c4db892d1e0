#include "vexil/s3/S3DetourJob.h"

namespace vexil {

ITransfer& CS3DetourJob::getTransfer() {
    m_transfer = &m_job->getTransfer();
    return *this;
}

void CS3DetourJob::onTries(const CTryLog& tries) {
    m_job->onTries(tries);
    if (m_observer) {
        m_observer->onTries(tries);
    }
}

void CS3DetourJob::prepare(CNetRequest& request) {
    m_transfer->prepare(request);
    m_detour.apply(m_client, request);
}

bool CS3DetourJob::canFallBack(CNetRequest& request, const CError& error) {
    return m_detour.find(m_client, request, error) || m_transfer->canFallBack(request, error);
}

}  // namespace vexil
