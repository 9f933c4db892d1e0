#include "apps/vexil/RestoreSource.h"

namespace vexil::app {

IStoredFile::~IStoredFile() = default;
IRestoreSource::~IRestoreSource() = default;

}  // namespace vexil::app
