#pragma once

#include "zet/Base.h"
#include "zet/Export.h"
#include "zet/Types.h"

namespace zet {

/// A stream of bytes to read from. Failures are thrown as CError. One thread at a time.
class ZET_API IInStream : public virtual IBase {
public:
    /// Reads at most `maxLength` bytes and returns how many; 0 is the end.
    virtual int read(void* buffer, int maxLength) = 0;
    /// Bytes from start to end, -1 when unknown.
    virtual int64 getSize() = 0;
    /// Moves to a position in bytes from the start.
    virtual void seek(int64 position) = 0;
    /// Bytes from the start to where the next byte is read.
    virtual int64 getPosition() = 0;

protected:
    ~IInStream() override;
};

}  // namespace zet
