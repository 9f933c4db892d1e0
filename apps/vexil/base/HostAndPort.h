#pragma once

#include "vexil/BaseTypes.h"

namespace vexil::app {

/// A server as users write it: "mail.example.com", "mail.example.com:587", "127.0.0.1:2525", "[::1]:25".
struct CHostAndPort {
    String host;   ///< as in a URL: an IPv6 address stays in brackets
    int port = 0;  ///< 1 to 65535; 0 if none is given

    /// \throws CInvalidArgError for anything else, for example a whole URL
    static CHostAndPort parse(const String& text);
};

}  // namespace vexil::app
