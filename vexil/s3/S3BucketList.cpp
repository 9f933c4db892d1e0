#include "vexil/s3/S3BucketList.h"

#include "vexil/s3/S3ResultDocument.h"
#include "vexil/s3/S3XmlReduction.h"

#include <utility>

namespace vexil {

namespace {

CS3Bucket readBucket(const CS3ResultDocument& document, const CS3XmlElement& node) {
    CS3Bucket bucket;
    node.forEachChild([&bucket](const CS3XmlElement& child) {
        const std::string_view name = child.getName();
        if (name == "Name") {
            bucket.name = child.getWholeText();
        } else if (name == "CreationDate") {
            bucket.creationDate = child.getWholeText();
        } else if (name == "BucketRegion") {
            bucket.region = child.getWholeText();
        }
    });
    if (bucket.name.isEmpty()) {
        document.fail("a bucket without a name.");
    }
    return bucket;
}

}  // namespace

CS3BucketList::CS3BucketList(std::string_view text) {
    const CS3ResultDocument document(text, "list buckets", "ListAllMyBucketsResult", maxListingBytes);
    m_token = document.findText("ContinuationToken");
    document.getRoot().forEachChild([&](const CS3XmlElement& child) {
        const std::string_view name = child.getName();
        if (name == "Owner") {
            child.forEachChild([this](const CS3XmlElement& node) {
                const std::string_view part = node.getName();
                if (part == "ID") {
                    m_ownerId = node.getWholeText();
                } else if (part == "DisplayName") {
                    m_ownerName = node.getWholeText();
                }
            });
        } else if (name == "Buckets") {
            child.forEachChild([&](const CS3XmlElement& node) {
                const std::string_view part = node.getName();
                if (part == "Bucket") {
                    m_buckets.push_back(readBucket(document, node));
                }
            });
        }
    });
}

CS3BucketList::CS3BucketList(const TBuffer<unsigned char>* body) : CS3BucketList(getText(*body)) {}

CS3BucketList::~CS3BucketList() = default;

}  // namespace vexil
