#include "vexil/s3/S3Arguments.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3Query.h"
#include "vexil/s3/S3ResponseCheck.h"
#include "vexil/s3/S3XmlReduction.h"
#include "vexil/s3/S3XmlWriter.h"
#include "zet/BufferStream.h"

#include <string>

namespace vexil {

namespace {

constexpr std::size_t maxKeysOfDeletion = 1000;

std::string makeDeleteDocument(const TArray<CS3VersionId>& versions, S3DeleteMode mode) {
    std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Delete>";
    document += mode == S3DeleteMode::Quiet ? "<Quiet>true</Quiet>" : "";
    for (const CS3VersionId& version : versions) {
        document += "<Object><Key>";
        appendXmlText(document, version.key.toUTF8());
        document += "</Key>";
        if (!version.versionId.isEmpty()) {
            document += "<VersionId>";
            appendXmlText(document, version.versionId.toUTF8());
            document += "</VersionId>";
        }
        document += "</Object>";
    }
    return document + "</Delete>";
}

void checkVersions(const char* place, const TArray<CS3VersionId>& versions) {
    if (versions.empty() || versions.size() > maxKeysOfDeletion) {
        throw CInvalidArgError(place, "there must be 1 to 1000 keys");
    }
    for (const CS3VersionId& version : versions) {
        if (version.key.isEmpty()) {
            throw CInvalidArgError(place, "object name must not be empty");
        }
        if (!CS3Client::isKeyForXML(version.key)) {
            throw CInvalidArgError(place, "XML cannot carry the object name '" + version.key + "'");
        }
        if (!isXmlText(version.versionId)) {
            throw CInvalidArgError(place, "XML cannot carry the version ID '" + version.versionId + "'");
        }
    }
}

}  // namespace

bool CS3Client::isKeyForXML(const String& key) {
    return !key.isEmpty() && isXmlText(key);
}

void CS3Client::prepareDeleteObjectsRequest(CNetRequest& request, const String& bucket,
                                            const TArray<String>& keys, S3DeleteMode mode) {
    TArray<CS3VersionId> versions;
    versions.reserve(keys.size());
    for (const String& key : keys) {
        versions.push_back({key, String()});
    }
    prepareDeletion("CS3Client::prepareDeleteObjectsRequest", request, bucket, versions, mode);
}

void CS3Client::prepareDeleteObjectVersionsRequest(CNetRequest& request, const String& bucket,
                                                   const TArray<CS3VersionId>& versions, S3DeleteMode mode) {
    prepareDeletion("CS3Client::prepareDeleteObjectVersionsRequest", request, bucket, versions, mode);
}

void CS3Client::prepareDeletion(const char* place, CNetRequest& request, const String& bucket,
                                const TArray<CS3VersionId>& versions, S3DeleteMode mode) {
    checkBucket(place, bucket);
    checkVersions(place, versions);
    checkPayloadSigning(place);
    const P<CNetHeaders> headers = beginPrepareBucketRequest(request, bucket, "?delete");
    request.setHTTPMethod("POST");
    setDocument(request, *headers, makeDeleteDocument(versions, mode));
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

P<CS3DeleteResult> CS3Client::deleteObjectVersions(CNetRequest& request, const String& bucket,
                                                   const TArray<CS3VersionId>& versions, S3DeleteMode mode) {
    prepareDeleteObjectVersionsRequest(request, bucket, versions, mode);
    performRequest(request);
    checkResponseIsComplete(request);
    return zet::make<CS3DeleteResult>(request.getDefaultReceiveBuffer());
}

void CS3Client::prepareDeleteObjectVersionRequest(CNetRequest& request, const String& bucket,
                                                  const String& object, const String& versionId) {
    static constexpr char place[] = "CS3Client::prepareDeleteObjectVersionRequest";
    checkNames(place, bucket, object);
    if (versionId.isEmpty()) {
        throw CInvalidArgError(place, "version ID must not be empty");
    }
    CS3Query query;
    query.add("versionId", versionId);
    beginPrepareObjectRequest(request, bucket, object, query.toText());
    request.setHTTPMethod("DELETE");
    sign(request, S3Subresources::Signed);
}

void CS3Client::deleteObjectVersion(CNetRequest& request, const String& bucket, const String& object,
                                    const String& versionId) {
    prepareDeleteObjectVersionRequest(request, bucket, object, versionId);
    performRequest(request);
    checkResponseIsComplete(request);
}

P<CS3DeleteResult> CS3Client::deleteObjects(CNetRequest& request, const String& bucket,
                                            const TArray<String>& keys, S3DeleteMode mode) {
    prepareDeleteObjectsRequest(request, bucket, keys, mode);
    performRequest(request);
    checkResponseIsComplete(request);
    return zet::make<CS3DeleteResult>(request.getDefaultReceiveBuffer());
}

}  // namespace vexil
