#pragma once

#include "vexil/BaseTypes.h"

namespace vexil::app {

/// A server as people name it: "mail.example.com", "mail.example.com:587", "127.0.0.1:2525", "[::1]:25".
struct CHostAndPort {
    String host;   ///< as a URL has it: an IPv6 address stays in brackets
    int port = 0;  ///< 1 to 65535; 0 for none

    /// \throws CInvalidArgError for anything else, such as a whole URL
    static CHostAndPort parse(const String& text);
};

}  // namespace vexil::app
