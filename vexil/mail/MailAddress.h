/// \file
/// Addresses for the header fields of mail.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

/// Makes an address for header fields such as "From", "To" and "Cc" (RFC 5322, 3.4): the display name, quoted
/// or as encoded words if necessary, and the address between "<" and ">"; only the address if the name is "".
/// Join several addresses with ", ". A name that is long or looks like an encoded word is encoded. If the
/// address does not fit into a line of 78 characters, the field is folded before it (CR LF and a space). Any
/// thread.
/// \param address  printable ASCII, such as "jo@example.com"
/// \throws CInvalidArgError for an address that is empty or contains "<", ">", control characters or
///         characters that are not ASCII, and for a display name with CR, LF or NUL
[[nodiscard]] VEXIL_API String makeAddress(const String& displayName, const String& address);

}  // namespace vexil
