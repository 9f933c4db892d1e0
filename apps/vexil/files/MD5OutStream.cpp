#include "apps/vexil/files/MD5OutStream.h"

#include "sigil/Base64.h"

namespace vexil::app {

CMD5OutStream::CMD5OutStream(const P<zet::IOutStream>& out)
    : m_out(out), m_start(out->getPosition()), m_digest(sigil::CDigestType_MD5().createDigest()),
      m_markPosition(m_start), m_markDigest(m_digest->clone()) {}

CMD5OutStream::~CMD5OutStream() = default;

void CMD5OutStream::write(const void* data, int length) {
    m_out->write(data, length);
    m_digest->update(data, length);
}

void CMD5OutStream::seek(int64 position) {
    const bool isBack = position != m_out->getPosition();
    if (isBack && position != m_markPosition) {
        throw CError("The download cannot return to a position without a known checksum.");
    }
    // Also to the current position: a failed write may have moved the file.
    m_out->seek(position);
    if (isBack) {
        m_digest = m_markDigest->clone();
    }
}

void CMD5OutStream::mark() {
    m_markPosition = m_out->getPosition();
    m_markDigest = m_digest->clone();
}

void CMD5OutStream::restart() {
    m_out->seek(m_start);
    m_digest->reset();
    mark();
}

String CMD5OutStream::getContentMD5() const {
    TBuffer<unsigned char> hash;
    m_digest->clone()->finish(hash);
    return sigil::base64Encode(hash.getData(), hash.getUsed(), true, false);
}

}  // namespace vexil::app
