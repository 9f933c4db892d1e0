/// \file
/// Addresses of servers that the clients are given: a URL, or host and port.
#pragma once

#include "vexil/BaseTypes.h"

#include <string_view>

namespace vexil {

/// A server: what a URL has before its path.
struct CServerAddress {
    String scheme;  ///< in lower case
    String host;    ///< as in a URL: an IPv6 address is in brackets
    int port = 0;   ///< 1 to 65535; 0 if none is given
};

/// The address in a URL: scheme, "://", host, optional ":" and port, optional "/".
/// \param place    the function name for errors
/// \param scheme   one scheme that is allowed; with `secure` two are
/// \param secure   the other scheme that is allowed
/// \throws CInvalidArgError that shows the URL without a login, for everything else
CServerAddress parseServerURL(const char* place, const String& url, std::string_view scheme,
                              std::string_view secure);

/// The host as in a URL: a name, an IPv4 address, or an IPv6 address with or without brackets.
/// \throws CInvalidArgError for everything else
String checkHost(const char* place, const String& host);

/// \throws CInvalidArgError for a port outside 1 to 65535
int checkPort(const char* place, int64 port);

/// "host:port"; without a port only the host.
String joinHostAndPort(const CServerAddress& address);

}  // namespace vexil
