#include "vexil/s3/S3ChecksumValue.h"

#include "sigil/Base64.h"

namespace vexil {

namespace {

constexpr int64 bytesOfCRC32 = 4;
constexpr int64 bytesOfCRC64 = 8;
constexpr int64 bytesOfSHA256 = 32;

}  // namespace

String getChecksumName(S3Checksum checksum) {
    switch (checksum) {
    case S3Checksum::CRC32C:
        return "CRC32C";
    case S3Checksum::SHA256:
        return "SHA256";
    case S3Checksum::CRC32:
        return "CRC32";
    case S3Checksum::CRC64NVME:
        return "CRC64NVME";
    case S3Checksum::None:
        break;
    }
    return String();
}

S3Checksum findChecksum(const String& name) {
    for (const S3Checksum checksum : {S3Checksum::CRC32C, S3Checksum::SHA256}) {
        if (name == getChecksumName(checksum)) {
            return checksum;
        }
    }
    return S3Checksum::None;
}

String getChecksumHeader(S3Checksum checksum) {
    const String name = getChecksumName(checksum);
    return name.isEmpty() ? name : "x-amz-checksum-" + name.toLower();
}

String getChecksumElement(S3Checksum checksum) {
    const String name = getChecksumName(checksum);
    return name.isEmpty() ? name : "Checksum" + name;
}

P<sigil::IDigest> createChecksumDigest(S3Checksum checksum) {
    switch (checksum) {
    case S3Checksum::CRC32C:
        return sigil::CDigestType_CRC32C().createDigest();
    case S3Checksum::SHA256:
        return sigil::CDigestType_SHA256().createDigest();
    case S3Checksum::CRC32:
        return sigil::CDigestType_CRC32().createDigest();
    case S3Checksum::CRC64NVME:
        return sigil::CDigestType_CRC64NVME().createDigest();
    case S3Checksum::None:
        break;
    }
    return nullptr;
}

String finishChecksum(sigil::IDigest& digest) {
    TBuffer<unsigned char> hash;
    digest.finish(hash);
    return sigil::base64Encode(hash.getData(), hash.getUsed(), true, false);
}

int64 getChecksumBytes(S3Checksum checksum) {
    switch (checksum) {
    case S3Checksum::CRC32:
    case S3Checksum::CRC32C:
        return bytesOfCRC32;
    case S3Checksum::CRC64NVME:
        return bytesOfCRC64;
    case S3Checksum::SHA256:
        return bytesOfSHA256;
    case S3Checksum::None:
        break;
    }
    return 0;
}

int64 getChecksumLength(S3Checksum checksum) {
    return (getChecksumBytes(checksum) + 2) / 3 * 4;
}

}  // namespace vexil
