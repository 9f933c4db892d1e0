#pragma once

#include "zet/InStream.h"
#include "zet/Pointer.h"

namespace zet {

/// A part of a stream as a separate stream: from the current position, to the end or of a given size.
/// Positions count from there. Keeps a reference to the stream. Do not use the stream itself meanwhile. One
/// thread at a time.
class CStreamRange : public virtual CBase, public IInStream {
public:
    /// \param stream  not null
    /// \param size    bytes of the part; -1 for all up to the end
    explicit CStreamRange(IInStream* stream, int64 size = -1);
    ~CStreamRange() override;

    /// \throws CError if the stream has fewer bytes than the given size, or returns a length that was not
    ///         asked for
    [[nodiscard]] int read(void* buffer, int maxLength) override;
    int64 getSize() override;
    /// \throws CError "The position is outside the stream." for a position below 0 or beyond the given size
    void seek(int64 position) override;
    int64 getPosition() override { return m_position; }

private:
    bool hasSize() const noexcept { return m_size >= 0; }

    const P<IInStream> m_stream;
    const int64 m_start;
    const int64 m_size;
    int64 m_position = 0;
};

}  // namespace zet
