/// \file
/// Compares checksums that were sent with those of the service.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"
#include "vexil/s3/S3Checksum.h"

namespace vexil {

/// The checksum of an object in parts: that of the bytes of the parts' checksums, "-" and their number. "" if
/// the checksum of a part is missing or has another length.
String makeCompositeChecksum(S3Checksum checksum, const TArray<String>& ofParts);

/// \throws CError if a service has stored another checksum than was sent. "" as one of them is no difference
/// \param name  of the object
void verifyChecksum(S3Checksum checksum, const String& name, const String& sent, const String& stored);
/// The same for a request that has sent a checksum as a header. Other requests pass.
/// \param sentHeaders  by lower-case name
void verifySentChecksum(const CNetRequest& request, const TMap<String, String>& sentHeaders);
/// The checksum that a request has sent as a header; "" if it has sent none of this kind.
String getSentChecksum(const CNetRequest& request, S3Checksum checksum);

}  // namespace vexil
