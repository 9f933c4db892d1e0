#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/Export.h"
#include "vexil/s3/S3ListVersionsResult.h"
#include "vexil/s3/S3ListingEnum.h"

#include <iterator>

namespace vexil {

/// Walks over all versions and delete markers of the objects of a bucket whose keys begin with a prefix.
///
/// \code
/// CS3VersionEnum versions(client, request, "bucket", {.prefix = "photos/"});
/// for (const CS3ObjectVersion& version : versions) {
///     std::wcout << version.key.c_str() << L' ' << version.versionId.c_str() << L'\n';
/// }
/// \endcode
class VEXIL_API CS3VersionEnum : public CS3ListingEnum {
public:
    /// An input iterator.
    using CIterator = TS3ListingIterator<CS3VersionEnum, CS3ObjectVersion>;

    /// Sends nothing yet.
    /// \param client   not null; a reference is kept
    /// \param request  not null; a reference is kept. Used for every page: do not use it for anything else
    ///                 meanwhile
    /// \param query    without a delimiter
    CS3VersionEnum(CS3Client* client, CNetRequest* request, const String& bucket,
                   const CS3ListingQuery& query = {});
    CS3VersionEnum(const CS3VersionEnum&) = default;
    CS3VersionEnum(CS3VersionEnum&&) = default;
    CS3VersionEnum& operator=(const CS3VersionEnum&) = default;
    CS3VersionEnum& operator=(CS3VersionEnum&&) = default;
    ~CS3VersionEnum() override;

    /// The current version; null before the first next(), at the end, and after next() has thrown. Valid
    /// until the next call.
    [[nodiscard]] const CS3ObjectVersion* getCurrent() const noexcept;

    /// @{

    /// The enumeration as an input range, for range-based for loops. begin() calls next(), so a second loop
    /// continues after the version at which the first one stopped. Errors are those of next().
    CIterator begin() { return CIterator(this); }
    std::default_sentinel_t end() const noexcept { return {}; }
    /// @}

protected:
    P<CS3ListingPage> loadPage(const CS3ListingQuery& query) override;
};

}  // namespace vexil
