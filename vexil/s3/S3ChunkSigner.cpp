#include "vexil/s3/S3ChunkSigner.h"

#include "sigil/Digest.h"
#include "sigil/Hex.h"

#include <array>
#include <cstdio>

namespace vexil {

namespace {

constexpr char emptyHash[] = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
constexpr int64 signatureDigits = 64;

std::string makeHexSize(int64 size) {
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "%llx", static_cast<unsigned long long>(size));
    return text.data();
}

int64 getChunkSize(int64 size) {
    static constexpr int64 framing = sizeof(";chunk-signature=\r\n\r\n") - 1 + signatureDigits;
    return static_cast<int64>(makeHexSize(size).size()) + framing + size;
}

std::string calcHash(const void* data, int size) {
    const P<sigil::IDigest> digest = sigil::CDigestType_SHA256().createDigest();
    digest->update(data, size);
    TBuffer<unsigned char> hash;
    digest->finish(hash);
    return sigil::hexEncode(hash).toUTF8();
}

}  // namespace

int64 CS3ChunkSigner::getEncodedSize(int64 size) {
    const int64 rest = size % chunkSize;
    return size / chunkSize * getChunkSize(chunkSize) + (rest > 0 ? getChunkSize(rest) : 0) + getChunkSize(0);
}

std::string CS3ChunkSigner::signChunk(const void* data, int size) {
    const std::string text = "AWS4-HMAC-SHA256-PAYLOAD\n" + m_seed.timestamp + "\n" + m_seed.scope + "\n" +
                             m_previous + "\n" + emptyHash + "\n" + calcHash(data, size);
    m_previous = sigil::hexEncode(m_seed.key->key.calc(text)).toUTF8();
    return makeHexSize(size) + ";chunk-signature=" + m_previous + "\r\n";
}

}  // namespace vexil
