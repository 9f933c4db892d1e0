/// \file
/// Compares the content of an object with what the service tells about it.
#pragma once

#include "sigil/Digest.h"
#include "vexil/BaseTypes.h"
#include "vexil/s3/S3Checksum.h"
#include "vexil/s3/S3DownloadResult.h"
#include "vexil/s3/S3UploadedParts.h"

namespace vexil {

/// Where the size of the parts of an upload is from.
enum class S3PartSizeSource {
    Service,   ///< responses to HEADs of parts, or an object of one part
    Metadata,  ///< of the object: anybody who has copied the object may have made it wrong
};

/// Computes from the bytes of an object, which it gets in order, a value that the service has told: its ETag
/// or a checksum.
///
/// It takes one of them: the strongest one of the whole content, which is SHA-256, MD5 (as the ETag), or
/// CRC32C. Otherwise it takes the strongest one of the parts of the upload in the same order. This one is
/// computed from the values of the parts, has "-" and their number at the end, and needs their size.
class CS3ContentDigest {
public:
    /// What may be compared.
    struct CSources {
        bool hasETag = true;       ///< the ETag, unless the headers tell an encryption
        bool hasChecksums = true;  ///< headers such as `x-amz-checksum-sha256`. Those of a range may be of it
    };

    /// Compares nothing.
    CS3ContentDigest() = default;
    /// \param name     of the object, for the error
    /// \param headers  of a response about the object, by lower-case name
    CS3ContentDigest(const String& name, const TMap<String, String>& headers, const CSources& sources);

    [[nodiscard]] S3ContentCheck getCheck() const noexcept { return m_check; }
    /// How many parts the object was uploaded in; 0 if it does not matter.
    [[nodiscard]] int64 getPartCount() const noexcept { return m_partCount; }
    /// Whether setPartSize() must follow before the first byte.
    [[nodiscard]] bool needsPartSize() const noexcept { return m_partCount > 0 && m_partSize == 0; }
    /// Whether an object of this size can have so many parts of that size.
    [[nodiscard]] bool canHavePartSize(int64 partSize, int64 objectSize) const noexcept;
    /// Sets the size of all parts except the last one, and begins again.
    /// \param partSize  one for which canHavePartSize() is true
    void setPartSize(int64 partSize, S3PartSizeSource source);
    /// Sets the size that the service tells. If the parts have different sizes, or if it is unknown, nothing
    /// is compared.
    void setParts(const CS3UploadedParts& parts, int64 objectSize);
    [[nodiscard]] bool hasPartSizeOfMetadata() const noexcept {
        return m_partSize > 0 && m_partSizeSource == S3PartSizeSource::Metadata;
    }
    /// After finish() was false: whether the service tells another size of the parts than the metadata. The
    /// log then has a warning.
    [[nodiscard]] bool hasWrongMetadata(const CS3UploadedParts& parts);
    /// Nothing is compared.
    void giveUp() { *this = CS3ContentDigest(); }

    /// Adds the next bytes.
    void update(const void* data, int length);
    /// Called once after the last byte.
    /// \return false if the service has told another value
    [[nodiscard]] bool finish();
    /// After finish() was false. It names the object and both values.
    [[nodiscard]] CError makeError() const;

private:
    void takeChecksum(S3Checksum checksum, const TMap<String, String>& headers);
    void takeETag(const TMap<String, String>& headers);
    void take(S3ContentCheck check, const String& value, int64 partCount);
    void finishPart();
    String encode(sigil::IDigest& digest) const;

    S3ContentCheck m_check = S3ContentCheck::None;
    String m_name;
    String m_expected;           // without quotes and number of parts
    String m_found;              // in the same form
    P<sigil::IDigest> m_digest;  // of the content, or of the current part
    P<sigil::IDigest> m_digestOfParts;
    int64 m_partCount = 0;
    int64 m_partSize = 0;
    int64 m_partBytes = 0;
    S3PartSizeSource m_partSizeSource = S3PartSizeSource::Service;
};

/// The size that the metadata tells, as CS3TransferManager stores it (CS3TransferSettings::storesPartSize).
/// \return 0 if no value can be read
int64 findPartSizeInMetadata(const TMap<String, String>& headers);

}  // namespace vexil
