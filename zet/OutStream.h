#pragma once

#include "zet/Base.h"
#include "zet/Export.h"
#include "zet/Pointer.h"
#include "zet/Types.h"

namespace zet {

/// A stream of bytes to write to. Failures are thrown as CError. One thread at a time.
class ZET_API IOutStream : public virtual IBase {
public:
    /// Writes all `length` bytes at the position.
    virtual void write(const void* data, int length) = 0;
    /// Pointers to objects are refused: pass a pointer to bytes.
    template <ObjectPointer Data, class Length>
    void write(const Data& data, Length length) = delete;
    /// Bytes from start to end, -1 if unknown.
    virtual int64 getSize() = 0;
    /// Moves to a position in bytes from the start.
    virtual void seek(int64 position) = 0;
    /// The position of the next byte to write, in bytes from the start.
    virtual int64 getPosition() = 0;

protected:
    ~IOutStream() override;
};

}  // namespace zet
