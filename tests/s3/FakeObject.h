/// \file
/// Shared by the tests of downloads in parts.
#pragma once

#include "tests/s3/FakeS3.h"

#include <algorithm>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace vexil_test {

/// Of the downloads, not of the uploads.
constexpr std::size_t partSize = 10'000;

inline std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

/// The ETag of an object that was uploaded in parts of these sizes.
inline std::string eTagOfParts(const std::string& bytes, const std::vector<std::size_t>& sizes) {
    std::string md5s;
    std::size_t offset = 0;
    for (const std::size_t size : sizes) {
        md5s += rawMD5Of(bytes.substr(offset, size));
        offset += size;
    }
    return quoted(hexOf(rawMD5Of(md5s)) + "-" + std::to_string(sizes.size()));
}

/// A request for the object.
struct ObjectCall {
    std::string method;
    int64 first = -1;  ///< of the range; -1 without a range
    int64 last = -1;
    int part = 0;   ///< the number of an uploaded part
    int tries = 0;  ///< how often a request began within the same part of a download, from 1
    std::string ifMatch;
    std::string head;  ///< request line and headers
    bool asksForChecksum = false;

    /// Path and query.
    std::string target() const { return targetOf(head); }
    int64 index() const { return first / static_cast<int64>(partSize); }
};

/// An object of a service that knows ranges and conditions, with faults on demand.
class FakeObject {
public:
    /// Returns a response instead of the usual one; nullopt for the usual one. Called on another thread.
    using Fault = std::function<std::optional<std::string>(const ObjectCall&)>;

    FakeObject() {
        peer.setDefaultReply([this](const RecordedRequest& request) { return handle(request); });
    }

    void set(const std::string& body, const std::string& eTag = "") {
        const std::lock_guard lock(m_mutex);
        m_body = body;
        m_eTag = eTag.empty() ? quoted(hexOf(rawMD5Of(body))) : eTag;
        m_exists = true;
    }
    void remove() {
        const std::lock_guard lock(m_mutex);
        m_exists = false;
    }
    /// So the object was uploaded.
    void setUploadedParts(const std::vector<std::size_t>& sizes) {
        const std::lock_guard lock(m_mutex);
        m_uploadedParts = sizes;
        m_eTag = eTagOfParts(m_body, sizes);
    }
    void setFault(Fault fault) {
        const std::lock_guard lock(m_mutex);
        m_fault = std::move(fault);
    }
    /// Headers of each successful response.
    void setHeaders(const std::string& headers) {
        const std::lock_guard lock(m_mutex);
        m_headers = headers;
    }

    /// Headers of each response to a request that asks for checksums and is about the whole object.
    void setChecksums(const std::string& headers) {
        const std::lock_guard lock(m_mutex);
        m_checksums = headers;
    }

    std::vector<ObjectCall> calls() const {
        const std::lock_guard lock(m_mutex);
        return m_calls;
    }
    /// The first bytes of all ranges, sorted.
    std::vector<int64> starts() const {
        std::vector<int64> offsets;
        for (const ObjectCall& call : calls()) {
            offsets.push_back(call.method == "HEAD" ? -1 : call.first);
        }
        std::sort(offsets.begin(), offsets.end());
        return offsets;
    }
    void setCalls(const std::vector<ObjectCall>& calls) {
        const std::lock_guard lock(m_mutex);
        m_calls = calls;
    }
    std::string body() const {
        const std::lock_guard lock(m_mutex);
        return m_body;
    }
    void forgetCalls() {
        const std::lock_guard lock(m_mutex);
        m_calls.clear();
    }
    /// The usual response to a range, to be changed.
    std::string makePart(int64 first, int64 last) const {
        const std::string bytes =
            m_body.substr(static_cast<std::size_t>(first), static_cast<std::size_t>(last - first + 1));
        return "HTTP/1.1 206 Partial Content\r\nETag: " + m_eTag + "\r\n" + m_headers +
               "Content-Range: bytes " + std::to_string(first) + "-" +
               std::to_string(first + static_cast<int64>(bytes.size()) - 1) + "/" +
               std::to_string(m_body.size()) + "\r\nContent-Length: " + std::to_string(bytes.size()) +
               "\r\n\r\n" + bytes;
    }
    /// The usual response. Also for faults.
    std::string makeResponse(const ObjectCall& call) const {
        const int64 size = static_cast<int64>(m_body.size());
        if (call.method == "HEAD") {
            const std::size_t length = call.part > 0 && !m_uploadedParts.empty()
                                           ? m_uploadedParts.at(static_cast<std::size_t>(call.part) - 1)
                                           : m_body.size();
            return makeHead(call, length);
        }
        if (call.first == -1) {
            return makeHead(call, m_body.size()) + m_body;
        }
        if (call.first >= size) {
            return reply("416 Range Not Satisfiable", errorDocument("InvalidRange"));
        }
        std::string response = makePart(call.first, std::min(call.last, size - 1));
        if (call.asksForChecksum && call.first == 0 && call.last >= size - 1) {
            response.insert(response.find("\r\n") + 2, m_checksums);
        }
        return response;
    }
    /// For a fault: another object from the next request on.
    void replaceNow(const std::string& body) {
        m_body = body;
        m_eTag = quoted(hexOf(rawMD5Of(body)));
    }

private:
    static ObjectCall read(const RecordedRequest& request) {
        ObjectCall call;
        const std::string line = request.requestLine();
        call.head = request.head;
        call.method = line.substr(0, line.find(' '));
        call.ifMatch = request.header("if-match").value_or("");
        call.asksForChecksum = request.header("x-amz-checksum-mode") == "ENABLED";
        if (const auto range = request.header("range")) {
            call.first = std::stoll(range->substr(6));
            call.last = std::stoll(range->substr(range->find('-') + 1));
        }
        if (const std::size_t at = line.find("partNumber="); at != line.npos) {
            call.part = std::stoi(line.substr(at + 11));
        }
        return call;
    }

    std::string makeHead(const ObjectCall& call, std::size_t length) const {
        return "HTTP/1.1 200 OK\r\nETag: " + m_eTag + "\r\n" + m_headers +
               (call.asksForChecksum && call.part == 0 ? m_checksums : "") +
               "Content-Length: " + std::to_string(length) + "\r\n\r\n";
    }

    std::string handle(const RecordedRequest& request) {
        const std::lock_guard lock(m_mutex);
        ObjectCall call = read(request);
        call.tries = 1;
        for (const ObjectCall& earlier : m_calls) {
            call.tries += earlier.method == call.method && earlier.index() == call.index() ? 1 : 0;
        }
        m_calls.push_back(call);
        if (m_fault) {
            if (auto response = m_fault(call)) {
                return *response;
            }
        }
        if (!m_exists) {
            return call.method == "HEAD" ? "HTTP/1.1 404 Not Found\r\n\r\n"
                                         : reply("404 Not Found", errorDocument("NoSuchKey"));
        }
        if (!call.ifMatch.empty() && call.ifMatch != m_eTag) {
            return call.method == "HEAD"
                       ? "HTTP/1.1 412 Precondition Failed\r\n\r\n"
                       : reply("412 Precondition Failed", errorDocument("PreconditionFailed"));
        }
        return makeResponse(call);
    }

    mutable std::mutex m_mutex;
    std::string m_body;
    std::string m_eTag;
    std::string m_headers;
    std::string m_checksums;
    bool m_exists = false;
    std::vector<std::size_t> m_uploadedParts;
    Fault m_fault;
    std::vector<ObjectCall> m_calls;

public:
    ScriptedPeer peer;  // last, because its thread uses the other members
};

}  // namespace vexil_test
