#include "apps/vexil/mirror/RestoreSource.h"

namespace vexil::app {

IStoredFile::~IStoredFile() = default;
IRestoreSource::~IRestoreSource() = default;

String IStoredFile::getContent() const {
    return String();
}

}  // namespace vexil::app
