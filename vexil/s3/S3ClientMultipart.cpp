#include "vexil/net/UploadArguments.h"
#include "vexil/s3/S3Arguments.h"
#include "vexil/s3/S3ChecksumCheck.h"
#include "vexil/s3/S3ChecksumValue.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3HeaderMap.h"
#include "vexil/s3/S3OptionHeaders.h"
#include "vexil/s3/S3ResponseCheck.h"
#include "vexil/s3/S3ResultDocument.h"
#include "vexil/s3/S3StreamRelease.h"
#include "vexil/s3/S3URL.h"
#include "vexil/s3/S3XmlReduction.h"
#include "vexil/s3/S3XmlWriter.h"

#include <string>

namespace vexil {

namespace {

void checkParts(const char* place, const TArray<CS3UploadedPart>& parts) {
    if (parts.empty()) {
        throw CInvalidArgError(place, "there must be 1 to 10000 parts");
    }
    int last = 0;
    for (const CS3UploadedPart& part : parts) {
        checkPartNumber(place, part.number);
        if (part.number <= last) {
            throw CInvalidArgError(place, "the part number " + String::fromInt(part.number) +
                                              " is not greater than the one before it");
        }
        if (part.eTag.isEmpty() || !isXmlText(part.eTag)) {
            throw CInvalidArgError(place, "the part " + String::fromInt(part.number) + " has no valid ETag");
        }
        last = part.number;
    }
}

String makeUploadQuery(const String& uploadId) {
    return "?uploadId=" + escapeText(uploadId, false);
}

void checkPartChecksums(const char* place, const TArray<CS3UploadedPart>& parts, S3Checksum checksum) {
    for (const CS3UploadedPart& part : parts) {
        const String name = "the part " + String::fromInt(part.number);
        if (checksum == S3Checksum::None && !part.checksum.isEmpty()) {
            throw CInvalidArgError(place, name + " has a checksum, but the options have none");
        }
        if (!isXmlText(part.checksum)) {
            throw CInvalidArgError(place, name + " has no valid checksum");
        }
    }
}

void appendElement(std::string& document, const std::string& name, const String& text) {
    document += "<" + name + ">";
    appendXmlText(document, text.toUTF8());
    document += "</" + name + ">";
}

std::string makeCompletionDocument(const TArray<CS3UploadedPart>& parts, S3Checksum checksum) {
    const std::string checksumName = getChecksumElement(checksum).toUTF8();
    std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CompleteMultipartUpload>";
    for (const CS3UploadedPart& part : parts) {
        document += "<Part><PartNumber>" + std::to_string(part.number) + "</PartNumber>";
        appendElement(document, "ETag", part.eTag);
        if (!part.checksum.isEmpty()) {
            appendElement(document, checksumName, part.checksum);
        }
        document += "</Part>";
    }
    return document + "</CompleteMultipartUpload>";
}

/// The text of one element of a response; "" if the element is missing.
/// \param operation  for error messages
/// \throws CS3Error with status 0 if the response is an error
String readElement(const TBuffer<unsigned char>& body, const char* operation, const char* rootName,
                   const char* elementName) {
    return CS3ResultDocument(getText(body), operation, rootName, maxErrorDocumentBytes).findText(elementName);
}

}  // namespace

// ---- create ----------------------------------------------------------------------------------------------

void CS3Client::prepareCreateMultipartUploadRequest(CNetRequest& request, const String& bucket,
                                                    const String& object, const String& contentType) {
    prepareCreateUpload(request, bucket, object, {.contentType = contentType});
}

void CS3Client::prepareCreateUpload(CNetRequest& request, const String& bucket, const String& object,
                                    const CS3PutOptions& options) {
    static constexpr char place[] = "CS3Client::prepareCreateMultipartUploadRequest";
    checkNames(place, bucket, object);
    checkPutOptions(place, options);
    checkCustomerKey(place, options.customerKey, m_baseURL);
    const P<CNetHeaders> headers = beginPrepareObjectRequest(request, bucket, object, "?uploads");
    request.setHTTPMethod("POST");
    if (options.contentType.isEmpty()) {
        // Then libcurl does not send the type of a form, which it would add to a POST.
        headers->add("Content-Type", "");
    }
    addPutHeaders(*headers, options, S3PutPart::Beginning);
    if (options.checksum != S3Checksum::None && sendsChecksums()) {
        // The service then refuses parts without a checksum.
        headers->add("x-amz-checksum-algorithm", getChecksumName(options.checksum));
        headers->add("x-amz-checksum-type", "COMPOSITE");
    }
    addCustomerKey(request, *headers, options.customerKey);
    request.setSendDataSize(0);
    request.setReceiveBufferLimits(maxErrorDocumentBytes, maxErrorDocumentBytes);
    finishPrepareRequest(request);
}

String CS3Client::createMultipartUpload(CNetRequest& request, const String& bucket, const String& object,
                                        const String& contentType) {
    return createUpload(request, bucket, object, {.contentType = contentType});
}

String CS3Client::createUpload(CNetRequest& request, const String& bucket, const String& object,
                               const CS3PutOptions& options) {
    prepareCreateUpload(request, bucket, object, options);
    performRequest(request);
    checkResponseIsComplete(request);
    return readUploadID(*request.getDefaultReceiveBuffer());
}

String CS3Client::readUploadID(const TBuffer<unsigned char>& body) {
    const char* const operation = "create multipart upload";
    const String id = readElement(body, operation, "InitiateMultipartUploadResult", "UploadId");
    if (id.isEmpty()) {
        throw CError(String("Error parsing Amazon S3 '") + operation + "' result: there is no upload ID.");
    }
    return id;
}

// ---- parts -----------------------------------------------------------------------------------------------

void CS3Client::prepareUploadPartRequest(CNetRequest& request, const String& bucket, const String& object,
                                         const String& uploadId, int partNumber, zet::IInStream* data,
                                         int64 size) {
    prepareUploadPartRequest(request, bucket, object, uploadId, partNumber, data, size, CS3CustomerKey());
}

void CS3Client::prepareUploadPartRequest(CNetRequest& request, const String& bucket, const String& object,
                                         const String& uploadId, int partNumber, zet::IInStream* data,
                                         int64 size, const CS3CustomerKey& customerKey) {
    preparePart(request, bucket, object, {uploadId, partNumber, {.customerKey = customerKey}}, data, size);
}

void CS3Client::preparePart(CNetRequest& request, const String& bucket, const String& object,
                            const CPart& part, zet::IInStream* data, int64 size) {
    static constexpr char place[] = "CS3Client::prepareUploadPartRequest";
    const P<zet::IInStream> held = data;
    checkNames(place, bucket, object);
    checkUploadID(place, part.uploadId);
    checkPartNumber(place, part.number);
    checkUploadStream(place, data, size);
    if (size > maxPutSize) {
        throw CInvalidArgError(place, "size must not exceed " + String::fromInt(maxPutSize) +
                                          " bytes, the limit of a part");
    }
    checkCustomerKey(place, part.options.customerKey, m_baseURL);
    checkChecksum(place, part.options.checksum);
    checkPayloadSigning(place);
    const CUploadBody body =
        makeUploadBody(data, size, bucket + "/" + object + "', part '" + String::fromInt(part.number),
                       part.options.checksum);
    const String query =
        "?partNumber=" + String::fromInt(part.number) + "&uploadId=" + escapeText(part.uploadId, false);
    const P<CNetHeaders> headers = beginPrepareObjectRequest(request, bucket, object, query);
    request.setHTTPMethod("PUT");
    addOptional(*headers, "Content-MD5", body.hashes.contentMD5);
    addOptional(*headers, "Content-Encoding", getSentEncoding(body, String()));
    addOptional(*headers, "x-amz-content-sha256", body.hashes.payload);
    addOptional(*headers, body.hashes.checksum.first.toUTF8().c_str(), body.hashes.checksum.second);
    addCustomerKey(request, *headers, part.options.customerKey);
    setUploadBody(request, body);
    sign(request, S3Subresources::Signed);
}

String CS3Client::uploadPart(CNetRequest& request, const String& bucket, const String& object,
                             const String& uploadId, int partNumber, zet::IInStream* data, int64 size) {
    return uploadPart(request, bucket, object, uploadId, partNumber, data, size, CS3CustomerKey());
}

String CS3Client::uploadPart(CNetRequest& request, const String& bucket, const String& object,
                             const String& uploadId, int partNumber, zet::IInStream* data, int64 size,
                             const CS3CustomerKey& customerKey) {
    return storePart(request, bucket, object, {uploadId, partNumber, {.customerKey = customerKey}}, data,
                     size)
        .eTag;
}

CS3UploadedPart CS3Client::storePart(CNetRequest& request, const String& bucket, const String& object,
                                     const CPart& part, zet::IInStream* data, int64 size) {
    preparePart(request, bucket, object, part, data, size);
    const CS3StreamRelease release(request);
    performPut(request, part.options.checksum);
    checkResponseIsComplete(request);
    const TMap<String, String>& headers = request.getResponseHeaderMap();
    const String eTag = findHeader(headers, "etag");
    if (eTag.isEmpty()) {
        throw CError("Error: ETag header was expected but not included in response.");
    }
    return {part.number, eTag, findHeader(headers, getChecksumHeader(part.options.checksum))};
}

// ---- end -------------------------------------------------------------------------------------------------

void CS3Client::prepareCompleteMultipartUploadRequest(CNetRequest& request, const String& bucket,
                                                      const String& object, const String& uploadId,
                                                      const TArray<CS3UploadedPart>& parts) {
    prepareCompleteMultipartUploadRequest(request, bucket, object, uploadId, parts, CS3PutOptions());
}

void CS3Client::prepareCompleteMultipartUploadRequest(CNetRequest& request, const String& bucket,
                                                      const String& object, const String& uploadId,
                                                      const TArray<CS3UploadedPart>& parts,
                                                      const CS3PutOptions& options) {
    static constexpr char place[] = "CS3Client::prepareCompleteMultipartUploadRequest";
    checkNames(place, bucket, object);
    checkUploadID(place, uploadId);
    checkParts(place, parts);
    checkPutOptions(place, options);
    checkPartChecksums(place, parts, options.checksum);
    checkCustomerKey(place, options.customerKey, m_baseURL);
    checkPayloadSigning(place);
    const P<CNetHeaders> headers =
        beginPrepareObjectRequest(request, bucket, object, makeUploadQuery(uploadId));
    request.setHTTPMethod("POST");
    setDocument(request, *headers, makeCompletionDocument(parts, options.checksum));
    addPutHeaders(*headers, options, S3PutPart::Completion);
    addCustomerKey(request, *headers, options.customerKey);
    request.setReceiveBufferLimits(maxErrorDocumentBytes, maxErrorDocumentBytes);
    sign(request, S3Subresources::Signed);
}

String CS3Client::completeMultipartUpload(CNetRequest& request, const String& bucket, const String& object,
                                          const String& uploadId, const TArray<CS3UploadedPart>& parts) {
    return completeMultipartUpload(request, bucket, object, uploadId, parts, CS3PutOptions());
}

String CS3Client::completeMultipartUpload(CNetRequest& request, const String& bucket, const String& object,
                                          const String& uploadId, const TArray<CS3UploadedPart>& parts,
                                          const CS3PutOptions& options) {
    prepareCompleteMultipartUploadRequest(request, bucket, object, uploadId, parts, options);
    performRequest(request);
    checkResponseIsComplete(request);
    const TBuffer<unsigned char>& body = *request.getDefaultReceiveBuffer();
    TArray<String> checksums;
    for (const CS3UploadedPart& part : parts) {
        checksums.push_back(part.checksum);
    }
    verifyChecksum(options.checksum, bucket + "/" + object,
                   makeCompositeChecksum(options.checksum, checksums),
                   readCompletedChecksum(body, options.checksum));
    return readCompletedETag(body);
}

String CS3Client::readCompletedETag(const TBuffer<unsigned char>& body) {
    return readElement(body, "complete multipart upload", "CompleteMultipartUploadResult", "ETag");
}

String CS3Client::readCompletedChecksum(const TBuffer<unsigned char>& body, S3Checksum checksum) {
    if (checksum == S3Checksum::None) {
        return String();
    }
    const String found = readElement(body, "complete multipart upload", "CompleteMultipartUploadResult",
                                     getChecksumElement(checksum).toUTF8().c_str());
    // A checksum of the whole content has no number of parts.
    return found.find(L'-') != String::npos ? found : String();
}

void CS3Client::prepareAbortMultipartUploadRequest(CNetRequest& request, const String& bucket,
                                                   const String& object, const String& uploadId) {
    static constexpr char place[] = "CS3Client::prepareAbortMultipartUploadRequest";
    checkNames(place, bucket, object);
    checkUploadID(place, uploadId);
    beginPrepareObjectRequest(request, bucket, object, makeUploadQuery(uploadId));
    request.setHTTPMethod("DELETE");
    sign(request, S3Subresources::Signed);
}

void CS3Client::abortMultipartUpload(CNetRequest& request, const String& bucket, const String& object,
                                     const String& uploadId) {
    prepareAbortMultipartUploadRequest(request, bucket, object, uploadId);
    performRequest(request);
    checkResponseIsComplete(request);
}

}  // namespace vexil
