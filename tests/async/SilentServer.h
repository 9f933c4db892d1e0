#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>

#include <string>

namespace vexil_test {

/// Takes every connection and never says a word. Clients may come and go as they like: nobody looks.
class SilentServer {
public:
    SilentServer() : m_acceptor(m_context, {asio::ip::address_v4::loopback(), 0}) { m_acceptor.listen(4096); }

    std::string url() const {
        return "http://127.0.0.1:" + std::to_string(m_acceptor.local_endpoint().port()) + "/";
    }

private:
    asio::io_context m_context;
    // Connections that nobody accepts are the system's to keep.
    asio::ip::tcp::acceptor m_acceptor;
};

}  // namespace vexil_test
