/// \file
/// How checksums are named and written in requests and responses.
#pragma once

#include "sigil/Digest.h"
#include "vexil/BaseTypes.h"
#include "vexil/s3/S3Checksum.h"

namespace vexil {

/// Such as "x-amz-checksum-crc32c"; "" for None.
String getChecksumHeader(S3Checksum checksum);
/// The name of the algorithm, as in x-amz-checksum-algorithm: such as "CRC32C"; "" for None.
String getChecksumName(S3Checksum checksum);
/// The checksum of an upload with this name; None for any other text.
S3Checksum findChecksum(const String& name);
/// The name of its element in documents: such as "ChecksumCRC32C"; "" for None.
String getChecksumElement(S3Checksum checksum);

/// A new computation; null for None.
P<sigil::IDigest> createChecksumDigest(S3Checksum checksum);
/// Finishes the computation; returns the checksum in base64, as services write it.
String finishChecksum(sigil::IDigest& digest);
/// The bytes of a checksum; 0 for None.
int64 getChecksumBytes(S3Checksum checksum);
/// How many characters its text has; 0 for None.
int64 getChecksumLength(S3Checksum checksum);

}  // namespace vexil
