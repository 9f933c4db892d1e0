#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3CustomerKey.h"
#include "zet/Time.h"

namespace vexil {

/// Which version of an object is read, and under which conditions. A value: it holds copies of all texts.
///
/// "", 0 and a time that is not set mean: send nothing. A field that cannot be sent is a CInvalidArgError
/// that names the field, before the request is changed; see CS3PutOptions.
struct CS3GetOptions {
    String versionId = {};  ///< the version to read; "" for the newest

    /// @{

    /// Read only if the object has this ETag (otherwise status 412), or only if it has another (otherwise
    /// 304). ETags are as the service sent them. See CS3Client::isPreconditionFailed() and isNotModified().
    String ifMatch = {};
    String ifNoneMatch = {};
    /// @}
    zet::CTime ifModifiedSince = {};    ///< otherwise 304; rounded down to seconds
    zet::CTime ifUnmodifiedSince = {};  ///< otherwise 412; rounded down to seconds

    CS3CustomerKey customerKey = {};  ///< the key with which the object was stored

    /// Read one part of an object that was uploaded in parts, 1 to 10,000; 0 for the whole object. Not with a
    /// range or a stream.
    int partNumber = 0;

    /// @{

    /// Headers that the response has instead of those of the object. Not for anonymous clients.
    String responseContentType = {};
    String responseCacheControl = {};
    String responseContentDisposition = {};
    String responseContentEncoding = {};
    String responseContentLanguage = {};
    String responseExpires = {};
    /// @}

    /// Asks for the checksums that were stored with the object (`x-amz-checksum-mode`). The response then has
    /// headers such as `x-amz-checksum-crc32c`, if there are checksums of the whole object. Services that do
    /// not know it ignore it.
    bool asksForChecksum = false;
};

}  // namespace vexil
