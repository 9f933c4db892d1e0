#include "apps/vexil/BackupStore.h"

namespace vexil::app {

IBackupStore::~IBackupStore() = default;

}  // namespace vexil::app
