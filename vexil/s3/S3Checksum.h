/// \file
/// Checksums of the content of objects.
#pragma once

namespace vexil {

/// A checksum of an object's content that a service computes, too.
enum class S3Checksum {
    None,       ///< no checksum
    CRC32C,     ///< Castagnoli's CRC (RFC 3720): detects accidental changes (x-amz-checksum-crc32c)
    SHA256,     ///< SHA-256 (FIPS 180-4) (x-amz-checksum-sha256)
    CRC32,      ///< the CRC of zip files (ISO 3309), of downloads only (x-amz-checksum-crc32)
    CRC64NVME,  ///< the CRC of NVM Express, of downloads only (x-amz-checksum-crc64nvme)
};

/// When a body that is read once carries its checksum after its last byte, as a trailer. Only with version 4
/// of the signature.
enum class S3ChecksumTrailer {
    AmazonOnly,  ///< to Amazon's own endpoint (no CS3Client::setBaseURL()): other services may refuse it
    Always,      ///< to every service
};

}  // namespace vexil
