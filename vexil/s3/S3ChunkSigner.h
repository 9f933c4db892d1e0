#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3PreparedKey.h"

#include <string>

namespace vexil {

/// What the signatures of a body's chunks begin with. Holds a key: never log it.
struct CS3ChunkSeed {
    CS3PreparedKeyPointer key;  ///< of the request's day and region
    std::string timestamp;      ///< x-amz-date of the request
    std::string scope;          ///< day, region and service, as in the request's signature
    std::string signature;      ///< of the request
};

/// Signs the chunks of a body and its trailer: each signature continues the one before.
class CS3ChunkSigner {
public:
    static constexpr char payloadHash[] = "STREAMING-AWS4-HMAC-SHA256-PAYLOAD";
    /// The same with a trailer.
    static constexpr char trailerPayloadHash[] = "STREAMING-AWS4-HMAC-SHA256-PAYLOAD-TRAILER";
    /// Chunks without signatures, with a trailer.
    static constexpr char unsignedPayloadHash[] = "STREAMING-UNSIGNED-PAYLOAD-TRAILER";
    /// Bytes of each chunk, except the last one with bytes.
    static constexpr int chunkSize = 64 * 1024;

    /// The size of a body with the framing of its chunks.
    static int64 getEncodedSize(int64 size);
    /// The same with a trailer of one line, without signatures in the chunks.
    /// \param trailerSize  of the line, without its line end
    static int64 getUnsignedSize(int64 size, int64 trailerSize);
    /// The bytes that a signed trailer of one line adds to getEncodedSize().
    static int64 getTrailerSize(int64 trailerSize);

    explicit CS3ChunkSigner(const CS3ChunkSeed& seed) : m_seed(seed), m_previous(seed.signature) {}

    /// The line before the bytes of the next chunk, with its line end. A chunk without bytes is the last one.
    /// An empty line follows the bytes of each chunk.
    std::string signChunk(const void* data, int size);
    /// The line of the trailer and that of its signature, with their line ends. They come after the line of
    /// the last chunk; an empty line follows.
    /// \param line  "name:value"
    std::string signTrailer(const std::string& line);
    /// The line before a chunk without a signature, with its line end.
    static std::string makeUnsignedLine(int size);

private:
    std::string sign(const std::string& kind, const std::string& hashes);

    CS3ChunkSeed m_seed;
    std::string m_previous;
};

}  // namespace vexil
