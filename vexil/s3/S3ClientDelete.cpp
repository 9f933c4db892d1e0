#include "vexil/s3/S3Arguments.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3ResponseCheck.h"
#include "vexil/s3/S3XmlReduction.h"
#include "vexil/s3/S3XmlWriter.h"
#include "zet/BufferStream.h"

#include <string>

namespace vexil {

namespace {

constexpr std::size_t maxKeysOfDeletion = 1000;

std::string makeDeleteDocument(const TArray<String>& keys, S3DeleteMode mode) {
    std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Delete>";
    document += mode == S3DeleteMode::Quiet ? "<Quiet>true</Quiet>" : "";
    for (const String& key : keys) {
        document += "<Object><Key>";
        appendXmlText(document, key.toUTF8());
        document += "</Key></Object>";
    }
    return document + "</Delete>";
}

void checkKeys(const char* place, const TArray<String>& keys) {
    if (keys.empty() || keys.size() > maxKeysOfDeletion) {
        throw CInvalidArgError(place, "there must be 1 to 1000 keys");
    }
    for (const String& key : keys) {
        if (key.isEmpty()) {
            throw CInvalidArgError(place, "object name must not be empty");
        }
        if (!CS3Client::isKeyForXML(key)) {
            throw CInvalidArgError(place, "XML cannot carry the object name '" + key + "'");
        }
    }
}

}  // namespace

bool CS3Client::isKeyForXML(const String& key) {
    return !key.isEmpty() && isXmlText(key);
}

void CS3Client::prepareDeleteObjectsRequest(CNetRequest& request, const String& bucket,
                                            const TArray<String>& keys, S3DeleteMode mode) {
    static constexpr char place[] = "CS3Client::prepareDeleteObjectsRequest";
    checkBucket(place, bucket);
    checkKeys(place, keys);
    checkPayloadSigning(place);
    const P<CNetHeaders> headers = beginPrepareBucketRequest(request, bucket, "?delete");
    request.setHTTPMethod("POST");
    setDocument(request, *headers, makeDeleteDocument(keys, mode));
    request.setReceiveBufferLimits(maxListingBytes, maxErrorDocumentBytes);
    finishPrepareRequest(request);
}

/// Sets an XML document as the body.
void CS3Client::setDocument(CNetRequest& request, CNetHeaders& headers, const std::string& document) {
    const int size = static_cast<int>(document.size());
    const CBodyHashes hashes = calcBodyHashes(document.data(), size);
    headers.add("Content-MD5", hashes.contentMD5);
    headers.add("Content-Type", "application/xml");
    if (!hashes.payload.isEmpty()) {
        headers.add("x-amz-content-sha256", hashes.payload);
    }
    const P<zet::CBufferStream> body = zet::make<zet::CBufferStream>();
    body->write(document.data(), size);
    body->seek(0);
    request.setSendDataStream(body);
    request.setSendDataSize(size);
}

P<CS3DeleteResult> CS3Client::deleteObjects(CNetRequest& request, const String& bucket,
                                            const TArray<String>& keys, S3DeleteMode mode) {
    prepareDeleteObjectsRequest(request, bucket, keys, mode);
    performRequest(request);
    checkResponseIsComplete(request);
    return zet::make<CS3DeleteResult>(request.getDefaultReceiveBuffer());
}

}  // namespace vexil
