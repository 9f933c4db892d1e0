#pragma once

#include "sigil/Export.h"
#include "zet/Buffer.h"
#include "zet/Pointer.h"
#include "zet/String.h"

namespace sigil {

/// Two hexadecimal digits in lower case for each of `length` bytes, as hashes are usually written. `data` may
/// be null if `length` is 0; the result is then "". A negative length is a zet::CInvalidArgError.
[[nodiscard]] SIGIL_API zet::String hexEncode(const void* data, int length);
/// The same for all bytes of a buffer, such as the result of IDigest::finish().
[[nodiscard]] SIGIL_API zet::String hexEncode(const zet::TBuffer<unsigned char>& data);

/// Pointers to objects are refused: pass a pointer to bytes.
template <zet::ObjectPointer Data>
zet::String hexEncode(const Data& data, int length) = delete;

}  // namespace sigil
