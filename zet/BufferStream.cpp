#include "zet/BufferStream.h"

#include "zet/InvalidArgError.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace zet {

namespace {

template <class Buffer>
Buffer* checked(Buffer* buffer) {
    if (!buffer) {
        throw CInvalidArgError("CBufferStream::CBufferStream", "buffer must not be null");
    }
    return buffer;
}

}  // namespace

CBufferStream::CBufferStream() : CBufferStream(new TBuffer<unsigned char>) {}

CBufferStream::CBufferStream(TBuffer<unsigned char>* buffer)
    : m_buffer(checked(buffer)), m_writableBuffer(buffer) {}

CBufferStream::CBufferStream(const TBuffer<unsigned char>* buffer) : m_buffer(checked(buffer)) {}

CBufferStream::~CBufferStream() = default;

int CBufferStream::read(void* buffer, int maxLength) {
    const int length = std::clamp(m_buffer->getUsed() - m_position, 0, std::max(maxLength, 0));
    if (length > 0) {
        std::memcpy(buffer, m_buffer->getData() + m_position, static_cast<std::size_t>(length));
        m_position += length;
    }
    return length;
}

void CBufferStream::write(const void* data, int length) {
    if (!m_writableBuffer) {
        throw CError("The stream is read-only.");
    }
    if (length <= 0) {
        return;
    }
    if (m_position > m_writableBuffer->getUsed()) {
        // Otherwise there would be bytes without a value between the end and the position.
        throw CError("The position is outside the stream.");
    }
    if (length > std::numeric_limits<int>::max() - m_position) {
        throwBufferTooLarge();
    }
    const int end = m_position + length;
    if (end > m_writableBuffer->getUsed()) {
        m_writableBuffer->setUsed(end);
    }
    std::memcpy(m_writableBuffer->getData() + m_position, data, static_cast<std::size_t>(length));
    m_position = end;
}

void CBufferStream::seek(int64 position) {
    if (position < 0 || position > m_buffer->getUsed()) {
        throw CError("The position is outside the stream.");
    }
    m_position = static_cast<int>(position);
}

}  // namespace zet
