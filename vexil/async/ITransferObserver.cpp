#include "vexil/async/ITransferObserver.h"

namespace vexil {

ITransferObserver::~ITransferObserver() = default;

void ITransferObserver::checkContinue() {}

void ITransferObserver::onStart(CNetRequest&) {}

void ITransferObserver::onProgress(CNetRequest&) {}

void ITransferObserver::onEnd(CNetRequest&) {}

void ITransferObserver::onFewerTransfers(int) {}

void ITransferObserver::onOneConnection() {}

void ITransferObserver::onFatalFailure(CNetRequest&) {}

void ITransferObserver::onGivenUp(CNetRequest&) {}

}  // namespace vexil
