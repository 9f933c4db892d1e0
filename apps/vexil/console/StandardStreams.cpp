#include "apps/vexil/console/StandardStreams.h"

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

std::streambuf::int_type CErrorStreamBuffer::overflow(int_type character) {
    if (traits_type::eq_int_type(character, traits_type::eof())) {
        return traits_type::not_eof(character);
    }
    const char byte = traits_type::to_char_type(character);
    return writeStandardError(&byte, 1) == 1 ? character : traits_type::eof();
}

std::streamsize CErrorStreamBuffer::xsputn(const char* data, std::streamsize size) {
    return static_cast<std::streamsize>(writeStandardError(data, static_cast<std::size_t>(size)));
}

}  // namespace vexil::app
