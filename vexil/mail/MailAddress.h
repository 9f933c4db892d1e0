/// \file
/// Addresses as the header fields of mail carry them.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

/// An address for the fields "From", "To", "Cc" and the like (RFC 5322, 3.4): the display name, in quotes or as encoded
/// words where it needs them, and the address between "<" and ">"; the address alone where the name is "". Several are
/// joined with ", ". A name that is long, or looks like an encoded word, is encoded; in front of an address that does not
/// fit into a line of 78 characters the field is folded (CR LF and a space). Any thread.
/// \param address  printable ASCII, such as "jo@example.com"
/// \throws CInvalidArgError for an address that is empty, or holds "<", ">", control characters or any that are not
///         ASCII, and for a display name with CR, LF or NUL
VEXIL_API String makeAddress(const String& displayName, const String& address);

}  // namespace vexil
