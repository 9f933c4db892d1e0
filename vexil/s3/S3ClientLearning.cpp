#include "vexil/net/CURLError.h"
#include "vexil/s3/S3Address.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3Refusal.h"
#include "vexil/s3/S3URL.h"
#include "vexil/s3/S3UploadSource.h"
#include "zet/Log.h"

#include <cstdlib>

namespace vexil {

namespace {

constexpr int64 microsecondsPerSecond = 1000000;
constexpr int64 largestClockCorrection = 24 * 60 * 60 * microsecondsPerSecond;
/// A response without a document may have many reasons. No service refuses so small a difference.
constexpr int64 smallestUnexplainedDifference = 5 * 60 * microsecondsPerSecond;
constexpr int64 smallestDifference = 60 * microsecondsPerSecond;
/// One correction of the region and one of the clock.
constexpr int maxCorrections = 2;
constexpr int maxRedirects = 5;

/// The HTTP status of a response that is not a success; 0 for other failures.
int getRefusedStatus(CNetRequest& request, const std::exception& error) {
    const auto* const failure = dynamic_cast<const CError*>(&error);
    const auto* const transferError = dynamic_cast<const CCURLError*>(&error);
    const bool isOther = !failure || (transferError && transferError->getCode() != CURLE_HTTP_RETURNED_ERROR);
    return isOther ? 0 : request.getResponseCode();
}

/// The S3 code of the error document; "" if the body is not one.
String findCode(const CNetRequest& request) {
    const PC<TBuffer<unsigned char>> body = request.getDefaultReceiveBuffer();
    try {
        return CS3ErrorResponse(reinterpret_cast<const char*>(body->getData()), body->getUsed()).getCode();
    } catch (const CError&) {
        return String();
    }
}

}  // namespace

void CS3Client::performSigned(CNetRequest& request) {
    if (isVersion4()) {
        // libcurl would send a session token to any host.
        request.setFollowRedirects(false);
    }
    for (int corrections = 0, redirects = 0;;) {
        try {
            request.perform();
            return;
        } catch (const CError& error) {
            if (corrections < maxCorrections && learnFromRefusal(request, error)) {
                ++corrections;
            } else if (redirects < maxRedirects && followRedirect(request, error)) {
                ++redirects;
            } else {
                throw;
            }
            if (!rewindUpload(request)) {
                throw;
            }
        }
        signAgain(request);
    }
}

bool CS3Client::learnFromRefusal(CNetRequest& request, const std::exception& error) {
    const int status = getRefusedStatus(request, error);
    const bool mayTeach = status == 301 || status == 307 || status == 400 || status == 403;
    // Only version 4 signs for a region.
    if (!mayTeach || !isVersion4() || findSignedRegion(request).isEmpty()) {
        return false;
    }
    return learnRegion(request) || learnClock(request);
}

bool CS3Client::learnRegion(CNetRequest& request) {
    const String region = findServiceRegion(request);
    if (region.isEmpty() || region == findSignedRegion(request)) {
        return false;
    }
    const String bucket = findBucket(request.getURL());
    m_bucketRegions[bucket] = region;
    if (m_isAmazon) {
        CS3URL url = CS3URL::parse(request.getURL());
        const CS3URL bucketURL =
            CS3URL::parse(makeBucketURL(makeAmazonURL(m_baseURL, region), bucket, isVirtualHosted(bucket)));
        url.host = bucketURL.host;
        request.setURL(url.toText());
    }
    zet::logInfo("The bucket '" + bucket + "' is in the region '" + region +
                 "'. Its requests are signed for that region.");
    return true;
}

bool CS3Client::learnClock(const CNetRequest& request) {
    const zet::CTimeSpan difference = findClockDifference(request);
    if (!difference.isSet()) {
        return false;
    }
    const String code = findCode(request);
    const int64 smallest = code.isEmpty() ? smallestUnexplainedDifference : smallestDifference;
    if ((!code.isEmpty() && code != "RequestTimeTooSkewed") ||
        std::abs(difference.getMicroseconds()) < smallest) {
        return false;
    }
    const int64 correction = findServiceTime(request).getMicroseconds() - getCurrentTime().getMicroseconds();
    if (std::abs(correction) > largestClockCorrection) {
        return false;
    }
    m_clockCorrection = zet::CTimeSpan::fromMicroseconds(correction);
    zet::logWarning("This computer's clock differs from the clock of the S3 service by " +
                    String::fromInt(correction / microsecondsPerSecond) +
                    " s. Requests are signed with the service's time.");
    return true;
}

bool CS3Client::followRedirect(CNetRequest& request, const std::exception& error) {
    const int status = getRefusedStatus(request, error);
    const bool isRedirect = status == 301 || status == 302 || status == 307 || status == 308;
    const String target = isRedirect && isVersion4() ? request.getRedirectURL() : String();
    if (target.isEmpty()) {
        return false;
    }
    const CS3URL from = CS3URL::parse(request.getURL());
    const CS3URL to = CS3URL::parse(target);
    // The signature, and a session token, are for the host of the request only.
    if (to.scheme != from.scheme || to.host != from.host) {
        return false;
    }
    request.setURL(target);
    return true;
}

}  // namespace vexil
