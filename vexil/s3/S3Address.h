/// \file
/// Where buckets are addressed: in the path or in the host name.
#pragma once

#include "vexil/BaseTypes.h"

namespace vexil {

/// The region of Amazon's first endpoint, and of services that know no regions.
constexpr char defaultS3Region[] = "us-east-1";

/// Whether a name can be a region: letters, digits, "-" and "_", at most 64. It becomes a part of host names
/// and signatures.
bool isRegionName(const String& name);

/// Whether the name of a bucket can be one label of a host name. A certificate for "*.host" covers it then.
bool isHostLabel(const String& bucket);
/// Whether the name of a bucket can be the beginning of a host name, labels with "." between them.
bool isHostName(const String& bucket);

/// The URL of Amazon's service in a region, with "/" at the end.
/// \param baseURL  decides the scheme
String makeAmazonURL(const String& baseURL, const String& region);

/// The URL of a bucket without anything after it: "https://host/bucket" or "https://bucket.host".
/// \param serviceURL  ends with "/"
String makeBucketURL(const String& serviceURL, const String& bucket, bool isVirtualHosted);

}  // namespace vexil
