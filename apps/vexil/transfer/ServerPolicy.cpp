#include "apps/vexil/transfer/ServerPolicy.h"

#include "apps/vexil/session/TransferDiagnosis.h"
#include "apps/vexil/session/TransferMonitor.h"
#include "vexil/net/CURLError.h"

namespace vexil::app {

namespace {

constexpr int firstRefusal = 400;

}  // namespace

IServerPolicy::~IServerPolicy() = default;

CErrorDiagnosis IServerPolicy::diagnose(const CError& error) const {
    return diagnoseTransfer(error);
}

bool IServerPolicy::hasMovedBytes(CNetRequest& request, const CError& error) {
    const bool isRefused =
        error.getDomain() == "http" || CCURLError::getResponseCode(error.getProps()) >= firstRefusal;
    return !isRefused && CTransferMonitor::of(request).getBytes() > 0;
}

}  // namespace vexil::app
