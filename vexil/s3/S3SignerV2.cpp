#include "vexil/s3/S3SignerV2.h"

#include "sigil/Base64.h"
#include "sigil/HMAC.h"
#include "vexil/s3/S3HeaderMap.h"
#include "vexil/s3/S3URL.h"
#include "zet/TimeFields.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace vexil {

namespace {

constexpr char amzPrefix[] = "x-amz-";
// Never destroyed: objects with static lifetime may use them while the process ends.
const String& contentMD5 = *new String("content-md5");
const String& contentType = *new String("content-type");
const String& date = *new String("date");
const String& amzDate = *new String("x-amz-date");

/// The arguments that select a part of a resource, or change its response, in the order of their names.
constexpr const char* subresources[] = {"acl",
                                        "cors",
                                        "delete",
                                        "lifecycle",
                                        "location",
                                        "logging",
                                        "notification",
                                        "partNumber",
                                        "policy",
                                        "requestPayment",
                                        "response-cache-control",
                                        "response-content-disposition",
                                        "response-content-encoding",
                                        "response-content-language",
                                        "response-content-type",
                                        "response-expires",
                                        "restore",
                                        "tagging",
                                        "torrent",
                                        "uploadId",
                                        "uploads",
                                        "versionId",
                                        "versioning",
                                        "versions",
                                        "website"};

/// An argument of a query as it is signed, "name" or "name=value" with the value not escaped.
std::optional<String> findArgument(std::string_view query, std::string_view name) {
    while (!query.empty()) {
        const std::size_t end = std::min(query.find('&'), query.size());
        const std::string_view argument = query.substr(0, end);
        if (argument.substr(0, argument.find('=')) == name) {
            return String::fromUTF8(decodePercent(argument));
        }
        query.remove_prefix(std::min(end + 1, query.size()));
    }
    return std::nullopt;
}

}  // namespace

CS3Header CS3SignerV2::makeTimeHeader(const zet::CTime& time) const {
    return {"Date", zet::CTimeFields(time, zet::CTimeFields::FieldTypeUTC).toInternetTimestamp()};
}

TArray<CS3Header> CS3SignerV2::sign(const CS3RequestToSign& request, const CS3SigningKeys& keys) const {
    String text = "AWS ";
    text.append(keys.accessKeyId.view());
    text += L':';
    text.append(makeSignature(request, keys.secretKey).view());
    TArray<CS3Header> added;
    added.emplace_back("Authorization", std::move(text));
    return added;
}

String CS3SignerV2::presign(const CS3RequestToSign& request, const CS3SigningKeys& keys,
                            const zet::CTime& time, int64 seconds) const {
    static constexpr int64 microseconds = 1000000;
    const String expires = String::fromInt(time.getMicroseconds() / microseconds + seconds);
    CS3RequestToSign signedRequest = request;
    signedRequest.headers["date"] = expires;  // it has the date's place in the text
    String query = "AWSAccessKeyId=" + escapeText(keys.accessKeyId, false) + "&Expires=" + expires;
    if (!keys.sessionToken.isEmpty()) {
        signedRequest.headers["x-amz-security-token"] = keys.sessionToken;
        query += "&x-amz-security-token=" + escapeText(keys.sessionToken, false);
    }
    return query + "&Signature=" + escapeText(makeSignature(signedRequest, keys.secretKey), false);
}

String CS3SignerV2::makeSignature(const CS3RequestToSign& request, const std::string& secretKey) const {
    const std::string text = makeStringToSign(request).toUTF8();
    const TBuffer<unsigned char> hash = findPreparedKey(m_lastKey, "2/" + secretKey, [&secretKey] {
                                            return sigil::CHMACKey("SHA1", secretKey);
                                        }).calc(text);
    return sigil::base64Encode(hash.getData(), hash.getUsed(), true, false);
}

String CS3SignerV2::makeStringToSign(const CS3RequestToSign& request) {
    const TMap<String, String>& headers = request.headers;
    String text = request.method;
    text += L'\n';
    const auto add = [&text, &headers](const String& name) {
        if (const auto found = headers.find(name); found != headers.end()) {
            text += found->second;
        }
    };
    add(contentMD5);
    text += L'\n';
    add(contentType);
    text += L'\n';
    // An x-amz-date header replaces the Date header; this line then stays empty.
    if (!headers.contains(amzDate)) {
        add(date);
    }
    text += L'\n';
    text += canonicalizeAMZHeaders(headers);
    text +=
        request.signsSubresources ? canonicalizeSubresources(request.url) : canonicalizeResource(request.url);
    return text;
}

String CS3SignerV2::canonicalizeAMZHeaders(const TMap<String, String>& headers) {
    TArray<String> names;
    for (const auto& [name, value] : headers) {
        if (name.startsWith(amzPrefix)) {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    String lines;
    for (const String& name : names) {
        String value = findHeader(headers, name);
        makeSingleLine(value);
        lines += name + ":" + value + "\n";
    }
    return lines;
}

String CS3SignerV2::canonicalizeResource(const String& url) {
    constexpr char separator[] = "://";
    const std::size_t schemeEnd = url.find(separator);
    const std::size_t start =
        schemeEnd == String::npos ? String::npos : url.find(L'/', schemeEnd + sizeof separator - 1);
    if (start == String::npos) {
        throw CError("Invalid Amazon S3 query URL: '" + url + "'.");
    }
    const String resource = url.substr(start);
    const std::size_t query = resource.find(L'?');
    const bool isPlain = query == String::npos || (resource.find(L'=', query) == String::npos &&
                                                   resource.find(L'&', query) == String::npos);
    return isPlain ? resource : resource.substr(0, query);
}

String CS3SignerV2::canonicalizeSubresources(const String& url) {
    const String path = canonicalizeResource(url);
    const std::size_t question = url.find(L'?');
    if (question == String::npos || path.find(L'?') != String::npos) {
        return path;
    }
    const std::string query = url.substr(question + 1).toUTF8();
    String resource;
    for (const char* const name : subresources) {
        if (const std::optional<String> argument = findArgument(query, name)) {
            resource += String(resource.isEmpty() ? "?" : "&") + *argument;
        }
    }
    return path + resource;
}

void CS3SignerV2::makeSingleLine(String& headerValue) {
    for (std::size_t lineFeed; (lineFeed = headerValue.find(L'\n')) != String::npos;) {
        String tail = headerValue.substr(lineFeed);
        tail.trimLeft();
        headerValue = headerValue.substr(0, lineFeed) + " " + tail;
    }
}

}  // namespace vexil
