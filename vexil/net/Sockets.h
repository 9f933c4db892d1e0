#pragma once

#include <curl/curl.h>

#include <string>

namespace vexil {

/// Ends both directions of a socket's connection. The descriptor stays open; its owner reads the end of the
/// connection from it. Does nothing for a bad descriptor. Any thread.
void shutDownSocket(curl_socket_t socket) noexcept;

/// The 4 bytes of an IPv4 address, or the 16 of an IPv6 address without brackets; "" for another text.
std::string parseIPAddress(const std::string& text);

}  // namespace vexil
