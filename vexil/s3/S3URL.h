#pragma once

#include "vexil/BaseTypes.h"

#include <string>
#include <string_view>

namespace vexil {

/// The parts of a URL of an S3 service, as the service sees them.
struct CS3URL {
    String scheme;  ///< in lower case: "https"
    /// Host and port as libcurl writes them into the Host header: the port is missing if it is the scheme's.
    String host;
    String path;   ///< escaped as in the URL; at least "/"
    String query;  ///< escaped as in the URL, without "?"

    /// \throws CError "Invalid Amazon S3 query URL: '...'." for a URL without scheme or host
    static CS3URL parse(const String& url);

    /// The whole URL again.
    String toText() const;
};

/// @{

/// Percent-encodes every byte except letters, digits, "-", ".", "_" and "~", with digits in upper case
/// (RFC 3986, 2.1), as signatures require.
/// \param keepSlash  leave "/" as it is
std::string encodePercent(std::string_view bytes, bool keepSlash);
/// \param text  its UTF-8 bytes are encoded
String escapeText(const String& text, bool keepSlash);
/// @}

/// Reverses percent-encoding. A "%" without two hexadecimal digits stays.
std::string decodePercent(std::string_view text);

}  // namespace vexil
