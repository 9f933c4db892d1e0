/// \file
/// Transfer encodings of mail bodies.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

namespace vexil {

/// Encodes a body as Base64 (RFC 2045, 6.8): lines of 76 characters with CR LF between them, without one at
/// the end.
///
/// Use the result with CMimeMessage::setBody(body, "base64"). Any thread.
/// \return never null
/// \throws CError for more than about 1.5 GB, because the result does not fit into a buffer
[[nodiscard]] VEXIL_API P<TBuffer<unsigned char>> encodeBase64Body(const TBuffer<unsigned char>& bytes);

/// Encodes a body as quoted-printable (RFC 2045, 6.7): lines of at most 76 characters. A CR LF stays a line
/// end. A single CR or LF, everything that is not printable ASCII, and spaces and tabs at the end of a line
/// are written as "=" and two hexadecimal digits.
///
/// Use the result with CMimeMessage::setBody(body, "quoted-printable"). Any thread.
/// \return never null
/// \throws CError as encodeBase64Body() does
[[nodiscard]] VEXIL_API P<TBuffer<unsigned char>>
encodeQuotedPrintableBody(const TBuffer<unsigned char>& bytes);

}  // namespace vexil
