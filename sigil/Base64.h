#pragma once

#include "sigil/Export.h"
#include "zet/Pointer.h"
#include "zet/String.h"

namespace sigil {

/// Base64 (RFC 4648, 4) of `length` bytes; `data` may be null where `length` is 0, which gives "". A negative
/// length is a zet::CInvalidArgError.
/// \param withPadding     fill up with "=" to a multiple of four characters
/// \param withLineBreaks  CR LF behind every 76 characters (RFC 2045, 6.8), none at the end
SIGIL_API zet::String base64Encode(const void* data, int length, bool withPadding, bool withLineBreaks);

/// An object is no content: give the address of its bytes.
template <zet::ObjectPointer Data>
zet::String base64Encode(const Data& data, int length, bool withPadding, bool withLineBreaks) = delete;

}  // namespace sigil
