#pragma once

#include "vexil/BaseTypes.h"

namespace vexil {

/// With what the content of a download was compared.
enum class S3ContentCheck {
    None,      ///< nothing: the service has told no value that can be computed
    MD5,       ///< the MD5 of the whole content, which is the ETag
    PartMD5s,  ///< the MD5s of the parts with which the object was uploaded, from which the ETag is computed
    CRC32C,    ///< the CRC32C of the whole content, which the service has told
    SHA256,    ///< the SHA-256 of the whole content, which the service has told
    /// The CRC32Cs of the parts with which the object was uploaded, from which the told value is computed.
    PartCRC32Cs,
    /// The same with SHA-256.
    PartSHA256s,
    CRC64NVME,   ///< the CRC64NVME of the whole content, which the service has told
    CRC32,       ///< the CRC32 of the whole content, which the service has told
    PartCRC32s,  ///< as PartCRC32Cs, with CRC32
};

/// An object that CS3TransferManager, or CS3Client::getVerifiedObject(), has read.
struct CS3DownloadResult {
    String eTag;                                  ///< as the service has sent it; "" if it has sent none
    int64 size = 0;                               ///< bytes of the object
    int64 resumedBytes = 0;                       ///< bytes that an earlier download had read
    S3ContentCheck check = S3ContentCheck::None;  ///< with what the content was compared
};

}  // namespace vexil
