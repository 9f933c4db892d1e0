#include "vexil/s3/S3SignerV4.h"

#include "sigil/Digest.h"
#include "sigil/HMAC.h"
#include "vexil/s3/S3HeaderMap.h"
#include "vexil/s3/S3HexDigit.h"
#include "vexil/s3/S3URL.h"
#include "zet/ASCII.h"
#include "zet/TimeFields.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

namespace vexil {

namespace {

constexpr char algorithm[] = "AWS4-HMAC-SHA256";
constexpr char scopeEnd[] = "/s3/aws4_request";
constexpr char unsignedPayload[] = "UNSIGNED-PAYLOAD";
constexpr std::size_t dateLength = 8;  // 20130524
constexpr std::size_t usualAuthorizationSize = 512;
constexpr std::size_t usualStringToSignSize = 256;
// Never destroyed: objects with static lifetime may use them while the process ends.
const String& hostHeader = *new String("host");
const String& dateHeader = *new String("x-amz-date");
const String& payloadHeader = *new String("x-amz-content-sha256");

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
    return makeHexText(hash);
}

/// Without white space at both ends; white space inside becomes one space.
std::string foldSpaces(std::string_view value) {
    const auto isSpace = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    std::string folded;
    folded.reserve(value.size());
    while (!value.empty()) {
        const auto end =
            static_cast<std::size_t>(std::find_if(value.begin(), value.end(), isSpace) - value.begin());
        if (end > 0 && !folded.empty()) {
            folded += ' ';
        }
        folded += value.substr(0, end);
        value.remove_prefix(std::min(end + 1, value.size()));
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
    headers.reserve(request.headers.size() + 1);
    for (const auto& [name, value] : request.headers) {
        std::string utf8 = name.toUTF8();
        const bool isSigned = std::find(unsignedHeaders.begin(), unsignedHeaders.end(),
                                        std::string_view(utf8)) == unsignedHeaders.end();
        // libcurl does not send a header with an empty value.
        if (isSigned && !value.isEmpty()) {
            headers.emplace_back(std::move(utf8), foldSpaces(value.toUTF8()));
        }
    }
    if (!request.headers.contains(hostHeader)) {
        checkHost(host);
        headers.emplace_back("host", host.toUTF8());
    }
    std::sort(headers.begin(), headers.end());
    return headers;
}

std::string joinNames(const std::vector<TextPair>& headers) {
    std::string names;
    for (const auto& [name, value] : headers) {
        if (!names.empty()) {
            names += ';';
        }
        names += name;
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

/// \param names  of the headers, joined
std::string joinCanonicalRequest(const String& method, const CS3URL& url,
                                 const std::vector<TextPair>& headers, const std::string& names,
                                 const std::string& payloadHash) {
    static constexpr std::size_t usualSize = 1024;
    std::string text;
    text.reserve(usualSize);
    text.append(method.toUTF8()).append("\n");
    text.append(encodePercent(decodePercent(url.path.toUTF8()), true)).append("\n");
    text.append(makeCanonicalQuery(url.query.toUTF8())).append("\n");
    for (const auto& [name, value] : headers) {
        text.append(name).append(":").append(value).append("\n");
    }
    return text.append("\n").append(names).append("\n").append(payloadHash);
}

std::string getPayloadHash(const CS3RequestToSign& request) {
    const auto found = request.headers.find(payloadHeader);
    return found == request.headers.end() || found->second.isEmpty() ? CS3SignerV4::emptyPayloadHash
                                                                     : found->second.toUTF8();
}

bool isTimestamp(const std::string& text) {
    static constexpr std::string_view form = "00000000T000000Z";
    return text.size() == form.size() &&
           std::equal(text.begin(), text.end(), form.begin(),
                      [](char c, char wanted) { return wanted == '0' ? zet::isDigit(c) : c == wanted; });
}

/// "20130524T000000Z"
std::string makeTimestamp(const zet::CTime& time) {
    std::string text = zet::CTimeFields(time).toISODateTime(0).toUTF8();
    std::erase_if(text, [](char c) { return c == '-' || c == ':'; });
    return text;
}

}  // namespace

CS3Header CS3SignerV4::makeTimeHeader(const zet::CTime& time) const {
    return {dateHeader, String(makeTimestamp(time))};
}

TArray<CS3Header> CS3SignerV4::sign(const CS3RequestToSign& request, const CS3SigningKeys& keys) const {
    const std::string timestamp = findHeader(request.headers, dateHeader).toUTF8();
    if (!isTimestamp(timestamp)) {
        throw CInvalidArgError("CS3Client::signRequest", "x-amz-date must have the form 20130524T000000Z");
    }
    const CS3URL url = CS3URL::parse(request.url);
    const std::vector<TextPair> headers = collectHeaders(request, url.host);
    const std::string names = joinNames(headers);
    const std::string signature =
        makeSignature(joinCanonicalRequest(request.method, url, headers, names, getPayloadHash(request)),
                      timestamp, keys.secretKey);
    std::string text = algorithm;
    text.reserve(usualAuthorizationSize);
    text.append(" Credential=").append(keys.accessKeyId.toUTF8()).append("/").append(makeScope(timestamp));
    text.append(", SignedHeaders=").append(names).append(", Signature=").append(signature);
    TArray<CS3Header> added;
    added.emplace_back("Authorization", text);
    return added;
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
    const std::string names = joinNames(headers);
    url.query += "&X-Amz-SignedHeaders=" + escapeText(String(names), false);
    const std::string canonicalRequest =
        joinCanonicalRequest(request.method, url, headers, names, unsignedPayload);
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
    const std::vector<TextPair> headers = collectHeaders(request, url.host);
    return joinCanonicalRequest(request.method, url, headers, joinNames(headers), getPayloadHash(request));
}

std::string CS3SignerV4::makeScope(const std::string& timestamp) const {
    std::string scope;
    scope.reserve(dateLength + 1 + m_region.size() + sizeof scopeEnd);
    return scope.append(timestamp, 0, dateLength).append("/").append(m_region).append(scopeEnd);
}

std::string CS3SignerV4::makeSignature(const std::string& canonicalRequest, const std::string& timestamp,
                                       const std::string& secretKey) const {
    std::string text = algorithm;
    text.reserve(usualStringToSignSize);
    text.append("\n").append(timestamp).append("\n").append(makeScope(timestamp));
    text.append("\n").append(calcSHA256(canonicalRequest));
    return makeHexText(getSigningKey(timestamp.substr(0, dateLength), secretKey).calc(text));
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
