/// \file
/// Bytes in the forms in which mail carries them.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

/// Base64 for a body (RFC 2045, 6.8): lines of 76 characters with CR LF between them, none at the end.
///
/// Goes with CMimeMessage::setBody(body, "base64"). Any thread.
/// \return never null
/// \throws CError for more than about 1.5 GB, whose form has no room in a buffer
VEXIL_API P<TBuffer<unsigned char>> encodeBase64Body(const TBuffer<unsigned char>& bytes);

/// Quoted-printable for a body (RFC 2045, 6.7): lines of at most 76 characters. A CR LF stays a line end; a CR or LF
/// alone, and everything that is not printable ASCII, is written as "=" and two hexadecimal digits, as are
/// blanks and tabs at the end of a line.
///
/// Goes with CMimeMessage::setBody(body, "quoted-printable"). Any thread.
/// \return never null
/// \throws CError as encodeBase64Body() does
VEXIL_API P<TBuffer<unsigned char>> encodeQuotedPrintableBody(const TBuffer<unsigned char>& bytes);

}  // namespace vexil
