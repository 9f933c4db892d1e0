#pragma once

#include <asio/buffer.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/read_until.hpp>
#include <asio/steady_timer.hpp>
#include <asio/write.hpp>

#include <chrono>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace vexil_test {

/// Responds to GET, on any number of connections, with what the path says:
/// - "/ok" two bytes, "/late" the same after 5 ms,
/// - "/error" status 500,
/// - "/reset" the connection is reset without a response,
/// - "/cut" the connection is closed after two of ten bytes.
class FaultServer {
public:
    FaultServer() : m_acceptor(m_context, {asio::ip::address_v4::loopback(), 0}) {
        m_acceptor.listen(4096);
        accept();
        m_thread = std::thread([this] { m_context.run(); });
    }
    FaultServer(const FaultServer&) = delete;
    FaultServer& operator=(const FaultServer&) = delete;
    ~FaultServer() {
        m_context.stop();
        m_thread.join();
    }

    std::string url(const std::string& path) const {
        return "http://127.0.0.1:" + std::to_string(m_acceptor.local_endpoint().port()) + path;
    }

private:
    using Socket = asio::ip::tcp::socket;

    class CSession : public std::enable_shared_from_this<CSession> {
    public:
        explicit CSession(Socket socket) : m_socket(std::move(socket)), m_timer(m_socket.get_executor()) {
            m_socket.set_option(asio::ip::tcp::no_delay(true));
        }
        void read() {
            asio::async_read_until(
                m_socket, asio::dynamic_buffer(m_received), "\r\n\r\n",
                [self = shared_from_this()](const std::error_code& error, std::size_t length) {
                    if (!error) {
                        self->respond(length);
                    }
                });
        }

    private:
        void respond(std::size_t length) {
            const std::string path = m_received.substr(4, m_received.find(' ', 4) - 4);
            m_received.erase(0, length);
            if (path == "/reset") {
                // No socket is left that waits for late packets: there are too many connections for that.
                m_socket.set_option(Socket::linger(true, 0));
                m_socket.close();
            } else if (path == "/late") {
                m_timer.expires_after(std::chrono::milliseconds(5));
                m_timer.async_wait([self = shared_from_this()](const std::error_code&) { self->write(ok); });
            } else {
                write(path == "/error" ? error500 : path == "/cut" ? cut : ok);
            }
        }
        void write(const std::string& response) {
            asio::async_write(m_socket, asio::buffer(response),
                              [self = shared_from_this(),
                               isLast = &response == &cut](const std::error_code& error, std::size_t) {
                                  if (!error && !isLast) {
                                      self->read();
                                  }
                              });
        }

        static inline const std::string ok = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
        static inline const std::string error500 =
            "HTTP/1.1 500 Internal Server Error\r\nContent-Length: 4\r\n\r\nsick";
        static inline const std::string cut = "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nok";

        Socket m_socket;
        asio::steady_timer m_timer;
        std::string m_received;
    };

    void accept() {
        m_acceptor.async_accept([this](const std::error_code& error, Socket socket) {
            if (!error) {
                std::make_shared<CSession>(std::move(socket))->read();
            }
            accept();
        });
    }

    asio::io_context m_context;
    asio::ip::tcp::acceptor m_acceptor;
    std::thread m_thread;
};

}  // namespace vexil_test
