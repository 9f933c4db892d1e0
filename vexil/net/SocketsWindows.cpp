#include "vexil/net/Sockets.h"

#include <winsock2.h>

namespace vexil {

void shutDownSocket(curl_socket_t socket) noexcept {
    ::shutdown(socket, SD_BOTH);
}

}  // namespace vexil
