#include "apps/vexil/files/StandardInStream.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Interrupt.h"

#include <cerrno>
#include <cstdio>

namespace vexil::app {

CStandardInStream::~CStandardInStream() = default;

int CStandardInStream::read(void* buffer, int maxLength) {
    CInterrupt::throwIfRequested();
    errno = 0;
    const std::size_t count = std::fread(buffer, 1, static_cast<std::size_t>(maxLength), stdin);
    const int systemError = errno;
    CInterrupt::throwIfRequested();
    if (std::ferror(stdin) != 0) {
        throw CError("Cannot read standard input: " + describeSystemError(systemError), "system",
                     systemError);
    }
    m_position += static_cast<int64>(count);
    return static_cast<int>(count);
}

void CStandardInStream::seek(int64 position) {
    if (position != m_position) {
        throw CError("Standard input cannot be read again.");
    }
}

}  // namespace vexil::app
