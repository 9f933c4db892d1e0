#include "vexil/net/LineEnd.h"
#include "vexil/s3/S3Address.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3HeaderMap.h"
#include "vexil/s3/S3SignerV2.h"
#include "vexil/s3/S3SignerV4.h"
#include "vexil/s3/S3URL.h"
#include "vexil/s3/S3UploadSource.h"

namespace vexil {

namespace {

constexpr char tokenHeader[] = "x-amz-security-token";
// Never destroyed: objects with static lifetime may use them while the process ends.
const String& authorizationHeader = *new String("authorization");
const String& dateHeader = *new String("x-amz-date");
const String& payloadHeader = *new String("x-amz-content-sha256");

constexpr std::size_t mostAddedHeaders = 4;          // time, hash of the body, token, signature
constexpr int64 longestValidity = 7 * 24 * 60 * 60;  // seconds

bool isMethod(const String& text) {
    return text == "GET" || text == "PUT" || text == "HEAD" || text == "DELETE";
}

/// Reads the headers from the request's list, because the hook and the caller may have added some.
CS3RequestToSign describe(const CNetRequest& request) {
    CS3RequestToSign parts{request.getHTTPMethod(), request.getURL(), {}, false};
    if (const P<CNetHeaders> list = request.getCustomHTTPHeaders()) {
        list->fillMap(parts.headers);
    }
    return parts;
}

/// Calls a function with the signer of a version.
template <class Call>
auto callSigner(S3SignatureVersion version, const String& region, CS3PreparedKeyPointer& lastKey, Call call) {
    if (version == S3SignatureVersion::V4) {
        const CS3SignerV4 signer(region, lastKey);
        return call(static_cast<const IS3Signer&>(signer));
    }
    const CS3SignerV2 signer(lastKey);
    return call(static_cast<const IS3Signer&>(signer));
}

}  // namespace

// ---- settings --------------------------------------------------------------------------------------------

void CS3Client::setSignatureVersion(S3SignatureVersion version) {
    if (version != S3SignatureVersion::V2 && version != S3SignatureVersion::V4) {
        throw CInvalidArgError("CS3Client::setSignatureVersion", "the signature version must be 2 or 4");
    }
    m_signatureVersion = version;
}

void CS3Client::setRegion(const String& region) {
    if (!isRegionName(region)) {
        throw CInvalidArgError("CS3Client::setRegion",
                               "the region must have 1 to 64 letters, digits, '-' or '_'");
    }
    m_region = region;
    m_bucketRegions.clear();
}

void CS3Client::setSessionToken(const String& token) {
    if (hasLineEnd(token)) {
        throw CInvalidArgError("CS3Client::setSessionToken", "session token must not contain CR, LF or NUL");
    }
    m_sessionToken = token;
}

// ---- addresses -------------------------------------------------------------------------------------------

void CS3Client::checkAddress(const String& bucket) const {
    static constexpr char place[] = "CS3Client::setAddressingStyle";
    if (m_addressingStyle != S3AddressingStyle::VirtualHosted) {
        return;
    }
    if (!isVersion4()) {
        throw CInvalidArgError(place, "virtual-hosted addresses need signature version 4");
    }
    if (!isHostName(bucket)) {
        throw CInvalidArgError(place, "bucket name cannot be a host name: use the path style");
    }
}

bool CS3Client::isVirtualHosted(const String& bucket) const {
    return m_addressingStyle == S3AddressingStyle::VirtualHosted ||
           (m_addressingStyle == S3AddressingStyle::Automatic && isVersion4() && m_isAmazon &&
            isHostLabel(bucket));
}

String CS3Client::getBucketURL(const String& bucket) const {
    const bool hasRegion = isVersion4() && m_isAmazon;
    const String service = hasRegion ? makeAmazonURL(m_baseURL, findRegion(bucket)) : m_baseURL;
    return makeBucketURL(service, bucket, isVirtualHosted(bucket));
}

String CS3Client::makeObjectURL(const String& bucket, const String& object) const {
    return getBucketURL(bucket) + "/" + escapeText(object, isVersion4());
}

String CS3Client::getObjectURL(CNetRequest&, const String& bucket, const String& object) const {
    return makeObjectURL(bucket, object);
}

String CS3Client::findRegion(const String& bucket) const {
    const auto learnt = m_bucketRegions.find(bucket);
    return learnt == m_bucketRegions.end() ? m_region : learnt->second;
}

String CS3Client::findRegionOfURL(const String& url) const {
    return isVersion4() && !m_bucketRegions.empty() ? findRegion(findBucket(url)) : m_region;
}

String CS3Client::findBucket(const String& url) const {
    const CS3URL parts = CS3URL::parse(url);
    const std::wstring_view host = parts.host.view();
    const std::wstring serviceStart = L".s3.";
    const std::wstring serviceEnd = L"." + std::wstring(CS3URL::parse(m_baseURL).host.view());
    if (m_isAmazon && host.find(serviceStart) != host.npos) {
        return String(host.substr(0, host.find(serviceStart)));
    }
    if (!m_isAmazon && host.ends_with(serviceEnd)) {
        return String(host.substr(0, host.size() - serviceEnd.size()));
    }
    const std::string path = parts.path.toUTF8();
    return String::fromUTF8Lossy(decodePercent(path.substr(1, path.find('/', 1) - 1)));
}

// ---- signature -------------------------------------------------------------------------------------------

zet::CTime CS3Client::getSigningTime() const {
    const zet::CTime now = getCurrentTime();
    return isVersion4()
               ? zet::CTime::fromMicroseconds(now.getMicroseconds() + m_clockCorrection.getMicroseconds())
               : now;
}

CS3Header CS3Client::makeTimeHeader() const {
    CS3PreparedKeyPointer none;
    return callSigner(m_signatureVersion, m_region, none,
                      [this](const IS3Signer& signer) { return signer.makeTimeHeader(getSigningTime()); });
}

CS3SigningKeys CS3Client::getKeys() const {
    static constexpr char place[] = "CS3Client::signRequest";
    CS3SigningKeys keys{m_accessKeyId, m_secretKeyUTF8, m_sessionToken};
    // The provider may replace itself.
    if (const P<IS3CredentialsProvider> provider = m_provider) {
        const CS3Credentials provided = provider->getCredentials();
        if (provided.accessKeyId.isEmpty() || provided.secretKey.isEmpty()) {
            throw CError("The credentials provider has returned empty keys.");
        }
        keys = {provided.accessKeyId, provided.secretKey.toUTF8(), provided.sessionToken};
    }
    if (hasLineEnd(keys.accessKeyId)) {
        throw CInvalidArgError(place, "access key id must not contain CR, LF or NUL");
    }
    if (hasLineEnd(keys.sessionToken)) {
        throw CInvalidArgError(place, "session token must not contain CR, LF or NUL");
    }
    return keys;
}

void CS3Client::signRequest(CNetRequest* request) {
    sign(*request, S3Subresources::Unsigned);
}

void CS3Client::sign(CNetRequest& request, S3Subresources subresources) {
    if (m_isAnonymous) {
        return;
    }
    const CS3SigningKeys keys = getKeys();
    CS3RequestToSign parts = describe(request);
    parts.signsSubresources = subresources == S3Subresources::Signed;
    TArray<CS3Header> added;
    added.reserve(mostAddedHeaders);
    if (isVersion4() && parts.headers.contains(authorizationHeader)) {
        return signAgain(request);
    }
    if (isVersion4() && !parts.headers.contains(dateHeader)) {
        added.push_back(makeTimeHeader());
    }
    if (isVersion4() && !parts.headers.contains(payloadHeader)) {
        added.emplace_back(payloadHeader, CS3SignerV4::emptyPayloadHash);
    }
    if (!keys.sessionToken.isEmpty()) {
        added.emplace_back(tokenHeader, keys.sessionToken);
    }
    for (const auto& [name, value] : added) {
        parts.headers[name] = value;
    }
    for (CS3Header& header : callSigner(m_signatureVersion, findRegionOfURL(parts.url), m_lastKey,
                                        [&](const IS3Signer& signer) { return signer.sign(parts, keys); })) {
        added.push_back(std::move(header));
    }
    signChunks(request, parts, added.back().second);
    P<CNetHeaders> headers = request.getCustomHTTPHeaders();
    const bool isNew = !headers;
    if (isNew) {
        headers = new CNetHeaders;
    }
    for (const auto& [name, value] : added) {
        headers->add(name, value);
    }
    if (isNew) {
        request.setCustomHTTPHeaders(headers);
    }
}

/// The chunks of the body continue the signature of the request.
/// \param authorization  the header of a signature that has just been made
void CS3Client::signChunks(CNetRequest& request, const CS3RequestToSign& parts,
                           const String& authorization) const {
    const P<CS3UploadSource> source = findUploadSource(request);
    if (!source || !source->isSignedInChunks() || !isVersion4()) {
        return;
    }
    const std::string timestamp = findHeader(parts.headers, dateHeader).toUTF8();
    const std::string text = authorization.toUTF8();
    CS3PreparedKeyPointer key = m_lastKey;
    const std::string scope = CS3SignerV4(findRegionOfURL(parts.url), key).makeScope(timestamp);
    source->setSeed({key, timestamp, scope, text.substr(text.rfind('=') + 1)});
}

void CS3Client::signAgain(CNetRequest& request) {
    const auto [timeName, time] = makeTimeHeader();
    const std::string timeHeader = timeName.toUTF8();
    const P<CNetHeaders> headers = new CNetHeaders;
    if (const P<CNetHeaders> old = request.getCustomHTTPHeaders()) {
        for (const P<CNetHeaders::CIterator> header = old->createIterator(); header->next();) {
            const String& name = header->getName();
            if (name.equalsNoCase(timeHeader.c_str())) {
                headers->add(timeName, time);
            } else if (!name.equalsNoCase("Authorization") && !name.equalsNoCase(tokenHeader)) {
                headers->add(name, header->getValue());
            }
        }
    }
    request.setCustomHTTPHeaders(headers);
    sign(request, S3Subresources::Signed);
}

String CS3Client::makePresignedURL(const String& method, const String& bucket, const String& object,
                                   const zet::CTimeSpan& validity) {
    static constexpr char place[] = "CS3Client::makePresignedURL";
    static constexpr int64 millisecondsPerSecond = 1000;
    if (bucket.isEmpty() || object.isEmpty()) {
        throw CInvalidArgError(place, "bucket and object name must not be empty");
    }
    if (!isMethod(method)) {
        throw CInvalidArgError(place, "the method must be GET, PUT, HEAD or DELETE");
    }
    const int64 seconds = validity.isSet() ? validity.getMilliseconds() / millisecondsPerSecond : 0;
    if (seconds < 1 || (isVersion4() && seconds > longestValidity)) {
        throw CInvalidArgError(place, isVersion4() ? "the validity must be 1 second to 7 days"
                                                   : "the validity must be at least 1 second");
    }
    if (m_isAnonymous) {
        throw CInvalidArgError(place, "an anonymous client has no keys to sign with");
    }
    checkAddress(bucket);
    const String url = makeObjectURL(bucket, object);
    const CS3SigningKeys keys = getKeys();
    const String query =
        callSigner(m_signatureVersion, findRegion(bucket), m_lastKey, [&](const IS3Signer& signer) {
            return signer.presign({method, url, {}, false}, keys, getSigningTime(), seconds);
        });
    return url + "?" + query;
}

String CS3Client::getCanonicalRequest(CNetRequest* request) {
    return CS3SignerV4::makeCanonicalRequest(describe(*request));
}

String CS3Client::getSignature(CNetRequest* request) {
    return CS3SignerV2(m_lastKey).makeSignature(describe(*request), m_secretKeyUTF8);
}

String CS3Client::getStringToSign(CNetRequest* request) {
    return CS3SignerV2::makeStringToSign(describe(*request));
}

String CS3Client::getCanonicalizedAMZHeaders(const TMap<String, String>& headers) {
    return CS3SignerV2::canonicalizeAMZHeaders(headers);
}

String CS3Client::getCanonicalizedResource(const String& url) {
    return CS3SignerV2::canonicalizeResource(url);
}

void CS3Client::makeSingleLineHeaderValue(String& value) {
    CS3SignerV2::makeSingleLine(value);
}

String CS3Client::getHeaderFromMap(const TMap<String, String>& headers, const String& name) {
    return findHeader(headers, name);
}

}  // namespace vexil
