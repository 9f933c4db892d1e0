#include "apps/vexil/files/StandardInStream.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/platform/Platform.h"

#include <cerrno>

namespace vexil::app {

CStandardInStream::~CStandardInStream() = default;

int CStandardInStream::read(void* buffer, int maxLength) {
    int length = 0;
    while (length < maxLength) {
        const int count = readStandardInput(static_cast<char*>(buffer) + length, maxLength - length);
        const int systemError = errno;
        CInterrupt::throwIfRequested();
        if (count < 0) {
            throw CError("Cannot read standard input: " + describeSystemError(systemError), "system",
                         systemError);
        }
        if (count == 0) {
            break;
        }
        length += count;
    }
    m_position += length;
    return length;
}

void CStandardInStream::seek(int64 position) {
    if (position != m_position) {
        throw CError("Standard input cannot be read again.");
    }
}

}  // namespace vexil::app
