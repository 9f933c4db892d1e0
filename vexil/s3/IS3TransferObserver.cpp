#include "vexil/s3/IS3TransferObserver.h"

namespace vexil {

IS3TransferObserver::~IS3TransferObserver() = default;

void IS3TransferObserver::onProgress(int64, int64) {}

void IS3TransferObserver::onUploadBegun(const String&) {}

void IS3TransferObserver::onTries(const CTryLog&) {}

}  // namespace vexil
