/// \file
/// Streams for uploads, and the service's side of them, independent of the tested code.
#pragma once

#include "tests/s3/CRC32COf.h"
#include "tests/s3/S3WireTest.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace vexil_test {

inline const std::string streaming = "STREAMING-AWS4-HMAC-SHA256-PAYLOAD";

/// A stream that counts what is read, and may fail or refuse to seek.
class Stream : public virtual vexil::CBase, public zet::IInStream {
public:
    explicit Stream(std::string text, int64 start = 0) : bytes(std::move(text)), position(start) {}

    int read(void* buffer, int maxLength) override {
        if (onRead) {
            onRead();
        }
        const int64 rest = static_cast<int64>(bytes.size()) - position;
        const int count = static_cast<int>(std::min<int64>({rest, maxLength, mostAtOnce}));
        std::memcpy(buffer, bytes.data() + position, static_cast<std::size_t>(count));
        position += count;
        readBytes += count;
        return count;
    }
    int64 getSize() override { return -1; }
    void seek(int64 target) override {
        if (!canSeek) {
            throw CError("This stream cannot seek.");
        }
        position = target;
    }
    int64 getPosition() override { return position; }

    std::string bytes;
    int64 position;
    int64 mostAtOnce = 1 << 30;
    int64 readBytes = 0;
    bool canSeek = true;
    std::function<void()> onRead;
};

inline std::string hex(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        text += "0123456789abcdef"[static_cast<unsigned char>(c) >> 4];
        text += "0123456789abcdef"[static_cast<unsigned char>(c) & 0xF];
    }
    return text;
}

inline std::string digest(const EVP_MD* type, std::string_view bytes) {
    unsigned char hash[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(bytes.data(), bytes.size(), hash, &length, type, nullptr);
    return {reinterpret_cast<const char*>(hash), length};
}

inline std::string hmac(std::string_view key, std::string_view text) {
    unsigned char hash[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
         reinterpret_cast<const unsigned char*>(text.data()), text.size(), hash, &length);
    return {reinterpret_cast<const char*>(hash), length};
}

inline std::string signingKey(const std::string& secret, const std::string& day, const std::string& region) {
    return hmac(hmac(hmac(hmac("AWS4" + secret, day), region), "s3"), "aws4_request");
}

inline std::string eTagOf(std::string_view content) {
    return "ETag: \"" + hex(digest(EVP_md5(), content)) + "\"\r\n";
}

inline std::string after(const std::string& text, const std::string& name, const std::string& end) {
    const std::size_t found = text.find(name);
    if (found == std::string::npos) {
        return "";
    }
    const std::size_t start = found + name.size();
    return text.substr(start, text.find(end, start) - start);
}

/// The content of a body in chunks. Fails the test if the framing, a size or a signature is wrong.
/// \param trailer  the line that must come after the last chunk; "" for none
inline std::string decodeChunks(const RecordedRequest& sent, const std::string& trailer = "",
                                const std::string& secret = secretKey) {
    const std::string timestamp = sent.header("x-amz-date").value_or("");
    const std::string scope = after(sent.head, "Credential=" + accessKey + "/", ",");
    const std::string key = signingKey(secret, scope.substr(0, 8), after(scope, "/", "/"));
    std::string previous = after(sent.head, "Signature=", "\r\n");
    std::string content;
    for (std::size_t at = 0;;) {
        const std::size_t lineEnd = sent.body.find("\r\n", at);
        const std::string line = sent.body.substr(at, lineEnd - at);
        const std::size_t size = std::stoul("0" + line, nullptr, 16);
        const std::string bytes = lineEnd == std::string::npos ? "" : sent.body.substr(lineEnd + 2, size);
        const std::string text = "AWS4-HMAC-SHA256-PAYLOAD\n" + timestamp + "\n" + scope + "\n" + previous +
                                 "\n" + hex(digest(EVP_sha256(), "")) + "\n" +
                                 hex(digest(EVP_sha256(), bytes));
        previous = hex(hmac(key, text));
        const std::size_t end = lineEnd + 2 + size;
        if (size == 0 && !trailer.empty()) {
            const std::string trailerText = "AWS4-HMAC-SHA256-TRAILER\n" + timestamp + "\n" + scope + "\n" +
                                            previous + "\n" + hex(digest(EVP_sha256(), trailer + "\n"));
            EXPECT_EQ(line, "0;chunk-signature=" + previous);
            EXPECT_EQ(sent.body.substr(end),
                      trailer + "\r\nx-amz-trailer-signature:" + hex(hmac(key, trailerText)) + "\r\n\r\n");
            EXPECT_EQ(sent.header("x-amz-decoded-content-length"), std::to_string(content.size()));
            EXPECT_EQ(sent.header("Content-Length"), std::to_string(sent.body.size()));
            EXPECT_EQ(sent.header("x-amz-content-sha256"), streaming + "-TRAILER");
            return content;
        }
        if (line.substr(line.find(';') + 1) != "chunk-signature=" + previous || bytes.size() != size ||
            sent.body.substr(end, 2) != "\r\n") {
            ADD_FAILURE() << "a wrong chunk at " << at << ": " << line;
            return content;
        }
        content += bytes;
        at = end + 2;
        if (size == 0) {
            EXPECT_EQ(at, sent.body.size());
            EXPECT_EQ(sent.header("x-amz-decoded-content-length"), std::to_string(content.size()));
            EXPECT_EQ(sent.header("Content-Length"), std::to_string(sent.body.size()));
            EXPECT_EQ(sent.header("x-amz-content-sha256"), streaming);
            return content;
        }
    }
}

}  // namespace vexil_test
