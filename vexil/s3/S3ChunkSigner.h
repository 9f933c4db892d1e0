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

/// Signs the chunks of a body (STREAMING-AWS4-HMAC-SHA256-PAYLOAD): each signature continues the one before.
class CS3ChunkSigner {
public:
    static constexpr char payloadHash[] = "STREAMING-AWS4-HMAC-SHA256-PAYLOAD";
    /// Bytes of each chunk, except the last one with bytes.
    static constexpr int chunkSize = 64 * 1024;

    /// The size of a body with the framing of its chunks.
    static int64 getEncodedSize(int64 size);

    explicit CS3ChunkSigner(const CS3ChunkSeed& seed) : m_seed(seed), m_previous(seed.signature) {}

    /// The line before the bytes of the next chunk, with its line end. A chunk without bytes is the last one.
    /// An empty line follows the bytes of each chunk.
    std::string signChunk(const void* data, int size);

private:
    CS3ChunkSeed m_seed;
    std::string m_previous;
};

}  // namespace vexil
