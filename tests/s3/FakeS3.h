#pragma once

#include "tests/s3/CRC32COf.h"
#include "tests/s3/S3TestSupport.h"
#include "tests/support/ScriptedPeer.h"

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace vexil_test {

inline std::string hexOf(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        constexpr char digits[] = "0123456789abcdef";
        text += digits[static_cast<unsigned char>(byte) >> 4];
        text += digits[static_cast<unsigned char>(byte) & 15];
    }
    return text;
}

inline std::string rawMD5Of(std::string_view bytes) {
    std::string hash(16, '\0');
    EVP_Digest(bytes.data(), bytes.size(), reinterpret_cast<unsigned char*>(hash.data()), nullptr, EVP_md5(),
               nullptr);
    return hash;
}

/// Path and query of a request.
inline std::string targetOf(const std::string& head) {
    const std::size_t begin = head.find(' ') + 1;
    return head.substr(begin, head.find(' ', begin) - begin);
}

/// An S3 service with one bucket that knows puts, uploads in parts and heads, with faults on demand. It
/// checks each Content-MD5 and, on demand, each CRC32C.
class FakeS3 {
public:
    enum class Operation { Put, Create, Part, Complete, Abort, List, Head };

    /// A request that has come.
    struct Call {
        Operation operation;
        int part;   ///< its number; 0 for other operations
        int tries;  ///< how often this operation, with this part, was called, from 1
        std::size_t bodySize;
        std::string head = "";  ///< request line and headers

        /// Path and query.
        std::string target() const { return targetOf(head); }
    };
    /// Returns a response instead of the usual one; nullopt for the usual one. Called on another thread.
    using Fault = std::function<std::optional<std::string>(const Call&)>;

    FakeS3() {
        peer.setDefaultReply([this](const RecordedRequest& request) { return handle(request); });
    }

    /// What fails before the operation is carried out.
    void setFault(Fault fault) {
        const std::lock_guard lock(m_mutex);
        m_fault = std::move(fault);
    }
    /// Whose response is replaced, after the operation was carried out.
    void setLoss(Fault loss) {
        const std::lock_guard lock(m_mutex);
        m_loss = std::move(loss);
    }
    void putObject(const std::string& key, const std::string& body, const std::string& eTag) {
        const std::lock_guard lock(m_mutex);
        m_objects[key] = {body, eTag};
    }
    /// From now on it knows x-amz-checksum-crc32c: in puts, parts, lists and completions.
    void knowChecksums() {
        const std::lock_guard lock(m_mutex);
        m_knowsChecksums = true;
    }
    void forgetUploads() {
        const std::lock_guard lock(m_mutex);
        m_uploads.clear();
    }
    /// An upload that a script has begun.
    void makeUpload(const std::string& id) {
        const std::lock_guard lock(m_mutex);
        m_uploads[id];
    }
    void removePart(int number) {
        const std::lock_guard lock(m_mutex);
        m_uploads.begin()->second.erase(number);
    }
    void changePart(int number, const std::string& body) {
        const std::lock_guard lock(m_mutex);
        m_uploads.begin()->second[number] = body;
    }

    std::string object(const std::string& key) const {
        const std::lock_guard lock(m_mutex);
        const auto found = m_objects.find(key);
        return found == m_objects.end() ? "(none)" : found->second.body;
    }
    std::string eTag(const std::string& key) const {
        const std::lock_guard lock(m_mutex);
        return m_objects.at(key).eTag;
    }
    std::size_t uploadCount() const {
        const std::lock_guard lock(m_mutex);
        return m_uploads.size();
    }
    std::vector<Call> calls() const {
        const std::lock_guard lock(m_mutex);
        return m_calls;
    }
    int countOf(Operation operation, int part = 0) const {
        int count = 0;
        for (const Call& call : calls()) {
            count += call.operation == operation && call.part == part ? 1 : 0;
        }
        return count;
    }
    /// Bytes of all bodies of parts and puts.
    std::size_t sentBytes() const {
        std::size_t bytes = 0;
        for (const Call& call : calls()) {
            bytes +=
                call.operation == Operation::Part || call.operation == Operation::Put ? call.bodySize : 0;
        }
        return bytes;
    }
    void forgetCalls() {
        const std::lock_guard lock(m_mutex);
        m_calls.clear();
        m_tries.clear();
    }

private:
    struct Object {
        std::string body;
        std::string eTag;
    };
    using Parts = std::map<int, std::string>;

    static std::string find(const std::string& text, const std::string& begin, char end) {
        const std::size_t start = text.find(begin);
        if (start == std::string::npos) {
            return "";
        }
        const std::size_t from = start + begin.size();
        const std::size_t to = text.find(end, from);
        return text.substr(from, to == std::string::npos ? to : to - from);
    }

    static Operation operationOf(const std::string& method, const std::string& query) {
        const bool hasUpload = query.find("uploadId=") != std::string::npos;
        if (method == "HEAD") {
            return Operation::Head;
        }
        if (method == "PUT") {
            return hasUpload ? Operation::Part : Operation::Put;
        }
        if (method == "POST") {
            return hasUpload ? Operation::Complete : Operation::Create;
        }
        return method == "DELETE" ? Operation::Abort : Operation::List;
    }

    std::string handle(const RecordedRequest& request) {
        const std::lock_guard lock(m_mutex);
        const std::string line = request.requestLine();
        const std::string method = line.substr(0, line.find(' '));
        const std::string target = line.substr(method.size() + 1, line.rfind(' ') - method.size() - 1);
        const std::string query = find(target, "?", '\0');
        const std::string number = find(query, "partNumber=", '&');
        Call call{operationOf(method, query), number.empty() ? 0 : std::stoi(number), 0, request.body.size(),
                  request.head};
        call.tries = ++m_tries[{call.operation, call.part}];
        m_calls.push_back(call);
        if (m_fault) {
            if (auto response = m_fault(call)) {
                return *response;
            }
        }
        const std::string usual = carryOut(call, target.substr(0, target.find('?')).substr(3),
                                           find(query, "uploadId=", '&'), request);
        if (m_loss) {
            if (auto response = m_loss(call)) {
                return *response;
            }
        }
        return usual;
    }

    std::string carryOut(const Call& call, const std::string& key, const std::string& id,
                         const RecordedRequest& request) {
        if (const auto md5 = request.header("content-md5"); md5 && *md5 != md5Of(request.body)) {
            return reply("400 Bad Request", errorDocument("BadDigest"));
        }
        if (const auto crc = request.header("x-amz-checksum-crc32c");
            crc && m_knowsChecksums && *crc != base64(crc32c(request.body))) {
            return reply("400 Bad Request", errorDocument("BadDigest"));
        }
        if (call.operation == Operation::Create) {
            const std::string made = "id" + std::to_string(++m_lastId);
            m_uploads[made];
            return reply("200 OK", "<InitiateMultipartUploadResult><UploadId>" + made +
                                       "</UploadId></InitiateMultipartUploadResult>");
        }
        if (call.operation == Operation::Put) {
            const std::string eTag = hexOf(rawMD5Of(request.body));
            m_objects[key] = {request.body, eTag};
            return reply("200 OK", "", "ETag: \"" + eTag + "\"\r\n" + checksumHeader(request));
        }
        if (call.operation == Operation::Head) {
            return describe(key);
        }
        if (!m_uploads.contains(id)) {
            return reply("404 Not Found", errorDocument("NoSuchUpload"));
        }
        Parts& parts = m_uploads[id];
        switch (call.operation) {
        case Operation::Part:
            parts[call.part] = request.body;
            return reply("200 OK", "",
                         "ETag: \"" + hexOf(rawMD5Of(request.body)) + "\"\r\n" + checksumHeader(request));
        case Operation::List:
            return list(parts, m_knowsChecksums);
        case Operation::Abort:
            m_uploads.erase(id);
            return "HTTP/1.1 204 No Content\r\n\r\n";
        default:
            return complete(key, id, parts, request.body);
        }
    }

    std::string describe(const std::string& key) const {
        const auto found = m_objects.find(key);
        if (found == m_objects.end()) {
            return "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n";
        }
        return "HTTP/1.1 200 OK\r\nETag: \"" + found->second.eTag +
               "\"\r\nContent-Length: " + std::to_string(found->second.body.size()) + "\r\n\r\n";
    }

    std::string checksumHeader(const RecordedRequest& request) const {
        return m_knowsChecksums && request.header("x-amz-checksum-crc32c")
                   ? "x-amz-checksum-crc32c: " + base64(crc32c(request.body)) + "\r\n"
                   : "";
    }

    static std::string list(const Parts& parts, bool hasChecksums) {
        std::string document = "<ListPartsResult><IsTruncated>false</IsTruncated>";
        for (const auto& [number, body] : parts) {
            document +=
                "<Part><PartNumber>" + std::to_string(number) + "</PartNumber><ETag>\"" +
                (hasChecksums ? "unknown" : hexOf(rawMD5Of(body))) + "\"</ETag><Size>" +
                std::to_string(body.size()) + "</Size>" +
                (hasChecksums ? "<ChecksumCRC32C>" + base64(crc32c(body)) + "</ChecksumCRC32C>" : "") +
                "</Part>";
        }
        return reply("200 OK", document + "</ListPartsResult>");
    }

    std::string complete(const std::string& key, const std::string& id, const Parts& parts,
                         const std::string& document) {
        Object object;
        std::string md5s;
        std::string checksums;
        int count = 0;
        for (std::size_t at = 0; (at = document.find("<PartNumber>", at)) != std::string::npos; ++at) {
            const std::string number = find(document.substr(at), "<PartNumber>", '<');
            const std::string eTag = find(document.substr(at), "<ETag>", '<');
            const auto found = parts.find(std::stoi(number));
            const std::string crc =
                find(document.substr(at, document.find("</Part>", at) - at), "<ChecksumCRC32C>", '<');
            const bool isKnown =
                found != parts.end() &&
                (eTag == "\"unknown\"" || eTag.find(hexOf(rawMD5Of(found->second))) != std::string::npos);
            if (!isKnown || (m_knowsChecksums && crc != base64(crc32c(found->second)))) {
                return reply("400 Bad Request", errorDocument("InvalidPart"));
            }
            object.body += found->second;
            md5s += rawMD5Of(found->second);
            checksums += m_knowsChecksums ? crc32c(found->second) : "";
            ++count;
        }
        object.eTag = hexOf(rawMD5Of(md5s)) + "-" + std::to_string(count);
        m_objects[key] = object;
        m_uploads.erase(id);
        const std::string checksum = m_knowsChecksums ? "<ChecksumCRC32C>" + base64(crc32c(checksums)) + "-" +
                                                            std::to_string(count) + "</ChecksumCRC32C>"
                                                      : "";
        return reply("200 OK", "<CompleteMultipartUploadResult><ETag>\"" + object.eTag + "\"</ETag>" +
                                   checksum + "</CompleteMultipartUploadResult>");
    }

    mutable std::mutex m_mutex;
    Fault m_fault;
    Fault m_loss;
    std::map<std::pair<Operation, int>, int> m_tries;
    std::vector<Call> m_calls;
    std::map<std::string, Parts> m_uploads;
    std::map<std::string, Object> m_objects;
    int m_lastId = 0;
    bool m_knowsChecksums = false;

public:
    ScriptedPeer peer;  // last, because its thread uses the other members
};

}  // namespace vexil_test
