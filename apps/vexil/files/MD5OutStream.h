#pragma once

#include "sigil/Digest.h"
#include "vexil/BaseTypes.h"
#include "zet/OutStream.h"

namespace vexil::app {

/// Passes everything on to another stream and computes the MD5 of it, from the current position of that
/// stream on. It can return to one position: that of the last mark().
class CMD5OutStream : public virtual CBase, public zet::IOutStream {
public:
    /// \param out  not null
    explicit CMD5OutStream(const P<zet::IOutStream>& out);
    ~CMD5OutStream() override;

    void write(const void* data, int length) override;
    int64 getSize() override { return m_out->getSize(); }
    /// \throws CError for a position that is neither the current nor the marked one; exceptions of the stream
    void seek(int64 position) override;
    int64 getPosition() override { return m_out->getPosition(); }

    /// Adds bytes that the stream already contains, at its beginning. Must be called before anything is
    /// written.
    void count(const void* data, int length) { m_digest->update(data, length); }
    /// Marks the current position.
    void mark();
    /// Returns to the beginning.
    /// \throws exceptions of the stream; nothing has changed then
    void restart();

    /// The MD5 of the data before the current position, in base64.
    String getContentMD5() const;

private:
    P<zet::IOutStream> m_out;
    const int64 m_start;
    P<sigil::IDigest> m_digest;
    int64 m_markPosition;
    P<sigil::IDigest> m_markDigest;
};

}  // namespace vexil::app
