/// \file
/// How large the parts of an upload are.
#pragma once

#include "vexil/BaseTypes.h"

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

/// The size of a part of a stream of unknown length. It doubles after each 700 parts, up to 1 GiB, so that
/// 10,000 parts are more than 5 TiB.
/// \param first   size of the first part
/// \param number  from 1
int64 getGrowingPartSize(int64 first, int number);

}  // namespace vexil
