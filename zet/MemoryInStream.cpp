#include "zet/MemoryInStream.h"

#include "zet/InvalidArgError.h"

#include <algorithm>
#include <cstring>

namespace zet {

CMemoryInStream::CMemoryInStream(const void* data, int size)
    : m_data(static_cast<const unsigned char*>(data)), m_size(std::max(size, 0)) {
    if (!data && m_size > 0) {
        throw CInvalidArgError("CMemoryInStream::CMemoryInStream", "data must not be null");
    }
}

CMemoryInStream::~CMemoryInStream() = default;

int CMemoryInStream::read(void* buffer, int maxLength) {
    const int length = std::clamp(m_size - m_position, 0, std::max(maxLength, 0));
    if (length > 0) {
        std::memcpy(buffer, m_data + m_position, static_cast<std::size_t>(length));
        m_position += length;
    }
    return length;
}

void CMemoryInStream::seek(int64 position) {
    if (position < 0 || position > m_size) {
        throw CError("The position is outside the stream.");
    }
    m_position = static_cast<int>(position);
}

}  // namespace zet
