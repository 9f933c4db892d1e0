#pragma once

#include "zet/InStream.h"
#include "zet/Pointer.h"

namespace zet {

/// A stream that reads the memory of the caller in place. The memory must stay unchanged while the stream is
/// used. A position beyond the size is a CError. One thread at a time.
class ZET_API CMemoryInStream : public virtual CBase, public IInStream {
public:
    /// \param data  null is a CInvalidArgError unless the size is 0
    /// \param size  in bytes; a negative size means 0
    CMemoryInStream(const void* data, int size);
    /// Pointers to objects are refused: pass a pointer to bytes.
    template <ObjectPointer Data, class Size>
    CMemoryInStream(const Data& data, Size size) = delete;
    ~CMemoryInStream() override;

    [[nodiscard]] int read(void* buffer, int maxLength) override;
    int64 getSize() override { return m_size; }
    void seek(int64 position) override;
    int64 getPosition() override { return m_position; }

private:
    const unsigned char* m_data;
    int m_size;
    int m_position = 0;
};

}  // namespace zet
