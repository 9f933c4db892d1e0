#pragma once

#include "zet/Export.h"
#include "zet/String.h"

namespace zet {

/// Percent-encoding of URI text (RFC 3986, 2.1). Any thread.
class ZET_API CURI {
public:
    /// Escapes each byte of the text's UTF-8 form but the unreserved characters (letters, digits, "-", ".",
    /// "_", "~").
    /// \param useUpperCase     write the hexadecimal digits as "%2F" (the form RFC 3986 prefers), not "%2f";
    ///                         both decode to the same text
    /// \param keptCharacters   further ASCII characters to leave as they are
    static String escape(const String& text, bool useUpperCase = true,
                         const String& keptCharacters = String());
};

}  // namespace zet
