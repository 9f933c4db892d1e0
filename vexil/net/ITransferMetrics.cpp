#include "vexil/net/ITransferMetrics.h"

namespace vexil {

ITransferMetrics::~ITransferMetrics() = default;

void ITransferMetrics::onRequest(int64, int64, std::chrono::microseconds) noexcept {}

void ITransferMetrics::onError(ErrorKind) noexcept {}

void ITransferMetrics::onRetry(std::chrono::milliseconds) noexcept {}

}  // namespace vexil
