#include "vexil/s3/S3UploadSource.h"

#include "sigil/Hex.h"
#include "vexil/net/ErrorClassification.h"
#include "vexil/net/SendSource.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3ContentMD5.h"
#include "vexil/s3/S3HeaderMap.h"
#include "zet/StreamRange.h"

#include <algorithm>
#include <cstring>

namespace vexil {

CS3UploadSource::CS3UploadSource(zet::IInStream* stream, int64 size, const String& name, Framing framing)
    : m_stream(zet::make<zet::CStreamRange>(stream, size)), m_size(size),
      m_sentSize(framing == Framing::Chunks ? CS3ChunkSigner::getEncodedSize(size) : size), m_name(name),
      m_framing(framing), m_md5(sigil::CDigestType_MD5().createDigest()) {}

CS3UploadSource::~CS3UploadSource() = default;

int CS3UploadSource::read(void* buffer, int maxLength, const TMap<String, String>&) {
    if (m_position == 0) {
        begin();
    }
    const int length = isInChunks() ? readChunks(static_cast<unsigned char*>(buffer), maxLength)
                                    : readBytes(buffer, maxLength);
    m_position += length;
    return length;
}

void CS3UploadSource::seek(int64 position) {
    if (position != 0) {
        throw CError("The body of an upload can be read again only from its beginning.");
    }
    if (m_position != 0 || m_readSize != 0) {
        m_stream->seek(0);
        m_position = 0;
        m_readSize = 0;
    }
}

void CS3UploadSource::begin() {
    // A read that failed may have moved the stream.
    if (m_stream->getPosition() != 0) {
        m_stream->seek(0);
    }
    m_readSize = 0;
    m_md5->reset();
    m_chunk.clear();
    m_chunkPosition = 0;
    if (isInChunks()) {
        m_signer.emplace(m_seed);
    }
}

int CS3UploadSource::readBytes(void* buffer, int maxLength) {
    const int length = m_stream->read(buffer, maxLength);
    m_md5->update(buffer, length);
    m_readSize += length;
    return length;
}

int CS3UploadSource::readChunks(unsigned char* buffer, int maxLength) {
    if (m_position == m_sentSize) {
        return 0;
    }
    if (m_chunkPosition == m_chunk.size()) {
        makeNextChunk();
    }
    const std::size_t length =
        std::min(m_chunk.size() - m_chunkPosition, static_cast<std::size_t>(maxLength));
    std::memcpy(buffer, m_chunk.data() + m_chunkPosition, length);
    m_chunkPosition += length;
    return static_cast<int>(length);
}

void CS3UploadSource::makeNextChunk() {
    const int size = static_cast<int>(std::min<int64>(m_size - m_readSize, CS3ChunkSigner::chunkSize));
    std::string bytes(static_cast<std::size_t>(size), '\0');
    for (int filled = 0; filled < size;) {
        filled += readBytes(bytes.data() + filled, size - filled);
    }
    m_chunk = m_signer->signChunk(bytes.data(), size) + bytes + "\r\n";
    m_chunkPosition = 0;
}

String CS3UploadSource::getContentMD5() const {
    if (m_position != m_sentSize) {
        throw makeTransientError("The service responded to the put of '" + m_name + "' after " +
                                 String::fromInt(m_position) + " of " + String::fromInt(m_sentSize) +
                                 " bytes were sent.");
    }
    return finishContentMD5(*m_md5->clone());
}

void CS3UploadSource::verify(const TMap<String, String>& responseHeaders) const {
    const String sent = getContentMD5();
    const String stored = CS3Client::getContentMD5(responseHeaders);
    if (stored.isEmpty() || stored == sent) {
        return;
    }
    TBuffer<unsigned char> hash;
    m_md5->clone()->finish(hash);
    throw makeTransientError("The service has stored other bytes for '" + m_name +
                             "' than were sent. Sent was the MD5 " + sigil::hexEncode(hash) +
                             ", stored is the ETag " + findHeader(responseHeaders, "etag") +
                             ". Put the object again or delete it.");
}

P<CS3UploadSource> findUploadSource(const CNetRequest& request) {
    return getSendDataSource(request).dynamicCast<CS3UploadSource>();
}

bool rewindUpload(const CNetRequest& request) {
    try {
        if (const P<CS3UploadSource> source = findUploadSource(request)) {
            source->seek(0);
        }
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace vexil
