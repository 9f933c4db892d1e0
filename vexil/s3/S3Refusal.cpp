#include "vexil/s3/S3Refusal.h"

#include "vexil/net/HeaderValues.h"
#include "vexil/s3/S3Address.h"
#include "vexil/s3/S3ErrorResponse.h"
#include "vexil/s3/S3HeaderMap.h"
#include "vexil/s3/S3SignerV4.h"
#include "vexil/s3/S3SigningError.h"

#include <string>

namespace vexil {

namespace {

constexpr char algorithmV4[] = "AWS4-HMAC-SHA256";

TMap<String, String> getSentHeaders(const CNetRequest& request) {
    TMap<String, String> headers;
    if (const P<CNetHeaders> list = request.getCustomHTTPHeaders()) {
        list->fillMap(headers);
    }
    return headers;
}

bool isVersion4(const String& authorization) {
    return authorization.startsWith(algorithmV4);
}

/// The texts and codes of Amazon, which compatible services repeat.
bool refusesVersion2(const CS3Error& error) {
    return error.getS3Code() == "UnsupportedSignature" ||
           error.getMessage().find(algorithmV4) != String::npos;
}

bool refusesVersion4(const CS3Error& error) {
    return error.getS3Code() == "UnsupportedSignature" ||
           error.getMessage().find("Unsupported Authorization Type") != String::npos;
}

String findRegionInDocument(const CNetRequest& request) {
    const PC<TBuffer<unsigned char>> body = request.getDefaultReceiveBuffer();
    try {
        return CS3ErrorResponse(reinterpret_cast<const char*>(body->getData()), body->getUsed()).getRegion();
    } catch (const CError&) {
        return String();
    }
}

}  // namespace

String findSignedRegion(const CNetRequest& request) {
    const String authorization = findHeader(getSentHeaders(request), "authorization");
    const std::wstring_view text = authorization.view();
    const std::size_t end = text.find(L"/s3/aws4_request");
    if (!isVersion4(authorization) || end == text.npos || end == 0) {
        return String();
    }
    const std::size_t slash = text.rfind(L'/', end - 1);
    return slash == text.npos ? String() : String(text.substr(slash + 1, end - slash - 1));
}

String findServiceRegion(const CNetRequest& request) {
    const String inHeader = findHeader(request.getResponseHeaderMap(), "x-amz-bucket-region");
    const String region = inHeader.isEmpty() ? findRegionInDocument(request) : inHeader;
    // It becomes a part of a host name.
    return isRegionName(region) ? region : String();
}

zet::CTime findServiceTime(const CNetRequest& request) {
    try {
        return parseTimestamp(findHeader(request.getResponseHeaderMap(), "date"));
    } catch (const CError&) {
        return zet::CTime();
    }
}

zet::CTimeSpan findClockDifference(const CNetRequest& request) {
    const TMap<String, String> sent = getSentHeaders(request);
    zet::CTime requestTime = CS3SignerV4::parseTime(findHeader(sent, "x-amz-date"));
    if (!requestTime.isSet()) {
        try {
            requestTime = parseTimestamp(findHeader(sent, "date"));
        } catch (const CError&) {
            return zet::CTimeSpan();
        }
    }
    const zet::CTime serviceTime = findServiceTime(request);
    return serviceTime.isSet() ? zet::CTimeSpan::fromMicroseconds(serviceTime.getMicroseconds() -
                                                                  requestTime.getMicroseconds())
                               : zet::CTimeSpan();
}

void throwSigningError(const CNetRequest& request, const CS3Error& error) {
    const String authorization = findHeader(getSentHeaders(request), "authorization");
    if (authorization.isEmpty()) {
        return;
    }
    if (error.getS3Code() == "RequestTimeTooSkewed") {
        throw CS3SigningError(error, findClockDifference(request));
    }
    if (!isVersion4(authorization)) {
        if (refusesVersion2(error)) {
            throw CS3SigningError(error, S3SignatureVersion::V4);
        }
        return;
    }
    if (refusesVersion4(error)) {
        throw CS3SigningError(error, S3SignatureVersion::V2);
    }
    const String region = findServiceRegion(request);
    if (!region.isEmpty() && region != findSignedRegion(request)) {
        throw CS3SigningError(error, region);
    }
}

}  // namespace vexil
