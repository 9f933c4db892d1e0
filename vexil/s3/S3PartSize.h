/// \file
/// How large the parts of an upload are.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3PutOptions.h"

namespace vexil {

inline constexpr int64 mebibyte = int64{1} << 20;
/// Services refuse a smaller part unless it is the last one.
inline constexpr int64 minUploadPartSize = 5 * mebibyte;
inline constexpr int64 defaultPartSize = 8 * mebibyte;
/// The largest part of a stream that must be kept in memory.
inline constexpr int64 maxMemoryPartSize = 1024 * mebibyte;

/// The size of all parts except the last one, for an object of known size: as wanted, or as many MiB as are
/// needed for at most 10,000 parts.
/// \param wanted  0: 8 MiB
/// \throws CError if no such parts are large enough
int64 choosePartSize(int64 wanted, int64 objectSize);

/// The metadata of an object that tells the size of its parts, in lower case.
inline constexpr char partSizeMetadata[] = "vexil-part-size";

/// The options of an object, with the size of its parts as metadata.
/// \param place       for the error
/// \param objectSize  an object that is not larger than a part has no parts, and gets nothing
/// \throws CInvalidArgError if the options have metadata of this name already
CS3PutOptions addPartSize(const char* place, const CS3PutOptions& options, int64 partSize, int64 objectSize);

/// The size of a part of a stream of unknown length. It doubles after each 700 parts, up to 1 GiB, so that
/// 10,000 parts are more than 5 TiB.
/// \param first   size of the first part
/// \param number  from 1
int64 getGrowingPartSize(int64 first, int number);

}  // namespace vexil
