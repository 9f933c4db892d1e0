#include "vexil/net/Sockets.h"

#include <sys/socket.h>

namespace vexil {

void shutDownSocket(curl_socket_t socket) noexcept {
    ::shutdown(socket, SHUT_RDWR);
}

}  // namespace vexil
