#include "vexil/s3/S3Address.h"
#include "vexil/s3/S3Arguments.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3Error.h"
#include "vexil/s3/S3Query.h"
#include "vexil/s3/S3ResponseCheck.h"
#include "vexil/s3/S3ResultDocument.h"
#include "vexil/s3/S3XmlReduction.h"
#include "vexil/s3/S3XmlWriter.h"

#include <string>

namespace vexil {

namespace {

constexpr char declaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
constexpr char xmlNamespace[] = " xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\"";
// The name of Amazon's first region outside of the United States, before regions had names of today.
constexpr char oldNameOfIreland[] = "EU";
constexpr char ireland[] = "eu-west-1";

std::string makeLocationDocument(const String& region) {
    std::string document = declaration;
    document.append("<CreateBucketConfiguration").append(xmlNamespace).append("><LocationConstraint>");
    appendXmlText(document, region.toUTF8());
    return document + "</LocationConstraint></CreateBucketConfiguration>";
}

std::string makeVersioningDocument(bool isEnabled) {
    return std::string(declaration) + "<VersioningConfiguration" + xmlNamespace + "><Status>" +
           (isEnabled ? "Enabled" : "Suspended") + "</Status></VersioningConfiguration>";
}

}  // namespace

// ---- create and delete -----------------------------------------------------------------------------------

void CS3Client::prepareCreateBucketRequest(CNetRequest& request, const String& bucket) {
    static constexpr char place[] = "CS3Client::prepareCreateBucketRequest";
    checkBucket(place, bucket);
    const String region = findRegion(bucket);
    const bool hasDocument = !(region == defaultS3Region);
    if (hasDocument) {
        checkPayloadSigning(place);
    }
    const P<CNetHeaders> headers = beginPrepareBucketRequest(request, bucket, "");
    request.setHTTPMethod("PUT");
    if (hasDocument) {
        setDocument(request, *headers, makeLocationDocument(region));
    } else {
        request.setSendDataSize(0);
    }
    finishPrepareRequest(request);
}

void CS3Client::createBucket(CNetRequest& request, const String& bucket) {
    prepareCreateBucketRequest(request, bucket);
    performRequest(request);
    checkResponseIsComplete(request);
}

void CS3Client::prepareDeleteBucketRequest(CNetRequest& request, const String& bucket) {
    checkBucket("CS3Client::prepareDeleteBucketRequest", bucket);
    beginPrepareBucketRequest(request, bucket, "");
    request.setHTTPMethod("DELETE");
    finishPrepareRequest(request);
}

void CS3Client::deleteBucket(CNetRequest& request, const String& bucket) {
    prepareDeleteBucketRequest(request, bucket);
    performRequest(request);
    checkResponseIsComplete(request);
    // A new bucket of this name may be made in another region.
    m_bucketRegions.erase(bucket);
}

// ---- information -----------------------------------------------------------------------------------------

void CS3Client::prepareListBucketsRequest(CNetRequest& request, const String& continuationToken) {
    CS3Query query;
    query.addUnlessEmpty("continuation-token", continuationToken);
    const bool hasRegion = isVersion4() && m_isAmazon;
    const String service = hasRegion ? makeAmazonURL(m_baseURL, m_region) : m_baseURL;
    beginPrepareRequest(request, service + query.toText());
    request.setReceiveBufferLimits(maxListingBytes, maxErrorDocumentBytes);
    finishPrepareRequest(request);
}

P<CS3BucketList> CS3Client::listBuckets(CNetRequest& request, const String& continuationToken) {
    prepareListBucketsRequest(request, continuationToken);
    performRequest(request);
    checkResponseIsComplete(request);
    return zet::make<CS3BucketList>(request.getDefaultReceiveBuffer());
}

void CS3Client::prepareGetBucketLocationRequest(CNetRequest& request, const String& bucket) {
    checkBucket("CS3Client::prepareGetBucketLocationRequest", bucket);
    beginPrepareBucketRequest(request, bucket, "?location");
    request.setReceiveBufferLimits(maxErrorDocumentBytes, maxErrorDocumentBytes);
    sign(request, S3Subresources::Signed);
}

String CS3Client::getBucketLocation(CNetRequest& request, const String& bucket) {
    prepareGetBucketLocationRequest(request, bucket);
    performRequest(request);
    checkResponseIsComplete(request);
    return readBucketLocation(*request.getDefaultReceiveBuffer());
}

String CS3Client::readBucketLocation(const TBuffer<unsigned char>& body) {
    const CS3ResultDocument document(getText(body), "get bucket location", "LocationConstraint",
                                     maxErrorDocumentBytes);
    const String region = document.getRoot().getWholeText().trimmed();
    if (region.isEmpty()) {
        return defaultS3Region;
    }
    return region == oldNameOfIreland ? String(ireland) : region;
}

void CS3Client::prepareHeadBucketRequest(CNetRequest& request, const String& bucket) {
    checkBucket("CS3Client::prepareHeadBucketRequest", bucket);
    beginPrepareBucketRequest(request, bucket, "");
    request.setHTTPMethod("HEAD");
    finishPrepareRequest(request);
}

bool CS3Client::bucketExists(CNetRequest& request, const String& bucket) {
    prepareHeadBucketRequest(request, bucket);
    try {
        performRequest(request);
    } catch (const CError& error) {
        if (isNotFoundError(error)) {
            return false;
        }
        throw;
    }
    checkResponseIsComplete(request);
    return true;
}

// ---- versions --------------------------------------------------------------------------------------------

void CS3Client::prepareSetBucketVersioningRequest(CNetRequest& request, const String& bucket,
                                                  bool isEnabled) {
    static constexpr char place[] = "CS3Client::prepareSetBucketVersioningRequest";
    checkBucket(place, bucket);
    checkPayloadSigning(place);
    const P<CNetHeaders> headers = beginPrepareBucketRequest(request, bucket, "?versioning");
    request.setHTTPMethod("PUT");
    setDocument(request, *headers, makeVersioningDocument(isEnabled));
    sign(request, S3Subresources::Signed);
}

void CS3Client::setBucketVersioning(CNetRequest& request, const String& bucket, bool isEnabled) {
    prepareSetBucketVersioningRequest(request, bucket, isEnabled);
    performRequest(request);
    checkResponseIsComplete(request);
}

}  // namespace vexil
