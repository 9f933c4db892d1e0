#include "zet/StreamRange.h"

#include "zet/Error.h"

#include <algorithm>

namespace zet {

CStreamRange::CStreamRange(IInStream* stream, int64 size)
    : m_stream(stream), m_start(stream->getPosition()), m_size(size) {}

CStreamRange::~CStreamRange() = default;

int CStreamRange::read(void* buffer, int maxLength) {
    const int wanted =
        hasSize() ? static_cast<int>(std::min<int64>(maxLength, m_size - m_position)) : maxLength;
    if (wanted <= 0) {
        return 0;
    }
    const int length = m_stream->read(buffer, wanted);
    if (length < 0 || length > wanted) {
        throw CError("The stream returned " + String::fromInt(length) + " bytes where 0 to " +
                     String::fromInt(wanted) + " were asked for.");
    }
    if (length == 0 && hasSize()) {
        throw CError("The stream ends after " + String::fromInt(m_position) + " of " +
                     String::fromInt(m_size) + " bytes.");
    }
    m_position += length;
    return length;
}

int64 CStreamRange::getSize() {
    if (hasSize()) {
        return m_size;
    }
    const int64 whole = m_stream->getSize();
    return whole < 0 ? -1 : std::max<int64>(whole - m_start, 0);
}

void CStreamRange::seek(int64 position) {
    if (position < 0 || (hasSize() && position > m_size)) {
        throw CError("The position is outside the stream.");
    }
    m_stream->seek(m_start + position);
    m_position = position;
}

}  // namespace zet
