#include "vexil/async/ITransferJob.h"

namespace vexil {

ITransferJob::~ITransferJob() = default;

void ITransferJob::onAttach(CNetRequest&) {}

void ITransferJob::onDetach(CNetRequest&) noexcept {}

void ITransferJob::onTries(const CTryLog&) {}

}  // namespace vexil
