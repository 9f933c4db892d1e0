#include "vexil/s3/S3UploadSource.h"

#include "sigil/Hex.h"
#include "vexil/net/ErrorClassification.h"
#include "vexil/net/SendSource.h"
#include "vexil/s3/S3ChecksumCheck.h"
#include "vexil/s3/S3ChecksumValue.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3ContentMD5.h"
#include "vexil/s3/S3HeaderMap.h"
#include "zet/StreamRange.h"

#include <algorithm>
#include <cstring>
#include <typeinfo>

namespace vexil {

namespace {

/// No line before the bytes of a chunk is longer: it has 64 digits of a signature and some more characters.
constexpr std::size_t maxLineSize = 128;

int64 calcSentSize(int64 size, const CS3UploadFormat& format) {
    if (format.framing == CS3UploadFormat::Framing::Plain) {
        return size;
    }
    const int64 trailerSize = static_cast<int64>(getChecksumHeader(format.checksum).length()) + 1 +
                              getChecksumLength(format.checksum);
    if (format.framing == CS3UploadFormat::Framing::UnsignedChunks) {
        return CS3ChunkSigner::getUnsignedSize(size, trailerSize);
    }
    return CS3ChunkSigner::getEncodedSize(size) +
           (format.hasTrailer ? CS3ChunkSigner::getTrailerSize(trailerSize) : 0);
}

CError makeRewindError() {
    return CError("The body of an upload can be read again only from its beginning.");
}

}  // namespace

CS3UploadSource::CS3UploadSource(zet::IInStream* stream, int64 size, const String& name,
                                 const CS3UploadFormat& format)
    : m_stream(zet::make<zet::CStreamRange>(stream, size)), m_size(size),
      m_sentSize(calcSentSize(size, format)), m_name(name), m_format(format),
      m_md5(sigil::CDigestType_MD5().createDigest()), m_checksum(createChecksumDigest(format.checksum)) {}

CS3UploadSource::~CS3UploadSource() = default;

int CS3UploadSource::read(void* buffer, int maxLength, const TMap<String, String>&) {
    if (m_position == 0) {
        begin();
    }
    const bool isPlain = m_format.framing == Framing::Plain;
    const int length =
        isPlain ? readBytes(buffer, maxLength) : readChunks(static_cast<unsigned char*>(buffer), maxLength);
    m_position += length;
    return length;
}

void CS3UploadSource::seek(int64 position) {
    if (position != 0) {
        throw makeRewindError();
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
    if (m_checksum) {
        m_checksum->reset();
    }
    m_chunk.clear();
    m_chunkPosition = 0;
    m_isBroken = false;
    if (isSignedInChunks()) {
        m_signer.emplace(m_seed);
    }
}

int CS3UploadSource::readBytes(void* buffer, int maxLength) {
    const int length = m_stream->read(buffer, maxLength);
    m_md5->update(buffer, length);
    if (m_checksum) {
        m_checksum->update(buffer, length);
    }
    m_readSize += length;
    return length;
}

int CS3UploadSource::readChunks(unsigned char* buffer, int maxLength) {
    if (m_isBroken) {
        throw makeRewindError();
    }
    const auto length = static_cast<std::size_t>(std::min<int64>(maxLength, m_sentSize - m_position));
    // A chunk with its framing is a little larger than the buffer of libcurl.
    for (std::size_t filled = 0; filled < length;) {
        if (m_chunkPosition == m_chunk.size()) {
            m_isBroken = true;
            makeNextChunk();
            m_isBroken = false;
        }
        const std::size_t count = std::min(m_chunk.size() - m_chunkPosition, length - filled);
        std::memcpy(buffer + filled, m_chunk.data() + m_chunkPosition, count);
        m_chunkPosition += count;
        filled += count;
    }
    return static_cast<int>(length);
}

void CS3UploadSource::makeNextChunk() {
    const int size = static_cast<int>(std::min<int64>(m_size - m_readSize, CS3ChunkSigner::chunkSize));
    // The bytes are read to where they are sent from, and the line before them is put there afterwards.
    m_chunk.resize(maxLineSize + static_cast<std::size_t>(size));
    char* const bytes = m_chunk.data() + maxLineSize;
    for (int filled = 0; filled < size;) {
        filled += readBytes(bytes + filled, size - filled);
    }
    const std::string line =
        isSignedInChunks() ? m_signer->signChunk(bytes, size) : CS3ChunkSigner::makeUnsignedLine(size);
    m_chunkPosition = maxLineSize - line.size();
    m_chunk.replace(m_chunkPosition, line.size(), line);
    if (size == 0 && m_format.hasTrailer) {
        m_chunk += makeTrailer();
    }
    m_chunk += "\r\n";
}

std::string CS3UploadSource::makeTrailer() {
    const String value = finishChecksum(*m_checksum->clone());
    const std::string line = (getChecksumHeader(m_format.checksum) + ":" + value).toUTF8();
    return isSignedInChunks() ? m_signer->signTrailer(line) : line + "\r\n";
}

void CS3UploadSource::checkAllSent() const {
    if (m_position != m_sentSize) {
        throw makeTransientError("The service responded to the put of '" + m_name + "' after " +
                                 String::fromInt(m_position) + " of " + String::fromInt(m_sentSize) +
                                 " bytes were sent.");
    }
}

String CS3UploadSource::getContentMD5() const {
    checkAllSent();
    return finishContentMD5(*m_md5->clone());
}

String CS3UploadSource::getChecksum() const {
    checkAllSent();
    return m_checksum ? finishChecksum(*m_checksum->clone()) : String();
}

void CS3UploadSource::verify(const TMap<String, String>& responseHeaders) const {
    verifyChecksum(m_format.checksum, m_name, getChecksum(),
                   findHeader(responseHeaders, getChecksumHeader(m_format.checksum)));
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
    const P<CNetRequest::IDataSource> source = getSendDataSource(request);
    // The cast alone takes much longer to say no, which is the usual case.
    const CNetRequest::IDataSource* const object = source.get();
    return object && typeid(*object) == typeid(CS3UploadSource) ? source.dynamicCast<CS3UploadSource>()
                                                                : nullptr;
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
