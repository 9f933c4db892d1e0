#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3PutOptions.h"

namespace vexil {

/// What happens to a property of an object when it is copied.
enum class S3CopyDirective {
    Keep,     ///< the copy has it as its source
    Replace,  ///< the options of the copy take its place, also if they are empty
};

/// How an object is copied. A value. A copy never keeps ACL, storage class, encryption and lock of its
/// source: they come from the options.
struct CS3CopyOptions {
    /// Content headers and metadata. With Keep those of `target` must be empty.
    S3CopyDirective metadata = S3CopyDirective::Keep;
    /// With Keep the tags of `target` must be empty.
    S3CopyDirective tags = S3CopyDirective::Keep;
    /// What is stored with the copy, and under which conditions.
    CS3PutOptions target = {};

    /// @{

    /// Only for CS3Client::copyLargeObject(): the largest object, in bytes, that is copied with one request,
    /// 0 to 5 GiB, and the bytes of a part otherwise, 1 to 5 GiB. Services refuse parts below 5 MiB except
    /// the last one. Parts get larger if the object would need more than 10,000 of them.
    int64 partsAbove = 5LL * 1024 * 1024 * 1024;
    int64 partSize = 512LL * 1024 * 1024;
    /// @}
};

}  // namespace vexil
