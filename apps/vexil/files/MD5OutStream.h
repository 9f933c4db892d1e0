#pragma once

#include "sigil/Digest.h"
#include "vexil/BaseTypes.h"
#include "zet/OutStream.h"

namespace vexil::app {

/// Passes all on to another stream and computes the MD5 of it, from where that stream stands on. It can go back to one
/// place: where mark() was called last.
class CMD5OutStream : public virtual CBase, public zet::IOutStream {
public:
    /// \param out  not null
    explicit CMD5OutStream(const P<zet::IOutStream>& out);
    ~CMD5OutStream() override;

    void write(const void* data, int length) override;
    int64 getSize() override { return m_out->getSize(); }
    /// \throws CError for another position than the current and the marked one; what the stream throws
    void seek(int64 position) override;
    int64 getPosition() override { return m_out->getPosition(); }

    /// Counts bytes that the stream has already, at its beginning. For before anything is written.
    void count(const void* data, int length) { m_digest->update(data, length); }
    /// Marks the current position.
    void mark();
    /// Goes back to the beginning.
    /// \throws what the stream throws; nothing has changed then
    void restart();

    /// The MD5 of what stands before the current position, in base64.
    String getContentMD5() const;

private:
    P<zet::IOutStream> m_out;
    const int64 m_start;
    P<sigil::IDigest> m_digest;
    int64 m_markPosition;
    P<sigil::IDigest> m_markDigest;
};

}  // namespace vexil::app
