/// \file
/// How a CS3Client signs its requests and addresses its buckets.
#pragma once

namespace vexil {

/// The version of the signature.
enum class S3SignatureVersion {
    V2 = 2,  ///< HMAC-SHA1; Amazon's newer regions and many newer services refuse it
    V4 = 4,  ///< HMAC-SHA-256, for one region, with the hash of the body
};

/// Where the name of the bucket stands in a URL.
enum class S3AddressingStyle {
    /// With version 4 and Amazon's own endpoint in the host name, if the bucket's name can be one label of
    /// it; otherwise in the path.
    Automatic,
    Path,           ///< https://host/bucket/key
    VirtualHosted,  ///< https://bucket.host/key; only with version 4
};

/// What version 4 signs of the body of a put.
enum class S3PayloadSigning {
    Signed,    ///< its SHA-256, for which a stream is read once before it is sent
    Unsigned,  ///< nothing (UNSIGNED-PAYLOAD); only over https, where TLS protects the body
    /// A stream in chunks of 64 KiB, each with its own signature (STREAMING-AWS4-HMAC-SHA256-PAYLOAD). It is
    /// read once, while it is sent, without Content-MD5. Bytes from memory are signed as with Signed.
    Chunked,
};

/// When the bytes of a stream that is put are hashed.
enum class S3UploadCheck {
    BeforeSending,  ///< the stream is read once for Content-MD5, with version 4 its SHA-256, and then again
    WhileSending,   ///< it is read once; the response is compared with the MD5 of what was sent
};

}  // namespace vexil
