#include "vexil/s3/S3OptionHeaders.h"

#include "sigil/Base64.h"
#include "sigil/Digest.h"
#include "vexil/net/LineEnd.h"
#include "vexil/s3/S3Arguments.h"
#include "vexil/s3/S3ChecksumValue.h"
#include "vexil/s3/S3ContentMD5.h"
#include "vexil/s3/S3Query.h"
#include "vexil/s3/S3URL.h"
#include "zet/ASCII.h"
#include "zet/TimeFields.h"

#include <algorithm>
#include <string_view>

namespace vexil {

namespace {

constexpr std::size_t customerKeyBytes = 32;
constexpr std::size_t maxTags = 10;
constexpr std::size_t maxTagName = 128;
constexpr std::size_t maxTagValue = 256;

/// The names of tokens (RFC 9110, 5.6.2).
bool isToken(const String& name) {
    static constexpr std::wstring_view others = L"!#$%&'*+-.^_`|~";
    return !name.isEmpty() && std::all_of(name.view().begin(), name.view().end(), [](wchar_t c) {
        return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || (c >= L'0' && c <= L'9') ||
               others.find(c) != others.npos;
    });
}

/// Characters, also if one of them needs two units.
std::size_t countCharacters(const String& text) {
    const std::string utf8 = text.toUTF8();
    return static_cast<std::size_t>(std::count_if(
        utf8.begin(), utf8.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

void checkMetadata(const char* place, const TMap<String, String>& metadata) {
    TMap<String, String> names;
    for (const auto& [name, value] : metadata) {
        if (!isToken(name)) {
            throw CInvalidArgError(place, "the metadata name '" + name + "' is not a header name");
        }
        if (!names.try_emplace(name.toLower(), name).second) {
            throw CInvalidArgError(place, "the metadata names '" + names[name.toLower()] + "' and '" + name +
                                              "' differ only in their case");
        }
        const String field = "the metadata value of '" + name + "'";
        if (value.isEmpty()) {
            throw CInvalidArgError(place, field + " must not be empty");
        }
        checkHeaderText(place, field, value);
    }
}

void checkTags(const char* place, const TMap<String, String>& tags) {
    if (tags.size() > maxTags) {
        throw CInvalidArgError(place, "there must be at most 10 tags");
    }
    for (const auto& [name, value] : tags) {
        const std::size_t length = countCharacters(name);
        if (length == 0 || length > maxTagName) {
            throw CInvalidArgError(place, "the name of the tag '" + name + "' must have 1 to 128 characters");
        }
        if (countCharacters(value) > maxTagValue) {
            throw CInvalidArgError(place,
                                   "the value of the tag '" + name + "' must have at most 256 characters");
        }
    }
}

void checkEncryption(const char* place, const CS3PutOptions& options) {
    checkHeaderText(place, "encryption", options.encryption);
    checkHeaderText(place, "encryption key ID", options.encryptionKeyId);
    if (!options.encryptionKeyId.isEmpty() && !options.encryption.startsWith("aws:kms")) {
        throw CInvalidArgError(place, "an encryption key ID needs the encryption 'aws:kms'");
    }
    if (options.customerKey.isSet() && !options.encryption.isEmpty()) {
        throw CInvalidArgError(place, "a customer key and an encryption by the service exclude each other");
    }
}

void checkLock(const char* place, const CS3PutOptions& options) {
    const bool hasMode = options.lockMode != S3ObjectLockMode::None;
    if (hasMode && options.lockMode != S3ObjectLockMode::Governance &&
        options.lockMode != S3ObjectLockMode::Compliance) {
        throw CInvalidArgError(place, "the lock mode is unknown");
    }
    if (hasMode != options.lockUntil.isSet()) {
        throw CInvalidArgError(place, "an object lock needs both its mode and its time");
    }
    checkTime(place, "the time of the object lock", options.lockUntil);
}

String makeTagging(const TMap<String, String>& tags) {
    String text;
    for (const auto& [name, value] : tags) {
        text += (text.isEmpty() ? String() : String("&")) + escapeText(name, false) + "=" +
                escapeText(value, false);
    }
    return text;
}

void addContentHeaders(CNetHeaders& headers, const CS3PutOptions& options) {
    addOptional(headers, "Content-Type", options.contentType);
    addOptional(headers, "Cache-Control", options.cacheControl);
    addOptional(headers, "Content-Disposition", options.contentDisposition);
    addOptional(headers, "Content-Encoding", options.contentEncoding);
    addOptional(headers, "Content-Language", options.contentLanguage);
    addOptional(headers, "Expires", options.expires);
}

void addLock(CNetHeaders& headers, const CS3PutOptions& options) {
    if (options.lockMode != S3ObjectLockMode::None) {
        headers.add("x-amz-object-lock-mode",
                    options.lockMode == S3ObjectLockMode::Governance ? "GOVERNANCE" : "COMPLIANCE");
        headers.add("x-amz-object-lock-retain-until-date",
                    zet::CTimeFields(options.lockUntil).toISODateTime(0));
    }
    if (options.hasLegalHold) {
        headers.add("x-amz-object-lock-legal-hold", "ON");
    }
}

String calcMD5(const std::string& bytes) {
    const P<sigil::IDigest> digest = sigil::CDigestType_MD5().createDigest();
    digest->update(bytes.data(), static_cast<int>(bytes.size()));
    return finishContentMD5(*digest);
}

}  // namespace

// ---- checks ----------------------------------------------------------------------------------------------

void checkHeaderText(const char* place, const String& field, const String& text) {
    const std::wstring_view view = text.view();
    if (hasLineEnd(text)) {
        throw CInvalidArgError(place, field + " must not contain CR, LF or NUL");
    }
    if (std::any_of(view.begin(), view.end(), [](wchar_t c) { return c < L' ' || c > L'~'; })) {
        throw CInvalidArgError(place, field + " must have only printable ASCII characters");
    }
    if (zet::trimmed(view).size() != view.size()) {
        throw CInvalidArgError(place, field + " must not begin or end with white space");
    }
}

void checkTime(const char* place, const char* field, const zet::CTime& time) {
    if (!time.isSet()) {
        return;
    }
    try {
        (void)zet::CTimeFields(time);
    } catch (const CError&) {
        throw CInvalidArgError(place, String(field) + " is outside the years 0 to 9999");
    }
}

void checkPutOptions(const char* place, const CS3PutOptions& options) {
    if (hasLineEnd(options.contentType)) {
        throw CInvalidArgError(place, "content type must not contain CR, LF or NUL");
    }
    checkHeaderText(place, "cache control", options.cacheControl);
    checkHeaderText(place, "content disposition", options.contentDisposition);
    checkHeaderText(place, "content encoding", options.contentEncoding);
    checkHeaderText(place, "content language", options.contentLanguage);
    checkHeaderText(place, "expires", options.expires);
    checkMetadata(place, options.metadata);
    checkTags(place, options.tags);
    checkHeaderText(place, "storage class", options.storageClass);
    checkHeaderText(place, "canned ACL", options.cannedACL);
    checkEncryption(place, options);
    checkHeaderText(place, "If-Match", options.ifMatch);
    checkHeaderText(place, "If-None-Match", options.ifNoneMatch);
    if (!options.ifMatch.isEmpty() && !options.ifNoneMatch.isEmpty()) {
        throw CInvalidArgError(place, "If-Match and If-None-Match exclude each other");
    }
    checkLock(place, options);
    checkChecksum(place, options.checksum);
}

void checkChecksum(const char* place, S3Checksum checksum) {
    const String name = getChecksumName(checksum);
    if (checksum != S3Checksum::None && name.isEmpty()) {
        throw CInvalidArgError(place, "the checksum is unknown");
    }
    if (checksum == S3Checksum::CRC32 || checksum == S3Checksum::CRC64NVME) {
        throw CInvalidArgError(place, "the checksum " + name + " is of downloads only");
    }
}

void checkGetOptions(const char* place, const CS3GetOptions& options) {
    checkHeaderText(place, "version ID", options.versionId);
    checkHeaderText(place, "If-Match", options.ifMatch);
    checkHeaderText(place, "If-None-Match", options.ifNoneMatch);
    checkTime(place, "If-Modified-Since", options.ifModifiedSince);
    checkTime(place, "If-Unmodified-Since", options.ifUnmodifiedSince);
    if (options.partNumber < 0 || options.partNumber > maxPartNumber) {
        throw CInvalidArgError(place, "the part number " + String::fromInt(options.partNumber) +
                                          " is not 1 to 10000, or 0 for the whole object");
    }
    checkHeaderText(place, "content type of the response", options.responseContentType);
    checkHeaderText(place, "cache control of the response", options.responseCacheControl);
    checkHeaderText(place, "content disposition of the response", options.responseContentDisposition);
    checkHeaderText(place, "content encoding of the response", options.responseContentEncoding);
    checkHeaderText(place, "content language of the response", options.responseContentLanguage);
    checkHeaderText(place, "expires of the response", options.responseExpires);
}

void checkCustomerKey(const char* place, const CS3CustomerKey& key, const String& baseURL) {
    if (!key.isSet()) {
        return;
    }
    if (key.bytes.size() != customerKeyBytes) {
        throw CInvalidArgError(place, "the customer key must have 32 bytes, not " +
                                          String::fromInt(static_cast<int64>(key.bytes.size())));
    }
    if (!baseURL.startsWithNoCase("https:")) {
        throw CInvalidArgError(place, "a customer key needs https");
    }
}

// ---- headers ---------------------------------------------------------------------------------------------

void addOptional(CNetHeaders& headers, const char* name, const String& text) {
    if (!text.isEmpty()) {
        headers.add(name, text);
    }
}

void addOptional(CNetHeaders& headers, const char* name, const zet::CTime& time) {
    if (time.isSet()) {
        headers.add(name, zet::CTimeFields(time).toInternetTimestamp());
    }
}

void addCustomerKey(CNetRequest& request, CNetHeaders& headers, const CS3CustomerKey& key,
                    const String& prefix) {
    if (!key.isSet()) {
        return;
    }
    headers.add(prefix + "algorithm", "AES256");
    headers.add(prefix + "key",
                sigil::base64Encode(key.bytes.data(), static_cast<int>(key.bytes.size()), true, false));
    headers.add(prefix + "key-MD5", calcMD5(key.bytes));
    request.setFollowRedirects(false);
}

void addPutHeaders(CNetHeaders& headers, const CS3PutOptions& options, S3PutPart part) {
    if (part != S3PutPart::Completion) {
        addContentHeaders(headers, options);
        for (const auto& [name, value] : options.metadata) {
            headers.add("x-amz-meta-" + name.toLower(), value);
        }
        addOptional(headers, "x-amz-tagging", makeTagging(options.tags));
        addOptional(headers, "x-amz-storage-class", options.storageClass);
        addOptional(headers, "x-amz-acl", options.cannedACL);
        addOptional(headers, "x-amz-server-side-encryption", options.encryption);
        addOptional(headers, "x-amz-server-side-encryption-aws-kms-key-id", options.encryptionKeyId);
        addLock(headers, options);
    }
    if (part != S3PutPart::Beginning) {
        addOptional(headers, "If-Match", options.ifMatch);
        addOptional(headers, "If-None-Match", options.ifNoneMatch);
    }
}

void addGetHeaders(CNetHeaders& headers, const CS3GetOptions& options) {
    addOptional(headers, "If-Match", options.ifMatch);
    addOptional(headers, "If-None-Match", options.ifNoneMatch);
    addOptional(headers, "If-Modified-Since", options.ifModifiedSince);
    addOptional(headers, "If-Unmodified-Since", options.ifUnmodifiedSince);
    addOptional(headers, "x-amz-checksum-mode", options.asksForChecksum ? "ENABLED" : "");
}

String makeGetQuery(const CS3GetOptions& options) {
    CS3Query query;
    query.addUnless(0, "partNumber", options.partNumber);
    query.addUnlessEmpty("response-cache-control", options.responseCacheControl);
    query.addUnlessEmpty("response-content-disposition", options.responseContentDisposition);
    query.addUnlessEmpty("response-content-encoding", options.responseContentEncoding);
    query.addUnlessEmpty("response-content-language", options.responseContentLanguage);
    query.addUnlessEmpty("response-content-type", options.responseContentType);
    query.addUnlessEmpty("response-expires", options.responseExpires);
    query.addUnlessEmpty("versionId", options.versionId);
    return query.toText();
}

}  // namespace vexil
