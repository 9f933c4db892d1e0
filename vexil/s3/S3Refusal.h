/// \file
/// What a service tells about a signature that it has refused.
#pragma once

#include "vexil/net/NetRequest.h"
#include "vexil/s3/S3Error.h"
#include "zet/Time.h"
#include "zet/TimeSpan.h"

namespace vexil {

/// The region that a request was signed for with version 4; "" for other requests.
String findSignedRegion(const CNetRequest& request);

/// The region that the response names, from x-amz-bucket-region or the error document; "" if none.
String findServiceRegion(const CNetRequest& request);

/// The Date of the response; not set if it has none that can be read.
zet::CTime findServiceTime(const CNetRequest& request);

/// The service's clock minus the time of the request; not set if one of them is unknown.
zet::CTimeSpan findClockDifference(const CNetRequest& request);

/// \throws CS3SigningError if the error asks for another version, region or clock than the request had
void throwSigningError(const CNetRequest& request, const CS3Error& error);

}  // namespace vexil
