#include "vexil/s3/S3SignerV4.h"

#include "sigil/Digest.h"
#include "sigil/HMAC.h"
#include "sigil/Hex.h"
#include "vexil/s3/S3HeaderMap.h"
#include "vexil/s3/S3URL.h"
#include "zet/ASCII.h"
#include "zet/TimeFields.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <utility>
#include <vector>

namespace vexil {

namespace {

constexpr char algorithm[] = "AWS4-HMAC-SHA256";
constexpr char scopeEnd[] = "/s3/aws4_request";
constexpr char unsignedPayload[] = "UNSIGNED-PAYLOAD";
constexpr std::size_t dateLength = 8;  // 20130524

/// Headers that libcurl or a proxy may change on the way.
constexpr std::array<std::string_view, 12> unsignedHeaders = {
    "accept-encoding", "authorization",       "connection",       "content-length",
    "expect",          "proxy-authorization", "proxy-connection", "te",
    "trailer",         "transfer-encoding",   "upgrade",          "user-agent"};

using Bytes = TBuffer<unsigned char>;
using TextPair = std::pair<std::string, std::string>;

std::string_view viewBytes(const Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.getData()), static_cast<std::size_t>(bytes.getUsed())};
}

Bytes calcHMAC(const Bytes& key, std::string_view text) {
    Bytes hash;
    sigil::calcHMAC_SHA256(hash, text.data(), static_cast<int>(text.size()), key.getData(), key.getUsed());
    return hash;
}

std::string calcSHA256(std::string_view text) {
    const P<sigil::IDigest> digest = sigil::CDigestType_SHA256().createDigest();
    digest->update(text.data(), static_cast<int>(text.size()));
    Bytes hash;
    digest->finish(hash);
    return sigil::hexEncode(hash).toUTF8();
}

/// Without white space at both ends; white space inside becomes one space.
std::string foldSpaces(std::string_view value) {
    std::string folded;
    bool isAfterSpace = false;
    for (const char c : value) {
        if (c == ' ' || (c >= '\t' && c <= '\r')) {
            isAfterSpace = true;
            continue;
        }
        if (isAfterSpace && !folded.empty()) {
            folded += ' ';
        }
        isAfterSpace = false;
        folded += c;
    }
    return folded;
}

/// \throws CInvalidArgError for a host name that libcurl would change
void checkHost(const String& host) {
    if (!std::all_of(host.view().begin(), host.view().end(), zet::isASCII<wchar_t>)) {
        throw CInvalidArgError("CS3Client::signRequest",
                               "the host name must be ASCII: write it in its encoded form (xn--...)");
    }
}

/// The headers to sign, by name.
std::vector<TextPair> collectHeaders(const CS3RequestToSign& request, const String& host) {
    std::vector<TextPair> headers;
    for (const auto& [name, value] : request.headers) {
        const std::string utf8 = name.toUTF8();
        const bool isSigned = std::find(unsignedHeaders.begin(), unsignedHeaders.end(),
                                        std::string_view(utf8)) == unsignedHeaders.end();
        // libcurl does not send a header with an empty value.
        if (isSigned && !value.isEmpty()) {
            headers.emplace_back(utf8, foldSpaces(value.toUTF8()));
        }
    }
    if (!request.headers.contains("host")) {
        checkHost(host);
        headers.emplace_back("host", host.toUTF8());
    }
    std::sort(headers.begin(), headers.end());
    return headers;
}

std::string joinNames(const std::vector<TextPair>& headers) {
    std::string names;
    for (const auto& [name, value] : headers) {
        names += (names.empty() ? "" : ";") + name;
    }
    return names;
}

/// The arguments in order, in the only form that a signature knows.
std::string makeCanonicalQuery(std::string_view query) {
    const auto normalize = [](std::string_view text) { return encodePercent(decodePercent(text), false); };
    std::vector<TextPair> arguments;
    while (!query.empty()) {
        const std::size_t end = std::min(query.find('&'), query.size());
        const std::string_view argument = query.substr(0, end);
        const std::size_t equals = std::min(argument.find('='), argument.size());
        if (!argument.empty()) {
            arguments.emplace_back(normalize(argument.substr(0, equals)),
                                   normalize(argument.substr(std::min(equals + 1, argument.size()))));
        }
        query.remove_prefix(std::min(end + 1, query.size()));
    }
    std::sort(arguments.begin(), arguments.end());
    std::string text;
    for (const auto& [name, value] : arguments) {
        text += (text.empty() ? "" : "&") + name + "=" + value;
    }
    return text;
}

std::string joinCanonicalRequest(const String& method, const CS3URL& url,
                                 const std::vector<TextPair>& headers, const std::string& payloadHash) {
    std::string text = method.toUTF8() + "\n";
    text += encodePercent(decodePercent(url.path.toUTF8()), true) + "\n";
    text += makeCanonicalQuery(url.query.toUTF8()) + "\n";
    for (const auto& [name, value] : headers) {
        text += name + ":" + value + "\n";
    }
    return text + "\n" + joinNames(headers) + "\n" + payloadHash;
}

std::string getPayloadHash(const CS3RequestToSign& request) {
    const String hash = findHeader(request.headers, "x-amz-content-sha256");
    return hash.isEmpty() ? CS3SignerV4::emptyPayloadHash : hash.toUTF8();
}

bool isTimestamp(const std::string& text) {
    static constexpr std::string_view form = "00000000T000000Z";
    return text.size() == form.size() &&
           std::equal(text.begin(), text.end(), form.begin(),
                      [](char c, char wanted) { return wanted == '0' ? zet::isDigit(c) : c == wanted; });
}

/// "20130524T000000Z"
std::string makeTimestamp(const zet::CTime& time) {
    const zet::CTimeFields fields(time);
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%04d%02d%02dT%02d%02d%02dZ", fields.getYear(), fields.getMonth(),
                  fields.getDay(), fields.getHour(), fields.getMinute(), fields.getSecond());
    return text.data();
}

}  // namespace

CS3Header CS3SignerV4::makeTimeHeader(const zet::CTime& time) const {
    return {"x-amz-date", makeTimestamp(time)};
}

TArray<CS3Header> CS3SignerV4::sign(const CS3RequestToSign& request, const CS3SigningKeys& keys) const {
    const std::string timestamp = findHeader(request.headers, "x-amz-date").toUTF8();
    if (!isTimestamp(timestamp)) {
        throw CInvalidArgError("CS3Client::signRequest", "x-amz-date must have the form 20130524T000000Z");
    }
    const CS3URL url = CS3URL::parse(request.url);
    const std::vector<TextPair> headers = collectHeaders(request, url.host);
    const std::string signature =
        makeSignature(joinCanonicalRequest(request.method, url, headers, getPayloadHash(request)), timestamp,
                      keys.secretKey);
    return {{"Authorization", String(algorithm) + " Credential=" + keys.accessKeyId + "/" +
                                  makeScope(timestamp) + ", SignedHeaders=" + joinNames(headers) +
                                  ", Signature=" + signature}};
}

String CS3SignerV4::presign(const CS3RequestToSign& request, const CS3SigningKeys& keys,
                            const zet::CTime& time, int64 seconds) const {
    const std::string timestamp = makeTimestamp(time);
    CS3URL url = CS3URL::parse(request.url);
    const std::vector<TextPair> headers = collectHeaders(request, url.host);
    url.query = String("X-Amz-Algorithm=") + algorithm +
                "&X-Amz-Credential=" + escapeText(keys.accessKeyId + "/" + makeScope(timestamp), false) +
                "&X-Amz-Date=" + timestamp + "&X-Amz-Expires=" + String::fromInt(seconds);
    if (!keys.sessionToken.isEmpty()) {
        url.query += "&X-Amz-Security-Token=" + escapeText(keys.sessionToken, false);
    }
    url.query += "&X-Amz-SignedHeaders=" + escapeText(String(joinNames(headers)), false);
    const std::string canonicalRequest = joinCanonicalRequest(request.method, url, headers, unsignedPayload);
    return url.query + "&X-Amz-Signature=" + makeSignature(canonicalRequest, timestamp, keys.secretKey);
}

zet::CTime CS3SignerV4::parseTime(const String& text) {
    const std::string utf8 = text.toUTF8();
    if (!isTimestamp(utf8)) {
        return zet::CTime();
    }
    const auto number = [&utf8](std::size_t at, std::size_t count) {
        return std::stoi(utf8.substr(at, count));
    };
    zet::CTimeFields fields;
    fields.setDate(number(0, 4), number(4, 2), number(6, 2));
    fields.setTime(number(9, 2), number(11, 2), number(13, 2));
    return fields.toTime();
}

std::string CS3SignerV4::makeCanonicalRequest(const CS3RequestToSign& request) {
    const CS3URL url = CS3URL::parse(request.url);
    return joinCanonicalRequest(request.method, url, collectHeaders(request, url.host),
                                getPayloadHash(request));
}

std::string CS3SignerV4::makeScope(const std::string& timestamp) const {
    return timestamp.substr(0, dateLength) + "/" + m_region + scopeEnd;
}

std::string CS3SignerV4::makeSignature(const std::string& canonicalRequest, const std::string& timestamp,
                                       const std::string& secretKey) const {
    const std::string text = std::string(algorithm) + "\n" + timestamp + "\n" + makeScope(timestamp) + "\n" +
                             calcSHA256(canonicalRequest);
    return sigil::hexEncode(getSigningKey(timestamp.substr(0, dateLength), secretKey).calc(text)).toUTF8();
}

const sigil::CHMACKey& CS3SignerV4::getSigningKey(const std::string& date,
                                                  const std::string& secretKey) const {
    return findPreparedKey(m_lastKey, "4/" + date + "/" + m_region + "/" + secretKey, [&] {
        const std::string start = "AWS4" + secretKey;
        Bytes key;
        key.append(reinterpret_cast<const unsigned char*>(start.data()), static_cast<int>(start.size()));
        key = calcHMAC(key, date);
        key = calcHMAC(key, m_region);
        key = calcHMAC(key, "s3");
        key = calcHMAC(key, "aws4_request");
        return sigil::CHMACKey("SHA256", viewBytes(key));
    });
}

}  // namespace vexil
