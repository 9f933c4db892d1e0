#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>

#include <string>

namespace vexil_test {

/// Accepts every connection and never sends a byte. Clients may come and leave at any time.
class SilentServer {
public:
    SilentServer() : m_acceptor(m_context, {asio::ip::address_v4::loopback(), 0}) { m_acceptor.listen(4096); }

    std::string url() const {
        return "http://127.0.0.1:" + std::to_string(m_acceptor.local_endpoint().port()) + "/";
    }

private:
    asio::io_context m_context;
    // The system keeps connections that are not accepted.
    asio::ip::tcp::acceptor m_acceptor;
};

}  // namespace vexil_test
