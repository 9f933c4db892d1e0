// A web server for large bodies that does as little as possible: it reads what it gets and forgets it, and
// sends zeros. It knows the requests of an S3 upload in parts and of a download in ranges, of an object of
// 1 GiB.
//
// Prints its port and serves until its standard input ends.

#include <asio.hpp>

#include <array>
#include <charconv>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using asio::awaitable;
using asio::use_awaitable;
using asio::ip::tcp;

constexpr std::size_t objectSize = 1024 * 1024 * 1024;
constexpr std::size_t blockSize = 256 * 1024;

constexpr std::string_view uploadBegun =
    "<InitiateMultipartUploadResult><UploadId>1</UploadId></InitiateMultipartUploadResult>";
constexpr std::string_view uploadDone =
    "<CompleteMultipartUploadResult><ETag>\"etag\"</ETag></CompleteMultipartUploadResult>";

std::size_t readNumber(std::string_view text) {
    std::size_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

/// The text after `start` in the head of a request; "" without it.
std::string_view findAfter(std::string_view head, std::string_view start) {
    const std::size_t found = head.find(start);
    return found == head.npos ? std::string_view() : head.substr(found + start.size());
}

awaitable<void> sendText(tcp::socket& socket, std::string_view body) {
    const std::string response =
        "HTTP/1.1 200 OK\r\nETag: \"etag\"\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
        std::string(body);
    co_await asio::async_write(socket, asio::buffer(response), use_awaitable);
}

awaitable<void> sendObject(tcp::socket& socket, std::string_view head) {
    std::size_t first = 0;
    std::size_t last = objectSize - 1;
    std::string response = "HTTP/1.1 200 OK\r\n";
    if (const std::string_view range = findAfter(head, "\r\nRange: bytes="); !range.empty()) {
        first = readNumber(range);
        last = std::min(last, readNumber(range.substr(range.find('-') + 1)));
        response = "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " + std::to_string(first) + "-" +
                   std::to_string(last) + "/" + std::to_string(objectSize) + "\r\n";
    }
    response += "ETag: \"etag\"\r\nContent-Length: " + std::to_string(last + 1 - first) + "\r\n\r\n";
    co_await asio::async_write(socket, asio::buffer(response), use_awaitable);
    static const std::vector<char> zeros(blockSize);
    std::size_t left = head.starts_with("HEAD ") ? 0 : last + 1 - first;
    while (left > 0) {
        left -= co_await asio::async_write(socket, asio::buffer(zeros, left), use_awaitable);
    }
}

awaitable<void> readBody(tcp::socket& socket, std::string& received, std::size_t length) {
    const std::size_t known = std::min(length, received.size());
    received.erase(0, known);
    std::vector<char> block(blockSize);
    for (std::size_t left = length - known; left > 0;) {
        left -= co_await socket.async_read_some(asio::buffer(block, left), use_awaitable);
    }
}

awaitable<void> serve(tcp::socket socket) {
    socket.set_option(tcp::no_delay(true));
    std::string received;
    for (;;) {
        const std::size_t headLength = co_await asio::async_read_until(socket, asio::dynamic_buffer(received),
                                                                       "\r\n\r\n", use_awaitable);
        const std::string head = received.substr(0, headLength);
        received.erase(0, headLength);
        if (head.find("\r\nExpect: 100-continue\r\n") != std::string::npos) {
            co_await asio::async_write(socket, asio::buffer("HTTP/1.1 100 Continue\r\n\r\n", 25),
                                       use_awaitable);
        }
        co_await readBody(socket, received, readNumber(findAfter(head, "\r\nContent-Length: ")));
        if (head.starts_with("PUT ")) {
            co_await sendText(socket, "");
        } else if (head.starts_with("POST ")) {
            const bool isBeginning = head.find("?uploads ") != std::string::npos;
            co_await sendText(socket, isBeginning ? uploadBegun : uploadDone);
        } else {
            co_await sendObject(socket, head);
        }
    }
}

awaitable<void> listen(tcp::acceptor& acceptor) {
    for (;;) {
        tcp::socket socket = co_await acceptor.async_accept(use_awaitable);
        // If a client closes its connection, its coroutine ends with an exception that needs no report.
        asio::co_spawn(acceptor.get_executor(), serve(std::move(socket)), [](const std::exception_ptr&) {});
    }
}

}  // namespace

int main() {
    asio::io_context io;
    tcp::acceptor acceptor(io, {asio::ip::address_v4::loopback(), 0});
    std::cout << acceptor.local_endpoint().port() << std::endl;
    asio::co_spawn(io, listen(acceptor), asio::detached);

    asio::posix::stream_descriptor input(io, STDIN_FILENO);
    std::array<char, 16> ignored{};
    asio::async_read(input, asio::buffer(ignored),
                     [&io](const asio::error_code&, std::size_t) { io.stop(); });
    io.run();
}
