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
