#include "vexil/s3/S3Arguments.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3Query.h"
#include "vexil/s3/S3ResponseCheck.h"
#include "vexil/s3/S3XmlReduction.h"

namespace vexil {

namespace {

/// Checks that the parts ascend from one page to the next, so that the listing must end.
void checkParts(const CS3PartList& page, int last) {
    for (const CS3StoredPart& part : page.getParts()) {
        if (part.number <= last) {
            throw CError("The listing has the part " + String::fromInt(part.number) + " after the part " +
                         String::fromInt(last) + ", although its parts must ascend.");
        }
        last = part.number;
    }
}

}  // namespace

// ---- objects ---------------------------------------------------------------------------------------------

void CS3Client::prepareListObjectsV2Request(CNetRequest& request, const String& bucket,
                                            const CS3ListObjectsV2Query& wanted) {
    checkBucket("CS3Client::prepareListObjectsV2Request", bucket);
    CS3Query query;
    query.add("list-type", "2");
    query.addUnlessEmpty("prefix", wanted.prefix);
    query.addUnlessEmpty("start-after", wanted.startAfter);
    query.addUnlessEmpty("continuation-token", wanted.continuationToken);
    query.addUnless(-1, "max-keys", wanted.maxKeys);
    query.addUnlessEmpty("delimiter", wanted.delimiter);
    if (wanted.hasEncodedNames) {
        query.add("encoding-type", "url");
    }
    beginPrepareBucketRequest(request, bucket, query.toText());
    request.setReceiveBufferLimits(maxListingBytes, maxErrorDocumentBytes);
    finishPrepareRequest(request);
}

P<CS3ListObjectsV2Result> CS3Client::listObjectsV2(CNetRequest& request, const String& bucket,
                                                   const CS3ListObjectsV2Query& query) {
    prepareListObjectsV2Request(request, bucket, query);
    performRequest(request);
    checkResponseIsComplete(request);
    return zet::make<CS3ListObjectsV2Result>(request.getDefaultReceiveBuffer());
}

// ---- versions and uploads --------------------------------------------------------------------------------

void CS3Client::prepareListing(const char* place, CNetRequest& request, const String& bucket,
                               const CListingNames& names, const CS3ListingQuery& wanted) {
    checkBucket(place, bucket);
    if (wanted.keyMarker.empty() && !wanted.idMarker.empty()) {
        throw CInvalidArgError(place, "a marker of an ID needs a marker of a key");
    }
    CS3Query query;
    query.addName(names.subresource);
    query.addUnlessEmpty("prefix", wanted.prefix);
    query.addUnlessEmpty("key-marker", wanted.keyMarker);
    query.addUnlessEmpty(names.idMarker, wanted.idMarker);
    query.addUnless(-1, names.maxEntries, wanted.maxEntries);
    query.addUnlessEmpty("delimiter", wanted.delimiter);
    if (names.isEncoded) {
        query.add("encoding-type", "url");
    }
    beginPrepareBucketRequest(request, bucket, query.toText());
    request.setReceiveBufferLimits(maxListingBytes, maxErrorDocumentBytes);
    sign(request, S3Subresources::Signed);
}

void CS3Client::prepareListVersionsRequest(CNetRequest& request, const String& bucket,
                                           const CS3ListingQuery& query) {
    prepareListing("CS3Client::prepareListVersionsRequest", request, bucket,
                   {"versions", "version-id-marker", "max-keys", true}, query);
}

P<CS3ListVersionsResult> CS3Client::listVersions(CNetRequest& request, const String& bucket,
                                                 const CS3ListingQuery& query) {
    prepareListVersionsRequest(request, bucket, query);
    performRequest(request);
    checkResponseIsComplete(request);
    return zet::make<CS3ListVersionsResult>(request.getDefaultReceiveBuffer());
}

void CS3Client::prepareListUploadsRequest(CNetRequest& request, const String& bucket,
                                          const CS3ListingQuery& query) {
    // Not encoded: radosgw encodes the keys, but does not say so.
    prepareListing("CS3Client::prepareListUploadsRequest", request, bucket,
                   {"uploads", "upload-id-marker", "max-uploads", false}, query);
}

P<CS3UploadList> CS3Client::listUploads(CNetRequest& request, const String& bucket,
                                        const CS3ListingQuery& query) {
    prepareListUploadsRequest(request, bucket, query);
    performRequest(request);
    checkResponseIsComplete(request);
    return zet::make<CS3UploadList>(request.getDefaultReceiveBuffer());
}

// ---- parts -----------------------------------------------------------------------------------------------

void CS3Client::prepareListPartsRequest(CNetRequest& request, const String& bucket, const String& object,
                                        const String& uploadId, int partNumberMarker, int maxParts) {
    static constexpr char place[] = "CS3Client::prepareListPartsRequest";
    checkNames(place, bucket, object);
    checkUploadID(place, uploadId);
    CS3Query query;
    query.add("uploadId", uploadId);
    query.addUnless(-1, "max-parts", maxParts);
    query.addUnless(0, "part-number-marker", partNumberMarker);
    beginPrepareObjectRequest(request, bucket, object, query.toText());
    request.setReceiveBufferLimits(maxListingBytes, maxErrorDocumentBytes);
    sign(request, S3Subresources::Signed);
}

P<CS3PartList> CS3Client::listParts(CNetRequest& request, const String& bucket, const String& object,
                                    const String& uploadId, int partNumberMarker, int maxParts) {
    prepareListPartsRequest(request, bucket, object, uploadId, partNumberMarker, maxParts);
    performRequest(request);
    checkResponseIsComplete(request);
    return zet::make<CS3PartList>(request.getDefaultReceiveBuffer());
}

TArray<CS3StoredPart> CS3Client::listAllParts(CNetRequest& request, const String& bucket,
                                              const String& object, const String& uploadId) {
    TArray<CS3StoredPart> parts;
    for (int marker = 0;;) {
        const P<CS3PartList> page = listParts(request, bucket, object, uploadId, marker);
        checkParts(*page, parts.empty() ? 0 : parts.back().number);
        parts.insert(parts.end(), page->getParts().begin(), page->getParts().end());
        if (!page->isTruncated()) {
            return parts;
        }
        if (page->getNextPartNumberMarker() <= marker) {
            throw CError("The listing of parts claims that more follows, but does not go on after the part " +
                         String::fromInt(marker) + ".");
        }
        marker = page->getNextPartNumberMarker();
    }
}

}  // namespace vexil
