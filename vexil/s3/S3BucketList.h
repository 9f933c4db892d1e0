#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"

#include <string_view>

namespace vexil {

/// A bucket of an account. Texts are as the service sent them, "" if it sent none.
struct CS3Bucket {
    String name;          ///< never ""
    String creationDate;  ///< ISO 8601
    String region;        ///< few services send it in listings
};

/// The buckets of an account (CS3Client::listBuckets).
///
/// A plain value: built once, then only read, from any thread. Parse failures are CErrors that begin with
/// "Error parsing Amazon S3 'list buckets' result: ".
class VEXIL_API CS3BucketList : public virtual CBase {
public:
    /// Parses a document of at most 64 MiB, UTF-8 unless it declares another encoding.
    /// \throws CS3Error with status 0 if the document is an error
    explicit CS3BucketList(std::string_view document);
    /// The same with the bytes of a buffer, such as CNetRequest::getDefaultReceiveBuffer().
    /// \param body  must not be null
    explicit CS3BucketList(const TBuffer<unsigned char>* body);
    CS3BucketList(const CS3BucketList&) = default;
    CS3BucketList(CS3BucketList&&) = default;
    CS3BucketList& operator=(const CS3BucketList&) = default;
    CS3BucketList& operator=(CS3BucketList&&) = default;
    ~CS3BucketList() override;

    /// In the order of the service, usually by name.
    [[nodiscard]] const TArray<CS3Bucket>& getBuckets() const noexcept { return m_buckets; }
    /// @{

    /// The owner of the buckets; "" if the service does not send it.
    [[nodiscard]] const String& getOwnerID() const noexcept { return m_ownerId; }
    [[nodiscard]] const String& getOwnerName() const noexcept { return m_ownerName; }
    /// @}

    /// The token of the next page if there is one, for an account with very many buckets; otherwise "".
    [[nodiscard]] const String& getContinuationToken() const noexcept { return m_token; }

private:
    TArray<CS3Bucket> m_buckets;
    String m_ownerId;
    String m_ownerName;
    String m_token;
};

}  // namespace vexil
