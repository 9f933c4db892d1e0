#pragma once

#include "vexil/BaseTypes.h"

namespace vexil {

/// With what the content of a download was compared.
enum class S3ContentCheck {
    None,      ///< nothing: the ETag is not computed from the content, or not in a known way
    MD5,       ///< the MD5 of the whole content, which is the ETag
    PartMD5s,  ///< the MD5s of the parts with which the object was uploaded, from which the ETag is computed
};

/// An object that CS3TransferManager has read.
struct CS3DownloadResult {
    String eTag;                                  ///< as the service has sent it; "" if it has sent none
    int64 size = 0;                               ///< bytes of the object
    int64 resumedBytes = 0;                       ///< bytes that an earlier download had read
    S3ContentCheck check = S3ContentCheck::None;  ///< with what the content was compared
};

}  // namespace vexil
