/// \file
/// Compares the content of an object with its ETag.
#pragma once

#include "sigil/Digest.h"
#include "vexil/BaseTypes.h"
#include "vexil/s3/S3DownloadResult.h"

namespace vexil {

/// Computes what the ETag of an object should be from its bytes, which it gets in order. A service makes the
/// ETag of a plain object of its MD5; that of an object in parts of the MD5s of the parts, with "-" and their
/// number at the end.
class CS3ContentDigest {
public:
    /// Compares nothing.
    CS3ContentDigest() = default;
    /// \param headers  of a response that has the object, by lower-case name
    explicit CS3ContentDigest(const TMap<String, String>& headers);

    [[nodiscard]] S3ContentCheck getCheck() const noexcept { return m_check; }
    /// How many parts the object was uploaded in; 0 for a plain object.
    [[nodiscard]] int64 getPartCount() const noexcept { return m_partCount; }
    /// Sets the size of all parts except the last one, before the first byte. With a size that does not fit
    /// the number of parts nothing is compared.
    void setPartSize(int64 partSize, int64 objectSize);
    /// Nothing is compared.
    void giveUp() { *this = CS3ContentDigest(); }

    /// Adds the next bytes.
    void update(const void* data, int length);
    /// Called after the last byte.
    /// \throws CError of ErrorKind::InvalidData if the ETag stands for another content
    void finish();

private:
    void finishPart();

    S3ContentCheck m_check = S3ContentCheck::None;
    TMap<String, String> m_headers;  // with the MD5 as the ETag
    P<sigil::IDigest> m_md5;         // of the content, or of the current part
    P<sigil::IDigest> m_md5OfParts;
    int64 m_partCount = 0;
    int64 m_partSize = 0;
    int64 m_partBytes = 0;
};

}  // namespace vexil
