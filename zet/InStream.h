#pragma once

#include "zet/Base.h"
#include "zet/Export.h"
#include "zet/Types.h"

namespace zet {

/// A stream of bytes to read from. Failures are thrown as CError. One thread at a time.
class ZET_API IInStream : public virtual IBase {
public:
    /// Reads at most `maxLength` bytes.
    /// \return how many bytes were read; 0 at the end
    [[nodiscard]] virtual int read(void* buffer, int maxLength) = 0;
    /// Bytes from start to end, -1 if unknown.
    virtual int64 getSize() = 0;
    /// Moves to a position in bytes from the start.
    virtual void seek(int64 position) = 0;
    /// The position of the next byte to read, in bytes from the start.
    virtual int64 getPosition() = 0;

protected:
    ~IInStream() override;
};

}  // namespace zet
