#pragma once

#include "zet/Export.h"
#include "zet/String.h"

namespace zet {

/// Percent-encoding of URI text (RFC 3986, 2.1). Any thread.
class ZET_API CURI {
public:
    /// Escapes each byte of the text's UTF-8 form, except the unreserved characters (letters, digits, "-",
    /// ".", "_", "~").
    /// \param useUpperCase     write the hexadecimal digits as "%2F" (preferred by RFC 3986), not as "%2f";
    ///                         both mean the same text
    /// \param keptCharacters   further ASCII characters that are not escaped
    [[nodiscard]] static String escape(const String& text, bool useUpperCase = true,
                                       const String& keptCharacters = String());
};

}  // namespace zet
