#pragma once

#include "sigil/Export.h"
#include "zet/Pointer.h"
#include "zet/String.h"

namespace sigil {

/// Base64 (RFC 4648, 4) of `length` bytes. `data` may be null if `length` is 0; the result is then "". A
/// negative length is a zet::CInvalidArgError.
/// \param withPadding     fill up with "=" to a multiple of four characters
/// \param withLineBreaks  CR LF after every 76 characters (RFC 2045, 6.8), but not at the end
[[nodiscard]] SIGIL_API zet::String base64Encode(const void* data, int length, bool withPadding,
                                                 bool withLineBreaks);

/// Pointers to objects are refused: pass a pointer to bytes.
template <zet::ObjectPointer Data>
zet::String base64Encode(const Data& data, int length, bool withPadding, bool withLineBreaks) = delete;

}  // namespace sigil
