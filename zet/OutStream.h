#pragma once

#include "zet/Base.h"
#include "zet/Export.h"
#include "zet/Pointer.h"
#include "zet/Types.h"

namespace zet {

/// A stream of bytes to write to. Failures are thrown as CError. One thread at a time.
class ZET_API IOutStream : public virtual IBase {
public:
    /// Writes all `length` bytes at the position, or throws.
    virtual void write(const void* data, int length) = 0;
    /// An object is no content: give the address of its bytes.
    template <ObjectPointer Data, class Length>
    void write(const Data& data, Length length) = delete;
    /// Bytes from start to end, -1 when unknown.
    virtual int64 getSize() = 0;
    /// Moves to a position in bytes from the start.
    virtual void seek(int64 position) = 0;
    /// Bytes from the start to where the next byte is written.
    virtual int64 getPosition() = 0;

protected:
    ~IOutStream() override;
};

}  // namespace zet
