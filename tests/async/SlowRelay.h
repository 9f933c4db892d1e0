#pragma once

#include <asio/buffer.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/write.hpp>

#include <array>
#include <atomic>
#include <cstdint>
#include <poll.h>
#include <system_error>
#include <thread>

namespace vexil_test {

/// Passes connections on to a server, one after the other. The server's bytes go to the client one by one.
class SlowRelay {
public:
    explicit SlowRelay(std::uint16_t server)
        : m_server(asio::ip::address_v4::loopback(), server),
          m_acceptor(m_context, {asio::ip::address_v4::loopback(), 0}), m_thread([this] { run(); }) {}
    SlowRelay(const SlowRelay&) = delete;
    SlowRelay& operator=(const SlowRelay&) = delete;
    ~SlowRelay() {
        m_hasEnded = true;
        m_thread.join();
    }

    int port() const { return m_acceptor.local_endpoint().port(); }

private:
    using Socket = asio::ip::tcp::socket;

    static constexpr int slice = 20;  // milliseconds between two looks at the end

    void run() {
        while (!m_hasEnded) {
            pollfd listener{m_acceptor.native_handle(), POLLIN, 0};
            if (poll(&listener, 1, slice) == 1) {
                serve(m_acceptor.accept());
            }
        }
    }
    void serve(Socket client) {
        client.set_option(asio::ip::tcp::no_delay(true));
        Socket server(m_context);
        server.connect(m_server);
        bool isOpen = true;
        while (isOpen && !m_hasEnded) {
            pollfd both[] = {{client.native_handle(), POLLIN, 0}, {server.native_handle(), POLLIN, 0}};
            poll(both, 2, slice);
            isOpen = (both[0].revents == 0 || pass(client, server, m_block.size())) &&
                     (both[1].revents == 0 || pass(server, client, 1));
        }
    }
    bool pass(Socket& from, Socket& to, std::size_t most) {
        std::error_code error;
        const std::size_t size = from.read_some(asio::buffer(m_block, most), error);
        asio::write(to, asio::buffer(m_block, size), error);
        return !error && size > 0;
    }

    const asio::ip::tcp::endpoint m_server;
    asio::io_context m_context;
    asio::ip::tcp::acceptor m_acceptor;
    std::array<char, 4096> m_block{};
    std::atomic<bool> m_hasEnded{false};
    std::thread m_thread;  // last: it uses the others
};

}  // namespace vexil_test
