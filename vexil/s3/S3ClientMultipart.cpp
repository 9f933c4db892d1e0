#include "vexil/net/UploadArguments.h"
#include "vexil/s3/S3Arguments.h"
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

std::string makeCompletionDocument(const TArray<CS3UploadedPart>& parts) {
    std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CompleteMultipartUpload>";
    for (const CS3UploadedPart& part : parts) {
        document += "<Part><PartNumber>" + std::to_string(part.number) + "</PartNumber><ETag>";
        appendXmlText(document, part.eTag.toUTF8());
        document += "</ETag></Part>";
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
    static constexpr char place[] = "CS3Client::prepareUploadPartRequest";
    const P<zet::IInStream> held = data;
    checkNames(place, bucket, object);
    checkUploadID(place, uploadId);
    checkPartNumber(place, partNumber);
    checkUploadStream(place, data, size);
    if (size > maxPutSize) {
        throw CInvalidArgError(place, "size must not exceed " + String::fromInt(maxPutSize) +
                                          " bytes, the limit of a part");
    }
    checkCustomerKey(place, customerKey, m_baseURL);
    checkPayloadSigning(place);
    const CUploadBody body =
        makeUploadBody(data, size, bucket + "/" + object + "', part '" + String::fromInt(partNumber));
    const String query =
        "?partNumber=" + String::fromInt(partNumber) + "&uploadId=" + escapeText(uploadId, false);
    const P<CNetHeaders> headers = beginPrepareObjectRequest(request, bucket, object, query);
    request.setHTTPMethod("PUT");
    addOptional(*headers, "Content-MD5", body.hashes.contentMD5);
    addOptional(*headers, "Content-Encoding", getSentEncoding(body, String()));
    addOptional(*headers, "x-amz-content-sha256", body.hashes.payload);
    addCustomerKey(request, *headers, customerKey);
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
    prepareUploadPartRequest(request, bucket, object, uploadId, partNumber, data, size, customerKey);
    const CS3StreamRelease release(request);
    performPut(request);
    checkResponseIsComplete(request);
    const String eTag = findHeader(request.getResponseHeaderMap(), "etag");
    if (eTag.isEmpty()) {
        throw CError("Error: ETag header was expected but not included in response.");
    }
    return eTag;
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
    checkCustomerKey(place, options.customerKey, m_baseURL);
    checkPayloadSigning(place);
    const P<CNetHeaders> headers =
        beginPrepareObjectRequest(request, bucket, object, makeUploadQuery(uploadId));
    request.setHTTPMethod("POST");
    setDocument(request, *headers, makeCompletionDocument(parts));
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
    return readCompletedETag(*request.getDefaultReceiveBuffer());
}

String CS3Client::readCompletedETag(const TBuffer<unsigned char>& body) {
    return readElement(body, "complete multipart upload", "CompleteMultipartUploadResult", "ETag");
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
