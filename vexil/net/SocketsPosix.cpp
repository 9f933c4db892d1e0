#include "vexil/net/Sockets.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <utility>

namespace vexil {

void shutDownSocket(curl_socket_t socket) noexcept {
    ::shutdown(socket, SHUT_RDWR);
}

std::string parseIPAddress(const std::string& text) {
    for (const auto& [family, size] : {std::pair(AF_INET, 4U), std::pair(AF_INET6, 16U)}) {
        std::string bytes(size, '\0');
        if (inet_pton(family, text.c_str(), bytes.data()) == 1) {
            return bytes;
        }
    }
    return std::string();
}

}  // namespace vexil
