#include "zet/Error.h"
#include "zet/WakeUp.h"

#include <system_error>
#include <winsock2.h>

namespace zet {

namespace {

[[noreturn]] void throwSocketError() {
    const int code = WSAGetLastError();
    throw CError("Error creating a wake-up descriptor: " +
                     String::fromUTF8Lossy(std::system_category().message(code)),
                 "system", code);
}

/// Connects a datagram socket to itself. select() on Windows waits for sockets only.
bool connectToItself(SOCKET socket) noexcept {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int length = sizeof(address);
    auto* const general = reinterpret_cast<sockaddr*>(&address);
    u_long isNonBlocking = 1;
    return bind(socket, general, length) == 0 && getsockname(socket, general, &length) == 0 &&
           connect(socket, general, length) == 0 && ioctlsocket(socket, FIONBIO, &isNonBlocking) == 0;
}

}  // namespace

CWakeUp::CWakeUp() : m_descriptor(static_cast<std::intptr_t>(socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP))) {
    if (static_cast<SOCKET>(m_descriptor) == INVALID_SOCKET) {
        throwSocketError();
    }
    if (!connectToItself(static_cast<SOCKET>(m_descriptor))) {
        const int code = WSAGetLastError();
        closesocket(static_cast<SOCKET>(m_descriptor));
        WSASetLastError(code);
        throwSocketError();
    }
}

CWakeUp::~CWakeUp() {
    closesocket(static_cast<SOCKET>(m_descriptor));
}

bool CWakeUp::canSelectNewDescriptors() const noexcept {
    return true;
}

void CWakeUp::makeReadable() noexcept {
    const char byte = 0;
    send(static_cast<SOCKET>(m_descriptor), &byte, 1, 0);
}

void CWakeUp::makeUnreadable() noexcept {
    char byte;
    recv(static_cast<SOCKET>(m_descriptor), &byte, 1, 0);
}

}  // namespace zet
