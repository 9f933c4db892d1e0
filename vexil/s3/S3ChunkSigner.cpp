#include "vexil/s3/S3ChunkSigner.h"

#include "sigil/Digest.h"
#include "vexil/s3/S3HexDigit.h"

#include <array>
#include <cstdio>

namespace vexil {

namespace {

constexpr char emptyHash[] = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
constexpr int64 signatureDigits = 64;
constexpr int64 lineEndSize = 2;
constexpr char trailerSignature[] = "x-amz-trailer-signature:";

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
    return makeHexText(hash);
}

}  // namespace

int64 CS3ChunkSigner::getEncodedSize(int64 size) {
    const int64 rest = size % chunkSize;
    return size / chunkSize * getChunkSize(chunkSize) + (rest > 0 ? getChunkSize(rest) : 0) + getChunkSize(0);
}

int64 CS3ChunkSigner::getUnsignedSize(int64 size, int64 trailerSize) {
    const auto getSize = [](int64 bytes) {
        return static_cast<int64>(makeHexSize(bytes).size()) + 2 * lineEndSize + bytes;
    };
    const int64 rest = size % chunkSize;
    return size / chunkSize * getSize(chunkSize) + (rest > 0 ? getSize(rest) : 0) + getSize(0) + trailerSize +
           lineEndSize;
}

int64 CS3ChunkSigner::getTrailerSize(int64 trailerSize) {
    static constexpr int64 nameSize = sizeof(trailerSignature) - 1;
    return trailerSize + lineEndSize + nameSize + signatureDigits + lineEndSize;
}

std::string CS3ChunkSigner::makeUnsignedLine(int size) {
    return makeHexSize(size) + "\r\n";
}

std::string CS3ChunkSigner::signChunk(const void* data, int size) {
    return makeHexSize(size) +
           ";chunk-signature=" + sign("PAYLOAD", std::string(emptyHash) + "\n" + calcHash(data, size)) +
           "\r\n";
}

std::string CS3ChunkSigner::signTrailer(const std::string& line) {
    const std::string signedLine = line + "\n";
    return line + "\r\n" + trailerSignature +
           sign("TRAILER", calcHash(signedLine.data(), static_cast<int>(signedLine.size()))) + "\r\n";
}

std::string CS3ChunkSigner::sign(const std::string& kind, const std::string& hashes) {
    const std::string text = "AWS4-HMAC-SHA256-" + kind + "\n" + m_seed.timestamp + "\n" + m_seed.scope +
                             "\n" + m_previous + "\n" + hashes;
    m_previous = makeHexText(m_seed.key->key.calc(text));
    return m_previous;
}

}  // namespace vexil
