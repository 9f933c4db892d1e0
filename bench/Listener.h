/// \file
/// What the servers of the benchmarks share: they listen, over TLS too, until their standard input ends.
#pragma once

#include <asio.hpp>
#include <asio/ssl.hpp>

#include <array>
#include <iostream>
#include <memory>
#include <utility>

namespace bench {

using asio::awaitable;
using asio::use_awaitable;
using asio::ip::tcp;

using TLSContext = std::shared_ptr<asio::ssl::context>;

/// \param tls  null for connections without TLS
template <class Serve>
awaitable<void> serveConnection(tcp::socket socket, TLSContext tls, Serve serve) {
    if (!tls) {
        co_await serve(socket);
        co_return;
    }
    asio::ssl::stream<tcp::socket> stream(std::move(socket), *tls);
    co_await stream.async_handshake(asio::ssl::stream_base::server, use_awaitable);
    co_await serve(stream);
}

template <class Serve>
awaitable<void> acceptConnections(tcp::acceptor& acceptor, TLSContext tls, Serve serve) {
    for (;;) {
        tcp::socket socket = co_await acceptor.async_accept(use_awaitable);
        socket.set_option(tcp::no_delay(true));
        // If a client closes its connection, its coroutine ends with an exception that needs no report.
        asio::co_spawn(acceptor.get_executor(), serveConnection(std::move(socket), tls, serve),
                       [](const std::exception_ptr&) {});
    }
}

/// Prints the port and serves until the standard input ends.
/// \param arguments  of the program: nothing, or a PEM file with certificate and key for TLS
/// \param serve      a coroutine that gets the stream of a connection
template <class Serve>
void runServer(int count, char** arguments, Serve serve) {
    asio::io_context io;
    TLSContext tls;
    if (count > 1) {
        tls = std::make_shared<asio::ssl::context>(asio::ssl::context::tls_server);
        tls->use_certificate_chain_file(arguments[1]);
        tls->use_private_key_file(arguments[1], asio::ssl::context::pem);
    }
    tcp::acceptor acceptor(io, {asio::ip::address_v4::loopback(), 0});
    std::cout << acceptor.local_endpoint().port() << std::endl;
    asio::co_spawn(io, acceptConnections(acceptor, tls, serve), asio::detached);

    asio::posix::stream_descriptor input(io, STDIN_FILENO);
    std::array<char, 16> ignored{};
    asio::async_read(input, asio::buffer(ignored),
                     [&io](const asio::error_code&, std::size_t) { io.stop(); });
    io.run();
}

}  // namespace bench
