#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/s3/S3Checksum.h"
#include "vexil/s3/S3CustomerKey.h"
#include "zet/Time.h"

namespace vexil {

/// How a version of an object is protected until its lock ends (x-amz-object-lock-mode).
enum class S3ObjectLockMode {
    None,        ///< no lock of its own; the bucket may have one for all objects
    Governance,  ///< only users with a special permission can delete it
    Compliance,  ///< nobody can delete it
};

/// What is stored with an object, and when it may be stored. A value: it holds copies of all texts.
///
/// "" or an empty map always means: send nothing, so that the service or the bucket decides. A field that
/// cannot be sent as it is is a CInvalidArgError that names the field, before the request is changed. That is
/// a text with CR, LF, NUL or another control character, with characters that are not ASCII (except in
/// `contentType` and `tags`), or with white space at an end.
///
/// \code
/// client.putObject(request, "bucket", "notes", "Hello", {.contentType = "text/plain", .ifNoneMatch = "*"});
/// \endcode
struct CS3PutOptions {
    /// @{

    /// Headers that the service returns with the object. `expires` is a date in the form of
    /// zet::CTimeFields::toInternetTimestamp().
    String contentType = {};
    String cacheControl = {};
    String contentDisposition = {};
    String contentEncoding = {};
    String contentLanguage = {};
    String expires = {};
    /// @}

    /// Names and values of your own (x-amz-meta-...), without the prefix. A name has the characters of a
    /// header name and is sent in lower case; two names must differ in more than their case. A value must not
    /// be empty. Encode texts that are not ASCII yourself. Amazon accepts 2 KB in all.
    TMap<String, String> metadata = {};
    /// At most 10 tags: names of 1 to 128 characters, values of at most 256, with any characters
    /// (x-amz-tagging).
    TMap<String, String> tags = {};

    String storageClass = {};  ///< such as "STANDARD_IA"; services have their own (x-amz-storage-class)
    String cannedACL = {};     ///< such as "private" or "public-read" (x-amz-acl)

    /// The encryption by the service: "AES256", or "aws:kms" with a key of its key service
    /// (x-amz-server-side-encryption).
    String encryption = {};
    /// The key of the key service; "" for its default. Only with "aws:kms" and "aws:kms:dsse".
    String encryptionKeyId = {};
    /// The encryption with a key of yours, instead of `encryption`.
    CS3CustomerKey customerKey = {};

    /// @{

    /// Store only if the object has this ETag, as the service sent it, or only if it does not have it. "*"
    /// for `ifNoneMatch` means: only if the object does not exist. At most one of them. Otherwise the service
    /// refuses: see CS3Client::isPreconditionFailed(). Some services ignore them and replace the object. If
    /// the response to a successful try is lost, a further try is refused, because the object now exists.
    String ifMatch = {};
    String ifNoneMatch = {};
    /// @}

    /// @{

    /// The lock of the new version: mode and time together. The bucket must have been made for locks.
    S3ObjectLockMode lockMode = S3ObjectLockMode::None;
    zet::CTime lockUntil = {};  ///< rounded down to seconds
    /// @}
    bool hasLegalHold = false;  ///< cannot be deleted until the hold is removed

    /// A checksum of the content, which is computed in the same pass as the other hashes. The service
    /// computes it, too, and refuses other content. If it returns its checksum, it is compared: a difference
    /// is a CError that names the object and both values. Services that do not know checksums ignore them.
    /// Copies ignore this field.
    ///
    /// A body from memory, or that is read before it is sent, has the checksum in a header
    /// (x-amz-checksum-...). A body that is read once has it in a trailer if the service may get one
    /// (CS3Client::setChecksumTrailer()); otherwise it is only compared with the response. Each part of an
    /// upload has its own checksum: give it to CS3Client::uploadPart(), too.
    S3Checksum checksum = S3Checksum::None;
};

}  // namespace vexil
