#pragma once

#include "zet/InStream.h"
#include "zet/Pointer.h"

namespace zet {

/// A stream that reads a caller's memory in place. The memory must stay as it is while the stream is used.
/// Positions beyond the size are a CError. One thread at a time.
class ZET_API CMemoryInStream : public virtual CBase, public IInStream {
public:
    /// `data` may be null where `size` is 0 and is a CInvalidArgError otherwise; a negative size counts as 0.
    CMemoryInStream(const void* data, int size);
    /// An object is no content: give the address of its bytes.
    template <ObjectPointer Data, class Size>
    CMemoryInStream(const Data& data, Size size) = delete;
    ~CMemoryInStream() override;

    int read(void* buffer, int maxLength) override;
    int64 getSize() override { return m_size; }
    void seek(int64 position) override;
    int64 getPosition() override { return m_position; }

private:
    const unsigned char* m_data;
    int m_size;
    int m_position = 0;
};

}  // namespace zet
