// A web server for large bodies that does as little as possible: it reads what it gets and forgets it, and
// sends zeros. It knows the requests of an S3 upload in parts and of a download in ranges, of an object of
// 1 GiB until another one is put.
//
// See Listener.h for its arguments and its end.

#include "bench/Listener.h"

#include <charconv>
#include <string>
#include <string_view>
#include <vector>

namespace {

using asio::awaitable;
using asio::use_awaitable;

// Of the object: that of the last upload.
std::size_t objectSize = 1024 * 1024 * 1024;
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

template <class Stream>
awaitable<void> sendText(Stream& stream, std::string_view body) {
    const std::string response =
        "HTTP/1.1 200 OK\r\nETag: \"etag\"\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
        std::string(body);
    co_await asio::async_write(stream, asio::buffer(response), use_awaitable);
}

template <class Stream>
awaitable<void> sendObject(Stream& stream, std::string_view head) {
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
    co_await asio::async_write(stream, asio::buffer(response), use_awaitable);
    static const std::vector<char> zeros(blockSize);
    std::size_t left = head.starts_with("HEAD ") ? 0 : last + 1 - first;
    while (left > 0) {
        left -= co_await asio::async_write(stream, asio::buffer(zeros, left), use_awaitable);
    }
}

void noteUpload(std::string_view head, std::size_t length) {
    const std::string_view line = head.substr(0, head.find('\r'));
    if (head.starts_with("POST ") && line.find("?uploads") != line.npos) {
        objectSize = 0;
    } else if (head.starts_with("PUT ")) {
        const std::string_view decoded = findAfter(head, "\r\nx-amz-decoded-content-length: ");
        const bool isPart = line.find("partNumber=") != line.npos;
        objectSize = (isPart ? objectSize : 0) + (decoded.empty() ? length : readNumber(decoded));
    }
}

template <class Stream>
awaitable<void> readBody(Stream& stream, std::string& received, std::size_t length) {
    const std::size_t known = std::min(length, received.size());
    received.erase(0, known);
    std::vector<char> block(blockSize);
    for (std::size_t left = length - known; left > 0;) {
        left -= co_await stream.async_read_some(asio::buffer(block, left), use_awaitable);
    }
}

template <class Stream>
awaitable<void> serve(Stream& stream) {
    std::string received;
    for (;;) {
        const std::size_t headLength = co_await asio::async_read_until(stream, asio::dynamic_buffer(received),
                                                                       "\r\n\r\n", use_awaitable);
        const std::string head = received.substr(0, headLength);
        received.erase(0, headLength);
        if (head.find("\r\nExpect: 100-continue\r\n") != std::string::npos) {
            co_await asio::async_write(stream, asio::buffer("HTTP/1.1 100 Continue\r\n\r\n", 25),
                                       use_awaitable);
        }
        const std::size_t length = readNumber(findAfter(head, "\r\nContent-Length: "));
        co_await readBody(stream, received, length);
        noteUpload(head, length);
        if (head.starts_with("PUT ")) {
            co_await sendText(stream, "");
        } else if (head.starts_with("POST ")) {
            const bool isBeginning = head.find("?uploads ") != std::string::npos;
            co_await sendText(stream, isBeginning ? uploadBegun : uploadDone);
        } else {
            co_await sendObject(stream, head);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    bench::runServer(argc, argv, [](auto& stream) { return serve(stream); });
}
