#pragma once

#include "zet/Buffer.h"
#include "zet/InStream.h"
#include "zet/OutStream.h"
#include "zet/Pointer.h"

namespace zet {

/// A stream over a buffer, with one position for reading and writing. Keeps a reference to the buffer. One
/// thread at a time.
///
/// Positions are 0 to the used size; a greater one is a CError. Writing overwrites from the position on and
/// lengthens the buffer as needed. If somebody else shortens the buffer to less than the position, reading
/// finds the end, and writing is a CError until seek() moves back.
class ZET_API CBufferStream : public virtual CBase, public IInStream, public IOutStream {
public:
    /// Over a new, empty buffer.
    CBufferStream();
    /// Over a buffer, for reading and writing. A null buffer is a CInvalidArgError.
    explicit CBufferStream(TBuffer<unsigned char>* buffer);
    /// Over a buffer, only for reading: write() throws a CError. A null buffer is a CInvalidArgError.
    explicit CBufferStream(const TBuffer<unsigned char>* buffer);
    ~CBufferStream() override;

    [[nodiscard]] int read(void* buffer, int maxLength) override;
    void write(const void* data, int length) override;
    using IOutStream::write;
    int64 getSize() override { return m_buffer->getUsed(); }
    void seek(int64 position) override;
    int64 getPosition() override { return m_position; }

    /// The buffer under the stream; never null.
    [[nodiscard]] PC<TBuffer<unsigned char>> getBuffer() const { return m_buffer; }

private:
    PC<TBuffer<unsigned char>> m_buffer;
    P<TBuffer<unsigned char>> m_writableBuffer;
    int m_position = 0;
};

}  // namespace zet
