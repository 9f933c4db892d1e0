#include "vexil/s3/S3VersionEnum.h"

namespace vexil {

CS3VersionEnum::CS3VersionEnum(CS3Client* client, CNetRequest* request, const String& bucket,
                               const CS3ListingQuery& query)
    : CS3ListingEnum(client, request, bucket, query) {}

CS3VersionEnum::~CS3VersionEnum() = default;

const CS3ObjectVersion* CS3VersionEnum::getCurrent() const noexcept {
    const auto* const page = static_cast<const CS3ListVersionsResult*>(getPage());
    return page ? &page->getVersions()[getIndex()] : nullptr;
}

P<CS3ListingPage> CS3VersionEnum::loadPage(const CS3ListingQuery& query) {
    return getClient().listVersions(getRequest(), getBucket(), query);
}

}  // namespace vexil
