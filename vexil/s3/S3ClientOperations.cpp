#include "sigil/Digest.h"
#include "sigil/Hex.h"
#include "vexil/net/CURLError.h"
#include "vexil/net/ErrorClassification.h"
#include "vexil/net/UploadArguments.h"
#include "vexil/s3/S3Arguments.h"
#include "vexil/s3/S3ChecksumCheck.h"
#include "vexil/s3/S3ChecksumValue.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3ContentMD5.h"
#include "vexil/s3/S3CopyObjectResult.h"
#include "vexil/s3/S3Error.h"
#include "vexil/s3/S3ObjectStreams.h"
#include "vexil/s3/S3OptionHeaders.h"
#include "vexil/s3/S3ResponseCheck.h"
#include "vexil/s3/S3SignerV4.h"
#include "vexil/s3/S3StreamRelease.h"
#include "vexil/s3/S3UploadSource.h"
#include "vexil/s3/S3XmlReduction.h"
#include "zet/MemoryInStream.h"
#include "zet/ParseNumber.h"
#include "zet/StreamRange.h"

#include <limits>
#include <memory>

namespace vexil {

namespace {

constexpr int statusNotFound = 404;
// Never destroyed: objects with static lifetime may use it while the process ends.
const String& contentLength = *new String("content-length");
constexpr int streamBlockSize = 64 * 1024;

bool isDotSegment(const String& name) {
    return name == "." || name == "..";
}

/// The value of the Range header.
String makeRange(int64 offset, int64 length) {
    String range = "bytes=" + String::fromInt(offset) + "-";
    if (length != -1) {
        // Unsigned: overflow wraps around instead of being undefined behaviour.
        const auto last =
            static_cast<unsigned long long>(offset) + static_cast<unsigned long long>(length) - 1;
        range += String::fromInt(static_cast<int64>(last));
    }
    return range;
}

/// Accepts only ranges that a response can be compared with.
void checkRange(const char* place, int64 offset, int64 length) {
    if (offset < 0) {
        throw CInvalidArgError(place, "offset must not be negative");
    }
    if (length < -1) {
        throw CInvalidArgError(place, "length must be -1 or at least 0");
    }
    if (length > std::numeric_limits<int64>::max() - offset) {
        throw CInvalidArgError(place, "the range ends beyond the largest offset");
    }
}

bool isMissingObject(const CError& error) {
    const auto* const transferError = dynamic_cast<const CCURLError*>(&error);
    return (transferError && transferError->getResponseCode() == statusNotFound) ||
           (error.getDomain() == "http" && error.getCode() == statusNotFound);
}

void checkReceivedLength(const TMap<String, String>& headers, int64 receivedBytes) {
    const auto found = headers.find(contentLength);
    if (found == headers.end()) {
        return;
    }
    const int64 announcedBytes = zet::parseInt64(found->second, false);
    if (announcedBytes != receivedBytes) {
        throw makeTransientError("Received " + String::fromInt(receivedBytes) + " of the " +
                                 String::fromInt(announcedBytes) + " bytes that the response announced.");
    }
}

/// The value of x-amz-content-sha256.
String getPayloadHash(const CS3UploadFormat& format, bool isSignedAsEmpty) {
    switch (format.framing) {
    case CS3UploadFormat::Framing::SignedChunks:
        return format.hasTrailer ? CS3ChunkSigner::trailerPayloadHash : CS3ChunkSigner::payloadHash;
    case CS3UploadFormat::Framing::UnsignedChunks:
        return CS3ChunkSigner::unsignedPayloadHash;
    case CS3UploadFormat::Framing::Plain:
        break;
    }
    return isSignedAsEmpty ? CS3SignerV4::emptyPayloadHash : "UNSIGNED-PAYLOAD";
}

/// For the service "." and ".." are ordinary names. libcurl would resolve them and address the bucket itself
/// or another one.
void setPathAsIs(CNetRequest& request, bool isNeeded) {
    if (isNeeded) {
        request.setOptionInt(CURLOPT_PATH_AS_IS, 1);
    }
}

}  // namespace

/// \param query  "" or beginning with "?"
P<CNetHeaders> CS3Client::beginPrepareObjectRequest(CNetRequest& request, const String& bucket,
                                                    const String& object, const String& query) {
    checkAddress(bucket);
    P<CNetHeaders> headers = beginPrepareRequest(request, getObjectURL(request, bucket, object) + query);
    setPathAsIs(request, isDotSegment(bucket) || isDotSegment(object));
    return headers;
}

/// \param query  "" or beginning with "?"
P<CNetHeaders> CS3Client::beginPrepareBucketRequest(CNetRequest& request, const String& bucket,
                                                    const String& query) {
    checkAddress(bucket);
    const String slash = isVirtualHosted(bucket) ? "/" : "";
    P<CNetHeaders> headers = beginPrepareRequest(request, getBucketURL(bucket) + slash + query);
    setPathAsIs(request, isDotSegment(bucket));
    return headers;
}

// ---- put -------------------------------------------------------------------------------------------------

void CS3Client::preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                        const void* data, int size, const String& contentType) {
    preparePutMemory(request, bucket, object, data, size, {.contentType = contentType});
}

void CS3Client::preparePutMemory(CNetRequest& request, const String& bucket, const String& object,
                                 const void* data, int size, const CS3PutOptions& options) {
    static constexpr char place[] = "CS3Client::preparePutObjectRequest";
    checkNames(place, bucket, object);
    checkUploadMemory(place, data, size);
    checkPutOptions(place, options);
    checkCustomerKey(place, options.customerKey, m_baseURL);
    checkPayloadSigning(place);
    beginPreparePut(request, bucket, object, calcBodyHashes(data, size, options.checksum), options);
    request.setSendDataStream(new zet::CMemoryInStream(data, size));
    request.setSendDataSize(size);
    finishPrepareRequest(request);
}

void CS3Client::checkMemorySize(bool isInRange) {
    if (!isInRange) {
        throw CInvalidArgError("CS3Client::preparePutObjectRequest",
                               "size must be 0 to 2147483647 bytes; put more from a stream");
    }
}

void CS3Client::preparePutObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                        zet::IInStream* data, int64 size, const String& contentType) {
    preparePutStream(request, bucket, object, data, size, {.contentType = contentType});
}

void CS3Client::preparePutStream(CNetRequest& request, const String& bucket, const String& object,
                                 zet::IInStream* data, int64 size, const CS3PutOptions& options) {
    static constexpr char place[] = "CS3Client::preparePutObjectRequest";
    const P<zet::IInStream> held = data;
    checkNames(place, bucket, object);
    checkUploadStream(place, data, size);
    if (size > maxPutSize) {
        throw CInvalidArgError(place, "size must not exceed " + String::fromInt(maxPutSize) +
                                          " bytes, the limit of a single put");
    }
    checkPutOptions(place, options);
    checkCustomerKey(place, options.customerKey, m_baseURL);
    checkPayloadSigning(place);
    const CUploadBody body = makeUploadBody(data, size, bucket + "/" + object, options.checksum);
    CS3PutOptions sentOptions = options;
    sentOptions.contentEncoding = getSentEncoding(body, options.contentEncoding);
    beginPreparePut(request, bucket, object, body.hashes, sentOptions);
    setUploadBody(request, body);
    finishPrepareRequest(request);
}

bool CS3Client::isReadOnce() const noexcept {
    return m_uploadCheck == S3UploadCheck::WhileSending ||
           (isVersion4() && m_payloadSigning == S3PayloadSigning::Chunked);
}

bool CS3Client::isSentInChunks() const {
    const bool needsSignature = m_payloadSigning == S3PayloadSigning::Signed && !isSecure();
    return isReadOnce() && isVersion4() && !m_isAnonymous &&
           (m_payloadSigning == S3PayloadSigning::Chunked || needsSignature);
}

/// \param name  of the object, for errors
CS3Client::CUploadBody CS3Client::makeUploadBody(zet::IInStream* data, int64 size, const String& name,
                                                 S3Checksum checksum) {
    if (!isReadOnce()) {
        const P<CNetRequest::CStreamDataSource> source =
            zet::make<CNetRequest::CStreamDataSource>(zet::make<zet::CStreamRange>(data, size));
        return {source, size, -1, calcBodyHashes(*source, checksum)};
    }
    // Ceph's gateway (16.2) refuses an empty body in chunks. Nothing has to be read to sign it.
    using Framing = CS3UploadFormat::Framing;
    CS3UploadFormat format{.checksum = checksum};
    format.hasTrailer = checksum != S3Checksum::None && size > 0 && sendsChecksumTrailers();
    if (size > 0 && isSentInChunks()) {
        format.framing = Framing::SignedChunks;
    } else if (format.hasTrailer) {
        format.framing = Framing::UnsignedChunks;
    }
    const P<CS3UploadSource> source = zet::make<CS3UploadSource>(data, size, name, format);
    CBodyHashes hashes;
    if (isVersion4()) {
        hashes.payload = getPayloadHash(format, size == 0 && isSentInChunks());
    }
    if (format.hasTrailer) {
        hashes.checksum = {"x-amz-trailer", getChecksumHeader(checksum)};
    } else if (size == 0 && checksum != S3Checksum::None) {
        hashes.checksum = {getChecksumHeader(checksum), finishChecksum(*createChecksumDigest(checksum))};
    }
    return {source, source->getSize(), format.framing == Framing::Plain ? -1 : size, hashes};
}

/// Only Amazon's own endpoint gets the word: other services keep it as the encoding of the object.
String CS3Client::getSentEncoding(const CUploadBody& body, const String& contentEncoding) const {
    if (body.decodedSize == -1 || !m_isAmazon) {
        return contentEncoding;
    }
    return contentEncoding.isEmpty() ? String("aws-chunked") : "aws-chunked," + contentEncoding;
}

void CS3Client::setUploadBody(CNetRequest& request, const CUploadBody& body) {
    if (body.decodedSize != -1) {
        request.getCustomHTTPHeaders()->add("x-amz-decoded-content-length",
                                            String::fromInt(body.decodedSize));
    }
    request.setSendDataSource(body.source);
    request.setSendDataSize(body.size);
}

void CS3Client::beginPreparePut(CNetRequest& request, const String& bucket, const String& object,
                                const CBodyHashes& hashes, const CS3PutOptions& options) {
    const P<CNetHeaders> headers = beginPrepareObjectRequest(request, bucket, object);
    request.setHTTPMethod("PUT");
    addOptional(*headers, "Content-MD5", hashes.contentMD5);
    addPutHeaders(*headers, options, S3PutPart::Object);
    addCustomerKey(request, *headers, options.customerKey);
    if (!hashes.payload.isEmpty()) {
        headers->add("x-amz-content-sha256", hashes.payload);
    }
    addOptional(*headers, hashes.checksum.first.toUTF8().c_str(), hashes.checksum.second);
}

void CS3Client::checkPayloadSigning(const char* place) const {
    if (isVersion4() && m_payloadSigning == S3PayloadSigning::Unsigned && !isSecure()) {
        throw CInvalidArgError(place, "an unsigned payload needs https");
    }
}

P<sigil::IDigest> CS3Client::makePayloadDigest() const {
    const bool isSigned = isVersion4() && m_payloadSigning != S3PayloadSigning::Unsigned;
    return isSigned ? sigil::CDigestType_SHA256().createDigest() : nullptr;
}

CS3Client::CBodyDigests CS3Client::makeBodyDigests(S3Checksum checksum) {
    CBodyDigests digests{makePayloadDigest(), checksum, nullptr};
    // The service may want the same hash twice.
    digests.checksum =
        checksum == S3Checksum::SHA256 && digests.payload ? digests.payload : createChecksumDigest(checksum);
    m_md5->reset();
    return digests;
}

void CS3Client::updateBodyDigests(const CBodyDigests& digests, const void* data, int size) {
    m_md5->update(data, size);
    if (digests.payload) {
        digests.payload->update(data, size);
    }
    if (digests.checksum && digests.checksum != digests.payload) {
        digests.checksum->update(data, size);
    }
}

CS3Client::CBodyHashes CS3Client::finishBodyHashes(const CBodyDigests& digests) {
    CBodyHashes hashes{finishContentMD5(*m_md5), isVersion4() ? "UNSIGNED-PAYLOAD" : ""};
    if (digests.checksum) {
        hashes.checksum = {getChecksumHeader(digests.kind), finishChecksum(*digests.checksum->clone())};
    }
    if (digests.payload) {
        TBuffer<unsigned char> hash;
        digests.payload->finish(hash);
        hashes.payload = sigil::hexEncode(hash);
    }
    return hashes;
}

CS3Client::CBodyHashes CS3Client::calcBodyHashes(const void* data, int size, S3Checksum checksum) {
    const CBodyDigests digests = makeBodyDigests(checksum);
    if (size > 0) {
        updateBodyDigests(digests, data, size);
    }
    return finishBodyHashes(digests);
}

CS3Client::CBodyHashes CS3Client::calcBodyHashes(CNetRequest::IDataSource& source, S3Checksum checksum) {
    const auto block = std::make_unique_for_overwrite<unsigned char[]>(streamBlockSize);
    const TMap<String, String> noHeaders;
    const CBodyDigests digests = makeBodyDigests(checksum);
    for (int length; (length = source.read(block.get(), streamBlockSize, noHeaders)) > 0;) {
        updateBodyDigests(digests, block.get(), length);
    }
    source.seek(0);
    return finishBodyHashes(digests);
}

void CS3Client::performPut(CNetRequest& request, S3Checksum checksum) {
    performRequest(request);
    if (const P<CS3UploadSource> source = findUploadSource(request)) {
        checkResponseIsComplete(request);
        source->verify(request.getResponseHeaderMap());
    } else if (m_verifiesETag || checksum != S3Checksum::None) {
        TMap<String, String> sent;
        request.getCustomHTTPHeaders()->fillMap(sent);
        if (m_verifiesETag) {
            verifyContentMD5(request.getResponseHeaderMap(), getHeaderFromMap(sent, "content-md5"));
        }
        verifySentChecksum(request, sent);
    }
}

void CS3Client::putObject(CNetRequest& request, const String& bucket, const String& object, const void* data,
                          int size, const String& contentType) {
    putMemory(request, bucket, object, data, size, {.contentType = contentType});
}

void CS3Client::putMemory(CNetRequest& request, const String& bucket, const String& object, const void* data,
                          int size, const CS3PutOptions& options) {
    preparePutMemory(request, bucket, object, data, size, options);
    performPut(request, options.checksum);
}

void CS3Client::putObject(CNetRequest& request, const String& bucket, const String& object,
                          zet::IInStream* data, int64 size, const String& contentType) {
    putStream(request, bucket, object, data, size, {.contentType = contentType});
}

void CS3Client::putStream(CNetRequest& request, const String& bucket, const String& object,
                          zet::IInStream* data, int64 size, const CS3PutOptions& options) {
    preparePutStream(request, bucket, object, data, size, options);
    const CS3StreamRelease release(request);
    performPut(request, options.checksum);
}

// ---- get -------------------------------------------------------------------------------------------------

void CS3Client::prepareGetObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                        int64 offset, int64 length) {
    prepareGetObjectRequest(request, bucket, object, offset, length, CS3GetOptions());
}

void CS3Client::prepareGetObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                        int64 offset, int64 length, const CS3GetOptions& options) {
    static constexpr char place[] = "CS3Client::prepareGetObjectRequest";
    checkNames(place, bucket, object);
    checkGetOptions(place, options);
    checkCustomerKey(place, options.customerKey, m_baseURL);
    const bool isRange = length != 0 && !CS3ObjectRange{offset, length}.isWhole();
    if (isRange && options.partNumber != 0) {
        throw CInvalidArgError(place, "a part number and a range exclude each other");
    }
    const P<CNetHeaders> headers = beginPrepareObjectRequest(request, bucket, object, makeGetQuery(options));
    if (length == 0) {
        request.setHTTPMethod("HEAD");
    } else if (isRange) {
        headers->add("Range", makeRange(offset, length));
    }
    addGetHeaders(*headers, options);
    addCustomerKey(request, *headers, options.customerKey);
    sign(request, S3Subresources::Signed);
}

void CS3Client::getObject(CNetRequest& request, const String& bucket, const String& object, int64 offset,
                          int64 length) {
    getObject(request, bucket, object, offset, length, CS3GetOptions());
}

void CS3Client::getObject(CNetRequest& request, const String& bucket, const String& object, int64 offset,
                          int64 length, const CS3GetOptions& options) {
    prepareGetObjectRequest(request, bucket, object, offset, length, options);
    performRequest(request);
}

P<CS3ObjectSink> CS3Client::prepareGetObjectToStream(CNetRequest& request, const String& bucket,
                                                     const String& object, const CS3ObjectRange& range,
                                                     zet::IOutStream* data, const P<sigil::IDigest>& digest,
                                                     const CS3GetOptions& options) {
    static constexpr char place[] = "CS3Client::prepareGetObjectRequest";
    const P<zet::IOutStream> held = data;
    checkNames(place, bucket, object);
    if (!data) {
        throw CInvalidArgError(place, "data stream must not be null");
    }
    checkRange(place, range.offset, range.length);
    if (options.partNumber != 0 && range.length != 0) {
        throw CInvalidArgError(place, "a part number and a stream exclude each other");
    }
    P<CS3ObjectSink> sink = new CS3ObjectSink(data, request.getDefaultReceiveSink(), range, digest);
    prepareGetObjectRequest(request, bucket, object, range.offset, range.length, options);
    request.setReceiveDataSink(sink);
    return sink;
}

void CS3Client::prepareGetObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                        int64 offset, int64 length, zet::IOutStream* data) {
    prepareGetObjectRequest(request, bucket, object, offset, length, data, CS3GetOptions());
}

void CS3Client::prepareGetObjectRequest(CNetRequest& request, const String& bucket, const String& object,
                                        int64 offset, int64 length, zet::IOutStream* data,
                                        const CS3GetOptions& options) {
    prepareGetObjectToStream(request, bucket, object, {offset, length}, data, nullptr, options);
}

void CS3Client::getObject(CNetRequest& request, const String& bucket, const String& object, int64 offset,
                          int64 length, zet::IOutStream* data) {
    getObject(request, bucket, object, offset, length, data, CS3GetOptions());
}

void CS3Client::getObject(CNetRequest& request, const String& bucket, const String& object, int64 offset,
                          int64 length, zet::IOutStream* data, const CS3GetOptions& options) {
    const P<zet::IOutStream> held = data;
    const CS3ObjectRange range{offset, length};
    const P<sigil::IDigest> digest =
        m_verifiesETag && range.isWhole() ? sigil::CDigestType_MD5().createDigest() : nullptr;
    const P<CS3ObjectSink> sink =
        prepareGetObjectToStream(request, bucket, object, range, data, digest, options);
    const CS3StreamRelease release(request);
    performGet(request, *sink, length);
    if (digest) {
        verifyContentMD5(request.getResponseHeaderMap(), finishContentMD5(*digest));
    }
}

void CS3Client::performGet(CNetRequest& request, const CS3ObjectSink& sink, int64 length) {
    performRequest(request);
    checkResponseIsComplete(request);
    if (sink.getRefusedBytes() > 0) {
        throw CError("The status line '" + request.getHTTPStatusLine() + "' is not a success.");
    }
    if (length != 0) {
        // For a response without a body: the sink was not called.
        sink.checkWholeRange(request.getResponseCode(), request.getResponseHeaderMap());
        checkReceivedLength(request.getResponseHeaderMap(), sink.getWrittenBytes());
    }
}

void CS3Client::prepareGetObjectHeadersRequest(CNetRequest& request, const String& bucket,
                                               const String& object) {
    prepareGetObjectHeadersRequest(request, bucket, object, CS3GetOptions());
}

void CS3Client::prepareGetObjectHeadersRequest(CNetRequest& request, const String& bucket,
                                               const String& object, const CS3GetOptions& options) {
    static constexpr char place[] = "CS3Client::prepareGetObjectHeadersRequest";
    checkNames(place, bucket, object);
    checkGetOptions(place, options);
    checkCustomerKey(place, options.customerKey, m_baseURL);
    const P<CNetHeaders> headers = beginPrepareObjectRequest(request, bucket, object, makeGetQuery(options));
    request.setHTTPMethod("HEAD");
    addGetHeaders(*headers, options);
    addCustomerKey(request, *headers, options.customerKey);
    sign(request, S3Subresources::Signed);
}

const TMap<String, String>& CS3Client::getObjectHeaders(CNetRequest& request, const String& bucket,
                                                        const String& object) {
    return getObjectHeaders(request, bucket, object, CS3GetOptions());
}

const TMap<String, String>& CS3Client::getObjectHeaders(CNetRequest& request, const String& bucket,
                                                        const String& object, const CS3GetOptions& options) {
    prepareGetObjectHeadersRequest(request, bucket, object, options);
    performRequest(request);
    return request.getResponseHeaderMap();
}

int64 CS3Client::getObjectSize(CNetRequest& request, const String& bucket, const String& object) {
    if (!objectExists(request, bucket, object)) {
        return -1;
    }
    const TMap<String, String>& headers = request.getResponseHeaderMap();
    const auto found = headers.find(contentLength);
    if (found == headers.end()) {
        throw CError("Error: Content-Length header was expected but not included in response.");
    }
    return zet::parseInt64(found->second, false);
}

bool CS3Client::objectExists(CNetRequest& request, const String& bucket, const String& object) {
    prepareGetObjectHeadersRequest(request, bucket, object);
    try {
        performRequest(request);
    } catch (const CError& error) {
        if (isMissingObject(error)) {
            return false;
        }
        throw;
    }
    return true;
}

// ---- copy and delete -------------------------------------------------------------------------------------

void CS3Client::prepareCopyObjectRequest(CNetRequest& request, const String& bucket,
                                         const String& existingObject, const String& newObject) {
    static constexpr char place[] = "CS3Client::prepareCopyObjectRequest";
    checkBucket(place, bucket);
    if (existingObject.isEmpty() || newObject.isEmpty()) {
        throw CInvalidArgError(place, "neither the existing nor the new object name may be empty");
    }
    const P<CNetHeaders> headers = beginPrepareObjectRequest(request, bucket, newObject);
    request.setHTTPMethod("PUT");
    headers->add("x-amz-copy-source",
                 "/" + request.urlEscape(bucket) + "/" + request.urlEscape(existingObject));
    request.setSendDataSize(0);
    request.setReceiveBufferLimits(maxErrorDocumentBytes, maxErrorDocumentBytes);
    finishPrepareRequest(request);
}

void CS3Client::copyObject(CNetRequest& request, const String& bucket, const String& existingObject,
                           const String& newObject) {
    prepareCopyObjectRequest(request, bucket, existingObject, newObject);
    performSigned(request);
    throwCopyError(request);
}

void CS3Client::checkCopyObjectResult(const TBuffer<unsigned char>* body) {
    const CS3CopyObjectResult result(body);
    if (result.hadError()) {
        throw CS3Error(*result.getErrorResponse(), 0);
    }
}

void CS3Client::prepareDeleteObjectRequest(CNetRequest& request, const String& bucket, const String& object) {
    checkNames("CS3Client::prepareDeleteObjectRequest", bucket, object);
    beginPrepareObjectRequest(request, bucket, object);
    request.setHTTPMethod("DELETE");
    finishPrepareRequest(request);
}

void CS3Client::deleteObject(CNetRequest& request, const String& bucket, const String& object) {
    prepareDeleteObjectRequest(request, bucket, object);
    performRequest(request);
}

// ---- list ------------------------------------------------------------------------------------------------

void CS3Client::prepareList(const char* place, CNetRequest& request, const String& bucket,
                            const CListQuery& wanted) {
    checkBucket(place, bucket);
    String query;
    const auto append = [&query](bool isGiven, const char* name, const String& value) {
        if (isGiven) {
            query += (query.isEmpty() ? String("?") : String("&")) + name + "=" + value;
        }
    };
    append(!wanted.prefix.isEmpty(), "prefix", request.urlEscape(wanted.prefix));
    append(!wanted.escapedMarker.isEmpty(), "marker", wanted.escapedMarker);
    append(wanted.maxKeys != -1, "max-keys", String::fromInt(wanted.maxKeys));
    append(!wanted.delimiter.isEmpty(), "delimiter", request.urlEscape(wanted.delimiter));
    append(wanted.isEncoded, "encoding-type", "url");
    beginPrepareBucketRequest(request, bucket, query);
    request.setReceiveBufferLimits(maxListingBytes, maxErrorDocumentBytes);
    finishPrepareRequest(request);
}

void CS3Client::prepareListObjectsRequest(CNetRequest& request, const String& bucket, const String& prefix,
                                          const String& delimiter, const String& marker, int maxKeys) {
    prepareList("CS3Client::prepareListObjectsRequest", request, bucket,
                {prefix, delimiter, request.urlEscape(marker), maxKeys, false});
}

void CS3Client::prepareListEncodedObjectsRequest(CNetRequest& request, const String& bucket,
                                                 const String& prefix, const String& delimiter,
                                                 const String& marker, int maxKeys) {
    prepareList("CS3Client::prepareListEncodedObjectsRequest", request, bucket,
                {prefix, delimiter, request.urlEscape(marker), maxKeys, true});
}

P<CS3ListObjectsResult> CS3Client::listEncodedObjects(CNetRequest& request, const String& bucket,
                                                      const String& prefix, const String& delimiter,
                                                      const String& marker, int maxKeys) {
    return listLeniently(request, bucket, {prefix, delimiter, request.urlEscape(marker), maxKeys, true});
}

P<CS3ListObjectsResult> CS3Client::listLeniently(CNetRequest& request, const String& bucket,
                                                 const CListQuery& query) {
    prepareList("CS3Client::prepareListEncodedObjectsRequest", request, bucket, query);
    performRequest(request);
    checkResponseIsComplete(request);
    return CS3ListObjectsResult::fromEncoded(request.getDefaultReceiveBuffer());
}

P<CS3ListObjectsResult> CS3Client::listObjects(CNetRequest& request, const String& bucket,
                                               const String& prefix, const String& delimiter,
                                               const String& marker, int maxKeys) {
    prepareListObjectsRequest(request, bucket, prefix, delimiter, marker, maxKeys);
    performRequest(request);
    return new CS3ListObjectsResult(request.getDefaultReceiveBuffer());
}

}  // namespace vexil
