#include "vexil/s3/S3UploadEnum.h"

namespace vexil {

CS3UploadEnum::CS3UploadEnum(CS3Client* client, CNetRequest* request, const String& bucket,
                             const CS3ListingQuery& query)
    : CS3ListingEnum(client, request, bucket, query) {}

CS3UploadEnum::~CS3UploadEnum() = default;

const CS3PendingUpload* CS3UploadEnum::getCurrent() const noexcept {
    const auto* const page = static_cast<const CS3UploadList*>(getPage());
    return page ? &page->getUploads()[getIndex()] : nullptr;
}

P<CS3ListingPage> CS3UploadEnum::loadPage(const CS3ListingQuery& query) {
    return getClient().listUploads(getRequest(), getBucket(), query);
}

}  // namespace vexil
