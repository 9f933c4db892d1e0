// A web server that sends the same small response to every request, a few milliseconds late; an object of
// 4 KiB to a GET of anything in /bucket/. It never responds to requests for /never: their connections stay
// open until the client closes them.
//
// A server that responds at once is sometimes faster than the client's first poll, and the number of polls,
// and so of instructions, differs from run to run. With this server a client always waits exactly once for
// each response.
//
// See Listener.h for its arguments and its end.

#include "bench/Listener.h"

#include <charconv>
#include <chrono>
#include <string>
#include <string_view>

namespace {

using asio::awaitable;
using asio::use_awaitable;

constexpr std::chrono::milliseconds delay{3};

// The response of nginx to a request for a small file.
constexpr std::string_view reply = "HTTP/1.1 200 OK\r\n"
                                   "Server: nginx/1.22.1\r\n"
                                   "Date: Tue, 27 Mar 2007 19:36:42 GMT\r\n"
                                   "Content-Type: text/plain\r\n"
                                   "Content-Length: 14\r\n"
                                   "Last-Modified: Mon, 26 Mar 2007 08:00:00 GMT\r\n"
                                   "Connection: keep-alive\r\n"
                                   "ETag: \"4607a8a0-e\"\r\n"
                                   "Accept-Ranges: bytes\r\n"
                                   "\r\n"
                                   "Hello, world!\n";
// The response of an S3 service, except the body.
constexpr std::string_view objectHead =
    "HTTP/1.1 200 OK\r\n"
    "Content-Length: 4096\r\n"
    "Accept-Ranges: bytes\r\n"
    "Last-Modified: Mon, 26 Mar 2007 08:00:00 GMT\r\n"
    "ETag: \"620f0b67a91f7f74151bc5be745b7110\"\r\n"
    "x-amz-request-id: tx00000ff4ff1e6b4d5dc5e-0065f0c5e5-1036-default\r\n"
    "Content-Type: binary/octet-stream\r\n"
    "Date: Tue, 27 Mar 2007 19:36:42 GMT\r\n"
    "Connection: Keep-Alive\r\n"
    "\r\n";
constexpr std::string_view goOn = "HTTP/1.1 100 Continue\r\n\r\n";

std::size_t getBodyLength(std::string_view head) {
    constexpr std::string_view name = "\r\nContent-Length: ";
    const std::size_t found = head.find(name);
    std::size_t length = 0;
    if (found != std::string_view::npos) {
        std::from_chars(head.data() + found + name.size(), head.data() + head.size(), length);
    }
    return length;
}

template <class Stream>
awaitable<void> sendLate(Stream& stream, std::string_view bytes) {
    asio::steady_timer timer(stream.get_executor(), delay);
    co_await timer.async_wait(use_awaitable);
    co_await asio::async_write(stream, asio::buffer(bytes), use_awaitable);
}

template <class Stream>
awaitable<void> serve(Stream& stream) {
    const std::string object = std::string(objectHead) + std::string(4096, '\0');
    std::string received;
    for (;;) {
        const std::size_t headLength = co_await asio::async_read_until(stream, asio::dynamic_buffer(received),
                                                                       "\r\n\r\n", use_awaitable);
        const std::string head = received.substr(0, headLength);
        received.erase(0, headLength);
        if (head.starts_with("GET /never ")) {
            // Returns only with an error: the client has closed the connection.
            co_await asio::async_read(stream, asio::dynamic_buffer(received), use_awaitable);
        }
        if (head.find("\r\nExpect: 100-continue\r\n") != std::string::npos) {
            co_await sendLate(stream, goOn);
        }
        const std::size_t bodyLength = getBodyLength(head);
        if (bodyLength > received.size()) {
            co_await asio::async_read(stream, asio::dynamic_buffer(received),
                                      asio::transfer_exactly(bodyLength - received.size()), use_awaitable);
        }
        received.erase(0, bodyLength);
        co_await sendLate(stream, head.starts_with("GET /bucket/") ? object : reply);
    }
}

}  // namespace

int main(int argc, char** argv) {
    bench::runServer(argc, argv, [](auto& stream) { return serve(stream); });
}
