#pragma once

#include <curl/curl.h>

namespace vexil {

/// Ends both directions of a socket's connection. The descriptor stays open; its owner reads the end of the
/// connection from it. Does nothing for a bad descriptor. Any thread.
void shutDownSocket(curl_socket_t socket) noexcept;

}  // namespace vexil
