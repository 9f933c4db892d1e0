#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/s3/S3ListObjectsResult.h"

#include <string>
#include <string_view>

namespace vexil {

/// One page of a bucket listing of version 2 (CS3Client::listObjectsV2), read as by
/// CS3ListObjectsResult::fromEncoded(). Its getDelimiteredNextMarker() is "".
class VEXIL_API CS3ListObjectsV2Result : public CS3ListObjectsResult {
public:
    /// Parses a document of at most 64 MiB, UTF-8 unless it declares another encoding.
    /// \throws CS3Error with status 0 if the document is an error
    explicit CS3ListObjectsV2Result(std::string_view document);
    /// The same with the bytes of a buffer, such as CNetRequest::getDefaultReceiveBuffer().
    /// \param body  must not be null
    explicit CS3ListObjectsV2Result(const TBuffer<unsigned char>* body);
    CS3ListObjectsV2Result(const CS3ListObjectsV2Result&) = default;
    CS3ListObjectsV2Result(CS3ListObjectsV2Result&&) = default;
    CS3ListObjectsV2Result& operator=(const CS3ListObjectsV2Result&) = default;
    CS3ListObjectsV2Result& operator=(CS3ListObjectsV2Result&&) = default;
    ~CS3ListObjectsV2Result() override;

    /// The token of the next page, as bytes: some services send a key as it is. "" for the last page, and
    /// from a service that does not know version 2.
    [[nodiscard]] const std::string& getNextContinuationToken() const noexcept { return m_nextToken; }

private:
    std::string m_nextToken;
};

}  // namespace vexil
