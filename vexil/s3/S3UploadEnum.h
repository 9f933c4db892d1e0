#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/s3/S3ListingEnum.h"
#include "vexil/s3/S3UploadList.h"

#include <iterator>

namespace vexil {

/// Walks over all uploads of a bucket that are neither complete nor aborted, and whose keys begin with a
/// prefix.
///
/// \code
/// CS3UploadEnum uploads(client, request, "bucket", {.prefix = "photos/"});
/// for (const CS3PendingUpload& upload : uploads) {
///     std::wcout << upload.key.c_str() << L' ' << upload.initiated.c_str() << L'\n';
/// }
/// \endcode
class VEXIL_API CS3UploadEnum : public CS3ListingEnum {
public:
    /// An input iterator.
    using CIterator = TS3ListingIterator<CS3UploadEnum, CS3PendingUpload>;

    /// Sends nothing yet.
    /// \param client   not null; a reference is kept
    /// \param request  not null; a reference is kept. Used for every page: do not use it for anything else
    ///                 meanwhile
    /// \param query    without a delimiter
    CS3UploadEnum(CS3Client* client, CNetRequest* request, const String& bucket,
                  const CS3ListingQuery& query = {});
    CS3UploadEnum(const CS3UploadEnum&) = default;
    CS3UploadEnum(CS3UploadEnum&&) = default;
    CS3UploadEnum& operator=(const CS3UploadEnum&) = default;
    CS3UploadEnum& operator=(CS3UploadEnum&&) = default;
    ~CS3UploadEnum() override;

    /// The current upload; null before the first next(), at the end, and after next() has thrown. Valid
    /// until the next call.
    [[nodiscard]] const CS3PendingUpload* getCurrent() const noexcept;

    /// @{

    /// The enumeration as an input range, for range-based for loops. begin() calls next(), so a second loop
    /// continues after the upload at which the first one stopped. Errors are those of next().
    CIterator begin() { return CIterator(this); }
    std::default_sentinel_t end() const noexcept { return {}; }
    /// @}

protected:
    P<CS3ListingPage> loadPage(const CS3ListingQuery& query) override;
};

}  // namespace vexil
