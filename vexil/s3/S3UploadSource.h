#pragma once

#include "sigil/Digest.h"
#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"
#include "vexil/s3/S3Checksum.h"
#include "vexil/s3/S3ChunkSigner.h"

#include <optional>
#include <string>

namespace vexil {

/// How the body of a put is sent whose stream is read once.
struct CS3UploadFormat {
    enum class Framing { Plain, SignedChunks, UnsignedChunks };

    Framing framing = Framing::Plain;
    S3Checksum checksum = S3Checksum::None;  ///< computed while the body is sent
    bool hasTrailer = false;                 ///< with the checksum; only with chunks
};

/// The body of a put whose stream is read once: computes the MD5 and a checksum, and signs the chunks, while
/// it is sent.
///
/// It belongs to one request. A rewound source begins all computations again.
class CS3UploadSource final : public virtual CBase, public CNetRequest::IDataSource {
public:
    using Framing = CS3UploadFormat::Framing;

    /// \param stream  at the first byte of the body
    /// \param name    of the object, for errors
    CS3UploadSource(zet::IInStream* stream, int64 size, const String& name, const CS3UploadFormat& format);
    ~CS3UploadSource() override;

    bool isSignedInChunks() const noexcept { return m_format.framing == Framing::SignedChunks; }
    /// What the chunks are signed with from the next beginning on.
    void setSeed(const CS3ChunkSeed& seed) { m_seed = seed; }

    int read(void* buffer, int maxLength, const TMap<String, String>& responseHeaders) override;
    /// The size as it is sent.
    int64 getSize() override { return m_sentSize; }
    /// \throws CError for a position other than 0, and if the stream cannot seek
    void seek(int64 position) override;
    int64 getPosition() override { return m_position; }

    /// The MD5 of the bytes, as in the header Content-MD5.
    /// \throws CError if not all bytes were sent
    String getContentMD5() const;
    /// The checksum of the bytes in base64; "" for none.
    /// \throws CError if not all bytes were sent
    String getChecksum() const;
    /// \throws CError if not all bytes were sent, if the ETag of the response is an MD5 and differs, or if
    ///         the response has another checksum
    void verify(const TMap<String, String>& responseHeaders) const;

private:
    void begin();
    int readBytes(void* buffer, int maxLength);
    int readChunks(unsigned char* buffer, int maxLength);
    void makeNextChunk();
    std::string makeTrailer();
    void checkAllSent() const;

    const P<zet::IInStream> m_stream;
    const int64 m_size;
    const int64 m_sentSize;
    const String m_name;
    const CS3UploadFormat m_format;
    const P<sigil::IDigest> m_md5;
    const P<sigil::IDigest> m_checksum;  // null for none
    CS3ChunkSeed m_seed;
    std::optional<CS3ChunkSigner> m_signer;
    std::string m_chunk;  // with its framing
    std::size_t m_chunkPosition = 0;
    bool m_isBroken = false;  // the stream has failed within a chunk
    int64 m_position = 0;     // as it is sent
    int64 m_readSize = 0;     // bytes of the stream
};

/// The source of the request if its stream is read once; otherwise null.
P<CS3UploadSource> findUploadSource(const CNetRequest& request);

/// Rewinds the source of such a request for another try.
/// \return false if the stream cannot be read again
bool rewindUpload(const CNetRequest& request);

}  // namespace vexil
