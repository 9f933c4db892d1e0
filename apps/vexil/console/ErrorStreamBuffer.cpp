#include "apps/vexil/console/ErrorStreamBuffer.h"

#include "apps/vexil/platform/Platform.h"

namespace vexil::app {

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
