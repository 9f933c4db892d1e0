#include "apps/vexil/files/InterruptibleFile.h"

#include "apps/vexil/platform/Interrupt.h"

namespace vexil::app {

int CInterruptibleFile::read(void* buffer, int maxLength) {
    CInterrupt::throwIfRequested();
    return zet::CFileInStream::read(buffer, maxLength);
}

}  // namespace vexil::app
