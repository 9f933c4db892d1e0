#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

#include <string_view>

namespace vexil {

/// A part of an upload that a service has stored. Texts are as the service sent them, "" if it sent none.
struct CS3StoredPart {
    int number = 0;              ///< 1 to 10,000
    String eTag;                 ///< quotes included, as CS3Client::completeMultipartUpload() needs it
    int64 size = -1;             ///< in bytes; -1 if the service did not send it
    String lastModified;         ///< time of its upload (ISO 8601)
    String checksumCRC32C = {};  ///< in base64; see CS3PutOptions::checksum
    String checksumSHA256 = {};  ///< in base64
};

/// One page of the parts of an upload (CS3Client::listParts).
///
/// A plain value: built once, then only read, from any thread. Parse failures are CErrors that begin with
/// "Error parsing Amazon S3 'list parts' result: ".
class VEXIL_API CS3PartList : public virtual CBase {
public:
    /// Parses a document of at most 64 MiB, UTF-8 unless it declares another encoding.
    /// \throws CS3Error with status 0 if the document is an error
    /// \throws CError also for a part without a number from 1 to 10,000
    explicit CS3PartList(std::string_view document);
    /// The same with the bytes of a buffer, such as CNetRequest::getDefaultReceiveBuffer().
    /// \param body  must not be null
    explicit CS3PartList(const TBuffer<unsigned char>* body);
    CS3PartList(const CS3PartList&) = default;
    CS3PartList(CS3PartList&&) = default;
    CS3PartList& operator=(const CS3PartList&) = default;
    CS3PartList& operator=(CS3PartList&&) = default;
    ~CS3PartList() override;

    /// True if there is another page.
    [[nodiscard]] bool isTruncated() const noexcept { return m_isTruncated; }
    /// The marker of the next page: the number that the service sent, otherwise that of the last part.
    [[nodiscard]] int getNextPartNumberMarker() const noexcept { return m_nextMarker; }
    /// The parts of this page in the order of the service, usually ascending.
    [[nodiscard]] const TArray<CS3StoredPart>& getParts() const noexcept { return m_parts; }

private:
    bool m_isTruncated = false;
    int m_nextMarker = 0;
    TArray<CS3StoredPart> m_parts;
};

}  // namespace vexil
