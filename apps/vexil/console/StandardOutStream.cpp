#include "apps/vexil/console/StandardOutStream.h"

#include "apps/vexil/console/Console.h"
#include "apps/vexil/platform/Platform.h"

#include <cerrno>

namespace vexil::app {

CStandardOutStream::CStandardOutStream(CConsole& console) : m_console(console) {
    if (!isOutputOpen()) {
        CConsole::failOutput(EBADF);
    }
}

CStandardOutStream::~CStandardOutStream() = default;

void CStandardOutStream::write(const void* data, int length) {
    m_console.printBytes(data, length);
    m_position += length;
}

void CStandardOutStream::seek(int64 position) {
    if (position != m_position) {
        throw CError(
            "Standard output already contains bytes of an interrupted transfer, which has to begin again.",
            "system");
    }
}

}  // namespace vexil::app
