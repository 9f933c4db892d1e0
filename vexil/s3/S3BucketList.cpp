#include "vexil/s3/S3BucketList.h"

#include "vexil/s3/S3ResultDocument.h"
#include "vexil/s3/S3XmlReduction.h"

#include <utility>

namespace vexil {

namespace {

CS3Bucket readBucket(const CS3ResultDocument& document, const wxXmlNode* node) {
    CS3Bucket bucket;
    forEachXmlChild(node, [&bucket](const String& name, const wxXmlNode* child) {
        if (name == "Name") {
            bucket.name = getXmlWholeText(child);
        } else if (name == "CreationDate") {
            bucket.creationDate = getXmlWholeText(child);
        } else if (name == "BucketRegion") {
            bucket.region = getXmlWholeText(child);
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
    forEachXmlChild(document.getRoot(), [&](const String& name, const wxXmlNode* child) {
        if (name == "Owner") {
            forEachXmlChild(child, [this](const String& part, const wxXmlNode* node) {
                if (part == "ID") {
                    m_ownerId = getXmlWholeText(node);
                } else if (part == "DisplayName") {
                    m_ownerName = getXmlWholeText(node);
                }
            });
        } else if (name == "Buckets") {
            forEachXmlChild(child, [&](const String& part, const wxXmlNode* node) {
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
