#include "vexil/net/ErrorClassification.h"
#include "vexil/s3/S3Arguments.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3Error.h"
#include "vexil/s3/S3HeaderMap.h"
#include "vexil/s3/S3OptionHeaders.h"
#include "vexil/s3/S3PartSize.h"
#include "vexil/s3/S3PartsETag.h"
#include "vexil/s3/S3Query.h"
#include "vexil/s3/S3ResponseCheck.h"
#include "vexil/s3/S3ResultDocument.h"
#include "vexil/s3/S3URL.h"
#include "vexil/s3/S3XmlReduction.h"
#include "zet/Log.h"
#include "zet/ParseNumber.h"

#include <algorithm>
#include <limits>

namespace vexil {

namespace {

constexpr int retryDelay = 100;  // milliseconds
constexpr int statusPreconditionFailed = 412;
constexpr char metadataPrefix[] = "x-amz-meta-";

// ---- arguments -------------------------------------------------------------------------------------------

void checkSource(const char* place, const CS3CopySource& source, const String& baseURL) {
    if (source.bucket.isEmpty() || source.object.isEmpty()) {
        throw CInvalidArgError(place, "bucket and object name of the source must not be empty");
    }
    checkHeaderText(place, "version ID of the source", source.versionId);
    checkHeaderText(place, "If-Match of the source", source.ifMatch);
    checkHeaderText(place, "If-None-Match of the source", source.ifNoneMatch);
    checkTime(place, "If-Modified-Since of the source", source.ifModifiedSince);
    checkTime(place, "If-Unmodified-Since of the source", source.ifUnmodifiedSince);
    checkCustomerKey(place, source.customerKey, baseURL);
}

bool hasContentOptions(const CS3PutOptions& target) {
    return !target.contentType.isEmpty() || !target.cacheControl.isEmpty() ||
           !target.contentDisposition.isEmpty() || !target.contentEncoding.isEmpty() ||
           !target.contentLanguage.isEmpty() || !target.expires.isEmpty() || !target.metadata.empty();
}

void checkCopyOptions(const char* place, const CS3CopyOptions& options, const String& baseURL) {
    checkPutOptions(place, options.target);
    checkCustomerKey(place, options.target.customerKey, baseURL);
    if (options.metadata == S3CopyDirective::Keep && hasContentOptions(options.target)) {
        throw CInvalidArgError(place, "content headers and metadata need S3CopyDirective::Replace");
    }
    if (options.tags == S3CopyDirective::Keep && !options.target.tags.empty()) {
        throw CInvalidArgError(place, "tags need S3CopyDirective::Replace");
    }
}

void checkSizes(const char* place, const CS3CopyOptions& options) {
    if (options.partsAbove < 0 || options.partsAbove > CS3Client::maxPutSize) {
        throw CInvalidArgError(place, "partsAbove must be 0 to 5368709120 bytes");
    }
    if (options.partSize < 1 || options.partSize > CS3Client::maxPutSize) {
        throw CInvalidArgError(place, "partSize must be 1 to 5368709120 bytes");
    }
}

void checkRange(const char* place, int64 offset, int64 length) {
    if (offset < 0 || (length == -1 && offset != 0)) {
        throw CInvalidArgError(place, "offset must not be negative, and 0 for the whole source");
    }
    if (length != -1 && (length < 1 || length > CS3Client::maxPutSize)) {
        throw CInvalidArgError(place, "length must be 1 to 5368709120 bytes, or -1 for the whole source");
    }
    if (length > std::numeric_limits<int64>::max() - offset) {
        throw CInvalidArgError(place, "the range ends beyond the largest offset");
    }
}

void addSource(CNetRequest& request, CNetHeaders& headers, const CS3CopySource& source) {
    const String version =
        source.versionId.isEmpty() ? String() : "?versionId=" + escapeText(source.versionId, false);
    headers.add("x-amz-copy-source",
                "/" + escapeText(source.bucket, false) + "/" + escapeText(source.object, false) + version);
    addOptional(headers, "x-amz-copy-source-if-match", source.ifMatch);
    addOptional(headers, "x-amz-copy-source-if-none-match", source.ifNoneMatch);
    addOptional(headers, "x-amz-copy-source-if-modified-since", source.ifModifiedSince);
    addOptional(headers, "x-amz-copy-source-if-unmodified-since", source.ifUnmodifiedSince);
    addCustomerKey(request, headers, source.customerKey,
                   "x-amz-copy-source-server-side-encryption-customer-");
}

// ---- a copy in parts -------------------------------------------------------------------------------------

/// Bytes of each part except the last.
int64 chooseCopyPartSize(int64 size, int64 wanted) {
    const int64 smallest = size / maxPartNumber + (size % maxPartNumber == 0 ? 0 : 1);
    const int64 partSize = std::max(smallest, wanted);
    if (partSize > CS3Client::maxPutSize) {
        throw CError("The object is too large to be copied: 10000 parts of 5 GiB are the limit.");
    }
    return partSize;
}

/// A condition that the source is what `headers` describe.
CS3CopySource pinSource(const CS3CopySource& source, const TMap<String, String>& headers) {
    CS3CopySource pinned{.bucket = source.bucket, .object = source.object};
    pinned.versionId = source.versionId;
    pinned.customerKey = source.customerKey;
    pinned.ifMatch = findHeader(headers, "etag");
    if (pinned.ifMatch.isEmpty()) {
        throw CError("Error: ETag header was expected but not included in response.");
    }
    return pinned;
}

int64 readNumber(const TMap<String, String>& headers, const String& name) {
    const String text = findHeader(headers, name);
    return text.isEmpty() ? 0 : zet::parseInt64(text, false);
}

/// Content headers and metadata of the source.
/// \throws CError if not all of them can be kept
void keepMetadata(CS3PutOptions& target, const TMap<String, String>& headers) {
    if (readNumber(headers, "x-amz-missing-meta") > 0) {
        throw CError("The source has metadata that headers cannot carry. A copy in parts cannot keep it.");
    }
    target.contentType = findHeader(headers, "content-type");
    target.cacheControl = findHeader(headers, "cache-control");
    target.contentDisposition = findHeader(headers, "content-disposition");
    target.contentEncoding = findHeader(headers, "content-encoding");
    target.contentLanguage = findHeader(headers, "content-language");
    target.expires = findHeader(headers, "expires");
    for (const auto& [name, value] : headers) {
        if (name.startsWith(metadataPrefix)) {
            target.metadata[name.substr(sizeof metadataPrefix - 1)] = value;
        }
    }
}

}  // namespace

// ---- one request -----------------------------------------------------------------------------------------

void CS3Client::prepareCopyObjectRequest(CNetRequest& request, const CS3CopySource& source,
                                         const String& bucket, const String& object,
                                         const CS3CopyOptions& options) {
    static constexpr char place[] = "CS3Client::prepareCopyObjectRequest";
    checkNames(place, bucket, object);
    checkSource(place, source, m_baseURL);
    checkCopyOptions(place, options, m_baseURL);
    const P<CNetHeaders> headers = beginPrepareObjectRequest(request, bucket, object);
    request.setHTTPMethod("PUT");
    addSource(request, *headers, source);
    if (options.metadata == S3CopyDirective::Replace) {
        headers->add("x-amz-metadata-directive", "REPLACE");
    }
    if (options.tags == S3CopyDirective::Replace) {
        headers->add("x-amz-tagging-directive", "REPLACE");
    }
    addPutHeaders(*headers, options.target, S3PutPart::Object);
    addCustomerKey(request, *headers, options.target.customerKey);
    request.setSendDataSize(0);
    request.setReceiveBufferLimits(maxErrorDocumentBytes, maxErrorDocumentBytes);
    sign(request, S3Subresources::Signed);
}

String CS3Client::copyObject(CNetRequest& request, const CS3CopySource& source, const String& bucket,
                             const String& object, const CS3CopyOptions& options) {
    prepareCopyObjectRequest(request, source, bucket, object, options);
    return performCopy(request, &CS3Client::readCopiedETag);
}

String CS3Client::performCopy(CNetRequest& request, String (*readETag)(const TBuffer<unsigned char>&)) {
    for (int tries = 1;; ++tries) {
        performRequest(request);
        checkResponseIsComplete(request);
        try {
            return readETag(*request.getDefaultReceiveBuffer());
        } catch (const CS3Error& error) {
            if (!logAndDecideRetry(error, tries)) {
                throw;
            }
        }
        waitBeforeRetry(retryDelay);
        if (isVersion4()) {
            signAgain(request);
        }
    }
}

String CS3Client::readCopiedETag(const TBuffer<unsigned char>& body) {
    return CS3ResultDocument(getText(body), "copy object", "CopyObjectResult", maxErrorDocumentBytes)
        .findText("ETag");
}

// ---- a part of an upload ---------------------------------------------------------------------------------

void CS3Client::prepareUploadPartCopyRequest(CNetRequest& request, const String& bucket, const String& object,
                                             const String& uploadId, int partNumber,
                                             const CS3CopySource& source, int64 offset, int64 length,
                                             const CS3CustomerKey& customerKey) {
    static constexpr char place[] = "CS3Client::prepareUploadPartCopyRequest";
    checkNames(place, bucket, object);
    checkUploadID(place, uploadId);
    checkPartNumber(place, partNumber);
    checkSource(place, source, m_baseURL);
    checkRange(place, offset, length);
    checkCustomerKey(place, customerKey, m_baseURL);
    CS3Query query;
    query.add("partNumber", String::fromInt(partNumber));
    query.add("uploadId", uploadId);
    const P<CNetHeaders> headers = beginPrepareObjectRequest(request, bucket, object, query.toText());
    request.setHTTPMethod("PUT");
    addSource(request, *headers, source);
    if (length != -1) {
        headers->add("x-amz-copy-source-range",
                     "bytes=" + String::fromInt(offset) + "-" + String::fromInt(offset + length - 1));
    }
    addCustomerKey(request, *headers, customerKey);
    request.setSendDataSize(0);
    request.setReceiveBufferLimits(maxErrorDocumentBytes, maxErrorDocumentBytes);
    sign(request, S3Subresources::Signed);
}

String CS3Client::uploadPartCopy(CNetRequest& request, const String& bucket, const String& object,
                                 const String& uploadId, int partNumber, const CS3CopySource& source,
                                 int64 offset, int64 length, const CS3CustomerKey& customerKey) {
    prepareUploadPartCopyRequest(request, bucket, object, uploadId, partNumber, source, offset, length,
                                 customerKey);
    return performCopy(request, &CS3Client::readCopiedPartETag);
}

String CS3Client::readCopiedPartETag(const TBuffer<unsigned char>& body) {
    const CS3ResultDocument document(getText(body), "copy part", "CopyPartResult", maxErrorDocumentBytes);
    const String eTag = document.findText("ETag");
    if (eTag.isEmpty()) {
        document.fail("there is no ETag.");
    }
    return eTag;
}

// ---- objects of any size ---------------------------------------------------------------------------------

String CS3Client::copyLargeObject(CNetRequest& request, const CS3CopySource& source, const String& bucket,
                                  const String& object, const CS3CopyOptions& options) {
    static constexpr char place[] = "CS3Client::copyLargeObject";
    checkNames(place, bucket, object);
    checkSource(place, source, m_baseURL);
    checkCopyOptions(place, options, m_baseURL);
    checkSizes(place, options);
    const TMap<String, String> headers = getObjectHeaders(request, source.bucket, source.object,
                                                          {.versionId = source.versionId,
                                                           .ifMatch = source.ifMatch,
                                                           .ifNoneMatch = source.ifNoneMatch,
                                                           .ifModifiedSince = source.ifModifiedSince,
                                                           .ifUnmodifiedSince = source.ifUnmodifiedSince,
                                                           .customerKey = source.customerKey});
    checkResponseIsComplete(request);
    const CS3CopySource pinned = pinSource(source, headers);
    if (!headers.contains("content-length")) {
        throw CError("Error: Content-Length header was expected but not included in response.");
    }
    const int64 size = readNumber(headers, "content-length");
    if (size == 0 || size <= options.partsAbove) {
        return copyObject(request, pinned, bucket, object, options);
    }
    CS3PutOptions target = options.target;
    target.checksum = S3Checksum::None;
    if (options.metadata == S3CopyDirective::Keep) {
        keepMetadata(target, headers);
        // The parts of the copy are others than those of the source.
        if (const auto told = target.metadata.find(partSizeMetadata); told != target.metadata.end()) {
            told->second = String::fromInt(chooseCopyPartSize(size, options.partSize));
        }
    }
    if (options.tags == S3CopyDirective::Keep && readNumber(headers, "x-amz-tagging-count") > 0) {
        target.tags = getObjectTags(request, source.bucket, source.object, source.versionId);
    }
    return copyInParts(request, pinned, size, {bucket, object, target, options.partSize});
}

String CS3Client::copyInParts(CNetRequest& request, const CS3CopySource& source, int64 size,
                              const CCopyTarget& target) {
    const int64 partSize = chooseCopyPartSize(size, target.partSize);
    const String id = createUpload(request, target.bucket, target.object, target.options);
    String eTag;
    try {
        TArray<CS3UploadedPart> parts;
        for (int64 offset = 0; offset < size; offset += partSize) {
            const int number = static_cast<int>(parts.size()) + 1;
            const int64 length = std::min(partSize, size - offset);
            parts.push_back({number, uploadPartCopy(request, target.bucket, target.object, id, number, source,
                                                    offset, length, target.options.customerKey)});
        }
        checkSourceIsUnchanged(request, source);
        eTag = completeCopy(request, target, id, parts);
    } catch (...) {
        abortAfterFailure(request, target, id);
        throw;
    }
    warnOfLostTags(request, target);
    return eTag;
}

String CS3Client::completeCopy(CNetRequest& request, const CCopyTarget& target, const String& uploadId,
                               const TArray<CS3UploadedPart>& parts) {
    try {
        return completeMultipartUpload(request, target.bucket, target.object, uploadId, parts,
                                       target.options);
    } catch (const CError& error) {
        // The response to a completion that has succeeded may be lost. A further try finds no upload.
        const bool mayHaveSucceeded =
            isTransientError(error) || error.getProps().lookup("s3-code") == "NoSuchUpload";
        const String eTag = mayHaveSucceeded ? findCopy(request, target, parts) : String();
        if (eTag.isEmpty()) {
            throw;
        }
        // The object may be older, and have the same content.
        abortAfterFailure(request, target, uploadId);
        return eTag;
    }
}

/// Whether the service has the object that the parts would make.
/// \return its ETag, "" if the object is another one, or that cannot be found out
String CS3Client::findCopy(CNetRequest& request, const CCopyTarget& target,
                           const TArray<CS3UploadedPart>& parts) {
    TArray<String> md5s;
    for (const CS3UploadedPart& part : parts) {
        md5s.push_back(withoutQuotes(part.eTag));
    }
    const String expected = makePartsETag(md5s);
    if (expected.isEmpty()) {
        return expected;
    }
    try {
        const String eTag = findHeader(getObjectHeaders(request, target.bucket, target.object,
                                                        {.customerKey = target.options.customerKey}),
                                       "etag");
        return withoutQuotes(eTag).toLower() == expected ? eTag : String();
    } catch (const CError& error) {
        zet::logWarning(error, "Whether the copy exists cannot be found out.");
        return String();
    }
}

void CS3Client::checkSourceIsUnchanged(CNetRequest& request, const CS3CopySource& source) {
    // Some services ignore the conditions of a copy.
    getObjectHeaders(
        request, source.bucket, source.object,
        {.versionId = source.versionId, .ifMatch = source.ifMatch, .customerKey = source.customerKey});
    if (findHeader(request.getResponseHeaderMap(), "etag") != source.ifMatch) {
        throw CS3Error(CS3ErrorResponse("PreconditionFailed", "The source has changed while it was copied.",
                                        "/" + source.bucket + "/" + source.object, ""),
                       statusPreconditionFailed);
    }
}

void CS3Client::warnOfLostTags(CNetRequest& request, const CCopyTarget& target) {
    if (target.options.tags.empty()) {
        return;
    }
    try {
        if (getObjectTags(request, target.bucket, target.object) != target.options.tags) {
            zet::logWarning("The service has not stored the tags of '" + target.object + "'.");
        }
    } catch (const std::exception& error) {
        zet::logWarning(error, "The tags of '" + target.object + "' could not be read after its copy.");
    }
}

void CS3Client::abortAfterFailure(CNetRequest& request, const CCopyTarget& target, const String& uploadId) {
    try {
        abortMultipartUpload(request, target.bucket, target.object, uploadId);
    } catch (const std::exception& error) {
        if (isNotFoundError(error)) {
            return;
        }
        zet::logWarning(error, "The parts of the upload '" + uploadId + "' of '" + target.object +
                                   "' could not be deleted.");
    }
}

// ---- tags ------------------------------------------------------------------------------------------------

void CS3Client::prepareGetObjectTagsRequest(CNetRequest& request, const String& bucket, const String& object,
                                            const String& versionId) {
    static constexpr char place[] = "CS3Client::prepareGetObjectTagsRequest";
    checkNames(place, bucket, object);
    checkHeaderText(place, "version ID", versionId);
    CS3Query query;
    query.addName("tagging");
    query.addUnlessEmpty("versionId", versionId);
    beginPrepareObjectRequest(request, bucket, object, query.toText());
    request.setReceiveBufferLimits(maxErrorDocumentBytes, maxErrorDocumentBytes);
    sign(request, S3Subresources::Signed);
}

TMap<String, String> CS3Client::getObjectTags(CNetRequest& request, const String& bucket,
                                              const String& object, const String& versionId) {
    prepareGetObjectTagsRequest(request, bucket, object, versionId);
    performRequest(request);
    checkResponseIsComplete(request);
    return readObjectTags(*request.getDefaultReceiveBuffer());
}

TMap<String, String> CS3Client::readObjectTags(const TBuffer<unsigned char>& body) {
    if (body.getUsed() == 0) {
        return {};  // some services send no document if there are no tags
    }
    const CS3ResultDocument document(getText(body), "get object tags", "Tagging", maxErrorDocumentBytes);
    TMap<String, String> tags;
    const auto readTag = [&tags](const CS3XmlElement& tag) {
        String key;
        String value;
        tag.forEachChild([&](const CS3XmlElement& child) {
            const std::string_view name = child.getName();
            if (name == "Key") {
                key = child.getWholeText();
            } else if (name == "Value") {
                value = child.getWholeText();
            }
        });
        tags[key] = value;
    };
    document.getRoot().forEachChild([&](const CS3XmlElement& child) {
        const std::string_view name = child.getName();
        if (name == "TagSet") {
            child.forEachChild(readTag);
        }
    });
    return tags;
}

}  // namespace vexil
