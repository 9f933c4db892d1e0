#include "apps/vexil/mirror/BackupStore.h"

namespace vexil::app {

IBackupStore::~IBackupStore() = default;

void IBackupStore::finish(const CFolderWalker&, bool, const Report&) {}

}  // namespace vexil::app
